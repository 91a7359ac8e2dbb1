#pragma once

#include <QImage>
#include <QPixmap>

#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::Util {

// Conversions between frames and Qt images. Stateless; FrameToImage may be called from any thread.
class ImageUtils {
public:
    // A read-only QImage over the frame's pixels, without copying where Qt has the format:
    // BGRA32 as ARGB32 (RGB32 when the frame is opaque), RGB24 as RGB888, BGR24 as BGR888,
    // RGBA64 as RGBA64 (RGBX64 when opaque). The image keeps the frame alive until the last
    // QImage sharing the pixels is gone; writing to the image detaches it, so the frame never
    // changes. Null for a null frame, an empty frame or an unknown format (logged).
    QImage FrameToImage(const Proc::DataVideoPtr& frame) const;
    // What the screen draws: FrameToImage, except that a frame with transparency that carries
    // its premultiplied form gives that (ARGB32 premultiplied, shared the same way), which Qt
    // draws without converting. Any thread.
    QImage FrameToDisplayImage(const Proc::DataVideoPtr& frame) const;
    // UI thread only (QPixmap). FrameToDisplayImage as a pixmap; null where it is null.
    QPixmap FrameToPixmap(const Proc::DataVideoPtr& frame) const;

private:
    // The image over a non-null frame's pixels in `format` (see FrameToImage).
    static QImage WrapFrame(const Proc::DataVideoPtr& frame, QImage::Format format);
};

} // namespace Quelto::Lumindra::Util

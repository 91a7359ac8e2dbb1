#pragma once

#include <QImage>
#include <QPixmap>

#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::Util {

// Conversions between frames and Qt images.
class ImageUtils {
public:
    // A QImage over the frame's pixels, without copying where Qt has the format (BGRA32 as
    // ARGB32, or RGB32 when the frame is opaque; RGB24 as RGB888; RGBA64 as RGBA64). The image
    // keeps the frame alive. Null for a null frame.
    QImage FrameToImage(const Proc::DataVideoPtr& frame) const;
    // UI thread only (QPixmap). Null pixmap for a null frame.
    QPixmap FrameToPixmap(const Proc::DataVideoPtr& frame) const;
};

} // namespace Quelto::Lumindra::Util

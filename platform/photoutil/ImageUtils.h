#pragma once

#include <QImage>

#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoUtil {

// The one conversion from Qt images to frames. Images with more than 8 bits a channel (the
// 16-bit, 10-bit and 16-bit grey formats) become RGBA64 frames, so no precision is lost; the
// others become BGRA32 (or RGB24/BGR24 where ImageToFrame may keep them). Premultiplied pixels
// become straight ones. A frame is opaque exactly when every alpha value is the maximum.
// Stateless and thread-safe.
class ImageUtils {
public:
    // A frame over the image's pixels: a frame layout Qt already has (ARGB32, RGB32, RGB888,
    // BGR888, RGBA64, RGBX64) is taken without copying (the frame keeps a shallow copy of the
    // image alive); other formats are converted first. Null for a null image.
    static Proc::DataVideoPtr ImageToFrame(const QImage& image);
    // A frame in a working format of the editing core (BGRA32 or RGBA64) that owns its pixels:
    // a later change to the caller's image or buffer cannot reach it. Null for a null image or
    // when memory runs out.
    static Proc::DataVideoPtr ImageToWorkingFrame(const QImage& image);
};

} // namespace Quelto::Lumindra::PhotoUtil

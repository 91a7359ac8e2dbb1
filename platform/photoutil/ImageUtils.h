#pragma once

#include <QImage>

#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoUtil {

class ImageUtils {
public:
    // A frame over the image's pixels: ARGB32 is taken without copying (the frame keeps a
    // shallow copy of the image alive); other formats are converted first (premultiplied ones
    // to straight alpha). Null for a null image.
    static Proc::DataVideoPtr ImageToFrame(const QImage& image);
};

} // namespace Quelto::Lumindra::PhotoUtil

#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoCore {

// Decodes baseline and progressive 8-bit JPEG files (greyscale or YCbCr) with libjpeg-turbo
// straight into a BGRA32 frame, optionally at 1/2, 1/4 or 1/8 of the size (the DCT-domain
// shrink-on-load that makes previews cheap). Used instead of libvips' loader because it writes
// the display format in one pass, which keeps the full decode within a few percent of
// libjpeg-turbo's own command-line decoder.
//
// Strict: truncated or corrupt entropy data is an error, not a grey patch. Pixels are as stored
// (no EXIF orientation, no colour management). Thread-safe (no shared state).
class JpegDecoder {
public:
    // Whether the file's components can be decoded here (1 or 3 components, 8 bits); CMYK and
    // 12-bit files go elsewhere. Throws Core::Exception when the file is not a readable JPEG.
    static bool CanDecode(const std::string& utf8Path);

    // Decodes at 1/denominator of the size (1, 2, 4 or 8). Throws Core::Exception with
    // libjpeg's reason on any error, and when `cancel` becomes true between rows. `progress`,
    // when set, is told the fraction of rows done on the calling thread.
    static Proc::DataVideoPtr Decode(const std::string& utf8Path, int denominator,
                                     const std::atomic<bool>* cancel = nullptr,
                                     const std::function<void(double)>& progress = {});
};

} // namespace Quelto::Lumindra::PhotoCore

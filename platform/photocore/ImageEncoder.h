#pragma once

#include <string>

#include "photoutil/IFormatSettings.h"
#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoCore {

// Encodes frames to files: JPEG with libjpeg-turbo (JpegEncoder), PNG, TIFF, WebP, HEIF (HEVC),
// AVIF and GIF with libvips, with the encoder settings of the codec's entry in a format settings
// list (quality, compression, lossless). Alpha is dropped from opaque frames and flattened onto
// white for formats without it; 16-bit frames stay 16-bit where the format allows (PNG, TIFF).
// No metadata is written here.
// Stateless and thread-safe; called on the core's render thread.
class ImageEncoder {
public:
    // Writes `frame` (BGRA32 or RGBA64) to `utf8Path`, replacing what is there. Throws
    // Core::Exception with a readable reason.
    static void Write(const Proc::IDataVideo& frame, const std::string& codec,
                      const PhotoUtil::FormatSettingsList& settings, double dpi, const std::string& utf8Path);
    // Whether `codec` can be written.
    static bool CanWrite(const std::string& codec);
};

} // namespace Quelto::Lumindra::PhotoCore

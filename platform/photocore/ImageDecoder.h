#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "proc/FrameInfo.h"
#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoCore {

// What the header of an image file says, read without decoding pixels.
struct ImageHeader {
    // The resolution of files that state none: the long-standing screen convention.
    static constexpr double kDefaultDpi = 72.0;

    std::string loader; // the libvips loader that reads it ("jpegload", ...)
    std::string codec;  // "jpeg", "png", "tiff", "webp", "heif", "avif" or "gif"
    int width = 0;      // as stored, before the orientation is applied
    int height = 0;
    int orientation = 1; // EXIF orientation, 1..8
    bool hasAlpha = false;
    bool sixteenBit = false;  // more than 8 bits a channel
    bool foreignIcc = false;  // an embedded colour profile other than sRGB
    bool fastJpeg = false;    // decodable by JpegDecoder
    double dpi = kDefaultDpi;

    // Size of the picture once upright.
    Conf::FrameInfo Upright() const;
    std::uint64_t Pixels() const { return std::uint64_t(width) * std::uint64_t(height); }
};

struct DecodeOptions {
    std::uint64_t pixelLimit = 0; // 0: no limit
    bool allowSixteenBit = true;  // false: 16-bit sources are reduced to 8 bits
    // Told the fraction done (0..1) while a full decode runs, on the decoding thread or one of
    // libvips' workers; unset: not told.
    std::function<void(double)> progress;
};

// Reads image files into upright frames in the core's working formats: PIX_FMT_BGRA32 for
// 8-bit sources, PIX_FMT_RGBA64 for deeper ones (when allowed). Embedded colour profiles are
// converted to sRGB. Everything throws Core::Exception with a reason a person can read (the
// caller adds the file name). Stateless and thread-safe. A picture declaring far more pixels
// than the limit allows (kMaxTimesPixelLimit) is refused before anything is decoded.
class ImageDecoder {
public:
    // Long side a preview should at least have: about a full-HD screen.
    static constexpr int kPreviewLongSide = 1500;
    // Non-JPEG images up to this many pixels are decoded whole where a preview is asked for:
    // they take tens of milliseconds, and it reports damaged files at once.
    static constexpr std::uint64_t kSmallPicturePixels = 4'000'000;
    // Pictures declaring more than this many times the pixel limit are refused unread: no
    // decode-time reduction brings them under it (JPEG's 1/8 gives 64, but at sixteen times the
    // limit the reduced decode alone is a large allocation), and a small file declaring that
    // much is a decompression bomb.
    static constexpr std::uint64_t kMaxTimesPixelLimit = 16;

    struct Result {
        Proc::DataVideoPtr frame;
        bool full = false;            // the frame is the full-resolution working frame
        bool scaledForMemory = false; // the full frame was reduced below the pixel limit
    };

    static ImageHeader ReadHeader(const std::string& utf8Path);

    // The first picture to show, decoded fast: a display frame (BGRA32) reduced by
    // shrink-on-load to a long side of at least kPreviewLongSide, or - for pictures too small
    // to shrink - the full working frame (Result::full). A null frame when the format has no
    // cheap reduced decode and the image is large: the full decode will have to do.
    static Result DecodePreview(const std::string& utf8Path, const ImageHeader& header, const DecodeOptions& options);

    // The full working frame, reduced by shrink-on-load when it has more pixels than the limit.
    // Stops with an exception when `cancel` becomes true (libjpeg between rows, libvips between
    // its work units); tells options.progress how far it got.
    static Result DecodeFull(const std::string& utf8Path, const ImageHeader& header, const DecodeOptions& options,
                             const std::atomic<bool>* cancel = nullptr);
};

} // namespace Quelto::Lumindra::PhotoCore

#include "photocore/ImageDecoder.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <map>

#include <QCoreApplication>

#include <glog/logging.h>

#include "core/Exception.h"
#include "photocore/FrameOps.h"
#include "photocore/JpegDecoder.h"
#include "proc/AlphaRange.h"
#include "proc/Vips.h"

namespace Quelto::Lumindra::PhotoCore {

namespace {

using Proc::DataVideoPtr;

constexpr double kMillimetresPerInch = 25.4;
constexpr int kShrinkSteps[] = {2, 4, 8}; // the reductions JPEG (and WebP) decode directly

// libvips messages end in newlines and sometimes span lines; one line reads better.
std::string VipsMessage(const vips::VError& error)
{
    std::string message = Proc::TakeVipsError(error);
    std::replace(message.begin(), message.end(), '\n', ' ');
    while (!message.empty() && message.back() == ' ')
        message.pop_back();
    return message.empty() ? std::string("the image library gave no reason") : message;
}

std::uint32_t BigEndian32(const std::uint8_t* p)
{
    return std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 | p[3];
}

// Whether an ICC profile describes sRGB, judged by its description ("sRGB IEC61966-2.1" and
// its relatives): converting from such a profile would change nothing worth the time.
bool IsSrgbProfile(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t kHeaderSize = 128, kTagEntrySize = 12;
    if (size < kHeaderSize + 4)
        return false;
    const std::uint32_t count = BigEndian32(data + kHeaderSize);
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::size_t entry = kHeaderSize + 4 + i * kTagEntrySize;
        if (entry + kTagEntrySize > size)
            return false;
        if (std::memcmp(data + entry, "desc", 4) != 0)
            continue;
        const std::size_t offset = BigEndian32(data + entry + 4), length = BigEndian32(data + entry + 8);
        if (offset + length > size || length < 12)
            return false;
        const std::uint8_t* tag = data + offset;
        std::string text;
        if (std::memcmp(tag, "desc", 4) == 0) { // ICC v2: a counted ASCII string
            const std::size_t n = std::min<std::size_t>(BigEndian32(tag + 8), length - 12);
            text.assign(reinterpret_cast<const char*>(tag + 12), n);
        } else if (std::memcmp(tag, "mluc", 4) == 0 && length >= 28) { // ICC v4: UTF-16BE records
            const std::size_t n = BigEndian32(tag + 20), at = BigEndian32(tag + 24);
            for (std::size_t k = 0; k + 1 < n && at + k + 1 < length; k += 2)
                text.push_back(char(tag[at + k + 1]));
        }
        return text.rfind("sRGB", 0) == 0;
    }
    return false;
}

// The loader is named by its class ("VipsForeignLoadJpegFile") or by its nickname ("jpegload").
std::string CodecOfLoader(const std::string& loader)
{
    static const std::pair<const char*, const char*> codecs[] = {
        {"jpeg", "jpeg"}, {"png", "png"}, {"tiff", "tiff"}, {"webp", "webp"}, {"heif", "heif"}, {"gif", "gif"},
    };
    std::string lower = loader;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    for (const auto& [part, codec] : codecs)
        if (lower.find(part) != std::string::npos)
            return codec;
    return {};
}

bool IsDeep(const vips::VImage& image)
{
    const VipsBandFormat format = image.format();
    const VipsInterpretation interpretation = image.interpretation();
    return interpretation == VIPS_INTERPRETATION_RGB16 || interpretation == VIPS_INTERPRETATION_GREY16
        || (format != VIPS_FORMAT_UCHAR && format != VIPS_FORMAT_CHAR);
}

bool HasShrinkOnLoad(const ImageHeader& header)
{
    return header.codec == "jpeg" || header.codec == "webp";
}

// Sequential: the rows stream through once, and libvips does not cache the result (a cached
// random-access load would not see the file rewritten).
vips::VImage Load(const std::string& path, const ImageHeader& header, int shrink)
{
    auto* options = vips::VImage::option()->set("fail_on", VIPS_FAIL_ON_ERROR)->set("access", VIPS_ACCESS_SEQUENTIAL);
    if (shrink > 1 && header.codec == "jpeg")
        options->set("shrink", shrink);
    else if (shrink > 1 && header.codec == "webp")
        options->set("scale", 1.0 / shrink);
    return vips::VImage::new_from_file(path.c_str(), options);
}

// Watches a libvips computation: reports its progress and stops it when asked to.
struct EvalWatch {
    const std::atomic<bool>* cancel = nullptr;
    const std::function<void(double)>* progress = nullptr;
};

void OnEval(VipsImage* image, VipsProgress* state, gpointer data)
{
    const auto* watch = static_cast<const EvalWatch*>(data);
    if (watch->progress && *watch->progress)
        (*watch->progress)(double(state->percent) / 100.0);
    if (watch->cancel && watch->cancel->load(std::memory_order_relaxed))
        vips_image_set_kill(image, TRUE);
}

void CheckDeclaredSize(const ImageHeader& header, std::uint64_t pixelLimit)
{
    if (pixelLimit > 0 && header.Pixels() / ImageDecoder::kMaxTimesPixelLimit > pixelLimit)
        throw Core::Exception("the image declares " + std::to_string(header.width) + "x" + std::to_string(header.height)
                              + " pixels, far more than can be opened; it may be damaged or made to exhaust memory");
}

// Brings a loaded image to the working layout: sRGB, four bands, BGRA for 8 bits or RGBA
// for 16, and copies it out as a frame (libvips' own buffer, wrapped without a copy).
DataVideoPtr ToFrame(vips::VImage image, const ImageHeader& header, bool sixteen, const EvalWatch& watch = {})
{
    const double maxValue = sixteen ? 65535.0 : 255.0;
    if (header.foreignIcc) {
        try {
            image = image.icc_transform("srgb", vips::VImage::option()
                                                    ->set("embedded", true)
                                                    ->set("intent", VIPS_INTENT_RELATIVE)
                                                    ->set("depth", sixteen ? 16 : 8));
        } catch (const vips::VError& e) {
            LOG(WARNING) << "Colour profile ignored: " << VipsMessage(e);
        }
    }
    const VipsInterpretation target = sixteen ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB;
    if (image.interpretation() != target && vips_colourspace_issupported(image.get_image()))
        image = image.colourspace(target);
    const VipsBandFormat format = sixteen ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR;
    if (image.format() != format)
        image = image.cast(format);
    switch (image.bands()) {
    case 1:
        image = vips::VImage::bandjoin({image, image, image}).bandjoin_const({maxValue});
        break;
    case 2:
        image = vips::VImage::bandjoin(
            {image.extract_band(0), image.extract_band(0), image.extract_band(0), image.extract_band(1)});
        break;
    case 3:
        image = image.bandjoin_const({maxValue});
        break;
    case 4:
        break;
    default:
        image = image.extract_band(0, vips::VImage::option()->set("n", 4));
        break;
    }
    if (!sixteen)
        image = vips::VImage::bandjoin(
            {image.extract_band(2), image.extract_band(1), image.extract_band(0), image.extract_band(3)});

    Conf::FrameInfo info;
    info.width = image.width();
    info.height = image.height();
    std::size_t size = 0;
    gulong handler = 0;
    if (watch.cancel || (watch.progress && *watch.progress)) {
        vips_image_set_progress(image.get_image(), TRUE);
        handler = g_signal_connect(image.get_image(), "eval", G_CALLBACK(OnEval), const_cast<EvalWatch*>(&watch));
    }
    void* pixels = nullptr;
    try {
        pixels = image.write_to_memory(&size);
    } catch (...) {
        if (handler)
            g_signal_handler_disconnect(image.get_image(), handler);
        throw;
    }
    if (handler)
        g_signal_handler_disconnect(image.get_image(), handler);
    const int fmt = sixteen ? Proc::PIX_FMT_RGBA64 : Proc::PIX_FMT_BGRA32;
    DataVideoPtr frame = Proc::WrapDataVideo(info, fmt, info.width * Proc::BytesPerPixel(fmt),
                                             static_cast<std::uint8_t*>(pixels), std::shared_ptr<void>(pixels, g_free));
    frame->SetOpaque(!header.hasAlpha || Proc::AlphaRange::Of(*frame).IsOpaque());
    return frame;
}

// The smallest direct reduction that brings `pixels` under `limit`, or the largest one.
int ShrinkForLimit(std::uint64_t pixels, std::uint64_t limit)
{
    if (limit == 0 || pixels <= limit)
        return 1;
    for (int shrink : kShrinkSteps)
        if (pixels / (std::uint64_t(shrink) * shrink) <= limit)
            return shrink;
    return kShrinkSteps[std::size(kShrinkSteps) - 1];
}

// The largest size with the frame's aspect and at most `limit` pixels.
Conf::FrameInfo FitUnder(const Conf::FrameInfo& info, std::uint64_t limit)
{
    const double scale = std::sqrt(double(limit) / (double(info.width) * double(info.height)));
    Conf::FrameInfo out = info;
    out.width = std::max(1, int(std::floor(info.width * scale)));
    out.height = std::max(1, int(std::floor(info.height * scale)));
    while (std::uint64_t(out.width) * std::uint64_t(out.height) > limit && out.width > 1 && out.height > 1) {
        --out.width;
        out.height = std::max(1, int(std::floor(double(out.width) * info.height / info.width)));
    }
    return out;
}

DataVideoPtr FitUnderLimit(DataVideoPtr frame, std::uint64_t limit, bool* scaled)
{
    const Conf::FrameInfo& info = frame->GetFrameInfo();
    if (limit == 0 || std::uint64_t(info.width) * std::uint64_t(info.height) <= limit)
        return frame;
    *scaled = true;
    return FrameOps::Resize(*frame, FitUnder(info, limit));
}

ImageDecoder::Result DecodeFullVips(const std::string& path, const ImageHeader& header, const DecodeOptions& options,
                                    const std::atomic<bool>* cancel)
{
    ImageDecoder::Result result;
    const int shrink = HasShrinkOnLoad(header) ? ShrinkForLimit(header.Pixels(), options.pixelLimit) : 1;
    vips::VImage image = Load(path, header, shrink);
    result.scaledForMemory = shrink > 1;
    if (options.pixelLimit > 0 && std::uint64_t(image.width()) * std::uint64_t(image.height()) > options.pixelLimit) {
        // No direct reduction (or not enough of one): reduce while the rows stream in.
        const Conf::FrameInfo target = FitUnder({image.width(), image.height(), 1.0}, options.pixelLimit);
        image = image.resize(double(target.width) / image.width(),
                             vips::VImage::option()
                                 ->set("vscale", double(target.height) / image.height())
                                 ->set("kernel", VIPS_KERNEL_LANCZOS3));
        result.scaledForMemory = true;
    }
    result.frame = ToFrame(image, header, header.sixteenBit && options.allowSixteenBit, {cancel, &options.progress});
    result.frame = FitUnderLimit(result.frame, options.pixelLimit, &result.scaledForMemory);
    result.full = true;
    return result;
}

} // namespace

Conf::FrameInfo ImageHeader::Upright() const
{
    Conf::FrameInfo info;
    const bool swapped = orientation >= 5 && orientation <= 8;
    info.width = swapped ? height : width;
    info.height = swapped ? width : height;
    return info;
}

ImageHeader ImageDecoder::ReadHeader(const std::string& utf8Path)
{
    Proc::EnsureVipsStarted();
    ImageHeader header;
    const char* loader = vips_foreign_find_load(utf8Path.c_str());
    if (!loader) {
        vips_error_clear();
        throw Core::Exception(QCoreApplication::translate(
                                  "PhotoCore", "the file is not an image this application can read, or it is damaged")
                                  .toStdString());
    }
    header.loader = loader;
    header.codec = CodecOfLoader(header.loader);
    if (header.codec.empty())
        throw Core::Exception(QCoreApplication::translate("PhotoCore", "images of this kind (%1) are not supported")
                                  .arg(QString::fromStdString(header.loader))
                                  .toStdString());
    try {
        // Sequential access also keeps the header out of libvips' operation cache, which would
        // answer for a file rewritten since with what it held before.
        vips::VImage image = vips::VImage::new_from_file(
            utf8Path.c_str(),
            vips::VImage::option()->set("fail_on", VIPS_FAIL_ON_ERROR)->set("access", VIPS_ACCESS_SEQUENTIAL));
        header.width = image.width();
        header.height = image.height();
        if (header.width <= 0 || header.height <= 0)
            throw Core::Exception(QCoreApplication::translate("PhotoCore", "the image has no pixels").toStdString());
        header.orientation = std::clamp(vips_image_get_orientation(image.get_image()), 1, 8);
        header.hasAlpha = image.has_alpha();
        header.sixteenBit = IsDeep(image);
        // The HEIF loader reads AVIF too; the codec inside decides how the file is written back.
        if (header.codec == "heif" && image.get_typeof("heif-compression") != 0
            && std::string(image.get_string("heif-compression")) == "av1")
            header.codec = "avif";
        if (image.get_typeof(VIPS_META_ICC_NAME) != 0) {
            std::size_t size = 0;
            const void* data = image.get_blob(VIPS_META_ICC_NAME, &size);
            header.foreignIcc = !IsSrgbProfile(static_cast<const std::uint8_t*>(data), size);
        }
        if (image.get_typeof(VIPS_META_RESOLUTION_UNIT) != 0 && image.xres() > 0.0)
            header.dpi = std::round(image.xres() * kMillimetresPerInch * 100.0) / 100.0;
    } catch (const vips::VError& e) {
        throw Core::Exception(VipsMessage(e));
    }
    header.fastJpeg = header.codec == "jpeg" && !header.foreignIcc && !header.sixteenBit
                   && JpegDecoder::CanDecode(utf8Path);
    return header;
}

ImageDecoder::Result ImageDecoder::DecodePreview(const std::string& utf8Path, const ImageHeader& header,
                                                 const DecodeOptions& options)
{
    CheckDeclaredSize(header, options.pixelLimit);
    const Conf::FrameInfo upright = header.Upright();
    const int longSide = std::max(upright.width, upright.height);
    int shrink = 1;
    if (HasShrinkOnLoad(header))
        for (int step : kShrinkSteps)
            if (longSide / step >= kPreviewLongSide)
                shrink = step;
    if (shrink == 1) {
        // Nothing to gain from a reduced decode, or no way to do one.
        if (header.codec != "jpeg" && header.Pixels() > kSmallPicturePixels)
            return {};
        return DecodeFull(utf8Path, header, options);
    }
    Result result;
    try {
        if (header.fastJpeg)
            result.frame = FrameOps::Orient(JpegDecoder::Decode(utf8Path, shrink), header.orientation);
        else
            result.frame = FrameOps::Orient(ToFrame(Load(utf8Path, header, shrink), header, false),
                                            header.orientation);
    } catch (const vips::VError& e) {
        throw Core::Exception(VipsMessage(e));
    }
    return result;
}

ImageDecoder::Result ImageDecoder::DecodeFull(const std::string& utf8Path, const ImageHeader& header,
                                              const DecodeOptions& options, const std::atomic<bool>* cancel)
{
    CheckDeclaredSize(header, options.pixelLimit);
    Result result;
    try {
        if (header.fastJpeg) {
            const int shrink = ShrinkForLimit(header.Pixels(), options.pixelLimit);
            result.scaledForMemory = shrink > 1;
            result.frame = FitUnderLimit(JpegDecoder::Decode(utf8Path, shrink, cancel, options.progress),
                                         options.pixelLimit,
                                         &result.scaledForMemory);
            result.full = true;
        } else {
            result = DecodeFullVips(utf8Path, header, options, cancel);
        }
    } catch (const vips::VError& e) {
        if (cancel && cancel->load())
            throw Core::Exception("decoding was cancelled");
        throw Core::Exception(VipsMessage(e));
    }
    if (cancel && cancel->load())
        throw Core::Exception("decoding was cancelled");
    result.frame = FrameOps::Orient(result.frame, header.orientation);
    return result;
}

} // namespace Quelto::Lumindra::PhotoCore

#include "photocore/ImageEncoder.h"

#include <algorithm>

#include <QCoreApplication>

#include "core/Exception.h"
#include "photocore/JpegEncoder.h"
#include "proc/PixelConverter.h"
#include "proc/Vips.h"

namespace Quelto::Lumindra::PhotoCore {

namespace {

constexpr double kMillimetresPerInch = 25.4;
// Defaults where a format settings list has no entry for the codec.
constexpr int kDefaultQuality = 90;
constexpr int kDefaultPngCompression = 6;

int Value(const PhotoUtil::FormatSettingsList& list, const std::string& codec, const char* name, int fallback)
{
    for (const auto& settings : list)
        if (settings && settings->GetCodecId() == codec)
            return settings->GetValue(name, fallback);
    return fallback;
}

// A view of the frame's pixels as an sRGB image in R, G, B(, A) order.
vips::VImage View(const Proc::IDataVideo& frame)
{
    const Conf::FrameInfo& info = frame.GetFrameInfo();
    const bool wide = frame.GetPixFmt() == Proc::PIX_FMT_RGBA64;
    if (!wide && frame.GetPixFmt() != Proc::PIX_FMT_BGRA32)
        throw Core::Exception("Frames of pixel format " + std::to_string(frame.GetPixFmt()) + " cannot be encoded");
    const int bpp = Proc::BytesPerPixel(frame.GetPixFmt());
    // Rows may be padded: view the buffer as stride-wide rows and cut the padding away.
    vips::VImage image = vips::VImage::new_from_memory(const_cast<std::uint8_t*>(frame.GetData()),
                                                       std::size_t(frame.GetStride()) * std::size_t(info.height),
                                                       frame.GetStride() / bpp, info.height, 4,
                                                       wide ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR)
                             .extract_area(0, 0, info.width, info.height);
    if (!wide)
        image = vips::VImage::bandjoin(
            {image.extract_band(2), image.extract_band(1), image.extract_band(0), image.extract_band(3)});
    image = image.copy(vips::VImage::option()->set("interpretation",
                                                   wide ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB));
    if (frame.IsOpaque())
        image = image.extract_band(0, vips::VImage::option()->set("n", 3));
    return image;
}

// libvips names the temporary file and its own functions; the system's error is what a person
// can act on ("No space left on device", "File too large", "Permission denied").
std::string Readable(const std::string& vipsMessage)
{
    static const std::string kSystem = "unix error: ";
    const std::size_t at = vipsMessage.find(kSystem);
    if (at != std::string::npos) {
        const std::size_t from = at + kSystem.size();
        const std::string system = vipsMessage.substr(from, vipsMessage.find('\n', from) - from);
        return QCoreApplication::translate("PhotoCore", "the file could not be written: %1")
            .arg(QString::fromStdString(system))
            .toStdString();
    }
    std::string message = vipsMessage;
    std::replace(message.begin(), message.end(), '\n', ' ');
    return QCoreApplication::translate("PhotoCore", "the picture could not be encoded: %1")
        .arg(QString::fromStdString(message))
        .toStdString();
}

} // namespace

bool ImageEncoder::CanWrite(const std::string& codec)
{
    return codec == "jpeg" || codec == "png" || codec == "tiff" || codec == "webp" || codec == "heif"
        || codec == "avif" || codec == "gif";
}

void ImageEncoder::Write(const Proc::IDataVideo& frame, const std::string& codec,
                         const PhotoUtil::FormatSettingsList& settings, double dpi, const std::string& utf8Path)
{
    if (!CanWrite(codec))
        throw Core::Exception("Images cannot be written as \"" + codec + "\"");
    const int quality = std::clamp(Value(settings, codec, PhotoUtil::IFormatSettings::QUALITY, kDefaultQuality), 1, 100);
    if (codec == "jpeg") {
        // Flattened onto white the way the core flattens, so a saved file shows what the screen did.
        const bool ready = frame.GetPixFmt() == Proc::PIX_FMT_BGRA32 && frame.IsOpaque();
        const Proc::DataVideoPtr eightBit =
            ready ? nullptr : Proc::PixelConverter::Convert(frame, Proc::PIX_FMT_BGRA32, Proc::PixelConverter::Pad {});
        JpegEncoder::Write(ready ? frame : *eightBit, quality, dpi, utf8Path);
        return;
    }
    Proc::EnsureVipsStarted();
    using Opt = vips::VOption;
    try {
        // Every format below keeps alpha.
        const bool keepsDepth = codec == "png" || codec == "tiff";
        vips::VImage image = View(frame);
        if (image.format() != VIPS_FORMAT_UCHAR && !keepsDepth)
            image = image.colourspace(VIPS_INTERPRETATION_sRGB);
        if (image.format() != VIPS_FORMAT_UCHAR && image.format() != VIPS_FORMAT_USHORT)
            image = image.cast(image.interpretation() == VIPS_INTERPRETATION_RGB16 ? VIPS_FORMAT_USHORT
                                                                                    : VIPS_FORMAT_UCHAR);
        const double pixelsPerMm = std::max(dpi, 1.0) / kMillimetresPerInch;
        image = image.copy(vips::VImage::option()->set("xres", pixelsPerMm)->set("yres", pixelsPerMm));

        const char* path = utf8Path.c_str();
        Opt* options = vips::VImage::option()->set("strip", true);
        if (codec == "png") {
            const int level = std::clamp(
                Value(settings, codec, PhotoUtil::IFormatSettings::COMPRESSION, kDefaultPngCompression), 0, 9);
            image.pngsave(path, options->set("compression", level));
        } else if (codec == "tiff") {
            const bool deflate = Value(settings, codec, PhotoUtil::IFormatSettings::COMPRESSION, 1) != 0;
            image.tiffsave(path, options->set("compression", deflate ? VIPS_FOREIGN_TIFF_COMPRESSION_DEFLATE
                                                                     : VIPS_FOREIGN_TIFF_COMPRESSION_NONE));
        } else if (codec == "webp") {
            const bool lossless = Value(settings, codec, PhotoUtil::IFormatSettings::LOSSLESS, 0) != 0;
            image.webpsave(path, options->set("Q", quality)->set("lossless", lossless));
        } else if (codec == "heif" || codec == "avif") {
            // One container, two codecs; the path says nothing (the core writes a temporary file).
            image.heifsave(path, options->set("Q", quality)
                                     ->set("compression", codec == "avif" ? VIPS_FOREIGN_HEIF_COMPRESSION_AV1
                                                                          : VIPS_FOREIGN_HEIF_COMPRESSION_HEVC));
        } else {
            image.gifsave(path, options);
        }
    } catch (const vips::VError& e) {
        throw Core::Exception(Readable(Proc::TakeVipsError(e)));
    }
}

} // namespace Quelto::Lumindra::PhotoCore

#include "photoutil/ImageUtils.h"

#include <memory>

namespace Quelto::Lumindra::PhotoUtil {

namespace {

bool IsOpaqueArgb32(const QImage& image)
{
    for (int y = 0; y < image.height(); ++y) {
        const QRgb* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(row[x]) != 255)
                return false;
        }
    }
    return true;
}

bool IsOpaqueRgba64(const QImage& image)
{
    for (int y = 0; y < image.height(); ++y) {
        const QRgba64* row = reinterpret_cast<const QRgba64*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            if (row[x].alpha() != 0xffff)
                return false;
        }
    }
    return true;
}

// The frame holds a shallow copy of the image, so the pixels live as long as the frame.
// constBits() keeps the copy from detaching: no pixel is copied.
Proc::DataVideoPtr Wrap(const QImage& image, int pixFmt, bool opaque)
{
    auto holder = std::make_shared<QImage>(image);
    auto* data = const_cast<std::uint8_t*>(reinterpret_cast<const std::uint8_t*>(holder->constBits()));
    Proc::DataVideoPtr frame = Proc::WrapDataVideo(Conf::FrameInfo {image.width(), image.height(), 1.0}, pixFmt,
                                                   int(image.bytesPerLine()), data, std::move(holder));
    frame->SetOpaque(opaque);
    return frame;
}

bool IsDeepFormat(QImage::Format format)
{
    switch (format) {
    case QImage::Format_RGBA64_Premultiplied:
    case QImage::Format_Grayscale16:
    case QImage::Format_A2BGR30_Premultiplied:
    case QImage::Format_A2RGB30_Premultiplied:
    case QImage::Format_BGR30:
    case QImage::Format_RGB30:
        return true;
    default:
        return false;
    }
}

} // namespace

Proc::DataVideoPtr ImageUtils::ImageToFrame(const QImage& image)
{
    if (image.isNull())
        return nullptr;
    switch (image.format()) {
    case QImage::Format_ARGB32:
        return Wrap(image, Proc::PIX_FMT_BGRA32, IsOpaqueArgb32(image));
    case QImage::Format_RGB32: // 0xffRRGGBB: the same bytes as an opaque ARGB32 image
        return Wrap(image, Proc::PIX_FMT_BGRA32, true);
    case QImage::Format_RGB888:
        return Wrap(image, Proc::PIX_FMT_RGB24, true);
    case QImage::Format_BGR888:
        return Wrap(image, Proc::PIX_FMT_BGR24, true);
    case QImage::Format_RGBA64:
        return Wrap(image, Proc::PIX_FMT_RGBA64, IsOpaqueRgba64(image));
    case QImage::Format_RGBX64:
        return Wrap(image, Proc::PIX_FMT_RGBA64, true);
    default:
        break;
    }
    // Other layouts are converted; Qt turns premultiplied pixels into straight ones on the way.
    if (IsDeepFormat(image.format())) {
        const QImage deep = image.convertToFormat(QImage::Format_RGBA64);
        return Wrap(deep, Proc::PIX_FMT_RGBA64, !deep.hasAlphaChannel() || IsOpaqueRgba64(deep));
    }
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    if (argb.isNull())
        return nullptr;
    return Wrap(argb, Proc::PIX_FMT_BGRA32, !image.hasAlphaChannel() || IsOpaqueArgb32(argb));
}

} // namespace Quelto::Lumindra::PhotoUtil

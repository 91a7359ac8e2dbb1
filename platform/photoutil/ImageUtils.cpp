#include "photoutil/ImageUtils.h"

#include <memory>

#include "proc/AlphaRange.h"

namespace Quelto::Lumindra::PhotoUtil {

namespace {

// How an image of a given Qt format is held as a frame.
struct Layout {
    QImage::Format qtFormat;
    int pixFmt;
};

bool IsDeepFormat(QImage::Format format)
{
    switch (format) {
    case QImage::Format_RGBA64:
    case QImage::Format_RGBX64:
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

Layout LayoutFor(QImage::Format format, bool workingOnly)
{
    switch (format) {
    case QImage::Format_ARGB32:
        return {format, Proc::PIX_FMT_BGRA32};
    case QImage::Format_RGB32: // 0xffRRGGBB: the same bytes as an opaque ARGB32 image
        return {format, Proc::PIX_FMT_BGRA32};
    case QImage::Format_RGB888:
        if (!workingOnly)
            return {format, Proc::PIX_FMT_RGB24};
        break;
    case QImage::Format_BGR888:
        if (!workingOnly)
            return {format, Proc::PIX_FMT_BGR24};
        break;
    case QImage::Format_RGBA64:
    case QImage::Format_RGBX64: // alpha stored as 0xffff
        return {format, Proc::PIX_FMT_RGBA64};
    default:
        break;
    }
    // Qt turns premultiplied pixels into straight ones on the way.
    return IsDeepFormat(format) ? Layout {QImage::Format_RGBA64, Proc::PIX_FMT_RGBA64}
                                : Layout {QImage::Format_ARGB32, Proc::PIX_FMT_BGRA32};
}

Proc::DataVideoPtr Convert(const QImage& image, bool working)
{
    if (image.isNull())
        return nullptr;
    const Layout layout = LayoutFor(image.format(), working);
    auto holder = std::make_shared<QImage>(image.format() == layout.qtFormat ? image
                                                                             : image.convertToFormat(layout.qtFormat));
    if (holder->isNull())
        return nullptr;
    // The frame holds the image, so the pixels live as long as the frame. constBits() keeps a
    // shared image from detaching (no pixel copied); bits() detaches it from the caller's.
    const std::uint8_t* bits = working ? holder->bits() : holder->constBits();
    if (!bits)
        return nullptr;
    Proc::DataVideoPtr frame =
        Proc::WrapDataVideo(Conf::FrameInfo {holder->width(), holder->height(), 1.0}, layout.pixFmt,
                            int(holder->bytesPerLine()), const_cast<std::uint8_t*>(bits), holder);
    frame->SetOpaque(!image.hasAlphaChannel() || Proc::AlphaRange::Of(*frame).IsOpaque());
    return frame;
}

} // namespace

Proc::DataVideoPtr ImageUtils::ImageToFrame(const QImage& image)
{
    return Convert(image, false);
}

Proc::DataVideoPtr ImageUtils::ImageToWorkingFrame(const QImage& image)
{
    return Convert(image, true);
}

} // namespace Quelto::Lumindra::PhotoUtil

#include "util/ImageUtils.h"

#include <glog/logging.h>

namespace Quelto::Lumindra::Util {

// Format 28 is laid out as QImage::Format_ARGB32 only where a 32-bit 0xAARRGGBB word is stored
// B, G, R, A in memory.
static_assert(Q_BYTE_ORDER == Q_LITTLE_ENDIAN, "BGRA frames map onto QImage::Format_ARGB32 on little-endian only");

namespace {

QImage::Format QtFormatFor(const Proc::IDataVideo& frame)
{
    switch (frame.GetPixFmt()) {
    case Proc::PIX_FMT_BGRA32:
        return frame.IsOpaque() ? QImage::Format_RGB32 : QImage::Format_ARGB32;
    case Proc::PIX_FMT_RGB24:
        return QImage::Format_RGB888;
    case Proc::PIX_FMT_BGR24:
        return QImage::Format_BGR888;
    case Proc::PIX_FMT_RGBA64:
        return frame.IsOpaque() ? QImage::Format_RGBX64 : QImage::Format_RGBA64;
    default:
        return QImage::Format_Invalid;
    }
}

// QImage's cleanup function: drops the reference that the image held on its frame.
void ReleaseFrame(void* holder)
{
    delete static_cast<Proc::DataVideoPtr*>(holder);
}

} // namespace

QImage ImageUtils::FrameToImage(const Proc::DataVideoPtr& frame) const
{
    return frame ? WrapFrame(frame, QtFormatFor(*frame)) : QImage();
}

QImage ImageUtils::FrameToDisplayImage(const Proc::DataVideoPtr& frame) const
{
    if (!frame)
        return QImage();
    const auto premultiplied =
        frame->GetPixFmt() == Proc::PIX_FMT_BGRA32 && !frame->IsOpaque() ? frame->GetPremultiplied() : nullptr;
    if (!premultiplied)
        return FrameToImage(frame);
    return WrapFrame(boost::const_pointer_cast<Proc::IDataVideo>(premultiplied), QImage::Format_ARGB32_Premultiplied);
}

QImage ImageUtils::WrapFrame(const Proc::DataVideoPtr& frame, QImage::Format format)
{
    const Conf::FrameInfo& info = frame->GetFrameInfo();
    if (format == QImage::Format_Invalid) {
        LOG(WARNING) << "Frame of pixel format " << frame->GetPixFmt() << " cannot be shown";
        return QImage();
    }
    if (info.IsEmpty() || !frame->GetData() ||
        frame->GetStride() < info.width * Proc::BytesPerPixel(frame->GetPixFmt())) {
        LOG(WARNING) << "Frame " << info.width << "x" << info.height << " with stride " << frame->GetStride()
                     << " has no usable pixels";
        return QImage();
    }
    auto* holder = new Proc::DataVideoPtr(frame);
    QImage image(frame->GetData(), info.width, info.height, frame->GetStride(), format, &ReleaseFrame, holder);
    if (image.isNull()) {
        // Qt refused the geometry and will never call the cleanup function.
        delete holder;
        LOG(WARNING) << "Frame " << info.width << "x" << info.height << " with stride " << frame->GetStride()
                     << " cannot be shown";
    }
    return image;
}

QPixmap ImageUtils::FrameToPixmap(const Proc::DataVideoPtr& frame) const
{
    const QImage image = FrameToDisplayImage(frame);
    return image.isNull() ? QPixmap() : QPixmap::fromImage(image);
}

} // namespace Quelto::Lumindra::Util

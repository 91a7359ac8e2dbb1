#include <algorithm>
#include <cstdint>
#include <memory>
#include <tuple>
#include <vector>

#include <QImage>

#include <gtest/gtest.h>

#include "proc/IDataVideo.h"
#include "util/ImageUtils.h"

namespace Quelto::Lumindra::Util {
namespace {

using Bytes = std::vector<std::uint8_t>;

// A 2x2 frame of one pixel value over memory the test owns, its rows padded with other bytes so
// that a stride mix-up shows; `released` turns true when the frame lets go of the memory.
Proc::DataVideoPtr MakeFrame(int pixFmt, const Bytes& pixel, bool opaque, std::shared_ptr<bool> released)
{
    constexpr int kSide = 2, kRowPadding = 24;
    const int stride = kSide * int(pixel.size()) + kRowPadding;
    std::shared_ptr<Bytes> bytes(new Bytes(std::size_t(stride) * kSide, 0xEE), [released](Bytes* b) {
        delete b;
        *released = true;
    });
    for (int i = 0; i < kSide * kSide; ++i)
        std::copy(pixel.begin(), pixel.end(), bytes->begin() + (i / kSide) * stride + (i % kSide) * pixel.size());
    Proc::DataVideoPtr frame = Proc::WrapDataVideo(Conf::FrameInfo {kSide, kSide, 1.0}, pixFmt, stride, bytes->data(), bytes);
    frame->SetOpaque(opaque);
    return frame;
}

TEST(ImageUtils, ImageSharesTheFramePixelsWithTheRightChannelOrder)
{
    // 16-bit channels are little-endian: 10 * 257 is {10, 10}.
    const std::tuple<int, Bytes, bool, QImage::Format, QRgb> cases[] = {
        {Proc::PIX_FMT_BGRA32, {10, 20, 30, 40}, false, QImage::Format_ARGB32, qRgba(30, 20, 10, 40)},
        {Proc::PIX_FMT_BGRA32, {10, 20, 30, 255}, true, QImage::Format_RGB32, qRgb(30, 20, 10)},
        {Proc::PIX_FMT_RGB24, {10, 20, 30}, true, QImage::Format_RGB888, qRgb(10, 20, 30)},
        {Proc::PIX_FMT_BGR24, {10, 20, 30}, true, QImage::Format_BGR888, qRgb(30, 20, 10)},
        {Proc::PIX_FMT_RGBA64, {10, 10, 20, 20, 30, 30, 40, 40}, false, QImage::Format_RGBA64, qRgba(10, 20, 30, 40)},
        {Proc::PIX_FMT_RGBA64, {10, 10, 20, 20, 30, 30, 255, 255}, true, QImage::Format_RGBX64, qRgb(10, 20, 30)},
    };
    for (const auto& [pixFmt, pixel, opaque, format, colour] : cases) {
        SCOPED_TRACE(format);
        const Proc::DataVideoPtr frame = MakeFrame(pixFmt, pixel, opaque, std::make_shared<bool>());
        const QImage image = ImageUtils().FrameToImage(frame);
        EXPECT_EQ(image.format(), format);
        EXPECT_EQ(image.constBits(), frame->GetData()) << "pixels were copied";
        for (const QPoint& at : {QPoint(0, 0), QPoint(1, 0), QPoint(0, 1), QPoint(1, 1)})
            EXPECT_EQ(image.pixel(at), colour) << at.x() << "," << at.y();
    }
    EXPECT_TRUE(ImageUtils().FrameToImage(nullptr).isNull());
}

TEST(ImageUtils, WritingDetachesAndTheFrameLivesUntilTheLastImageSharingItIsGone)
{
    auto released = std::make_shared<bool>(false);
    Proc::DataVideoPtr frame = MakeFrame(Proc::PIX_FMT_BGRA32, {10, 20, 30, 40}, false, released);
    QImage image = ImageUtils().FrameToImage(frame);
    QImage copy = image;
    image.setPixel(0, 0, qRgba(1, 2, 3, 4));
    EXPECT_EQ(frame->GetData()[0], 10) << "writing to the image changed the frame";
    EXPECT_EQ(copy.constBits(), frame->GetData());
    frame.reset();
    EXPECT_FALSE(*released) << "the frame went while an image still shows it";
    copy = QImage();
    EXPECT_TRUE(*released);
}

} // namespace
} // namespace Quelto::Lumindra::Util

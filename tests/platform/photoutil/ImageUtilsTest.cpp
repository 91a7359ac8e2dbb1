#include <tuple>

#include <QColor>
#include <QImage>

#include <gtest/gtest.h>

#include "photoutil/ImageUtils.h"
#include "support/FrameTestSupport.h"

namespace Quelto::Lumindra {
namespace {

using PhotoUtil::ImageUtils;
namespace T = ::Quelto::Lumindra::Test;

// Formats a frame can hold are wrapped, not copied, and the frame keeps the pixels alive.
TEST(ImageUtilsTest, ImagesInAFrameFormatAreWrappedWithoutCopying)
{
    for (auto [format, pixFmt, opaque] : {std::tuple {QImage::Format_ARGB32, Proc::PIX_FMT_BGRA32, false},
                                          {QImage::Format_RGB32, Proc::PIX_FMT_BGRA32, true},
                                          {QImage::Format_RGB888, Proc::PIX_FMT_RGB24, true},
                                          {QImage::Format_RGBA64, Proc::PIX_FMT_RGBA64, true}}) {
        SCOPED_TRACE(format);
        QImage image(37, 11, format);
        image.fill(QColor(10, 20, 30, opaque ? 255 : 40));
        const Proc::DataVideoPtr frame = ImageUtils::ImageToFrame(image);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->GetPixFmt(), pixFmt);
        EXPECT_EQ(frame->GetFrameInfo().width, 37);
        EXPECT_EQ(frame->GetFrameInfo().height, 11);
        EXPECT_EQ(frame->IsOpaque(), opaque);
        EXPECT_EQ(frame->GetData(), image.constBits());
        EXPECT_EQ(frame->GetStride(), image.bytesPerLine());
        image = QImage();
        const int s = T::MaxValue(pixFmt) / 255;
        EXPECT_EQ(T::ReadPixel(*frame, 36, 10), (T::Rgba {10 * s, 20 * s, 30 * s, (opaque ? 255 : 40) * s})) << "image gone";
    }
    EXPECT_FALSE(ImageUtils::ImageToFrame(QImage()));
}

TEST(ImageUtilsTest, OpacityIsDetectedAndPremultipliedBecomesStraightBgra)
{
    QImage image(8, 8, QImage::Format_ARGB32);
    image.fill(QColor(1, 2, 3, 255));
    EXPECT_TRUE(ImageUtils::ImageToFrame(image)->IsOpaque());
    image.setPixelColor(7, 7, QColor(1, 2, 3, 254)); // the very last pixel decides
    EXPECT_FALSE(ImageUtils::ImageToFrame(image)->IsOpaque());

    QImage premultiplied(3, 2, QImage::Format_ARGB32_Premultiplied);
    premultiplied.fill(Qt::transparent);
    premultiplied.setPixel(1, 1, qRgba(64, 32, 16, 128)); // straight: about (127, 63, 31)
    const Proc::DataVideoPtr frame = ImageUtils::ImageToFrame(premultiplied);
    ASSERT_EQ(frame->GetPixFmt(), Proc::PIX_FMT_BGRA32);
    const T::Rgba straight = T::ReadPixel(*frame, 1, 1);
    for (std::size_t c = 0; c < 3; ++c)
        EXPECT_NEAR(straight[c], (T::Rgba {127, 63, 31})[c], 1);
    EXPECT_EQ(straight[3], 128);
    EXPECT_EQ(T::ReadPixel(*frame, 0, 0)[3], 0);
    EXPECT_FALSE(frame->IsOpaque());
}

} // namespace
} // namespace Quelto::Lumindra

#include <tuple>
#include <vector>

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

// Images deeper than 8 bits a channel keep their precision: the frame holds what Qt reads from
// the image, in both conversions, and the working one never shares the caller's buffer.
TEST(ImageUtilsTest, DeepImagesBecomeSixteenBitFramesWithTheirValues)
{
    const QColor colour = QColor::fromRgba64(0x1234, 0x5678, 0x9abc, 0xffff);
    for (const QImage::Format format : {QImage::Format_RGBA64, QImage::Format_RGBX64,
                                        QImage::Format_RGBA64_Premultiplied, QImage::Format_Grayscale16,
                                        QImage::Format_RGB30, QImage::Format_BGR30,
                                        QImage::Format_A2RGB30_Premultiplied, QImage::Format_A2BGR30_Premultiplied}) {
        SCOPED_TRACE(format);
        QImage image(5, 4, format);
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                if (format == QImage::Format_Grayscale16) // Qt 5 sets grey through 8 bits
                    reinterpret_cast<quint16*>(image.scanLine(y))[x] = 0x1234;
                else
                    image.setPixelColor(x, y, colour);
        const QRgba64 expected = image.pixelColor(4, 3).rgba64();
        ASSERT_TRUE(expected.red() % 257 || expected.green() % 257) << "the format holds more than 8 bits";
        for (const Proc::DataVideoPtr& frame : {ImageUtils::ImageToFrame(image), ImageUtils::ImageToWorkingFrame(image)}) {
            ASSERT_TRUE(frame);
            EXPECT_EQ(frame->GetPixFmt(), Proc::PIX_FMT_RGBA64);
            EXPECT_TRUE(frame->IsOpaque());
            EXPECT_EQ(T::ReadPixel(*frame, 4, 3),
                      (T::Rgba {expected.red(), expected.green(), expected.blue(), expected.alpha()}));
        }
    }
}

TEST(ImageUtilsTest, WorkingFramesAreBgraOrRgba64AndOwnTheirPixels)
{
    for (const QImage::Format format : {QImage::Format_RGB888, QImage::Format_BGR888, QImage::Format_RGBA8888,
                                        QImage::Format_ARGB32_Premultiplied}) {
        SCOPED_TRACE(format);
        QImage image(6, 2, format);
        image.fill(QColor(10, 20, 30));
        const Proc::DataVideoPtr frame = ImageUtils::ImageToWorkingFrame(image);
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->GetPixFmt(), Proc::PIX_FMT_BGRA32);
        EXPECT_EQ(T::ReadPixel(*frame, 5, 1), (T::Rgba {10, 20, 30, 255}));
    }
    // A caller's buffer written after the conversion does not reach the frame.
    std::vector<uchar> buffer(4 * 3 * 2, 0x80);
    const QImage over(buffer.data(), 3, 2, 12, QImage::Format_ARGB32);
    const Proc::DataVideoPtr frame = ImageUtils::ImageToWorkingFrame(over);
    ASSERT_TRUE(frame);
    std::fill(buffer.begin(), buffer.end(), 0);
    EXPECT_EQ(T::ReadPixel(*frame, 2, 1), (T::Rgba {0x80, 0x80, 0x80, 0x80}));
    EXPECT_FALSE(frame->IsOpaque());
    EXPECT_FALSE(ImageUtils::ImageToWorkingFrame(QImage()));
}

} // namespace
} // namespace Quelto::Lumindra

#include <QColor>
#include <QImage>

#include <gtest/gtest.h>

#include "photoutil/ImageUtils.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

using PhotoUtil::ImageUtils;

QColor FramePixel(const Proc::IDataVideo& frame, int x, int y)
{
    const std::uint8_t* p = frame.GetData() + std::size_t(y) * frame.GetStride() + 4 * std::size_t(x);
    return QColor(p[2], p[1], p[0], p[3]);
}

TEST(ImageUtilsTest, Argb32IsWrappedWithoutCopying)
{
    QImage image(37, 11, QImage::Format_ARGB32);
    image.fill(QColor(10, 20, 30, 40));
    Proc::DataVideoPtr frame = ImageUtils::ImageToFrame(image);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->GetData(), image.constBits());
    EXPECT_EQ(frame->GetStride(), image.bytesPerLine());
    EXPECT_EQ(frame->GetPixFmt(), Proc::PIX_FMT_BGRA32);
    EXPECT_EQ(frame->GetFrameInfo().width, 37);
    EXPECT_EQ(frame->GetFrameInfo().height, 11);
    EXPECT_FALSE(frame->IsOpaque());

    // The frame keeps the pixels alive after the image is gone.
    image = QImage();
    EXPECT_EQ(FramePixel(*frame, 36, 10), QColor(10, 20, 30, 40));
}

TEST(ImageUtilsTest, OpacityIsDetected)
{
    QImage image(8, 8, QImage::Format_ARGB32);
    image.fill(QColor(1, 2, 3, 255));
    EXPECT_TRUE(ImageUtils::ImageToFrame(image)->IsOpaque());
    image.setPixelColor(7, 7, QColor(1, 2, 3, 254)); // the very last pixel decides
    EXPECT_FALSE(ImageUtils::ImageToFrame(image)->IsOpaque());

    QImage rgb(5, 5, QImage::Format_RGB32);
    rgb.fill(QColor(200, 100, 50));
    Proc::DataVideoPtr frame = ImageUtils::ImageToFrame(rgb);
    EXPECT_TRUE(frame->IsOpaque());
    EXPECT_EQ(frame->GetData(), rgb.constBits());
    EXPECT_EQ(FramePixel(*frame, 4, 4), QColor(200, 100, 50, 255));
}

TEST(ImageUtilsTest, PremultipliedBecomesStraight)
{
    QImage image(3, 2, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    image.setPixel(1, 1, qRgba(64, 32, 16, 128)); // premultiplied: straight is about (127, 63, 31)
    Proc::DataVideoPtr frame = ImageUtils::ImageToFrame(image);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->GetPixFmt(), Proc::PIX_FMT_BGRA32);
    const QColor straight = FramePixel(*frame, 1, 1);
    EXPECT_NEAR(straight.red(), 127, 1);
    EXPECT_NEAR(straight.green(), 63, 1);
    EXPECT_NEAR(straight.blue(), 31, 1);
    EXPECT_EQ(straight.alpha(), 128);
    EXPECT_EQ(FramePixel(*frame, 0, 0).alpha(), 0);
    EXPECT_FALSE(frame->IsOpaque());
}

TEST(ImageUtilsTest, OtherFormatsAreConvertedOrMapped)
{
    QImage gray(4, 3, QImage::Format_Grayscale8);
    gray.fill(90);
    Proc::DataVideoPtr frame = ImageUtils::ImageToFrame(gray);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->GetPixFmt(), Proc::PIX_FMT_BGRA32);
    EXPECT_TRUE(frame->IsOpaque());
    EXPECT_EQ(FramePixel(*frame, 3, 2), QColor(90, 90, 90, 255));

    QImage rgb888(5, 2, QImage::Format_RGB888);
    rgb888.fill(QColor(1, 2, 3));
    frame = ImageUtils::ImageToFrame(rgb888);
    EXPECT_EQ(frame->GetPixFmt(), Proc::PIX_FMT_RGB24);
    EXPECT_EQ(frame->GetData(), rgb888.constBits());
    EXPECT_EQ(frame->GetData()[0], 1);

    QImage deep(2, 2, QImage::Format_RGBA64);
    deep.fill(QColor::fromRgba64(1000, 2000, 3000, 65535));
    frame = ImageUtils::ImageToFrame(deep);
    EXPECT_EQ(frame->GetPixFmt(), Proc::PIX_FMT_RGBA64);
    EXPECT_TRUE(frame->IsOpaque());
    EXPECT_EQ(reinterpret_cast<const std::uint16_t*>(frame->GetData())[1], 2000);

    EXPECT_FALSE(ImageUtils::ImageToFrame(QImage()));
}

} // namespace
} // namespace Quelto::Lumindra

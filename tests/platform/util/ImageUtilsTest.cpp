#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include <QColor>
#include <QImage>
#include <QPixmap>

#include <gtest/gtest.h>

#include "core/RefCounted.h"
#include "proc/DataVideo.h"
#include "support/TestSupport.h"
#include "util/ImageUtils.h"

namespace Quelto::Lumindra::Util {
namespace {

// Rows padded beyond the pixels, as frames from decoders often are, so that a stride mix-up
// shows as shifted pixels.
constexpr int kRowPadding = 24;
constexpr int kWidth = 5;
constexpr int kHeight = 3;

// A distinct colour per pixel; alpha varies unless the frame is opaque.
QColor PixelColour(int x, int y, bool opaque)
{
    return QColor(40 * x + 10, 70 * y + 5, 200 - 30 * x, opaque ? 255 : 100 + 50 * y);
}

void WritePixel(std::uint8_t* p, int pixFmt, const QColor& c)
{
    switch (pixFmt) {
    case Proc::PIX_FMT_BGRA32:
        p[0] = std::uint8_t(c.blue()), p[1] = std::uint8_t(c.green()), p[2] = std::uint8_t(c.red()), p[3] = std::uint8_t(c.alpha());
        break;
    case Proc::PIX_FMT_RGB24:
        p[0] = std::uint8_t(c.red()), p[1] = std::uint8_t(c.green()), p[2] = std::uint8_t(c.blue());
        break;
    case Proc::PIX_FMT_BGR24:
        p[0] = std::uint8_t(c.blue()), p[1] = std::uint8_t(c.green()), p[2] = std::uint8_t(c.red());
        break;
    case Proc::PIX_FMT_RGBA64: {
        const std::uint16_t v[4] = {std::uint16_t(c.red() * 257), std::uint16_t(c.green() * 257),
                                    std::uint16_t(c.blue() * 257), std::uint16_t(c.alpha() * 257)};
        std::memcpy(p, v, sizeof v);
        break;
    }
    }
}

// A frame over memory the test owns; `released` turns true when the frame lets go of it.
Proc::DataVideoPtr MakeFrame(int pixFmt, bool opaque, std::shared_ptr<bool> released)
{
    const int stride = kWidth * Proc::BytesPerPixel(pixFmt) + kRowPadding;
    auto* pixels = new std::vector<std::uint8_t>(std::size_t(stride) * kHeight, 0xEE);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            WritePixel(pixels->data() + std::size_t(y) * stride + x * Proc::BytesPerPixel(pixFmt), pixFmt,
                       PixelColour(x, y, opaque));
    std::shared_ptr<void> owner(pixels, [released](void* p) {
        delete static_cast<std::vector<std::uint8_t>*>(p);
        *released = true;
    });
    Proc::DataVideoPtr frame =
        Proc::WrapDataVideo(Conf::FrameInfo {kWidth, kHeight, 1.0}, pixFmt, stride, pixels->data(), owner);
    frame->SetOpaque(opaque);
    return frame;
}

struct FormatCase {
    const char* name;
    int pixFmt;
    bool opaque;
    QImage::Format expected;
    friend void PrintTo(const FormatCase& c, std::ostream* os) { *os << c.name; }
};

class ImageUtilsFormat : public ::testing::TestWithParam<FormatCase> {};

TEST_P(ImageUtilsFormat, SharesTheFramePixelsWithTheRightChannelOrder)
{
    const FormatCase& c = GetParam();
    auto released = std::make_shared<bool>(false);
    Proc::DataVideoPtr frame = MakeFrame(c.pixFmt, c.opaque, released);
    const QImage image = ImageUtils().FrameToImage(frame);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.format(), c.expected);
    EXPECT_EQ(image.constBits(), frame->GetData()) << "pixels were copied";
    EXPECT_EQ(image.bytesPerLine(), frame->GetStride());
    EXPECT_EQ(image.size(), QSize(kWidth, kHeight));
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            EXPECT_EQ(image.pixelColor(x, y).rgba(), PixelColour(x, y, c.opaque).rgba()) << "at " << x << "," << y;
}

INSTANTIATE_TEST_SUITE_P(
    ImageUtils, ImageUtilsFormat,
    ::testing::Values(FormatCase {"Bgra", Proc::PIX_FMT_BGRA32, false, QImage::Format_ARGB32},
                      FormatCase {"BgraOpaque", Proc::PIX_FMT_BGRA32, true, QImage::Format_RGB32},
                      FormatCase {"Rgb", Proc::PIX_FMT_RGB24, true, QImage::Format_RGB888},
                      FormatCase {"Bgr", Proc::PIX_FMT_BGR24, true, QImage::Format_BGR888},
                      FormatCase {"Rgba64", Proc::PIX_FMT_RGBA64, false, QImage::Format_RGBA64},
                      FormatCase {"Rgba64Opaque", Proc::PIX_FMT_RGBA64, true, QImage::Format_RGBX64}),
    [](const ::testing::TestParamInfo<FormatCase>& info) { return std::string(info.param.name); });

TEST(ImageUtils, ImageKeepsTheFrameAliveUntilItsLastCopyIsGone)
{
    auto released = std::make_shared<bool>(false);
    Proc::DataVideoPtr frame = MakeFrame(Proc::PIX_FMT_BGRA32, false, released);
    QImage image = ImageUtils().FrameToImage(frame);
    frame.reset(); // the last intrusive_ptr outside the image
    EXPECT_FALSE(*released);
    QImage copy = image;
    image = QImage();
    EXPECT_FALSE(*released);
    EXPECT_EQ(copy.pixelColor(4, 2).rgba(), PixelColour(4, 2, false).rgba());
    copy = QImage();
    EXPECT_TRUE(*released);
}

TEST(ImageUtils, WritingToTheImageLeavesTheFrameUntouched)
{
    auto released = std::make_shared<bool>(false);
    Proc::DataVideoPtr frame = MakeFrame(Proc::PIX_FMT_RGB24, true, released);
    const std::vector<std::uint8_t> before(frame->GetData(), frame->GetData() + frame->GetStride() * kHeight);
    QImage image = ImageUtils().FrameToImage(frame);
    image.setPixelColor(0, 0, Qt::black);
    EXPECT_NE(image.constBits(), frame->GetData());
    EXPECT_TRUE(std::equal(before.begin(), before.end(), frame->GetData()));
}

TEST(ImageUtils, PixmapHasTheFramePixels)
{
    auto released = std::make_shared<bool>(false);
    Proc::DataVideoPtr frame = MakeFrame(Proc::PIX_FMT_BGR24, true, released);
    const QPixmap pixmap = ImageUtils().FrameToPixmap(frame);
    ASSERT_EQ(pixmap.size(), QSize(kWidth, kHeight));
    EXPECT_EQ(pixmap.toImage().pixelColor(3, 1).rgb(), PixelColour(3, 1, true).rgb());
}

// A frame from an implementation that does not check itself, to reach the refusals.
class LooseFrame : public Core::RefCounted, public Proc::IDataVideo {
public:
    LooseFrame(int pixFmt, int stride, std::uint8_t* data) : pixFmt_(pixFmt), stride_(stride), data_(data) {}
    const Conf::FrameInfo& GetFrameInfo() const override { return info_; }
    int GetPixFmt() const override { return pixFmt_; }
    int GetStride() const override { return stride_; }
    const std::uint8_t* GetData() const override { return data_; }
    std::uint8_t* GetMutableData() override { return data_; }
    bool IsOpaque() const override { return true; }
    void SetOpaque(bool) override {}
    int GetLevelCount() const override { return 1; }
    boost::intrusive_ptr<const IDataVideo> GetLevel(int) const override { return this; }
    void BuildLevels(int) override {}
    std::uint64_t GetMemorySize() const override { return 0; }

private:
    Conf::FrameInfo info_ {4, 4, 1.0};
    int pixFmt_;
    int stride_;
    std::uint8_t* data_;
};

struct RefusedCase {
    const char* name;
    int pixFmt;
    int stride;
    bool withData;
    friend void PrintTo(const RefusedCase& c, std::ostream* os) { *os << c.name; }
};

class ImageUtilsRefusal : public ::testing::TestWithParam<RefusedCase> {};

TEST_P(ImageUtilsRefusal, GivesNullImageAndWarns)
{
    const RefusedCase& c = GetParam();
    std::vector<std::uint8_t> pixels(256);
    Proc::DataVideoPtr frame(new LooseFrame(c.pixFmt, c.stride, c.withData ? pixels.data() : nullptr));
    Lumindra::Test::LogCapture log;
    EXPECT_TRUE(ImageUtils().FrameToImage(frame).isNull());
    EXPECT_TRUE(ImageUtils().FrameToPixmap(frame).isNull());
    EXPECT_GE(log.ProblemCount(), 1);
}

INSTANTIATE_TEST_SUITE_P(ImageUtils, ImageUtilsRefusal,
                         ::testing::Values(RefusedCase {"UnknownFormat", 99, 16, true},
                                           RefusedCase {"StrideShorterThanARow", Proc::PIX_FMT_BGRA32, 15, true},
                                           RefusedCase {"NoPixels", Proc::PIX_FMT_BGRA32, 16, false}),
                         [](const ::testing::TestParamInfo<RefusedCase>& info) { return std::string(info.param.name); });

TEST(ImageUtils, NullFrameGivesNullImage)
{
    EXPECT_TRUE(ImageUtils().FrameToImage(nullptr).isNull());
    EXPECT_TRUE(ImageUtils().FrameToPixmap(nullptr).isNull());
}

} // namespace
} // namespace Quelto::Lumindra::Util

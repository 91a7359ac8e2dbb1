// The pixel work of the core, against straightforward per-pixel references.

#include <algorithm>
#include <cmath>
#include <random>

#include <gtest/gtest.h>

#include <QImage>

#include "core/Exception.h"
#include "photocore/FrameOps.h"
#include "util/ImageUtils.h"
#include "support/FrameTestSupport.h"

namespace Quelto::Lumindra::PhotoCore {
namespace {

using Proc::DataVideoPtr;
using namespace ::Quelto::Lumindra::Test;

// A frame whose pixels differ from their neighbours' (position encoded in the channels).
DataVideoPtr NumberedFrame(int width, int height, int format)
{
    return MakeFrame(format, width, height, [&](int x, int y) {
        const int max = MaxValue(format);
        return Rgba {x % (max + 1), y % (max + 1), (x * 7 + y) % 256, max};
    });
}

bool SamePixels(const Proc::IDataVideo& a, const Proc::IDataVideo& b)
{
    return a.GetPixFmt() == b.GetPixFmt() && MaxDifference(a, b) == 0;
}

// Sizes that are odd, wider than a tile and large enough for two bands.
class Geometry : public ::testing::TestWithParam<int> {};

TEST_P(Geometry, TurnsAndFlipsMoveEveryPixelWhereItBelongs)
{
    const int w = 301, h = 219;
    const DataVideoPtr in = NumberedFrame(w, h, GetParam());
    const DataVideoPtr cw = FrameOps::Rotate(*in, 1), half = FrameOps::Rotate(*in, 2), ccw = FrameOps::Rotate(*in, -1);
    const DataVideoPtr mirror = FrameOps::Flip(*in, true), upside = FrameOps::Flip(*in, false);
    ASSERT_EQ(cw->GetFrameInfo().width, h);
    ASSERT_EQ(cw->GetFrameInfo().height, w);
    for (int y = 0; y < h; y += 7)
        for (int x = 0; x < w; x += 5) {
            const Rgba p = ReadPixel(*in, x, y);
            ASSERT_EQ(ReadPixel(*cw, h - 1 - y, x), p) << x << "," << y;
            ASSERT_EQ(ReadPixel(*ccw, y, w - 1 - x), p) << x << "," << y;
            ASSERT_EQ(ReadPixel(*half, w - 1 - x, h - 1 - y), p) << x << "," << y;
            ASSERT_EQ(ReadPixel(*mirror, w - 1 - x, y), p) << x << "," << y;
            ASSERT_EQ(ReadPixel(*upside, x, h - 1 - y), p) << x << "," << y;
        }
    // Invariants: four quarter turns and two flips give back the original.
    DataVideoPtr turned = in;
    for (int i = 0; i < 4; ++i)
        turned = FrameOps::Rotate(*turned, 1);
    EXPECT_TRUE(SamePixels(*turned, *in));
    EXPECT_TRUE(SamePixels(*FrameOps::Flip(*mirror, true), *in));
    EXPECT_TRUE(SamePixels(*FrameOps::Flip(*upside, false), *in));
}

TEST_P(Geometry, CropKeepsTheClampedRectangle)
{
    const DataVideoPtr in = NumberedFrame(120, 90, GetParam());
    const DataVideoPtr cut = FrameOps::Crop(*in, 100, -10, 50, 40); // reaches out right and up
    ASSERT_EQ(cut->GetFrameInfo().width, 20);
    ASSERT_EQ(cut->GetFrameInfo().height, 30);
    EXPECT_EQ(ReadPixel(*cut, 0, 0), ReadPixel(*in, 100, 0));
    EXPECT_EQ(ReadPixel(*cut, 19, 29), ReadPixel(*in, 119, 29));
    EXPECT_THROW(FrameOps::Crop(*in, 130, 0, 10, 10), Core::Exception);
    EXPECT_THROW(FrameOps::Crop(*in, 0, 0, 0, 10), Core::Exception);
    EXPECT_THROW(FrameOps::ResultInfo(in->GetFrameInfo(), Proc::SettingsCrop(0, 95, 10, 10)), Core::Exception);
    const Conf::FrameInfo predicted = FrameOps::ResultInfo(in->GetFrameInfo(), Proc::SettingsCrop(100, -10, 50, 40));
    EXPECT_EQ(predicted.width, 20);
    EXPECT_EQ(predicted.height, 30);
}

INSTANTIATE_TEST_SUITE_P(FrameOps, Geometry, ::testing::Values(int(Proc::PIX_FMT_BGRA32), int(Proc::PIX_FMT_RGBA64)),
                         [](const ::testing::TestParamInfo<int>& info) {
                             return std::string(info.param == Proc::PIX_FMT_RGBA64 ? "rgba64" : "bgra32");
                         });

TEST(FrameOps, AdjustMovesToneAndColourTheRightWay)
{
    const DataVideoPtr in = MakeFlatFrame(Proc::PIX_FMT_BGRA32, 300, 300, {180, 120, 60, 77});
    EXPECT_EQ(FrameOps::Apply(in, Proc::SettingsAdjust()), in) << "an identity adjustment makes no new frame";
    Proc::SettingsAdjust brighter, grey, flat;
    brighter.exposure = 1.0;
    grey.saturation = -100.0;
    flat.contrast = -100.0;
    const Rgba up = ReadPixel(*FrameOps::Adjust(*in, brighter), 150, 150);
    EXPECT_GT(up[0], 180);
    EXPECT_GT(up[2], 60);
    EXPECT_EQ(up[3], 77) << "alpha is kept";
    const Rgba g = ReadPixel(*FrameOps::Adjust(*in, grey), 5, 5);
    EXPECT_EQ(g[0], g[1]);
    EXPECT_EQ(g[1], g[2]);
    const Rgba f = ReadPixel(*FrameOps::Adjust(*in, flat), 5, 5);
    for (std::size_t c = 0; c < 3; ++c)
        EXPECT_NEAR(f[c], 128, 1);

    // Saturation against the formula, over random colours (clamping at both ends included).
    std::mt19937 random(7);
    const DataVideoPtr noise = MakeFrame(Proc::PIX_FMT_BGRA32, 256, 64, [&](int, int) {
        return Rgba {int(random() % 256), int(random() % 256), int(random() % 256), int(random() % 256)};
    });
    for (const double saturation : {-50.0, 60.0, 100.0}) {
        Proc::SettingsAdjust vivid;
        vivid.saturation = saturation;
        const DataVideoPtr out = FrameOps::Adjust(*noise, vivid);
        for (int y = 0; y < 64; y += 3)
            for (int x = 0; x < 256; x += 3) {
                const Rgba p = ReadPixel(*noise, x, y), q = ReadPixel(*out, x, y);
                const double luma = (p[0] * 54 + p[1] * 183 + p[2] * 19 + 128) / 256;
                for (std::size_t c = 0; c < 3; ++c)
                    ASSERT_NEAR(q[c], std::clamp(luma + (p[c] - luma) * (1.0 + saturation / 100.0), 0.0, 255.0), 1.0)
                        << saturation << " at " << x << "," << y;
                ASSERT_EQ(q[3], p[3]);
            }
    }
    // 16 bits: the same direction, with the depth kept.
    const DataVideoPtr deep = NumberedFrame(300, 300, Proc::PIX_FMT_RGBA64);
    const DataVideoPtr deepUp = FrameOps::Adjust(*deep, brighter);
    EXPECT_EQ(deepUp->GetPixFmt(), Proc::PIX_FMT_RGBA64);
    EXPECT_GT(ReadPixel(*deepUp, 200, 100)[0], ReadPixel(*deep, 200, 100)[0]);
}

TEST(FrameOps, FlattenComposesOverThePadColour)
{
    const DataVideoPtr half = MakeFlatFrame(Proc::PIX_FMT_BGRA32, 8, 8, {200, 0, 0, 128});
    const DataVideoPtr flat = FrameOps::Flatten(*half, 255, 255, 255);
    EXPECT_TRUE(flat->IsOpaque());
    const Rgba p = ReadPixel(*flat, 3, 3);
    EXPECT_EQ(p[3], 255);
    EXPECT_NEAR(p[0], (200 * 128 + 255 * 127) / 255, 1); // red over white
    EXPECT_NEAR(p[2], 127, 1);                          // blue: only the white shows
    EXPECT_EQ(FrameOps::MinAlpha(*half), 128);
    EXPECT_EQ(FrameOps::MinAlpha(*flat), 255);
}

TEST(FrameOps, CompositeDrawsOnlyWhereTheOverlayIsOpaque)
{
    const DataVideoPtr base = MakeFlatFrame(Proc::PIX_FMT_BGRA32, 16, 16, {30, 20, 10, 255});
    const DataVideoPtr overlay = MakeFrame(Proc::PIX_FMT_BGRA32, 16, 16, [](int x, int y) {
        return x == 5 && y == 5 ? Rgba {50, 100, 200, 255} : Rgba {0, 0, 0, 0};
    });
    const DataVideoPtr out = FrameOps::CompositeOver(*base, *overlay);
    EXPECT_EQ(ReadPixel(*out, 5, 5), (Rgba {50, 100, 200, 255}));
    EXPECT_EQ(ReadPixel(*out, 6, 5), (Rgba {30, 20, 10, 255}));
    EXPECT_THROW(FrameOps::CompositeOver(*base, *MakeFlatFrame(Proc::PIX_FMT_BGRA32, 15, 16, {0, 0, 0, 0})), Core::Exception);
}

TEST(FrameOps, DisplayConversionRoundsEverySixteenBitValue)
{
    const DataVideoPtr deep = MakeFrame(Proc::PIX_FMT_RGBA64, 256, 256, [](int x, int y) {
        const int v = y * 256 + x;
        return Rgba {v, v, v, v};
    });
    const DataVideoPtr shown = FrameOps::ToDisplay(deep);
    ASSERT_EQ(shown->GetPixFmt(), Proc::PIX_FMT_BGRA32);
    for (int v = 0; v < 65536; ++v) {
        const Rgba p = ReadPixel(*shown, v % 256, v / 256);
        ASSERT_EQ(p[0], std::lround(v * 255.0 / 65535.0)) << v;
        ASSERT_EQ(p[3], p[0]);
    }
    EXPECT_EQ(FrameOps::ToDisplay(shown), shown) << "a display frame is passed through";
}

// A display frame with transparency carries its premultiplied form, made where the frame is,
// and the screen's image is made from it without a conversion; opaque frames carry none.
TEST(FrameOps, DisplayFramesWithTransparencyCarryTheirPremultipliedForm)
{
    for (const bool transparent : {false, true}) {
        SCOPED_TRACE(transparent ? "transparent" : "opaque");
        const DataVideoPtr frame = MakeNoiseFrame(Proc::PIX_FMT_BGRA32, 64, 48, transparent);
        const std::uint64_t bare = frame->GetMemorySize();
        const DataVideoPtr shown = FrameOps::ToDisplay(frame);
        const auto premultiplied = shown->GetPremultiplied();
        ASSERT_EQ(premultiplied != nullptr, transparent);
        const QImage image = Util::ImageUtils().FrameToDisplayImage(shown);
        if (!transparent) {
            EXPECT_EQ(image.format(), QImage::Format_RGB32);
            continue;
        }
        EXPECT_EQ(shown->GetMemorySize(), bare + premultiplied->GetMemorySize());
        EXPECT_EQ(image.format(), QImage::Format_ARGB32_Premultiplied);
        EXPECT_EQ(image.constBits(), premultiplied->GetData()) << "the image copies the pixels";
        for (int y = 0; y < 48; ++y) {
            for (int x = 0; x < 64; ++x) {
                const Rgba straight = ReadPixel(*shown, x, y);
                const Rgba stored = ReadPixel(*premultiplied, x, y);
                for (int c = 0; c < 3; ++c)
                    ASSERT_NEAR(stored[c], straight[c] * straight[3] / 255.0, 1.0) << x << "," << y;
                ASSERT_EQ(stored[3], straight[3]);
            }
        }
    }
}

TEST(FrameOps, ResizeHitsTheTargetAndKeepsAFlatColourFlat)
{
    const Rgba colour {90, 60, 30, 255};
    const DataVideoPtr out = FrameOps::Resize(*MakeFlatFrame(Proc::PIX_FMT_BGRA32, 640, 480, colour), {333, 250, 1.0});
    EXPECT_EQ(MaxDifference(*out, *MakeFlatFrame(Proc::PIX_FMT_BGRA32, 333, 250, colour)), 0);
}

TEST(FrameOps, UnknownEditsAreRefused)
{
    const DataVideoPtr in = MakeFlatFrame(Proc::PIX_FMT_BGRA32, 4, 4, {0, 0, 0, 255});
    Proc::SettingsResizer resize;
    EXPECT_FALSE(FrameOps::IsSupported(resize));
    EXPECT_THROW(FrameOps::Apply(in, resize), Core::Exception);
    EXPECT_THROW(FrameOps::ResultInfo(in->GetFrameInfo(), resize), Core::Exception);
}

} // namespace
} // namespace Quelto::Lumindra::PhotoCore

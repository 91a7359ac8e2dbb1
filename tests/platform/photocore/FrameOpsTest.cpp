// The pixel work of the core, against straightforward per-pixel references.

#include <algorithm>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

#include "core/Exception.h"
#include "photocore/FrameOps.h"

namespace Quelto::Lumindra::PhotoCore {
namespace {

using Proc::DataVideoPtr;

// A frame whose every pixel is distinct (position encoded in the channels), in either format.
DataVideoPtr NumberedFrame(int width, int height, int format)
{
    DataVideoPtr frame = Proc::CreateDataVideo({width, height, 1.0}, format);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::uint8_t* p = frame->GetMutableData() + std::size_t(y) * frame->GetStride()
                            + std::size_t(x) * Proc::BytesPerPixel(format);
            if (format == Proc::PIX_FMT_RGBA64) {
                const std::uint16_t v[4] = {std::uint16_t(x), std::uint16_t(y), std::uint16_t(x ^ y), 65535};
                std::memcpy(p, v, sizeof v);
            } else {
                p[0] = std::uint8_t(x);
                p[1] = std::uint8_t(y);
                p[2] = std::uint8_t(x * 7 + y);
                p[3] = 255;
            }
        }
    frame->SetOpaque(true);
    return frame;
}

std::vector<std::uint8_t> Pixel(const Proc::IDataVideo& frame, int x, int y)
{
    const int bpp = Proc::BytesPerPixel(frame.GetPixFmt());
    const std::uint8_t* p = frame.GetData() + std::size_t(y) * frame.GetStride() + std::size_t(x) * bpp;
    return {p, p + bpp};
}

bool SamePixels(const Proc::IDataVideo& a, const Proc::IDataVideo& b)
{
    if (a.GetFrameInfo().width != b.GetFrameInfo().width || a.GetFrameInfo().height != b.GetFrameInfo().height
        || a.GetPixFmt() != b.GetPixFmt())
        return false;
    const std::size_t row = std::size_t(a.GetFrameInfo().width) * Proc::BytesPerPixel(a.GetPixFmt());
    for (int y = 0; y < a.GetFrameInfo().height; ++y)
        if (std::memcmp(a.GetData() + std::size_t(y) * a.GetStride(), b.GetData() + std::size_t(y) * b.GetStride(), row))
            return false;
    return true;
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
            const auto p = Pixel(*in, x, y);
            ASSERT_EQ(Pixel(*cw, h - 1 - y, x), p) << x << "," << y;
            ASSERT_EQ(Pixel(*ccw, y, w - 1 - x), p) << x << "," << y;
            ASSERT_EQ(Pixel(*half, w - 1 - x, h - 1 - y), p) << x << "," << y;
            ASSERT_EQ(Pixel(*mirror, w - 1 - x, y), p) << x << "," << y;
            ASSERT_EQ(Pixel(*upside, x, h - 1 - y), p) << x << "," << y;
        }
    // Invariants: four quarter turns and two flips give back the original.
    DataVideoPtr turned = in;
    for (int i = 0; i < 4; ++i)
        turned = FrameOps::Rotate(*turned, 1);
    EXPECT_TRUE(SamePixels(*turned, *in));
    EXPECT_TRUE(SamePixels(*FrameOps::Flip(*mirror, true), *in));
    EXPECT_TRUE(SamePixels(*FrameOps::Flip(*upside, false), *in));
}

TEST_P(Geometry, ExifOrientationsAreUndone)
{
    // Build each stored orientation from an upright frame the way a camera would, then undo it.
    const DataVideoPtr upright = NumberedFrame(97, 61, GetParam());
    const std::function<DataVideoPtr(const DataVideoPtr&)> store[9] = {
        nullptr,
        [](const DataVideoPtr& f) { return f; },
        [](const DataVideoPtr& f) { return FrameOps::Flip(*f, true); },
        [](const DataVideoPtr& f) { return FrameOps::Rotate(*f, 2); },
        [](const DataVideoPtr& f) { return FrameOps::Flip(*f, false); },
        [](const DataVideoPtr& f) { return FrameOps::Rotate(*FrameOps::Flip(*f, true), 3); }, // transposed
        [](const DataVideoPtr& f) { return FrameOps::Rotate(*f, 3); },
        [](const DataVideoPtr& f) { return FrameOps::Rotate(*FrameOps::Flip(*f, true), 1); }, // transversed
        [](const DataVideoPtr& f) { return FrameOps::Rotate(*f, 1); },
    };
    for (int orientation = 1; orientation <= 8; ++orientation)
        EXPECT_TRUE(SamePixels(*FrameOps::Orient(store[orientation](upright), orientation), *upright)) << orientation;
}

TEST_P(Geometry, CropKeepsTheClampedRectangle)
{
    const DataVideoPtr in = NumberedFrame(120, 90, GetParam());
    const DataVideoPtr cut = FrameOps::Crop(*in, 100, -10, 50, 40); // reaches out right and up
    ASSERT_EQ(cut->GetFrameInfo().width, 20);
    ASSERT_EQ(cut->GetFrameInfo().height, 30);
    EXPECT_EQ(Pixel(*cut, 0, 0), Pixel(*in, 100, 0));
    EXPECT_EQ(Pixel(*cut, 19, 29), Pixel(*in, 119, 29));
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

DataVideoPtr SolidFrame(int w, int h, std::uint8_t b, std::uint8_t g, std::uint8_t r, std::uint8_t a)
{
    DataVideoPtr frame = Proc::CreateDataVideo({w, h, 1.0}, Proc::PIX_FMT_BGRA32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            std::uint8_t* p = frame->GetMutableData() + std::size_t(y) * frame->GetStride() + 4 * std::size_t(x);
            p[0] = b, p[1] = g, p[2] = r, p[3] = a;
        }
    frame->SetOpaque(a == 255);
    return frame;
}

TEST(FrameOps, AdjustMovesToneAndColourTheRightWay)
{
    const DataVideoPtr in = SolidFrame(300, 300, 60, 120, 180, 77);
    Proc::SettingsAdjust none;
    EXPECT_EQ(FrameOps::Apply(in, none), in) << "an identity adjustment makes no new frame";

    Proc::SettingsAdjust brighter;
    brighter.exposure = 1.0;
    const auto up = Pixel(*FrameOps::Adjust(*in, brighter), 150, 150);
    EXPECT_GT(up[0], 60);
    EXPECT_GT(up[2], 180);
    EXPECT_EQ(up[3], 77) << "alpha is kept";

    Proc::SettingsAdjust grey;
    grey.saturation = -100.0;
    const auto g = Pixel(*FrameOps::Adjust(*in, grey), 5, 5);
    EXPECT_EQ(g[0], g[1]);
    EXPECT_EQ(g[1], g[2]);

    Proc::SettingsAdjust flat;
    flat.contrast = -100.0;
    const auto f = Pixel(*FrameOps::Adjust(*in, flat), 5, 5);
    for (int c = 0; c < 3; ++c)
        EXPECT_NEAR(f[std::size_t(c)], 128, 1);

    // Saturation against the formula, over random colours (clamping at both ends included).
    DataVideoPtr noise = Proc::CreateDataVideo({256, 64, 1.0}, Proc::PIX_FMT_BGRA32);
    std::mt19937 random(7);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 256 * 4; ++x)
            noise->GetMutableData()[std::size_t(y) * noise->GetStride() + std::size_t(x)] = std::uint8_t(random());
    for (const double saturation : {-50.0, 60.0, 100.0}) {
        Proc::SettingsAdjust vivid;
        vivid.saturation = saturation;
        const DataVideoPtr out = FrameOps::Adjust(*noise, vivid);
        const double f = 1.0 + saturation / 100.0;
        for (int y = 0; y < 64; y += 3)
            for (int x = 0; x < 256; x += 3) {
                const auto p = Pixel(*noise, x, y), q = Pixel(*out, x, y);
                const double luma = (p[2] * 54 + p[1] * 183 + p[0] * 19 + 128) / 256;
                for (int c = 0; c < 3; ++c)
                    ASSERT_NEAR(q[std::size_t(c)], std::clamp(luma + (p[std::size_t(c)] - luma) * f, 0.0, 255.0), 1.0)
                        << saturation << " at " << x << "," << y;
                ASSERT_EQ(q[3], p[3]);
            }
    }

    // 16 bits: the same direction, with the depth kept.
    const DataVideoPtr deep = NumberedFrame(300, 300, Proc::PIX_FMT_RGBA64);
    const DataVideoPtr deepUp = FrameOps::Adjust(*deep, brighter);
    EXPECT_EQ(deepUp->GetPixFmt(), Proc::PIX_FMT_RGBA64);
    std::uint16_t before[4], after[4];
    std::memcpy(before, Pixel(*deep, 200, 100).data(), sizeof before);
    std::memcpy(after, Pixel(*deepUp, 200, 100).data(), sizeof after);
    EXPECT_GT(after[0], before[0]);
}

TEST(FrameOps, FlattenComposesOverThePadColour)
{
    const DataVideoPtr half = SolidFrame(8, 8, 0, 0, 200, 128);
    const DataVideoPtr flat = FrameOps::Flatten(*half, 255, 255, 255);
    EXPECT_TRUE(flat->IsOpaque());
    const auto p = Pixel(*flat, 3, 3);
    EXPECT_EQ(p[3], 255);
    EXPECT_NEAR(p[2], (200 * 128 + 255 * 127) / 255, 1); // red over white
    EXPECT_NEAR(p[0], 127, 1);                          // blue: only the white shows
    EXPECT_EQ(FrameOps::MinAlpha(*half), 128);
    EXPECT_EQ(FrameOps::MinAlpha(*flat), 255);
}

TEST(FrameOps, CompositeDrawsOnlyWhereTheOverlayIsOpaque)
{
    const DataVideoPtr base = SolidFrame(16, 16, 10, 20, 30, 255);
    DataVideoPtr overlay = SolidFrame(16, 16, 0, 0, 0, 0);
    std::uint8_t* dot = overlay->GetMutableData() + 5 * std::size_t(overlay->GetStride()) + 4 * 5;
    dot[0] = 200, dot[1] = 100, dot[2] = 50, dot[3] = 255;
    const DataVideoPtr out = FrameOps::CompositeOver(*base, *overlay);
    EXPECT_EQ(Pixel(*out, 5, 5), (std::vector<std::uint8_t> {200, 100, 50, 255}));
    EXPECT_EQ(Pixel(*out, 6, 5), (std::vector<std::uint8_t> {10, 20, 30, 255}));
    EXPECT_THROW(FrameOps::CompositeOver(*base, *SolidFrame(15, 16, 0, 0, 0, 0)), Core::Exception);
}

TEST(FrameOps, DisplayConversionRoundsEverySixteenBitValue)
{
    DataVideoPtr deep = Proc::CreateDataVideo({256, 256, 1.0}, Proc::PIX_FMT_RGBA64);
    for (int v = 0; v < 65536; ++v) {
        auto* p = reinterpret_cast<std::uint16_t*>(deep->GetMutableData() + std::size_t(v / 256) * deep->GetStride()) + 4 * (v % 256);
        p[0] = p[1] = p[2] = p[3] = std::uint16_t(v);
    }
    const DataVideoPtr shown = FrameOps::ToDisplay(deep);
    ASSERT_EQ(shown->GetPixFmt(), Proc::PIX_FMT_BGRA32);
    for (int v = 0; v < 65536; ++v) {
        const auto p = Pixel(*shown, v % 256, v / 256);
        ASSERT_EQ(p[0], std::lround(v * 255.0 / 65535.0)) << v;
        ASSERT_EQ(p[3], p[0]);
    }
    EXPECT_EQ(FrameOps::ToDisplay(shown), shown) << "a display frame is passed through";
}

TEST(FrameOps, ResizeHitsTheTargetAndKeepsAFlatColourFlat)
{
    const DataVideoPtr in = SolidFrame(640, 480, 30, 60, 90, 255);
    const DataVideoPtr out = FrameOps::Resize(*in, {333, 250, 1.0});
    ASSERT_EQ(out->GetFrameInfo().width, 333);
    ASSERT_EQ(out->GetFrameInfo().height, 250);
    EXPECT_EQ(Pixel(*out, 0, 0), (std::vector<std::uint8_t> {30, 60, 90, 255}));
    EXPECT_EQ(Pixel(*out, 332, 249), (std::vector<std::uint8_t> {30, 60, 90, 255}));
}

TEST(FrameOps, UnknownEditsAreRefused)
{
    const DataVideoPtr in = SolidFrame(4, 4, 0, 0, 0, 255);
    Proc::SettingsResizer resize;
    EXPECT_FALSE(FrameOps::IsSupported(resize));
    EXPECT_THROW(FrameOps::Apply(in, resize), Core::Exception);
    EXPECT_THROW(FrameOps::ResultInfo(in->GetFrameInfo(), resize), Core::Exception);
}

} // namespace
} // namespace Quelto::Lumindra::PhotoCore

// Flattening onto a pad colour and the alpha scan, exactly, in every format pair they serve.

#include <cmath>

#include <gtest/gtest.h>

#include "core/Exception.h"
#include "proc/AlphaRange.h"
#include "proc/PixelConverter.h"
#include "support/FrameTestSupport.h"

namespace Quelto::Lumindra::Proc {
namespace {

using namespace ::Quelto::Lumindra::Test;

TEST(PixelConverterTest, FlatteningComposesOverThePadExactlyInEveryFormatPair)
{
    const PixelConverter::Pad pad {10, 200, 30};
    struct Case {
        int from, to;
    };
    for (const Case c : {Case {PIX_FMT_BGRA32, PIX_FMT_BGRA32}, {PIX_FMT_BGRA32, PIX_FMT_RGB24},
                         {PIX_FMT_RGBA64, PIX_FMT_RGBA64}, {PIX_FMT_RGBA64, PIX_FMT_BGRA32},
                         {PIX_FMT_RGBA64, PIX_FMT_BGR24}, {PIX_FMT_BGRA32, PIX_FMT_RGBA64}}) {
        SCOPED_TRACE(std::to_string(c.from) + " -> " + std::to_string(c.to));
        const int max = MaxValue(c.from), outMax = MaxValue(c.to);
        // Alpha from fully transparent to opaque along x; colours that are not the pad's.
        const int alphas[] = {0, 1, max / 2, max - 1, max};
        const DataVideoPtr in = MakeFrame(c.from, 5, 3, [&](int x, int y) {
            return Rgba {max - y * 7, max / 3 + y, y * 11, alphas[x]};
        });
        const DataVideoPtr out = PixelConverter::Convert(*in, c.to, pad);
        ASSERT_EQ(out->GetPixFmt(), c.to);
        EXPECT_TRUE(out->IsOpaque());
        const int padValues[] = {pad.r, pad.g, pad.b};
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 5; ++x) {
                const Rgba s = ReadPixel(*in, x, y), d = ReadPixel(*out, x, y);
                for (std::size_t ch = 0; ch < 3; ++ch) {
                    const double p = padValues[ch] * (max / 255.0);
                    const double over = std::round((s[ch] * double(s[3]) + p * (max - s[3])) / max);
                    ASSERT_EQ(d[ch], std::lround(over * outMax / max)) << x << "," << y << " channel " << ch;
                }
                ASSERT_EQ(d[3], outMax) << "flattened pixels are opaque";
            }
    }
    EXPECT_THROW(PixelConverter::Convert(*MakeFlatFrame(PIX_FMT_BGRA32, 2, 2, {0, 0, 0, 0}), 999, pad), Core::Exception);
}

TEST(PixelConverterTest, AlphaRangeFindsTheExtremesAnywhereInTheFrame)
{
    // Large enough to be split into bands, so a pixel in the last band must still count.
    const int w = 512, h = 300;
    auto withOne = [&](int format, int alpha, int rest) {
        return MakeFrame(format, w, h, [&](int x, int y) {
            return Rgba {1, 2, 3, x == w - 1 && y == h - 1 ? alpha : rest};
        });
    };
    struct Case {
        const char* name;
        DataVideoPtr frame;
        bool opaque, invisible;
        int min8;
    };
    const Case cases[] = {
        {"opaque", MakeFlatFrame(PIX_FMT_BGRA32, w, h, {9, 9, 9, 255}), true, false, 255},
        {"last pixel 254", withOne(PIX_FMT_BGRA32, 254, 255), false, false, 254},
        {"all transparent", MakeFlatFrame(PIX_FMT_BGRA32, w, h, {9, 9, 9, 0}), false, true, 0},
        {"one drawn pixel", withOne(PIX_FMT_BGRA32, 1, 0), false, false, 0},
        {"16-bit just below opaque", withOne(PIX_FMT_RGBA64, 65534, 65535), false, false, 255},
        {"16-bit half", withOne(PIX_FMT_RGBA64, 32896, 65535), false, false, 128},
        {"no alpha channel", MakeFlatFrame(PIX_FMT_RGB24, w, h, {1, 2, 3, 255}), true, false, 255},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const AlphaRange range = AlphaRange::Of(*c.frame);
        EXPECT_EQ(range.IsOpaque(), c.opaque);
        EXPECT_EQ(range.IsInvisible(), c.invisible);
        EXPECT_EQ(range.Min8(), c.min8);
    }
}

} // namespace
} // namespace Quelto::Lumindra::Proc

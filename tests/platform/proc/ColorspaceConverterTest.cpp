#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "core/Exception.h"
#include "proc/IEffect.h"
#include "support/FrameTestSupport.h"

namespace Quelto::Lumindra {
namespace {

using Proc::DataVideoPtr;
using namespace ::Quelto::Lumindra::Test;

const Rgba kWhite {255, 255, 255, 255};

boost::intrusive_ptr<Proc::IOneInputEffectVideo> MakeConverter(std::vector<int> formats, bool flatten, const Rgba& pad = kWhite)
{
    auto effect = boost::dynamic_pointer_cast<Proc::IOneInputEffectVideo>(
        Proc::GetEffectFactory().Create(Proc::SettingsColorspaceConverter::CLASS_ID, Proc::ImplNames::DEFAULT));
    EXPECT_TRUE(effect);
    Proc::SettingsColorspaceConverter settings(std::move(formats), flatten);
    settings.SetPadColor(std::uint8_t(pad[0]), std::uint8_t(pad[1]), std::uint8_t(pad[2]));
    effect->SetSettings(settings);
    return effect;
}

DataVideoPtr Convert(const DataVideoPtr& frame, std::vector<int> formats, bool flatten = true, const Rgba& pad = kWhite)
{
    DataVideoPtr result = frame;
    EXPECT_TRUE(MakeConverter(std::move(formats), flatten, pad)->Process(result));
    return result;
}

// Every 8-bit value in every channel, alpha included, over enough rows to be split into bands.
DataVideoPtr MakeRampFrame(int format)
{
    return MakeFrame(format, 256, 300, [](int x, int y) {
        return Rgba {(x + 11 * y) & 255, (x + 37 + 11 * y) & 255, (x + 74 + 11 * y) & 255, (x + 111 + 11 * y) & 255};
    });
}

TEST(ColorspaceConverterTest, DepthChangesAreExactAndRoundToNearest)
{
    for (int format : {Proc::PIX_FMT_BGRA32, Proc::PIX_FMT_RGB24, Proc::PIX_FMT_BGR24}) {
        SCOPED_TRACE(format);
        const DataVideoPtr original = MakeRampFrame(format);
        const DataVideoPtr deep = Convert(original, {Proc::PIX_FMT_RGBA64});
        ASSERT_EQ(deep->GetPixFmt(), Proc::PIX_FMT_RGBA64);
        for (std::size_t c = 0; c < 4; ++c)
            EXPECT_EQ(ReadPixel(*deep, 77, 5)[c], ReadPixel(*original, 77, 5)[c] * 257) << "channel " << c;
        const DataVideoPtr back = Convert(deep, {format});
        ASSERT_EQ(back->GetPixFmt(), format);
        EXPECT_EQ(MaxDifference(*back, *original), 0);
    }
    const DataVideoPtr rgb = MakeRampFrame(Proc::PIX_FMT_RGB24);
    const DataVideoPtr bgra = Convert(rgb, {Proc::PIX_FMT_BGRA32});
    EXPECT_TRUE(bgra->IsOpaque());
    EXPECT_EQ(MaxDifference(*bgra, *rgb), 0) << "added alpha is opaque, the colours keep their channels";

    const std::vector<int> values {0, 128, 129, 385, 386, 32767, 32768, 65406, 65407, 65535};
    const DataVideoPtr deep = MakeFrame(Proc::PIX_FMT_RGBA64, int(values.size()), 1, [&](int x, int) {
        const int v = values[std::size_t(x)];
        return Rgba {v, v, v, 65535};
    });
    const DataVideoPtr rounded = Convert(deep, {Proc::PIX_FMT_RGB24});
    for (std::size_t i = 0; i < values.size(); ++i)
        EXPECT_EQ(ReadPixel(*rounded, int(i), 0)[1], int(std::lround(values[i] / 257.0))) << values[i];
}

TEST(ColorspaceConverterTest, FlatteningComposesOverThePadColour)
{
    for (auto [colour, pad] : {std::pair {Rgba {200, 100, 0, 128}, kWhite}, {Rgba {10, 20, 30, 0}, kWhite}, {Rgba {10, 20, 30, 255}, kWhite},
                               {Rgba {255, 0, 128, 64}, Rgba {0, 0, 255, 255}}, {Rgba {0, 0, 0, 1}, kWhite}}) {
        SCOPED_TRACE(::testing::Message() << colour[0] << "," << colour[1] << "," << colour[2] << "," << colour[3]);
        Rgba expected {0, 0, 0, 255};
        for (std::size_t c = 0; c < 3; ++c)
            expected[c] = int(std::lround((colour[c] * colour[3] + pad[c] * (255 - colour[3])) / 255.0));
        const DataVideoPtr bgra = MakeFlatFrame(Proc::PIX_FMT_BGRA32, 3, 2, colour);
        const DataVideoPtr rgb = Convert(bgra, {Proc::PIX_FMT_RGB24, Proc::PIX_FMT_BGR24}, true, pad);
        ASSERT_EQ(rgb->GetPixFmt(), Proc::PIX_FMT_RGB24);
        EXPECT_EQ(ReadPixel(*rgb, 2, 1), expected);
        EXPECT_TRUE(rgb->IsOpaque());
        // Through 16 bits a channel: the same 8-bit blend, within rounding.
        const DataVideoPtr viaDeep = Convert(Convert(bgra, {Proc::PIX_FMT_RGBA64}, false), {Proc::PIX_FMT_BGR24}, true, pad);
        EXPECT_LE(MaxDifference(*viaDeep, *MakeFlatFrame(Proc::PIX_FMT_BGR24, 3, 2, expected)), 1);
        // Without flattening the colour stays as it was, whatever the alpha.
        EXPECT_EQ(ReadPixel(*Convert(bgra, {Proc::PIX_FMT_RGB24}, false), 0, 0), (Rgba {colour[0], colour[1], colour[2], 255}));
    }
}

TEST(ColorspaceConverterTest, FirstKnownFormatWinsAndBadInputFailsCleanly)
{
    const DataVideoPtr bgra = MakeRampFrame(Proc::PIX_FMT_BGRA32);
    DataVideoPtr frame = bgra;
    ASSERT_TRUE(MakeConverter({Proc::PIX_FMT_BGRA32, Proc::PIX_FMT_RGB24}, true)->Process(frame));
    EXPECT_EQ(frame.get(), bgra.get()) << "a frame already in the first format is passed through";

    frame = MakeRampFrame(Proc::PIX_FMT_RGB24);
    ASSERT_TRUE(MakeConverter({999, -1, Proc::PIX_FMT_BGR24}, true)->Process(frame));
    EXPECT_EQ(frame->GetPixFmt(), Proc::PIX_FMT_BGR24) << "unknown codes are skipped";

    EXPECT_FALSE(MakeConverter({999}, true)->Process(frame));
    EXPECT_FALSE(frame);
    frame = MakeRampFrame(Proc::PIX_FMT_RGB24);
    EXPECT_FALSE(MakeConverter({}, true)->Process(frame));
    EXPECT_FALSE(frame);
    DataVideoPtr none;
    EXPECT_FALSE(MakeConverter({Proc::PIX_FMT_RGB24}, true)->Process(none));
    EXPECT_THROW(MakeConverter({Proc::PIX_FMT_RGB24}, true)->SetSettings(Proc::SettingsResizer()), Core::Exception);
    EXPECT_FALSE(Proc::GetEffectFactory().Create("Proc.NoSuchEffect", Proc::ImplNames::DEFAULT));
    EXPECT_FALSE(Proc::GetEffectFactory().Create(Proc::SettingsColorspaceConverter::CLASS_ID, "gpu"));
}

} // namespace
} // namespace Quelto::Lumindra

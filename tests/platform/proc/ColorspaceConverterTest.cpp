#include <cmath>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "core/Exception.h"
#include "proc/IEffect.h"

namespace Quelto::Lumindra {
namespace {

using Proc::DataVideoPtr;

boost::intrusive_ptr<Proc::IOneInputEffectVideo> MakeConverter(std::vector<int> formats, bool flatten,
                                                                int padR = 255, int padG = 255, int padB = 255)
{
    auto effect = boost::dynamic_pointer_cast<Proc::IOneInputEffectVideo>(
        Proc::GetEffectFactory().Create(Proc::SettingsColorspaceConverter::CLASS_ID, Proc::ImplNames::DEFAULT));
    EXPECT_TRUE(effect);
    Proc::SettingsColorspaceConverter settings(std::move(formats), flatten);
    settings.SetPadColor(std::uint8_t(padR), std::uint8_t(padG), std::uint8_t(padB));
    effect->SetSettings(settings);
    return effect;
}

DataVideoPtr Convert(const DataVideoPtr& frame, std::vector<int> formats, bool flatten = true)
{
    DataVideoPtr result = frame;
    EXPECT_TRUE(MakeConverter(std::move(formats), flatten)->Process(result));
    return result;
}

// Every 8-bit value in every channel, alpha included, over enough rows to be split into bands.
DataVideoPtr MakeRampFrame(int format)
{
    const int width = 256, height = 300;
    DataVideoPtr frame = Proc::CreateDataVideo(Conf::FrameInfo {width, height, 1.0}, format);
    const int channels = Proc::BytesPerPixel(format);
    for (int y = 0; y < height; ++y) {
        std::uint8_t* row = frame->GetMutableData() + std::size_t(y) * frame->GetStride();
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < channels; ++c)
                row[x * channels + c] = std::uint8_t(x + 37 * c + 11 * y);
        }
    }
    frame->SetOpaque(!Proc::HasAlphaChannel(format));
    return frame;
}

bool SamePixels(const Proc::IDataVideo& a, const Proc::IDataVideo& b)
{
    if (a.GetFrameInfo() != b.GetFrameInfo() || a.GetPixFmt() != b.GetPixFmt())
        return false;
    const std::size_t rowBytes = std::size_t(a.GetFrameInfo().width) * Proc::BytesPerPixel(a.GetPixFmt());
    for (int y = 0; y < a.GetFrameInfo().height; ++y) {
        if (std::memcmp(a.GetData() + std::size_t(y) * a.GetStride(), b.GetData() + std::size_t(y) * b.GetStride(), rowBytes))
            return false;
    }
    return true;
}

const std::uint16_t* Row16(const Proc::IDataVideo& frame, int y)
{
    return reinterpret_cast<const std::uint16_t*>(frame.GetData() + std::size_t(y) * frame.GetStride());
}

TEST(ColorspaceConverterTest, EightToSixteenToEightIsExact)
{
    for (int format : {Proc::PIX_FMT_BGRA32, Proc::PIX_FMT_RGB24, Proc::PIX_FMT_BGR24}) {
        SCOPED_TRACE(format);
        const DataVideoPtr original = MakeRampFrame(format);
        const DataVideoPtr deep = Convert(original, {Proc::PIX_FMT_RGBA64});
        ASSERT_EQ(deep->GetPixFmt(), Proc::PIX_FMT_RGBA64);
        const DataVideoPtr back = Convert(deep, {format});
        EXPECT_TRUE(SamePixels(*original, *back));
    }
    // And the 16-bit values are the 8-bit ones times 257, in RGBA order.
    const DataVideoPtr bgra = MakeRampFrame(Proc::PIX_FMT_BGRA32);
    const DataVideoPtr deep = Convert(bgra, {Proc::PIX_FMT_RGBA64});
    const std::uint8_t* p = bgra->GetData() + 5 * std::size_t(bgra->GetStride()) + 4 * 77;
    const std::uint16_t* q = Row16(*deep, 5) + 4 * 77;
    EXPECT_EQ(q[0], p[2] * 257);
    EXPECT_EQ(q[1], p[1] * 257);
    EXPECT_EQ(q[2], p[0] * 257);
    EXPECT_EQ(q[3], p[3] * 257);
}

TEST(ColorspaceConverterTest, SixteenToEightRoundsToNearest)
{
    const std::vector<unsigned> values {0, 128, 129, 385, 386, 32767, 32768, 65406, 65407, 65535};
    DataVideoPtr deep = Proc::CreateDataVideo(Conf::FrameInfo {int(values.size()), 1, 1.0}, Proc::PIX_FMT_RGBA64);
    auto* row = reinterpret_cast<std::uint16_t*>(deep->GetMutableData());
    for (std::size_t i = 0; i < values.size(); ++i) {
        row[4 * i + 0] = std::uint16_t(values[i]);
        row[4 * i + 1] = std::uint16_t(values[i]);
        row[4 * i + 2] = std::uint16_t(values[i]);
        row[4 * i + 3] = 65535;
    }
    deep->SetOpaque(true);
    const DataVideoPtr rgb = Convert(deep, {Proc::PIX_FMT_RGB24});
    for (std::size_t i = 0; i < values.size(); ++i)
        EXPECT_EQ(rgb->GetData()[3 * i], int(std::lround(values[i] / 257.0))) << values[i];
}

struct FlattenCase {
    int r, g, b, a;
    int padR, padG, padB;
};

class FlattenTest : public ::testing::TestWithParam<FlattenCase> {};

TEST_P(FlattenTest, ComposesOverThePadColour)
{
    const FlattenCase c = GetParam();
    auto blend = [&](int colour, int pad) { return int(std::lround((colour * c.a + pad * (255 - c.a)) / 255.0)); };
    DataVideoPtr bgra = Proc::CreateDataVideo(Conf::FrameInfo {3, 2, 1.0}, Proc::PIX_FMT_BGRA32);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 3; ++x) {
            std::uint8_t* p = bgra->GetMutableData() + std::size_t(y) * bgra->GetStride() + 4 * x;
            p[0] = std::uint8_t(c.b);
            p[1] = std::uint8_t(c.g);
            p[2] = std::uint8_t(c.r);
            p[3] = std::uint8_t(c.a);
        }
    }
    bgra->SetOpaque(c.a == 255);

    DataVideoPtr rgb = bgra;
    ASSERT_TRUE(MakeConverter({Proc::PIX_FMT_RGB24, Proc::PIX_FMT_BGR24}, true, c.padR, c.padG, c.padB)->Process(rgb));
    ASSERT_EQ(rgb->GetPixFmt(), Proc::PIX_FMT_RGB24);
    const std::uint8_t* out = rgb->GetData() + rgb->GetStride() + 3 * 2;
    EXPECT_EQ(out[0], blend(c.r, c.padR));
    EXPECT_EQ(out[1], blend(c.g, c.padG));
    EXPECT_EQ(out[2], blend(c.b, c.padB));
    EXPECT_TRUE(rgb->IsOpaque());

    // The same through 16 bits a channel lands on the same 8-bit blend, within rounding.
    DataVideoPtr viaDeep = Convert(bgra, {Proc::PIX_FMT_RGBA64}, false);
    ASSERT_TRUE(MakeConverter({Proc::PIX_FMT_BGR24}, true, c.padR, c.padG, c.padB)->Process(viaDeep));
    const std::uint8_t* bgr = viaDeep->GetData() + 3 * 1;
    EXPECT_NEAR(bgr[2], blend(c.r, c.padR), 1);
    EXPECT_NEAR(bgr[1], blend(c.g, c.padG), 1);
    EXPECT_NEAR(bgr[0], blend(c.b, c.padB), 1);

    // Without flattening the colour stays as it was, whatever the alpha.
    const DataVideoPtr kept = Convert(bgra, {Proc::PIX_FMT_RGB24}, false);
    EXPECT_EQ(kept->GetData()[0], c.r);
    EXPECT_EQ(kept->GetData()[2], c.b);
}

INSTANTIATE_TEST_SUITE_P(Pixels, FlattenTest,
                         ::testing::Values(FlattenCase {200, 100, 0, 128, 255, 255, 255},
                                           FlattenCase {10, 20, 30, 0, 255, 255, 255},
                                           FlattenCase {10, 20, 30, 255, 255, 255, 255},
                                           FlattenCase {255, 0, 128, 64, 0, 0, 255},
                                           FlattenCase {0, 0, 0, 1, 255, 255, 255}));

TEST(ColorspaceConverterTest, FrameAlreadyInTheFirstFormatIsPassedThrough)
{
    const DataVideoPtr frame = MakeRampFrame(Proc::PIX_FMT_BGRA32);
    DataVideoPtr result = frame;
    ASSERT_TRUE(MakeConverter({Proc::PIX_FMT_BGRA32, Proc::PIX_FMT_RGB24}, true)->Process(result));
    EXPECT_EQ(result.get(), frame.get());
}

TEST(ColorspaceConverterTest, AddedAlphaIsOpaque)
{
    const DataVideoPtr rgb = MakeRampFrame(Proc::PIX_FMT_RGB24);
    const DataVideoPtr bgra = Convert(rgb, {Proc::PIX_FMT_BGRA32});
    EXPECT_TRUE(bgra->IsOpaque());
    const std::uint8_t* p = bgra->GetData() + 299 * std::size_t(bgra->GetStride()) + 4 * 255;
    const std::uint8_t* q = rgb->GetData() + 299 * std::size_t(rgb->GetStride()) + 3 * 255;
    EXPECT_EQ(p[3], 255);
    EXPECT_EQ(p[2], q[0]);
    EXPECT_EQ(p[0], q[2]);
    EXPECT_EQ(Row16(*Convert(rgb, {Proc::PIX_FMT_RGBA64}), 7)[3], 65535);
}

TEST(ColorspaceConverterTest, UnknownFormatsAndBadInputFailCleanly)
{
    DataVideoPtr frame = MakeRampFrame(Proc::PIX_FMT_RGB24);
    // Unknown codes are skipped: the first known one wins.
    ASSERT_TRUE(MakeConverter({999, -1, Proc::PIX_FMT_BGR24}, true)->Process(frame));
    EXPECT_EQ(frame->GetPixFmt(), Proc::PIX_FMT_BGR24);

    EXPECT_FALSE(MakeConverter({999}, true)->Process(frame));
    EXPECT_FALSE(frame);
    frame = MakeRampFrame(Proc::PIX_FMT_RGB24);
    EXPECT_FALSE(MakeConverter({}, true)->Process(frame));
    EXPECT_FALSE(frame);
    DataVideoPtr none;
    EXPECT_FALSE(MakeConverter({Proc::PIX_FMT_RGB24}, true)->Process(none));

    auto converter = MakeConverter({Proc::PIX_FMT_RGB24}, true);
    EXPECT_THROW(converter->SetSettings(Proc::SettingsResizer()), Core::Exception);
}

TEST(EffectFactoryTest, MakesKnownEffectsOnly)
{
    Proc::IEffectFactory& factory = Proc::GetEffectFactory();
    EXPECT_TRUE(boost::dynamic_pointer_cast<Proc::IOneInputEffectVideo>(
        factory.Create(Proc::SettingsColorspaceConverter::CLASS_ID, Proc::ImplNames::DEFAULT)));
    EXPECT_TRUE(boost::dynamic_pointer_cast<Proc::IOneInputEffectVideo>(
        factory.Create(Proc::SettingsResizer::CLASS_ID, Proc::ImplNames::DEFAULT)));
    EXPECT_FALSE(factory.Create("Proc.NoSuchEffect", Proc::ImplNames::DEFAULT));
    EXPECT_FALSE(factory.Create(Proc::SettingsResizer::CLASS_ID, "gpu"));
    EXPECT_FALSE(factory.Create(Proc::SettingsColorspaceConverter::CLASS_ID, "gpu"));
    EXPECT_EQ(&factory, &Proc::GetEffectFactory());
}

} // namespace
} // namespace Quelto::Lumindra

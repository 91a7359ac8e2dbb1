#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include <QImage>

#include <gtest/gtest.h>

#include "core/Exception.h"
#include "proc/IEffect.h"
#include "proc/ResampleKernels.h"
#include "proc/Resizer.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

using Proc::DataVideoPtr;
using Rgba = std::array<int, 4>; // R, G, B, A in the frame's own depth

namespace support = ::Quelto::Lumindra::Test;

int MaxValue(int format)
{
    return format == Proc::PIX_FMT_RGBA64 ? 65535 : 255;
}

Rgba ReadPixel(const Proc::IDataVideo& frame, int x, int y)
{
    const std::uint8_t* row = frame.GetData() + std::size_t(y) * frame.GetStride();
    switch (frame.GetPixFmt()) {
    case Proc::PIX_FMT_RGB24:
        return {row[3 * x], row[3 * x + 1], row[3 * x + 2], 255};
    case Proc::PIX_FMT_BGR24:
        return {row[3 * x + 2], row[3 * x + 1], row[3 * x], 255};
    case Proc::PIX_FMT_BGRA32:
        return {row[4 * x + 2], row[4 * x + 1], row[4 * x], row[4 * x + 3]};
    default: {
        const auto* p = reinterpret_cast<const std::uint16_t*>(row) + 4 * x;
        return {p[0], p[1], p[2], p[3]};
    }
    }
}

void WritePixel(Proc::IDataVideo& frame, int x, int y, const Rgba& v)
{
    std::uint8_t* row = frame.GetMutableData() + std::size_t(y) * frame.GetStride();
    switch (frame.GetPixFmt()) {
    case Proc::PIX_FMT_RGB24:
        row[3 * x] = std::uint8_t(v[0]), row[3 * x + 1] = std::uint8_t(v[1]), row[3 * x + 2] = std::uint8_t(v[2]);
        break;
    case Proc::PIX_FMT_BGR24:
        row[3 * x + 2] = std::uint8_t(v[0]), row[3 * x + 1] = std::uint8_t(v[1]), row[3 * x] = std::uint8_t(v[2]);
        break;
    case Proc::PIX_FMT_BGRA32:
        row[4 * x + 2] = std::uint8_t(v[0]), row[4 * x + 1] = std::uint8_t(v[1]), row[4 * x] = std::uint8_t(v[2]);
        row[4 * x + 3] = std::uint8_t(v[3]);
        break;
    default: {
        auto* p = reinterpret_cast<std::uint16_t*>(row) + 4 * x;
        for (int c = 0; c < 4; ++c)
            p[c] = std::uint16_t(v[std::size_t(c)]);
    }
    }
}

DataVideoPtr MakeFrame(int format, int width, int height, const std::function<Rgba(int, int)>& pixel)
{
    DataVideoPtr frame = Proc::CreateDataVideo(Conf::FrameInfo {width, height, 1.0}, format);
    bool opaque = true;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Rgba v = pixel(x, y);
            opaque = opaque && v[3] == MaxValue(format);
            WritePixel(*frame, x, y, v);
        }
    }
    frame->SetOpaque(opaque || !Proc::HasAlphaChannel(format));
    return frame;
}

// Deterministic texture: neighbouring pixels differ, so filter mistakes show.
DataVideoPtr MakeNoiseFrame(int format, int width, int height)
{
    return MakeFrame(format, width, height, [&](int x, int y) {
        const unsigned h = unsigned(x * 73856093) ^ unsigned(y * 19349663);
        const int max = MaxValue(format);
        return Rgba {int(h % 251) * max / 250, int((h >> 8) % 241) * max / 240, int((h >> 16) % 239) * max / 238, max};
    });
}

Proc::SettingsResizer MakeSettings(int width, int height, bool useLevels = true)
{
    Proc::SettingsResizer settings;
    settings.SetCustomMode(1, Conf::FrameInfo {width, height, 1.0});
    settings.useLevels = useLevels;
    settings.keepAspect = true;
    settings.mode = Proc::SettingsResizer::MODE_LANCZOS3;
    return settings;
}

boost::intrusive_ptr<Proc::IOneInputEffectVideo> MakeResizer()
{
    auto effect = boost::dynamic_pointer_cast<Proc::IOneInputEffectVideo>(
        Proc::GetEffectFactory().Create(Proc::SettingsResizer::CLASS_ID, Proc::ImplNames::DEFAULT));
    EXPECT_TRUE(effect);
    return effect;
}

DataVideoPtr Resize(const DataVideoPtr& frame, int width, int height, bool useLevels = true)
{
    auto resizer = MakeResizer();
    resizer->SetSettings(MakeSettings(width, height, useLevels));
    DataVideoPtr result = frame;
    EXPECT_TRUE(resizer->Process(result));
    return result;
}

int MaxDifference(const Proc::IDataVideo& a, const Proc::IDataVideo& b)
{
    int worst = 0;
    for (int y = 0; y < a.GetFrameInfo().height; ++y) {
        for (int x = 0; x < a.GetFrameInfo().width; ++x) {
            const Rgba p = ReadPixel(a, x, y), q = ReadPixel(b, x, y);
            for (int c = 0; c < 4; ++c)
                worst = std::max(worst, std::abs(p[std::size_t(c)] - q[std::size_t(c)]));
        }
    }
    return worst;
}

// ---------------------------------------------------------------------------------------
// A flat colour stays flat: every pixel within one unit of it, alpha and borders included.

struct FlatCase {
    int format;
    int alpha8; // the colour's alpha on the 8-bit scale
    int width, height, targetWidth, targetHeight;
};

class FlatColourTest : public ::testing::TestWithParam<FlatCase> {};

TEST_P(FlatColourTest, StaysFlat)
{
    const FlatCase c = GetParam();
    const int max = MaxValue(c.format);
    const int scale = max / 255;
    const Rgba colour {200 * scale, 37 * scale, 121 * scale, Proc::HasAlphaChannel(c.format) ? c.alpha8 * scale : max};
    const DataVideoPtr frame = MakeFrame(c.format, c.width, c.height, [&](int, int) { return colour; });
    frame->BuildLevels(8);
    for (bool useLevels : {true, false}) {
        SCOPED_TRACE(useLevels ? "from levels" : "from the full frame");
        const DataVideoPtr result = Resize(frame, c.targetWidth, c.targetHeight, useLevels);
        ASSERT_TRUE(result);
        ASSERT_EQ(result->GetFrameInfo().width, c.targetWidth);
        ASSERT_EQ(result->GetFrameInfo().height, c.targetHeight);
        int worst = 0;
        for (int y = 0; y < c.targetHeight; ++y) {
            for (int x = 0; x < c.targetWidth; ++x) {
                const Rgba p = ReadPixel(*result, x, y);
                for (int ch = 0; ch < 4; ++ch)
                    worst = std::max(worst, std::abs(p[std::size_t(ch)] - colour[std::size_t(ch)]));
            }
        }
        EXPECT_LE(worst, 1);
        EXPECT_EQ(result->IsOpaque(), frame->IsOpaque());
    }
}

INSTANTIATE_TEST_SUITE_P(
    FormatsAndSizes, FlatColourTest,
    ::testing::Values(FlatCase {Proc::PIX_FMT_BGRA32, 255, 640, 480, 213, 160},
                      FlatCase {Proc::PIX_FMT_BGRA32, 255, 97, 61, 500, 333},
                      FlatCase {Proc::PIX_FMT_BGRA32, 255, 301, 203, 3, 2},
                      FlatCase {Proc::PIX_FMT_BGRA32, 128, 640, 480, 213, 160},
                      FlatCase {Proc::PIX_FMT_BGRA32, 9, 300, 200, 121, 77},
                      FlatCase {Proc::PIX_FMT_BGRA32, 77, 40, 30, 161, 99},
                      FlatCase {Proc::PIX_FMT_RGB24, 255, 640, 480, 213, 160},
                      FlatCase {Proc::PIX_FMT_RGB24, 255, 33, 17, 120, 70},
                      FlatCase {Proc::PIX_FMT_BGR24, 255, 640, 480, 211, 157},
                      FlatCase {Proc::PIX_FMT_RGBA64, 255, 640, 480, 213, 160},
                      FlatCase {Proc::PIX_FMT_RGBA64, 100, 300, 200, 77, 301},
                      FlatCase {Proc::PIX_FMT_BGRA32, 255, 2000, 1500, 1, 1},
                      // Reductions so large that the float path sums source rows one at a time.
                      FlatCase {Proc::PIX_FMT_RGBA64, 100, 1200, 900, 3, 2},
                      FlatCase {Proc::PIX_FMT_BGRA32, 77, 1000, 800, 7, 5}));

// ---------------------------------------------------------------------------------------
// A one-pixel line stays visible when shrinking, at the right place.

TEST(ResizerTest, OnePixelLineStaysVisible)
{
    for (int lineAt : {150, 151}) {
        const DataVideoPtr frame = MakeFrame(Proc::PIX_FMT_BGRA32, 300, 300, [&](int x, int y) {
            const bool on = x == lineAt || y == lineAt;
            return on ? Rgba {0, 0, 0, 255} : Rgba {255, 255, 255, 255};
        });
        frame->BuildLevels(16);
        for (int divisor : {2, 3}) {
            for (bool useLevels : {true, false}) {
                SCOPED_TRACE(::testing::Message() << "line at " << lineAt << ", 1/" << divisor << (useLevels ? ", levels" : ""));
                const int size = 300 / divisor;
                const DataVideoPtr result = Resize(frame, size, size, useLevels);
                // Along a row away from the horizontal line, the vertical line's column is the darkest.
                const int row = 20;
                int darkest = 255, darkestAt = -1;
                for (int x = 0; x < size; ++x) {
                    const int v = ReadPixel(*result, x, row)[1];
                    if (v < darkest)
                        darkest = v, darkestAt = x;
                }
                EXPECT_LE(darkest, 255 - 255 / (divisor + 1)) << "the line has faded away";
                EXPECT_NEAR(darkestAt, double(lineAt) / divisor, 1.0);
                // And the horizontal line, down a column away from the vertical one.
                int darkestRow = 255;
                for (int y = 0; y < size; ++y)
                    darkestRow = std::min(darkestRow, ReadPixel(*result, 10, y)[1]);
                EXPECT_LE(darkestRow, 255 - 255 / (divisor + 1));
            }
        }
    }
}

// ---------------------------------------------------------------------------------------
// The result has exactly the asked size, never zero.

struct SizeCase {
    int width, height, targetWidth, targetHeight, expectedWidth, expectedHeight;
};

class ExactSizeTest : public ::testing::TestWithParam<SizeCase> {};

TEST_P(ExactSizeTest, GivesTheTargetSize)
{
    const SizeCase c = GetParam();
    for (int format : {Proc::PIX_FMT_BGRA32, Proc::PIX_FMT_RGB24, Proc::PIX_FMT_RGBA64}) {
        SCOPED_TRACE(format);
        DataVideoPtr frame = Proc::CreateDataVideo(Conf::FrameInfo {c.width, c.height, 1.5}, format);
        std::memset(frame->GetMutableData(), 0x80, std::size_t(frame->GetStride()) * c.height);
        frame->SetOpaque(false);
        const DataVideoPtr result = Resize(frame, c.targetWidth, c.targetHeight);
        ASSERT_TRUE(result);
        EXPECT_EQ(result->GetFrameInfo().width, c.expectedWidth);
        EXPECT_EQ(result->GetFrameInfo().height, c.expectedHeight);
        EXPECT_EQ(result->GetFrameInfo().pixelAspect, 1.5) << "the source's pixel aspect is kept";
        EXPECT_EQ(result->GetPixFmt(), format);
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, ExactSizeTest,
                         ::testing::Values(SizeCase {3000, 2000, 1, 1, 1, 1}, SizeCase {100, 80, 1000, 700, 1000, 700},
                                           SizeCase {7, 5, 3, 2, 3, 2}, SizeCase {1, 1, 5, 4, 5, 4},
                                           SizeCase {640, 480, 641, 479, 641, 479}, SizeCase {640, 480, 0, 0, 1, 1},
                                           SizeCase {640, 480, -5, 20, 1, 20}, SizeCase {5, 400, 5, 3, 5, 3}));

// ---------------------------------------------------------------------------------------
// Levels: the resizer starts from the smallest level still at least the target size.

TEST(ResizerTest, StartsFromTheNearestLargerLevel)
{
    const DataVideoPtr frame = MakeNoiseFrame(Proc::PIX_FMT_BGRA32, 800, 600);
    frame->BuildLevels(16);
    ASSERT_GE(frame->GetLevelCount(), 4);
    const auto level2 = frame->GetLevel(2); // 200 x 150
    ASSERT_EQ(level2->GetFrameInfo().width, 200);

    Proc::Resizer resizer;
    resizer.SetSettings(MakeSettings(150, 100));
    DataVideoPtr fromLevels = frame;
    ASSERT_TRUE(resizer.Process(fromLevels));
    EXPECT_EQ(resizer.GetLastLevel(), 2);

    // The same as resizing that level directly.
    DataVideoPtr direct = Proc::CloneDataVideo(*level2);
    resizer.SetSettings(MakeSettings(150, 100, false));
    ASSERT_TRUE(resizer.Process(direct));
    EXPECT_EQ(resizer.GetLastLevel(), 0);
    EXPECT_EQ(MaxDifference(*fromLevels, *direct), 0);

    // A level of exactly the target size is handed out as it is.
    resizer.SetSettings(MakeSettings(200, 150));
    DataVideoPtr exact = frame;
    ASSERT_TRUE(resizer.Process(exact));
    EXPECT_EQ(exact.get(), level2.get());

    // One pixel wider than a level: the next larger one.
    resizer.SetSettings(MakeSettings(201, 150));
    DataVideoPtr wider = frame;
    ASSERT_TRUE(resizer.Process(wider));
    EXPECT_EQ(resizer.GetLastLevel(), 1);

    // Upscaling starts from the frame itself, as does a frame without levels.
    resizer.SetSettings(MakeSettings(900, 700));
    DataVideoPtr up = frame;
    ASSERT_TRUE(resizer.Process(up));
    EXPECT_EQ(resizer.GetLastLevel(), 0);
    resizer.SetSettings(MakeSettings(150, 100));
    DataVideoPtr plain = MakeNoiseFrame(Proc::PIX_FMT_BGRA32, 800, 600);
    ASSERT_TRUE(resizer.Process(plain));
    EXPECT_EQ(resizer.GetLastLevel(), 0);
}

// ---------------------------------------------------------------------------------------
// Quality against a textbook Lanczos-3 computed here in double precision.

std::vector<double> ReferenceAxis(int from, int to, int i, int& first)
{
    const double scale = double(from) / to, widen = std::max(1.0, scale), support = 3.0 * widen;
    const double center = (i + 0.5) * scale;
    first = std::max(0, int(std::ceil(center - support - 0.5)));
    const int last = std::min(from - 1, int(std::floor(center + support - 0.5)));
    std::vector<double> w;
    double sum = 0.0;
    for (int s = first; s <= last; ++s) {
        const double x = std::fabs((s + 0.5 - center) / widen);
        const double v = x < 1e-12 ? 1.0 : x >= 3.0 ? 0.0 : 3.0 * std::sin(M_PI * x) * std::sin(M_PI * x / 3.0) / (M_PI * M_PI * x * x);
        w.push_back(v);
        sum += v;
    }
    for (double& v : w)
        v /= sum;
    return w;
}

QImage ReferenceLanczos(const QImage& source, int width, int height)
{
    const QImage in = source.convertToFormat(QImage::Format_RGB32);
    std::vector<double> mid(std::size_t(width) * in.height() * 3);
    for (int y = 0; y < in.height(); ++y) {
        const QRgb* row = reinterpret_cast<const QRgb*>(in.constScanLine(y));
        for (int x = 0; x < width; ++x) {
            int first = 0;
            const auto w = ReferenceAxis(in.width(), width, x, first);
            for (std::size_t k = 0; k < w.size(); ++k) {
                const QRgb p = row[first + int(k)];
                mid[(std::size_t(y) * width + x) * 3 + 0] += w[k] * qRed(p);
                mid[(std::size_t(y) * width + x) * 3 + 1] += w[k] * qGreen(p);
                mid[(std::size_t(y) * width + x) * 3 + 2] += w[k] * qBlue(p);
            }
        }
    }
    QImage out(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        int first = 0;
        const auto w = ReferenceAxis(in.height(), height, y, first);
        for (int x = 0; x < width; ++x) {
            double acc[3] = {0, 0, 0};
            for (std::size_t k = 0; k < w.size(); ++k) {
                for (int c = 0; c < 3; ++c)
                    acc[c] += w[k] * mid[(std::size_t(first + int(k)) * width + x) * 3 + c];
            }
            auto clamp = [](double v) { return int(std::clamp(std::lround(v), 0L, 255L)); };
            out.setPixel(x, y, qRgb(clamp(acc[0]), clamp(acc[1]), clamp(acc[2])));
        }
    }
    return out;
}

QImage FrameToImage(const Proc::IDataVideo& frame)
{
    QImage image(frame.GetFrameInfo().width, frame.GetFrameInfo().height, QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            Rgba p = ReadPixel(frame, x, y);
            if (frame.GetPixFmt() == Proc::PIX_FMT_RGBA64)
                for (int& v : p)
                    v = (v + 128) / 257;
            image.setPixel(x, y, qRgba(p[0], p[1], p[2], p[3]));
        }
    }
    return image;
}

DataVideoPtr ImageToBgraFrame(const QImage& source)
{
    const QImage image = source.convertToFormat(QImage::Format_ARGB32);
    return MakeFrame(Proc::PIX_FMT_BGRA32, image.width(), image.height(), [&](int x, int y) {
        const QRgb p = image.pixel(x, y);
        return Rgba {qRed(p), qGreen(p), qBlue(p), qAlpha(p)};
    });
}

TEST(ResizerTest, MatchesAFloatingPointLanczosReferenceOnAPhoto)
{
    const QImage photo(support::TestDataPath(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg")));
    ASSERT_FALSE(photo.isNull());
    const DataVideoPtr frame = ImageToBgraFrame(photo);
    frame->BuildLevels(32);
    struct Case {
        int width, height;
        bool useLevels;
        double minimumDb;
    };
    // From a box-filtered level the result departs a little from the reference; from the full
    // frame only the fixed-point rounding separates them.
    for (const Case& c : {Case {211, 158, true, 38.0}, Case {400, 300, true, 38.0}, Case {211, 158, false, 45.0},
                          Case {1000, 750, true, 45.0}}) {
        SCOPED_TRACE(::testing::Message() << c.width << "x" << c.height << (c.useLevels ? " from levels" : ""));
        const DataVideoPtr result = Resize(frame, c.width, c.height, c.useLevels);
        const double db = support::Psnr(FrameToImage(*result), ReferenceLanczos(photo, c.width, c.height));
        EXPECT_GE(db, c.minimumDb);
    }
}

// ---------------------------------------------------------------------------------------
// The vector loops and the portable ones give the same bytes, and formats agree.

class VectorPathGuard {
public:
    ~VectorPathGuard() { Proc::ResampleKernels::SetVectorEnabled(true); }
};

TEST(ResizerTest, VectorAndPortableLoopsAgree)
{
    VectorPathGuard guard;
    struct Case {
        int format;
        bool transparent;
        int width, height, targetWidth, targetHeight;
        int tolerance; // fixed point is exact; float may round a last bit differently with FMA
    };
    for (const Case& c : {Case {Proc::PIX_FMT_BGRA32, false, 333, 97, 101, 37, 0},
                          Case {Proc::PIX_FMT_BGRA32, false, 101, 37, 333, 97, 0},
                          Case {Proc::PIX_FMT_BGRA32, false, 50, 50, 49, 51, 0},
                          Case {Proc::PIX_FMT_BGRA32, false, 9, 9, 4, 4, 0},
                          Case {Proc::PIX_FMT_RGB24, false, 333, 97, 101, 37, 0},
                          Case {Proc::PIX_FMT_BGR24, false, 17, 250, 11, 99, 0},
                          Case {Proc::PIX_FMT_BGRA32, true, 333, 97, 101, 37, 1},
                          Case {Proc::PIX_FMT_RGBA64, false, 101, 37, 333, 97, 1},
                          Case {Proc::PIX_FMT_RGBA64, true, 333, 97, 101, 37, 1}}) {
        SCOPED_TRACE(::testing::Message() << c.format << (c.transparent ? " transparent " : " ") << c.width << "x"
                                          << c.height << " to " << c.targetWidth << "x" << c.targetHeight);
        DataVideoPtr frame = MakeNoiseFrame(c.format, c.width, c.height);
        if (c.transparent) {
            const DataVideoPtr noise = frame;
            frame = MakeFrame(c.format, c.width, c.height, [&](int x, int y) {
                Rgba p = ReadPixel(*noise, x, y);
                p[3] = p[1]; // alpha as varied as the colours
                return p;
            });
        }
        Proc::ResampleKernels::SetVectorEnabled(true);
        const DataVideoPtr vector = Resize(frame, c.targetWidth, c.targetHeight, false);
        Proc::ResampleKernels::SetVectorEnabled(false);
        const DataVideoPtr portable = Resize(frame, c.targetWidth, c.targetHeight, false);
        EXPECT_LE(MaxDifference(*vector, *portable), c.tolerance);
    }
}

TEST(ResizerTest, FormatsGiveTheSamePicture)
{
    const DataVideoPtr bgra = MakeNoiseFrame(Proc::PIX_FMT_BGRA32, 257, 131);
    auto convert = [&](int format) {
        auto converter = boost::dynamic_pointer_cast<Proc::IOneInputEffectVideo>(
            Proc::GetEffectFactory().Create(Proc::SettingsColorspaceConverter::CLASS_ID, Proc::ImplNames::DEFAULT));
        converter->SetSettings(Proc::SettingsColorspaceConverter({format}, false));
        DataVideoPtr frame = bgra;
        EXPECT_TRUE(converter->Process(frame));
        return frame;
    };
    const QImage expected = FrameToImage(*Resize(bgra, 100, 77));
    // The 8-bit formats share the fixed-point arithmetic: identical bytes.
    EXPECT_EQ(support::MaxChannelDifference(FrameToImage(*Resize(convert(Proc::PIX_FMT_RGB24), 100, 77)), expected), 0);
    EXPECT_EQ(support::MaxChannelDifference(FrameToImage(*Resize(convert(Proc::PIX_FMT_BGR24), 100, 77)), expected), 0);
    // 16 bits are filtered in floating point: the same picture within rounding.
    EXPECT_LE(support::MaxChannelDifference(FrameToImage(*Resize(convert(Proc::PIX_FMT_RGBA64), 100, 77)), expected), 2);
}

// ---------------------------------------------------------------------------------------
// Straight alpha: transparent pixels lend no colour to their neighbours.

TEST(ResizerTest, TransparentColourDoesNotBleed)
{
    for (int format : {Proc::PIX_FMT_BGRA32, Proc::PIX_FMT_RGBA64}) {
        SCOPED_TRACE(format);
        const int max = MaxValue(format);
        // Opaque red on the left; on the right, fully transparent pixels whose colour is green.
        const DataVideoPtr frame = MakeFrame(format, 64, 16, [&](int x, int) {
            return x < 32 ? Rgba {max, 0, 0, max} : Rgba {0, max, 0, 0};
        });
        frame->BuildLevels(4);
        for (auto [width, height] : {std::pair {21, 5}, std::pair {13, 4}, std::pair {100, 20}}) {
            const DataVideoPtr result = Resize(frame, width, height);
            bool sawEdge = false;
            for (int x = 0; x < width; ++x) {
                const Rgba p = ReadPixel(*result, x, height / 2);
                if (p[3] == 0)
                    continue;
                sawEdge = sawEdge || p[3] < max;
                EXPECT_GE(p[0], max - max / 255) << "x " << x << " alpha " << p[3];
                EXPECT_LE(p[1], max / 255) << "green bled in at x " << x << " alpha " << p[3];
            }
            EXPECT_TRUE(sawEdge) << "the edge must be partly transparent";
        }
    }
}

// ---------------------------------------------------------------------------------------
// Threads: levels being built while another thread resizes from them.

TEST(ResizerTest, ResizesWhileLevelsAreBeingBuilt)
{
    const Rgba colour {10, 200, 90, 255};
    const DataVideoPtr frame = MakeFrame(Proc::PIX_FMT_BGRA32, 1200, 900, [&](int, int) { return colour; });
    std::atomic<bool> built {false};
    std::thread builder([&] {
        frame->BuildLevels(8);
        built = true;
    });
    auto resizer = MakeResizer();
    resizer->SetSettings(MakeSettings(97, 71));
    int rounds = 0, failures = 0;
    do {
        DataVideoPtr result = frame;
        if (!resizer->Process(result) || result->GetFrameInfo().width != 97
            || MaxDifference(*result, *MakeFrame(Proc::PIX_FMT_BGRA32, 97, 71, [&](int, int) { return colour; })) > 1)
            ++failures;
        ++rounds;
    } while (!built || rounds < 3);
    builder.join();
    EXPECT_EQ(failures, 0) << "of " << rounds;
    EXPECT_GT(frame->GetLevelCount(), 1);
}

// ---------------------------------------------------------------------------------------
// Failures are results, never crashes.

TEST(ResizerTest, BadInputFailsCleanly)
{
    auto resizer = MakeResizer();
    EXPECT_THROW(resizer->SetSettings(Proc::SettingsColorspaceConverter()), Core::Exception);

    resizer->SetSettings(MakeSettings(10, 10));
    DataVideoPtr none;
    EXPECT_FALSE(resizer->Process(none));

    // More memory than any machine has: a failure, the frame released, no exception.
    resizer->SetSettings(MakeSettings(1 << 20, 1 << 20));
    DataVideoPtr huge = MakeNoiseFrame(Proc::PIX_FMT_BGRA32, 8, 8);
    EXPECT_FALSE(resizer->Process(huge));
    EXPECT_FALSE(huge);

    // Without the custom mode there is no target: the frame passes through.
    Proc::SettingsResizer noTarget = MakeSettings(10, 10);
    noTarget.customMode = 0;
    resizer->SetSettings(noTarget);
    const DataVideoPtr frame = MakeNoiseFrame(Proc::PIX_FMT_BGRA32, 8, 8);
    DataVideoPtr same = frame;
    EXPECT_TRUE(resizer->Process(same));
    EXPECT_EQ(same.get(), frame.get());

    // After Reset the next call works from scratch.
    resizer->Reset();
    resizer->SetSettings(MakeSettings(3, 3));
    DataVideoPtr small = frame;
    EXPECT_TRUE(resizer->Process(small));
    EXPECT_EQ(small->GetFrameInfo().width, 3);
}

} // namespace
} // namespace Quelto::Lumindra

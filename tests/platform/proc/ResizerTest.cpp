#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>
#include <tuple>
#include <vector>

#include <QImage>

#include <gtest/gtest.h>

#include "core/Exception.h"
#include "proc/ResampleKernels.h"
#include "proc/Resizer.h"
#include "support/FrameTestSupport.h"
#include "support/TestSupport.h"
#include "util/ImageUtils.h"

namespace Quelto::Lumindra {
namespace {

using Proc::DataVideoPtr;
using namespace ::Quelto::Lumindra::Test;

Proc::SettingsResizer MakeSettings(int width, int height, bool useLevels = true)
{
    Proc::SettingsResizer settings;
    settings.SetCustomMode(1, Conf::FrameInfo {width, height, 1.0});
    settings.useLevels = useLevels;
    return settings;
}

// Through `resizer` when one is given, so that the test can ask it where it started from.
DataVideoPtr Resize(const DataVideoPtr& frame, int width, int height, bool useLevels = true, Proc::Resizer* resizer = nullptr)
{
    Proc::Resizer own;
    Proc::Resizer& used = resizer ? *resizer : own;
    used.SetSettings(MakeSettings(width, height, useLevels));
    DataVideoPtr result = frame;
    EXPECT_TRUE(used.Process(result));
    return result;
}

// A flat colour stays flat (within one unit, alpha and borders included), and the result has
// exactly the asked size (never zero), the source's format and pixel aspect, from levels or not.
TEST(ResizerTest, FlatColourStaysFlatAtExactlyTheTargetSize)
{
    struct Case {
        int format;
        int alpha8; // the colour's alpha on the 8-bit scale
        int width, height, targetWidth, targetHeight;
    };
    for (const Case& c : {Case {Proc::PIX_FMT_BGRA32, 255, 640, 480, 213, 160}, Case {Proc::PIX_FMT_BGRA32, 255, 97, 61, 500, 333},
                          Case {Proc::PIX_FMT_BGRA32, 255, 301, 203, 3, 2}, Case {Proc::PIX_FMT_BGRA32, 128, 640, 480, 213, 160},
                          Case {Proc::PIX_FMT_BGRA32, 9, 300, 200, 121, 77}, Case {Proc::PIX_FMT_BGRA32, 77, 40, 30, 161, 99},
                          Case {Proc::PIX_FMT_RGB24, 255, 640, 480, 213, 160}, Case {Proc::PIX_FMT_RGB24, 255, 33, 17, 120, 70},
                          Case {Proc::PIX_FMT_BGR24, 255, 640, 480, 211, 157}, Case {Proc::PIX_FMT_RGBA64, 255, 640, 480, 213, 160},
                          Case {Proc::PIX_FMT_RGBA64, 100, 300, 200, 77, 301}, Case {Proc::PIX_FMT_BGRA32, 255, 2000, 1500, 1, 1},
                          // Reductions so large that the float path sums source rows one at a time.
                          Case {Proc::PIX_FMT_RGBA64, 100, 1200, 900, 3, 2}, Case {Proc::PIX_FMT_BGRA32, 77, 1000, 800, 7, 5},
                          // Tiny sources, one axis up and one down, and targets of zero or less.
                          Case {Proc::PIX_FMT_RGB24, 255, 7, 5, 3, 2}, Case {Proc::PIX_FMT_RGBA64, 255, 1, 1, 5, 4},
                          Case {Proc::PIX_FMT_BGRA32, 128, 640, 480, 641, 479}, Case {Proc::PIX_FMT_RGBA64, 255, 5, 400, 5, 3},
                          Case {Proc::PIX_FMT_BGRA32, 128, 640, 480, 0, 0}, Case {Proc::PIX_FMT_RGB24, 255, 640, 480, -5, 20}}) {
        SCOPED_TRACE(::testing::Message() << c.format << " " << c.width << "x" << c.height << " to " << c.targetWidth << "x" << c.targetHeight);
        const int max = MaxValue(c.format), scale = max / 255;
        const Rgba colour {200 * scale, 37 * scale, 121 * scale, Proc::HasAlphaChannel(c.format) ? c.alpha8 * scale : max};
        const DataVideoPtr frame = MakeFlatFrame(c.format, c.width, c.height, colour, 1.5);
        frame->BuildLevels(8);
        const int width = std::max(1, c.targetWidth), height = std::max(1, c.targetHeight);
        for (bool useLevels : {true, false}) {
            SCOPED_TRACE(useLevels ? "from levels" : "from the full frame");
            const DataVideoPtr result = Resize(frame, c.targetWidth, c.targetHeight, useLevels);
            ASSERT_TRUE(result);
            EXPECT_EQ(result->GetFrameInfo().width, width);
            EXPECT_EQ(result->GetFrameInfo().height, height);
            EXPECT_EQ(result->GetFrameInfo().pixelAspect, 1.5);
            EXPECT_EQ(result->GetPixFmt(), c.format);
            EXPECT_LE(MaxDifference(*result, *MakeFlatFrame(c.format, width, height, colour)), 1);
            EXPECT_EQ(result->IsOpaque(), frame->IsOpaque());
        }
    }
}

TEST(ResizerTest, OnePixelLineStaysVisible)
{
    for (int lineAt : {150, 151}) {
        const DataVideoPtr frame = MakeFrame(Proc::PIX_FMT_BGRA32, 300, 300, [&](int x, int y) {
            return x == lineAt || y == lineAt ? Rgba {0, 0, 0, 255} : Rgba {255, 255, 255, 255};
        });
        frame->BuildLevels(16);
        for (int divisor : {2, 3}) {
            for (bool useLevels : {true, false}) {
                SCOPED_TRACE(::testing::Message() << "line at " << lineAt << ", 1/" << divisor << (useLevels ? ", levels" : ""));
                const int size = 300 / divisor;
                const DataVideoPtr result = Resize(frame, size, size, useLevels);
                // Along a row away from the horizontal line the vertical one is the darkest, and the
                // other way round.
                for (bool across : {true, false}) {
                    int darkest = 255, darkestAt = -1;
                    for (int i = 0; i < size; ++i) {
                        const int v = ReadPixel(*result, across ? i : 20, across ? 20 : i)[1];
                        if (v < darkest)
                            darkest = v, darkestAt = i;
                    }
                    EXPECT_LE(darkest, 255 - 255 / (divisor + 1)) << "the line has faded away";
                    EXPECT_NEAR(darkestAt, double(lineAt) / divisor, 1.0);
                }
            }
        }
    }
}

TEST(ResizerTest, StartsFromTheNearestLargerLevel)
{
    const DataVideoPtr frame = MakeNoiseFrame(Proc::PIX_FMT_BGRA32, 800, 600);
    frame->BuildLevels(16);
    const auto level2 = frame->GetLevel(2); // 200 x 150
    ASSERT_TRUE(level2);
    Proc::Resizer resizer;
    const DataVideoPtr fromLevels = Resize(frame, 150, 100, true, &resizer);
    EXPECT_EQ(resizer.GetLastLevel(), 2);
    const DataVideoPtr direct = Resize(Proc::CloneDataVideo(*level2), 150, 100, false, &resizer);
    EXPECT_EQ(resizer.GetLastLevel(), 0);
    EXPECT_EQ(MaxDifference(*fromLevels, *direct), 0) << "the same as resizing that level directly";

    EXPECT_EQ(Resize(frame, 200, 150).get(), level2.get()) << "a level of the target size is handed out";
    Resize(frame, 201, 150, true, &resizer);
    EXPECT_EQ(resizer.GetLastLevel(), 1) << "one pixel wider than a level: the next larger one";
    Resize(frame, 900, 700, true, &resizer);
    EXPECT_EQ(resizer.GetLastLevel(), 0) << "upscaling starts from the frame itself";
}

// A textbook Lanczos-3 in double precision: the kernel widened by the reduction factor, the
// windows cut at the borders and renormalised.
struct Taps {
    int first = 0;
    std::vector<double> weights;
};

std::vector<Taps> ReferenceAxis(int from, int to)
{
    std::vector<Taps> axis(static_cast<std::size_t>(to));
    const double scale = double(from) / to, widen = std::max(1.0, scale);
    for (int i = 0; i < to; ++i) {
        const double center = (i + 0.5) * scale;
        Taps& taps = axis[std::size_t(i)];
        taps.first = std::max(0, int(std::ceil(center - 3.0 * widen - 0.5)));
        const int last = std::min(from - 1, int(std::floor(center + 3.0 * widen - 0.5)));
        double sum = 0.0;
        for (int s = taps.first; s <= last; ++s) {
            const double x = std::fabs((s + 0.5 - center) / widen);
            taps.weights.push_back(x < 1e-12 ? 1.0 : x >= 3.0 ? 0.0 : 3.0 * std::sin(M_PI * x) * std::sin(M_PI * x / 3.0) / (M_PI * M_PI * x * x));
            sum += taps.weights.back();
        }
        for (double& w : taps.weights)
            w /= sum;
    }
    return axis;
}

QImage ReferenceLanczos(const QImage& source, int width, int height)
{
    const QImage in = source.convertToFormat(QImage::Format_RGB32);
    const std::vector<Taps> ax = ReferenceAxis(in.width(), width), ay = ReferenceAxis(in.height(), height);
    QImage out(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Taps &tx = ax[std::size_t(x)], &ty = ay[std::size_t(y)];
            double acc[3] = {0, 0, 0};
            for (std::size_t j = 0; j < ty.weights.size(); ++j) {
                const QRgb* row = reinterpret_cast<const QRgb*>(in.constScanLine(ty.first + int(j))) + tx.first;
                for (std::size_t i = 0; i < tx.weights.size(); ++i) {
                    const double w = tx.weights[i] * ty.weights[j];
                    acc[0] += w * qRed(row[i]), acc[1] += w * qGreen(row[i]), acc[2] += w * qBlue(row[i]);
                }
            }
            auto clamp = [](double v) { return int(std::clamp(std::lround(v), 0L, 255L)); };
            out.setPixel(x, y, qRgb(clamp(acc[0]), clamp(acc[1]), clamp(acc[2])));
        }
    }
    return out;
}

TEST(ResizerTest, MatchesAFloatingPointLanczosReferenceOnAPhotoInEveryFormat)
{
    const QImage photo(TestDataPath(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg")));
    // From a box-filtered level the result departs a little from the reference; from the full
    // frame only the rounding of the arithmetic separates them.
    for (auto [format, width, height, useLevels, minimumDb] :
         {std::tuple {Proc::PIX_FMT_BGRA32, 211, 158, true, 38.0}, {Proc::PIX_FMT_BGRA32, 400, 300, true, 38.0},
          {Proc::PIX_FMT_BGRA32, 211, 158, false, 45.0}, {Proc::PIX_FMT_BGRA32, 1000, 750, true, 45.0},
          {Proc::PIX_FMT_RGB24, 211, 158, false, 45.0}, {Proc::PIX_FMT_BGR24, 1000, 750, false, 45.0},
          {Proc::PIX_FMT_RGBA64, 211, 158, false, 45.0}, {Proc::PIX_FMT_RGBA64, 1000, 750, false, 45.0}}) {
        SCOPED_TRACE(::testing::Message() << format << " " << width << "x" << height << (useLevels ? " from levels" : ""));
        const int scale = MaxValue(format) / 255;
        const DataVideoPtr frame = MakeFrame(format, photo.width(), photo.height(), [&](int x, int y) {
            const QRgb p = photo.pixel(x, y);
            return Rgba {qRed(p) * scale, qGreen(p) * scale, qBlue(p) * scale, 255 * scale};
        });
        frame->BuildLevels(32);
        const QImage result = Util::ImageUtils().FrameToImage(Resize(frame, width, height, useLevels));
        EXPECT_GE(Psnr(result, ReferenceLanczos(photo, width, height)), minimumDb);
    }
}

TEST(ResizerTest, VectorAndPortableLoopsAgree)
{
    // Fixed point is exact; floating point may round a last bit differently with fused multiply-adds.
    for (auto [format, transparent, width, height, targetWidth, targetHeight, tolerance] :
         {std::tuple {Proc::PIX_FMT_BGRA32, false, 333, 97, 101, 37, 0}, {Proc::PIX_FMT_BGRA32, false, 101, 37, 333, 97, 0},
          {Proc::PIX_FMT_BGRA32, false, 50, 50, 49, 51, 0}, {Proc::PIX_FMT_BGRA32, false, 9, 9, 4, 4, 0},
          {Proc::PIX_FMT_RGB24, false, 333, 97, 101, 37, 0}, {Proc::PIX_FMT_BGR24, false, 17, 250, 11, 99, 0},
          {Proc::PIX_FMT_BGRA32, true, 333, 97, 101, 37, 1}, {Proc::PIX_FMT_RGBA64, false, 101, 37, 333, 97, 1},
          {Proc::PIX_FMT_RGBA64, true, 333, 97, 101, 37, 1}}) {
        SCOPED_TRACE(::testing::Message() << format << (transparent ? " transparent " : " ") << width << "x" << height << " to "
                                          << targetWidth << "x" << targetHeight);
        const DataVideoPtr frame = MakeNoiseFrame(format, width, height, transparent);
        Proc::ResampleKernels::SetVectorEnabled(false);
        const DataVideoPtr portable = Resize(frame, targetWidth, targetHeight, false);
        Proc::ResampleKernels::SetVectorEnabled(true);
        EXPECT_LE(MaxDifference(*Resize(frame, targetWidth, targetHeight, false), *portable), tolerance);
    }
}

// Straight alpha: transparent pixels lend no colour to their neighbours, from levels or not.
TEST(ResizerTest, TransparentColourDoesNotBleed)
{
    for (int format : {Proc::PIX_FMT_BGRA32, Proc::PIX_FMT_RGBA64}) {
        SCOPED_TRACE(format);
        const int max = MaxValue(format);
        // Opaque red on the left; on the right, fully transparent pixels whose colour is green. The
        // edge falls inside a 2x2 block, so that the levels mix the two as well.
        const DataVideoPtr frame = MakeFrame(format, 64, 16, [&](int x, int) {
            return x < 33 ? Rgba {max, 0, 0, max} : Rgba {0, max, 0, 0};
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

// Two threads build levels at once while a third resizes from whatever is published.
TEST(ResizerTest, ResizesWhileLevelsAreBeingBuilt)
{
    const Rgba colour {10, 200, 90, 255};
    const DataVideoPtr frame = MakeFlatFrame(Proc::PIX_FMT_BGRA32, 1200, 900, colour);
    const DataVideoPtr expected = MakeFlatFrame(Proc::PIX_FMT_BGRA32, 97, 71, colour);
    std::atomic<int> built {0};
    const Proc::IDataVideo* seen[2] = {};
    auto build = [&](int t) {
        frame->BuildLevels(8);
        seen[t] = frame->GetLevel(1).get();
        ++built;
    };
    std::thread first(build, 0), second(build, 1);
    Proc::Resizer resizer;
    resizer.SetSettings(MakeSettings(97, 71));
    int rounds = 0, failures = 0;
    do {
        DataVideoPtr result = frame;
        if (!resizer.Process(result) || result->GetFrameInfo().width != 97 || MaxDifference(*result, *expected) > 1)
            ++failures;
        ++rounds;
    } while (built < 2 || rounds < 3);
    first.join();
    second.join();
    EXPECT_EQ(failures, 0) << "of " << rounds;
    EXPECT_EQ(frame->GetLevelCount(), 7) << "1200x900 down to 18x14";
    EXPECT_EQ(seen[0], seen[1]) << "one set of levels is published";
}

TEST(ResizerTest, BadInputFailsCleanly)
{
    Proc::Resizer resizer;
    EXPECT_THROW(resizer.SetSettings(Proc::SettingsColorspaceConverter()), Core::Exception);
    resizer.SetSettings(MakeSettings(10, 10));
    DataVideoPtr none;
    EXPECT_FALSE(resizer.Process(none));

    // More memory than any machine has: a failure, the frame released, no exception.
    resizer.SetSettings(MakeSettings(1 << 20, 1 << 20));
    DataVideoPtr huge = MakeNoiseFrame(Proc::PIX_FMT_BGRA32, 8, 8);
    EXPECT_FALSE(resizer.Process(huge));
    EXPECT_FALSE(huge);

    // Without the custom mode there is no target: the frame passes through.
    Proc::SettingsResizer noTarget = MakeSettings(10, 10);
    noTarget.customMode = 0;
    resizer.SetSettings(noTarget);
    const DataVideoPtr frame = huge = MakeNoiseFrame(Proc::PIX_FMT_BGRA32, 8, 8);
    EXPECT_TRUE(resizer.Process(huge));
    EXPECT_EQ(huge.get(), frame.get());
}

} // namespace
} // namespace Quelto::Lumindra

#include <vector>

#include <gtest/gtest.h>

#include "core/Exception.h"
#include "proc/DataVideo.h"
#include "proc/ResampleKernels.h"
#include "support/FrameTestSupport.h"

namespace Quelto::Lumindra {
namespace {

using Proc::DataVideoPtr;
using namespace ::Quelto::Lumindra::Test;

// Each 2x2 block is averaged and rounded to nearest, halves up.
TEST(DataVideoTest, HalvingRoundsTheAverageToNearest)
{
    const DataVideoPtr frame = MakeFrame(Proc::PIX_FMT_BGRA32, 2, 2, [](int x, int y) {
        const int i = 2 * y + x; // block sums: red 1, green 2, blue 3
        return Rgba {i == 0 ? 1 : 0, i < 2 ? 1 : 0, i < 3 ? 1 : 0, 255};
    });
    EXPECT_EQ(ReadPixel(*Proc::HalveDataVideo(*frame), 0, 0), (Rgba {0, 1, 1, 255}));
}

TEST(DataVideoTest, VectorAndPortableHalvingAgree)
{
    for (bool transparent : {false, true}) {
        for (int width : {1, 2, 3, 15, 16, 17, 31, 33, 64, 101}) {
            SCOPED_TRACE(::testing::Message() << "width " << width << (transparent ? ", transparent" : ""));
            const DataVideoPtr frame = MakeNoiseFrame(Proc::PIX_FMT_BGRA32, width, 7, transparent);
            Proc::ResampleKernels::SetVectorEnabled(false);
            const DataVideoPtr portable = Proc::HalveDataVideo(*frame);
            Proc::ResampleKernels::SetVectorEnabled(true);
            EXPECT_EQ(MaxDifference(*Proc::HalveDataVideo(*frame), *portable), 0);
        }
    }
}

TEST(DataVideoTest, LevelsAreBuiltOnceAndCounted)
{
    const DataVideoPtr frame = MakeNoiseFrame(Proc::PIX_FMT_BGRA32, 1000, 600);
    EXPECT_EQ(frame->GetLevel(0).get(), frame.get());
    const std::uint64_t bare = frame->GetMemorySize();
    EXPECT_EQ(bare, std::uint64_t(frame->GetStride()) * 600);

    frame->BuildLevels(100); // 500x300, 250x150 (then 75 < 100 stops)
    ASSERT_EQ(frame->GetLevelCount(), 3);
    EXPECT_EQ(frame->GetLevel(1)->GetFrameInfo().width, 500);
    EXPECT_EQ(frame->GetLevel(2)->GetFrameInfo().height, 150);
    EXPECT_FALSE(frame->GetLevel(3));
    EXPECT_FALSE(frame->GetLevel(-1));
    EXPECT_EQ(frame->GetMemorySize(), bare + frame->GetLevel(1)->GetMemorySize() + frame->GetLevel(2)->GetMemorySize());

    const auto first = frame->GetLevel(1);
    frame->BuildLevels(10);
    EXPECT_EQ(frame->GetLevel(1).get(), first.get()) << "a second build keeps the levels";
    EXPECT_EQ(frame->GetLevelCount(), 3);
}

TEST(DataVideoTest, InvalidFramesAreRefused)
{
    EXPECT_THROW(Proc::CreateDataVideo(Conf::FrameInfo {0, 10, 1.0}, Proc::PIX_FMT_BGRA32), Core::Exception);
    EXPECT_THROW(Proc::CreateDataVideo(Conf::FrameInfo {10, 10, 1.0}, 7), Core::Exception);
    EXPECT_THROW(Proc::CreateDataVideo(Conf::FrameInfo {1 << 30, 1 << 30, 1.0}, Proc::PIX_FMT_RGBA64), Core::Exception);
    std::vector<std::uint8_t> memory(100);
    EXPECT_THROW(Proc::WrapDataVideo(Conf::FrameInfo {10, 2, 1.0}, Proc::PIX_FMT_BGRA32, 39, memory.data(), nullptr),
                 Core::Exception);
    EXPECT_THROW(Proc::WrapDataVideo(Conf::FrameInfo {10, 2, 1.0}, Proc::PIX_FMT_BGRA32, 40, nullptr, nullptr),
                 Core::Exception);
}

} // namespace
} // namespace Quelto::Lumindra

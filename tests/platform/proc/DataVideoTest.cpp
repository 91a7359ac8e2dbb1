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

// Each 2x2 block is averaged and rounded to nearest; an odd last column or row pairs with itself.
TEST(DataVideoTest, HalvingAveragesTwoByTwoExactlyRounded)
{
    const DataVideoPtr frame = MakeFrame(Proc::PIX_FMT_BGRA32, 5, 3, [](int x, int y) {
        Rgba v {0, 0, 0, 255};
        v[0] = x == 4 && y < 2 ? 300 - 100 * (y + 1) : 0;                    // 200 over 100: 150
        v[1] = (y == 0 && (x == 2 || x == 3)) || (y == 1 && x == 2) ? 1 : 0; // sum 3: 1
        v[2] = x == 0 && y == 0 ? 1 : x == 1 && y == 2 ? 9 : 0;              // sum 1: 0; 2 * 9: 5
        return v;
    });
    const DataVideoPtr half = Proc::HalveDataVideo(*frame);
    ASSERT_EQ(half->GetFrameInfo().width, 3);
    ASSERT_EQ(half->GetFrameInfo().height, 2);
    EXPECT_EQ(ReadPixel(*half, 0, 0)[2], 0);
    EXPECT_EQ(ReadPixel(*half, 1, 0)[1], 1);
    EXPECT_EQ(ReadPixel(*half, 2, 0)[0], 150);
    EXPECT_EQ(ReadPixel(*half, 0, 1)[2], 5);
    EXPECT_EQ(ReadPixel(*half, 2, 1)[3], 255);
    EXPECT_TRUE(half->IsOpaque());
}

TEST(DataVideoTest, VectorAndPortableHalvingAgree)
{
    struct Restore {
        ~Restore() { Proc::ResampleKernels::SetVectorEnabled(true); }
    } restore;
    for (bool transparent : {false, true}) {
        for (int width : {1, 2, 3, 15, 16, 17, 31, 33, 64, 101}) {
            SCOPED_TRACE(::testing::Message() << "width " << width << (transparent ? ", transparent" : ""));
            const DataVideoPtr frame = MakeNoiseFrame(Proc::PIX_FMT_BGRA32, width, 7, transparent);
            Proc::ResampleKernels::SetVectorEnabled(true);
            const DataVideoPtr vector = Proc::HalveDataVideo(*frame);
            Proc::ResampleKernels::SetVectorEnabled(false);
            EXPECT_EQ(MaxDifference(*vector, *Proc::HalveDataVideo(*frame)), 0);
        }
    }
}

TEST(DataVideoTest, LevelsAreBuiltOnceAndCounted)
{
    const DataVideoPtr frame = MakeNoiseFrame(Proc::PIX_FMT_BGRA32, 1000, 600);
    EXPECT_EQ(frame->GetLevelCount(), 1);
    EXPECT_EQ(frame->GetLevel(0).get(), frame.get());
    EXPECT_FALSE(frame->GetLevel(1));
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

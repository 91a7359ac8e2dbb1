#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "core/Exception.h"
#include "proc/DataVideo.h"
#include "proc/ResampleKernels.h"

namespace Quelto::Lumindra {
namespace {

using Proc::DataVideoPtr;

std::uint8_t* Pixel(Proc::IDataVideo& frame, int x, int y)
{
    return frame.GetMutableData() + std::size_t(y) * frame.GetStride() + std::size_t(x) * Proc::BytesPerPixel(frame.GetPixFmt());
}

DataVideoPtr MakeBgra(int width, int height, bool opaque, unsigned seed)
{
    DataVideoPtr frame = Proc::CreateDataVideo(Conf::FrameInfo {width, height, 1.0}, Proc::PIX_FMT_BGRA32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint8_t* p = Pixel(*frame, x, y);
            for (int c = 0; c < 4; ++c)
                p[c] = std::uint8_t((unsigned(x * 131 + y * 71 + c * 37) * 2654435761u + seed) >> 24);
            if (opaque)
                p[3] = 255;
        }
    }
    frame->SetOpaque(opaque);
    return frame;
}

TEST(DataVideoTest, HalvingAveragesTwoByTwoExactlyRounded)
{
    // Two rows of four pixels; each 2x2 block has sums 1 (rounds down) and 3 (rounds up).
    DataVideoPtr frame = Proc::CreateDataVideo(Conf::FrameInfo {5, 3, 1.0}, Proc::PIX_FMT_BGRA32);
    std::memset(frame->GetMutableData(), 0, std::size_t(frame->GetStride()) * 3);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            Pixel(*frame, x, y)[3] = 255;
    Pixel(*frame, 0, 0)[0] = 1;                 // block (0,0): sum 1 -> 0
    Pixel(*frame, 2, 0)[1] = 1;                 // block (1,0): sum 3 -> 1
    Pixel(*frame, 3, 0)[1] = 1;
    Pixel(*frame, 2, 1)[1] = 1;
    Pixel(*frame, 4, 0)[2] = 200;               // odd last column pairs with itself: (200 + 100 + 1) / 2
    Pixel(*frame, 4, 1)[2] = 100;
    Pixel(*frame, 1, 2)[0] = 9;                 // odd last row pairs with itself: (2 * 9 + 2) / 4
    frame->SetOpaque(true);

    const DataVideoPtr half = Proc::HalveDataVideo(*frame);
    ASSERT_EQ(half->GetFrameInfo().width, 3);
    ASSERT_EQ(half->GetFrameInfo().height, 2);
    EXPECT_EQ(Pixel(*half, 0, 0)[0], 0);
    EXPECT_EQ(Pixel(*half, 1, 0)[1], 1);
    EXPECT_EQ(Pixel(*half, 2, 0)[2], 150);
    EXPECT_EQ(Pixel(*half, 0, 1)[0], 5);
    EXPECT_EQ(Pixel(*half, 2, 1)[3], 255);
    EXPECT_TRUE(half->IsOpaque());
}

TEST(DataVideoTest, VectorAndPortableHalvingAgree)
{
    struct Restore {
        ~Restore() { Proc::ResampleKernels::SetVectorEnabled(true); }
    } restore;
    for (int width : {1, 2, 3, 15, 16, 17, 31, 33, 64, 101}) {
        const DataVideoPtr frame = MakeBgra(width, 7, true, unsigned(width));
        Proc::ResampleKernels::SetVectorEnabled(true);
        const DataVideoPtr vector = Proc::HalveDataVideo(*frame);
        Proc::ResampleKernels::SetVectorEnabled(false);
        const DataVideoPtr portable = Proc::HalveDataVideo(*frame);
        const std::size_t rowBytes = std::size_t(vector->GetFrameInfo().width) * 4;
        for (int y = 0; y < vector->GetFrameInfo().height; ++y)
            EXPECT_EQ(std::memcmp(vector->GetData() + std::size_t(y) * vector->GetStride(),
                                  portable->GetData() + std::size_t(y) * portable->GetStride(), rowBytes),
                      0)
                << "width " << width << " row " << y;
    }
}

TEST(DataVideoTest, HalvingWeightsColourByAlpha)
{
    for (int format : {Proc::PIX_FMT_BGRA32, Proc::PIX_FMT_RGBA64}) {
        SCOPED_TRACE(format);
        DataVideoPtr frame = Proc::CreateDataVideo(Conf::FrameInfo {2, 2, 1.0}, format);
        const int max = format == Proc::PIX_FMT_RGBA64 ? 65535 : 255;
        auto set = [&](int x, int y, int red, int green, int alpha) {
            if (format == Proc::PIX_FMT_RGBA64) {
                auto* p = reinterpret_cast<std::uint16_t*>(Pixel(*frame, x, y));
                p[0] = std::uint16_t(red), p[1] = std::uint16_t(green), p[2] = 0, p[3] = std::uint16_t(alpha);
            } else {
                std::uint8_t* p = Pixel(*frame, x, y);
                p[2] = std::uint8_t(red), p[1] = std::uint8_t(green), p[0] = 0, p[3] = std::uint8_t(alpha);
            }
        };
        // One opaque red pixel among transparent pixels whose colour is green.
        set(0, 0, max, 0, max);
        set(1, 0, 0, max, 0);
        set(0, 1, 0, max, 0);
        set(1, 1, 0, max, 0);
        frame->SetOpaque(false);
        const DataVideoPtr half = Proc::HalveDataVideo(*frame);
        if (format == Proc::PIX_FMT_RGBA64) {
            const auto* p = reinterpret_cast<const std::uint16_t*>(half->GetData());
            EXPECT_EQ(p[0], max);
            EXPECT_EQ(p[1], 0);
            EXPECT_EQ(p[3], (max + 2) / 4);
        } else {
            const std::uint8_t* p = half->GetData();
            EXPECT_EQ(p[2], max);
            EXPECT_EQ(p[1], 0);
            EXPECT_EQ(p[3], (max + 2) / 4);
        }
        EXPECT_FALSE(half->IsOpaque());
    }
}

TEST(DataVideoTest, LevelsAreBuiltOnceAndCounted)
{
    const DataVideoPtr frame = MakeBgra(1000, 600, true, 1);
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

TEST(DataVideoTest, ConcurrentBuildsPublishOneSetOfLevels)
{
    const DataVideoPtr frame = MakeBgra(1600, 1200, true, 2);
    std::vector<std::thread> threads;
    std::vector<const Proc::IDataVideo*> seen(4, nullptr);
    for (std::size_t t = 0; t < seen.size(); ++t) {
        threads.emplace_back([&, t] {
            frame->BuildLevels(64);
            seen[t] = frame->GetLevel(1).get();
        });
    }
    for (auto& thread : threads)
        thread.join();
    for (const Proc::IDataVideo* level : seen)
        EXPECT_EQ(level, seen.front());
    EXPECT_EQ(frame->GetLevelCount(), 5);
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

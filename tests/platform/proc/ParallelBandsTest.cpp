// The band splitter: every index once, failures after all bands, pool threads only, no deadlock.

#include <algorithm>
#include <atomic>
#include <future>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include <sys/resource.h>

#include <QThread>

#include <gtest/gtest.h>

#include "core/WorkerThread.h"
#include "proc/BackgroundPool.h"
#include "proc/ParallelBands.h"

namespace Quelto::Lumindra::Proc {
namespace {

TEST(ParallelBandsTest, EveryIndexRunsOnceOnTheCallerOrAPoolThread)
{
    for (const int count : {0, 1, 7, 1000, 4099}) {
        SCOPED_TRACE(count);
        std::vector<std::atomic<int>> hits(static_cast<std::size_t>(count));
        std::atomic<int> foreignThreads {0};
        std::atomic<int> helpersAtUiPriority {0};
        QThread* caller = QThread::currentThread();
        RunInBands(count, 16, [&](int begin, int end) {
            QThread* self = QThread::currentThread();
            if (self != caller && !IsBackgroundThread())
                ++foreignThreads; // a thread started for this call
            // A helper at the caller's priority would take turns with the UI thread.
            if (self != caller && getpriority(PRIO_PROCESS, 0) < Core::kWorkerThreadNice)
                ++helpersAtUiPriority;
            for (int i = begin; i < end; ++i)
                ++hits[std::size_t(i)];
        });
        for (int i = 0; i < count; ++i)
            ASSERT_EQ(hits[std::size_t(i)].load(), 1) << i;
        EXPECT_EQ(foreignThreads.load(), 0);
        EXPECT_EQ(helpersAtUiPriority.load(), 0);
    }
}

TEST(ParallelBandsTest, AFailingBandIsRethrownAfterEveryOtherBandFinished)
{
    std::atomic<int> bands {0}, finished {0};
    std::atomic<bool> thrown {false};
    EXPECT_THROW(RunInBands(4000, 10,
                            [&](int begin, int) {
                                ++bands;
                                if (begin == 0) {
                                    thrown = true;
                                    throw std::runtime_error("band failed");
                                }
                                while (!thrown) // the other bands end only after the failure
                                    std::this_thread::yield();
                                ++finished;
                            }),
                 std::runtime_error);
    EXPECT_GT(bands.load(), 1) << "the work was split";
    EXPECT_EQ(finished.load(), bands.load() - 1);
}

TEST(ParallelBandsTest, ABusyPoolDoesNotBlockTheCaller)
{
    const int threads = std::max(1, QThread::idealThreadCount());
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    std::atomic<int> blocking {0};
    for (int i = 0; i < threads; ++i)
        StartInBackground([released, &blocking] {
            ++blocking;
            released.wait();
            --blocking;
        });
    while (blocking.load() < threads) // every pool thread is taken
        std::this_thread::yield();
    std::atomic<int> total {0};
    // From a pool task too: a band that splits its own work again must not wait for itself.
    RunInBands(1000, 10, [&](int begin, int end) {
        RunInBands(end - begin, 1, [&](int b, int e) { total += e - b; });
    });
    EXPECT_EQ(total.load(), 1000);
    release.set_value();
    while (blocking.load() > 0)
        std::this_thread::yield();
}

} // namespace
} // namespace Quelto::Lumindra::Proc

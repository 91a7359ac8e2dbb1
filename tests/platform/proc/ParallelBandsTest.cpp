// The band splitter: every index once, failures after all bands, pool threads only, no deadlock.

#include <atomic>
#include <future>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include <QThread>
#include <QThreadPool>

#include <gtest/gtest.h>

#include "proc/ParallelBands.h"

namespace Quelto::Lumindra::Proc {
namespace {

TEST(ParallelBandsTest, EveryIndexRunsOnceOnTheCallerOrAPoolThread)
{
    for (const int count : {0, 1, 7, 1000, 4099}) {
        SCOPED_TRACE(count);
        std::vector<std::atomic<int>> hits(static_cast<std::size_t>(count));
        std::atomic<int> foreignThreads {0};
        QThread* caller = QThread::currentThread();
        RunInBands(count, 16, [&](int begin, int end) {
            QThread* self = QThread::currentThread();
            if (self != caller && !QThreadPool::globalInstance()->contains(self))
                ++foreignThreads; // a thread started for this call
            for (int i = begin; i < end; ++i)
                ++hits[std::size_t(i)];
        });
        for (int i = 0; i < count; ++i)
            ASSERT_EQ(hits[std::size_t(i)].load(), 1) << i;
        EXPECT_EQ(foreignThreads.load(), 0);
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
    QThreadPool* pool = QThreadPool::globalInstance();
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    std::atomic<int> blocking {0};
    for (int i = 0; i < pool->maxThreadCount(); ++i)
        pool->start([released, &blocking] {
            ++blocking;
            released.wait();
        });
    while (blocking.load() < pool->maxThreadCount()) // every pool thread is taken
        std::this_thread::yield();
    std::atomic<int> total {0};
    // From a pool task too: a band that splits its own work again must not wait for itself.
    RunInBands(1000, 10, [&](int begin, int end) {
        RunInBands(end - begin, 1, [&](int b, int e) { total += e - b; });
    });
    EXPECT_EQ(total.load(), 1000);
    release.set_value();
    pool->waitForDone();
}

} // namespace
} // namespace Quelto::Lumindra::Proc

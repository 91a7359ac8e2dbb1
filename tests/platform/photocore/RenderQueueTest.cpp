// The render thread of a core: order, coalescing, waiting and shutting down.

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>

#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/resource.h>

#include "core/WorkerThread.h"

#include "photocore/RenderQueue.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::PhotoCore {
namespace {

namespace T = ::Quelto::Lumindra::Test;

// Holds the render thread inside a job until released, so that the queue behind it can be
// shaped deterministically.
class Gate {
public:
    void Enter()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        entered_ = true;
        changed_.notify_all();
        changed_.wait(lock, [&] { return open_; });
    }
    void WaitEntered()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return entered_; });
    }
    void Open()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool entered_ = false, open_ = false;
};

enum Kind { WORK = 0, PREVIEW = 1 };

TEST(RenderQueue, RunsJobsInOrderOnItsOwnThreadAndCoalescesTheNewest)
{
    RenderQueue queue;
    Gate gate;
    std::mutex mutex;
    std::string log;
    std::thread::id jobThread;
    auto note = [&](const char* what) {
        return [&, what] {
            std::lock_guard<std::mutex> lock(mutex);
            log += what;
            jobThread = std::this_thread::get_id();
        };
    };
    queue.Post(WORK, [&] { gate.Enter(); });
    gate.WaitEntered();
    queue.Post(WORK, note("a"));
    queue.PostReplacingLast(PREVIEW, note("1"));
    queue.PostReplacingLast(PREVIEW, note("2"));
    queue.PostReplacingLast(PREVIEW, note("3")); // only the newest of consecutive previews runs
    queue.Post(WORK, note("b"));
    queue.PostReplacingLast(PREVIEW, note("4"));
    queue.DropTrailing(PREVIEW);                 // dropped before it ran
    EXPECT_FALSE(queue.WaitForIdle(0));
    gate.Open();
    ASSERT_TRUE(queue.WaitForIdle(T::kDefaultWaitMs));
    EXPECT_EQ(log, "a3b");
    EXPECT_NE(jobThread, std::this_thread::get_id());
}

// The render thread gives way to the UI thread, and says what it is in a debugger.
TEST(RenderQueue, RunsBelowTheCallersPriorityUnderItsName)
{
    RenderQueue queue;
    int jobNice = 0;
    char name[16] = {};
    queue.Post(WORK, [&] {
        jobNice = getpriority(PRIO_PROCESS, 0);
        pthread_getname_np(pthread_self(), name, sizeof name);
    });
    ASSERT_TRUE(queue.WaitForIdle(T::kDefaultWaitMs));
    EXPECT_EQ(jobNice, std::max(Core::kWorkerThreadNice, getpriority(PRIO_PROCESS, 0)));
    EXPECT_STREQ(name, "lumindra-core");
}

TEST(RenderQueue, SurvivesFailingJobsAndRefusesToWaitForItself)
{
    RenderQueue queue;
    std::atomic<int> ran {0};
    std::atomic<bool> selfWait {true};
    queue.Post(WORK, [] { throw std::runtime_error("broken job"); });
    queue.Post(WORK, [&] {
        selfWait = queue.WaitForIdle(-1); // would deadlock if it waited
        ++ran;
    });
    ASSERT_TRUE(queue.WaitForIdle(T::kDefaultWaitMs));
    EXPECT_EQ(ran.load(), 1);
    EXPECT_FALSE(selfWait.load());
}

TEST(RenderQueue, ShutdownDropsQueuedJobsAndJoins)
{
    auto queue = std::make_unique<RenderQueue>();
    Gate gate;
    std::atomic<int> ran {0};
    queue->Post(WORK, [&] { gate.Enter(); });
    gate.WaitEntered();
    for (int i = 0; i < 5; ++i)
        queue->Post(WORK, [&] { ++ran; });
    std::thread stopper([&] { queue->Shutdown(); }); // drops the rest, then waits for the running job
    EXPECT_TRUE(queue->WaitForIdle(T::kDefaultWaitMs)) << "a stopping queue counts as idle";
    gate.Open();
    stopper.join();
    EXPECT_EQ(ran.load(), 0);
    queue->Post(WORK, [&] { ++ran; }); // ignored once stopped
    EXPECT_TRUE(queue->WaitForIdle(0));
    queue.reset();
    EXPECT_EQ(ran.load(), 0);
}

// A job may end the queue it runs on (the last reference to a core dropped in a handler): the
// thread detaches and finishes the job without touching the queue object.
TEST(RenderQueue, ShutdownFromInsideAJobDetaches)
{
    auto* queue = new RenderQueue;
    std::atomic<bool> finished {false};
    queue->Post(WORK, [&] {
        delete queue;
        finished = true;
    });
    EXPECT_TRUE(T::WaitUntil([&] { return finished.load(); }));
}

} // namespace
} // namespace Quelto::Lumindra::PhotoCore

#include <atomic>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "util/FunctorExecutionForwarder.h"

namespace Quelto::Lumindra::Util {
namespace {

// Runs what the event loop has queued, without waiting: a forwarded function that should have
// been dropped would run (or touch a dead object) here.
void DrainEvents()
{
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
}

TEST(FunctorExecutionForwarder, RunsLaterNotInsideForward)
{
    FunctorExecutionForwarder forwarder;
    bool ran = false;
    forwarder.Forward([&] { ran = true; });
    EXPECT_FALSE(ran);
    EXPECT_TRUE(Lumindra::Test::WaitUntil([&] { return ran; }));
}

TEST(FunctorExecutionForwarder, RunsInCallOrderOnTheCreatingThreadWhenCalledFromWorkers)
{
    constexpr int kWorkers = 4;
    constexpr int kCallsPerWorker = 500;
    FunctorExecutionForwarder forwarder;
    QThread* const owner = QThread::currentThread();
    std::vector<int> order;
    std::atomic<int> wrongThread {0};
    std::mutex callOrder; // makes the ticket order the order of the Forward calls
    int ticket = 0;
    std::vector<std::thread> workers;
    for (int w = 0; w < kWorkers; ++w)
        workers.emplace_back([&] {
            for (int i = 0; i < kCallsPerWorker; ++i) {
                std::lock_guard<std::mutex> lock(callOrder);
                const int mine = ticket++;
                forwarder.Forward([&, mine] {
                    if (QThread::currentThread() != owner)
                        ++wrongThread;
                    order.push_back(mine);
                });
            }
        });
    for (std::thread& w : workers)
        w.join();
    ASSERT_TRUE(Lumindra::Test::WaitUntil([&] { return int(order.size()) == kWorkers * kCallsPerWorker; }));
    EXPECT_EQ(wrongThread.load(), 0);
    for (int i = 0; i < int(order.size()); ++i)
        ASSERT_EQ(order[i], i) << "out of call order at position " << i;
}

TEST(FunctorExecutionForwarder, DropsWhatIsQueuedWhenDestroyed)
{
    std::atomic<int> ran {0};
    auto forwarder = std::make_unique<FunctorExecutionForwarder>();
    std::thread worker([&] {
        for (int i = 0; i < 100; ++i)
            forwarder->Forward([&] { ++ran; });
    });
    worker.join();
    forwarder.reset();
    DrainEvents();
    EXPECT_EQ(ran.load(), 0);
}

// Its destructor runs before the base's: a worker keeps forwarding while the object is being
// torn down, and is stopped only when the base destructor is about to close the queue.
class RacedForwarder : public FunctorExecutionForwarder {
public:
    ~RacedForwarder() override
    {
        const int before = calls;
        while (calls < before + kCallsDuringDestruction)
            std::this_thread::yield();
        stop = true;
        if (worker.joinable())
            worker.join();
    }

    static constexpr int kCallsDuringDestruction = 50;
    std::atomic<int> calls {0};
    std::atomic<bool> stop {false};
    std::thread worker;
};

TEST(FunctorExecutionForwarder, WorkForwardedDuringDestructionNeverRuns)
{
    constexpr int kTrials = 20;
    std::atomic<int> ran {0};
    for (int trial = 0; trial < kTrials; ++trial) {
        auto forwarder = std::make_unique<RacedForwarder>();
        RacedForwarder* raw = forwarder.get();
        raw->worker = std::thread([raw, &ran] {
            while (!raw->stop) {
                raw->Forward([&ran] { ++ran; });
                ++raw->calls;
            }
        });
        forwarder.reset();
        DrainEvents();
    }
    EXPECT_EQ(ran.load(), 0);
}

TEST(FunctorExecutionForwarder, FunctionMayDestroyTheForwarder)
{
    auto* forwarder = new FunctorExecutionForwarder;
    std::vector<std::string> journal;
    forwarder->Forward([&] {
        journal.push_back("first");
        delete forwarder;
    });
    forwarder->Forward([&] { journal.push_back("second"); });
    ASSERT_TRUE(Lumindra::Test::WaitUntil([&] { return !journal.empty(); }));
    DrainEvents();
    EXPECT_EQ(journal, std::vector<std::string> {"first"});
}

TEST(FunctorExecutionForwarder, OrderHoldsWhenAFunctionRunsANestedEventLoop)
{
    FunctorExecutionForwarder forwarder;
    std::vector<std::string> journal;
    forwarder.Forward([&] {
        journal.push_back("1<");
        forwarder.Forward([&] { journal.push_back("3"); });
        // A modal dialog does this: the event loop runs inside the first function.
        Lumindra::Test::WaitUntil([&] { return journal.back() == "3"; });
        journal.push_back("1>");
    });
    forwarder.Forward([&] { journal.push_back("2"); });
    ASSERT_TRUE(Lumindra::Test::WaitUntil([&] { return journal.size() == 4; }));
    EXPECT_EQ(journal, (std::vector<std::string> {"1<", "2", "3", "1>"}));
}

TEST(FunctorExecutionForwarder, ThrowingFunctionIsLoggedAndTheNextRuns)
{
    Lumindra::Test::LogCapture log;
    FunctorExecutionForwarder forwarder;
    bool second = false;
    forwarder.Forward([] { throw std::runtime_error("boom"); });
    forwarder.Forward([&] { second = true; });
    forwarder.Forward(std::function<void()>()); // empty: ignored
    ASSERT_TRUE(Lumindra::Test::WaitUntil([&] { return second; }));
    EXPECT_TRUE(log.Contains("boom"));
}

} // namespace
} // namespace Quelto::Lumindra::Util

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

using Journal = std::vector<std::string>;

// Runs what the event loop has queued, without waiting: a function that should have been dropped
// would run (or touch a dead object) here.
void DrainEvents()
{
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
}

TEST(FunctorExecutionForwarder, RunsInCallOrderOnTheCreatingThreadWhenCalledFromWorkers)
{
    constexpr int kWorkers = 4, kCallsPerWorker = 500;
    FunctorExecutionForwarder forwarder;
    std::vector<int> order;
    std::atomic<int> wrongThread {0};
    std::mutex callOrder; // makes the ticket order the order of the Forward calls
    int ticket = 0;
    std::vector<std::thread> workers;
    for (int w = 0; w < kWorkers; ++w)
        workers.emplace_back([&] {
            for (int i = 0; i < kCallsPerWorker; ++i) {
                std::lock_guard<std::mutex> lock(callOrder);
                forwarder.Forward([&, mine = ticket++] {
                    wrongThread += QThread::currentThread() != forwarder.thread();
                    order.push_back(mine);
                });
            }
        });
    for (std::thread& w : workers)
        w.join();
    ASSERT_TRUE(Lumindra::Test::WaitUntil([&] { return int(order.size()) == kWorkers * kCallsPerWorker; }));
    EXPECT_EQ(wrongThread.load(), 0);
    for (int i = 0; i < int(order.size()); ++i)
        ASSERT_EQ(order[i], i) << "out of call order";
}

// Its destructor runs before the base's: the worker, which has queued work already, keeps
// forwarding while the object is torn down and is stopped only when the base destructor is about
// to close the queue.
struct RacedForwarder : FunctorExecutionForwarder {
    ~RacedForwarder() override
    {
        for (const int before = calls; calls < before + kCallsDuringDestruction;)
            std::this_thread::yield();
        stop = true;
        worker.join();
    }
    static constexpr int kCallsDuringDestruction = 50;
    std::atomic<int> calls {0};
    std::atomic<bool> stop {false};
    std::thread worker;
};

TEST(FunctorExecutionForwarder, QueuedWorkAndWorkForwardedDuringDestructionNeverRun)
{
    constexpr int kTrials = 20, kQueuedBeforeDestruction = 50;
    std::atomic<int> ran {0};
    for (int trial = 0; trial < kTrials; ++trial) {
        auto forwarder = std::make_unique<RacedForwarder>();
        forwarder->worker = std::thread([raw = forwarder.get(), &ran] {
            for (; !raw->stop; ++raw->calls)
                raw->Forward([&ran] { ++ran; });
        });
        while (forwarder->calls < kQueuedBeforeDestruction)
            std::this_thread::yield();
        forwarder.reset();
        DrainEvents();
    }
    EXPECT_EQ(ran.load(), 0);
}

// Functions run later, not inside Forward; one that throws is logged and the next runs; one that
// destroys the forwarder takes the rest of the queue with it.
TEST(FunctorExecutionForwarder, GoesOnAfterAThrowingFunctionAndStopsAfterOneThatDestroysIt)
{
    Lumindra::Test::LogCapture log;
    auto* forwarder = new FunctorExecutionForwarder;
    Journal journal;
    forwarder->Forward([] { throw std::runtime_error("boom"); });
    forwarder->Forward(std::function<void()>());
    forwarder->Forward([&] {
        journal.push_back("destroys");
        delete forwarder;
    });
    forwarder->Forward([&] { journal.push_back("dropped"); });
    EXPECT_TRUE(journal.empty());
    ASSERT_TRUE(Lumindra::Test::WaitUntil([&] { return !journal.empty(); }));
    DrainEvents();
    EXPECT_EQ(journal, Journal {"destroys"});
    EXPECT_TRUE(log.Contains("boom"));
}

} // namespace
} // namespace Quelto::Lumindra::Util

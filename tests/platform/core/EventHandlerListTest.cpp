#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "core/EventHandlerList.h"

namespace Quelto::Lumindra::Core {
namespace {

class IProbeHandler {
public:
    virtual ~IProbeHandler() = default;
    virtual void OnEvent(int value) = 0;
};

using ProbeList = EventHandlerList<IProbeHandler, SyncExecutePolicy>;

// Appends "<name><value>" to a shared journal; an optional action runs inside the delivery.
class Recorder : public IProbeHandler {
public:
    Recorder(std::string name, std::vector<std::string>& journal) : name_(std::move(name)), journal_(journal) {}
    void OnEvent(int value) override
    {
        journal_.push_back(name_ + std::to_string(value));
        if (action_)
            action_(value);
    }
    void SetAction(std::function<void(int)> action) { action_ = std::move(action); }

private:
    std::string name_;
    std::vector<std::string>& journal_;
    std::function<void(int)> action_;
};

void Publish(const ProbeList& list, int value)
{
    list.PublishEvent(&IProbeHandler::OnEvent, value);
}

using Journal = std::vector<std::string>;

TEST(EventHandlerList, DeliversInRegistrationOrderOncePerHandler)
{
    Journal journal;
    Recorder a("a", journal), b("b", journal), c("c", journal);
    ProbeList list;
    list.RegisterEventHandler(&a);
    list.RegisterEventHandler(&b);
    list.RegisterEventHandler(&c);
    list.RegisterEventHandler(&a); // already there: keeps its place, no second delivery
    Publish(list, 1);
    EXPECT_EQ(journal, (Journal {"a1", "b1", "c1"}));

    list.UnregisterEventHandler(&a); // once is enough to remove a handler registered twice
    Publish(list, 2);
    list.RegisterEventHandler(&a); // back at the end
    Publish(list, 3);
    EXPECT_EQ(journal, (Journal {"a1", "b1", "c1", "b2", "c2", "b3", "c3", "a3"}));
}

TEST(EventHandlerList, IgnoresNullAndAbsentHandlers)
{
    Journal journal;
    Recorder a("a", journal), stranger("s", journal);
    ProbeList list;
    list.RegisterEventHandler(nullptr);
    list.RegisterEventHandler(&a);
    list.UnregisterEventHandler(nullptr);
    list.UnregisterEventHandler(&stranger);
    EXPECT_EQ(list.GetHandlers(), (std::vector<IProbeHandler*> {&a}));
    Publish(list, 1);
    EXPECT_EQ(journal, (Journal {"a1"}));
}

// Every change made inside a delivery affects the next event only, whichever handler it touches.
struct ChangeDuringDelivery {
    const char* name;
    std::function<void(ProbeList&, Recorder& a, Recorder& b, Recorder& extra)> change; // made by a
    Journal expected;
    friend void PrintTo(const ChangeDuringDelivery& c, std::ostream* os) { *os << c.name; }
};

class EventHandlerListChange : public ::testing::TestWithParam<ChangeDuringDelivery> {};

TEST_P(EventHandlerListChange, TakesEffectWithTheNextEvent)
{
    Journal journal;
    Recorder a("a", journal), b("b", journal), extra("x", journal);
    ProbeList list;
    list.RegisterEventHandler(&a);
    list.RegisterEventHandler(&b);
    bool changed = false;
    a.SetAction([&](int) {
        if (!changed) {
            changed = true;
            GetParam().change(list, a, b, extra);
        }
    });
    Publish(list, 1);
    Publish(list, 2);
    EXPECT_EQ(journal, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    EventHandlerList, EventHandlerListChange,
    ::testing::Values(
        ChangeDuringDelivery {"RegisterNew", [](ProbeList& l, Recorder&, Recorder&, Recorder& x) { l.RegisterEventHandler(&x); },
                              {"a1", "b1", "a2", "b2", "x2"}},
        ChangeDuringDelivery {"UnregisterSelf", [](ProbeList& l, Recorder& a, Recorder&, Recorder&) { l.UnregisterEventHandler(&a); },
                              {"a1", "b1", "b2"}},
        ChangeDuringDelivery {"UnregisterLaterHandler",
                              [](ProbeList& l, Recorder&, Recorder& b, Recorder&) { l.UnregisterEventHandler(&b); },
                              {"a1", "b1", "a2"}},
        ChangeDuringDelivery {"ReplaceLaterHandler",
                              [](ProbeList& l, Recorder&, Recorder& b, Recorder& x) {
                                  l.UnregisterEventHandler(&b);
                                  l.RegisterEventHandler(&x);
                              },
                              {"a1", "b1", "a2", "x2"}}),
    [](const ::testing::TestParamInfo<ChangeDuringDelivery>& info) { return std::string(info.param.name); });

TEST(EventHandlerList, HandlerMayPublishFromInsideADelivery)
{
    Journal journal;
    Recorder a("a", journal), b("b", journal);
    ProbeList list;
    list.RegisterEventHandler(&a);
    list.RegisterEventHandler(&b);
    a.SetAction([&](int value) {
        if (value == 1)
            Publish(list, 2); // same thread: the delivery mutex is recursive, so no deadlock
    });
    Publish(list, 1);
    EXPECT_EQ(journal, (Journal {"a1", "a2", "b2", "b1"}));
}

// The forwarders of the editing core are a list plus a relay that reaches the list through the
// shared virtual publisher; a handler registered on the list gets what the relay publishes.
class Relay : public virtual EventPublisher<IProbeHandler>, public IProbeHandler {
public:
    void OnEvent(int value) override { Publish(&IProbeHandler::OnEvent, value); }
};
class ListWithRelay : public ProbeList, public Relay {};

TEST(EventHandlerList, RelaySharesThePublisherOfItsList)
{
    Journal journal;
    Recorder a("a", journal);
    ListWithRelay forwarder;
    forwarder.RegisterEventHandler(&a);
    ProbeList upstream;
    upstream.RegisterEventHandler(&forwarder);
    Publish(upstream, 7);
    EXPECT_EQ(journal, (Journal {"a7"}));
}

// Counts deliveries and notices when two deliveries overlap.
class OverlapProbe : public IProbeHandler {
public:
    void OnEvent(int) override
    {
        if (inside_.fetch_add(1) != 0)
            overlapped_ = true;
        // Stay inside long enough for an unserialised publisher on another thread to walk in.
        for (int i = 0; i < kDwellYields; ++i)
            std::this_thread::yield();
        ++count_;
        inside_.fetch_sub(1);
    }
    bool Overlapped() const { return overlapped_; }
    int Count() const { return count_; }

private:
    static constexpr int kDwellYields = 20;
    std::atomic<int> inside_ {0};
    std::atomic<bool> overlapped_ {false};
    std::atomic<int> count_ {0};
};

TEST(EventHandlerListThreads, DeliveriesFromSeveralThreadsAreSerialised)
{
    constexpr int kThreads = 4;
    constexpr int kEventsPerThread = 1000;
    OverlapProbe first, second;
    ProbeList list;
    list.RegisterEventHandler(&first);
    list.RegisterEventHandler(&second);
    std::vector<std::thread> publishers;
    for (int t = 0; t < kThreads; ++t)
        publishers.emplace_back([&] {
            for (int i = 0; i < kEventsPerThread; ++i)
                Publish(list, i);
        });
    for (std::thread& t : publishers)
        t.join();
    EXPECT_FALSE(first.Overlapped());
    EXPECT_FALSE(second.Overlapped());
    EXPECT_EQ(first.Count(), kThreads * kEventsPerThread);
    EXPECT_EQ(second.Count(), kThreads * kEventsPerThread);
}

class CountingHandler : public IProbeHandler {
public:
    void OnEvent(int) override { ++count; }
    std::atomic<int> count {0};
};

// Registrars add and remove handlers while a publisher delivers without pause: no crash, no
// lost registration, no leftover of a removed one, and handlers that stay keep getting events.
TEST(EventHandlerListThreads, RegistrationWhileAnotherThreadDeliversIsNeverLost)
{
    constexpr int kRegistrars = 3;
    constexpr int kRounds = 3000;
    constexpr int kKeptPerRegistrar = 50;
    ProbeList list;
    CountingHandler witness;
    list.RegisterEventHandler(&witness);

    // Every handler outlives every delivery: they are destroyed after the threads are joined.
    std::vector<std::unique_ptr<CountingHandler>> kept(kRegistrars * kKeptPerRegistrar);
    std::vector<std::unique_ptr<CountingHandler>> transient(kRegistrars);
    for (auto& h : kept)
        h = std::make_unique<CountingHandler>();
    for (auto& h : transient)
        h = std::make_unique<CountingHandler>();

    std::atomic<bool> registering {true};
    std::atomic<int> published {0};
    std::thread publisher([&] {
        while (registering) {
            Publish(list, 0);
            ++published;
        }
    });
    std::vector<std::thread> registrars;
    for (int r = 0; r < kRegistrars; ++r)
        registrars.emplace_back([&, r] {
            for (int round = 0; round < kRounds; ++round) {
                list.RegisterEventHandler(transient[r].get());
                if (round % (kRounds / kKeptPerRegistrar) == 0)
                    list.RegisterEventHandler(kept[r * kKeptPerRegistrar + round / (kRounds / kKeptPerRegistrar)].get());
                list.UnregisterEventHandler(transient[r].get());
            }
        });
    for (std::thread& t : registrars)
        t.join();
    registering = false;
    publisher.join();

    std::vector<IProbeHandler*> handlers = list.GetHandlers();
    EXPECT_EQ(handlers.size(), std::size_t(1 + kRegistrars * kKeptPerRegistrar));
    for (const auto& h : kept)
        EXPECT_EQ(std::count(handlers.begin(), handlers.end(), h.get()), 1);
    for (const auto& h : transient)
        EXPECT_EQ(std::count(handlers.begin(), handlers.end(), h.get()), 0);
    EXPECT_EQ(witness.count.load(), published.load());

    const int before = kept.front()->count;
    Publish(list, 0);
    EXPECT_EQ(kept.front()->count, before + 1);
}

} // namespace
} // namespace Quelto::Lumindra::Core

namespace Quelto::Lumindra::Core {
namespace {

// A handler that is inside a delivery on another thread when it is removed must not be called
// after the removal returns: its owner may destroy it right then.
TEST(EventHandlerListThreads, UnregisterWaitsForADeliveryUnderWay)
{
    class Slow : public IProbeHandler {
    public:
        void OnEvent(int) override
        {
            entered = true;
            while (!release)
                std::this_thread::yield();
            finished = true;
        }
        std::atomic<bool> entered {false}, release {false}, finished {false};
    } slow;

    ProbeList list;
    list.RegisterEventHandler(&slow);
    std::thread publisher([&] { list.PublishEvent(&IProbeHandler::OnEvent, 1); });
    while (!slow.entered)
        std::this_thread::yield();

    std::atomic<bool> unregistered {false};
    std::thread remover([&] {
        list.UnregisterEventHandler(&slow);
        unregistered = true;
    });
    // The remover is held while the delivery runs; releasing the delivery lets it finish.
    for (int i = 0; i < 1000 && !unregistered; ++i)
        std::this_thread::yield();
    EXPECT_FALSE(unregistered);
    slow.release = true;
    remover.join();
    publisher.join();
    EXPECT_TRUE(slow.finished);
    EXPECT_TRUE(list.GetHandlers().empty());
}

} // namespace
} // namespace Quelto::Lumindra::Core

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "core/EventHandlerList.h"

namespace Quelto::Lumindra::Core {
namespace {

struct IProbeHandler {
    virtual ~IProbeHandler() = default;
    virtual void OnEvent(int value) = 0;
};

using ProbeList = EventHandlerList<IProbeHandler, SyncExecutePolicy>;
using Journal = std::vector<std::string>;

// Appends "<name><value>" to a shared journal; an optional action runs inside the delivery.
struct Recorder : IProbeHandler {
    Recorder(std::string n, Journal& j) : name(std::move(n)), journal(j) {}
    void OnEvent(int value) override
    {
        journal.push_back(name + std::to_string(value));
        if (action)
            action(value);
    }
    std::string name;
    Journal& journal;
    std::function<void(int)> action;
};

void Publish(const ProbeList& list, int value)
{
    list.PublishEvent(&IProbeHandler::OnEvent, value);
}

TEST(EventHandlerList, DeliversInRegistrationOrderOncePerHandler)
{
    Journal journal;
    Recorder a("a", journal), b("b", journal), c("c", journal), stranger("s", journal);
    ProbeList list;
    for (IProbeHandler* h : {&a, &b, static_cast<Recorder*>(nullptr), &c, &a}) // a repeat keeps the first place
        list.RegisterEventHandler(h);
    list.UnregisterEventHandler(nullptr);
    list.UnregisterEventHandler(&stranger);
    Publish(list, 1);
    list.UnregisterEventHandler(&a); // once removes a handler registered twice
    Publish(list, 2);
    list.RegisterEventHandler(&a); // back at the end
    Publish(list, 3);
    EXPECT_EQ(journal, (Journal {"a1", "b1", "c1", "b2", "c2", "b3", "c3", "a3"}));
}

// What a does inside its first delivery affects the next event only, whichever handler it touches.
TEST(EventHandlerList, ChangeInsideADeliveryTakesEffectWithTheNextEvent)
{
    const std::vector<std::tuple<const char*, std::function<void(ProbeList&, Recorder* abx)>, Journal>> cases {
        {"register", [](ProbeList& l, Recorder* h) { l.RegisterEventHandler(&h[2]); }, {"a1", "b1", "a2", "b2", "x2"}},
        {"unregister self", [](ProbeList& l, Recorder* h) { l.UnregisterEventHandler(&h[0]); }, {"a1", "b1", "b2"}},
        // Same thread: the delivery mutex is recursive, so a nested publish does not deadlock.
        {"publish", [](ProbeList& l, Recorder*) { Publish(l, 2); }, {"a1", "a2", "b2", "b1", "a2", "b2"}},
    };
    for (const auto& [name, change, expected] : cases) {
        Journal journal;
        Recorder h[] = {{"a", journal}, {"b", journal}, {"x", journal}};
        ProbeList list;
        list.RegisterEventHandler(&h[0]);
        list.RegisterEventHandler(&h[1]);
        h[0].action = [&](int value) {
            if (value == 1)
                change(list, h);
        };
        Publish(list, 1);
        Publish(list, 2);
        EXPECT_EQ(journal, expected) << name;
    }
}

// Counts deliveries and notices when two overlap.
struct OverlapProbe : IProbeHandler {
    void OnEvent(int) override
    {
        if (inside.exchange(true))
            overlapped = true;
        for (int i = 0; i < dwellYields; ++i)
            std::this_thread::yield();
        ++count;
        inside = false;
    }
    int dwellYields = 0;
    std::atomic<bool> inside {false}, overlapped {false};
    std::atomic<int> count {0};
};

// Registrars add and remove handlers while publishers deliver without pause: deliveries from
// different threads never overlap, no registration is lost, no removed handler is left over, and
// a handler that stays gets every event.
TEST(EventHandlerListThreads, RegistrationWhileOtherThreadsDeliverIsNeverLost)
{
    constexpr int kPublishers = 2, kRegistrars = 3, kRounds = 3000, kKeptPerRegistrar = 50;
    constexpr int kKeepEvery = kRounds / kKeptPerRegistrar;
    // Long enough inside a delivery for an unserialised publisher on another thread to walk in,
    // and enough deliveries for that to happen even when the registrars finish early.
    constexpr int kDwellYields = 20, kMinEvents = 2000;
    ProbeList list;
    OverlapProbe witness;
    witness.dwellYields = kDwellYields;
    list.RegisterEventHandler(&witness);
    // Destroyed after the threads are joined, so every handler outlives every delivery.
    std::vector<OverlapProbe> kept(kRegistrars * kKeptPerRegistrar), transient(kRegistrars);

    std::atomic<int> published {0}, registrarsDone {0};
    std::vector<std::thread> threads;
    for (int p = 0; p < kPublishers; ++p)
        threads.emplace_back([&] {
            for (; registrarsDone < kRegistrars || published < kMinEvents; ++published)
                Publish(list, 0);
        });
    for (int r = 0; r < kRegistrars; ++r)
        threads.emplace_back([&, r] {
            for (int round = 0; round < kRounds; ++round) {
                list.RegisterEventHandler(&transient[r]);
                if (round % kKeepEvery == 0)
                    list.RegisterEventHandler(&kept[r * kKeptPerRegistrar + round / kKeepEvery]);
                list.UnregisterEventHandler(&transient[r]);
            }
            ++registrarsDone;
        });
    for (std::thread& t : threads)
        t.join();

    const std::vector<IProbeHandler*> handlers = list.GetHandlers();
    EXPECT_EQ(handlers.size(), std::size_t(1 + kRegistrars * kKeptPerRegistrar)) << "a removed handler is left";
    for (const auto& h : kept)
        EXPECT_EQ(std::count(handlers.begin(), handlers.end(), &h), 1);
    EXPECT_FALSE(witness.overlapped);
    EXPECT_EQ(witness.count.load(), published.load());
}

// A handler inside a delivery on another thread when it is removed must not be called after the
// removal returns: its owner may destroy it right then.
TEST(EventHandlerListThreads, UnregisterWaitsForADeliveryUnderWay)
{
    std::atomic<bool> entered {false}, release {false}, unregistered {false};
    Journal journal;
    Recorder slow("s", journal);
    slow.action = [&](int) {
        entered = true;
        while (!release)
            std::this_thread::yield();
    };
    ProbeList list;
    list.RegisterEventHandler(&slow);
    std::thread publisher([&] { Publish(list, 1); });
    while (!entered)
        std::this_thread::yield();
    std::thread remover([&] {
        list.UnregisterEventHandler(&slow);
        unregistered = true;
    });
    for (int i = 0; i < 1000 && !unregistered; ++i) // a remover that does not wait gets its chance
        std::this_thread::yield();
    EXPECT_FALSE(unregistered);
    release = true;
    remover.join();
    publisher.join();
    EXPECT_TRUE(list.GetHandlers().empty());
}

} // namespace
} // namespace Quelto::Lumindra::Core

#pragma once

#include <algorithm>
#include <mutex>
#include <vector>

namespace Quelto::Lumindra::Core {

// Delivers an event on the thread that publishes it, before Publish returns.
struct SyncExecutePolicy {
    template <class F>
    static void Execute(F&& f) { f(); }
};

// An ordered, de-duplicated list of handlers that are not owned, and the delivery of events
// to them. Thread-safe: handlers may be added or removed from any thread, and from inside a
// delivery on the same thread (both mutexes are recursive). A change made during a delivery
// takes effect with the next event, because every delivery works on a copy of the list.
// A handler must be removed before it dies; removal waits for a delivery under way on another
// thread, so a handler that blocks on the remover's thread while being delivered to deadlocks.
template <class Handler>
class EventPublisher {
public:
    EventPublisher() = default;
    EventPublisher(const EventPublisher&) = delete;
    EventPublisher& operator=(const EventPublisher&) = delete;
    virtual ~EventPublisher() = default;

    // Calls `fn(handler)` for each handler of a copy of the list, in registration order,
    // holding the delivery mutex so that deliveries from different threads do not interleave.
    // The list mutex is held only while copying: handlers may change the list meanwhile.
    template <class Fn>
    void ForEachHandler(Fn&& fn) const
    {
        // The delivery mutex is taken before the copy is made, so that a removal, which waits
        // for it, can never be overtaken by a delivery that copied the list before it.
        std::lock_guard<std::recursive_mutex> delivery(deliveryMutex_);
        std::vector<Handler*> copy;
        {
            std::lock_guard<std::recursive_mutex> lock(listMutex_);
            copy = handlers_;
        }
        for (Handler* h : copy)
            fn(h);
    }

    // Calls one handler operation with the given arguments on every handler.
    template <class Method, class... Args>
    void Publish(Method method, const Args&... args) const
    {
        ForEachHandler([&](Handler* h) { (h->*method)(args...); });
    }

    std::vector<Handler*> GetHandlers() const
    {
        std::lock_guard<std::recursive_mutex> lock(listMutex_);
        return handlers_;
    }

protected:
    void AddHandler(Handler* h)
    {
        if (!h)
            return;
        std::lock_guard<std::recursive_mutex> lock(listMutex_);
        if (std::find(handlers_.begin(), handlers_.end(), h) == handlers_.end())
            handlers_.push_back(h);
    }

    // Once this returns, `h` is called no more: a delivery that another thread has under way
    // (working on its copy of the list) is waited for. From inside a delivery on the same thread
    // the recursive delivery mutex lets it through; the change then applies from the next event.
    void RemoveHandler(Handler* h)
    {
        if (!h)
            return;
        {
            std::lock_guard<std::recursive_mutex> lock(listMutex_);
            auto it = std::find(handlers_.begin(), handlers_.end(), h);
            if (it == handlers_.end())
                return;
            handlers_.erase(it);
        }
        std::lock_guard<std::recursive_mutex> waitForDelivery(deliveryMutex_);
    }

private:
    mutable std::recursive_mutex listMutex_;     // guards handlers_
    mutable std::recursive_mutex deliveryMutex_; // held while an event is being delivered
    std::vector<Handler*> handlers_;
};

// The registration side of an EventPublisher. The publisher is a virtual base so that a
// forwarder (a list plus an implementation of Handler that relays to the list) shares it.
template <class Handler, class Policy = SyncExecutePolicy>
class EventHandlerList : public virtual EventPublisher<Handler> {
public:
    virtual void RegisterEventHandler(Handler* h) { this->AddHandler(h); }
    virtual void UnregisterEventHandler(Handler* h) { this->RemoveHandler(h); }

    template <class Method, class... Args>
    void PublishEvent(Method method, const Args&... args) const
    {
        Policy::Execute([&] { this->Publish(method, args...); });
    }
};

} // namespace Quelto::Lumindra::Core

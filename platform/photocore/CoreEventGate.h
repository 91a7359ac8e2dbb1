#pragma once

#include <atomic>

#include "photocore/CoreEventForwarder.h"
#include "photocore/DrawerEventForwarder.h"

namespace Quelto::Lumindra::PhotoCore {

// The two event outlets of one core (core events and drawer events) and the switch that closes
// both at shutdown, so that no event is raised once the core is being torn down.
// Thread-safe: handlers register from any thread; events are raised by the core's render thread.
class CoreEventGate {
public:
    CoreEventForwarder& GetCoreEvents() { return coreEvents_; }
    DrawerEventForwarder& GetDrawerEvents() { return drawerEvents_; }

    void Close() { closed_.store(true); }
    bool IsClosed() const { return closed_.load(); }
    // The flag itself, for work that polls it to stop early (a long decode).
    const std::atomic<bool>& GetClosedFlag() const { return closed_; }

    template <class Method, class Event>
    void PublishDrawer(Method method, const Event& event)
    {
        if (!closed_.load())
            drawerEvents_.PublishEvent(method, event);
    }
    template <class Method, class Event>
    void PublishCore(Method method, const Event& event)
    {
        if (!closed_.load())
            coreEvents_.PublishEvent(method, event);
    }

private:
    CoreEventForwarder coreEvents_;
    DrawerEventForwarder drawerEvents_;
    std::atomic<bool> closed_ {false};
};

} // namespace Quelto::Lumindra::PhotoCore

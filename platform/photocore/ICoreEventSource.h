#pragma once

#include "photocore/ICoreEventHandler.h"
#include "photocore/IDrawerEventHandler.h"

namespace Quelto::Lumindra::PhotoCore {

// Where a core's handlers register. Thread-safe.
class ICoreEventSource {
public:
    virtual ~ICoreEventSource() = default;
    virtual void RegisterCoreEventHandler(ICoreEventHandler* handler) = 0;
    virtual void UnregisterCoreEventHandler(ICoreEventHandler* handler) = 0;
    virtual void RegisterDrawerEventHandler(IDrawerEventHandler* handler) = 0;
    virtual void UnregisterDrawerEventHandler(IDrawerEventHandler* handler) = 0;
};

} // namespace Quelto::Lumindra::PhotoCore

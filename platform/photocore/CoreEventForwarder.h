#pragma once

#include "core/EventHandlerList.h"
#include "photocore/ICoreEventHandler.h"

namespace Quelto::Lumindra::PhotoCore {

// A handler that relays every core event, synchronously on the raising thread, to the handlers
// registered with it (in registration order, each once).
class CoreEventForwarder : public Core::EventHandlerList<ICoreEventHandler, Core::SyncExecutePolicy>,
                           public ICoreEventHandler {
public:
    void HandleThrow(const ThrowEvent& e) override { PublishEvent(&ICoreEventHandler::HandleThrow, e); }
    void HandleLoaded(const CoreEventLoaded& e) override { PublishEvent(&ICoreEventHandler::HandleLoaded, e); }
    void HandleStateChanged(const CoreEventStateChanged& e) override
    {
        PublishEvent(&ICoreEventHandler::HandleStateChanged, e);
    }
    void HandleJobDone(const CoreEventJobDone& e) override { PublishEvent(&ICoreEventHandler::HandleJobDone, e); }
};

} // namespace Quelto::Lumindra::PhotoCore

#pragma once

#include "core/EventHandlerList.h"
#include "photocore/IDrawerEventHandler.h"

namespace Quelto::Lumindra::PhotoCore {

// A handler that relays every drawer event, synchronously on the raising thread, to the
// handlers registered with it (in registration order, each once).
class DrawerEventForwarder : public Core::EventHandlerList<IDrawerEventHandler, Core::SyncExecutePolicy>,
                             public IDrawerEventHandler {
public:
    void HandleUndo(const DrawerEventUndo& e) override { PublishEvent(&IDrawerEventHandler::HandleUndo, e); }
    void HandleFrame(const DrawerEventFrame& e) override { PublishEvent(&IDrawerEventHandler::HandleFrame, e); }
    void HandleChangeToSave(const DrawerEventChangeToSave& e) override
    {
        PublishEvent(&IDrawerEventHandler::HandleChangeToSave, e);
    }
    void HandleFrameTemporary(const DrawerEventFrameTemporary& e) override
    {
        PublishEvent(&IDrawerEventHandler::HandleFrameTemporary, e);
    }
    void HandleForeground(const DrawerEventForeground& e) override
    {
        PublishEvent(&IDrawerEventHandler::HandleForeground, e);
    }
    void HandleToolIdChange(const DrawerEventToolIdChange& e) override
    {
        PublishEvent(&IDrawerEventHandler::HandleToolIdChange, e);
    }
    void HandleShapeItem(const DrawerEventShapeItem& e) override
    {
        PublishEvent(&IDrawerEventHandler::HandleShapeItem, e);
    }
};

} // namespace Quelto::Lumindra::PhotoCore

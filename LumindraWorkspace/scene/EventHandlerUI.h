#pragma once

#include <functional>

#include "LumindraWorkspace/WorkspaceExport.h"
#include "photocore/IDrawerEventHandler.h"
#include "util/FunctorExecutionForwarder.h"

namespace Quelto::Lumindra {

class DrawerEventHandlerUI;

// Re-issues the editing core's callbacks on the thread that made the object (the UI thread).
// The core calls the Handler operations on its own threads; each event is copied (a frame it
// carries is shared, not duplicated) and handed to the forwarder, which runs it later on the UI
// thread, in order. Only the drawer-handler instantiation exists (below).
template <class Handler>
class EventHandlerUI;

template <>
class LUMINDRA_WORKSPACE_EXPORT EventHandlerUI<PhotoCore::IDrawerEventHandler> : public PhotoCore::IDrawerEventHandler {
public:
    EventHandlerUI();
    ~EventHandlerUI() override;

    void HandleUndo(const DrawerEventUndo& event) override;
    void HandleFrame(const DrawerEventFrame& event) override;
    void HandleChangeToSave(const DrawerEventChangeToSave& event) override;
    void HandleFrameTemporary(const DrawerEventFrameTemporary& event) override;
    void HandleForeground(const DrawerEventForeground& event) override;
    void HandleToolIdChange(const DrawerEventToolIdChange& event) override;
    void HandleShapeItem(const DrawerEventShapeItem& event) override;

protected:
    // The UI-thread side that receives the copies; set by DrawerEventHandlerUI.
    virtual DrawerEventHandlerUI* GetUIHandler() = 0;

private:
    Util::FunctorExecutionForwarder forwarder_;
};

} // namespace Quelto::Lumindra

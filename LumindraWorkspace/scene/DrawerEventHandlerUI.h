#pragma once

#include "LumindraWorkspace/WorkspaceExport.h"
#include "LumindraWorkspace/scene/EventHandlerUI.h"

namespace Quelto::Lumindra {

// Base of UI objects that receive drawer events on the UI thread (the canvas, the view).
// Derived classes override the Handle...Internal operations they need; the others do nothing.
// The derived object registers with IWorkspaceController::RegisterDrawerEventHandler and must
// unregister before it dies; copies still queued then are dropped with the forwarder.
class LUMINDRA_WORKSPACE_EXPORT DrawerEventHandlerUI : public virtual EventHandlerUI<PhotoCore::IDrawerEventHandler> {
public:
    virtual void HandleUndoInternal(const PhotoCore::IDrawerEventHandler::DrawerEventUndo&) {}
    virtual void HandleFrameInternal(const PhotoCore::IDrawerEventHandler::DrawerEventFrame&) {}
    virtual void HandleChangeToSaveInternal(const PhotoCore::IDrawerEventHandler::DrawerEventChangeToSave&) {}
    virtual void HandleFrameTemporaryInternal(const PhotoCore::IDrawerEventHandler::DrawerEventFrameTemporary&) {}
    virtual void HandleForegroundInternal(const PhotoCore::IDrawerEventHandler::DrawerEventForeground&) {}
    virtual void HandleToolIdChangeInternal(const PhotoCore::IDrawerEventHandler::DrawerEventToolIdChange&) {}
    virtual void HandleShapeItemInternal(const PhotoCore::IDrawerEventHandler::DrawerEventShapeItem&) {}

protected:
    DrawerEventHandlerUI* GetUIHandler() override { return this; }
};

} // namespace Quelto::Lumindra

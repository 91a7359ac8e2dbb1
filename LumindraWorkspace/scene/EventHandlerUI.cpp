#include "LumindraWorkspace/scene/EventHandlerUI.h"

#include <functional>

#include "LumindraWorkspace/scene/DrawerEventHandlerUI.h"

namespace Quelto::Lumindra {

namespace {

// Copies the event (a frame it carries is shared) and queues the UI-side operation with it.
// The call goes through the virtual table, so the most derived override runs.
template <class Event>
void ForwardCopy(Util::FunctorExecutionForwarder& forwarder, DrawerEventHandlerUI* target,
                 void (DrawerEventHandlerUI::*operation)(const Event&), const Event& event)
{
    forwarder.Forward(std::bind(operation, target, Event(event)));
}

} // namespace

EventHandlerUI<PhotoCore::IDrawerEventHandler>::EventHandlerUI() = default;

EventHandlerUI<PhotoCore::IDrawerEventHandler>::~EventHandlerUI() = default;

void EventHandlerUI<PhotoCore::IDrawerEventHandler>::HandleUndo(const DrawerEventUndo& event)
{
    ForwardCopy(forwarder_, GetUIHandler(), &DrawerEventHandlerUI::HandleUndoInternal, event);
}

void EventHandlerUI<PhotoCore::IDrawerEventHandler>::HandleFrame(const DrawerEventFrame& event)
{
    ForwardCopy(forwarder_, GetUIHandler(), &DrawerEventHandlerUI::HandleFrameInternal, event);
}

void EventHandlerUI<PhotoCore::IDrawerEventHandler>::HandleChangeToSave(const DrawerEventChangeToSave& event)
{
    ForwardCopy(forwarder_, GetUIHandler(), &DrawerEventHandlerUI::HandleChangeToSaveInternal, event);
}

void EventHandlerUI<PhotoCore::IDrawerEventHandler>::HandleFrameTemporary(const DrawerEventFrameTemporary& event)
{
    ForwardCopy(forwarder_, GetUIHandler(), &DrawerEventHandlerUI::HandleFrameTemporaryInternal, event);
}

void EventHandlerUI<PhotoCore::IDrawerEventHandler>::HandleForeground(const DrawerEventForeground& event)
{
    ForwardCopy(forwarder_, GetUIHandler(), &DrawerEventHandlerUI::HandleForegroundInternal, event);
}

void EventHandlerUI<PhotoCore::IDrawerEventHandler>::HandleToolIdChange(const DrawerEventToolIdChange& event)
{
    ForwardCopy(forwarder_, GetUIHandler(), &DrawerEventHandlerUI::HandleToolIdChangeInternal, event);
}

void EventHandlerUI<PhotoCore::IDrawerEventHandler>::HandleShapeItem(const DrawerEventShapeItem& event)
{
    ForwardCopy(forwarder_, GetUIHandler(), &DrawerEventHandlerUI::HandleShapeItemInternal, event);
}

} // namespace Quelto::Lumindra

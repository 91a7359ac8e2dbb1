#include "sharedui/SpecialHotkeyHelper.h"

#include <exception>
#include <memory>

#include <QKeyEvent>

#include <glog/logging.h>

namespace Quelto::Lumindra {

namespace {
// Shared so that a handler that replaces itself keeps its own code alive until it returns.
std::shared_ptr<SpecialHotkeyHelper::Handler>& InstalledHandler()
{
    static std::shared_ptr<SpecialHotkeyHelper::Handler> handler;
    return handler;
}

// The enumeration travels through queued connections of the objects connector.
const int kHotkeyIdMetaType = qRegisterMetaType<SpecialHotkeyHelper::HotkeyID>("SpecialHotkeyHelper::HotkeyID");
} // namespace

void SpecialHotkeyHelper::SetHandler(Handler handler)
{
    InstalledHandler() = handler ? std::make_shared<Handler>(std::move(handler)) : nullptr;
}

bool SpecialHotkeyHelper::HasHandler()
{
    return InstalledHandler() != nullptr;
}

bool SpecialHotkeyHelper::HandlePressEvent(QKeyEvent* event)
{
    return Offer(event, true);
}

bool SpecialHotkeyHelper::HandleReleaseEvent(QKeyEvent* event)
{
    return Offer(event, false);
}

bool SpecialHotkeyHelper::Offer(QKeyEvent* event, bool press)
{
    (void)kHotkeyIdMetaType;
    const std::shared_ptr<Handler> handler = InstalledHandler();
    if (!event || !handler)
        return false;
    bool taken = false;
    try {
        taken = (*handler)(event, press);
    } catch (const std::exception& e) {
        // A failing hotkey must not take the key handling of the whole window down with it.
        LOG(WARNING) << "Hotkey handler failed: " << e.what();
        return false;
    }
    if (!taken)
        return false;
    event->accept();
    return true;
}

} // namespace Quelto::Lumindra

#pragma once

#include <functional>

#include <QMetaType>

class QKeyEvent;

namespace Quelto::Lumindra {

// The host's hook for keys that no widget of the workspace used: a view hands such key presses
// and releases here, and the handler the host installed decides whether they are one of its
// application-wide hotkeys. Without a handler nothing is taken. UI thread only (the handler is
// called on the thread that handles the key, and installing one is not synchronised).
class SpecialHotkeyHelper {
public:
    // Hotkeys that workspace components react to when the host reports them (for example
    // through the objects connector); values are stable, new ones are added at the end.
    enum HotkeyID : int {
        Unknown = 0,
        // Held: show the picture as it was before editing.
        ShowOriginal = 1,
        // Switch the before/after comparison on or off.
        ToggleCompare = 2,
    };

    // Takes the key event and whether it is a press (false: a release); returns true when it
    // took the key.
    using Handler = std::function<bool(QKeyEvent* event, bool press)>;

    // Installs the handler; an empty function removes it. Replaces the one installed before,
    // also from inside a running handler (the running call finishes with the old one).
    static void SetHandler(Handler handler);
    static bool HasHandler();

    // Offers the event to the handler. When it takes the key the event is accepted and true is
    // returned; otherwise the event is left as it was. A null event is never taken;
    // a handler that throws is logged and counts as not taking the key.
    static bool HandlePressEvent(QKeyEvent* event);
    static bool HandleReleaseEvent(QKeyEvent* event);

private:
    static bool Offer(QKeyEvent* event, bool press);
};

} // namespace Quelto::Lumindra

Q_DECLARE_METATYPE(Quelto::Lumindra::SpecialHotkeyHelper::HotkeyID)

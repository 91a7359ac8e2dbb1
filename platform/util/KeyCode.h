#pragma once

class QKeyEvent;

namespace Quelto::Lumindra::Util {

// The key of a key event for shortcuts that must not depend on the keyboard layout's shifted
// symbols: the bracket keys are recognised from the platform's native virtual key (X11 keysym,
// Windows virtual-key code, macOS key code), so that "[" and "]" work whatever modifier state Qt
// folded into the Qt key. Every other key is the event's Qt key. Any thread.
int GetKeyCode(int qtKey, unsigned nativeVirtualKey);
int GetKeyCode(const QKeyEvent& event);

} // namespace Quelto::Lumindra::Util

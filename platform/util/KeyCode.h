#pragma once

class QKeyEvent;

namespace Quelto::Lumindra::Util {

// The layout-independent key of a key event: the Qt key that the physical key carries on a US
// layout when the native virtual key is known (so "[" works on every keyboard), else the event's key.
int GetKeyCode(int qtKey, unsigned nativeVirtualKey);

} // namespace Quelto::Lumindra::Util

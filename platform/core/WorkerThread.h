#pragma once

namespace Quelto::Lumindra::Core {

// What every long-lived worker thread of the editor calls first. On a machine with few cores
// the decoders and renderers would otherwise take turns with the UI thread, and each turn is
// a moment the window cannot react; a lower priority lets the UI thread run the moment it
// wakes, while the workers still get every cycle it leaves.
//
// Names the calling thread (shown by debuggers and /proc; at most 15 characters are kept) and
// lowers its priority below the UI thread's (never raises it). The lowering is for the thread's whole life: an
// unprivileged process cannot raise it again. Failures are logged and otherwise ignored.
void BecomeWorkerThread(const char* name);

// The niceness BecomeWorkerThread gives (Linux; elsewhere only the name is set).
inline constexpr int kWorkerThreadNice = 10;

} // namespace Quelto::Lumindra::Core

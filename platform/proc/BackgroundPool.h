#pragma once

#include <functional>

namespace Quelto::Lumindra::Proc {

// The process-wide pool for work the window does not wait on: helper bands of frame work and
// the canvas's on-screen copies. Its threads run below the UI thread's priority (see
// Core::BecomeWorkerThread), so that on a machine with few cores a burst of background work
// does not take turns with the UI thread; Qt's global pool would run it at the UI thread's own
// priority. Threads live on between tasks. Thread-safe.
void StartInBackground(std::function<void()> task);

// True on a thread of that pool.
bool IsBackgroundThread();

} // namespace Quelto::Lumindra::Proc

#pragma once

// Tells ThreadSanitizer of an ordering between two threads that a library built without it
// provides: Qt's thread pool, for one, hands a task over under its own futex-based lock, which
// the sanitizer cannot see, so everything the task reads would look raced. HandOver(token) on the
// giving thread before the hand-over, TakeOver(token) on the taking thread before the first use:
// what the giver did before is then ordered before what the taker does after. Only the sanitizer
// build does anything.

#if defined(__SANITIZE_THREAD__)
#define LUMINDRA_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define LUMINDRA_THREAD_SANITIZER 1
#endif
#endif

#ifdef LUMINDRA_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

namespace Quelto::Lumindra::Core {

inline void HandOver([[maybe_unused]] const void* token)
{
#ifdef LUMINDRA_THREAD_SANITIZER
    __tsan_release(const_cast<void*>(token));
#endif
}

inline void TakeOver([[maybe_unused]] const void* token)
{
#ifdef LUMINDRA_THREAD_SANITIZER
    __tsan_acquire(const_cast<void*>(token));
#endif
}

} // namespace Quelto::Lumindra::Core

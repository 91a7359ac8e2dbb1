#pragma once

#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <string>

#include "photocore/IPhotoCore.h"

namespace Quelto::Lumindra {

// One build at a time per platform file name, shared by whoever asks meanwhile: a foreground
// open and a preload of the same file never build it twice, and neither holds a mutex while
// the core is made. The build ends when its core exists (header and preview read); the core
// decodes its full frame afterwards on its own thread.
//
// Thread-safe: the UI thread and the preload worker call Run concurrently.
class CoreBuildTable {
public:
    using Work = std::function<PhotoCore::PhotoCorePtr()>;

    // Runs `work` for `name` and returns its core. If another thread runs work for `name`
    // already, waits for it to end first (with no mutex held), then runs `work`, which finds
    // the other one's core in the cache; if the other work failed, a copy of its exception is
    // thrown to this caller too, and `work` does not run.
    PhotoCore::PhotoCorePtr Run(const std::string& name, const Work& work);

private:
    // Throws a failed build's exception anew for each waiter; empty when the build succeeded.
    // Waiters get copies rather than one shared exception object, whose reference count lives
    // in the C++ runtime, out of the thread sanitizer's sight.
    using Failure = std::function<void()>;
    static Failure CopyOfCurrentException();

    std::map<std::string, std::shared_future<Failure>> running_;
    std::mutex mutex_; // guards running_; held only to look up, add or remove a build
};

} // namespace Quelto::Lumindra

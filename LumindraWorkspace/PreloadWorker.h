#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "photocore/ICoreEventHandler.h"
#include "photocore/IPhotoCore.h"

namespace Quelto::Lumindra {

class CoreCache;

// A thread that builds the cores of the files the host expects the user to open next, so that
// stepping to them is immediate. Each round serves the newest request: it cleans the cache down
// to the request, then builds its files from the third name on (the host opens the first two
// itself), one at a time, each to its full-resolution frame, until the cache bound would be
// passed or a newer request arrives (checked between files, never inside one).
//
// Threads: construction, Request and destruction on the UI thread; the rounds on the worker.
// The worker waits for a core's full frame with no lock held: a foreground open of the file
// takes the core as soon as it exists, while it is still decoding.
class PreloadWorker {
public:
    // Builds the core of `file` as a foreground open would (cache lookup or creation), with
    // `loadWatcher` registered with a core it creates before the core's first event; sets
    // `*built` when it created one. Throws when the file cannot be opened.
    using Build = std::function<PhotoCore::PhotoCorePtr(const std::string& file,
                                                        PhotoCore::ICoreEventHandler* loadWatcher, bool* built)>;

    // Starts the thread and returns once it runs. With `enabled` false it ends at once and
    // nothing is ever preloaded. `cache` and `build` must outlive the worker.
    PreloadWorker(CoreCache& cache, Build build, bool enabled);
    // Stops the worker (a full frame it waits for is no longer waited for) and joins it.
    ~PreloadWorker();
    PreloadWorker(const PreloadWorker&) = delete;
    PreloadWorker& operator=(const PreloadWorker&) = delete;

    // Replaces any request the worker has not taken yet: only the newest counts. An empty
    // request is ignored.
    void Request(std::vector<std::string> files);
    // Whether the worker preloads (enabled and not stopping).
    bool IsRunning() const { return running_.load(); }

private:
    class LoadWatcher;

    void Run();
    void Preload(const std::vector<std::string>& files);
    bool HasRequest() const;
    // Wakes the worker's wait for a request or for a full frame.
    void Wake();

    CoreCache& cache_;
    const Build build_;
    std::atomic<bool> running_; // the run flag, cleared once to stop
    std::vector<std::string> request_;
    mutable std::mutex requestMutex_; // guards request_; never held together with a cache mutex
    std::condition_variable wakeUp_;  // a request, a loaded frame or the stop
    std::mutex wakeUpMutex_;          // the worker waits on wakeUp_ with it
    std::thread thread_;
};

} // namespace Quelto::Lumindra

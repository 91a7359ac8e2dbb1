#include "LumindraWorkspace/PreloadWorker.h"

#include <exception>
#include <future>
#include <utility>

#include <glog/logging.h>

#include "LumindraWorkspace/CoreCache.h"
#include "core/IoPath.h"
#include "core/WorkerThread.h"

namespace Quelto::Lumindra {

using PhotoCore::PhotoCorePtr;

// Hears when a core the worker built has its full frame (or failed to decode it). Registered
// by the factory before the core's first event, so that no outcome is missed; called on the
// core's thread, it only records the outcome and wakes the worker.
class PreloadWorker::LoadWatcher : public PhotoCore::ICoreEventHandler {
public:
    explicit LoadWatcher(PreloadWorker& worker) : worker_(worker) {}
    ~LoadWatcher() override
    {
        if (core_)
            core_->GetEventSource().UnregisterCoreEventHandler(this);
    }
    LoadWatcher(const LoadWatcher&) = delete;
    LoadWatcher& operator=(const LoadWatcher&) = delete;

    // The core this watcher was registered with; it is unregistered when the watcher dies.
    void Watch(PhotoCorePtr core) { core_ = std::move(core); }

    // Waits, with no lock of the cache held, until the full frame is there (true), its decode
    // failed or the worker stops (false; `error` says why when it failed).
    bool Wait(std::string* error)
    {
        std::unique_lock<std::mutex> lock(worker_.wakeUpMutex_);
        worker_.wakeUp_.wait(lock, [&] { return stage_ >= 0 || !worker_.running_.load(); });
        *error = error_;
        return stage_ == CoreEventLoaded::LOAD_FULL;
    }

    void HandleLoaded(const CoreEventLoaded& event) override
    {
        if (event.stage == CoreEventLoaded::LOAD_PREVIEW)
            return;
        {
            std::lock_guard<std::mutex> lock(worker_.wakeUpMutex_);
            stage_ = event.stage;
            error_ = event.text;
        }
        worker_.wakeUp_.notify_one();
    }

private:
    PreloadWorker& worker_;
    PhotoCorePtr core_;
    int stage_ = -1; // guarded by the worker's wake-up mutex, like error_
    std::string error_;
};

PreloadWorker::PreloadWorker(CoreCache& cache, Build build, bool enabled)
    : cache_(cache), build_(std::move(build)), running_(enabled)
{
    std::promise<void> started;
    std::future<void> isStarted = started.get_future();
    // The promise moves to the thread, so that it outlives its own set_value.
    thread_ = std::thread([this, started = std::move(started)]() mutable {
        Core::BecomeWorkerThread("lumindra-preload");
        started.set_value();
        Run();
    });
    isStarted.wait();
}

PreloadWorker::~PreloadWorker()
{
    running_.store(false);
    Wake();
    if (thread_.joinable())
        thread_.join();
}

void PreloadWorker::Request(std::vector<std::string> files)
{
    if (files.empty())
        return;
    {
        std::lock_guard<std::mutex> lock(requestMutex_);
        request_.swap(files);
    }
    Wake();
}

bool PreloadWorker::HasRequest() const
{
    std::lock_guard<std::mutex> lock(requestMutex_);
    return !request_.empty();
}

void PreloadWorker::Wake()
{
    {
        // Taking the worker's mutex orders the change before its next check: no lost wake-up.
        std::lock_guard<std::mutex> lock(wakeUpMutex_);
    }
    wakeUp_.notify_one(); // the worker is the only waiter
}

void PreloadWorker::Run()
{
    while (running_.load()) {
        {
            std::unique_lock<std::mutex> lock(wakeUpMutex_);
            wakeUp_.wait(lock, [this] { return !running_.load() || HasRequest(); });
        }
        if (!running_.load())
            break;
        std::vector<std::string> files;
        {
            std::lock_guard<std::mutex> lock(requestMutex_);
            files.swap(request_);
        }
        Preload(files);
    }
}

void PreloadWorker::Preload(const std::vector<std::string>& files)
{
    std::vector<std::string> wanted;
    wanted.reserve(files.size());
    for (const std::string& file : files)
        wanted.push_back(CoreCache::NameOf(ioPath(file)));

    // No extra size is reserved beyond the cores themselves.
    std::uint64_t total = cache_.CleanupCache(0, wanted);
    // The host opens the first two files itself; they are never preloaded.
    const std::size_t kSkipped = 2;
    for (std::size_t i = kSkipped; i < files.size() && running_.load(); ++i) {
        std::uint64_t size = 0;
        if (!cache_.GetPreloadSize(wanted[i], &size))
            continue;
        if (total + size > CoreCache::kBoundBytes) {
            VLOG(30) << "Preloading stops at the cache bound before " << files[i];
            break;
        }
        if (HasRequest())
            break;
        try {
            LoadWatcher watcher(*this);
            bool built = false;
            PhotoCorePtr core = build_(files[i], &watcher, &built);
            if (built) {
                watcher.Watch(core);
                std::string error;
                if (!watcher.Wait(&error)) {
                    if (!running_.load())
                        break;
                    // "Backgrownd" is deliberate: log watchers search for this exact text.
                    LOG(WARNING) << "Backgrownd code loading failed: " << files[i] << ": " << error;
                    // Its preview alone would show for good, without the error, on a later open.
                    cache_.EraseIfHolds(wanted[i], core.get());
                    continue;
                }
            }
            total += core->GetMemorySize();
        } catch (const std::exception& e) {
            LOG(WARNING) << "Backgrownd code loading failed: " << files[i] << ": " << e.what();
        } catch (...) {
            LOG(WARNING) << "Backgrownd code loading failed: " << files[i];
        }
    }
}

} // namespace Quelto::Lumindra

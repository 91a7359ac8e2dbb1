// Group "provider": what the core cache and the preload worker buy when stepping through a folder.
//
// switch_preloaded_vs_cold: time from WorkspaceController::Create to the full-resolution frame
//   being available to the canvas (the core reports its full frame ready), for a neighbour the
//   worker has preloaded, divided by the same for a cold open of a file of the same kind (a
//   provider without preloading). Median of several files each.
// cache_peak_vs_bound: stepping through a folder of 30 photographs of ~24 MP with preloading, the
//   largest sum of the cached cores' memory sizes (the current core excluded), sampled every
//   millisecond by a watcher thread and after every step, divided by the cache bound.
//
// Every open writes two settings; the settings store puts them on disk from its own thread, so
// the figure includes what an open really costs the UI thread.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "Bench.h"
#include "LumindraWorkspace/WorkspaceController.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "util/Settings.h"

namespace Quelto::Lumindra::Bench {
namespace {

// Neighbours after the current file that a host asks to keep ready.
constexpr int kAhead = 8;
// How long a step waits at most for the worker to have the next file ready.
constexpr int kStepTimeoutMs = 60000;

std::vector<std::string> FolderFiles(int count)
{
    const QDir folder(PhotoFolder24MP(count));
    std::vector<std::string> files;
    for (const QString& name : folder.entryList({QStringLiteral("*.jpg")}, QDir::Files, QDir::Name))
        files.push_back(folder.filePath(name).toStdString());
    return files;
}

// The host's request while file `i` is open: the file itself, the one before it (both opened by
// the host itself, never preloaded), then the next ones.
std::vector<std::string> PreloadRequest(const std::vector<std::string>& files, int i)
{
    std::vector<std::string> request {files[i], files[std::max(i - 1, 0)]};
    for (int k = i + 1; k < static_cast<int>(files.size()) && k <= i + kAhead; ++k)
        request.push_back(files[k]);
    return request;
}

bool WaitFor(const std::function<bool()>& done, int timeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Milliseconds from the open request to the full frame of the controller's core.
double OpenMs(WorkspaceControllerProvider& provider, const std::string& file,
              std::shared_ptr<IWorkspaceController>& controller)
{
    controller.reset();
    const auto start = std::chrono::steady_clock::now();
    controller = WorkspaceController::Create(provider, ioPath(file), std::string());
    auto core = provider.GetCache().Find(WorkspaceControllerProvider::CacheName(ioPath(file)));
    while (core && !core->GetProcessing().IsFullFrameReady())
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    return ElapsedMs(start);
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

std::uint64_t CachedSize(const WorkspaceControllerProvider& provider)
{
    const auto& cache = provider.GetCache();
    const std::string current = cache.GetCurrentName();
    std::uint64_t total = 0;
    for (const std::string& name : cache.GetNames())
        if (name != current)
            if (auto core = cache.Find(name))
                total += core->GetMemorySize();
    return total;
}

} // namespace

LUMINDRA_BENCH_GROUP(provider)
{
    // The controller records the open file and session in the settings store.
    const IsolatedSettings isolated(QStringLiteral("provider"));
    const std::vector<std::string> files = FolderFiles(30);
    constexpr int kRuns = 5;

    // Cold opens: no worker, every file opened for the first time.
    std::vector<double> cold;
    {
        WorkspaceControllerProvider provider(false, nullptr, false);
        std::shared_ptr<IWorkspaceController> controller;
        for (int i = 0; i < kRuns; ++i)
            cold.push_back(OpenMs(provider, files[i], controller));
    }

    // Preloaded opens: the worker has built the neighbour before the step.
    std::vector<double> preloaded;
    {
        WorkspaceControllerProvider provider(false, nullptr, true);
        std::shared_ptr<IWorkspaceController> controller;
        int current = kRuns;
        OpenMs(provider, files[current], controller);
        for (int run = 0; run < kRuns; ++run, ++current) {
            provider.OnFilePreloadRequest(PreloadRequest(files, current));
            const std::string next = WorkspaceControllerProvider::CacheName(ioPath(files[current + 1]));
            WaitFor([&] { return provider.GetCache().Find(next) != nullptr; }, kStepTimeoutMs);
            preloaded.push_back(OpenMs(provider, files[current + 1], controller));
        }
    }
    Report("switch_preloaded_vs_cold", Median(preloaded) / Median(cold), "ratio");

    // Peak of the cache while stepping through the whole folder.
    std::atomic<std::uint64_t> peak {0};
    {
        WorkspaceControllerProvider provider(false, nullptr, true);
        std::atomic<bool> watching {true};
        std::thread watcher([&] {
            while (watching.load()) {
                peak.store(std::max(peak.load(), CachedSize(provider)));
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
        std::shared_ptr<IWorkspaceController> controller;
        for (int i = 0; i < static_cast<int>(files.size()); ++i) {
            OpenMs(provider, files[i], controller);
            provider.OnFilePreloadRequest(PreloadRequest(files, i));
            if (i + 1 < static_cast<int>(files.size())) {
                const std::string next = WorkspaceControllerProvider::CacheName(ioPath(files[i + 1]));
                WaitFor([&] { return provider.GetCache().Find(next) != nullptr; }, kStepTimeoutMs);
            }
            peak.store(std::max(peak.load(), CachedSize(provider)));
        }
        watching.store(false);
        watcher.join();
        controller.reset();
    }
    Report("cache_peak_vs_bound",
           static_cast<double>(peak.load()) / static_cast<double>(WorkspaceControllerProvider::kCacheBoundBytes),
           "ratio");
}

} // namespace Quelto::Lumindra::Bench

// Group "browse": stepping through a folder in the real editor window, as a person does.
//
// browse_step_preloaded_vs_cold: time from the step request (the window's next-picture slot) to
//   the window reporting the full-resolution frame on its canvas, for a neighbour the provider's
//   worker had already built, divided by the same for a jump onto a file the cache did not hold.
//   Median of several steps each; both medians are printed too.
//   A cold open competes with the worker starting on the new picture's neighbours, as it does
//   for a person.
// browse_ui_stall_vs_djpeg: the longest time the window could not react (a 1 ms heartbeat timer
//   on the UI thread) while stepping through 30 photographs forward and back, divided by
//   libjpeg-turbo's full decode of one of them.
// browse_peak_rss_vs_bound: peak resident memory (VmHWM) while stepping forward through the
//   whole folder and back, divided by the cache bound plus two full-resolution frames, which the
//   cache does not count: the open picture's own and the canvas's copy of it. The process's own
//   baseline (libraries, Qt, heap kept from earlier work) is part of the peak.
//
// Before every measured step the worker is left to finish the preload request of the picture
// shown, as while a person looks at it: no step competes with a preload left over from the step
// before, and the memory run reaches the fullest cache the bound allows. GLOG_v=30 logs every
// step with whether it was cached.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimer>

#include <glog/logging.h>

#include "Bench.h"
#include "Heartbeat.h"
#include "FolderNavigator.h"
#include "LumindraWorkspace/WorkspaceControllerHelper.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "MainWindow.h"
#include "util/AlertBox.h"
#include "util/Settings.h"

namespace Quelto::Lumindra::Bench {
namespace {

using App::FolderNavigator;
using App::MainWindow;
using Provider = WorkspaceControllerProvider;

// Few files: each takes seconds to make, and ten already outreach the preload window on both sides.
constexpr int kFiles = 10;
constexpr int kStallFiles = 30;
constexpr int kSteps = 7;
// A full-resolution 24 MP frame as the canvas holds it (BGRA).
constexpr std::uint64_t kFrameBytes = 6000ull * 4000ull * 4ull;

// A "Vm...:  <n> kB" line of /proc/self/status, in bytes; 0 when absent.
std::uint64_t StatusBytes(const std::string& key)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind(key + ":", 0) == 0)
            return std::strtoull(line.c_str() + key.size() + 1, nullptr, 10) * 1024;
    return 0;
}

QString Canonical(const QString& path)
{
    return QFileInfo(path).canonicalFilePath();
}

class Browser {
public:
    explicit Browser(const QStringList& files) : files_(files)
    {
        window_.SetUnattended(true);
        window_.resize(1600, 1000);
        window_.show();
    }

    Provider& GetProvider() { return window_.GetHelper()->GetProvider(); }

    bool IsCached(int index)
    {
        return GetProvider().GetCache().Find(Provider::CacheName(ioPath(files_[index].toStdString()))) != nullptr;
    }

    // Opens file `index` as a fresh open (no direction) and returns the milliseconds to its full frame.
    double Open(int index)
    {
        return Measure(index, 0, [&] { window_.OpenFile(files_[index]); });
    }

    // Steps once in `direction` and returns the milliseconds to the new file's full frame.
    double Step(int direction)
    {
        return Measure(current_ + direction, direction, [&] {
            if (direction > 0)
                window_.OnNextFile();
            else
                window_.OnPreviousFile();
        });
    }

    // Waits until the worker has done what the preload request of the shown file asks: every
    // requested neighbour cached, or the next one would pass the bound.
    void WaitForPreloads()
    {
        WaitUntil([this] { return PreloadsDone(); }, "the preloads of the shown picture");
    }

    int GetCurrent() const { return current_; }

private:
    double Measure(int index, int direction, const std::function<void()>& request)
    {
        const QString target = Canonical(files_[index]);
        std::chrono::steady_clock::time_point shownAt;
        bool shown = false;
        // The signal gives the moment; polling covers a frame that reached the canvas without it.
        auto check = [&] {
            if (shown)
                return true;
            const auto controller = window_.GetController();
            if (!controller || Canonical(controller->GetOriginalFileName()) != target || !window_.IsFullFrameShown())
                return false;
            shownAt = std::chrono::steady_clock::now();
            shown = true;
            return true;
        };
        const bool wasCached = IsCached(index);
        const auto start = std::chrono::steady_clock::now();
        request();
        WaitUntil(check, "the full-resolution frame", &window_, SIGNAL(fullFrameShown()));
        current_ = index;
        direction_ = direction;
        const double ms = std::chrono::duration<double, std::milli>(shownAt - start).count();
        VLOG(30) << QFileInfo(target).fileName().toStdString() << (wasCached ? " (cached)" : " (not cached)")
                 << " shown after " << ms << " ms; " << DescribeCache() << ", resident "
                 << StatusBytes("VmRSS") / 1000000 << " MB";
        return ms;
    }

    // "cached N MB in K cores besides the current one (M MB)", for the progress log.
    std::string DescribeCache()
    {
        const auto& cache = GetProvider().GetCache();
        const std::string current = cache.GetCurrentName();
        std::uint64_t others = 0, own = 0;
        std::size_t count = 0;
        for (const std::string& name : cache.GetNames())
            if (auto core = cache.Find(name)) {
                if (name == current) {
                    own = core->GetMemorySize();
                } else {
                    others += core->GetMemorySize();
                    ++count;
                }
            }
        return "cached " + std::to_string(others / 1000000) + " MB in " + std::to_string(count)
            + " cores besides the current one (" + std::to_string(own / 1000000) + " MB)";
    }

    // Mirrors the worker: after the first two names, it skips cached names and stops at the
    // first one that would pass the bound, counting the wanted cached cores but the current one.
    bool PreloadsDone()
    {
        // Asked every millisecond on the UI thread, whose gaps the stall figure measures: the
        // folder is listed once per step, not at every poll.
        if (requestFor_ != std::make_pair(current_, direction_)) {
            FolderNavigator navigator;
            navigator.SetCurrentFile(files_[current_]);
            request_ = navigator.GetPreloadRequest(direction_);
            requestFor_ = {current_, direction_};
        }
        const std::vector<std::string>& request = request_;
        const auto& cache = GetProvider().GetCache();
        const std::string current = cache.GetCurrentName();
        std::vector<std::string> wanted;
        std::uint64_t total = 0;
        for (const std::string& file : request) {
            const std::string name = Provider::CacheName(ioPath(file));
            if (name == current || std::find(wanted.begin(), wanted.end(), name) != wanted.end())
                continue;
            wanted.push_back(name);
            if (auto core = cache.Find(name))
                total += core->GetMemorySize();
        }
        for (std::size_t i = 2; i < request.size(); ++i) {
            const std::string name = Provider::CacheName(ioPath(request[i]));
            std::uint64_t size = 0;
            if (name == current || !cache.GetPreloadSize(name, &size))
                continue;
            return total + size > Provider::kCacheBoundBytes;
        }
        return true;
    }

    QStringList files_;
    std::pair<int, int> requestFor_ {-1, 0}; // the step (file, direction) request_ was made for
    std::vector<std::string> request_;
    MainWindow window_;
    int current_ = 0;
    int direction_ = 0;
};

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Starts a new peak at the present resident size. False when the kernel refused.
bool ResetPeakRss()
{
    {
        std::ofstream clear("/proc/self/clear_refs");
        clear << "5";
        if (!clear.flush())
            return false;
    }
    // The peak may have grown a little between the two reads, never by a whole former peak.
    return StatusBytes("VmHWM") <= StatusBytes("VmRSS") + 64ull * 1024 * 1024;
}

// The first kFiles photographs, copied into a folder of their own: the window steps through
// whatever its folder holds, and other groups make more files in the shared one.
QStringList Files(int count)
{
    const QDir shared(PhotoFolder24MP(count));
    const QDir folder(TempDir() + QStringLiteral("/browse"));
    QDir().mkpath(folder.path());
    QStringList files;
    const QStringList names = shared.entryList({QStringLiteral("photo-*.jpg")}, QDir::Files, QDir::Name);
    for (const QString& name : names.mid(0, count)) {
        const QString copy = folder.filePath(name);
        if (!QFileInfo::exists(copy) && !QFile::copy(shared.filePath(name), copy)) {
            std::fprintf(stderr, "browse: cannot copy %s\n", name.toLocal8Bit().constData());
            std::exit(1);
        }
        files << copy;
    }
    if (files.size() != count) {
        std::fprintf(stderr, "browse: %d photographs made, expected %d\n", static_cast<int>(files.size()), count);
        std::exit(1);
    }
    return files;
}

void MeasureSteps(const QStringList& files)
{
    Browser browser(files);
    browser.Open(0); // the first open of the run also pays for one-time set-up
    browser.WaitForPreloads();

    std::vector<double> preloaded;
    for (int i = 0; i < kSteps; ++i) {
        const int next = browser.GetCurrent() + 1;
        WaitUntil([&] { return browser.IsCached(next); }, "the next picture to be preloaded");
        preloaded.push_back(browser.Step(+1));
        browser.WaitForPreloads();
    }

    // Cold: the farthest file outside the preload reach that the cache does not hold.
    std::vector<double> cold;
    for (int i = 0; i < kSteps; ++i) {
        int target = -1;
        for (int k = 0; k < kFiles; ++k) {
            const int distance = std::abs(k - browser.GetCurrent());
            if (distance > FolderNavigator::kPreloadReach && !browser.IsCached(k)
                && (target < 0 || distance > std::abs(target - browser.GetCurrent())))
                target = k;
        }
        if (target < 0) {
            std::fprintf(stderr, "browse: every file is cached; no cold open possible\n");
            std::exit(1);
        }
        cold.push_back(browser.Open(target));
        browser.WaitForPreloads();
    }

    const double preloadedMs = Median(preloaded);
    const double coldMs = Median(cold);
    Report("browse_step_preloaded_vs_cold", preloadedMs / coldMs, "ratio");
    Report("browse_step_preloaded_ms", preloadedMs, "ms");
    Report("browse_step_cold_ms", coldMs, "ms");
}

void MeasurePeakMemory(const QStringList& files)
{
    Browser browser(files);
    VLOG(30) << "Resident before any picture: " << StatusBytes("VmRSS") / 1000000 << " MB";
    browser.Open(0);
    browser.WaitForPreloads();

    // Where the kernel keeps the peak from the process start, a watcher samples the resident size
    // instead; it may miss a peak shorter than its period.
    std::atomic<bool> sampling {!ResetPeakRss()};
    std::atomic<std::uint64_t> sampledPeak {StatusBytes("VmRSS")};
    std::thread sampler;
    if (sampling.load()) {
        LOG(WARNING) << "The peak resident size cannot be reset; sampling it every millisecond";
        sampler = std::thread([&] {
            while (sampling.load()) {
                sampledPeak.store(std::max(sampledPeak.load(), StatusBytes("VmRSS")));
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    }
    for (int i = 1; i < kFiles; ++i) {
        browser.Step(+1);
        browser.WaitForPreloads();
    }
    for (int i = kFiles - 2; i >= 0; --i) {
        browser.Step(-1);
        browser.WaitForPreloads();
    }
    std::uint64_t peak = StatusBytes("VmHWM");
    if (sampler.joinable()) {
        sampling.store(false);
        sampler.join();
        peak = sampledPeak.load();
    }
    const std::uint64_t bound = Provider::kCacheBoundBytes + 2 * kFrameBytes;
    Report("browse_peak_rss_vs_bound", static_cast<double>(peak) / static_cast<double>(bound), "ratio");
    Report("browse_peak_rss_mb", static_cast<double>(peak) / 1e6, "MB");
}

void MeasureStall(const QStringList& files)
{
    const double djpegMs = DjpegMs(files.front());
    Browser browser(files);
    browser.Open(0);
    browser.WaitForPreloads();
    Heartbeat heartbeat;
    heartbeat.Start();
    for (int i = 1; i < files.size(); ++i) {
        browser.Step(+1);
        browser.WaitForPreloads(); // the person looks at the picture while the worker preloads
    }
    for (int i = files.size() - 2; i >= 0; --i) {
        browser.Step(-1);
        browser.WaitForPreloads();
    }
    heartbeat.Stop();
    Report("browse_ui_stall_vs_djpeg", heartbeat.LongestGapMs() / djpegMs, "ratio");
    Report("browse_ui_stall_ms", heartbeat.LongestGapMs(), "ms");
}

} // namespace

LUMINDRA_BENCH_GROUP(browse)
{
    // The window records the open file and session in the settings store.
    const IsolatedSettings isolated(QStringLiteral("browse"));
    // An alert (a picture reduced for memory) would wait for a person.
    const auto savedHook = LumindraAlertBox::GetTestHook();
    LumindraAlertBox::SetTestHook([](LumindraAlertBox&) { return QDialogButtonBox::Ok; });

    const QStringList files = Files(kFiles);
    MeasureSteps(files);
    MeasurePeakMemory(files);
    MeasureStall(Files(kStallFiles));

    LumindraAlertBox::SetTestHook(savedHook);
}

} // namespace Quelto::Lumindra::Bench

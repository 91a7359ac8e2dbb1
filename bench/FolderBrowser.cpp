#include "FolderBrowser.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>

#include <QFileInfo>

#include <glog/logging.h>

#include "Bench.h"
#include "FolderNavigator.h"
#include "LumindraWorkspace/WorkspaceControllerHelper.h"

namespace Quelto::Lumindra::Bench {

using Provider = WorkspaceControllerProvider;

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

namespace {

QString Canonical(const QString& path)
{
    return QFileInfo(path).canonicalFilePath();
}

} // namespace

FolderBrowser::FolderBrowser(const QStringList& files) : files_(files)
{
    window_.SetUnattended(true);
    window_.resize(1600, 1000);
    window_.show();
}

double FolderBrowser::Open(int index)
{
    return Measure(index, 0, [&] { window_.OpenFile(files_[index]); });
}

double FolderBrowser::Step(int direction)
{
    return Measure(current_ + direction, direction, [&] {
        if (direction > 0)
            window_.OnNextFile();
        else
            window_.OnPreviousFile();
    });
}

void FolderBrowser::WaitForPreloads()
{
    WaitUntil([this] { return PreloadsDone(); }, "the preloads of the shown picture");
}

double FolderBrowser::Measure(int index, int direction, const std::function<void()>& request)
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

std::string FolderBrowser::DescribeCache()
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

bool FolderBrowser::PreloadsDone()
{
    // Asked every millisecond on the UI thread, whose gaps the stall figure measures: the
    // folder is listed once per step, not at every poll.
    if (requestFor_ != std::make_pair(current_, direction_)) {
        App::FolderNavigator navigator;
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

bool FolderBrowser::IsCached(int index)
{
    return GetProvider().GetCache().Find(Provider::CacheName(ioPath(files_[index].toStdString()))) != nullptr;
}

} // namespace Quelto::Lumindra::Bench

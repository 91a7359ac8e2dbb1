#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <QString>
#include <QStringList>

#include "LumindraWorkspace/WorkspaceControllerHelper.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "MainWindow.h"

namespace Quelto::Lumindra::Bench {

// "VmRSS", "VmHWM", ...: a "Vm...:  <n> kB" line of /proc/self/status, in bytes; 0 when absent.
std::uint64_t StatusBytes(const std::string& key);

// The real editor window stepping through a list of files as a person does, and waiting as a
// person looks at a picture: until the preload worker has done what the shown file asks. Each
// step returns the milliseconds from the request to the full-resolution frame on the canvas.
// UI thread.
class FolderBrowser {
public:
    explicit FolderBrowser(const QStringList& files);

    WorkspaceControllerProvider& GetProvider() { return window_.GetHelper()->GetProvider(); }

    bool IsCached(int index);

    // Opens file `index` as a fresh open (no direction) and returns the milliseconds to its full frame.
    double Open(int index);

    // Steps once in `direction` and returns the milliseconds to the new file's full frame.
    double Step(int direction);

    // Waits until the worker has done what the preload request of the shown file asks: every
    // requested neighbour cached, or the next one would pass the bound.
    void WaitForPreloads();

    int GetCurrent() const { return current_; }
    App::MainWindow& GetWindow() { return window_; }

private:
    double Measure(int index, int direction, const std::function<void()>& request);

    // "cached N MB in K cores besides the current one (M MB)", for the progress log.
    std::string DescribeCache();

    // Mirrors the worker: after the first two names, it skips cached names and stops at the
    // first one that would pass the bound, counting the wanted cached cores but the current one.
    bool PreloadsDone();

    QStringList files_;
    std::pair<int, int> requestFor_ {-1, 0}; // the step (file, direction) request_ was made for
    std::vector<std::string> request_;
    App::MainWindow window_;
    int current_ = 0;
    int direction_ = 0;
};


} // namespace Quelto::Lumindra::Bench

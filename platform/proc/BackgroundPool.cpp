#include "proc/BackgroundPool.h"

#include <QThreadPool>

#include "core/WorkerThread.h"

namespace Quelto::Lumindra::Proc {

namespace {
thread_local bool backgroundThread = false;
} // namespace

bool IsBackgroundThread()
{
    return backgroundThread;
}

void StartInBackground(std::function<void()> task)
{
    static QThreadPool pool;
    pool.start([task = std::move(task)] {
        // A pool thread is lowered once, by its first task; the lowering cannot be undone.
        if (!backgroundThread) {
            Core::BecomeWorkerThread("lumindra-pool");
            backgroundThread = true;
        }
        task();
    });
}

} // namespace Quelto::Lumindra::Proc

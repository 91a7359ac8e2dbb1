#include "proc/BackgroundPool.h"

#include <QRunnable>
#include <QThreadPool>

#include "core/HandOver.h"
#include "core/WorkerThread.h"

namespace Quelto::Lumindra::Proc {

namespace {

thread_local bool backgroundThread = false;

// One task; the pool deletes it on its thread once it has run.
class PoolTask : public QRunnable {
public:
    explicit PoolTask(std::function<void()> task) : task_(std::move(task)) {}

    void run() override
    {
        Core::TakeOver(this);
        // A pool thread is lowered once, by its first task; the lowering cannot be undone.
        if (!backgroundThread) {
            Core::BecomeWorkerThread("lumindra-pool");
            backgroundThread = true;
        }
        task_();
    }

private:
    std::function<void()> task_;
};

} // namespace

bool IsBackgroundThread()
{
    return backgroundThread;
}

void StartInBackground(std::function<void()> task)
{
    static QThreadPool pool;
    auto* runnable = new PoolTask(std::move(task));
    Core::HandOver(runnable);
    pool.start(runnable);
}

} // namespace Quelto::Lumindra::Proc

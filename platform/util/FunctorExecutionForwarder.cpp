#include "util/FunctorExecutionForwarder.h"

#include <deque>
#include <exception>
#include <mutex>
#include <utility>

#include <QCoreApplication>
#include <QEvent>

#include <glog/logging.h>

#include "core/HandOver.h"

namespace Quelto::Lumindra::Util {

struct FunctorExecutionForwarder::Queue {
    std::mutex mutex; // guards the members below
    std::deque<std::function<void()>> pending;
    bool open = true;    // false from the start of the forwarder's destruction
    bool posted = false; // a run event is on its way to the forwarder
};

namespace {

QEvent::Type RunEventType()
{
    static const QEvent::Type type = QEvent::Type(QEvent::registerEventType());
    return type;
}

void RunGuarded(const std::function<void()>& fn)
{
    try {
        fn();
    } catch (const std::exception& e) {
        LOG(ERROR) << "Forwarded function failed: " << e.what();
    } catch (...) {
        LOG(ERROR) << "Forwarded function failed with an unknown exception";
    }
}

} // namespace

FunctorExecutionForwarder::FunctorExecutionForwarder(QObject* parent)
    : QObject(parent), queue_(std::make_shared<Queue>())
{
}

FunctorExecutionForwarder::~FunctorExecutionForwarder()
{
    const std::shared_ptr<Queue> queue = std::atomic_exchange(&queue_, std::shared_ptr<Queue>());
    std::deque<std::function<void()>> dropped;
    {
        std::lock_guard<std::mutex> lock(queue->mutex);
        queue->open = false;
        dropped.swap(queue->pending);
    }
    // `dropped` dies here, outside the lock, in case a captured object forwards from its
    // destructor. The run event still posted is discarded by ~QObject.
}

void FunctorExecutionForwarder::Forward(std::function<void()> fn)
{
    if (!fn)
        return;
    const std::shared_ptr<Queue> queue = std::atomic_load(&queue_);
    if (!queue)
        return;
    std::lock_guard<std::mutex> lock(queue->mutex);
    if (!queue->open)
        return;
    queue->pending.push_back(std::move(fn));
    if (!queue->posted) {
        queue->posted = true;
        // Posted under the lock: the destructor cannot pass its own locking before the event is
        // counted against this object, so ~QObject is sure to remove it.
        auto* run = new QEvent(RunEventType());
        Core::HandOver(run);
        QCoreApplication::postEvent(this, run);
    }
}

bool FunctorExecutionForwarder::event(QEvent* event)
{
    Core::TakeOver(event); // made on the forwarding thread; Qt's event queue orders it unseen
    if (event->type() != RunEventType())
        return QObject::event(event);

    const std::shared_ptr<Queue> queue = queue_;
    std::size_t budget = 0;
    {
        std::lock_guard<std::mutex> lock(queue->mutex);
        queue->posted = false;
        budget = queue->pending.size();
    }
    // Only what was queued when the event arrived runs now: a function that forwards again is
    // run by the next event, so the event loop gets its turn in between.
    for (; budget > 0; --budget) {
        std::function<void()> fn;
        {
            std::lock_guard<std::mutex> lock(queue->mutex);
            if (!queue->open || queue->pending.empty())
                break;
            fn = std::move(queue->pending.front());
            queue->pending.pop_front();
        }
        // From here on `this` may be gone: the function may destroy the forwarder.
        RunGuarded(fn);
    }
    return true;
}

} // namespace Quelto::Lumindra::Util

#pragma once

#include <functional>
#include <memory>

#include <QObject>

namespace Quelto::Lumindra::Util {

// Runs functions on the thread that created the forwarder (normally the UI thread).
// Forward() may be called from any thread; the functions run later, through that thread's event
// loop, one at a time and in the order of the Forward calls (also when a function spins a nested
// event loop). Functions still queued when the forwarder is destroyed are dropped, never run:
// a Forward that races with the destructor either queues before the destructor closes the queue
// (and is dropped with it) or finds it closed. Calling Forward after the destructor has returned
// is a use of a dead object, as for any object. A function may destroy the forwarder; the
// functions after it are then dropped.
// The forwarder itself is created and destroyed on its own thread, as any QObject. A function
// that throws is logged and the next one runs.
class FunctorExecutionForwarder : public QObject {
    Q_OBJECT
public:
    explicit FunctorExecutionForwarder(QObject* parent = nullptr);
    ~FunctorExecutionForwarder() override;

    // Queues `fn` (an empty function is ignored). Thread-safe; returns at once.
    void Forward(std::function<void()> fn);

protected:
    bool event(QEvent* event) override;

private:
    struct Queue;
    // Shared with the running batch so that a function that destroys the forwarder does not
    // pull the queue from under the loop that called it.
    std::shared_ptr<Queue> queue_;
};

} // namespace Quelto::Lumindra::Util

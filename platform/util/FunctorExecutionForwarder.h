#pragma once

#include <functional>

#include <QObject>

namespace Quelto::Lumindra::Util {

// Runs functions on the thread that created the forwarder (normally the UI thread).
// Forward() may be called from any thread; the functions run later, through that thread's event
// loop, in the order of the Forward calls. Functions still queued when the forwarder is
// destroyed are dropped, never run.
class FunctorExecutionForwarder : public QObject {
    Q_OBJECT
public:
    explicit FunctorExecutionForwarder(QObject* parent = nullptr);
    ~FunctorExecutionForwarder() override;

    void Forward(std::function<void()> fn);
};

} // namespace Quelto::Lumindra::Util

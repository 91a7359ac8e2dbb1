#pragma once

#include <QObject>

#include "photocore/ICoreEventHandler.h"
#include "util/FunctorExecutionForwarder.h"

namespace Quelto::Lumindra::App {

// Brings the open image's core events to the UI thread as Qt signals. The core raises them on
// its render thread; each is copied and re-issued through the forwarder, in order. Register it
// with the controller (RegisterCoreEventHandler) and unregister before it dies.
class CoreEventRelay : public QObject, public PhotoCore::ICoreEventHandler {
    Q_OBJECT
public:
    explicit CoreEventRelay(QObject* parent = nullptr);

    void HandleThrow(const ThrowEvent& event) override;
    void HandleLoaded(const CoreEventLoaded& event) override;
    void HandleStateChanged(const CoreEventStateChanged& event) override;

Q_SIGNALS:
    void errorRaised(const QString& text);
    void loaded(int stage);
    void stateChanged(bool saved, int undoCount, int redoCount);

private:
    Util::FunctorExecutionForwarder forwarder_;
};

} // namespace Quelto::Lumindra::App

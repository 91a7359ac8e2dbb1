#include "CoreEventRelay.h"

namespace Quelto::Lumindra::App {

CoreEventRelay::CoreEventRelay(QObject* parent) : QObject(parent) {}

void CoreEventRelay::HandleThrow(const ThrowEvent& event)
{
    const QString text = QString::fromStdString(event.text);
    forwarder_.Forward([this, text] { Q_EMIT errorRaised(text); });
}

void CoreEventRelay::HandleLoaded(const CoreEventLoaded& event)
{
    const int stage = event.stage;
    forwarder_.Forward([this, stage] { Q_EMIT loaded(stage); });
}

void CoreEventRelay::HandleStateChanged(const CoreEventStateChanged& event)
{
    const CoreEventStateChanged copy = event;
    forwarder_.Forward([this, copy] { Q_EMIT stateChanged(copy.saved, copy.undoCount, copy.redoCount); });
}

} // namespace Quelto::Lumindra::App

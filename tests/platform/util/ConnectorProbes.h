#pragma once

#include <string>
#include <vector>

#include <QObject>
#include <QPointF>
#include <QThread>

#include "photocore/ICoreEventHandler.h"

namespace Quelto::Lumindra {

// Declared in the product's namespace with the parameter types spelled as the module's headers
// spell them, so that the signature strings of the host tables must match moc's records.
class ConnectorSender : public QObject {
    Q_OBJECT
signals:
    void ping(int value);
    void throwEvent(const PhotoCore::ICoreEventHandler::ThrowEvent& event);
    void pasteRequested(const std::string& items, const QPointF& position);
    void nothing();
};

class ConnectorListener : public QObject {
    Q_OBJECT
public:
    std::vector<int> pings;
    std::vector<std::string> texts;
    std::vector<QPointF> positions;
    int nothings = 0;
    QThread* pingThread = nullptr;

public slots:
    void OnPing(int value)
    {
        pings.push_back(value);
        pingThread = QThread::currentThread();
    }
    void OnThrow(const PhotoCore::ICoreEventHandler::ThrowEvent& event) { texts.push_back(event.text); }
    void onPaste(const std::string& items, const QPointF& position)
    {
        texts.push_back(items);
        positions.push_back(position);
    }
    void OnNothing() { ++nothings; }

signals:
    void relayed(int value);
};

} // namespace Quelto::Lumindra

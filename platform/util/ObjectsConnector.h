#pragma once

#include <QObject>
#include <QString>

namespace Quelto::Lumindra::Util {

// The application's switchboard. Objects register Qt signals as emitters and Qt slots (or
// signals) as receivers under a string identifier; every emitter of an identifier is joined to
// every receiver of it, whichever registers first. A signature is a member string with its
// prefix: "2" for a signal, "1" for a slot ("2renderingStarted(bool)"); blanks before the
// parenthesis are accepted. Destroyed objects are forgotten.
//
// Connections are direct when both objects live in the same thread, queued otherwise (Qt's
// automatic connection). Registration is on the UI thread; the registry is guarded by a mutex.
// `flag` is accepted for compatibility and does not change the behaviour.
class ObjectsConnector {
public:
    static void registerEmitter(const QString& id, QObject* emitter, const QString& signature, int flag = 0);
    static void registerReceiver(const QString& id, QObject* receiver, const QString& signature, int flag = 0);
    static void unregisterEmitter(const QString& id, QObject* emitter, const QString& signature);
    static void unregisterReceiver(const QString& id, QObject* receiver, const QString& signature);

    // Number of live emitters / receivers under the identifier (tests and diagnostics).
    static int emitterCount(const QString& id);
    static int receiverCount(const QString& id);
};

} // namespace Quelto::Lumindra::Util

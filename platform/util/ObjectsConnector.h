#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

namespace Quelto::Lumindra::Util {

// The application's switchboard. Objects register Qt signals as emitters and Qt slots (or
// signals) as receivers under a string identifier; every emitter of an identifier is joined to
// every receiver of it, whichever registers first. A signature is a member string with its
// prefix: "2" for a signal, "1" for a slot ("2renderingStarted(bool)"); it is normalised before
// use, so blanks before the parenthesis and "const T&" spellings are accepted. Parameter types
// are matched by their spelling after normalisation (or by metatype id when both sides' types
// are registered), so both sides must name a type the same way.
//
// Each identifier is its own wire: registering one (object, signature) twice under an identifier
// changes nothing, while the same pair under two identifiers that share a partner is connected
// once per identifier. Destroyed objects are forgotten (QObject::destroyed), and Qt drops their
// connections. A signature that the object does not have, a wrong prefix, a null object or
// arguments that do not fit a partner are logged as warnings; nothing is kept for them.
//
// Connections are direct when both objects live in the same thread, queued otherwise (Qt's
// automatic connection; queued arguments need registered metatypes). Every function may be
// called from any thread; the registry is guarded by one process-wide mutex. An object must be
// registered and destroyed on its own thread, as Qt requires for connecting and deleting.
// A partner on another thread may be dying while an object registers (its death reaches the
// registry only from inside ~QObject): a link is therefore made on the emitter's thread, at
// once when that is the registering thread, else when the emitter's thread next runs its event
// loop; an emitter that dies first takes the pending link with it.
// `flag` is accepted for compatibility and does not change the behaviour.
class ObjectsConnector {
public:
    static void registerEmitter(const QString& id, QObject* emitter, const QString& signature, int flag = 0);
    static void registerReceiver(const QString& id, QObject* receiver, const QString& signature, int flag = 0);
    // Removes the registration and exactly the connections made for it under this identifier.
    static void unregisterEmitter(const QString& id, QObject* emitter, const QString& signature);
    static void unregisterReceiver(const QString& id, QObject* receiver, const QString& signature);

    // Number of live emitters / receivers / connections under the identifier (tests and
    // diagnostics).
    static int emitterCount(const QString& id);
    static int receiverCount(const QString& id);
    static int connectionCount(const QString& id);
    // "ClassName 2signature" of every live emitter and receiver under the identifier, signatures
    // normalised, sorted.
    static QStringList registrations(const QString& id);
};

} // namespace Quelto::Lumindra::Util

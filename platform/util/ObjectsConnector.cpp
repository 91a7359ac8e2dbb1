#include "util/ObjectsConnector.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include <QByteArray>
#include <QHash>
#include <QMetaMethod>
#include <QMetaObject>
#include <QThread>

#include <glog/logging.h>

namespace Quelto::Lumindra::Util {

namespace {

// The codes that Qt's SIGNAL() and SLOT() macros put in front of a member signature.
constexpr char kSignalCode = '2';
constexpr char kSlotCode = '1';

enum class Side { Emitter, Receiver };

// What the registry knows of a registered member, taken on the object's own thread when it
// registered: a partner on another thread may be dying, its class no longer what it was.
struct Member {
    QObject* object = nullptr;
    QByteArray signature; // normalised, with its code
    QMetaMethod method;
    const char* className = nullptr;

    bool Is(const Member& other) const { return object == other.object && signature == other.signature; }
};

struct Link {
    QObject* emitter = nullptr;
    QByteArray emitterSignature;
    QObject* receiver = nullptr;
    QByteArray receiverSignature;
    QMetaObject::Connection connection;
};

struct Wire {
    std::vector<Member> emitters;
    std::vector<Member> receivers;
    std::vector<Link> links;

    bool IsEmpty() const { return emitters.empty() && receivers.empty(); }
};

struct Watch {
    QMetaObject::Connection destroyed;
    int registrations = 0;
};

std::string Text(const QString& s)
{
    return s.toStdString();
}

const char* ClassName(const QObject* object)
{
    return object->metaObject()->className();
}

// The member's meta method, or an invalid one when the object has no such signal / slot.
QMetaMethod FindMethod(const QObject* object, const QByteArray& signature)
{
    const QMetaObject* meta = object->metaObject();
    const QByteArray name = signature.mid(1);
    const int index = signature.at(0) == kSignalCode ? meta->indexOfSignal(name) : meta->indexOfSlot(name);
    return index < 0 ? QMetaMethod() : meta->method(index);
}

class Registry {
public:
    static Registry& Instance()
    {
        // Never destroyed: objects that die after main() returns still report their death here.
        static Registry* registry = new Registry;
        return *registry;
    }

    void Register(Side side, const QString& id, QObject* object, const QString& signature)
    {
        const char* what = side == Side::Emitter ? "emitter" : "receiver";
        if (!object) {
            LOG(WARNING) << "ObjectsConnector: null " << what << " \"" << Text(signature) << "\" for " << Text(id)
                         << " ignored";
            return;
        }
        const QByteArray normalised = Normalise(signature);
        const bool codeFits = !normalised.isEmpty() &&
                              (normalised.at(0) == kSignalCode || (side == Side::Receiver && normalised.at(0) == kSlotCode));
        if (!codeFits) {
            LOG(WARNING) << "ObjectsConnector: " << what << " signature \"" << Text(signature) << "\" of "
                         << ClassName(object) << " for " << Text(id)
                         << " needs the prefix 2 (signal)" << (side == Side::Receiver ? " or 1 (slot)" : "");
            return;
        }
        const QMetaMethod method = FindMethod(object, normalised);
        if (!method.isValid()) {
            LOG(WARNING) << "ObjectsConnector: " << ClassName(object) << " has no "
                         << (normalised.at(0) == kSignalCode ? "signal" : "slot") << " \"" << Text(signature)
                         << "\"; " << what << " for " << Text(id) << " ignored";
            return;
        }

        std::lock_guard<std::mutex> lock(mutex_);
        Wire& wire = wires_[id];
        std::vector<Member>& own = side == Side::Emitter ? wire.emitters : wire.receivers;
        const Member added {object, normalised, method, ClassName(object)};
        if (std::any_of(own.begin(), own.end(), [&](const Member& m) { return m.Is(added); }))
            return;
        WatchLocked(object);
        own.push_back(added);
        if (side == Side::Emitter) {
            for (const Member& receiver : wire.receivers)
                LinkLocked(id, wire, added, receiver);
        } else {
            for (const Member& emitter : wire.emitters)
                LinkLocked(id, wire, emitter, added);
        }
    }

    void Unregister(Side side, const QString& id, QObject* object, const QString& signature)
    {
        if (!object)
            return;
        const QByteArray normalised = Normalise(signature);
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = wires_.find(id);
        if (found == wires_.end())
            return;
        Wire& wire = found.value();
        std::vector<Member>& own = side == Side::Emitter ? wire.emitters : wire.receivers;
        auto member = std::find_if(own.begin(), own.end(), [&](const Member& m) {
            return m.object == object && m.signature == normalised;
        });
        if (member == own.end())
            return;
        own.erase(member);
        auto ends = std::remove_if(wire.links.begin(), wire.links.end(), [&](const Link& link) {
            const bool mine = side == Side::Emitter
                                  ? link.emitter == object && link.emitterSignature == normalised
                                  : link.receiver == object && link.receiverSignature == normalised;
            if (mine)
                QObject::disconnect(link.connection);
            return mine;
        });
        wire.links.erase(ends, wire.links.end());
        if (wire.IsEmpty())
            wires_.erase(found);
        UnwatchLocked(object);
    }

    int EmitterCount(const QString& id)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = wires_.constFind(id);
        return found == wires_.constEnd() ? 0 : int(found->emitters.size());
    }

    int ReceiverCount(const QString& id)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = wires_.constFind(id);
        return found == wires_.constEnd() ? 0 : int(found->receivers.size());
    }

    QStringList Registrations(const QString& id)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        QStringList list;
        auto found = wires_.constFind(id);
        if (found == wires_.constEnd())
            return list;
        for (const std::vector<Member>* side : {&found->emitters, &found->receivers}) {
            for (const Member& m : *side)
                list << QString::fromLatin1(m.className) + QLatin1Char(' ') + QString::fromUtf8(m.signature);
        }
        list.sort();
        return list;
    }

    int ConnectionCount(const QString& id)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = wires_.constFind(id);
        return found == wires_.constEnd() ? 0 : int(found->links.size());
    }

private:
    Registry() = default;

    // "2throwEvent (const T&)" -> "2throwEvent(T)": Qt finds members by their normalised form.
    static QByteArray Normalise(const QString& signature)
    {
        const QByteArray raw = signature.trimmed().toUtf8();
        if (raw.size() < 2)
            return QByteArray();
        return raw.left(1) + QMetaObject::normalizedSignature(raw.constData() + 1);
    }

    // Called by QObject::destroyed, on the thread that deletes the object. Qt has already dropped
    // or is dropping the object's connections; only the bookkeeping is left.
    void Forget(QObject* object)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (auto it = wires_.begin(); it != wires_.end();) {
            Wire& wire = it.value();
            auto gone = [object](const Member& m) { return m.object == object; };
            wire.emitters.erase(std::remove_if(wire.emitters.begin(), wire.emitters.end(), gone), wire.emitters.end());
            wire.receivers.erase(std::remove_if(wire.receivers.begin(), wire.receivers.end(), gone), wire.receivers.end());
            wire.links.erase(std::remove_if(wire.links.begin(), wire.links.end(),
                                            [object](const Link& l) { return l.emitter == object || l.receiver == object; }),
                             wire.links.end());
            it = wire.IsEmpty() ? wires_.erase(it) : std::next(it);
        }
        watched_.remove(object);
    }

    void WatchLocked(QObject* object)
    {
        Watch& watch = watched_[object];
        if (watch.registrations++ == 0)
            watch.destroyed = QObject::connect(object, &QObject::destroyed, [this, object] { Forget(object); });
    }

    void UnwatchLocked(QObject* object)
    {
        auto found = watched_.find(object);
        if (found == watched_.end() || --found->registrations > 0)
            return;
        QObject::disconnect(found->destroyed);
        watched_.erase(found);
    }

    void LinkLocked(const QString& id, Wire& wire, const Member& emitter, const Member& receiver)
    {
        if (!QMetaObject::checkConnectArgs(emitter.method, receiver.method)) {
            LOG(WARNING) << "ObjectsConnector: arguments of " << emitter.className << "::"
                         << emitter.signature.mid(1).constData() << " do not fit " << receiver.className << "::"
                         << receiver.signature.mid(1).constData() << " under " << Text(id);
            return;
        }
        if (emitter.object->thread() == QThread::currentThread()) {
            ConnectLocked(id, wire, emitter, receiver);
            return;
        }
        // Connecting reads the emitter's class, which is only safe on the emitter's own thread:
        // there it cannot be dying meanwhile. If it dies first, Qt drops the call with it.
        QMetaObject::invokeMethod(
            emitter.object, [this, id, emitter, receiver] { LinkPending(id, emitter, receiver); }, Qt::QueuedConnection);
    }

    // On the emitter's thread: links the pair if both are still registered and not yet linked.
    void LinkPending(const QString& id, const Member& emitter, const Member& receiver)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = wires_.find(id);
        if (found == wires_.end())
            return;
        Wire& wire = found.value();
        auto is = [](const Member& member) { return [&member](const Member& m) { return m.Is(member); }; };
        const bool registered = std::any_of(wire.emitters.begin(), wire.emitters.end(), is(emitter))
            && std::any_of(wire.receivers.begin(), wire.receivers.end(), is(receiver));
        const bool linked = std::any_of(wire.links.begin(), wire.links.end(), [&](const Link& link) {
            return link.emitter == emitter.object && link.emitterSignature == emitter.signature
                && link.receiver == receiver.object && link.receiverSignature == receiver.signature;
        });
        if (registered && !linked)
            ConnectLocked(id, wire, emitter, receiver);
    }

    // On the emitter's thread. Reads nothing of the receiver but what Qt keeps outside its class
    // (its thread and connection lists), which stays valid until ~QObject has cut its links.
    void ConnectLocked(const QString& id, Wire& wire, const Member& emitter, const Member& receiver)
    {
        QMetaObject::Connection connection = QMetaObject::connect(emitter.object, emitter.method.methodIndex(),
                                                                  receiver.object, receiver.method.methodIndex());
        if (!connection) {
            LOG(WARNING) << "ObjectsConnector: could not connect " << emitter.className << "::"
                         << emitter.signature.mid(1).constData() << " to " << receiver.className << "::"
                         << receiver.signature.mid(1).constData() << " under " << Text(id);
            return;
        }
        wire.links.push_back({emitter.object, emitter.signature, receiver.object, receiver.signature, connection});
        VLOG(30) << "ObjectsConnector: " << Text(id) << ": " << emitter.className << "::"
                 << emitter.signature.mid(1).constData() << " -> " << receiver.className << "::"
                 << receiver.signature.mid(1).constData();
    }

    std::mutex mutex_;               // guards wires_ and watched_
    QHash<QString, Wire> wires_;     // identifier -> its emitters, receivers and connections
    QHash<QObject*, Watch> watched_; // registered objects -> their destroyed() hook
};

} // namespace

void ObjectsConnector::registerEmitter(const QString& id, QObject* emitter, const QString& signature, int)
{
    Registry::Instance().Register(Side::Emitter, id, emitter, signature);
}

void ObjectsConnector::registerReceiver(const QString& id, QObject* receiver, const QString& signature, int)
{
    Registry::Instance().Register(Side::Receiver, id, receiver, signature);
}

void ObjectsConnector::unregisterEmitter(const QString& id, QObject* emitter, const QString& signature)
{
    Registry::Instance().Unregister(Side::Emitter, id, emitter, signature);
}

void ObjectsConnector::unregisterReceiver(const QString& id, QObject* receiver, const QString& signature)
{
    Registry::Instance().Unregister(Side::Receiver, id, receiver, signature);
}

int ObjectsConnector::emitterCount(const QString& id)
{
    return Registry::Instance().EmitterCount(id);
}

int ObjectsConnector::receiverCount(const QString& id)
{
    return Registry::Instance().ReceiverCount(id);
}

QStringList ObjectsConnector::registrations(const QString& id)
{
    return Registry::Instance().Registrations(id);
}

int ObjectsConnector::connectionCount(const QString& id)
{
    return Registry::Instance().ConnectionCount(id);
}

} // namespace Quelto::Lumindra::Util

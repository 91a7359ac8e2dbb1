#include <atomic>
#include <future>
#include <memory>
#include <thread>
#include <tuple>
#include <vector>

#include <QCoreApplication>
#include <QObject>
#include <QThread>

#include <gtest/gtest.h>

#include "photocore/ICoreEventHandler.h"
#include "support/TestSupport.h"
#include "util/ObjectsConnector.h"

namespace Quelto::Lumindra {
namespace {

using Util::ObjectsConnector;

// Parameter types spelled as the module's headers spell them, so that the signature strings of
// the host tables must match moc's records.
class ConnectorSender : public QObject {
    Q_OBJECT
signals:
    void ping(int value);
    void throwEvent(const PhotoCore::ICoreEventHandler::ThrowEvent& event);
    void nothing();
};

class ConnectorListener : public QObject {
    Q_OBJECT
public:
    std::vector<int> pings;
    int others = 0; // deliveries of throwEvent and nothing
    QThread* pingThread = nullptr;
public slots:
    void OnPing(int value)
    {
        pings.push_back(value);
        pingThread = QThread::currentThread();
    }
    void OnThrow(const PhotoCore::ICoreEventHandler::ThrowEvent&) { ++others; }
    void OnNothing() { ++others; }
signals:
    void relayed(int value);
};

// `first` registers before the receivers and `second` after them; a member registered again in
// another spelling changes nothing; a signal can be a receiver and relay under its own identifier;
// the dead are forgotten, a receiver dying before its emitter.
TEST(ObjectsConnector, JoinsEveryEmitterToEveryReceiverWhicheverComesFirstAndForgetsTheDead)
{
    const QString id = "ObjectsConnectorTest.Join", relayId = "ObjectsConnectorTest.Relay";
    auto first = std::make_unique<ConnectorSender>();
    auto b = std::make_unique<ConnectorListener>();
    ConnectorSender second;
    ConnectorListener a, relay, downstream;
    ObjectsConnector::registerEmitter(id, first.get(), "2ping(int)");
    ObjectsConnector::registerReceiver(id, &a, "1OnPing(int)");
    ObjectsConnector::registerReceiver(id, b.get(), "1OnPing(int)");
    ObjectsConnector::registerReceiver(id, &relay, "2relayed(int)");
    ObjectsConnector::registerEmitter(id, &second, "2ping(int)");
    ObjectsConnector::registerEmitter(id, first.get(), "2ping( int )");
    ObjectsConnector::registerReceiver(id, &a, "1OnPing (int)", 1);
    ObjectsConnector::registerEmitter(relayId, &relay, "2relayed(int)");
    ObjectsConnector::registerReceiver(relayId, &downstream, "1OnPing(int)");
    emit first->ping(1);
    emit second.ping(2);
    for (ConnectorListener* receiver : {&a, b.get(), &downstream})
        EXPECT_EQ(receiver->pings, (std::vector<int> {1, 2}));
    EXPECT_EQ(ObjectsConnector::connectionCount(id), 6);

    b.reset();
    first.reset();
    EXPECT_EQ(ObjectsConnector::emitterCount(id), 1);
    EXPECT_EQ(ObjectsConnector::receiverCount(id), 2);
    EXPECT_EQ(ObjectsConnector::connectionCount(id), 2);
    emit second.ping(3);
    EXPECT_EQ(a.pings, (std::vector<int> {1, 2, 3}));
}

// As the identifier tables write them: blanks before and inside the parenthesis, "const T &".
TEST(ObjectsConnector, SignaturesConnectAsTheTablesWriteThem)
{
    const char* const cases[][2] = {
        {"2throwEvent (const PhotoCore::ICoreEventHandler::ThrowEvent&)",
         "1OnThrow(const PhotoCore::ICoreEventHandler::ThrowEvent &)"},
        {"2throwEvent(PhotoCore::ICoreEventHandler::ThrowEvent)", "1OnThrow (PhotoCore::ICoreEventHandler::ThrowEvent)"},
        {"2nothing ()", "1OnNothing( )"},
    };
    for (const auto& [emitterSignature, receiverSignature] : cases) {
        ConnectorSender sender;
        ConnectorListener listener;
        Lumindra::Test::LogCapture log;
        ObjectsConnector::registerEmitter("ObjectsConnectorTest.Spelling", &sender, emitterSignature);
        ObjectsConnector::registerReceiver("ObjectsConnectorTest.Spelling", &listener, receiverSignature);
        emit sender.throwEvent(PhotoCore::ICoreEventHandler::ThrowEvent());
        emit sender.nothing();
        EXPECT_EQ(listener.others, 1) << emitterSignature;
        EXPECT_EQ(log.ProblemCount(), 0) << emitterSignature;
    }
}

// Next to a working pair, a registration that cannot work is warned about and connects nothing;
// only a real slot whose arguments do not fit stays registered.
TEST(ObjectsConnector, UnusableRegistrationsAreWarnedAndConnectNothing)
{
    const std::tuple<const char*, bool, int> cases[] = { // signature, as emitter, registrations after
        {"2noSuchSignal(int)", true, 2}, {"1OnPing(int)", true, 2}, {"1noSuchSlot(int)", false, 2},
        {"1OnPing(double)", false, 2},   {"OnPing(int)", false, 2}, {"3OnPing(int)", false, 2},
        {"", false, 2},                  {"1OnThrow(PhotoCore::ICoreEventHandler::ThrowEvent)", false, 3}};
    for (const auto& [signature, asEmitter, registrations] : cases) {
        const QString id = "ObjectsConnectorTest.Unusable";
        ConnectorSender sender;
        ConnectorListener partner, listener;
        ObjectsConnector::registerEmitter(id, &sender, "2ping(int)");
        ObjectsConnector::registerReceiver(id, &partner, "1OnPing(int)");
        Lumindra::Test::LogCapture log;
        if (asEmitter)
            ObjectsConnector::registerEmitter(id, &listener, signature);
        else
            ObjectsConnector::registerReceiver(id, &listener, signature);
        ObjectsConnector::registerReceiver(id, nullptr, "1OnPing(int)");
        emit sender.ping(1);
        EXPECT_TRUE(listener.pings.empty() && listener.others == 0) << signature;
        EXPECT_EQ(ObjectsConnector::emitterCount(id) + ObjectsConnector::receiverCount(id), registrations) << signature;
        EXPECT_EQ(ObjectsConnector::connectionCount(id), 1) << signature;
        EXPECT_EQ(log.ProblemCount(), 2) << signature << ": and the null receiver";
    }
}

// Workers register receivers and an emitter at once, then emit and die with them at once: the
// receiver of the main thread gets every worker's event on its own thread, and nothing of the
// workers is left.
TEST(ObjectsConnectorThreads, WorkersRegisterEmitAndDieWhileTheMainReceiverLivesOn)
{
    constexpr int kWorkers = 4, kReceiversPerWorker = 50;
    const QString id = "ObjectsConnectorTest.Workers";
    ConnectorListener listener;
    ObjectsConnector::registerReceiver(id, &listener, "1OnPing(int)");
    std::atomic<int> ready {0}, sendersGone {0};
    const auto meetTheOthers = [](std::atomic<int>& count) {
        for (++count; count < kWorkers;)
            std::this_thread::yield();
    };
    std::vector<std::thread> workers;
    for (int w = 0; w < kWorkers; ++w)
        workers.emplace_back([&, w] {
            std::vector<std::unique_ptr<ConnectorListener>> mine(kReceiversPerWorker);
            for (auto& receiver : mine) {
                receiver = std::make_unique<ConnectorListener>();
                ObjectsConnector::registerReceiver(id, receiver.get(), "1OnPing(int)");
            }
            {
                ConnectorSender sender;
                ObjectsConnector::registerEmitter(id, &sender, "2ping(int)");
                // Nobody dies while another still registers: a dying object is linkable until
                // ~QObject reports it, which the registry cannot see coming.
                meetTheOthers(ready);
                emit sender.ping(w);
            }
            // The senders die together, then the receivers together. A receiver dying while
            // its sender dies on another thread is ordered by Qt's own signal-slot lock, which
            // the thread sanitizer cannot see in a Qt built without it.
            meetTheOthers(sendersGone);
        });
    for (std::thread& t : workers)
        t.join();
    ASSERT_TRUE(Lumindra::Test::WaitUntil([&] { return listener.pings.size() == kWorkers; }));
    EXPECT_EQ(listener.pingThread, QThread::currentThread());
    EXPECT_EQ(ObjectsConnector::emitterCount(id) + ObjectsConnector::receiverCount(id), 1);
    EXPECT_EQ(ObjectsConnector::connectionCount(id), 0);
}

// An object dies on its own thread while the main thread registers its partner: the partner
// is held at the moment of the death that the registry cannot see yet (inside ~QObject, before
// the registry hears of it). The registration links nothing that outlives the dead object, and
// only the survivor is left.
TEST(ObjectsConnectorThreads, RegisteringAgainstAnObjectDyingOnItsThreadLeavesOnlyTheSurvivor)
{
    struct Case { const char* what; bool deadEmits; };
    for (const Case& c : {Case {"a receiver dies", false}, Case {"an emitter dies", true}}) {
        SCOPED_TRACE(c.what);
        const QString id = QStringLiteral("ObjectsConnectorTest.Dying.") + QString::fromLatin1(c.what);
        std::promise<void> dying, registered;
        std::thread partner([&] {
            QObject* object = c.deadEmits ? static_cast<QObject*>(new ConnectorSender) : new ConnectorListener;
            // Connected before the registry's own hook, so it runs first.
            QObject::connect(object, &QObject::destroyed, [&] {
                dying.set_value();
                registered.get_future().wait();
            });
            if (c.deadEmits)
                ObjectsConnector::registerEmitter(id, object, "2ping(int)");
            else
                ObjectsConnector::registerReceiver(id, object, "1OnPing(int)");
            delete object;
        });
        dying.get_future().wait();
        ConnectorSender sender;
        ConnectorListener listener;
        if (c.deadEmits)
            ObjectsConnector::registerReceiver(id, &listener, "1OnPing(int)");
        else
            ObjectsConnector::registerEmitter(id, &sender, "2ping(int)");
        registered.set_value();
        partner.join();

        emit sender.ping(1);
        QCoreApplication::processEvents();
        EXPECT_TRUE(listener.pings.empty());
        EXPECT_EQ(ObjectsConnector::emitterCount(id) + ObjectsConnector::receiverCount(id), 1);
        EXPECT_EQ(ObjectsConnector::connectionCount(id), 0);
        EXPECT_EQ(ObjectsConnector::registrations(id).size(), 1);
    }
}

} // namespace
} // namespace Quelto::Lumindra

#include "ObjectsConnectorTest.moc"

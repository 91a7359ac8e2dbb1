#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <QObject>
#include <QPointF>
#include <QThread>

#include <gtest/gtest.h>

#include "ConnectorProbes.h"
#include "support/TestSupport.h"
#include "util/ObjectsConnector.h"

namespace Quelto::Lumindra {

namespace {

using Util::ObjectsConnector;

// Each test works on identifiers of its own, so registrations of one test never meet another's.
QString TestId(const char* suffix = "")
{
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    return QString::fromUtf8(info->test_suite_name()) + QLatin1Char('.') + QString::fromUtf8(info->name()) +
           QString::fromUtf8(suffix);
}

class ObjectsConnectorOrder : public ::testing::TestWithParam<bool> {};

TEST_P(ObjectsConnectorOrder, JoinsWhicheverSideRegistersFirst)
{
    const bool emitterFirst = GetParam();
    const QString id = TestId();
    ConnectorSender sender;
    ConnectorListener listener;
    if (emitterFirst)
        ObjectsConnector::registerEmitter(id, &sender, "2ping(int)");
    ObjectsConnector::registerReceiver(id, &listener, "1OnPing(int)");
    if (!emitterFirst)
        ObjectsConnector::registerEmitter(id, &sender, "2ping(int)");

    emit sender.ping(5);
    EXPECT_EQ(listener.pings, std::vector<int> {5});
    EXPECT_EQ(ObjectsConnector::emitterCount(id), 1);
    EXPECT_EQ(ObjectsConnector::receiverCount(id), 1);
    EXPECT_EQ(ObjectsConnector::connectionCount(id), 1);
}

INSTANTIATE_TEST_SUITE_P(ObjectsConnector, ObjectsConnectorOrder, ::testing::Values(true, false),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return std::string(info.param ? "EmitterFirst" : "ReceiverFirst");
                         });

TEST(ObjectsConnector, EveryEmitterReachesEveryReceiverIncludingSignalReceivers)
{
    const QString id = TestId();
    const QString relayId = TestId(".relay");
    ConnectorSender first, second;
    ConnectorListener a, b, relay, downstream;
    ObjectsConnector::registerEmitter(id, &first, "2ping(int)");
    ObjectsConnector::registerReceiver(id, &a, "1OnPing(int)");
    ObjectsConnector::registerReceiver(id, &b, "1OnPing(int)");
    ObjectsConnector::registerReceiver(id, &relay, "2relayed(int)"); // a signal as receiver
    ObjectsConnector::registerEmitter(id, &second, "2ping(int)");
    ObjectsConnector::registerEmitter(relayId, &relay, "2relayed(int)");
    ObjectsConnector::registerReceiver(relayId, &downstream, "1OnPing(int)");

    emit first.ping(1);
    emit second.ping(2);
    for (ConnectorListener* receiver : {&a, &b, &downstream})
        EXPECT_EQ(receiver->pings, (std::vector<int> {1, 2}));
    EXPECT_EQ(ObjectsConnector::connectionCount(id), 6);
}

TEST(ObjectsConnector, RegisteringTheSameMemberTwiceConnectsOnce)
{
    const QString id = TestId();
    ConnectorSender sender;
    ConnectorListener listener;
    ObjectsConnector::registerEmitter(id, &sender, "2ping(int)");
    ObjectsConnector::registerEmitter(id, &sender, "2ping( int )");
    ObjectsConnector::registerReceiver(id, &listener, "1OnPing(int)");
    ObjectsConnector::registerReceiver(id, &listener, "1OnPing (int)", 1);

    emit sender.ping(3);
    EXPECT_EQ(listener.pings, std::vector<int> {3});
    EXPECT_EQ(ObjectsConnector::emitterCount(id), 1);
    EXPECT_EQ(ObjectsConnector::receiverCount(id), 1);
}

// Signatures exactly as the identifier tables write them, blanks and "const T &" included.
struct SpellingCase {
    const char* name;
    const char* emitterSignature;
    const char* receiverSignature;
    std::function<void(ConnectorSender&)> emitIt;
    std::function<bool(const ConnectorListener&)> arrived;
    friend void PrintTo(const SpellingCase& c, std::ostream* os) { *os << c.name; }
};

class ObjectsConnectorSpelling : public ::testing::TestWithParam<SpellingCase> {};

TEST_P(ObjectsConnectorSpelling, ConnectsAsWritten)
{
    const SpellingCase& c = GetParam();
    const QString id = TestId();
    ConnectorSender sender;
    ConnectorListener listener;
    Lumindra::Test::LogCapture log;
    ObjectsConnector::registerEmitter(id, &sender, c.emitterSignature);
    ObjectsConnector::registerReceiver(id, &listener, c.receiverSignature);
    EXPECT_EQ(ObjectsConnector::connectionCount(id), 1);
    c.emitIt(sender);
    EXPECT_TRUE(c.arrived(listener));
    EXPECT_EQ(log.ProblemCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    ObjectsConnector, ObjectsConnectorSpelling,
    ::testing::Values(
        SpellingCase {"BlankBeforeParenthesisAndConstRef", "2throwEvent (const PhotoCore::ICoreEventHandler::ThrowEvent&)",
                      "1OnThrow(const PhotoCore::ICoreEventHandler::ThrowEvent&)",
                      [](ConnectorSender& s) {
                          PhotoCore::ICoreEventHandler::ThrowEvent event;
                          event.text = "disk full";
                          emit s.throwEvent(event);
                      },
                      [](const ConnectorListener& l) { return l.texts == std::vector<std::string> {"disk full"}; }},
        SpellingCase {"ConstRefWithBlankBeforeAmpersand", "2pasteRequested(const std::string&, const QPointF &)",
                      "1onPaste(const std::string&, const QPointF &)",
                      [](ConnectorSender& s) { emit s.pasteRequested("items", QPointF(1.5, -2)); },
                      [](const ConnectorListener& l) {
                          return l.texts == std::vector<std::string> {"items"} && l.positions.size() == 1 &&
                                 l.positions[0] == QPointF(1.5, -2);
                      }},
        SpellingCase {"EmptyArgumentListWithBlank", "2nothing ()", "1OnNothing()",
                      [](ConnectorSender& s) { emit s.nothing(); },
                      [](const ConnectorListener& l) { return l.nothings == 1; }},
        SpellingCase {"NormalisedForm", "2throwEvent(PhotoCore::ICoreEventHandler::ThrowEvent)",
                      "1OnThrow(PhotoCore::ICoreEventHandler::ThrowEvent)",
                      [](ConnectorSender& s) { emit s.throwEvent(PhotoCore::ICoreEventHandler::ThrowEvent()); },
                      [](const ConnectorListener& l) { return l.texts.size() == 1; }}),
    [](const ::testing::TestParamInfo<SpellingCase>& info) { return std::string(info.param.name); });

struct BadRegistration {
    const char* name;
    bool asEmitter;
    const char* signature;
    friend void PrintTo(const BadRegistration& c, std::ostream* os) { *os << c.name; }
};

class ObjectsConnectorBadSignature : public ::testing::TestWithParam<BadRegistration> {};

TEST_P(ObjectsConnectorBadSignature, IsWarnedAndKeptOut)
{
    const BadRegistration& c = GetParam();
    const QString id = TestId();
    ConnectorSender sender;
    ConnectorListener listener;
    Lumindra::Test::LogCapture log;
    if (c.asEmitter) {
        ObjectsConnector::registerReceiver(id, &listener, "1OnPing(int)");
        ObjectsConnector::registerEmitter(id, &listener, c.signature);
    } else {
        ObjectsConnector::registerEmitter(id, &sender, "2ping(int)");
        ObjectsConnector::registerReceiver(id, &listener, c.signature);
    }
    EXPECT_EQ(ObjectsConnector::emitterCount(id) + ObjectsConnector::receiverCount(id), 1);
    EXPECT_EQ(ObjectsConnector::connectionCount(id), 0);
    EXPECT_TRUE(log.Contains("ObjectsConnector")) << "expected a warning";
    EXPECT_GE(log.ProblemCount(), 1);
}

INSTANTIATE_TEST_SUITE_P(ObjectsConnector, ObjectsConnectorBadSignature,
                         ::testing::Values(BadRegistration {"UnknownSignal", true, "2noSuchSignal(int)"},
                                           BadRegistration {"UnknownSlot", false, "1noSuchSlot(int)"},
                                           BadRegistration {"WrongArgumentsOfKnownSlot", false, "1OnPing(double)"},
                                           BadRegistration {"SlotAsEmitter", true, "1OnPing(int)"},
                                           BadRegistration {"NoPrefix", false, "OnPing(int)"},
                                           BadRegistration {"UnknownPrefix", false, "3OnPing(int)"},
                                           BadRegistration {"Empty", false, ""}),
                         [](const ::testing::TestParamInfo<BadRegistration>& info) { return std::string(info.param.name); });

TEST(ObjectsConnector, NullObjectIsWarnedAndKeptOut)
{
    const QString id = TestId();
    Lumindra::Test::LogCapture log;
    ObjectsConnector::registerEmitter(id, nullptr, "2ping(int)");
    ObjectsConnector::registerReceiver(id, nullptr, "1OnPing(int)");
    EXPECT_EQ(ObjectsConnector::emitterCount(id) + ObjectsConnector::receiverCount(id), 0);
    EXPECT_EQ(log.ProblemCount(), 2);
}

TEST(ObjectsConnector, ArgumentsThatDoNotFitAreNotConnected)
{
    const QString id = TestId();
    ConnectorSender sender;
    ConnectorListener listener;
    Lumindra::Test::LogCapture log;
    ObjectsConnector::registerEmitter(id, &sender, "2ping(int)");
    ObjectsConnector::registerReceiver(id, &listener, "1onPaste(const std::string&, const QPointF&)");
    EXPECT_EQ(ObjectsConnector::connectionCount(id), 0);
    EXPECT_TRUE(log.Contains("do not fit"));
    emit sender.ping(1);
    EXPECT_TRUE(listener.texts.empty());
}

TEST(ObjectsConnector, DestroyedObjectsAreForgotten)
{
    const QString id = TestId();
    auto sender = std::make_unique<ConnectorSender>();
    ConnectorListener survivor;
    auto doomed = std::make_unique<ConnectorListener>();
    ObjectsConnector::registerEmitter(id, sender.get(), "2ping(int)");
    ObjectsConnector::registerReceiver(id, doomed.get(), "1OnPing(int)");
    ObjectsConnector::registerReceiver(id, &survivor, "1OnPing(int)");

    doomed.reset(); // receiver dies before its emitter
    EXPECT_EQ(ObjectsConnector::receiverCount(id), 1);
    EXPECT_EQ(ObjectsConnector::connectionCount(id), 1);
    emit sender->ping(1);
    EXPECT_EQ(survivor.pings, std::vector<int> {1});

    sender.reset();
    EXPECT_EQ(ObjectsConnector::emitterCount(id), 0);
    EXPECT_EQ(ObjectsConnector::connectionCount(id), 0);

    ConnectorSender late;
    ObjectsConnector::registerEmitter(id, &late, "2ping(int)");
    emit late.ping(2);
    EXPECT_EQ(survivor.pings, (std::vector<int> {1, 2}));
}

TEST(ObjectsConnector, EachIdentifierIsItsOwnWire)
{
    const QString one = TestId(".one");
    const QString two = TestId(".two");
    ConnectorSender sender;
    ConnectorListener listener;
    for (const QString& id : {one, two}) {
        ObjectsConnector::registerEmitter(id, &sender, "2ping(int)");
        ObjectsConnector::registerReceiver(id, &listener, "1OnPing(int)");
    }
    emit sender.ping(1);
    EXPECT_EQ(listener.pings.size(), 2u);

    ObjectsConnector::unregisterReceiver(one, &listener, "1OnPing (int)");
    EXPECT_EQ(ObjectsConnector::receiverCount(one), 0);
    EXPECT_EQ(ObjectsConnector::connectionCount(one), 0);
    emit sender.ping(2);
    EXPECT_EQ(listener.pings, (std::vector<int> {1, 1, 2}));

    ObjectsConnector::unregisterEmitter(two, &sender, "2ping(int)");
    ObjectsConnector::unregisterEmitter(two, &sender, "2ping(int)"); // absent now: no effect
    emit sender.ping(3);
    EXPECT_EQ(listener.pings.size(), 3u);
    EXPECT_EQ(ObjectsConnector::emitterCount(one), 1);
}

TEST(ObjectsConnectorThreads, EmitterOnAWorkerThreadIsDeliveredOnTheReceiversThread)
{
    const QString id = TestId();
    ConnectorListener listener;
    ObjectsConnector::registerReceiver(id, &listener, "1OnPing(int)");
    std::thread worker([&] {
        ConnectorSender sender; // lives in the worker thread
        ObjectsConnector::registerEmitter(id, &sender, "2ping(int)");
        emit sender.ping(9);
    });
    worker.join();
    ASSERT_TRUE(Lumindra::Test::WaitUntil([&] { return !listener.pings.empty(); }));
    EXPECT_EQ(listener.pings, std::vector<int> {9});
    EXPECT_EQ(listener.pingThread, QThread::currentThread());
    EXPECT_EQ(ObjectsConnector::emitterCount(id), 0); // the worker's sender died with its thread
}

TEST(ObjectsConnectorThreads, RegistrationAndDestructionOnManyThreadsKeepTheCountsRight)
{
    constexpr int kThreads = 4;
    constexpr int kObjectsPerThread = 100;
    const QString id = TestId();
    ConnectorSender sender;
    ObjectsConnector::registerEmitter(id, &sender, "2ping(int)");
    std::atomic<int> registered {0};
    std::atomic<bool> release {false};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&] {
            std::vector<std::unique_ptr<ConnectorListener>> mine;
            for (int i = 0; i < kObjectsPerThread; ++i) {
                mine.push_back(std::make_unique<ConnectorListener>());
                ObjectsConnector::registerReceiver(id, mine.back().get(), "1OnPing(int)");
                ++registered;
            }
            while (!release)
                std::this_thread::yield();
            // Half die one by one on this thread, the rest with the vector.
            for (int i = 0; i < kObjectsPerThread / 2; ++i)
                mine[i].reset();
        });
    ASSERT_TRUE(Lumindra::Test::WaitUntil([&] { return registered == kThreads * kObjectsPerThread; }));
    EXPECT_EQ(ObjectsConnector::receiverCount(id), kThreads * kObjectsPerThread);
    EXPECT_EQ(ObjectsConnector::connectionCount(id), kThreads * kObjectsPerThread);
    release = true;
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(ObjectsConnector::receiverCount(id), 0);
    EXPECT_EQ(ObjectsConnector::connectionCount(id), 0);
    EXPECT_EQ(ObjectsConnector::emitterCount(id), 1);
}

} // namespace
} // namespace Quelto::Lumindra

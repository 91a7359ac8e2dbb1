// UI-thread dispatch of drawer events: whatever thread raises them, each event becomes exactly
// one call on the UI thread, in order, with the frame it carries kept alive; calls still queued
// when the object dies are dropped.

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <QCoreApplication>
#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

#include "LumindraWorkspace/scene/DrawerEventHandlerUI.h"
#include "TestController.h"
#include "proc/EffectSettings.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

namespace Support = ::Quelto::Lumindra::Test;

using Event = PhotoCore::IDrawerEventHandler;

// Records every UI-side call: which one, on which thread, with which text or frame.
class Recorder : public DrawerEventHandlerUI {
public:
    struct Call {
        std::string kind;
        std::string text;
        int value = 0;
        bool onUiThread = false;
        Proc::DataVideoPtr frame;
    };

    void HandleUndoInternal(const Event::DrawerEventUndo& e) override { Record("undo", e.text, e.value); }
    void HandleFrameInternal(const Event::DrawerEventFrame& e) override { Record("frame", e.text, e.reason); }
    void HandleChangeToSaveInternal(const Event::DrawerEventChangeToSave& e) override
    {
        Record("save", e.text, e.value);
    }
    void HandleFrameTemporaryInternal(const Event::DrawerEventFrameTemporary& e) override
    {
        Record("temporary", e.text, e.value, e.frame);
    }
    void HandleForegroundInternal(const Event::DrawerEventForeground& e) override
    {
        Record("foreground", e.text, e.value);
    }
    void HandleToolIdChangeInternal(const Event::DrawerEventToolIdChange& e) override
    {
        Record("tool", e.text, e.value);
    }
    void HandleShapeItemInternal(const Event::DrawerEventShapeItem& e) override { Record("shape", e.text, e.value); }

    std::vector<Call> calls;
    // Calls of every recorder, dead or alive (counted before anything of the object is touched).
    static inline std::atomic<int> totalCalls {0};

private:
    void Record(const char* kind, const std::string& text, int value, Proc::DataVideoPtr frame = nullptr)
    {
        ++totalCalls;
        calls.push_back({kind, text, value, QThread::currentThread() == qApp->thread(), std::move(frame)});
    }
};

// Raises one event of each kind, in the order of the handler interface, from a worker thread;
// the worker drops its own reference to the temporary frame right after raising it.
void RaiseEachKind(PhotoCore::IDrawerEventHandler& handler)
{
    std::thread worker([&handler] {
        handler.HandleUndo({"u", "", 1});
        handler.HandleFrame({"f", "", -1, 0});
        handler.HandleChangeToSave({"c", "", 1});
        Proc::DataVideoPtr frame = Support::MakeSolidFrame(16, 8, Qt::green);
        handler.HandleFrameTemporary({"t", "", 7, frame});
        frame.reset();
        handler.HandleForeground({"g", "", 2});
        handler.HandleToolIdChange({"i", "", 3});
        handler.HandleShapeItem({"s", "", 4});
    });
    worker.join();
}

TEST(DrawerEventHandlerUI, EveryKindArrivesOnceOnTheUiThreadInOrder)
{
    Recorder recorder;
    RaiseEachKind(recorder);
    EXPECT_TRUE(recorder.calls.empty()) << "nothing may run on the raising thread";

    QTRY_COMPARE(recorder.calls.size(), std::size_t(7));
    const char* const expected[] = {"undo", "frame", "save", "temporary", "foreground", "tool", "shape"};
    for (std::size_t i = 0; i < recorder.calls.size(); ++i) {
        EXPECT_EQ(recorder.calls[i].kind, expected[i]);
        EXPECT_TRUE(recorder.calls[i].onUiThread) << expected[i];
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(recorder.calls.size(), std::size_t(7)) << "each event becomes exactly one call";

    // The copy of the event kept the frame alive after its sender let go.
    const Proc::DataVideoPtr& frame = recorder.calls[3].frame;
    ASSERT_TRUE(frame);
    EXPECT_EQ(QColor(Util::ImageUtils().FrameToImage(frame).pixel(3, 3)), QColor(Qt::green));
}

// Events queued for an object that dies before the UI thread gets to them are dropped.
TEST(DrawerEventHandlerUI, QueuedCallsOfADeadObjectAreDropped)
{
    QCoreApplication::processEvents();
    const int before = Recorder::totalCalls.load();
    auto* recorder = new Recorder();
    RaiseEachKind(*recorder);
    delete recorder;
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents();
    EXPECT_EQ(Recorder::totalCalls.load(), before);
}

// Events of a real editing core, raised on its render thread, reach a handler registered with
// the controller on the UI thread, in the order the core raised them.
TEST(DrawerEventHandlerUI, RealCoreEventsArriveOnTheUiThreadInOrder)
{
    Support::TestController controller(Support::MakeTestImage(320, 200));
    Recorder recorder;
    controller.RegisterDrawerEventHandler(&recorder);

    // The drawer's own record of what it raised, on its thread, for comparison.
    struct Witness : PhotoCore::IDrawerEventHandler {
        void HandleUndo(const DrawerEventUndo& e) override { Add("undo", e.value); }
        void HandleFrame(const DrawerEventFrame& e) override { Add("frame", e.reason); }
        void HandleChangeToSave(const DrawerEventChangeToSave& e) override { Add("save", e.value); }
        void HandleFrameTemporary(const DrawerEventFrameTemporary& e) override { Add("temporary", e.value); }
        void Add(const char* kind, int value)
        {
            std::lock_guard<std::mutex> lock(mutex);
            raised.emplace_back(kind, value);
            offUiThread = offUiThread || QThread::currentThread() != qApp->thread();
        }
        std::mutex mutex;
        std::vector<std::pair<std::string, int>> raised;
        bool offUiThread = false;
    } witness;
    controller.RegisterDrawerEventHandler(&witness);

    for (int turns = 1; turns <= 3; ++turns)
        controller.ApplyAndWait(Proc::SettingsRotate(1));

    std::vector<std::pair<std::string, int>> raised;
    {
        std::lock_guard<std::mutex> lock(witness.mutex);
        raised = witness.raised;
        EXPECT_TRUE(witness.offUiThread) << "the core is expected to raise events on its own threads";
    }
    ASSERT_FALSE(raised.empty());
    QTRY_COMPARE(recorder.calls.size(), raised.size());
    for (std::size_t i = 0; i < raised.size(); ++i) {
        EXPECT_EQ(recorder.calls[i].kind, raised[i].first) << i;
        EXPECT_EQ(recorder.calls[i].value, raised[i].second) << i;
        EXPECT_TRUE(recorder.calls[i].onUiThread) << i;
    }
    int frames = 0;
    for (const auto& call : recorder.calls)
        frames += call.kind == "frame" ? 1 : 0;
    EXPECT_GE(frames, 3) << "one final frame per edit";

    controller.UnregisterDrawerEventHandler(&witness);
    controller.UnregisterDrawerEventHandler(&recorder);
}

} // namespace
} // namespace Quelto::Lumindra

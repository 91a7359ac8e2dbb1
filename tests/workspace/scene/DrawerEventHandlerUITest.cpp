// UI-thread dispatch of drawer events: whatever thread raises them, each event becomes exactly
// one call on the UI thread, in order, with the frame it carries kept alive; calls still queued
// when the object dies are dropped.

#include <thread>
#include <vector>

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include "LumindraWorkspace/scene/DrawerEventHandlerUI.h"
#include "support/TestSupport.h"
#include "util/ImageUtils.h"

namespace Quelto::Lumindra {
namespace {

namespace Support = ::Quelto::Lumindra::Test;
using Event = PhotoCore::IDrawerEventHandler;

// Records the value of every call of every recorder, dead or alive, without touching the object.
class Recorder : public DrawerEventHandlerUI {
public:
    void HandleUndoInternal(const Event::DrawerEventUndo& e) override { Record(e.value); }
    void HandleFrameInternal(const Event::DrawerEventFrame& e) override { Record(e.reason); }
    void HandleChangeToSaveInternal(const Event::DrawerEventChangeToSave& e) override { Record(e.value); }
    void HandleFrameTemporaryInternal(const Event::DrawerEventFrameTemporary& e) override { Record(e.value, e.frame); }
    void HandleForegroundInternal(const Event::DrawerEventForeground& e) override { Record(e.value); }
    void HandleToolIdChangeInternal(const Event::DrawerEventToolIdChange& e) override { Record(e.value); }
    void HandleShapeItemInternal(const Event::DrawerEventShapeItem& e) override { Record(e.value); }

    static inline std::vector<int> calls; // the value of each call, negated off the UI thread
    static inline Proc::DataVideoPtr frame;

private:
    static void Record(int value, const Proc::DataVideoPtr& carried = nullptr)
    {
        calls.push_back(QThread::currentThread() == qApp->thread() ? value : -value);
        frame = carried ? carried : frame;
    }
};

TEST(DrawerEventHandlerUI, EventsOfAnotherThreadArriveOnceOnTheUiThreadInOrder)
{
    Recorder::calls.clear();
    Recorder::frame.reset();
    auto* dead = new Recorder();
    Recorder live;
    std::thread worker([&] {
        for (Event* handler : {static_cast<Event*>(dead), static_cast<Event*>(&live)}) {
            handler->HandleUndo({"", "", 1});
            handler->HandleFrame({"", "", -1, 2});
            handler->HandleChangeToSave({"", "", 3});
            // The event holds the only reference to its frame: the sender lets go at once.
            handler->HandleFrameTemporary({"", "", 4, Support::MakeSolidFrame(16, 8, Qt::green)});
            handler->HandleForeground({"", "", 5});
            handler->HandleToolIdChange({"", "", 6});
            handler->HandleShapeItem({"", "", 7});
        }
    });
    worker.join();
    delete dead;

    ASSERT_TRUE(Support::WaitUntil([] { return Recorder::calls.size() >= 7; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(Recorder::calls, (std::vector<int> {1, 2, 3, 4, 5, 6, 7})) << "once each, none for the dead object";
    EXPECT_EQ(Util::ImageUtils().FrameToImage(Recorder::frame).pixelColor(3, 3), QColor(Qt::green));
}

} // namespace
} // namespace Quelto::Lumindra

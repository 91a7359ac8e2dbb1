// How the view shares keyboard and mouse input between the drawing tool, hand mode, the brush
// and navigation keys, the host's hotkeys and the context menu; all through real Qt events.

#include <map>
#include <memory>

#include <QAction>
#include <QMenu>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTimer>

#include <gtest/gtest.h>

#include "sharedui/SpecialHotkeyHelper.h"
#include "workspace/view/ViewTestSupport.h"

namespace Quelto::Lumindra {
namespace {

using Test::kDefaultWaitMs;
using Test::MoveCursorAway;
using Test::WaitUntil;

using Test::RecordingTool;
using Test::ViewHarness;
using Calls = std::vector<std::string>;

// A picture that overflows an 800x600 view both ways at 100 %, so dragging is available.
const QSize kLargePicture(3000, 1000);
const QSize kSmallPicture(400, 300);
const QSize kViewSize(800, 600);

// Installs a hotkey handler that records the keys it is offered, for the test's duration.
class HotkeyRecorder {
public:
    explicit HotkeyRecorder(bool takes = false)
    {
        SpecialHotkeyHelper::SetHandler([this, takes](QKeyEvent* event, bool press) {
            offered.push_back((press ? "press " : "release ") + std::to_string(event->key()));
            return takes;
        });
    }
    ~HotkeyRecorder() { SpecialHotkeyHelper::SetHandler(nullptr); }
    std::vector<std::string> offered;
};

struct SpaceCase {
    const char* name;
    QSize picture;
    bool hostAnswers;
    int expectedActivations;
    int expectedDeactivations;
};

class WorkspaceViewSpace : public ::testing::TestWithParam<SpaceCase> {};

TEST_P(WorkspaceViewSpace, HeldSpaceAsksForHandModeOnce)
{
    ViewHarness harness(GetParam().picture, kViewSize);
    ASSERT_TRUE(harness.exposed);
    if (!GetParam().hostAnswers)
        QObject::disconnect(harness.view.GetEmitter(), &ScalableViewEmitter::activateDragMode, &harness.view, nullptr);
    QSignalSpy activate(harness.view.GetEmitter(), &ScalableViewEmitter::activateDragMode);

    harness.Key(QEvent::KeyPress, Qt::Key_Space, false, " ");
    for (int i = 0; i < 4; ++i)
        harness.Key(QEvent::KeyPress, Qt::Key_Space, true, " ");
    harness.Key(QEvent::KeyRelease, Qt::Key_Space, false, " ");

    int on = 0, off = 0;
    for (const QList<QVariant>& args : activate)
        ++(args.at(0).toBool() ? on : off);
    EXPECT_EQ(on, GetParam().expectedActivations);
    EXPECT_EQ(off, GetParam().expectedDeactivations);
    EXPECT_EQ(harness.view.dragMode(), QGraphicsView::NoDrag) << "hand mode ends with the release";
}

INSTANTIATE_TEST_SUITE_P(
    Space, WorkspaceViewSpace,
    ::testing::Values(SpaceCase {"Draggable", kLargePicture, true, 1, 1},
                      // Without the host's answer hand mode never starts, so the repeats reach
                      // the Space rule itself and must still not ask again.
                      SpaceCase {"DraggableHostSilent", kLargePicture, false, 1, 0},
                      SpaceCase {"PictureFits", kSmallPicture, true, 0, 0}),
    [](const ::testing::TestParamInfo<SpaceCase>& info) { return info.param.name; });

TEST(WorkspaceViewInput, StrokeInterruptedBySpaceContinuesAsHandDrag)
{
    ViewHarness harness(kLargePicture, kViewSize);
    ASSERT_TRUE(harness.exposed);
    ASSERT_TRUE(harness.view.IsDragModeAvailable());
    harness.view.centerOn(1500, 500);
    RecordingTool tool;
    harness.view.SetDrawingTool(&tool);
    QScrollBar* h = harness.view.horizontalScrollBar();
    QScrollBar* v = harness.view.verticalScrollBar();

    const QPoint start(400, 300), stroke(420, 310), dragged(370, 280);
    ASSERT_TRUE(harness.PutCursorAt(start));
    harness.Mouse(QEvent::MouseButtonPress, start, Qt::LeftButton, Qt::LeftButton);
    QCursor::setPos(harness.Global(stroke));
    harness.Mouse(QEvent::MouseMove, stroke, Qt::NoButton, Qt::LeftButton);
    const int h0 = h->value(), v0 = v->value();

    harness.Key(QEvent::KeyPress, Qt::Key_Space, false, " ");
    ASSERT_EQ(harness.view.dragMode(), QGraphicsView::ScrollHandDrag);
    QCursor::setPos(harness.Global(dragged));
    harness.Mouse(QEvent::MouseMove, dragged, Qt::NoButton, Qt::LeftButton);

    EXPECT_EQ(h->value(), h0 + (stroke.x() - dragged.x())) << "the drag starts where the stroke ended";
    EXPECT_EQ(v->value(), v0 + (stroke.y() - dragged.y()));

    harness.Key(QEvent::KeyRelease, Qt::Key_Space, false, " ");
    EXPECT_EQ(harness.view.dragMode(), QGraphicsView::NoDrag);

    const Calls expected {RecordingTool::At("press", start),
                          RecordingTool::At("move", stroke),
                          "keyPress " + std::to_string(Qt::Key_Space),
                          RecordingTool::At("release", stroke),
                          "handModeEnded",
                          RecordingTool::At("press", dragged)};
    EXPECT_EQ(tool.calls, expected);
    harness.view.SetDrawingTool(nullptr);
}

TEST(WorkspaceViewInput, ToolSeesNothingWhileHandModeIsOn)
{
    ViewHarness harness(kLargePicture, kViewSize);
    RecordingTool tool;
    harness.view.SetDrawingTool(&tool);
    harness.view.SetDragMode(true);
    tool.calls.clear();

    harness.Mouse(QEvent::MouseButtonPress, QPoint(10, 10), Qt::LeftButton, Qt::LeftButton);
    harness.Mouse(QEvent::MouseMove, QPoint(20, 20), Qt::NoButton, Qt::LeftButton);
    harness.Mouse(QEvent::MouseButtonRelease, QPoint(20, 20), Qt::LeftButton, Qt::NoButton);
    harness.Key(QEvent::KeyPress, Qt::Key_A, false, "a");
    harness.Key(QEvent::KeyRelease, Qt::Key_A, false, "a");
    EXPECT_TRUE(tool.calls.empty());

    harness.view.SetDragMode(false);
    EXPECT_EQ(tool.calls, Calls {"handModeEnded"});
    harness.view.SetDrawingTool(nullptr);
}

TEST(WorkspaceViewInput, EscapeCancelsTheToolWhenItDoesNotTakeTheKey)
{
    ViewHarness harness(kSmallPicture, kViewSize);
    RecordingTool tool;
    harness.view.SetDrawingTool(&tool);
    harness.Key(QEvent::KeyPress, Qt::Key_Escape);
    EXPECT_EQ(tool.calls, (Calls {"keyPress " + std::to_string(Qt::Key_Escape), "cancel"}));

    tool.calls.clear();
    tool.consumeKeys = true;
    harness.Key(QEvent::KeyPress, Qt::Key_Escape);
    EXPECT_EQ(tool.calls, Calls {"keyPress " + std::to_string(Qt::Key_Escape)});
    harness.view.SetDrawingTool(nullptr);
}

TEST(WorkspaceViewInput, ChordCancelsAPendingContextMenuAndDrags)
{
    ViewHarness harness(kLargePicture, kViewSize);
    ASSERT_TRUE(harness.exposed);
    harness.view.centerOn(1500, 500);
    harness.view.GetContextMenu()->addAction(QStringLiteral("Paste"));
    QSignalSpy shown(harness.view.GetContextMenu(), &QMenu::aboutToShow);
    QSignalSpy activate(harness.view.GetEmitter(), &ScalableViewEmitter::activateDragMode);
    QScrollBar* h = harness.view.horizontalScrollBar();
    const QPoint p(400, 300), moved(360, 300);
    ASSERT_TRUE(harness.PutCursorAt(p));

    harness.Mouse(QEvent::MouseButtonPress, p, Qt::RightButton, Qt::RightButton);
    ASSERT_TRUE(harness.view.IsContextMenuPending());
    harness.Mouse(QEvent::MouseButtonPress, p, Qt::LeftButton, Qt::LeftButton | Qt::RightButton);

    EXPECT_FALSE(harness.view.IsContextMenuPending());
    ASSERT_EQ(activate.count(), 1);
    EXPECT_TRUE(activate.at(0).at(0).toBool());
    EXPECT_EQ(harness.view.dragMode(), QGraphicsView::ScrollHandDrag);

    const int before = h->value();
    harness.Mouse(QEvent::MouseMove, moved, Qt::NoButton, Qt::LeftButton | Qt::RightButton);
    EXPECT_EQ(h->value(), before + (p.x() - moved.x()));

    harness.Mouse(QEvent::MouseButtonRelease, moved, Qt::LeftButton, Qt::RightButton);
    ASSERT_EQ(activate.count(), 2);
    EXPECT_FALSE(activate.at(1).at(0).toBool());
    harness.Mouse(QEvent::MouseButtonRelease, moved, Qt::RightButton, Qt::NoButton);
    EXPECT_EQ(activate.count(), 2);
    EXPECT_EQ(harness.view.dragMode(), QGraphicsView::NoDrag);

    // The chord ends on the next turn of the event loop; until then a right press is part of it.
    harness.Mouse(QEvent::MouseButtonPress, moved, Qt::RightButton, Qt::RightButton);
    EXPECT_FALSE(harness.view.IsContextMenuPending());
    harness.Mouse(QEvent::MouseButtonRelease, moved, Qt::RightButton, Qt::NoButton);
    QCoreApplication::processEvents();
    harness.Mouse(QEvent::MouseButtonPress, moved, Qt::RightButton, Qt::RightButton);
    EXPECT_TRUE(harness.view.IsContextMenuPending());
    harness.view.OnCurrentToolsChanged(0); // drops the menu again
    EXPECT_FALSE(harness.view.IsContextMenuPending());
    EXPECT_EQ(shown.count(), 0);
}

TEST(WorkspaceViewInput, RightButtonJoiningAHeldLeftButtonStartsTheHandDrag)
{
    ViewHarness harness(kLargePicture, kViewSize);
    harness.view.centerOn(1500, 500);
    QSignalSpy activate(harness.view.GetEmitter(), &ScalableViewEmitter::activateDragMode);
    QScrollBar* v = harness.view.verticalScrollBar();
    const QPoint p(400, 300), moved(400, 260);
    ASSERT_TRUE(harness.PutCursorAt(p));

    harness.Mouse(QEvent::MouseButtonPress, p, Qt::LeftButton, Qt::LeftButton);
    EXPECT_EQ(activate.count(), 0);
    harness.Mouse(QEvent::MouseButtonPress, p, Qt::RightButton, Qt::LeftButton | Qt::RightButton);
    ASSERT_EQ(activate.count(), 1) << "asked once, not again for the synthetic left press";
    ASSERT_EQ(harness.view.dragMode(), QGraphicsView::ScrollHandDrag);

    const int before = v->value();
    harness.Mouse(QEvent::MouseMove, moved, Qt::NoButton, Qt::LeftButton | Qt::RightButton);
    EXPECT_EQ(v->value(), before + (p.y() - moved.y()));
    harness.Mouse(QEvent::MouseButtonRelease, moved, Qt::RightButton, Qt::LeftButton);
    harness.Mouse(QEvent::MouseButtonRelease, moved, Qt::LeftButton, Qt::NoButton);
    EXPECT_EQ(harness.view.dragMode(), QGraphicsView::NoDrag);
}

TEST(WorkspaceViewInput, BothButtonsOnAFittingPictureAreNoChord)
{
    ViewHarness harness(kSmallPicture, kViewSize);
    QSignalSpy activate(harness.view.GetEmitter(), &ScalableViewEmitter::activateDragMode);
    harness.Mouse(QEvent::MouseButtonPress, QPoint(50, 50), Qt::RightButton, Qt::RightButton);
    harness.Mouse(QEvent::MouseButtonPress, QPoint(50, 50), Qt::LeftButton, Qt::LeftButton | Qt::RightButton);
    EXPECT_EQ(activate.count(), 0);
    EXPECT_TRUE(harness.view.IsContextMenuPending());
    harness.view.OnCurrentToolsChanged(0);
}

TEST(WorkspaceViewInput, RightClickOpensTheMenuWithThePositionOnThePicture)
{
    ViewHarness harness(QSize(1000, 800), kViewSize);
    ASSERT_TRUE(harness.exposed);
    // Moving the picture moves the background rectangle that the position is measured from.
    harness.controller->Scene().GetCanvas()->setPos(100, 50);
    QMenu* menu = harness.view.GetContextMenu();
    EXPECT_EQ(menu->objectName(), QStringLiteral("workspaceContextMenu"));
    menu->addAction(QStringLiteral("Paste"));
    QVariant positionWhileShown;
    QObject::connect(menu, &QMenu::aboutToShow, menu, [&] {
        positionWhileShown = menu->property(WorkspaceView::MENU_POSITION);
        QTimer::singleShot(0, menu, &QMenu::close);
    });
    QSignalSpy shown(menu, &QMenu::aboutToShow);
    const QPoint p(300, 200);
    ASSERT_TRUE(harness.PutCursorAt(p));
    const QPointF scenePos = harness.view.mapToScene(p);

    harness.Mouse(QEvent::MouseButtonPress, p, Qt::RightButton, Qt::RightButton);
    harness.Mouse(QEvent::MouseButtonRelease, p, Qt::RightButton, Qt::NoButton);
    ASSERT_TRUE(shown.wait(kDefaultWaitMs));
    ASSERT_TRUE(WaitUntil([&] { return !menu->isVisible(); }));

    ASSERT_TRUE(positionWhileShown.canConvert<QPointF>());
    const QPointF expected = scenePos - QPointF(100, 50);
    EXPECT_NEAR(positionWhileShown.toPointF().x(), expected.x(), 1e-6);
    EXPECT_NEAR(positionWhileShown.toPointF().y(), expected.y(), 1e-6);
    EXPECT_TRUE(WaitUntil([&] { return !menu->property(WorkspaceView::MENU_POSITION).isValid(); }));
}

TEST(WorkspaceViewInput, EmptyMenuIsNeverOpened)
{
    ViewHarness harness(kSmallPicture, kViewSize);
    QMenu* menu = harness.view.GetContextMenu();
    QSignalSpy shown(menu, &QMenu::aboutToShow);
    // Should it open after all, it closes again instead of waiting for a person.
    QObject::connect(menu, &QMenu::aboutToShow, menu, [menu] { QTimer::singleShot(0, menu, &QMenu::close); });
    ASSERT_TRUE(harness.PutCursorAt(QPoint(100, 100)));
    harness.Mouse(QEvent::MouseButtonPress, QPoint(100, 100), Qt::RightButton, Qt::RightButton);
    harness.Mouse(QEvent::MouseButtonRelease, QPoint(100, 100), Qt::RightButton, Qt::NoButton);
    ASSERT_TRUE(WaitUntil([&] { return !harness.view.IsContextMenuPending(); }));
    EXPECT_EQ(shown.count(), 0);
}

TEST(WorkspaceViewInput, BracketKeysAskForBrushSizes)
{
    ViewHarness harness(kSmallPicture, kViewSize);
    QSignalSpy brush(&harness.view, &WorkspaceView::changeBrushSize);
    QTest::keyClick(&harness.view, Qt::Key_BracketLeft);
    QTest::keyClick(&harness.view, Qt::Key_BracketRight);
    ASSERT_EQ(brush.count(), 2);
    EXPECT_FALSE(brush.at(0).at(0).toBool());
    EXPECT_TRUE(brush.at(1).at(0).toBool());

    RecordingTool tool;
    tool.consumeKeys = true;
    harness.view.SetDrawingTool(&tool);
    QTest::keyClick(&harness.view, Qt::Key_BracketRight);
    EXPECT_EQ(brush.count(), 2) << "a key the tool took is not a brush key";
    harness.view.SetDrawingTool(nullptr);
}

enum class Edge { Left, Middle, Right };

struct NavigationCase {
    const char* name;
    QSize picture;
    Edge scrolledTo;
    Qt::Key key;
    const char* expectedSignal; // null: the view pans instead
};

class WorkspaceViewNavigation : public ::testing::TestWithParam<NavigationCase> {};

TEST_P(WorkspaceViewNavigation, ArrowsAtTheEdgeAndPageKeysAskForAnotherFile)
{
    ViewHarness harness(GetParam().picture, kViewSize);
    QScrollBar* h = harness.view.horizontalScrollBar();
    switch (GetParam().scrolledTo) {
    case Edge::Left: h->setValue(h->minimum()); break;
    case Edge::Middle: h->setValue((h->minimum() + h->maximum()) / 2); break;
    case Edge::Right: h->setValue(h->maximum()); break;
    }
    std::map<std::string, std::unique_ptr<QSignalSpy>> spies;
    spies["next"] = std::make_unique<QSignalSpy>(&harness.view, &WorkspaceView::nextFileArrow);
    spies["prev"] = std::make_unique<QSignalSpy>(&harness.view, &WorkspaceView::prevFileArrow);
    spies["nextPage"] = std::make_unique<QSignalSpy>(&harness.view, &WorkspaceView::nextFilePage);
    spies["prevPage"] = std::make_unique<QSignalSpy>(&harness.view, &WorkspaceView::prevFilePage);
    const int before = h->value();

    QTest::keyClick(&harness.view, GetParam().key);

    std::vector<std::string> fired;
    for (const auto& [name, spy] : spies)
        for (int i = 0; i < spy->count(); ++i)
            fired.push_back(name);
    if (GetParam().expectedSignal) {
        EXPECT_EQ(fired, std::vector<std::string> {GetParam().expectedSignal});
    } else {
        EXPECT_TRUE(fired.empty());
        EXPECT_NE(h->value(), before) << "the arrow pans the picture";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Keys, WorkspaceViewNavigation,
    ::testing::Values(NavigationCase {"RightAtRightEdge", kLargePicture, Edge::Right, Qt::Key_Right, "next"},
                      NavigationCase {"RightInTheMiddlePans", kLargePicture, Edge::Middle, Qt::Key_Right, nullptr},
                      NavigationCase {"LeftAtLeftEdge", kLargePicture, Edge::Left, Qt::Key_Left, "prev"},
                      NavigationCase {"LeftInTheMiddlePans", kLargePicture, Edge::Middle, Qt::Key_Left, nullptr},
                      NavigationCase {"RightOnAFittingPicture", kSmallPicture, Edge::Left, Qt::Key_Right, "next"},
                      NavigationCase {"PageDown", kLargePicture, Edge::Middle, Qt::Key_PageDown, "nextPage"},
                      NavigationCase {"PageUp", kLargePicture, Edge::Middle, Qt::Key_PageUp, "prevPage"}),
    [](const ::testing::TestParamInfo<NavigationCase>& info) { return info.param.name; });

TEST(WorkspaceViewInput, UnusedKeysGoToTheHostsHotkeysOnce)
{
    ViewHarness harness(kSmallPicture, kViewSize);
    HotkeyRecorder hotkeys;
    harness.Key(QEvent::KeyPress, Qt::Key_F7);
    harness.Key(QEvent::KeyPress, Qt::Key_F7, true);
    harness.Key(QEvent::KeyRelease, Qt::Key_F7, true);
    harness.Key(QEvent::KeyRelease, Qt::Key_F7);

    RecordingTool tool;
    tool.consumeKeys = true;
    harness.view.SetDrawingTool(&tool);
    harness.Key(QEvent::KeyPress, Qt::Key_F8);
    harness.view.SetDrawingTool(nullptr);

    const std::vector<std::string> expected {"press " + std::to_string(Qt::Key_F7),
                                             "release " + std::to_string(Qt::Key_F7)};
    EXPECT_EQ(hotkeys.offered, expected);
}

TEST(WorkspaceViewInput, DeleteNobodyTookAsksToDeleteTheFile)
{
    ViewHarness harness(kSmallPicture, kViewSize);
    QSignalSpy deleted(&harness.view, &WorkspaceView::delFile);
    {
        HotkeyRecorder hotkeys(true);
        QTest::keyClick(&harness.view, Qt::Key_Delete);
        EXPECT_EQ(deleted.count(), 0) << "the host's hotkey took it";
    }
    QTest::keyClick(&harness.view, Qt::Key_Delete);
    EXPECT_EQ(deleted.count(), 1);
}

TEST(WorkspaceViewInput, LeaveGoesToTheTool)
{
    ViewHarness harness(kSmallPicture, kViewSize);
    RecordingTool tool;
    harness.view.SetDrawingTool(&tool);
    ASSERT_TRUE(harness.PutCursorAt(QPoint(100, 100)));
    MoveCursorAway();
    EXPECT_TRUE(WaitUntil([&] {
        return std::find(tool.calls.begin(), tool.calls.end(), "leave") != tool.calls.end();
    }));
    harness.view.SetDrawingTool(nullptr);
}

} // namespace
} // namespace Quelto::Lumindra

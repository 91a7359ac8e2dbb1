// How the view shares keyboard and mouse input between the drawing tool, hand mode, the host's
// hotkeys, navigation and the context menu; all through real Qt events.

#include <QMenu>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTimer>

#include <gtest/gtest.h>

#include "sharedui/SpecialHotkeyHelper.h"
#include "workspace/view/ViewTestSupport.h"

namespace Quelto::Lumindra {
namespace {

using Test::RecordingTool;
using Test::ViewHarness;
using Test::WaitUntil;
using Calls = std::vector<std::string>;

// Overflows an 800x600 view both ways at 100 %, so it can be dragged; the small one fits.
const QSize kLarge(3000, 1000), kSmall(400, 300), kView(800, 600);

std::pair<int, int> CountActivations(const QSignalSpy& spy)
{
    std::pair<int, int> onOff {0, 0};
    for (const QList<QVariant>& args : spy)
        ++(args.at(0).toBool() ? onOff.first : onOff.second);
    return onOff;
}

TEST(WorkspaceViewInput, HeldSpaceAsksForHandModeOnce)
{
    struct Case {
        const char* name;
        QSize picture;
        bool hostAnswers;
        std::pair<int, int> expected;
    };
    // Without the host's answer hand mode never starts, so the repeats reach the Space rule.
    for (const Case& c : {Case {"draggable", kLarge, true, {1, 1}}, Case {"host silent", kLarge, false, {1, 0}},
                          Case {"picture fits", kSmall, true, {0, 0}}}) {
        SCOPED_TRACE(c.name);
        ViewHarness harness(c.picture, kView);
        if (!c.hostAnswers)
            QObject::disconnect(harness.view.GetEmitter(), &ScalableViewEmitter::activateDragMode, &harness.view,
                                nullptr);
        QSignalSpy activate(harness.view.GetEmitter(), &ScalableViewEmitter::activateDragMode);
        harness.Key(QEvent::KeyPress, Qt::Key_Space);
        for (int i = 0; i < 4; ++i)
            harness.Key(QEvent::KeyPress, Qt::Key_Space, true);
        harness.Key(QEvent::KeyRelease, Qt::Key_Space);
        EXPECT_EQ(CountActivations(activate), c.expected);
        EXPECT_EQ(harness.view.dragMode(), QGraphicsView::NoDrag);
    }
}

TEST(WorkspaceViewInput, StrokeInterruptedBySpaceContinuesAsHandDrag)
{
    ViewHarness harness(kLarge, kView);
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
    harness.Key(QEvent::KeyPress, Qt::Key_Space);
    ASSERT_EQ(harness.view.dragMode(), QGraphicsView::ScrollHandDrag);
    QCursor::setPos(harness.Global(dragged));
    harness.Mouse(QEvent::MouseMove, dragged, Qt::NoButton, Qt::LeftButton);
    EXPECT_EQ(h->value(), h0 + (stroke.x() - dragged.x())) << "the drag starts where the stroke ended";
    EXPECT_EQ(v->value(), v0 + (stroke.y() - dragged.y()));
    harness.Key(QEvent::KeyRelease, Qt::Key_Space);
    EXPECT_EQ(harness.view.dragMode(), QGraphicsView::NoDrag);

    // The tool saw its stroke end, nothing of the drag, and gets the held button back.
    const Calls expected {RecordingTool::At("press", start), RecordingTool::At("move", stroke),
                          "key " + std::to_string(Qt::Key_Space), RecordingTool::At("release", stroke),
                          "handModeEnded", RecordingTool::At("press", dragged)};
    EXPECT_EQ(tool.calls, expected);
    harness.view.SetDrawingTool(nullptr);
}

TEST(WorkspaceViewInput, ChordCancelsAPendingContextMenuAndDrags)
{
    ViewHarness harness(kLarge, kView);
    ASSERT_TRUE(harness.exposed);
    harness.view.centerOn(1500, 500);
    harness.view.GetContextMenu()->addAction(QStringLiteral("Paste"));
    QSignalSpy shown(harness.view.GetContextMenu(), &QMenu::aboutToShow);
    QSignalSpy activate(harness.view.GetEmitter(), &ScalableViewEmitter::activateDragMode);
    QScrollBar* h = harness.view.horizontalScrollBar();
    const QPoint p(400, 300), moved(360, 300);
    const Qt::MouseButtons both = Qt::LeftButton | Qt::RightButton;
    ASSERT_TRUE(harness.PutCursorAt(p));

    harness.Mouse(QEvent::MouseButtonPress, p, Qt::RightButton, Qt::RightButton);
    ASSERT_TRUE(harness.view.IsContextMenuPending());
    harness.Mouse(QEvent::MouseButtonPress, p, Qt::LeftButton, both);
    EXPECT_FALSE(harness.view.IsContextMenuPending());
    EXPECT_EQ(harness.view.dragMode(), QGraphicsView::ScrollHandDrag);
    const int before = h->value();
    harness.Mouse(QEvent::MouseMove, moved, Qt::NoButton, both);
    EXPECT_EQ(h->value(), before + (p.x() - moved.x()));
    harness.Mouse(QEvent::MouseButtonRelease, moved, Qt::LeftButton, Qt::RightButton);
    harness.Mouse(QEvent::MouseButtonRelease, moved, Qt::RightButton, Qt::NoButton);
    EXPECT_EQ(CountActivations(activate), std::make_pair(1, 1));
    EXPECT_EQ(harness.view.dragMode(), QGraphicsView::NoDrag);

    // Until the next turn of the event loop a right press still belongs to the chord.
    harness.Mouse(QEvent::MouseButtonPress, moved, Qt::RightButton, Qt::RightButton);
    EXPECT_FALSE(harness.view.IsContextMenuPending());
    harness.Mouse(QEvent::MouseButtonRelease, moved, Qt::RightButton, Qt::NoButton);
    QCoreApplication::processEvents();
    harness.Mouse(QEvent::MouseButtonPress, moved, Qt::RightButton, Qt::RightButton);
    EXPECT_TRUE(harness.view.IsContextMenuPending());
    harness.view.OnCurrentToolsChanged(0); // drops it again
    EXPECT_EQ(shown.count(), 0);
}

TEST(WorkspaceViewInput, RightButtonJoiningAHeldLeftButtonStartsTheHandDrag)
{
    ViewHarness harness(kLarge, kView);
    harness.view.centerOn(1500, 500);
    QSignalSpy activate(harness.view.GetEmitter(), &ScalableViewEmitter::activateDragMode);
    QScrollBar* v = harness.view.verticalScrollBar();
    const QPoint p(400, 300), moved(400, 260);
    ASSERT_TRUE(harness.PutCursorAt(p));

    harness.Mouse(QEvent::MouseButtonPress, p, Qt::LeftButton, Qt::LeftButton);
    harness.Mouse(QEvent::MouseButtonPress, p, Qt::RightButton, Qt::LeftButton | Qt::RightButton);
    EXPECT_EQ(activate.count(), 1) << "asked once, not again for the synthetic left press";
    const int before = v->value();
    harness.Mouse(QEvent::MouseMove, moved, Qt::NoButton, Qt::LeftButton | Qt::RightButton);
    EXPECT_EQ(v->value(), before + (p.y() - moved.y()));
}

TEST(WorkspaceViewInput, RightClickOpensTheMenuWithThePositionOnThePicture)
{
    ViewHarness harness(QSize(1000, 800), kView);
    ASSERT_TRUE(harness.exposed);
    // Moving the picture moves the background rectangle that the position is measured from.
    harness.Scene().GetCanvas()->setPos(100, 50);
    QMenu* menu = harness.view.GetContextMenu();
    menu->addAction(QStringLiteral("Paste"));
    QVariant positionWhileShown;
    QObject::connect(menu, &QMenu::aboutToShow, menu, [&] {
        positionWhileShown = menu->property(WorkspaceView::MENU_POSITION);
        QTimer::singleShot(0, menu, &QMenu::close);
    });
    const QPoint p(300, 200);
    ASSERT_TRUE(harness.PutCursorAt(p));
    const QPointF expected = harness.view.mapToScene(p) - QPointF(100, 50);

    harness.Mouse(QEvent::MouseButtonPress, p, Qt::RightButton, Qt::RightButton);
    harness.Mouse(QEvent::MouseButtonRelease, p, Qt::RightButton, Qt::NoButton);
    ASSERT_TRUE(WaitUntil([&] { return positionWhileShown.isValid() && !menu->isVisible(); }));
    EXPECT_EQ(menu->objectName(), QStringLiteral("workspaceContextMenu"));
    EXPECT_LT((positionWhileShown.toPointF() - expected).manhattanLength(), 1e-6);
    EXPECT_TRUE(WaitUntil([&] { return !menu->property(WorkspaceView::MENU_POSITION).isValid(); }));
}

TEST(WorkspaceViewInput, ArrowsAtTheEdgeAndPageKeysAskForAnotherFile)
{
    ViewHarness harness(kLarge, kView);
    WorkspaceView& view = harness.view;
    QScrollBar* h = view.horizontalScrollBar();
    QSignalSpy next(&view, &WorkspaceView::nextFileArrow), prev(&view, &WorkspaceView::prevFileArrow);
    QSignalSpy nextPage(&view, &WorkspaceView::nextFilePage), prevPage(&view, &WorkspaceView::prevFilePage);

    h->setValue(h->maximum() / 2);
    QTest::keyClick(&view, Qt::Key_Right);
    EXPECT_GT(h->value(), h->maximum() / 2) << "the picture can still be panned";
    QTest::keyClick(&view, Qt::Key_Left);
    EXPECT_EQ(h->value(), h->maximum() / 2);
    EXPECT_EQ(next.count() + prev.count(), 0);

    h->setValue(h->maximum());
    QTest::keyClick(&view, Qt::Key_Right);
    h->setValue(h->minimum());
    QTest::keyClick(&view, Qt::Key_Left);
    QTest::keyClick(&view, Qt::Key_PageDown);
    QTest::keyClick(&view, Qt::Key_PageUp);
    EXPECT_EQ(next.count(), 1);
    EXPECT_EQ(prev.count(), 1);
    EXPECT_EQ(nextPage.count(), 1);
    EXPECT_EQ(prevPage.count(), 1);
}

TEST(WorkspaceViewInput, KeysNobodyTookGoToTheHostsHotkeysOnce)
{
    ViewHarness harness(kSmall, kView);
    Calls offered;
    SpecialHotkeyHelper::SetHandler([&](QKeyEvent* e, bool press) {
        offered.push_back((press ? "press " : "release ") + std::to_string(e->key()));
        return false;
    });
    QSignalSpy deleted(&harness.view, &WorkspaceView::delFile);
    harness.Key(QEvent::KeyPress, Qt::Key_F7);
    harness.Key(QEvent::KeyPress, Qt::Key_F7, true);
    harness.Key(QEvent::KeyRelease, Qt::Key_F7);
    harness.Key(QEvent::KeyPress, Qt::Key_Delete);
    RecordingTool tool;
    tool.consumeKeys = true;
    harness.view.SetDrawingTool(&tool);
    harness.Key(QEvent::KeyPress, Qt::Key_F8);
    harness.view.SetDrawingTool(nullptr);
    SpecialHotkeyHelper::SetHandler(nullptr);

    const Calls expected {"press " + std::to_string(Qt::Key_F7), "release " + std::to_string(Qt::Key_F7),
                          "press " + std::to_string(Qt::Key_Delete)};
    EXPECT_EQ(offered, expected);
    EXPECT_EQ(deleted.count(), 1) << "a Delete nobody took asks to delete the file";
}

} // namespace
} // namespace Quelto::Lumindra

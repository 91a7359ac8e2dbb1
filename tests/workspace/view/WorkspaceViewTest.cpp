// The view's zoom model and its sharing of input, through real Qt events on a shown view over the
// scene of a real workspace controller (a real editing core opened from a flat picture).

#include <cmath>

#include <QApplication>
#include <QCursor>
#include <QMenu>
#include <QDir>
#include <QGestureEvent>
#include <QGraphicsRectItem>
#include <QPinchGesture>
#include <QGraphicsSceneWheelEvent>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include "LumindraWorkspace/WorkspaceController.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "LumindraWorkspace/scene/IScene.h"
#include "LumindraWorkspace/tools/IDrawingTool.h"
#include "LumindraWorkspace/view/WorkspaceView.h"
#include "sceneitem/ISceneItem.h"
#include "sharedui/DragTipController.h"
#include "sharedui/ScalableViewEmitter.h"
#include "sharedui/SpecialHotkeyHelper.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;
constexpr double kTolerance = 1e-9;

// Records what it is offered; takes every mouse event and no key.
class RecordingTool : public IDrawingTool {
public:
    using Call = std::pair<std::string, QPoint>;
    std::vector<Call> calls;

    bool KeyPress(QKeyEvent* e) override { return Add("key " + std::to_string(e->key()), {}, false); }
    bool KeyRelease(QKeyEvent* e) override { return Add("keyUp " + std::to_string(e->key()), {}, false); }
    bool Cancel() override { return Add("cancel"); }
    bool Leave(QEvent*) override { return Add("leave", {}, false); }
    bool MousePress(QMouseEvent* e) override { return Add("press", e->pos()); }
    bool MouseMove(QMouseEvent* e) override { return Add("move", e->pos()); }
    bool MouseRelease(QMouseEvent* e) override { return Add("release", e->pos()); }
    bool MouseDoubleClick(QMouseEvent* e) override { return Add("double", e->pos()); }
    void HandModeEnded() override { Add("handModeEnded"); }
    bool Add(std::string what, QPoint p = {}, bool result = true) { return calls.emplace_back(what, p), result; }
};

// A shown view configured as the editor configures it.
class ViewHarness {
public:
    static constexpr double kMinPercent = 10.0, kMaxPercent = 1600.0, kStepPercent = 10.0; // the editor's
    static constexpr int kNotch = 120; // one notch of a common wheel, in eighths of a degree

    ViewHarness(QSize pictureSize, QSize viewSize)
        : tempDir_("LUMINDRA_TEMP_DIR", QDir(sandbox_.Path()).filePath("tmp").toUtf8())
    {
        QCursor::setPos(-5000, -5000); // away from the view until a test puts it there
        const QImage picture = TS::MakeTestImage(pictureSize.width(), pictureSize.height());
        controller = WorkspaceController::Create(provider_, QPixmap::fromImage(picture), PhotoCore::ImageSourcePaste);
        QObject::connect(view.GetEmitter(), &ScalableViewEmitter::activateDragMode, &view, &WorkspaceView::SetDragMode);
        view.SetRestrictionForScale(IScalableView::ScaleUp, kMaxPercent);
        view.SetRestrictionForScale(IScalableView::ScaleDown, kMinPercent);
        view.SetScaleStep(kStepPercent);
        view.SetWorkspaceController(controller);
        view.resize(viewSize);
        view.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&view));
        // Frames of the opening land now, not in the middle of a test.
        controller->GetLumindraDrawer()->WaitForIdle(TS::kDefaultWaitMs);
        QCoreApplication::processEvents();
    }

    QPoint Global(QPoint p) { return view.viewport()->mapToGlobal(p); }
    // Puts the cursor over the viewport and waits until the view knows it is under the mouse.
    bool PutCursorAt(QPoint p)
    {
        QCursor::setPos(Global(p));
        return TS::WaitUntil([this] { return view.testAttribute(Qt::WA_UnderMouse); });
    }
    void Wheel(QPoint p, int delta = kNotch)
    {
        QWheelEvent e(QPointF(p), QPointF(Global(p)), QPoint(), QPoint(0, delta), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(view.viewport(), &e);
    }
    void Mouse(QEvent::Type type, QPoint p, Qt::MouseButton button, Qt::MouseButtons buttons)
    {
        QMouseEvent e(type, p, Global(p), button, buttons, Qt::NoModifier);
        QCoreApplication::sendEvent(view.viewport(), &e);
    }
    void Key(QEvent::Type type, int key, bool autoRepeat = false)
    {
        QKeyEvent e(type, key, Qt::NoModifier, key == Qt::Key_Space ? QStringLiteral(" ") : QString(), autoRepeat);
        QCoreApplication::sendEvent(&view, &e);
    }

    TS::Sandbox sandbox_;
    TS::ScopedEnv tempDir_; // the cores' session folders go to the sandbox
    WorkspaceControllerProvider provider_ {false, nullptr, false};
    std::shared_ptr<IWorkspaceController> controller;
    WorkspaceView view; // dies first, unregistering from the live controller
};

// Counts the resizes of a widget.
class ResizeCounter : public QObject {
public:
    explicit ResizeCounter(QWidget* widget) { widget->installEventFilter(this); }
    int count = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        count += event->type() == QEvent::Resize;
        return false;
    }
};

// Overflows an 800x600 view both ways at 100 %, so it can be dragged; the small one fits.
const QSize kLarge(3000, 1000), kSmall(400, 300), kView(800, 600);

TEST(WorkspaceView, RestrictionsStartAtOneHundredAndMustBeWidenedInOrder)
{
    WorkspaceView view;
    EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleDown, 200.0));
    EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleUp, 50.0));
    EXPECT_TRUE(view.SetRestrictionForScale(IScalableView::ScaleUp, 400.0));
    EXPECT_TRUE(view.SetRestrictionForScale(IScalableView::ScaleDown, 200.0));
    EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleUp, 199.0));
    EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleNone, 300.0));
    EXPECT_EQ(view.GetRestrictionForScale(IScalableView::ScaleNone), -1.0);
    const auto both = IScalableView::ScalePolicy(IScalableView::ScaleUp | IScalableView::ScaleDown);
    // Both flags at once set the upper limit unchecked, even below the lower one or to no zoom
    // at all, which the two limits of their own refuse.
    for (double percent : {50.0, std::nan(""), 0.0, -5.0}) {
        SCOPED_TRACE(percent);
        if (!(percent > 0.0)) {
            EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleDown, percent));
            EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleUp, percent));
        }
        EXPECT_TRUE(view.SetRestrictionForScale(both, percent));
        const double upper = view.GetRestrictionForScale(IScalableView::ScaleUp);
        EXPECT_TRUE(upper == percent || (std::isnan(percent) && std::isnan(upper))) << upper;
    }
    EXPECT_EQ(view.GetRestrictionForScale(IScalableView::ScaleDown), 200.0);
}

TEST(WorkspaceView, LimitsAreStrictAndTheInitialOnesForbidEveryZoom)
{
    QGraphicsScene scene(0, 0, 400, 300);
    WorkspaceView view;
    view.setScene(&scene);
    QSignalSpy scaled(view.GetEmitter(), &ScalableViewEmitter::scaleChanged);
    EXPECT_EQ(view.CanScale(), IScalableView::ScaleNone);
    view.ScaleToPercent(200.0);
    view.SetScaleStep(10.0);
    QWheelEvent notch(QPointF(10, 10), QPointF(10, 10), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    view.HandleWheelEvent(&notch);
    EXPECT_EQ(view.GetCurrentScalePercent(), 100.0);
    EXPECT_EQ(scaled.count(), 0);

    // A limit a hair's breadth away still leaves room to move.
    ASSERT_TRUE(view.SetRestrictionForScale(IScalableView::ScaleUp, std::nextafter(100.0, 200.0)));
    ASSERT_TRUE(view.SetRestrictionForScale(IScalableView::ScaleDown, std::nextafter(100.0, 0.0)));
    EXPECT_EQ(view.CanScale(), IScalableView::ScalePolicy(IScalableView::ScaleUp | IScalableView::ScaleDown));
}

TEST(WorkspaceView, NotchesAreCompoundingStepsAndALimitClampsUntilReachedThenRefuses)
{
    ViewHarness harness(QSize(800, 600), QSize(400, 300));
    WorkspaceView& view = harness.view;
    QSignalSpy scaled(view.GetEmitter(), &ScalableViewEmitter::scaleChanged);
    struct Notches { std::vector<int> deltas; double expected; };
    for (const Notches& c : {Notches {{120}, 110.0}, Notches {{120, 120}, 121.0}, Notches {{-120}, 90.0},
                             Notches {{120, -120}, 99.0}, Notches {{960}, 110.0}, Notches {{0}, 90.0}}) {
        SCOPED_TRACE(c.expected);
        view.ScaleToPercent(100.0);
        scaled.clear();
        for (int delta : c.deltas)
            harness.Wheel(QPoint(100, 100), delta);
        EXPECT_NEAR(view.GetCurrentScalePercent(), c.expected, kTolerance);
        ASSERT_EQ(scaled.count(), int(c.deltas.size()));
    }
    struct Limit { double start, request, expected; bool changes; };
    // 11.2 % times 1600/11.2 lands a rounding error short of the upper limit.
    for (const Limit& c : {Limit {1600, 2000, 1600, false}, Limit {1500, 2000, 1600, true}, Limit {10, 5, 10, false},
                           Limit {20, 5, 10, true}, Limit {11.2, 2000, 1600, true}, Limit {50, std::nan(""), 50, false}}) {
        SCOPED_TRACE(c.start);
        view.ScaleToPercent(c.start);
        scaled.clear();
        for (int i = 0; i < 2; ++i) // the second request finds the limit reached
            view.ScaleToPercent(c.request);
        EXPECT_NEAR(view.GetCurrentScalePercent(), c.expected, kTolerance);
        EXPECT_EQ(scaled.count(), c.changes ? 1 : 0);
    }
}

TEST(WorkspaceView, ScrollBarsAndDraggingFollowTheZoomAndFitRefitsOnResizeUntilTheNextNotch)
{
    ViewHarness harness(QSize(3000, 1000), QSize(1400, 800));
    WorkspaceView& view = harness.view;
    view.ScaleToPercent(40.0);
    ASSERT_FALSE(view.IsDragModeAvailable()) << "1200 px fit in 1400";
    QSignalSpy dragMode(view.GetEmitter(), &ScalableViewEmitter::enableDragMode);
    view.ScaleToPercent(50.0);
    EXPECT_EQ(view.viewport()->width(), 1400);
    EXPECT_EQ(view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
    EXPECT_EQ(view.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_TRUE(view.IsDragModeAvailable());
    ASSERT_EQ(dragMode.count(), 1);
    EXPECT_TRUE(view.GetDragTipController()->IsTipVisible()) << "a zoom made the picture draggable";

    view.ScaleToFit(true);
    EXPECT_EQ(view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_EQ(view.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_FALSE(dragMode.last().at(0).toBool());
    EXPECT_NEAR(view.GetCurrentScalePercent(), 1400.0 / 3000.0 * 100.0, kTolerance);
    view.resize(1200, 900);
    EXPECT_NEAR(view.GetCurrentScalePercent(), 1200.0 / 3000.0 * 100.0, kTolerance);
    harness.Wheel(QPoint(100, 100));
    view.resize(1400, 800);
    EXPECT_FALSE(view.IsFitToView());
    EXPECT_NEAR(view.GetCurrentScalePercent(), 1200.0 / 3000.0 * 110.0, kTolerance);
}

// Counts the wheel events it gets and takes them if told to.
class WheelRect : public QGraphicsRectItem {
public:
    WheelRect(QRectF rect, bool takes) : QGraphicsRectItem(rect), takes(takes) {}
    const bool takes;
    int wheels = 0;

protected:
    void wheelEvent(QGraphicsSceneWheelEvent* event) override { event->setAccepted(++wheels > 0 && takes); }
};

// The same as an item of the scene-item library, which is offered the wheel before the zoom.
class WheelItem : public WheelRect, public LumindraSceneItem::ISceneItem {
public:
    using WheelRect::WheelRect;
    QGraphicsItem* GetGraphicsItem() override { return this; }
    const QGraphicsItem* GetGraphicsItem() const override { return this; }
    bool AcceptsDrops() const override { return false; }
    std::string GetGroupKey() const override { return "shape"; }
    void Serialize(boost::property_tree::ptree&) const override {}
};

TEST(WorkspaceView, WheelOverASceneItemGoesToItThenToTheScrollBarsAndZoomsOnlyWhenNeitherTakesIt)
{
    // A zoom keeps the scene point under the cursor, which only a picture larger than the view
    // can show: a smaller one stays centred.
    struct Case { const char* what; QSize picture; bool library, takes, zooms; };
    for (const Case& c : {Case {"refusing scene item, picture scrolls", QSize(3000, 2000), true, false, false},
                          Case {"refusing scene item, picture fits", kSmall, true, false, true},
                          Case {"taking scene item", QSize(3000, 2000), true, true, false},
                          Case {"other item", QSize(3000, 2000), false, true, true}}) {
        SCOPED_TRACE(c.what);
        ViewHarness harness(c.picture, kView);
        harness.view.centerOn(c.picture.width() / 2.0, c.picture.height() / 2.0);
        const QPoint cursor(230, 170);
        ASSERT_TRUE(harness.PutCursorAt(cursor));
        // Large enough to stay under the cursor while the wheel scrolls.
        const QRectF around = QRectF(harness.view.mapToScene(cursor), QSizeF()).adjusted(-500, -500, 500, 500);
        WheelRect* item = c.library ? new WheelItem(around, c.takes) : new WheelRect(around, c.takes);
        harness.view.scene()->addItem(item); // the scene owns it from here
        QSignalSpy byWheel(harness.view.GetEmitter(), &ScalableViewEmitter::scaledByWheel);
        const int scrolled = harness.view.verticalScrollBar()->value();
        const bool large = c.picture.width() > kView.width();
        for (int delta : {120, 120, 120, -120, -120, -120, -120, -120}) {
            const QPointF scenePoint = harness.view.mapToScene(cursor);
            harness.Wheel(cursor, delta);
            if (c.zooms && large) {
                EXPECT_LE((harness.view.mapFromScene(scenePoint) - cursor).manhattanLength(), 1)
                    << harness.view.GetCurrentScalePercent() << " %";
            }
        }
        EXPECT_EQ(item->wheels, c.library ? 8 : 0);
        EXPECT_EQ(byWheel.count(), c.zooms ? 8 : 0);
        EXPECT_EQ(harness.view.GetCurrentScalePercent() != 100.0, c.zooms);
        if (!c.zooms) {
            EXPECT_EQ(harness.view.verticalScrollBar()->value() != scrolled, !c.takes) << "the scroll bar had it";
        }
    }
}

TEST(WorkspaceView, HeldSpaceAsksForHandModeOnce)
{
    struct Case { const char* name; QSize picture; bool hostAnswers; int on, off; };
    // Without the host's answer hand mode never starts, so the repeats reach the Space rule.
    for (const Case& c : {Case {"draggable", kLarge, true, 1, 1}, Case {"host silent", kLarge, false, 1, 0},
                          Case {"picture fits", kSmall, true, 0, 0}}) {
        SCOPED_TRACE(c.name);
        ViewHarness harness(c.picture, kView);
        if (!c.hostAnswers)
            QObject::disconnect(harness.view.GetEmitter(), &ScalableViewEmitter::activateDragMode, &harness.view, nullptr);
        QSignalSpy activate(harness.view.GetEmitter(), &ScalableViewEmitter::activateDragMode);
        harness.Key(QEvent::KeyPress, Qt::Key_Space);
        for (int i = 0; i < 4; ++i)
            harness.Key(QEvent::KeyPress, Qt::Key_Space, true);
        harness.Key(QEvent::KeyRelease, Qt::Key_Space);
        ASSERT_EQ(activate.count(), c.on + c.off);
        for (int i = 0; i < activate.count(); ++i)
            EXPECT_EQ(activate.at(i).at(0).toBool(), i < c.on) << i;
    }
}

TEST(WorkspaceView, StrokeInterruptedBySpaceContinuesAsHandDrag)
{
    ViewHarness harness(kLarge, kView);
    harness.view.centerOn(1500, 500);
    RecordingTool tool;
    harness.view.SetDrawingTool(&tool);
    const QPoint start(400, 300), stroke(420, 310), dragged(370, 280);

    ASSERT_TRUE(harness.PutCursorAt(start));
    harness.Mouse(QEvent::MouseButtonPress, start, Qt::LeftButton, Qt::LeftButton);
    QCursor::setPos(harness.Global(stroke));
    harness.Mouse(QEvent::MouseMove, stroke, Qt::NoButton, Qt::LeftButton);
    const int h0 = harness.view.horizontalScrollBar()->value(), v0 = harness.view.verticalScrollBar()->value();
    harness.Key(QEvent::KeyPress, Qt::Key_Space);
    ASSERT_EQ(harness.view.dragMode(), QGraphicsView::ScrollHandDrag);
    QCursor::setPos(harness.Global(dragged));
    harness.Mouse(QEvent::MouseMove, dragged, Qt::NoButton, Qt::LeftButton);
    EXPECT_EQ(harness.view.horizontalScrollBar()->value(), h0 + (stroke.x() - dragged.x())) << "from the stroke's end";
    EXPECT_EQ(harness.view.verticalScrollBar()->value(), v0 + (stroke.y() - dragged.y()));
    harness.Key(QEvent::KeyRelease, Qt::Key_Space);
    EXPECT_EQ(harness.view.dragMode(), QGraphicsView::NoDrag);

    // The tool saw its stroke end, nothing of the drag, and gets the held button back.
    const std::string space = "key " + std::to_string(Qt::Key_Space);
    EXPECT_EQ(tool.calls, (std::vector<RecordingTool::Call> {{"press", start}, {"move", stroke}, {space, {}},
                                                            {"release", stroke}, {"handModeEnded", {}}, {"press", dragged}}));
    harness.view.SetDrawingTool(nullptr);
}

TEST(WorkspaceView, ChordCancelsAPendingContextMenuAndDrags)
{
    ViewHarness harness(kLarge, kView);
    harness.view.centerOn(1500, 500);
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
    EXPECT_EQ(harness.view.dragMode(), QGraphicsView::NoDrag);
}

// A pinch update is one wheel step whichever its size: out unless the fingers spread.
TEST(WorkspaceView, PinchUpdatesStepLikeTheWheel)
{
    ViewHarness harness(kSmall, kView);
    QSignalSpy byGesture(harness.view.GetEmitter(), &ScalableViewEmitter::scaledByGesture);
    struct Case { double factor; QPinchGesture::ChangeFlags flags; double expected; int gestures; };
    for (const Case& c : {Case {3.0, QPinchGesture::ScaleFactorChanged, 110.0, 1},
                          Case {1.01, QPinchGesture::ScaleFactorChanged, 110.0, 1},
                          Case {0.5, QPinchGesture::ScaleFactorChanged, 90.0, 1},
                          Case {1.0, QPinchGesture::ScaleFactorChanged, 90.0, 1},
                          Case {3.0, QPinchGesture::RotationAngleChanged, 100.0, 0}}) {
        SCOPED_TRACE(c.factor);
        harness.view.ScaleToPercent(100.0);
        byGesture.clear();
        QPinchGesture pinch;
        pinch.setScaleFactor(c.factor);
        pinch.setChangeFlags(c.flags);
        QGestureEvent event(QList<QGesture*> {&pinch});
        QCoreApplication::sendEvent(&harness.view, &event);
        EXPECT_NEAR(harness.view.GetCurrentScalePercent(), c.expected, kTolerance);
        EXPECT_EQ(byGesture.count(), c.gestures);
    }
}

// A scene that goes leaves its view at 100 %, for the next picture, without a drag tip.
TEST(WorkspaceView, ClosingThePictureResetsTheZoomQuietly)
{
    ViewHarness harness(kLarge, kView);
    harness.view.ScaleToPercent(20.0);
    ASSERT_FALSE(harness.view.IsDragModeAvailable()) << "600x200 fit";
    ASSERT_TRUE(harness.view.GetDragTipController()->IsEnabled());
    ASSERT_FALSE(harness.view.GetDragTipController()->IsTipVisible());
    QSignalSpy scaled(harness.view.GetEmitter(), &ScalableViewEmitter::scaleChanged);
    harness.controller.reset(); // the scene dies with its controller
    EXPECT_EQ(harness.view.GetCurrentScalePercent(), 100.0);
    EXPECT_EQ(scaled.count(), 1);
    EXPECT_TRUE(harness.view.GetDragTipController()->IsEnabled());
    EXPECT_FALSE(harness.view.GetDragTipController()->IsTipVisible()) << "draggable again, but no tip";
}

// Keys: the tool first, then Escape cancels it, the bracket keys ask for a brush size, and what
// nothing took goes to the host's hotkeys, presses and releases alike, never auto-repeats.
TEST(WorkspaceView, KeysReachTheToolTheBrushSizeAndThenTheHostsHotkeys)
{
    ViewHarness harness(kSmall, kView);
    RecordingTool tool;
    harness.view.SetDrawingTool(&tool);
    QSignalSpy brush(&harness.view, &WorkspaceView::changeBrushSize);
    std::vector<std::pair<int, bool>> hotkeys;
    SpecialHotkeyHelper::SetHandler([&](QKeyEvent* e, bool press) { return hotkeys.emplace_back(e->key(), press), true; });
    struct Case { int key; bool autoRepeat; std::vector<std::string> toolCalls; QList<QVariantList> brush; bool hotkey; };
    const auto k = [](int key) { return "key " + std::to_string(key); };
    for (const Case& c : {Case {Qt::Key_Escape, false, {k(Qt::Key_Escape), "cancel"}, {}, true},
                          Case {Qt::Key_BracketLeft, false, {k(Qt::Key_BracketLeft)}, {{false}}, true},
                          Case {Qt::Key_BracketRight, false, {k(Qt::Key_BracketRight)}, {{true}}, true},
                          Case {Qt::Key_F7, false, {k(Qt::Key_F7)}, {}, true},
                          Case {Qt::Key_F7, true, {k(Qt::Key_F7)}, {}, false}}) {
        SCOPED_TRACE(c.key);
        tool.calls.clear();
        brush.clear();
        hotkeys.clear();
        harness.Key(QEvent::KeyPress, c.key, c.autoRepeat);
        std::vector<std::string> calls;
        for (const auto& call : tool.calls)
            calls.push_back(call.first);
        EXPECT_EQ(calls, c.toolCalls);
        EXPECT_EQ(brush, c.brush);
        using Offered = std::vector<std::pair<int, bool>>;
        EXPECT_EQ(hotkeys, (c.hotkey ? Offered {{c.key, true}} : Offered {}));
    }
    hotkeys.clear();
    harness.Key(QEvent::KeyRelease, Qt::Key_F7);
    EXPECT_EQ(hotkeys, (std::vector<std::pair<int, bool>> {{Qt::Key_F7, false}}));
    SpecialHotkeyHelper::SetHandler({});
    harness.view.SetDrawingTool(nullptr);
}

// A guide widget freezes the scroll bars off through zooms; when it goes, they follow the zoom
// again. A zoom with the cursor outside the view keeps the view's centre.
TEST(WorkspaceView, GuideWidgetFreezesTheScrollBarsAndAZoomWithoutTheCursorKeepsTheCentre)
{
    ViewHarness harness(kLarge, kView);
    WorkspaceView& view = harness.view;
    view.centerOn(1200, 400);
    view.OnGuideWidgetActivated(true);
    const QPointF centre = view.mapToScene(view.viewport()->rect().center());
    view.ScaleToPercent(150.0);
    EXPECT_EQ(view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_EQ(view.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_LE((view.mapToScene(view.viewport()->rect().center()) - centre).manhattanLength(), 2.0);
    view.OnGuideWidgetActivated(false);
    EXPECT_EQ(view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
    EXPECT_EQ(view.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
    EXPECT_TRUE(view.IsDragModeAvailable());
}

// Held for a picture swap, the scroll bars keep their state through a zoom until the release
// makes the change, and a zoom keeps the centre whatever the pointer; through a real swap (the
// closing picture's reset to 100 %, then the new one's fit) the viewport never changes size. A
// fit while held leaves nothing for the release to do.
TEST(WorkspaceView, HeldForAPictureSwapTheScrollBarsWaitAndNoZoomFollowsThePointer)
{
    struct Case { const char* what; bool swap; bool fit; Qt::ScrollBarPolicy afterRelease; };
    for (const Case& c : {Case {"a zoom", false, false, Qt::ScrollBarAlwaysOn},
                          Case {"a zoom, then a fit", false, true, Qt::ScrollBarAlwaysOff},
                          Case {"a picture swap with its fit", true, true, Qt::ScrollBarAlwaysOff}}) {
        SCOPED_TRACE(c.what);
        ViewHarness harness(kLarge, kView);
        WorkspaceView& view = harness.view;
        view.ScaleToFit(true);
        ResizeCounter viewportResizes(view.viewport());
        ASSERT_TRUE(harness.PutCursorAt(QPoint(60, 50)));
        const QPointF centre = view.mapToScene(view.viewport()->rect().center());
        view.HoldForPictureSwap(true);
        if (c.swap) {
            harness.controller = WorkspaceController::Create(
                harness.provider_, QPixmap::fromImage(TS::MakeTestImage(2000, 1500)), PhotoCore::ImageSourcePaste);
            view.SetWorkspaceController(harness.controller);
        } else {
            view.ScaleToPercent(150.0);
            EXPECT_LE((view.mapToScene(view.viewport()->rect().center()) - centre).manhattanLength(), 10.0);
        }
        EXPECT_EQ(view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
        EXPECT_EQ(view.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
        if (c.fit)
            view.ScaleToFit(true);
        QSignalSpy scaled(view.GetEmitter(), &ScalableViewEmitter::scaleChanged);
        view.HoldForPictureSwap(false);
        EXPECT_EQ(view.horizontalScrollBarPolicy(), c.afterRelease);
        EXPECT_EQ(view.verticalScrollBarPolicy(), c.afterRelease);
        EXPECT_EQ(view.IsDragModeAvailable(), c.afterRelease == Qt::ScrollBarAlwaysOn);
        EXPECT_EQ(scaled.count(), 0) << "the release zooms nothing";
        if (c.swap) {
            EXPECT_EQ(viewportResizes.count, 0);
        }
    }
}

// The menu learns where it was asked for: the scene point under the cursor relative to the
// background's corner, for as long as it runs.
TEST(WorkspaceView, ContextMenuCarriesThePositionItWasOpenedAtWhileItRuns)
{
    ViewHarness harness(kSmall, kView);
    WorkspaceView& view = harness.view;
    QMenu* menu = view.GetContextMenu();
    menu->addAction(QStringLiteral("Paste"));
    const QPoint p(420, 310);
    ASSERT_TRUE(harness.PutCursorAt(p));
    auto* scene = qobject_cast<IScene*>(view.scene());
    ASSERT_NE(scene, nullptr);
    const QPointF expected = view.mapToScene(p) - scene->GetBackgroundRect().topLeft();

    QVariant seen;
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&] {
        if (QApplication::activePopupWidget() == menu) {
            seen = menu->property(WorkspaceView::MENU_POSITION);
            menu->close();
        }
    });
    watch.start(10);
    harness.Mouse(QEvent::MouseButtonPress, p, Qt::RightButton, Qt::RightButton);
    harness.Mouse(QEvent::MouseButtonRelease, p, Qt::RightButton, Qt::NoButton);
    ASSERT_TRUE(TS::WaitUntil([&] { return seen.isValid(); }));
    EXPECT_EQ(seen.toPointF(), expected);
    EXPECT_TRUE(TS::WaitUntil([&] { return !menu->property(WorkspaceView::MENU_POSITION).isValid(); }));
}

} // namespace
} // namespace Quelto::Lumindra

// The view's zoom model through real events: limits and steps, the cursor anchor, fit mode, the
// scroll bars and drag availability, items that take the wheel, pinch, and new frames.

#include <cmath>
#include <thread>

#include <QGestureEvent>
#include <QGraphicsRectItem>
#include <QGraphicsSceneWheelEvent>
#include <QPinchGesture>
#include <QScrollBar>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include "workspace/view/ViewTestSupport.h"
#include "sceneitem/ISceneItem.h"
#include "sharedui/DragTipController.h"

namespace Quelto::Lumindra {
namespace {

using Test::FakeController;
using Test::WaitUntil;

using Test::ViewHarness;

constexpr double kPercentTolerance = 1e-9;

// A view fresh from the constructor, before the host has set limits or a step.
TEST(WorkspaceViewZoom, InitialLimitsAllowNoZoomAtAll)
{
    auto controller = std::make_shared<FakeController>(QSize(800, 600));
    WorkspaceView view;
    EXPECT_EQ(view.CanScale(), IScalableView::ScaleNone) << "no scene yet";
    view.SetWorkspaceController(controller);
    view.resize(400, 300);
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    QSignalSpy scaled(view.GetEmitter(), &ScalableViewEmitter::scaleChanged);

    EXPECT_EQ(view.CanScale(), IScalableView::ScaleNone);
    EXPECT_DOUBLE_EQ(view.GetRestrictionForScale(IScalableView::ScaleUp), 100.0);
    EXPECT_DOUBLE_EQ(view.GetRestrictionForScale(IScalableView::ScaleDown), 100.0);
    EXPECT_DOUBLE_EQ(view.GetScaleStep(), 0.0);

    view.ScaleToPercent(200.0);
    QWheelEvent wheel(QPointF(10, 10), QPointF(view.viewport()->mapToGlobal(QPoint(10, 10))), QPoint(), QPoint(0, 120),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(view.viewport(), &wheel);
    QPinchGesture pinch;
    pinch.setChangeFlags(QPinchGesture::ScaleFactorChanged);
    pinch.setScaleFactor(1.5);
    QGestureEvent gesture({&pinch});
    QCoreApplication::sendEvent(&view, &gesture);

    EXPECT_DOUBLE_EQ(view.GetCurrentScalePercent(), 100.0);
    EXPECT_EQ(scaled.count(), 0);
}

TEST(WorkspaceViewZoom, RestrictionsMustBeWidenedInOrder)
{
    WorkspaceView view;
    EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleDown, 200.0)) << "above the upper limit of 100";
    EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleUp, 50.0)) << "below the lower limit of 100";
    EXPECT_DOUBLE_EQ(view.GetRestrictionForScale(IScalableView::ScaleDown), 100.0);
    EXPECT_DOUBLE_EQ(view.GetRestrictionForScale(IScalableView::ScaleUp), 100.0);

    EXPECT_TRUE(view.SetRestrictionForScale(IScalableView::ScaleUp, 400.0));
    EXPECT_TRUE(view.SetRestrictionForScale(IScalableView::ScaleDown, 200.0));
    EXPECT_TRUE(view.SetRestrictionForScale(IScalableView::ScaleDown, 400.0)) << "equal limits are allowed";
    EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleUp, 399.0));

    EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleNone, 300.0));
    EXPECT_DOUBLE_EQ(view.GetRestrictionForScale(IScalableView::ScaleNone), -1.0);

    // Both flags at once set the upper limit without the check, even below the lower one.
    const auto both = static_cast<IScalableView::ScalePolicy>(IScalableView::ScaleUp | IScalableView::ScaleDown);
    EXPECT_TRUE(view.SetRestrictionForScale(both, 50.0));
    EXPECT_DOUBLE_EQ(view.GetRestrictionForScale(IScalableView::ScaleUp), 50.0);
    EXPECT_DOUBLE_EQ(view.GetRestrictionForScale(both), -1.0);
}

TEST(WorkspaceViewZoom, LimitsThatCannotBeZoomsAreRefused)
{
    WorkspaceView view;
    for (double bad : {0.0, -10.0, std::nan(""), HUGE_VAL}) {
        EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleDown, bad)) << bad;
        EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleUp, bad)) << bad;
    }
    EXPECT_DOUBLE_EQ(view.GetRestrictionForScale(IScalableView::ScaleDown), 100.0);
    EXPECT_DOUBLE_EQ(view.GetRestrictionForScale(IScalableView::ScaleUp), 100.0);
}

struct WheelCase {
    const char* name;
    std::vector<int> deltas;
    double expectedPercent;
};

class WorkspaceViewWheelSteps : public ::testing::TestWithParam<WheelCase> {};

// The step is a share of the current zoom, so steps compound and in-then-out does not return.
TEST_P(WorkspaceViewWheelSteps, EachNotchIsOneGeometricStep)
{
    ViewHarness harness(QSize(800, 600), QSize(400, 300));
    ASSERT_TRUE(harness.exposed);
    QSignalSpy scaled(harness.view.GetEmitter(), &ScalableViewEmitter::scaleChanged);
    QSignalSpy byWheel(harness.view.GetEmitter(), &ScalableViewEmitter::scaledByWheel);

    for (int delta : GetParam().deltas)
        EXPECT_TRUE(harness.Wheel(QPoint(100, 100), delta));

    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), GetParam().expectedPercent, kPercentTolerance);
    EXPECT_EQ(byWheel.count(), int(GetParam().deltas.size()));
    ASSERT_EQ(scaled.count(), int(GetParam().deltas.size()));
    EXPECT_NEAR(scaled.last().at(0).toDouble(), GetParam().expectedPercent, kPercentTolerance);
    EXPECT_FALSE(harness.view.IsFitToView());
}

INSTANTIATE_TEST_SUITE_P(
    Notches, WorkspaceViewWheelSteps,
    ::testing::Values(WheelCase {"OneUp", {120}, 110.0}, WheelCase {"TwoUp", {120, 120}, 121.0},
                      WheelCase {"OneDown", {-120}, 90.0}, WheelCase {"TwoDown", {-120, -120}, 81.0},
                      WheelCase {"UpThenDown", {120, -120}, 99.0},
                      WheelCase {"BigDeltaIsStillOneStep", {960}, 110.0},
                      WheelCase {"ZeroDeltaZoomsOut", {0}, 90.0}),
    [](const ::testing::TestParamInfo<WheelCase>& info) { return info.param.name; });

struct LimitCase {
    const char* name;
    double start;
    double request;
    double expectedPercent;
    bool changes;
};

class WorkspaceViewLimits : public ::testing::TestWithParam<LimitCase> {};

TEST_P(WorkspaceViewLimits, RequestsBeyondALimitAreClampedOnlyUntilItIsReached)
{
    ViewHarness harness(QSize(800, 600), QSize(400, 300));
    harness.view.ScaleToPercent(GetParam().start);
    ASSERT_NEAR(harness.view.GetCurrentScalePercent(), GetParam().start, kPercentTolerance);
    QSignalSpy scaled(harness.view.GetEmitter(), &ScalableViewEmitter::scaleChanged);

    harness.view.ScaleToPercent(GetParam().request);
    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), GetParam().expectedPercent, kPercentTolerance);
    EXPECT_EQ(scaled.count(), GetParam().changes ? 1 : 0);

    // Once clamped, the limit is reached: asking again for more changes nothing.
    const double request = GetParam().request;
    if (!(request >= ViewHarness::kMinPercent && request <= ViewHarness::kMaxPercent)) {
        harness.view.ScaleToPercent(request);
        EXPECT_EQ(scaled.count(), GetParam().changes ? 1 : 0);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Limits, WorkspaceViewLimits,
    ::testing::Values(LimitCase {"UpperReached", 1600.0, 2000.0, 1600.0, false},
                      LimitCase {"UpperNotReached", 1500.0, 2000.0, 1600.0, true},
                      LimitCase {"LowerReached", 10.0, 5.0, 10.0, false},
                      LimitCase {"LowerNotReached", 20.0, 5.0, 10.0, true},
                      LimitCase {"SamePercentStillReported", 50.0, 50.0, 50.0, true},
                      // 11.2 % clamped up to 1600 % lands a rounding error below the limit,
                      // which must count as reached.
                      LimitCase {"UpperReachedThroughRounding", 11.2, 2000.0, 1600.0, true},
                      LimitCase {"NotANumberIgnored", 50.0, std::nan(""), 50.0, false}),
    [](const ::testing::TestParamInfo<LimitCase>& info) { return info.param.name; });

TEST(WorkspaceViewZoom, UpperLimitReachedThroughStepsStopsFurtherSteps)
{
    ViewHarness harness(QSize(200, 100), QSize(400, 300));
    harness.view.ScaleToPercent(1500.0);
    harness.Wheel(QPoint(10, 10));
    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), 1600.0, kPercentTolerance);
    EXPECT_EQ(harness.view.CanScale(), IScalableView::ScaleDown);
    QSignalSpy scaled(harness.view.GetEmitter(), &ScalableViewEmitter::scaleChanged);
    harness.Wheel(QPoint(10, 10));
    EXPECT_EQ(scaled.count(), 0);
}

TEST(WorkspaceViewZoom, ScenePointUnderTheCursorStaysThere)
{
    ViewHarness harness(QSize(3000, 2000), QSize(800, 600));
    ASSERT_TRUE(harness.exposed);
    harness.view.centerOn(1500, 1000);
    const QPoint cursor(230, 170);
    ASSERT_TRUE(harness.PutCursorAt(cursor)) << "the offscreen platform moves the cursor and reports enter events";

    for (int delta : {120, 120, 120, -120, 120, -120, -120, -120, -120}) {
        const QPointF scenePoint = harness.view.mapToScene(cursor);
        harness.Wheel(cursor, delta);
        const QPoint now = harness.view.mapFromScene(scenePoint);
        EXPECT_LE(std::abs(now.x() - cursor.x()), 1) << "at " << harness.view.GetCurrentScalePercent() << " %";
        EXPECT_LE(std::abs(now.y() - cursor.y()), 1) << "at " << harness.view.GetCurrentScalePercent() << " %";
    }
}

TEST(WorkspaceViewZoom, WithoutTheCursorTheViewCentreStays)
{
    ViewHarness harness(QSize(3000, 2000), QSize(800, 600));
    harness.view.centerOn(1000, 700);
    const QPoint centre = harness.view.viewport()->rect().center();
    const QPointF scenePoint = harness.view.mapToScene(centre);
    ASSERT_FALSE(harness.view.testAttribute(Qt::WA_UnderMouse));

    harness.view.ScaleToPercent(250.0);

    const QPoint now = harness.view.mapFromScene(scenePoint);
    EXPECT_LE(std::abs(now.x() - centre.x()), 1);
    EXPECT_LE(std::abs(now.y() - centre.y()), 1);
}

TEST(WorkspaceViewZoom, FitTurnsScrollBarsOffAndRefitsOnResizeUntilTheNextZoom)
{
    ViewHarness harness(QSize(3000, 2000), QSize(800, 600));
    ASSERT_TRUE(harness.exposed);
    ScalableViewEmitter* emitter = harness.view.GetEmitter();
    QSignalSpy dragMode(emitter, &ScalableViewEmitter::enableDragMode);
    QSignalSpy resized(emitter, &ScalableViewEmitter::viewResized);
    ASSERT_EQ(harness.view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOn) << "3000 units at 100 % in 800 px";

    harness.view.ScaleToFit(true);

    EXPECT_TRUE(harness.view.IsFitToView());
    EXPECT_EQ(harness.view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_EQ(harness.view.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_FALSE(harness.view.IsDragModeAvailable());
    ASSERT_FALSE(dragMode.isEmpty());
    EXPECT_FALSE(dragMode.last().at(0).toBool());
    // 800 / 3000 is smaller than 600 / 2000.
    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), 800.0 / 3000.0 * 100.0, kPercentTolerance);

    harness.view.resize(1200, 900);
    EXPECT_GE(resized.count(), 1);
    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), 1200.0 / 3000.0 * 100.0, kPercentTolerance);
    EXPECT_TRUE(harness.view.IsFitToView());

    harness.Wheel(QPoint(100, 100));
    EXPECT_FALSE(harness.view.IsFitToView());
    const double afterWheel = harness.view.GetCurrentScalePercent();
    EXPECT_NEAR(afterWheel, 1200.0 / 3000.0 * 110.0, kPercentTolerance);

    harness.view.resize(700, 500);
    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), afterWheel, kPercentTolerance);
}

TEST(WorkspaceViewZoom, FitLeftByScaleToFitFalseKeepsTheZoom)
{
    ViewHarness harness(QSize(3000, 2000), QSize(800, 600));
    harness.view.ScaleToFit(true);
    const double fitted = harness.view.GetCurrentScalePercent();
    harness.view.ScaleToFit(false);
    harness.view.resize(1000, 800);
    EXPECT_FALSE(harness.view.IsFitToView());
    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), fitted, kPercentTolerance);
}

TEST(WorkspaceViewZoom, WidePictureAtHalfSizeTurnsOnTheHorizontalBarAndDragging)
{
    // The viewport is 1400 px wide as long as no vertical bar takes room from it.
    ViewHarness harness(QSize(3000, 1000), QSize(1400, 800));
    ASSERT_TRUE(harness.exposed);
    harness.view.ScaleToPercent(40.0);
    ASSERT_FALSE(harness.view.IsDragModeAvailable()) << "1200 px fit in 1400";
    QSignalSpy dragMode(harness.view.GetEmitter(), &ScalableViewEmitter::enableDragMode);

    harness.view.ScaleToPercent(50.0);

    EXPECT_EQ(harness.view.viewport()->width(), 1400);
    EXPECT_EQ(harness.view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
    EXPECT_EQ(harness.view.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff) << "500 px high";
    EXPECT_TRUE(harness.view.IsDragModeAvailable());
    ASSERT_EQ(dragMode.count(), 1);
    EXPECT_TRUE(dragMode.at(0).at(0).toBool());
    EXPECT_TRUE(harness.view.GetDragTipController()->IsTipVisible()) << "a zoom made the picture draggable";

    harness.view.ScaleToPercent(40.0);
    EXPECT_EQ(harness.view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_FALSE(harness.view.IsDragModeAvailable());
    ASSERT_EQ(dragMode.count(), 2);
    EXPECT_FALSE(dragMode.at(1).at(0).toBool());
    EXPECT_FALSE(harness.view.GetDragTipController()->IsTipVisible());
}

TEST(WorkspaceViewZoom, DraggingMadeAvailableByAResizeShowsNoTip)
{
    ViewHarness harness(QSize(3000, 1000), QSize(1600, 800));
    harness.view.ScaleToPercent(50.0);
    ASSERT_FALSE(harness.view.IsDragModeAvailable());

    harness.view.resize(1400, 800);

    EXPECT_TRUE(harness.view.IsDragModeAvailable());
    EXPECT_FALSE(harness.view.GetDragTipController()->IsTipVisible());
    EXPECT_TRUE(harness.view.GetDragTipController()->IsEnabled()) << "the tip is enabled again afterwards";
}

TEST(WorkspaceViewZoom, DisabledDragTipIsNotShownByAZoom)
{
    ViewHarness harness(QSize(3000, 1000), QSize(1400, 800));
    harness.view.ScaleToPercent(40.0);
    harness.view.EnableDragTip(false);
    harness.view.ScaleToPercent(50.0);
    EXPECT_TRUE(harness.view.IsDragModeAvailable());
    EXPECT_FALSE(harness.view.GetDragTipController()->IsTipVisible());
}

TEST(WorkspaceViewZoom, GuideWidgetFreezesTheScrollBars)
{
    ViewHarness harness(QSize(3000, 1000), QSize(1400, 800));
    harness.view.ScaleToPercent(50.0);
    ASSERT_EQ(harness.view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);

    harness.view.OnGuideWidgetActivated(true);
    EXPECT_EQ(harness.view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    harness.view.ScaleToPercent(80.0);
    EXPECT_EQ(harness.view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_EQ(harness.view.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);

    harness.view.OnGuideWidgetActivated(false);
    EXPECT_EQ(harness.view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
}

// A tool-made item of the scene-item library that may take the wheel.
class WheelItem : public QGraphicsRectItem, public LumindraSceneItem::ISceneItem {
public:
    WheelItem(const QRectF& rect, bool takesWheel)
        : QGraphicsRectItem(rect)
        , takesWheel(takesWheel)
    {
    }
    QGraphicsItem* GetGraphicsItem() override { return this; }
    const QGraphicsItem* GetGraphicsItem() const override { return this; }
    bool AcceptsDrops() const override { return false; }
    std::string GetGroupKey() const override { return "shape"; }
    void Serialize(boost::property_tree::ptree&) const override {}

    int wheels = 0;

protected:
    void wheelEvent(QGraphicsSceneWheelEvent* event) override
    {
        ++wheels;
        event->setAccepted(takesWheel);
    }

private:
    bool takesWheel;
};

// Any other item, however keen on the wheel, is not asked.
class PlainWheelItem : public QGraphicsRectItem {
public:
    using QGraphicsRectItem::QGraphicsRectItem;
    int wheels = 0;

protected:
    void wheelEvent(QGraphicsSceneWheelEvent* event) override
    {
        ++wheels;
        event->accept();
    }
};

TEST(WorkspaceViewZoom, WheelOverASceneItemThatTakesItDoesNotZoom)
{
    ViewHarness harness(QSize(3000, 2000), QSize(800, 600));
    harness.view.centerOn(1500, 1000);
    auto* item = new WheelItem(QRectF(1400, 900, 200, 200), true);
    harness.controller->Scene().addItem(item);
    QSignalSpy byWheel(harness.view.GetEmitter(), &ScalableViewEmitter::scaledByWheel);
    const QPoint over = harness.view.mapFromScene(QPointF(1500, 1000));

    EXPECT_TRUE(harness.Wheel(over));

    EXPECT_EQ(item->wheels, 1);
    EXPECT_DOUBLE_EQ(harness.view.GetCurrentScalePercent(), 100.0);
    EXPECT_EQ(byWheel.count(), 0);
}

TEST(WorkspaceViewZoom, WheelOverASceneItemThatRefusesItZoomsWithoutScrolling)
{
    ViewHarness harness(QSize(3000, 2000), QSize(800, 600));
    harness.view.centerOn(1500, 1000);
    auto* item = new WheelItem(QRectF(1400, 900, 200, 200), false);
    harness.controller->Scene().addItem(item);
    const QPoint over = harness.view.mapFromScene(QPointF(1500, 1000));
    ASSERT_TRUE(harness.PutCursorAt(over));
    const QPointF scenePoint = harness.view.mapToScene(over);

    harness.Wheel(over);

    EXPECT_EQ(item->wheels, 1);
    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), 110.0, kPercentTolerance);
    // A scroll on top of the zoom would have moved the anchored point by a few lines.
    const QPoint now = harness.view.mapFromScene(scenePoint);
    EXPECT_LE(std::abs(now.y() - over.y()), 1);
}

TEST(WorkspaceViewZoom, WheelOverAnItemOfAnotherKindZooms)
{
    ViewHarness harness(QSize(3000, 2000), QSize(800, 600));
    harness.view.centerOn(1500, 1000);
    auto* item = new PlainWheelItem(QRectF(1400, 900, 200, 200));
    harness.controller->Scene().addItem(item);
    QSignalSpy byWheel(harness.view.GetEmitter(), &ScalableViewEmitter::scaledByWheel);

    harness.Wheel(harness.view.mapFromScene(QPointF(1500, 1000)));

    EXPECT_EQ(item->wheels, 0);
    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), 110.0, kPercentTolerance);
    EXPECT_EQ(byWheel.count(), 1);
}

struct PinchCase {
    const char* name;
    double scaleFactor;
    bool scaleChanged;
    double expectedPercent;
};

class WorkspaceViewPinch : public ::testing::TestWithParam<PinchCase> {};

TEST_P(WorkspaceViewPinch, EachUpdateIsOneStepWhateverItsSize)
{
    ViewHarness harness(QSize(800, 600), QSize(400, 300));
    QSignalSpy byGesture(harness.view.GetEmitter(), &ScalableViewEmitter::scaledByGesture);
    QPinchGesture pinch;
    pinch.setChangeFlags(GetParam().scaleChanged ? QPinchGesture::ScaleFactorChanged
                                                 : QPinchGesture::RotationAngleChanged);
    pinch.setScaleFactor(GetParam().scaleFactor);
    QGestureEvent event({&pinch});

    QCoreApplication::sendEvent(&harness.view, &event);

    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), GetParam().expectedPercent, kPercentTolerance);
    EXPECT_EQ(byGesture.count(), GetParam().scaleChanged ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(Pinches, WorkspaceViewPinch,
                         ::testing::Values(PinchCase {"Spread", 3.0, true, 110.0},
                                           PinchCase {"Squeeze", 0.2, true, 90.0},
                                           PinchCase {"UnchangedFactorZoomsOut", 1.0, true, 90.0},
                                           PinchCase {"RotationOnly", 2.0, false, 100.0}),
                         [](const ::testing::TestParamInfo<PinchCase>& info) { return info.param.name; });

// The core raises frame events on its own threads; the view re-checks its scroll bars on the UI
// thread when a new frame arrives.
TEST(WorkspaceViewZoom, NewFrameFromTheCoreRechecksDragAvailability)
{
    ViewHarness harness(QSize(600, 400), QSize(800, 600));
    ASSERT_TRUE(harness.exposed);
    ASSERT_FALSE(harness.view.IsDragModeAvailable());
    ASSERT_EQ(harness.controller->Handlers().size(), 2u) << "the canvas and the view";

    harness.controller->Drawer().SetSize(QSize(2000, 1500));
    std::thread core([&] { harness.controller->RaiseFrame(); });
    core.join();

    EXPECT_TRUE(WaitUntil([&] { return harness.view.IsDragModeAvailable(); }));
    EXPECT_EQ(harness.view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
    EXPECT_EQ(harness.view.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
}

TEST(WorkspaceViewZoom, ControllerChangesMoveTheDrawerRegistration)
{
    auto first = std::make_shared<FakeController>(QSize(300, 200));
    auto second = std::make_shared<FakeController>(QSize(300, 200));
    {
        WorkspaceView view;
        view.SetWorkspaceController(first);
        EXPECT_EQ(view.scene(), &first->Scene());
        EXPECT_EQ(first->Handlers().size(), 2u);

        view.SetWorkspaceController(second);
        EXPECT_EQ(view.scene(), &second->Scene());
        EXPECT_EQ(first->Handlers().size(), 1u) << "only the canvas is left";
        EXPECT_EQ(second->Handlers().size(), 2u);

        view.SetWorkspaceController(std::weak_ptr<IWorkspaceController>());
        EXPECT_EQ(view.scene(), nullptr);
        EXPECT_EQ(view.CanScale(), IScalableView::ScaleNone);
        EXPECT_EQ(second->Handlers().size(), 1u);

        view.SetWorkspaceController(second);
    }
    EXPECT_EQ(second->Handlers().size(), 1u) << "the view unregisters when it dies";
}

// The scene puts its view back to 100 % when it closes, without the hint even where that zoom
// makes the picture draggable.
TEST(WorkspaceViewZoom, ClosingTheSceneResetsTheViewWithoutATip)
{
    auto controller = std::make_shared<FakeController>(QSize(3000, 1000));
    WorkspaceView view;
    view.SetRestrictionForScale(IScalableView::ScaleUp, 1600.0);
    view.SetRestrictionForScale(IScalableView::ScaleDown, 10.0);
    view.SetWorkspaceController(controller);
    view.resize(800, 600);
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    view.ScaleToPercent(20.0);
    ASSERT_FALSE(view.IsDragModeAvailable());

    controller.reset();

    EXPECT_EQ(view.scene(), nullptr);
    EXPECT_DOUBLE_EQ(view.GetCurrentScalePercent(), 100.0);
    EXPECT_TRUE(view.IsDragModeAvailable());
    EXPECT_FALSE(view.GetDragTipController()->IsTipVisible());
    EXPECT_TRUE(view.GetDragTipController()->IsEnabled());
}

} // namespace
} // namespace Quelto::Lumindra

// The view's zoom model through real events on a shown view over a real scene.

#include <algorithm>
#include <cmath>
#include <thread>

#include <QGestureEvent>
#include <QGraphicsRectItem>
#include <QGraphicsSceneWheelEvent>
#include <QPinchGesture>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include "sceneitem/ISceneItem.h"
#include "sharedui/DragTipController.h"
#include "workspace/view/ViewTestSupport.h"

namespace Quelto::Lumindra {
namespace {

using Test::ViewHarness;
using Test::WaitUntil;
using Policy = IScalableView::ScalePolicy;

constexpr double kTolerance = 1e-9;

TEST(WorkspaceViewZoom, InitialLimitsAllowNoZoomAtAll)
{
    ViewHarness harness(QSize(800, 600), QSize(400, 300));
    WorkspaceView& view = harness.view;
    view.SetRestrictionForScale(IScalableView::ScaleDown, 100.0);
    view.SetRestrictionForScale(IScalableView::ScaleUp, 100.0);
    view.SetScaleStep(0.0);
    QSignalSpy scaled(view.GetEmitter(), &ScalableViewEmitter::scaleChanged);

    view.ScaleToPercent(200.0);
    harness.Wheel(QPoint(10, 10));
    EXPECT_EQ(view.CanScale(), IScalableView::ScaleNone);
    EXPECT_DOUBLE_EQ(view.GetCurrentScalePercent(), 100.0);
    EXPECT_EQ(scaled.count(), 0);
}

TEST(WorkspaceViewZoom, RestrictionsMustBeWidenedInOrder)
{
    WorkspaceView view; // both limits start at 100
    EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleDown, 200.0));
    EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleUp, 50.0));
    EXPECT_TRUE(view.SetRestrictionForScale(IScalableView::ScaleUp, 400.0));
    EXPECT_TRUE(view.SetRestrictionForScale(IScalableView::ScaleDown, 200.0));
    EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleUp, 199.0));
    EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleNone, 300.0));
    for (double bad : {0.0, -10.0, std::nan("")})
        EXPECT_FALSE(view.SetRestrictionForScale(IScalableView::ScaleDown, bad)) << bad;
    EXPECT_DOUBLE_EQ(view.GetRestrictionForScale(IScalableView::ScaleDown), 200.0);
    EXPECT_DOUBLE_EQ(view.GetRestrictionForScale(IScalableView::ScaleUp), 400.0);
    EXPECT_DOUBLE_EQ(view.GetRestrictionForScale(IScalableView::ScaleNone), -1.0);

    // Both flags at once set the upper limit unchecked, even below the lower one.
    EXPECT_TRUE(view.SetRestrictionForScale(Policy(IScalableView::ScaleUp | IScalableView::ScaleDown), 50.0));
    EXPECT_DOUBLE_EQ(view.GetRestrictionForScale(IScalableView::ScaleUp), 50.0);
}

struct WheelCase {
    const char* name;
    std::vector<int> deltas;
    double expectedPercent;
    friend void PrintTo(const WheelCase& c, std::ostream* os) { *os << c.name; }
};

class WorkspaceViewWheel : public ::testing::TestWithParam<WheelCase> {};

// The step is a share of the current zoom: steps compound, and in-then-out does not return.
TEST_P(WorkspaceViewWheel, EachNotchIsOneGeometricStep)
{
    ViewHarness harness(QSize(800, 600), QSize(400, 300));
    QSignalSpy scaled(harness.view.GetEmitter(), &ScalableViewEmitter::scaleChanged);
    QSignalSpy byWheel(harness.view.GetEmitter(), &ScalableViewEmitter::scaledByWheel);
    for (int delta : GetParam().deltas)
        EXPECT_TRUE(harness.Wheel(QPoint(100, 100), delta));

    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), GetParam().expectedPercent, kTolerance);
    EXPECT_EQ(byWheel.count(), int(GetParam().deltas.size()));
    ASSERT_EQ(scaled.count(), int(GetParam().deltas.size()));
    EXPECT_NEAR(scaled.last().at(0).toDouble(), GetParam().expectedPercent, kTolerance);
}

INSTANTIATE_TEST_SUITE_P(Notches, WorkspaceViewWheel,
                         ::testing::Values(WheelCase {"OneUp", {120}, 110.0}, WheelCase {"TwoUp", {120, 120}, 121.0},
                                           WheelCase {"OneDown", {-120}, 90.0},
                                           WheelCase {"UpThenDown", {120, -120}, 99.0},
                                           WheelCase {"BigDeltaIsOneStep", {960}, 110.0},
                                           WheelCase {"ZeroDeltaZoomsOut", {0}, 90.0}),
                         [](const auto& info) { return info.param.name; });

struct LimitCase {
    const char* name;
    double start, request, expectedPercent;
    bool changes;
    friend void PrintTo(const LimitCase& c, std::ostream* os) { *os << c.name; }
};

class WorkspaceViewLimits : public ::testing::TestWithParam<LimitCase> {};

TEST_P(WorkspaceViewLimits, BeyondALimitClampsUntilItIsReachedThenIsIgnored)
{
    ViewHarness harness(QSize(800, 600), QSize(400, 300));
    harness.view.ScaleToPercent(GetParam().start);
    QSignalSpy scaled(harness.view.GetEmitter(), &ScalableViewEmitter::scaleChanged);
    for (int i = 0; i < 2; ++i) // the second request finds the limit reached
        harness.view.ScaleToPercent(GetParam().request);
    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), GetParam().expectedPercent, kTolerance);
    EXPECT_EQ(scaled.count(), GetParam().changes ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(Limits, WorkspaceViewLimits,
                         ::testing::Values(LimitCase {"UpperReached", 1600.0, 2000.0, 1600.0, false},
                                           LimitCase {"UpperNotReached", 1500.0, 2000.0, 1600.0, true},
                                           LimitCase {"LowerReached", 10.0, 5.0, 10.0, false},
                                           LimitCase {"LowerNotReached", 20.0, 5.0, 10.0, true},
                                           // 11.2 % times 1600/11.2 lands a rounding error short.
                                           LimitCase {"UpperReachedThroughRounding", 11.2, 2000.0, 1600.0, true},
                                           LimitCase {"NotANumberIgnored", 50.0, std::nan(""), 50.0, false}),
                         [](const auto& info) { return info.param.name; });

TEST(WorkspaceViewZoom, ScenePointUnderTheCursorStaysWithinAPixel)
{
    ViewHarness harness(QSize(3000, 2000), QSize(800, 600));
    ASSERT_TRUE(harness.exposed);
    harness.view.centerOn(1500, 1000);
    const QPoint cursor(230, 170);
    ASSERT_TRUE(harness.PutCursorAt(cursor)) << "the offscreen platform moves the cursor and reports enter events";

    for (int delta : {120, 120, 120, -120, -120, -120, -120, -120}) {
        const QPointF scenePoint = harness.view.mapToScene(cursor);
        harness.Wheel(cursor, delta);
        const QPoint now = harness.view.mapFromScene(scenePoint);
        EXPECT_LE(std::abs(now.x() - cursor.x()), 1) << harness.view.GetCurrentScalePercent() << " %";
        EXPECT_LE(std::abs(now.y() - cursor.y()), 1) << harness.view.GetCurrentScalePercent() << " %";
    }
}

TEST(WorkspaceViewZoom, FitTurnsScrollBarsOffAndRefitsOnResizeUntilTheNextNotch)
{
    ViewHarness harness(QSize(3000, 2000), QSize(800, 600));
    ASSERT_TRUE(harness.exposed);
    WorkspaceView& view = harness.view;
    QSignalSpy dragMode(view.GetEmitter(), &ScalableViewEmitter::enableDragMode);
    ASSERT_EQ(view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);

    view.ScaleToFit(true);
    EXPECT_EQ(view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_EQ(view.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    ASSERT_FALSE(dragMode.isEmpty());
    EXPECT_FALSE(dragMode.last().at(0).toBool());
    EXPECT_NEAR(view.GetCurrentScalePercent(), 800.0 / 3000.0 * 100.0, kTolerance);

    view.resize(1200, 900);
    EXPECT_NEAR(view.GetCurrentScalePercent(), 1200.0 / 3000.0 * 100.0, kTolerance);

    harness.Wheel(QPoint(100, 100));
    view.resize(700, 500);
    EXPECT_FALSE(view.IsFitToView());
    EXPECT_NEAR(view.GetCurrentScalePercent(), 1200.0 / 3000.0 * 110.0, kTolerance);
}

TEST(WorkspaceViewZoom, WidePictureAtHalfSizeNeedsTheHorizontalBarAndCanBeDragged)
{
    ViewHarness harness(QSize(3000, 1000), QSize(1400, 800));
    ASSERT_TRUE(harness.exposed);
    WorkspaceView& view = harness.view;
    view.ScaleToPercent(40.0);
    ASSERT_FALSE(view.IsDragModeAvailable()) << "1200 px fit in 1400";
    QSignalSpy dragMode(view.GetEmitter(), &ScalableViewEmitter::enableDragMode);

    view.ScaleToPercent(50.0);
    EXPECT_EQ(view.viewport()->width(), 1400);
    EXPECT_EQ(view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
    EXPECT_EQ(view.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_TRUE(view.IsDragModeAvailable());
    EXPECT_EQ(dragMode.count(), 1);
    EXPECT_TRUE(view.GetDragTipController()->IsTipVisible()) << "a zoom made the picture draggable";

    // Made draggable by a resize instead, the picture gets no hint.
    view.resize(1600, 800);
    ASSERT_FALSE(view.IsDragModeAvailable());
    view.resize(1400, 800);
    EXPECT_TRUE(view.IsDragModeAvailable());
    EXPECT_FALSE(view.GetDragTipController()->IsTipVisible());
    EXPECT_TRUE(view.GetDragTipController()->IsEnabled());
}

// A tool-made item of the scene-item library, or (`sceneItem` false) any other item.
class WheelItem : public QGraphicsRectItem, public LumindraSceneItem::ISceneItem {
public:
    WheelItem(bool takesWheel) : QGraphicsRectItem(1400, 900, 200, 200), takesWheel(takesWheel) {}
    QGraphicsItem* GetGraphicsItem() override { return this; }
    const QGraphicsItem* GetGraphicsItem() const override { return this; }
    bool AcceptsDrops() const override { return false; }
    std::string GetGroupKey() const override { return "shape"; }
    void Serialize(boost::property_tree::ptree&) const override {}
    int wheels = 0;
    const bool takesWheel;

protected:
    void wheelEvent(QGraphicsSceneWheelEvent* event) override
    {
        ++wheels;
        event->setAccepted(takesWheel);
    }
};
class PlainWheelItem : public QGraphicsRectItem {
public:
    PlainWheelItem() : QGraphicsRectItem(1400, 900, 200, 200) {}
    int wheels = 0;

protected:
    void wheelEvent(QGraphicsSceneWheelEvent* event) override { event->setAccepted(++wheels > 0); }
};

TEST(WorkspaceViewZoom, OnlySceneItemsThatTakeTheWheelStopTheZoom)
{
    struct Case {
        const char* name;
        QGraphicsItem* item;
        const int* wheels;
        int expectedWheels;
        double expectedPercent;
    };
    auto* taking = new WheelItem(true);
    auto* refusing = new WheelItem(false);
    auto* plain = new PlainWheelItem;
    for (const Case& c : {Case {"taking", taking, &taking->wheels, 1, 100.0},
                          Case {"refusing", refusing, &refusing->wheels, 1, 110.0},
                          Case {"plain", plain, &plain->wheels, 0, 110.0}}) {
        SCOPED_TRACE(c.name);
        ViewHarness harness(QSize(3000, 2000), QSize(800, 600));
        harness.view.centerOn(1500, 1000);
        harness.Scene().addItem(c.item);
        const QPoint over = harness.view.mapFromScene(QPointF(1500, 1000));
        ASSERT_TRUE(harness.PutCursorAt(over));
        QSignalSpy byWheel(harness.view.GetEmitter(), &ScalableViewEmitter::scaledByWheel);

        harness.Wheel(over);
        EXPECT_EQ(*c.wheels, c.expectedWheels);
        EXPECT_NEAR(harness.view.GetCurrentScalePercent(), c.expectedPercent, kTolerance);
        EXPECT_EQ(byWheel.count(), c.expectedPercent == 100.0 ? 0 : 1);
        // A scroll on top of the zoom would have moved the point under the cursor by lines.
        EXPECT_LE(std::abs(harness.view.mapFromScene(QPointF(1500, 1000)).y() - over.y()), 1);
        harness.Scene().removeItem(c.item);
        delete c.item;
    }
}

TEST(WorkspaceViewZoom, PinchUpdatesAreOneStepEach)
{
    ViewHarness harness(QSize(800, 600), QSize(400, 300));
    QSignalSpy byGesture(harness.view.GetEmitter(), &ScalableViewEmitter::scaledByGesture);
    const auto pinch = [&](double factor, QPinchGesture::ChangeFlags flags) {
        QPinchGesture gesture;
        gesture.setChangeFlags(flags);
        gesture.setScaleFactor(factor);
        QGestureEvent event({&gesture});
        QCoreApplication::sendEvent(&harness.view, &event);
    };
    pinch(3.0, QPinchGesture::ScaleFactorChanged);
    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), 110.0, kTolerance);
    pinch(1.0, QPinchGesture::ScaleFactorChanged); // an unchanged factor zooms out
    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), 99.0, kTolerance);
    pinch(3.0, QPinchGesture::RotationAngleChanged);
    EXPECT_NEAR(harness.view.GetCurrentScalePercent(), 99.0, kTolerance);
    EXPECT_EQ(byGesture.count(), 2);
}

// The core raises drawer events on its own threads; the view re-checks on the UI thread.
TEST(WorkspaceViewZoom, NewFrameRechecksDragAvailability)
{
    ViewHarness harness(QSize(600, 400), QSize(800, 600));
    ASSERT_TRUE(harness.exposed);
    ASSERT_FALSE(harness.view.IsDragModeAvailable());
    harness.Scene().setSceneRect(0, 0, 2000, 1500);
    ASSERT_FALSE(harness.view.IsDragModeAvailable());

    PhotoCore::IDrawerEventHandler& handler = harness.view;
    std::thread core([&] { handler.HandleFrame({"frame", "", -1, 0}); });
    core.join();
    EXPECT_TRUE(WaitUntil([&] { return harness.view.IsDragModeAvailable(); }));
    EXPECT_EQ(harness.view.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
}

TEST(WorkspaceViewZoom, ControllerChangesMoveTheSceneAndTheDrawerRegistration)
{
    ViewHarness first(QSize(300, 200), QSize(400, 300));
    ViewHarness second(QSize(300, 200), QSize(400, 300));
    WorkspaceView& view = first.view;
    PhotoCore::IDrawerEventHandler* handler = &view;
    const auto registered = [handler](ViewHarness& h) {
        const auto handlers = dynamic_cast<PhotoCore::DrawerEventForwarder&>(*h.controller).GetHandlers();
        return std::find(handlers.begin(), handlers.end(), handler) != handlers.end();
    };
    view.SetWorkspaceController(second.controller);
    EXPECT_EQ(view.scene(), second.controller->GetScene());
    EXPECT_FALSE(registered(first));
    EXPECT_TRUE(registered(second));

    view.SetWorkspaceController(std::weak_ptr<IWorkspaceController>());
    EXPECT_EQ(view.scene(), nullptr);
    EXPECT_FALSE(registered(second));
    EXPECT_EQ(view.CanScale(), IScalableView::ScaleNone);
}

} // namespace
} // namespace Quelto::Lumindra

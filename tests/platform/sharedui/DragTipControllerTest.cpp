// The drag hint on a view: shown when dragging becomes available while enabled, hidden by
// interaction, by time and when dragging is no longer available.

#include <QGraphicsView>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include "sharedui/DragTipController.h"
#include "sharedui/ScalableViewEmitter.h"
#include "sharedui/ToolTipManager.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

using Test::WaitUntil;

class DragTipFixture : public ::testing::Test {
protected:
    DragTipFixture()
        : emitter(&view)
        , tips(&view)
        , controller(&view, &emitter, &tips)
    {
        view.resize(600, 400);
        view.show();
        exposed = QTest::qWaitForWindowExposed(&view);
    }

    QGraphicsView view;
    ScalableViewEmitter emitter;
    ToolTipManager tips;
    DragTipController controller;
    bool exposed = false;
};

TEST_F(DragTipFixture, AvailableDraggingShowsTheHintNearTheBottomOfTheViewport)
{
    ASSERT_TRUE(exposed);
    EXPECT_TRUE(controller.IsEnabled()) << "enabled from the start";
    emit emitter.enableDragMode(true);

    ASSERT_TRUE(controller.IsTipVisible());
    EXPECT_EQ(tips.GetTipWidget(), view.viewport());
    EXPECT_EQ(tips.GetTipHtml(), DragTipController::GetTipText());
    const QRect tip = tips.GetTipGeometry();
    EXPECT_GT(tip.top(), view.viewport()->height() / 2) << "in the lower half";
    EXPECT_LT(tip.bottom(), view.viewport()->height());
    EXPECT_LE(std::abs(tip.center().x() - view.viewport()->rect().center().x()), 1);

    emit emitter.enableDragMode(false);
    EXPECT_FALSE(controller.IsTipVisible());
}

TEST_F(DragTipFixture, DisabledControllerShowsNothingButLetsAShownHintRun)
{
    controller.SetEnabled(false);
    emit emitter.enableDragMode(true);
    EXPECT_FALSE(controller.IsTipVisible());

    controller.SetEnabled(true);
    emit emitter.enableDragMode(true);
    controller.SetEnabled(false);
    EXPECT_TRUE(controller.IsTipVisible());
}

struct InteractionCase {
    const char* name;
    QEvent::Type type;
    bool toViewport;
};

class DragTipInteraction : public DragTipFixture, public ::testing::WithParamInterface<InteractionCase> {};

TEST_P(DragTipInteraction, InteractionHidesTheHint)
{
    emit emitter.enableDragMode(true);
    ASSERT_TRUE(controller.IsTipVisible());
    QWidget* target = GetParam().toViewport ? view.viewport() : static_cast<QWidget*>(&view);
    switch (GetParam().type) {
    case QEvent::MouseButtonPress:
        QTest::mousePress(target, Qt::LeftButton, Qt::NoModifier, QPoint(20, 20));
        break;
    case QEvent::Wheel: {
        QWheelEvent wheel(QPointF(20, 20), QPointF(target->mapToGlobal(QPoint(20, 20))), QPoint(), QPoint(0, 120),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(target, &wheel);
        break;
    }
    case QEvent::KeyPress:
        QTest::keyPress(target, Qt::Key_Space);
        break;
    default:
        FAIL() << "no such interaction";
    }
    EXPECT_FALSE(controller.IsTipVisible());
}

INSTANTIATE_TEST_SUITE_P(Interactions, DragTipInteraction,
                         ::testing::Values(InteractionCase {"Click", QEvent::MouseButtonPress, true},
                                           InteractionCase {"Wheel", QEvent::Wheel, true},
                                           InteractionCase {"Key", QEvent::KeyPress, false}),
                         [](const ::testing::TestParamInfo<InteractionCase>& info) { return info.param.name; });

TEST_F(DragTipFixture, HintHidesAfterItsDuration)
{
    controller.SetTipDuration(50);
    emit emitter.enableDragMode(true);
    ASSERT_TRUE(controller.IsTipVisible());
    EXPECT_TRUE(WaitUntil([&] { return !controller.IsTipVisible(); }));
}

TEST_F(DragTipFixture, ResizeKeepsTheHintInsideTheViewport)
{
    ASSERT_TRUE(exposed);
    emit emitter.enableDragMode(true);
    view.resize(300, 200);
    ASSERT_TRUE(WaitUntil([&] { return view.viewport()->height() <= 200; }));
    ASSERT_TRUE(controller.IsTipVisible());
    EXPECT_TRUE(view.viewport()->rect().contains(tips.GetTipGeometry()));
}

TEST_F(DragTipFixture, InteractionLeavesOtherTipsOfTheManagerAlone)
{
    tips.ShowTip(view.viewport(), QStringLiteral("someone else's tip"), QPixmap(), QPoint(50, 50), 0);
    QTest::mousePress(view.viewport(), Qt::LeftButton, Qt::NoModifier, QPoint(20, 20));
    EXPECT_TRUE(tips.IsTipVisible());
    EXPECT_FALSE(controller.IsTipVisible());

    emit emitter.enableDragMode(false);
    EXPECT_TRUE(tips.IsTipVisible()) << "not ours to hide";
}

TEST(DragTipController, PartnersDyingFirstOnlyStopTheHints)
{
    auto view = std::make_unique<QGraphicsView>();
    ScalableViewEmitter emitter;
    auto tips = std::make_unique<ToolTipManager>();
    DragTipController controller(view.get(), &emitter, tips.get());
    tips.reset();
    emit emitter.enableDragMode(true);
    EXPECT_FALSE(controller.IsTipVisible());
    view.reset();
    emit emitter.enableDragMode(true);
    EXPECT_FALSE(controller.IsTipVisible());
}

} // namespace
} // namespace Quelto::Lumindra

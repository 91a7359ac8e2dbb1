// Tips over a widget: the rich tool tip (placement inside the widget, replacement, the widget or
// the manager dying while a tip is shown) and the drag hint drawn with it on a view (shown when
// dragging becomes available while enabled; hidden by interaction, by time and when dragging ends).

#include <memory>

#include <QGraphicsView>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include "sharedui/DragTipController.h"
#include "sharedui/ScalableViewEmitter.h"
#include "sharedui/ToolTipManager.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

const QString kHtml = QStringLiteral("Hold <b>Space</b> and drag to move the picture around");

TEST(ToolTipManager, TipStaysInsideItsWidgetAndGoesWhenReplacedOrWhenItsWidgetDies)
{
    auto widget = std::make_unique<QWidget>();
    widget->resize(400, 300);
    QWidget other;
    ToolTipManager tips;
    EXPECT_FALSE(tips.ShowTip(nullptr, kHtml, QPixmap(), QPoint(), 0));
    EXPECT_FALSE(tips.ShowTip(widget.get(), QString(), QPixmap(), QPoint(), 0));
    ASSERT_TRUE(tips.ShowTip(widget.get(), kHtml, QPixmap(), QPoint(200, 250), 0));
    EXPECT_LE(std::abs(tips.GetTipGeometry().center().x() - 200), 1);
    EXPECT_EQ(tips.GetTipGeometry().bottom() + 1, 250);
    for (QPoint anchor : {QPoint(0, 0), QPoint(400, 300), QPoint(-1000, 5000)}) {
        tips.MoveTip(anchor);
        EXPECT_TRUE(widget->rect().contains(tips.GetTipGeometry())) << anchor.x() << "," << anchor.y();
    }

    tips.ShowTip(&other, kHtml, QPixmap(), QPoint(10, 10), 0);
    QSignalSpy hidden(&tips, &ToolTipManager::tipHidden);
    tips.ShowTip(widget.get(), QStringLiteral("elsewhere"), QPixmap(), QPoint(10, 10), 50);
    EXPECT_EQ(hidden.count(), 1);
    EXPECT_TRUE(other.findChildren<QWidget*>().isEmpty()) << "the old tip went with the move";
    widget.reset();
    EXPECT_EQ(hidden.count(), 2);
    tips.HideTip();
    EXPECT_EQ(hidden.count(), 2) << "hiding what is gone reports nothing";
    {
        ToolTipManager shortLived;
        ASSERT_TRUE(shortLived.ShowTip(&other, kHtml, QPixmap(), QPoint(10, 10), 0));
    }
    EXPECT_TRUE(other.findChildren<QWidget*>().isEmpty());
}

TEST(DragTipController, HintShowsWhileEnabledAndGoesOnInteractionTimeOrWhenDraggingEnds)
{
    QGraphicsView view;
    view.resize(600, 400);
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    ScalableViewEmitter emitter;
    ToolTipManager tips;
    DragTipController controller(&view, &emitter, &tips);
    controller.SetEnabled(false);
    emit emitter.enableDragMode(true);
    EXPECT_FALSE(controller.IsTipVisible());
    controller.SetEnabled(true);
    emit emitter.enableDragMode(true);
    ASSERT_TRUE(controller.IsTipVisible());
    EXPECT_EQ(tips.GetTipWidget(), view.viewport());
    controller.SetEnabled(false); // a hint on screen runs its course
    EXPECT_TRUE(controller.IsTipVisible());
    emit emitter.enableDragMode(false);
    EXPECT_FALSE(controller.IsTipVisible());

    controller.SetEnabled(true);
    QWheelEvent wheel(QPointF(20, 20), QPointF(20, 20), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    for (int how = 0; how < 4; ++how) { // click, wheel, key, time
        if (how == 3)
            controller.SetTipDuration(50);
        emit emitter.enableDragMode(true);
        ASSERT_TRUE(controller.IsTipVisible()) << how;
        if (how == 0)
            QTest::mousePress(view.viewport(), Qt::LeftButton, Qt::NoModifier, QPoint(20, 20));
        else if (how == 1)
            QCoreApplication::sendEvent(view.viewport(), &wheel);
        else if (how == 2)
            QTest::keyPress(&view, Qt::Key_Space);
        EXPECT_EQ(controller.IsTipVisible(), how == 3) << how;
        EXPECT_TRUE(::Quelto::Lumindra::Test::WaitUntil([&] { return !controller.IsTipVisible(); })) << how;
    }
    tips.ShowTip(view.viewport(), QStringLiteral("someone else's"), QPixmap(), QPoint(50, 50), 0);
    QTest::mousePress(view.viewport(), Qt::LeftButton, Qt::NoModifier, QPoint(20, 20));
    emit emitter.enableDragMode(false);
    EXPECT_TRUE(tips.IsTipVisible()) << "not the controller's to hide";
}

} // namespace
} // namespace Quelto::Lumindra

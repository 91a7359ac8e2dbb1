// The drag hint on a view: shown when dragging becomes available while enabled, hidden by
// interaction, by time and when dragging is no longer available.

#include <functional>
#include <vector>

#include <QGraphicsView>
#include <QTest>

#include <gtest/gtest.h>

#include "sharedui/DragTipController.h"
#include "sharedui/ScalableViewEmitter.h"
#include "sharedui/ToolTipManager.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

using Test::WaitUntil;

class DragTipTest : public ::testing::Test {
protected:
    DragTipTest()
    {
        view.resize(600, 400);
        view.show();
        exposed = QTest::qWaitForWindowExposed(&view);
    }
    QGraphicsView view;
    ScalableViewEmitter emitter;
    ToolTipManager tips;
    DragTipController controller {&view, &emitter, &tips};
    bool exposed = false;
};

TEST_F(DragTipTest, HintAppearsNearTheBottomOnlyWhileEnabled)
{
    ASSERT_TRUE(exposed);
    controller.SetEnabled(false);
    emit emitter.enableDragMode(true);
    EXPECT_FALSE(controller.IsTipVisible());

    controller.SetEnabled(true);
    emit emitter.enableDragMode(true);
    ASSERT_TRUE(controller.IsTipVisible());
    EXPECT_EQ(tips.GetTipWidget(), view.viewport());
    EXPECT_EQ(tips.GetTipHtml(), DragTipController::GetTipText());
    EXPECT_GT(tips.GetTipGeometry().top(), view.viewport()->height() / 2);

    controller.SetEnabled(false); // a hint on screen runs its course
    EXPECT_TRUE(controller.IsTipVisible());
    emit emitter.enableDragMode(false);
    EXPECT_FALSE(controller.IsTipVisible());
}

TEST_F(DragTipTest, ClickWheelKeyOrTimeHideTheHintButNotOtherTips)
{
    const auto interactions = std::vector<std::function<void()>> {
        [&] { QTest::mousePress(view.viewport(), Qt::LeftButton, Qt::NoModifier, QPoint(20, 20)); },
        [&] {
            QWheelEvent wheel(QPointF(20, 20), QPointF(20, 20), QPoint(), QPoint(0, 120), Qt::NoButton,
                              Qt::NoModifier, Qt::NoScrollPhase, false);
            QCoreApplication::sendEvent(view.viewport(), &wheel);
        },
        [&] { QTest::keyPress(&view, Qt::Key_Space); },
        [&] { EXPECT_TRUE(WaitUntil([&] { return !controller.IsTipVisible(); })); },
    };
    for (const auto& interact : interactions) {
        if (&interact == &interactions.back())
            controller.SetTipDuration(50); // the last one only waits
        emit emitter.enableDragMode(true);
        ASSERT_TRUE(controller.IsTipVisible());
        interact();
        EXPECT_FALSE(controller.IsTipVisible());
    }

    tips.ShowTip(view.viewport(), QStringLiteral("someone else's"), QPixmap(), QPoint(50, 50), 0);
    QTest::mousePress(view.viewport(), Qt::LeftButton, Qt::NoModifier, QPoint(20, 20));
    emit emitter.enableDragMode(false);
    EXPECT_TRUE(tips.IsTipVisible()) << "not the controller's to hide";
}

} // namespace
} // namespace Quelto::Lumindra

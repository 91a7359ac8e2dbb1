// The rich tool tip over a widget: placement inside the widget, replacement, timeout, and the
// widget or the manager dying while a tip is shown.

#include <memory>

#include <QSignalSpy>
#include <QWidget>

#include <gtest/gtest.h>

#include "sharedui/ToolTipManager.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

using Test::kDefaultWaitMs;

const QString kHtml = QStringLiteral("Hold <b>Space</b> to drag");

struct PlacementCase {
    const char* name;
    QPoint anchor;
};

class ToolTipPlacement : public ::testing::TestWithParam<PlacementCase> {};

TEST_P(ToolTipPlacement, TipStaysInsideItsWidget)
{
    QWidget widget;
    widget.resize(400, 300);
    ToolTipManager tips;
    ASSERT_TRUE(tips.ShowTip(&widget, kHtml, QPixmap(), GetParam().anchor, 0));

    const QRect tip = tips.GetTipGeometry();
    ASSERT_FALSE(tip.isEmpty());
    EXPECT_TRUE(widget.rect().contains(tip)) << tip.x() << "," << tip.y() << " " << tip.width() << "x" << tip.height();
    EXPECT_EQ(tips.GetTipWidget(), &widget);
    EXPECT_EQ(tips.GetTipHtml(), kHtml);
}

INSTANTIATE_TEST_SUITE_P(Anchors, ToolTipPlacement,
                         ::testing::Values(PlacementCase {"Centre", QPoint(200, 150)},
                                           PlacementCase {"TopLeftCorner", QPoint(0, 0)},
                                           PlacementCase {"BottomRightCorner", QPoint(400, 300)},
                                           PlacementCase {"FarOutside", QPoint(-1000, 5000)}),
                         [](const ::testing::TestParamInfo<PlacementCase>& info) { return info.param.name; });

TEST(ToolTipManager, TipBottomCentreSitsOnTheAnchorWhereThereIsRoom)
{
    QWidget widget;
    widget.resize(600, 400);
    ToolTipManager tips;
    QPixmap icon(24, 24);
    icon.fill(Qt::white);
    ASSERT_TRUE(tips.ShowTip(&widget, kHtml, icon, QPoint(300, 350), 0));
    const QRect tip = tips.GetTipGeometry();
    EXPECT_LE(std::abs(tip.center().x() - 300), 1);
    EXPECT_EQ(tip.bottom() + 1, 350);
}

TEST(ToolTipManager, RefusesWhatCannotBeShown)
{
    QWidget widget;
    ToolTipManager tips;
    QSignalSpy shown(&tips, &ToolTipManager::tipShown);
    EXPECT_FALSE(tips.ShowTip(nullptr, kHtml, QPixmap(), QPoint(), 0));
    EXPECT_FALSE(tips.ShowTip(&widget, QString(), QPixmap(), QPoint(), 0));
    EXPECT_FALSE(tips.IsTipVisible());
    EXPECT_EQ(shown.count(), 0);
}

TEST(ToolTipManager, NewTipReplacesTheOldOneOnAnyWidget)
{
    QWidget first, second;
    first.resize(200, 100);
    second.resize(200, 100);
    ToolTipManager tips;
    QSignalSpy hidden(&tips, &ToolTipManager::tipHidden);

    tips.ShowTip(&first, kHtml, QPixmap(), QPoint(100, 90), 0);
    tips.ShowTip(&first, QStringLiteral("again"), QPixmap(), QPoint(100, 90), 0);
    EXPECT_EQ(hidden.count(), 1);
    tips.ShowTip(&second, QStringLiteral("elsewhere"), QPixmap(), QPoint(100, 90), 0);
    EXPECT_EQ(hidden.count(), 2);
    EXPECT_EQ(tips.GetTipWidget(), &second);
    EXPECT_EQ(tips.GetTipHtml(), QStringLiteral("elsewhere"));
    EXPECT_TRUE(first.findChildren<QWidget*>().isEmpty()) << "the old tip went with the move";

    tips.HideTip();
    tips.HideTip();
    EXPECT_EQ(hidden.count(), 3) << "hiding twice reports once";
    EXPECT_FALSE(tips.IsTipVisible());
    EXPECT_EQ(tips.GetTipWidget(), nullptr);
}

TEST(ToolTipManager, TipHidesItselfAfterItsDuration)
{
    QWidget widget;
    widget.resize(200, 100);
    ToolTipManager tips;
    QSignalSpy hidden(&tips, &ToolTipManager::tipHidden);
    tips.ShowTip(&widget, kHtml, QPixmap(), QPoint(100, 90), 50);
    EXPECT_TRUE(tips.IsTipVisible());
    EXPECT_TRUE(hidden.wait(kDefaultWaitMs));
    EXPECT_FALSE(tips.IsTipVisible());
}

TEST(ToolTipManager, WidgetDyingWithItsTipShownIsReported)
{
    auto widget = std::make_unique<QWidget>();
    ToolTipManager tips;
    QSignalSpy hidden(&tips, &ToolTipManager::tipHidden);
    tips.ShowTip(widget.get(), kHtml, QPixmap(), QPoint(10, 10), 50);

    widget.reset();

    EXPECT_EQ(hidden.count(), 1);
    EXPECT_FALSE(tips.IsTipVisible());
    EXPECT_EQ(tips.GetTipWidget(), nullptr);
    tips.HideTip();
    EXPECT_EQ(hidden.count(), 1);
    // A new widget can still be served.
    QWidget other;
    EXPECT_TRUE(tips.ShowTip(&other, kHtml, QPixmap(), QPoint(10, 10), 0));
}

TEST(ToolTipManager, ManagerDyingTakesItsTipAlong)
{
    QWidget widget;
    {
        ToolTipManager tips;
        tips.ShowTip(&widget, kHtml, QPixmap(), QPoint(10, 10), 0);
        EXPECT_EQ(widget.findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly).size(), 1);
    }
    EXPECT_TRUE(widget.findChildren<QWidget*>().isEmpty());
}

} // namespace
} // namespace Quelto::Lumindra

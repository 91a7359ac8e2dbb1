// The rich tool tip over a widget: placement inside the widget, replacement, and the widget or
// the manager dying while a tip is shown.

#include <memory>

#include <QSignalSpy>
#include <QWidget>

#include <gtest/gtest.h>

#include "sharedui/ToolTipManager.h"

namespace Quelto::Lumindra {
namespace {

const QString kHtml = QStringLiteral("Hold <b>Space</b> and drag to move the picture around");

TEST(ToolTipManager, TipSitsOnItsAnchorAndStaysInsideItsWidget)
{
    QWidget widget;
    widget.resize(400, 300);
    ToolTipManager tips;
    EXPECT_FALSE(tips.ShowTip(nullptr, kHtml, QPixmap(), QPoint(), 0));
    EXPECT_FALSE(tips.ShowTip(&widget, QString(), QPixmap(), QPoint(), 0));

    ASSERT_TRUE(tips.ShowTip(&widget, kHtml, QPixmap(), QPoint(200, 250), 0));
    EXPECT_LE(std::abs(tips.GetTipGeometry().center().x() - 200), 1);
    EXPECT_EQ(tips.GetTipGeometry().bottom() + 1, 250);
    for (QPoint anchor : {QPoint(0, 0), QPoint(400, 300), QPoint(-1000, 5000)}) {
        tips.MoveTip(anchor);
        EXPECT_TRUE(widget.rect().contains(tips.GetTipGeometry())) << anchor.x() << "," << anchor.y();
    }
    widget.resize(120, 300); // narrower than the text: it wraps
    ASSERT_TRUE(tips.ShowTip(&widget, kHtml, QPixmap(), QPoint(60, 250), 0));
    EXPECT_TRUE(widget.rect().contains(tips.GetTipGeometry()));
}

TEST(ToolTipManager, NewTipReplacesTheOldOneOnAnyWidget)
{
    QWidget first, second;
    ToolTipManager tips;
    QSignalSpy hidden(&tips, &ToolTipManager::tipHidden);
    tips.ShowTip(&first, kHtml, QPixmap(), QPoint(10, 10), 0);
    tips.ShowTip(&second, QStringLiteral("elsewhere"), QPixmap(), QPoint(10, 10), 0);
    EXPECT_EQ(hidden.count(), 1);
    EXPECT_EQ(tips.GetTipWidget(), &second);
    EXPECT_EQ(tips.GetTipHtml(), QStringLiteral("elsewhere"));
    EXPECT_TRUE(first.findChildren<QWidget*>().isEmpty()) << "the old tip went with the move";
    tips.HideTip();
    tips.HideTip();
    EXPECT_EQ(hidden.count(), 2) << "hiding twice reports once";
    EXPECT_EQ(tips.GetTipWidget(), nullptr);
}

TEST(ToolTipManager, WidgetOrManagerDyingWithATipShownLosesNothing)
{
    auto widget = std::make_unique<QWidget>();
    ToolTipManager tips;
    QSignalSpy hidden(&tips, &ToolTipManager::tipHidden);
    tips.ShowTip(widget.get(), kHtml, QPixmap(), QPoint(10, 10), 50);
    widget.reset();
    EXPECT_EQ(hidden.count(), 1);
    EXPECT_FALSE(tips.IsTipVisible());

    QWidget other;
    {
        ToolTipManager shortLived;
        ASSERT_TRUE(shortLived.ShowTip(&other, kHtml, QPixmap(), QPoint(10, 10), 0));
    }
    EXPECT_TRUE(other.findChildren<QWidget*>().isEmpty());
}

} // namespace
} // namespace Quelto::Lumindra

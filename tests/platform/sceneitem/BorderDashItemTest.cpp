// The dashed outline: rebuilt on every background paint, it must repaint only when its region
// really changes (else the workspace would repaint forever), and it draws the region's edge.

#include <QGraphicsScene>
#include <QImage>
#include <QPainter>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include "sceneitem/BorderDashItem.h"

namespace Quelto::Lumindra::LumindraSceneItem {
namespace {

class BorderDashItemTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        scene.setSceneRect(0, 0, 100, 100);
        dash = new BorderDashItem();
        scene.addItem(dash);
        QCoreApplication::processEvents();
    }

    // Lets queued work (the item's commit, the scene's update) run.
    static void Settle()
    {
        for (int i = 0; i < 3; ++i)
            QCoreApplication::processEvents();
    }

    QGraphicsScene scene;
    BorderDashItem* dash = nullptr;
};

TEST_F(BorderDashItemTest, RebuildingTheSameRegionRequestsNoRepaint)
{
    const QRegion outside = QRegion(-20, 10, 20, 30) + QRegion(100, 50, 15, 15);
    dash->ResetRegion(QRegion());
    for (const QRect& part : outside)
        dash->AddRegion(QRegion(part));
    Settle();
    EXPECT_EQ(dash->GetRegion(), outside);
    EXPECT_TRUE(dash->boundingRect().contains(QRectF(outside.boundingRect())));

    QSignalSpy changed(&scene, &QGraphicsScene::changed);
    for (int round = 0; round < 3; ++round) {
        dash->ResetRegion(QRegion());
        for (const QRect& part : outside)
            dash->AddRegion(QRegion(part));
        Settle();
    }
    EXPECT_EQ(changed.count(), 0);
}

TEST_F(BorderDashItemTest, ChangedRegionMovesTheGeometryOncePerPass)
{
    dash->ResetRegion(QRegion(-20, 0, 20, 20));
    Settle();
    const QRectF first = dash->boundingRect();

    QSignalSpy changed(&scene, &QGraphicsScene::changed);
    dash->ResetRegion(QRegion());
    dash->AddRegion(QRegion(150, 150, 10, 10));
    dash->AddRegion(QRegion());
    // The new geometry follows at the next pass of the event loop, not in the middle of a paint.
    EXPECT_EQ(dash->boundingRect(), first);
    QTRY_COMPARE(changed.count(), 1);
    EXPECT_TRUE(dash->boundingRect().contains(QRectF(150, 150, 10, 10)));
    EXPECT_FALSE(dash->boundingRect().contains(QRectF(-20, 0, 20, 20)));

    dash->ResetRegion(QRegion());
    Settle();
    EXPECT_TRUE(dash->boundingRect().isEmpty());
}

TEST_F(BorderDashItemTest, DrawsTheEdgeOfTheRegionOnly)
{
    dash->ResetRegion(QRegion(20, 20, 40, 40));
    Settle();
    QImage image(100, 100, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    scene.render(&painter, QRectF(0, 0, 100, 100), QRectF(0, 0, 100, 100));
    painter.end();

    int edge = 0;
    for (int i = 20; i < 60; ++i)
        edge += qAlpha(image.pixel(i, 20)) > 0 ? 1 : 0;
    EXPECT_GT(edge, 30);
    EXPECT_EQ(qAlpha(image.pixel(40, 40)), 0); // inside stays clear
    EXPECT_EQ(qAlpha(image.pixel(5, 5)), 0);   // outside stays clear

    // An empty region draws nothing, even before the geometry has caught up.
    dash->ResetRegion(QRegion());
    QImage cleared(100, 100, QImage::Format_ARGB32);
    cleared.fill(Qt::transparent);
    QPainter again(&cleared);
    scene.render(&again, QRectF(0, 0, 100, 100), QRectF(0, 0, 100, 100));
    again.end();
    for (int i = 20; i < 60; ++i)
        ASSERT_EQ(qAlpha(cleared.pixel(i, 20)), 0) << i;
}

} // namespace
} // namespace Quelto::Lumindra::LumindraSceneItem

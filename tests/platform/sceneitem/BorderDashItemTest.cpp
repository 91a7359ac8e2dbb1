// The dashed outline is rebuilt at every background paint: it must repaint only when its region
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

// Lets queued work (the item's commit, the scene's update) run.
void Settle()
{
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

void Rebuild(BorderDashItem& dash, const QRegion& region)
{
    dash.ResetRegion(QRegion());
    for (const QRect& part : region)
        dash.AddRegion(QRegion(part));
}

TEST(BorderDashItem, RepaintsOnlyWhenTheRebuiltRegionChanges)
{
    QGraphicsScene scene(0, 0, 100, 100);
    auto* dash = new BorderDashItem();
    scene.addItem(dash);
    const QRegion outside = QRegion(-20, 10, 20, 30) + QRegion(100, 50, 15, 15);
    Rebuild(*dash, outside);
    Settle();
    EXPECT_EQ(dash->GetRegion(), outside);
    EXPECT_TRUE(dash->boundingRect().contains(QRectF(outside.boundingRect())));

    QSignalSpy changed(&scene, &QGraphicsScene::changed);
    for (int round = 0; round < 3; ++round) {
        Rebuild(*dash, outside);
        Settle();
    }
    EXPECT_EQ(changed.count(), 0);

    // A new region moves the geometry at the next pass of the event loop, not mid-paint.
    const QRectF before = dash->boundingRect();
    Rebuild(*dash, QRegion(150, 150, 10, 10));
    EXPECT_EQ(dash->boundingRect(), before);
    QTRY_COMPARE(changed.count(), 1);
    EXPECT_TRUE(dash->boundingRect().contains(QRectF(150, 150, 10, 10)));
    EXPECT_FALSE(dash->boundingRect().contains(QRectF(-20, 10, 20, 30)));
}

TEST(BorderDashItem, DrawsTheEdgeOfTheRegionOnly)
{
    QGraphicsScene scene(0, 0, 100, 100);
    auto* dash = new BorderDashItem();
    scene.addItem(dash);
    dash->ResetRegion(QRegion(20, 20, 40, 40));
    Settle();
    auto render = [&scene] {
        QImage image(100, 100, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        scene.render(&painter, QRectF(0, 0, 100, 100), QRectF(0, 0, 100, 100));
        return image;
    };
    QImage image = render();
    int edge = 0;
    for (int i = 20; i < 60; ++i)
        edge += qAlpha(image.pixel(i, 20)) > 0 ? 1 : 0;
    EXPECT_GT(edge, 30);
    EXPECT_EQ(qAlpha(image.pixel(40, 40)), 0);
    EXPECT_EQ(qAlpha(image.pixel(5, 5)), 0);

    // An emptied region draws nothing at once, before its geometry has caught up.
    dash->ResetRegion(QRegion());
    image = render();
    for (int i = 20; i < 60; ++i)
        ASSERT_EQ(qAlpha(image.pixel(i, 20)), 0) << i;
}

} // namespace
} // namespace Quelto::Lumindra::LumindraSceneItem

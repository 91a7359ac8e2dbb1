// The dashed outline is rebuilt at every background paint: it must repaint only when its region
// really changes (else the workspace would repaint forever), and it draws the region's edge only.

#include <QGraphicsScene>
#include <QImage>
#include <QPainter>
#include <QSignalSpy>

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

// Rebuilds the region part by part, as the workspace does at every background paint.
void Rebuild(BorderDashItem& dash, const QRegion& region)
{
    dash.ResetRegion(QRegion());
    for (const QRect& part : region)
        dash.AddRegion(QRegion(part));
}

// How many pixels of the row from (20, 20) to (59, 20) the scene paints.
int PaintedOnEdge(QGraphicsScene& scene)
{
    QImage image(100, 100, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    scene.render(&painter, QRectF(0, 0, 100, 100), QRectF(0, 0, 100, 100));
    int painted = 0;
    for (int x = 20; x < 60; ++x)
        painted += qAlpha(image.pixel(x, 20)) > 0 ? 1 : 0;
    return qAlpha(image.pixel(40, 40)) == 0 ? painted : -1; // -1: the inside is painted too
}

TEST(BorderDashItem, RepaintsOnlyForANewRegionAndDrawsItsEdge)
{
    QGraphicsScene scene(0, 0, 100, 100);
    auto* dash = new BorderDashItem();
    scene.addItem(dash);
    const QRegion outside = QRegion(20, 20, 40, 40) + QRegion(100, 50, 15, 15);
    Rebuild(*dash, outside);
    Settle();
    EXPECT_EQ(dash->GetRegion(), outside);
    EXPECT_TRUE(dash->boundingRect().contains(QRectF(outside.boundingRect())));
    EXPECT_GT(PaintedOnEdge(scene), 30);

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
    EXPECT_TRUE(changed.wait());
    EXPECT_EQ(changed.count(), 1);
    EXPECT_TRUE(dash->boundingRect().contains(QRectF(150, 150, 10, 10)));
    EXPECT_FALSE(dash->boundingRect().contains(QRectF(20, 20, 40, 40)));

    // An emptied region draws nothing at once, before its geometry has caught up.
    Rebuild(*dash, outside);
    Settle();
    dash->ResetRegion(QRegion());
    EXPECT_EQ(PaintedOnEdge(scene), 0);
}

} // namespace
} // namespace Quelto::Lumindra::LumindraSceneItem

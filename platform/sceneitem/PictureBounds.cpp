#include "sceneitem/PictureBounds.h"

#include <QGraphicsItem>
#include <QGraphicsScene>

namespace Quelto::Lumindra::LumindraSceneItem {

namespace {

// Geometry goes through floating-point transforms; an item placed exactly on the picture's
// edge must still count as inside.
constexpr double kEdgeTolerance = 1e-6;

} // namespace

QRectF PictureBounds::Resolve(const QGraphicsItem& item) const
{
    if (!pictureRect_.isNull())
        return pictureRect_;
    if (const QGraphicsScene* scene = item.scene())
        return scene->sceneRect();
    return QRectF();
}

bool PictureBounds::Contains(const QRectF& picture, const QRectF& itemRect)
{
    if (picture.isNull())
        return true;
    return picture.adjusted(-kEdgeTolerance, -kEdgeTolerance, kEdgeTolerance, kEdgeTolerance).contains(itemRect);
}

QRegion PictureBounds::OutsideRegion(const QRectF& picture, const QRectF& itemRect)
{
    if (Contains(picture, itemRect))
        return QRegion();
    return QRegion(itemRect.toAlignedRect()).subtracted(QRegion(picture.toRect()));
}

} // namespace Quelto::Lumindra::LumindraSceneItem

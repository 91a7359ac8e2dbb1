#include "sceneitem/BorderDashItem.h"

#include <QPainter>
#include <QPainterPath>

namespace Quelto::Lumindra::LumindraSceneItem {

namespace {

// The outline is drawn on the region's edge with a one-pixel cosmetic pen, which reaches half a
// device pixel outwards: 16 scene units keep it inside the bounding rectangle down to 1/32 zoom.
constexpr double kPenMargin = 16.0;

} // namespace

BorderDashItem::BorderDashItem(QGraphicsItem* parent)
    : QGraphicsObject(parent)
{
    setZValue(Z_VALUE);
    setAcceptedMouseButtons(Qt::NoButton);
    setFlag(ItemIsSelectable, false);
}

void BorderDashItem::ResetRegion(const QRegion& region)
{
    region_ = region;
    ScheduleCommit();
}

void BorderDashItem::AddRegion(const QRegion& region)
{
    if (region.isEmpty())
        return;
    region_ += region;
    ScheduleCommit();
}

void BorderDashItem::ScheduleCommit()
{
    if (commitQueued_ || region_ == committed_)
        return;
    commitQueued_ = true;
    QMetaObject::invokeMethod(this, [this] { Commit(); }, Qt::QueuedConnection);
}

void BorderDashItem::Commit()
{
    commitQueued_ = false;
    if (region_ == committed_)
        return;
    const QRectF newBounds = region_.isEmpty()
        ? QRectF()
        : QRectF(region_.boundingRect()).adjusted(-kPenMargin, -kPenMargin, kPenMargin, kPenMargin);
    if (newBounds != bounds_) {
        prepareGeometryChange();
        bounds_ = newBounds;
    }
    committed_ = region_;
    update();
}

QRectF BorderDashItem::boundingRect() const
{
    return bounds_;
}

void BorderDashItem::paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*)
{
    if (region_.isEmpty())
        return;
    QPainterPath path;
    path.addRegion(region_);
    path = path.simplified();
    painter->setBrush(Qt::NoBrush);
    // Dashes over a solid line of the opposite colour show on any picture and any workspace colour.
    QPen solid(Qt::white, 0, Qt::SolidLine);
    QPen dashed(Qt::black, 0, Qt::DashLine);
    solid.setCosmetic(true);
    dashed.setCosmetic(true);
    painter->setPen(solid);
    painter->drawPath(path);
    painter->setPen(dashed);
    painter->drawPath(path);
}

} // namespace Quelto::Lumindra::LumindraSceneItem

#pragma once

#include <QGraphicsObject>
#include <QRegion>

namespace Quelto::Lumindra::LumindraSceneItem {

// The dashed outline of the regions that scene items occupy outside the picture (scene
// coordinates), drawn above everything else, one device pixel wide at any zoom.
//
// The workspace rebuilds the region (ResetRegion, then AddRegion per item) every time it
// paints its background, that is from inside a paint. So that this does not itself cause
// another paint, the item's geometry and repaint follow the region once per event-loop pass,
// and only when the region really changed; paint() always draws the region as it stands now.
// UI thread only.
class BorderDashItem : public QGraphicsObject {
    Q_OBJECT
public:
    // Above the picture and above every tool item.
    static constexpr double Z_VALUE = 1.0e6;

    explicit BorderDashItem(QGraphicsItem* parent = nullptr);

    void ResetRegion(const QRegion& region);
    void AddRegion(const QRegion& region);
    const QRegion& GetRegion() const { return region_; }

    QRectF boundingRect() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

private:
    void ScheduleCommit();
    void Commit();

    QRegion region_;    // what is drawn
    QRegion committed_; // what geometry and the last repaint request follow
    QRectF bounds_;     // boundingRect(), from committed_
    bool commitQueued_ = false;
};

} // namespace Quelto::Lumindra::LumindraSceneItem

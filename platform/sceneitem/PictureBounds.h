#pragma once

#include <QRectF>
#include <QRegion>

class QGraphicsItem;

namespace Quelto::Lumindra::LumindraSceneItem {

// The picture that an item was placed on, for items that may reach beyond it. The rectangle is
// in scene coordinates; while none is set the item's scene rectangle stands for the picture
// (the workspace keeps it equal to the picture's size). A value type; UI thread only.
class PictureBounds {
public:
    void SetPictureRect(const QRectF& rect) { pictureRect_ = rect; }
    const QRectF& GetPictureRect() const { return pictureRect_; }

    // The picture rectangle that applies to `item`: the one set, else the rectangle of the
    // item's scene; null when there is neither.
    QRectF Resolve(const QGraphicsItem& item) const;

    // Whether `itemRect` lies inside `picture` (always true without a picture).
    static bool Contains(const QRectF& picture, const QRectF& itemRect);
    // The part of `itemRect` outside `picture`, in whole scene units (empty when inside).
    static QRegion OutsideRegion(const QRectF& picture, const QRectF& itemRect);

private:
    QRectF pictureRect_;
};

} // namespace Quelto::Lumindra::LumindraSceneItem

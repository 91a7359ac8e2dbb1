#pragma once

#include <QColor>
#include <QRectF>
#include <QRegion>

namespace Quelto::Lumindra::LumindraSceneItem {

// An item that may reach beyond the picture's bounds; the workspace then extends the picture's
// background under it. UI thread only.
class ITransBoundable {
public:
    virtual ~ITransBoundable() = default;
    // False when part of the item lies outside the picture it was placed on.
    virtual bool IsInBounds() const = 0;
    // The colour of the background the item needs beyond the picture.
    virtual QColor GetBackgroundColor() const = 0;
    // The item's rectangle in scene coordinates.
    virtual QRectF GetRect() const = 0;
    // Whether the item wants a dashed outline of its outside part, and that part (scene coordinates).
    virtual bool HasOutline() const = 0;
    virtual QRegion GetOutlineRegion() const = 0;
};

} // namespace Quelto::Lumindra::LumindraSceneItem

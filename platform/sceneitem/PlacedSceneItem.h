#pragma once

#include <QColor>
#include <QRectF>
#include <QRegion>

#include "sceneitem/ISceneItem.h"
#include "sceneitem/ITransBoundable.h"
#include "sceneitem/PictureBounds.h"

namespace Quelto::Lumindra::LumindraSceneItem {

// What every item a person places on the workspace shares, over the Qt item class that draws
// it (`GraphicsBase`): the graphics item itself, its drops, and its reach beyond the picture it
// was placed on, with the background colour the workspace paints there. Derived classes add
// their look and their description. UI thread only.
template <class GraphicsBase>
class PlacedSceneItem : public GraphicsBase, public ISceneItem, public ITransBoundable {
public:
    using GraphicsBase::GraphicsBase;

    void SetBackgroundColor(const QColor& color)
    {
        backgroundColor_ = color;
        this->update();
    }
    // The picture the item was placed on (scene coordinates); see PictureBounds.
    void SetPictureRect(const QRectF& rect) { bounds_.SetPictureRect(rect); }
    // Whether the outside part gets a dashed outline on the workspace (default true).
    void SetOutlineShown(bool shown) { outlineShown_ = shown; }

    QGraphicsItem* GetGraphicsItem() override { return this; }
    const QGraphicsItem* GetGraphicsItem() const override { return this; }
    bool AcceptsDrops() const override { return this->acceptDrops(); }

    bool IsInBounds() const override { return PictureBounds::Contains(bounds_.Resolve(*this), GetRect()); }
    QColor GetBackgroundColor() const override { return backgroundColor_; }
    QRectF GetRect() const override { return this->sceneBoundingRect(); }
    bool HasOutline() const override { return outlineShown_ && !IsInBounds(); }
    QRegion GetOutlineRegion() const override
    {
        return PictureBounds::OutsideRegion(bounds_.Resolve(*this), GetRect());
    }

protected:
    // The picture rectangle set on the item; null when the scene's rectangle stands for it.
    const QRectF& GetPictureRect() const { return bounds_.GetPictureRect(); }

private:
    QColor backgroundColor_ = Qt::white;
    PictureBounds bounds_;
    bool outlineShown_ = true;
};

} // namespace Quelto::Lumindra::LumindraSceneItem

#pragma once

#include <memory>

#include <QAbstractGraphicsShapeItem>
#include <QColor>
#include <QRectF>

#include "sceneitem/ISceneItem.h"
#include "sceneitem/ITransBoundable.h"
#include "sceneitem/PictureBounds.h"

namespace Quelto::Lumindra::LumindraSceneItem {

// A rectangle or an ellipse that a person places on the workspace: fill (the brush), stroke
// (the pen), and the background colour that the workspace paints where the shape reaches
// beyond the picture. Movable and selectable; a colour dropped on it becomes its fill.
// UI thread only.
class ShapeItem : public QAbstractGraphicsShapeItem, public ISceneItem, public ITransBoundable {
public:
    enum Kind { Rectangle = 0, Ellipse = 1 };
    enum { Type = UserType + 0x5301 }; // distinct from Qt's own item types for qgraphicsitem_cast
    // The "kind" values of a shape's description.
    static constexpr const char* KIND_RECTANGLE = "rectangle";
    static constexpr const char* KIND_ELLIPSE = "ellipse";

    // `rect` is in item coordinates; the item starts at scene position (0, 0).
    ShapeItem(Kind kind, const QRectF& rect, QGraphicsItem* parent = nullptr);

    Kind GetKind() const { return kind_; }
    const QRectF& GetShapeRect() const { return rect_; }
    void SetShapeRect(const QRectF& rect);
    void SetBackgroundColor(const QColor& color);
    // The picture the shape was placed on (scene coordinates); see PictureBounds.
    void SetPictureRect(const QRectF& rect);
    // Whether the outside part gets a dashed outline on the workspace (default true).
    void SetOutlineShown(bool shown) { outlineShown_ = shown; }

    int type() const override { return Type; }
    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

    QGraphicsItem* GetGraphicsItem() override { return this; }
    const QGraphicsItem* GetGraphicsItem() const override { return this; }
    bool AcceptsDrops() const override { return acceptDrops(); }
    std::string GetGroupKey() const override;
    void Serialize(boost::property_tree::ptree& out) const override;

    bool IsInBounds() const override;
    QColor GetBackgroundColor() const override { return backgroundColor_; }
    QRectF GetRect() const override;
    bool HasOutline() const override;
    QRegion GetOutlineRegion() const override;

    // Rebuilds a shape from what Serialize wrote. Throws Core::Exception, naming the fault,
    // when the description is damaged.
    static std::unique_ptr<ShapeItem> Deserialize(const boost::property_tree::ptree& in);

protected:
    void dragEnterEvent(QGraphicsSceneDragDropEvent* event) override;
    void dragMoveEvent(QGraphicsSceneDragDropEvent* event) override;
    void dropEvent(QGraphicsSceneDragDropEvent* event) override;

private:
    QPainterPath OutlinePath() const;

    Kind kind_;
    QRectF rect_;
    QColor backgroundColor_ = Qt::white;
    PictureBounds bounds_;
    bool outlineShown_ = true;
};

} // namespace Quelto::Lumindra::LumindraSceneItem

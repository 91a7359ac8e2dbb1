#pragma once

#include <memory>

#include <QAbstractGraphicsShapeItem>
#include <QColor>
#include <QRectF>

#include "sceneitem/PlacedSceneItem.h"

namespace Quelto::Lumindra::LumindraSceneItem {

// A rectangle or an ellipse that a person places on the workspace: fill (the brush), stroke
// (the pen), and the background colour that the workspace paints where the shape reaches
// beyond the picture. Movable and selectable; a colour dropped on it becomes its fill.
// UI thread only.
class ShapeItem : public PlacedSceneItem<QAbstractGraphicsShapeItem> {
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

    int type() const override { return Type; }
    QRectF boundingRect() const override;
    QPainterPath shape() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

    std::string GetGroupKey() const override;
    void Serialize(boost::property_tree::ptree& out) const override;

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
};

} // namespace Quelto::Lumindra::LumindraSceneItem

#include "sceneitem/ShapeItem.h"

#include <QGraphicsSceneDragDropEvent>
#include <QMimeData>
#include <QPainter>
#include <QPainterPathStroker>
#include <QStyleOptionGraphicsItem>

#include "core/Exception.h"
#include "sceneitem/ItemDescription.h"

namespace Quelto::Lumindra::LumindraSceneItem {

namespace pt = boost::property_tree;

namespace {

constexpr const char* kGroupKey = "shape";
constexpr double kDefaultStrokeWidth = 2.0;

} // namespace

ShapeItem::ShapeItem(Kind kind, const QRectF& rect, QGraphicsItem* parent)
    : PlacedSceneItem(parent)
    , kind_(kind)
    , rect_(rect.normalized())
{
    setPen(QPen(Qt::black, kDefaultStrokeWidth));
    setBrush(Qt::NoBrush);
    setFlags(ItemIsMovable | ItemIsSelectable);
    setAcceptDrops(true);
}

void ShapeItem::SetShapeRect(const QRectF& rect)
{
    if (rect.normalized() == rect_)
        return;
    prepareGeometryChange();
    rect_ = rect.normalized();
    update();
}

QRectF ShapeItem::boundingRect() const
{
    const double half = pen().style() == Qt::NoPen ? 0.0 : pen().widthF() / 2.0;
    return rect_.adjusted(-half, -half, half, half);
}

QPainterPath ShapeItem::OutlinePath() const
{
    QPainterPath path;
    if (kind_ == Ellipse)
        path.addEllipse(rect_);
    else
        path.addRect(rect_);
    return path;
}

QPainterPath ShapeItem::shape() const
{
    QPainterPath path = OutlinePath();
    if (pen().style() == Qt::NoPen || pen().widthF() <= 0.0)
        return path;
    QPainterPathStroker stroker(pen());
    return stroker.createStroke(path) + path;
}

void ShapeItem::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget)
{
    painter->setRenderHint(QPainter::Antialiasing, true);
    painter->setPen(pen());
    painter->setBrush(brush());
    if (kind_ == Ellipse)
        painter->drawEllipse(rect_);
    else
        painter->drawRect(rect_);

    // Selection is shown on screen only: a render into an image (no widget) is the picture.
    if (widget && (option->state & QStyle::State_Selected)) {
        // Two dash passes in opposite colours, so the selection shows on any picture.
        const QRectF frame = boundingRect();
        painter->setBrush(Qt::NoBrush);
        painter->setPen(QPen(Qt::white, 0, Qt::SolidLine));
        painter->drawRect(frame);
        painter->setPen(QPen(Qt::black, 0, Qt::DashLine));
        painter->drawRect(frame);
    }
}

std::string ShapeItem::GetGroupKey() const
{
    return kGroupKey;
}

void ShapeItem::Serialize(pt::ptree& out) const
{
    out.put("kind", kind_ == Ellipse ? KIND_ELLIPSE : KIND_RECTANGLE);
    ItemDescription::WritePoint(out, "position", pos());
    ItemDescription::WriteRect(out, "rect", rect_);
    out.put("rotation", rotation());
    out.put("z", zValue());
    ItemDescription::WriteColor(out, "fill", brush().style() == Qt::NoBrush ? QColor(Qt::transparent) : brush().color());
    ItemDescription::WriteColor(out, "stroke", pen().style() == Qt::NoPen ? QColor(Qt::transparent) : pen().color());
    out.put("strokeWidth", pen().style() == Qt::NoPen ? 0.0 : pen().widthF());
    ItemDescription::WriteColor(out, "background", GetBackgroundColor());
    if (!GetPictureRect().isNull())
        ItemDescription::WriteRect(out, "picture", GetPictureRect());
}

std::unique_ptr<ShapeItem> ShapeItem::Deserialize(const pt::ptree& in)
{
    const std::string kindName = ItemDescription::ReadString(in, "kind");
    Kind kind;
    if (kindName == KIND_RECTANGLE)
        kind = Rectangle;
    else if (kindName == KIND_ELLIPSE)
        kind = Ellipse;
    else
        throw Core::Exception("Unknown kind of shape \"" + kindName + "\"");

    const QRectF rect = ItemDescription::ReadRect(in, "rect");
    const QPointF position = ItemDescription::ReadPoint(in, "position");
    const double rotation = ItemDescription::ReadNumber(in, "rotation", 0.0);
    const double z = ItemDescription::ReadNumber(in, "z", 0.0);
    const QColor fill = ItemDescription::ReadColor(in, "fill");
    const QColor stroke = ItemDescription::ReadColor(in, "stroke");
    const double strokeWidth = ItemDescription::ReadNumber(in, "strokeWidth");
    if (strokeWidth < 0.0)
        throw Core::Exception("A shape's stroke width cannot be negative");
    const QColor background = ItemDescription::ReadColor(in, "background");
    const QRectF picture = in.get_child_optional("picture") ? ItemDescription::ReadRect(in, "picture") : QRectF();

    auto item = std::make_unique<ShapeItem>(kind, rect);
    item->setPos(position);
    item->setRotation(rotation);
    item->setZValue(z);
    item->setBrush(fill.alpha() == 0 ? QBrush(Qt::NoBrush) : QBrush(fill));
    item->setPen(strokeWidth == 0.0 || stroke.alpha() == 0 ? QPen(Qt::NoPen) : QPen(stroke, strokeWidth));
    item->SetBackgroundColor(background);
    item->SetPictureRect(picture);
    return item;
}

void ShapeItem::dragEnterEvent(QGraphicsSceneDragDropEvent* event)
{
    event->setAccepted(event->mimeData() && event->mimeData()->hasColor());
}

void ShapeItem::dragMoveEvent(QGraphicsSceneDragDropEvent* event)
{
    event->setAccepted(event->mimeData() && event->mimeData()->hasColor());
}

void ShapeItem::dropEvent(QGraphicsSceneDragDropEvent* event)
{
    const QColor color = event->mimeData() ? qvariant_cast<QColor>(event->mimeData()->colorData()) : QColor();
    if (!color.isValid()) {
        event->ignore();
        return;
    }
    setBrush(color);
    event->acceptProposedAction();
}

} // namespace Quelto::Lumindra::LumindraSceneItem

#include "sceneitem/TextItem.h"

#include <QBrush>
#include <QFont>
#include <QGraphicsSceneDragDropEvent>
#include <QMimeData>
#include <QStyleOptionGraphicsItem>

#include "core/Exception.h"
#include "sceneitem/ItemDescription.h"

namespace Quelto::Lumindra::LumindraSceneItem {

namespace pt = boost::property_tree;

namespace {

constexpr const char* kGroupKey = "text";
// Point sizes a person can still read and the font engine still renders.
constexpr double kMinPointSize = 1.0;
constexpr double kMaxPointSize = 2000.0;

bool CarriesText(const QGraphicsSceneDragDropEvent* event)
{
    // Dragged files also carry their paths as text; those are for the workspace to open.
    const QMimeData* data = event->mimeData();
    return data && data->hasText() && !data->hasUrls() && !data->text().isEmpty();
}

} // namespace

TextItem::TextItem(const QString& text, QGraphicsItem* parent)
    : PlacedSceneItem(text, parent)
{
    setBrush(Qt::black);
    setFlags(ItemIsMovable | ItemIsSelectable);
    setAcceptDrops(true);
}

std::string TextItem::GetGroupKey() const
{
    return kGroupKey;
}

void TextItem::Serialize(pt::ptree& out) const
{
    out.put("kind", KIND_TEXT);
    out.put("text", text().toStdString());
    out.put("font", font().family().toStdString());
    out.put("pointSize", font().pointSizeF());
    ItemDescription::WritePoint(out, "position", pos());
    out.put("rotation", rotation());
    out.put("z", zValue());
    ItemDescription::WriteColor(out, "color", brush().color());
    ItemDescription::WriteColor(out, "background", GetBackgroundColor());
    if (!GetPictureRect().isNull())
        ItemDescription::WriteRect(out, "picture", GetPictureRect());
}

std::unique_ptr<TextItem> TextItem::Deserialize(const pt::ptree& in)
{
    const std::string kind = ItemDescription::ReadString(in, "kind");
    if (kind != KIND_TEXT)
        throw Core::Exception("A text item cannot be made from a description of kind \"" + kind + "\"");
    const QString text = QString::fromStdString(ItemDescription::ReadString(in, "text"));
    const QString family = QString::fromStdString(ItemDescription::ReadString(in, "font"));
    const double pointSize = ItemDescription::ReadNumber(in, "pointSize");
    if (pointSize < kMinPointSize || pointSize > kMaxPointSize)
        throw Core::Exception("A text item's point size must lie between 1 and 2000");
    const QPointF position = ItemDescription::ReadPoint(in, "position");
    const double rotation = ItemDescription::ReadNumber(in, "rotation", 0.0);
    const double z = ItemDescription::ReadNumber(in, "z", 0.0);
    const QColor color = ItemDescription::ReadColor(in, "color");
    const QColor background = ItemDescription::ReadColor(in, "background");
    const QRectF picture = in.get_child_optional("picture") ? ItemDescription::ReadRect(in, "picture") : QRectF();

    auto item = std::make_unique<TextItem>(text);
    QFont font(family);
    font.setPointSizeF(pointSize);
    item->setFont(font);
    item->setPos(position);
    item->setRotation(rotation);
    item->setZValue(z);
    item->setBrush(color);
    item->SetBackgroundColor(background);
    item->SetPictureRect(picture);
    return item;
}

void TextItem::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget)
{
    // Selection is shown on screen only: a render into an image (no widget) is the picture.
    if (widget) {
        QGraphicsSimpleTextItem::paint(painter, option, widget);
        return;
    }
    QStyleOptionGraphicsItem plain(*option);
    plain.state &= ~QStyle::State_Selected;
    QGraphicsSimpleTextItem::paint(painter, &plain, widget);
}

void TextItem::dragEnterEvent(QGraphicsSceneDragDropEvent* event)
{
    event->setAccepted(CarriesText(event));
}

void TextItem::dragMoveEvent(QGraphicsSceneDragDropEvent* event)
{
    event->setAccepted(CarriesText(event));
}

void TextItem::dropEvent(QGraphicsSceneDragDropEvent* event)
{
    if (!CarriesText(event)) {
        event->ignore();
        return;
    }
    setText(event->mimeData()->text());
    event->acceptProposedAction();
}

} // namespace Quelto::Lumindra::LumindraSceneItem

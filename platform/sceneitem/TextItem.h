#pragma once

#include <memory>

#include <QColor>
#include <QGraphicsSimpleTextItem>

#include "sceneitem/PlacedSceneItem.h"

namespace Quelto::Lumindra::LumindraSceneItem {

// A text annotation that a person places on the workspace: one or more lines in a font and a
// colour (the brush), with the background colour that the workspace paints where the text
// reaches beyond the picture. Movable and selectable; text dropped on it replaces its text.
// UI thread only.
class TextItem : public PlacedSceneItem<QGraphicsSimpleTextItem> {
public:
    enum { Type = UserType + 0x5302 }; // distinct from Qt's own item types for qgraphicsitem_cast
    // The "kind" value of a text's description.
    static constexpr const char* KIND_TEXT = "text";

    explicit TextItem(const QString& text, QGraphicsItem* parent = nullptr);

    int type() const override { return Type; }
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

    std::string GetGroupKey() const override;
    void Serialize(boost::property_tree::ptree& out) const override;

    // Rebuilds a text item from what Serialize wrote. Throws Core::Exception, naming the
    // fault, when the description is damaged.
    static std::unique_ptr<TextItem> Deserialize(const boost::property_tree::ptree& in);

protected:
    void dragEnterEvent(QGraphicsSceneDragDropEvent* event) override;
    void dragMoveEvent(QGraphicsSceneDragDropEvent* event) override;
    void dropEvent(QGraphicsSceneDragDropEvent* event) override;
};

} // namespace Quelto::Lumindra::LumindraSceneItem

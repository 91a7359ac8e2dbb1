#pragma once

#include <memory>

#include <QColor>
#include <QGraphicsSimpleTextItem>

#include "sceneitem/ISceneItem.h"
#include "sceneitem/ITransBoundable.h"
#include "sceneitem/PictureBounds.h"

namespace Quelto::Lumindra::LumindraSceneItem {

// A text annotation that a person places on the workspace: one or more lines in a font and a
// colour (the brush), with the background colour that the workspace paints where the text
// reaches beyond the picture. Movable and selectable; text dropped on it replaces its text.
// UI thread only.
class TextItem : public QGraphicsSimpleTextItem, public ISceneItem, public ITransBoundable {
public:
    enum { Type = UserType + 0x5302 }; // distinct from Qt's own item types for qgraphicsitem_cast
    // The "kind" value of a text's description.
    static constexpr const char* KIND_TEXT = "text";

    explicit TextItem(const QString& text, QGraphicsItem* parent = nullptr);

    void SetBackgroundColor(const QColor& color) { backgroundColor_ = color; }
    // The picture the text was placed on (scene coordinates); see PictureBounds.
    void SetPictureRect(const QRectF& rect) { bounds_.SetPictureRect(rect); }
    void SetOutlineShown(bool shown) { outlineShown_ = shown; }

    int type() const override { return Type; }
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

    QGraphicsItem* GetGraphicsItem() override { return this; }
    const QGraphicsItem* GetGraphicsItem() const override { return this; }
    bool AcceptsDrops() const override { return acceptDrops(); }
    std::string GetGroupKey() const override;
    void Serialize(boost::property_tree::ptree& out) const override;

    bool IsInBounds() const override;
    QColor GetBackgroundColor() const override { return backgroundColor_; }
    QRectF GetRect() const override { return sceneBoundingRect(); }
    bool HasOutline() const override;
    QRegion GetOutlineRegion() const override;

    // Rebuilds a text item from what Serialize wrote. Throws Core::Exception, naming the
    // fault, when the description is damaged.
    static std::unique_ptr<TextItem> Deserialize(const boost::property_tree::ptree& in);

protected:
    void dragEnterEvent(QGraphicsSceneDragDropEvent* event) override;
    void dragMoveEvent(QGraphicsSceneDragDropEvent* event) override;
    void dropEvent(QGraphicsSceneDragDropEvent* event) override;

private:
    QColor backgroundColor_ = Qt::white;
    PictureBounds bounds_;
    bool outlineShown_ = true;
};

} // namespace Quelto::Lumindra::LumindraSceneItem

// Shape and text items: their descriptions survive a round trip and damaged ones are refused
// whole; their reach beyond the picture; drops; selection never reaches a rendered image.

#include <functional>
#include <memory>
#include <sstream>
#include <string>

#include <QCoreApplication>
#include <QDropEvent>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QImage>
#include <QMimeData>
#include <QPainter>
#include <QUrl>

#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include "core/Exception.h"
#include "sceneitem/SceneItemFactory.h"
#include "sceneitem/ShapeItem.h"
#include "sceneitem/TextItem.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::LumindraSceneItem {
namespace {

namespace pt = boost::property_tree;

std::string ToJson(const pt::ptree& tree)
{
    std::ostringstream out;
    pt::write_json(out, tree, false);
    return out.str();
}

std::unique_ptr<ShapeItem> MakeShape(ShapeItem::Kind kind)
{
    auto shape = std::make_unique<ShapeItem>(kind, QRectF(-10, -5, 40, 30));
    shape->setPos(120, 80);
    shape->setRotation(30);
    shape->setZValue(12);
    shape->setBrush(QColor(10, 200, 30, 180));
    shape->setPen(QPen(QColor(250, 0, 0), 3.5));
    shape->SetBackgroundColor(QColor(0, 0, 255));
    shape->SetPictureRect(QRectF(0, 0, 640, 480));
    return shape;
}

std::unique_ptr<TextItem> MakeText()
{
    auto text = std::make_unique<TextItem>(QStringLiteral("Hello \"world\"\nsecond line ü"));
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(18.5);
    text->setFont(font);
    text->setPos(-30, 40);
    text->setBrush(QColor(255, 255, 0));
    text->SetBackgroundColor(QColor(20, 20, 20));
    return text;
}

// Each kind of item, described, rebuilt through the factory and described again, gives the
// same description: nothing is lost or changed on the way.
TEST(SceneItemDescription, RoundTripThroughFactoryKeepsEveryValue)
{
    const std::function<std::unique_ptr<ISceneItem>()> makers[] = {
        [] { return MakeShape(ShapeItem::Rectangle); },
        [] { return MakeShape(ShapeItem::Ellipse); },
        [] { return MakeText(); },
    };
    for (const auto& make : makers) {
        const std::unique_ptr<ISceneItem> original = make();
        pt::ptree first;
        original->Serialize(first);
        const std::unique_ptr<ISceneItem> copy = SceneItemFactory::Create(first);
        pt::ptree second;
        copy->Serialize(second);
        EXPECT_EQ(ToJson(first), ToJson(second));
        EXPECT_EQ(original->GetGroupKey(), copy->GetGroupKey());
        EXPECT_EQ(original->GetGraphicsItem()->type(), copy->GetGraphicsItem()->type());
        EXPECT_EQ(original->GetGraphicsItem()->sceneBoundingRect(), copy->GetGraphicsItem()->sceneBoundingRect());
    }
}

TEST(SceneItemDescription, ShapeWithoutFillOrStrokeStaysWithout)
{
    ShapeItem bare(ShapeItem::Rectangle, QRectF(0, 0, 10, 10));
    bare.setPen(Qt::NoPen);
    pt::ptree tree;
    bare.Serialize(tree);
    const std::unique_ptr<ShapeItem> copy = ShapeItem::Deserialize(tree);
    EXPECT_EQ(copy->brush().style(), Qt::NoBrush);
    EXPECT_EQ(copy->pen().style(), Qt::NoPen);
    EXPECT_EQ(copy->boundingRect(), QRectF(0, 0, 10, 10));
}

struct Damage {
    const char* name;
    std::function<void(pt::ptree&)> apply;
    const char* expected; // part of the message a person reads
};

// A damaged description is refused with a message that names the fault.
TEST(SceneItemDescription, DamagedDescriptionsAreRefusedWithAReadableMessage)
{
    const Damage shapeDamages[] = {
        {"no kind", [](pt::ptree& t) { t.erase("kind"); }, "names no kind"},
        {"unknown kind", [](pt::ptree& t) { t.put("kind", "hexagon"); }, "\"hexagon\""},
        {"no rectangle", [](pt::ptree& t) { t.erase("rect"); }, "no rectangle \"rect\""},
        {"negative width", [](pt::ptree& t) { t.put("rect.width", -4); }, "negative size"},
        {"text for a number", [](pt::ptree& t) { t.put("rect.x", "left"); }, "\"x\": \"left\""},
        {"not finite", [](pt::ptree& t) { t.put("position.y", "nan"); }, "\"y\""},
        {"bad colour", [](pt::ptree& t) { t.put("fill", "#12"); }, "colour in \"fill\""},
        {"negative stroke", [](pt::ptree& t) { t.put("strokeWidth", -1); }, "stroke width"},
        {"no position", [](pt::ptree& t) { t.erase("position"); }, "no point \"position\""},
    };
    for (const Damage& damage : shapeDamages) {
        SCOPED_TRACE(damage.name);
        pt::ptree tree;
        MakeShape(ShapeItem::Ellipse)->Serialize(tree);
        damage.apply(tree);
        try {
            SceneItemFactory::Create(tree);
            ADD_FAILURE() << "accepted";
        } catch (const Core::Exception& e) {
            EXPECT_NE(e.GetDescription().find(damage.expected), std::string::npos) << e.GetDescription();
        }
    }

    const Damage textDamages[] = {
        {"no text", [](pt::ptree& t) { t.erase("text"); }, "no value \"text\""},
        {"zero point size", [](pt::ptree& t) { t.put("pointSize", 0); }, "point size"},
        {"huge point size", [](pt::ptree& t) { t.put("pointSize", 1e9); }, "point size"},
        {"bad background", [](pt::ptree& t) { t.put("background", "no-such-colour"); }, "\"background\""},
    };
    for (const Damage& damage : textDamages) {
        SCOPED_TRACE(damage.name);
        pt::ptree tree;
        MakeText()->Serialize(tree);
        damage.apply(tree);
        EXPECT_THROW(SceneItemFactory::Create(tree), Core::Exception);
        try {
            TextItem::Deserialize(tree);
        } catch (const Core::Exception& e) {
            EXPECT_NE(e.GetDescription().find(damage.expected), std::string::npos) << e.GetDescription();
        }
    }
}

// Reach beyond the picture: in bounds, outline and its region follow the item's place, for a
// picture set on the item and for the scene rectangle standing in for it.
TEST(SceneItemBounds, OutsidePartFollowsTheItem)
{
    QGraphicsScene scene;
    scene.setSceneRect(0, 0, 200, 100);
    auto* shape = new ShapeItem(ShapeItem::Rectangle, QRectF(0, 0, 40, 20));
    shape->setPen(Qt::NoPen);
    scene.addItem(shape);

    shape->setPos(10, 10);
    EXPECT_TRUE(shape->IsInBounds());
    EXPECT_FALSE(shape->HasOutline());
    EXPECT_TRUE(shape->GetOutlineRegion().isEmpty());

    // Exactly on the picture's edge is still inside.
    shape->setPos(160, 80);
    EXPECT_TRUE(shape->IsInBounds());

    shape->setPos(-50, 10);
    EXPECT_FALSE(shape->IsInBounds());
    EXPECT_TRUE(shape->HasOutline());
    EXPECT_EQ(shape->GetRect(), QRectF(-50, 10, 40, 20));
    EXPECT_EQ(shape->GetOutlineRegion(), QRegion(-50, 10, 40, 20));

    shape->setPos(-10, 90);
    EXPECT_EQ(shape->GetOutlineRegion(), QRegion(-10, 90, 40, 20).subtracted(QRegion(0, 0, 200, 100)));

    shape->SetOutlineShown(false);
    EXPECT_FALSE(shape->HasOutline());
    EXPECT_FALSE(shape->IsInBounds());

    // An explicit picture wins over the scene rectangle.
    shape->SetPictureRect(QRectF(-100, 0, 400, 200));
    EXPECT_TRUE(shape->IsInBounds());

    // The stroke counts: a shape whose pen reaches over the edge is outside.
    auto* text = new TextItem(QStringLiteral("note"));
    scene.addItem(text);
    text->setPos(195, 5);
    EXPECT_FALSE(text->IsInBounds());
    EXPECT_TRUE(text->GetOutlineRegion().boundingRect().left() >= 200);
    text->setPos(5, 5);
    EXPECT_TRUE(text->IsInBounds());
}

TEST(SceneItemBounds, ItemOutsideAnySceneIsInBounds)
{
    ShapeItem shape(ShapeItem::Ellipse, QRectF(-1000, -1000, 10, 10));
    EXPECT_TRUE(shape.IsInBounds());
    EXPECT_TRUE(shape.GetOutlineRegion().isEmpty());
}

// Drops reach items through a real view: a colour fills a shape, text replaces a text item's
// text, and file paths dragged as text are left alone.
class SceneItemDrops : public ::testing::Test {
protected:
    void SetUp() override
    {
        scene.setSceneRect(0, 0, 200, 200);
        view.resize(220, 220);
        view.setTransformationAnchor(QGraphicsView::NoAnchor);
        shape = new ShapeItem(ShapeItem::Rectangle, QRectF(0, 0, 50, 50));
        shape->setPos(10, 10);
        scene.addItem(shape);
        text = new TextItem(QStringLiteral("old"));
        text->setPos(120, 120);
        scene.addItem(text);
        view.show();
    }

    // Drags `data` to the scene point and drops it; true when an item took the drag (a plain
    // scene reports every drop as accepted, so the drag move is what tells).
    bool DropAt(const QPointF& scenePoint, QMimeData* data)
    {
        const QPoint at = view.mapFromScene(scenePoint);
        QDragEnterEvent enter(at, Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view.viewport(), &enter);
        QDragMoveEvent move(at, Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view.viewport(), &move);
        const bool taken = move.isAccepted();
        QDropEvent drop(at, Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view.viewport(), &drop);
        return taken;
    }

    QGraphicsScene scene;
    QGraphicsView view {&scene};
    ShapeItem* shape = nullptr;
    TextItem* text = nullptr;
};

TEST_F(SceneItemDrops, ColourFillsShapeAndTextReplacesText)
{
    QMimeData colour;
    colour.setColorData(QColor(Qt::magenta));
    EXPECT_TRUE(DropAt(QPointF(30, 30), &colour));
    EXPECT_EQ(shape->brush().color(), QColor(Qt::magenta));

    QMimeData words;
    words.setText(QStringLiteral("new words"));
    EXPECT_TRUE(DropAt(text->sceneBoundingRect().center(), &words));
    EXPECT_EQ(text->text(), QStringLiteral("new words"));
}

TEST_F(SceneItemDrops, UnsuitableDataLeavesItemsAsTheyWere)
{
    QMimeData words;
    words.setText(QStringLiteral("not a colour"));
    EXPECT_FALSE(DropAt(QPointF(30, 30), &words));
    EXPECT_EQ(shape->brush().style(), Qt::NoBrush);

    QMimeData file;
    file.setUrls({QUrl::fromLocalFile(QStringLiteral("/tmp/photo.jpg"))});
    file.setText(QStringLiteral("/tmp/photo.jpg"));
    EXPECT_FALSE(DropAt(text->sceneBoundingRect().center(), &file));
    EXPECT_EQ(text->text(), QStringLiteral("old"));
}

// The selection frame is for the screen: rendering the scene into an image (as the workspace
// does when the core flattens the items) gives the same pixels selected or not.
TEST(SceneItemSelection, NeverRenderedIntoAnImage)
{
    QGraphicsScene scene(0, 0, 120, 80);
    auto* shape = new ShapeItem(ShapeItem::Ellipse, QRectF(10, 10, 60, 40));
    shape->setBrush(Qt::red);
    scene.addItem(shape);
    auto* text = new TextItem(QStringLiteral("label"));
    text->setPos(70, 50);
    scene.addItem(text);

    auto render = [&scene] {
        QImage image(120, 80, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        scene.render(&painter);
        return image;
    };
    const QImage plain = render();
    shape->setSelected(true);
    text->setSelected(true);
    ASSERT_TRUE(shape->isSelected() && text->isSelected());
    EXPECT_EQ(Lumindra::Test::MaxChannelDifference(plain, render()), 0);

    // On screen the selection does show.
    QGraphicsView view(&scene);
    view.resize(140, 100);
    view.show();
    const QImage selectedOnScreen = view.viewport()->grab().toImage();
    shape->setSelected(false);
    text->setSelected(false);
    const QImage plainOnScreen = view.viewport()->grab().toImage();
    EXPECT_GT(Lumindra::Test::MaxChannelDifference(selectedOnScreen, plainOnScreen), 0);
}

} // namespace
} // namespace Quelto::Lumindra::LumindraSceneItem

// Shape and text items: descriptions survive a round trip and damaged ones are refused whole;
// the reach beyond the picture; drops; selection never reaches a rendered image.

#include <functional>
#include <memory>

#include <QPainter>
#include <QUrl>

#include <boost/property_tree/ptree.hpp>
#include <gmock/gmock.h>

#include "core/Exception.h"
#include "sceneitem/SceneItemFactory.h"
#include "sceneitem/ShapeItem.h"
#include "sceneitem/TextItem.h"
#include "support/TestSupport.h"
#include "support/ViewSupport.h"

namespace Quelto::Lumindra::LumindraSceneItem {
namespace {

namespace pt = boost::property_tree;

std::unique_ptr<ISceneItem> MakeShape(ShapeItem::Kind kind)
{
    auto shape = std::make_unique<ShapeItem>(kind, QRectF(-10, -5, 40, 30));
    shape->setPos(120, 80);
    shape->setRotation(30);
    shape->setBrush(QColor(10, 200, 30, 180));
    shape->setPen(QPen(QColor(250, 0, 0), 3.5));
    shape->SetBackgroundColor(Qt::blue);
    shape->SetPictureRect(QRectF(0, 0, 640, 480));
    return shape;
}

std::unique_ptr<ISceneItem> MakeText()
{
    auto text = std::make_unique<TextItem>(QStringLiteral("Hello \"world\"\nsecond line ü"));
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(18.5);
    text->setFont(font);
    text->setPos(-30, 40);
    text->setBrush(Qt::yellow);
    return text;
}

TEST(SceneItemDescription, RoundTripThroughTheFactoryKeepsEveryValue)
{
    const std::function<std::unique_ptr<ISceneItem>()> makers[] = {
        [] { return MakeShape(ShapeItem::Rectangle); }, [] { return MakeShape(ShapeItem::Ellipse); }, MakeText};
    for (const auto& make : makers) {
        const std::unique_ptr<ISceneItem> original = make();
        pt::ptree tree, again;
        original->Serialize(tree);
        const std::unique_ptr<ISceneItem> copy = SceneItemFactory::Create(tree);
        copy->Serialize(again);
        EXPECT_TRUE(tree == again) << original->GetGroupKey();
        EXPECT_EQ(original->GetGraphicsItem()->sceneBoundingRect(), copy->GetGraphicsItem()->sceneBoundingRect());
    }
}

// A damaged description is refused with a message that names the fault.
TEST(SceneItemDescription, DamagedDescriptionsAreRefusedWithAReadableMessage)
{
    const struct {
        bool text; // of a text item, else of an ellipse
        std::function<void(pt::ptree&)> apply;
        const char* expected;
    } damages[] = {
        {false, [](pt::ptree& t) { t.erase("kind"); }, "names no kind"},
        {false, [](pt::ptree& t) { t.put("kind", "hexagon"); }, "\"hexagon\""},
        {false, [](pt::ptree& t) { t.erase("rect"); }, "no rectangle \"rect\""},
        {false, [](pt::ptree& t) { t.put("rect.width", -4); }, "negative size"},
        {false, [](pt::ptree& t) { t.put("rect.x", "left"); }, "\"x\": \"left\""},
        {false, [](pt::ptree& t) { t.put("position.y", "nan"); }, "\"y\""},
        {false, [](pt::ptree& t) { t.put("fill", "#12"); }, "colour in \"fill\""},
        {false, [](pt::ptree& t) { t.put("strokeWidth", -1); }, "stroke width"},
        {true, [](pt::ptree& t) { t.erase("text"); }, "no value \"text\""},
        {true, [](pt::ptree& t) { t.put("pointSize", 1e9); }, "point size"},
    };
    for (const auto& damage : damages) {
        pt::ptree tree;
        (damage.text ? MakeText() : MakeShape(ShapeItem::Ellipse))->Serialize(tree);
        damage.apply(tree);
        EXPECT_THAT([&tree] { SceneItemFactory::Create(tree); },
                    testing::ThrowsMessage<Core::Exception>(testing::HasSubstr(damage.expected)));
    }
}

// In bounds, outline and its region follow the item's place, for the scene rectangle standing
// in for the picture and for a picture set on the item.
TEST(SceneItemBounds, OutsidePartFollowsTheItem)
{
    QGraphicsScene scene(0, 0, 200, 100);
    auto* shape = new ShapeItem(ShapeItem::Rectangle, QRectF(0, 0, 40, 20));
    shape->setPen(Qt::NoPen);
    scene.addItem(shape);
    shape->setPos(160, 80); // exactly on the picture's corner
    EXPECT_TRUE(shape->IsInBounds());
    EXPECT_FALSE(shape->HasOutline());
    EXPECT_TRUE(shape->GetOutlineRegion().isEmpty());

    shape->setPos(-10, 90);
    EXPECT_FALSE(shape->IsInBounds());
    EXPECT_TRUE(shape->HasOutline());
    EXPECT_EQ(shape->GetOutlineRegion(), QRegion(-10, 90, 40, 20).subtracted(QRegion(0, 0, 200, 100)));
    shape->SetOutlineShown(false);
    EXPECT_FALSE(shape->HasOutline());
    shape->SetPictureRect(QRectF(-100, 0, 400, 200));
    EXPECT_TRUE(shape->IsInBounds());

    shape->setPen(QPen(Qt::black, 4)); // the stroke counts
    shape->setPos(300 - 41, 10);
    EXPECT_FALSE(shape->IsInBounds());

    auto* text = new TextItem(QStringLiteral("note"));
    scene.addItem(text);
    text->setPos(195, 5);
    EXPECT_FALSE(text->IsInBounds());
    EXPECT_GE(text->GetOutlineRegion().boundingRect().left(), 200);
}

// Items in a view: text dropped on a text replaces it and a colour dropped on a shape fills it,
// while other data and dragged files (whose paths come as text too) are left for the workspace;
// the selection frame shows on screen but never in a rendered image (as when the core flattens).
TEST(SceneItemOnScreen, TakeTheirOwnDropsAndShowSelectionOnScreenOnly)
{
    Lumindra::Test::BareView view({200, 200});
    auto* text = new TextItem(QStringLiteral("old"));
    auto* shape = new ShapeItem(ShapeItem::Ellipse, QRectF(100, 100, 60, 40));
    view.own.addItem(text);
    view.own.addItem(shape);
    QMimeData file, words, colour;
    file.setUrls({QUrl::fromLocalFile(QStringLiteral("/tmp/photo.jpg"))});
    file.setText(QStringLiteral("/tmp/photo.jpg"));
    words.setText(QStringLiteral("new words"));
    colour.setColorData(QColor(Qt::red));
    const QPointF onText = text->sceneBoundingRect().center(), onShape(130, 120);
    for (const auto& [at, data] : {std::pair(onText, &file), {onText, &colour}, {onShape, &words}})
        EXPECT_FALSE(Lumindra::Test::DragTo(view, at, *data).moved) << data->formats().join(' ').toStdString();
    EXPECT_EQ(text->text(), QStringLiteral("old"));
    EXPECT_TRUE(Lumindra::Test::DragTo(view, onText, words).dropped);
    EXPECT_TRUE(Lumindra::Test::DragTo(view, onShape, colour).dropped);
    EXPECT_EQ(text->text(), QStringLiteral("new words"));
    EXPECT_EQ(shape->brush().color(), QColor(Qt::red));

    auto render = [&view] {
        QImage image(200, 200, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        view.own.render(&painter);
        return image;
    };
    const QImage plain = render();
    const QImage plainOnScreen = view.Grab();
    shape->setSelected(true);
    text->setSelected(true);
    EXPECT_EQ(Lumindra::Test::MaxChannelDifference(plain, render()), 0);
    EXPECT_GT(Lumindra::Test::MaxChannelDifference(plainOnScreen, view.Grab()), 0);
}

} // namespace
} // namespace Quelto::Lumindra::LumindraSceneItem

// Shape and text items: descriptions survive a round trip and damaged ones are refused whole;
// the reach beyond the picture; text drops; selection never reaches a rendered image.

#include <functional>
#include <memory>
#include <sstream>
#include <string>

#include <QCoreApplication>
#include <QDropEvent>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QMimeData>
#include <QPainter>
#include <QUrl>

#include <boost/property_tree/json_parser.hpp>
#include <gtest/gtest.h>

#include "core/Exception.h"
#include "sceneitem/SceneItemFactory.h"
#include "sceneitem/ShapeItem.h"
#include "sceneitem/TextItem.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::LumindraSceneItem {
namespace {

namespace pt = boost::property_tree;

std::string Describe(const ISceneItem& item)
{
    pt::ptree tree;
    item.Serialize(tree);
    std::ostringstream out;
    pt::write_json(out, tree, false);
    return out.str();
}

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
        pt::ptree tree;
        original->Serialize(tree);
        const std::unique_ptr<ISceneItem> copy = SceneItemFactory::Create(tree);
        EXPECT_EQ(Describe(*original), Describe(*copy));
        EXPECT_EQ(original->GetGraphicsItem()->type(), copy->GetGraphicsItem()->type());
        EXPECT_EQ(original->GetGraphicsItem()->sceneBoundingRect(), copy->GetGraphicsItem()->sceneBoundingRect());
    }
}

// A damaged description is refused with a message that names the fault.
TEST(SceneItemDescription, DamagedDescriptionsAreRefusedWithAReadableMessage)
{
    struct Damage {
        std::function<std::unique_ptr<ISceneItem>()> make;
        std::function<void(pt::ptree&)> apply;
        const char* expected;
    };
    const auto shape = [] { return MakeShape(ShapeItem::Ellipse); };
    const Damage damages[] = {
        {shape, [](pt::ptree& t) { t.erase("kind"); }, "names no kind"},
        {shape, [](pt::ptree& t) { t.put("kind", "hexagon"); }, "\"hexagon\""},
        {shape, [](pt::ptree& t) { t.erase("rect"); }, "no rectangle \"rect\""},
        {shape, [](pt::ptree& t) { t.put("rect.width", -4); }, "negative size"},
        {shape, [](pt::ptree& t) { t.put("rect.x", "left"); }, "\"x\": \"left\""},
        {shape, [](pt::ptree& t) { t.put("position.y", "nan"); }, "\"y\""},
        {shape, [](pt::ptree& t) { t.put("fill", "#12"); }, "colour in \"fill\""},
        {shape, [](pt::ptree& t) { t.put("strokeWidth", -1); }, "stroke width"},
        {MakeText, [](pt::ptree& t) { t.erase("text"); }, "no value \"text\""},
        {MakeText, [](pt::ptree& t) { t.put("pointSize", 1e9); }, "point size"},
    };
    for (const Damage& damage : damages) {
        pt::ptree tree;
        damage.make()->Serialize(tree);
        damage.apply(tree);
        try {
            SceneItemFactory::Create(tree);
            ADD_FAILURE() << "accepted; expected " << damage.expected;
        } catch (const Core::Exception& e) {
            EXPECT_NE(e.GetDescription().find(damage.expected), std::string::npos) << e.GetDescription();
        }
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
    EXPECT_EQ(shape->GetRect(), QRectF(-10, 90, 40, 20));
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

TEST(SceneItemDrops, TextReplacesTextButDraggedFilesAreLeftAlone)
{
    QGraphicsScene scene(0, 0, 200, 200);
    auto* text = new TextItem(QStringLiteral("old"));
    text->setPos(50, 50);
    scene.addItem(text);
    QGraphicsView view(&scene);
    view.show();
    auto drop = [&view, text](const QMimeData& data) {
        const QPoint at = view.mapFromScene(text->sceneBoundingRect().center());
        QDragEnterEvent enter(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view.viewport(), &enter);
        QDragMoveEvent move(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view.viewport(), &move);
        QDropEvent dropped(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(view.viewport(), &dropped);
        return move.isAccepted();
    };
    QMimeData file;
    file.setUrls({QUrl::fromLocalFile(QStringLiteral("/tmp/photo.jpg"))});
    file.setText(QStringLiteral("/tmp/photo.jpg"));
    EXPECT_FALSE(drop(file));
    EXPECT_EQ(text->text(), QStringLiteral("old"));

    QMimeData words;
    words.setText(QStringLiteral("new words"));
    EXPECT_TRUE(drop(words));
    EXPECT_EQ(text->text(), QStringLiteral("new words"));
}

// The selection frame is for the screen: rendering into an image (as when the core flattens the
// items) gives the same pixels selected or not, while the view shows it.
TEST(SceneItemSelection, ShownOnScreenButNeverRendered)
{
    QGraphicsScene scene(0, 0, 120, 80);
    auto* shape = new ShapeItem(ShapeItem::Ellipse, QRectF(10, 10, 60, 40));
    shape->setBrush(Qt::red);
    scene.addItem(shape);
    auto* text = new TextItem(QStringLiteral("label"));
    text->setPos(70, 50);
    scene.addItem(text);
    QGraphicsView view(&scene);
    view.show();

    auto render = [&scene] {
        QImage image(120, 80, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        scene.render(&painter);
        return image;
    };
    const QImage plain = render();
    const QImage plainOnScreen = view.viewport()->grab().toImage();
    shape->setSelected(true);
    text->setSelected(true);
    EXPECT_EQ(Lumindra::Test::MaxChannelDifference(plain, render()), 0);
    EXPECT_GT(Lumindra::Test::MaxChannelDifference(plainOnScreen, view.viewport()->grab().toImage()), 0);
}

} // namespace
} // namespace Quelto::Lumindra::LumindraSceneItem

// The workspace scene over a real core: the main-canvas mark, the background bands in each mode
// with real items beyond the picture (pixels of a rendered view), the rendering of the items for
// the core, drops, copying and pasting items, and the view reset when the scene goes.

#include <memory>
#include <thread>
#include <vector>

#include <QGraphicsView>
#include <QMimeData>
#include <QSignalSpy>
#include <QTest>
#include <QUrl>

#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include "ConnectorProbe.h"
#include "LumindraWorkspace/IDragAndDrop.h"
#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "LumindraWorkspace/scene/WorkspaceScene.h"
#include "LumindraWorkspace/view/IScalableView.h"
#include "TestController.h"
#include "photocore/SettingsSave.h"
#include "sceneitem/BorderDashItem.h"
#include "sceneitem/ShapeItem.h"
#include "sceneitem/TextItem.h"
#include "support/TestSupport.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"

namespace Quelto::Lumindra {
namespace {

namespace Support = ::Quelto::Lumindra::Test;

using LumindraSceneItem::ShapeItem;
using LumindraSceneItem::TextItem;
using Util::ObjectsConnector;

const QColor kPicture(0, 160, 0);
const QColor kDefaultSceneColor(0x1a, 0x1a, 0x1a);

QImage Solid(int width, int height, const QColor& color)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

// A 200x100 picture in a 400x300 view at 100 %, its scene at (100, 100) of the viewport.
class WorkspaceSceneTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        scene = std::make_unique<WorkspaceScene>(controller.GetImageUtils(), &controller, nullptr);
        view.setFrameShape(QFrame::NoFrame);
        view.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        view.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        view.resize(400, 300);
        view.setScene(scene.get());
        view.show();
        QCoreApplication::processEvents();
    }
    void TearDown() override { view.setScene(nullptr); }

    ShapeItem* AddShape(const QRectF& rect, const QColor& fill, const QColor& background, double z)
    {
        auto* shape = new ShapeItem(ShapeItem::Rectangle, QRectF(QPointF(0, 0), rect.size()));
        shape->setPos(rect.topLeft());
        shape->setPen(Qt::NoPen);
        shape->setBrush(fill);
        shape->SetBackgroundColor(background);
        shape->setZValue(z);
        scene->addItem(shape);
        return shape;
    }

    QImage Grab() { return view.viewport()->grab().toImage(); }
    QColor At(const QImage& screen, const QPointF& scenePoint) const
    {
        return QColor(screen.pixel(view.mapFromScene(scenePoint)));
    }

    Support::TestController controller {Solid(200, 100, kPicture)};
    std::unique_ptr<WorkspaceScene> scene;
    QGraphicsView view;
    Support::ConnectorProbe probe;
};

TEST_F(WorkspaceSceneTest, MarksItsCanvasAsTheMainOne)
{
    EXPECT_EQ(scene->sceneRect(), QRectF(0, 0, 200, 100));
    QGraphicsItem* main = WorkspaceScene::GetMainCanvas(scene.get());
    ASSERT_NE(main, nullptr);
    EXPECT_EQ(main, static_cast<QGraphicsItem*>(scene->GetCanvas()));
    EXPECT_TRUE(WorkspaceScene::IsMainCanvas(main));
    EXPECT_EQ(scene->GetCanvas()->pixmap().size(), QSize(200, 100));

    QGraphicsScene plain;
    auto* other = plain.addRect(0, 0, 10, 10);
    EXPECT_EQ(WorkspaceScene::GetMainCanvas(&plain), nullptr);
    EXPECT_FALSE(WorkspaceScene::IsMainCanvas(other));
    EXPECT_EQ(WorkspaceScene::GetMainCanvas(nullptr), nullptr);
}

TEST_F(WorkspaceSceneTest, WithoutItemsOnlyTheOutsideOfThePictureIsPainted)
{
    EXPECT_EQ(scene->GetBackgroundRect(), QRectF(0, 0, 200, 100));
    const QImage screen = Grab();
    EXPECT_EQ(At(screen, {100, 50}), kPicture);
    EXPECT_EQ(At(screen, {-10, 50}), kDefaultSceneColor);
    EXPECT_EQ(At(screen, {100, -10}), kDefaultSceneColor);
    EXPECT_EQ(QColor(screen.pixel(0, 0)), kDefaultSceneColor);
    EXPECT_EQ(QColor(screen.pixel(399, 299)), kDefaultSceneColor) << "bands reach the last pixel";

    scene->SetBackgroungColor(QColor(0x33, 0x66, 0x99));
    EXPECT_EQ(At(Grab(), {-10, 50}), QColor(0x33, 0x66, 0x99));
}

// A shape reaching 50 units left of the picture widens the background by 50 and gets a band in
// its background colour; a second such shape above it does not decide the colour; hidden shapes
// do not count.
TEST_F(WorkspaceSceneTest, ItemsBeyondThePictureExtendTheBackground)
{
    ShapeItem* lower = AddShape(QRectF(-50, 20, 60, 30), Qt::red, Qt::blue, 10);
    EXPECT_EQ(scene->GetBackgroundRect(), QRectF(-50, 0, 250, 100));
    QImage screen = Grab();
    EXPECT_EQ(At(screen, {-25, 5}), QColor(Qt::blue)) << "margin band";
    EXPECT_EQ(At(screen, {-25, 35}), QColor(Qt::red)) << "the shape itself";
    EXPECT_EQ(At(screen, {-60, 50}), kDefaultSceneColor) << "beyond the extended rectangle";
    EXPECT_EQ(At(screen, {100, 50}), kPicture);

    ShapeItem* upper = AddShape(QRectF(-40, 60, 20, 20), Qt::white, Qt::yellow, 11);
    screen = Grab();
    EXPECT_EQ(At(screen, {-25, 95}), QColor(Qt::blue)) << "the lowest reaching item decides";
    EXPECT_EQ(At(screen, {-30, 70}), QColor(Qt::white));

    // The dashed outline follows the parts outside the picture.
    LumindraSceneItem::BorderDashItem* dash = nullptr;
    for (QGraphicsItem* item : scene->items())
        dash = dash ? dash : dynamic_cast<LumindraSceneItem::BorderDashItem*>(item);
    ASSERT_NE(dash, nullptr);
    EXPECT_EQ(dash->GetRegion(), QRegion(-50, 20, 50, 30) + QRegion(-40, 60, 20, 20));

    lower->hide();
    upper->hide();
    EXPECT_EQ(scene->GetBackgroundRect(), QRectF(0, 0, 200, 100));
    EXPECT_EQ(At(Grab(), {-25, 5}), kDefaultSceneColor);
    EXPECT_TRUE(dash->GetRegion().isEmpty());
}

TEST_F(WorkspaceSceneTest, ModesChosenThroughTheConnector)
{
    ObjectsConnector::registerEmitter(Workspace::IObjectsConnectorID::SCENE_BACKGROUND_MODE_CHANGED, &probe,
                                      QStringLiteral("2sceneBgModeChanged(SceneBackgroundMode)"));
    AddShape(QRectF(-50, 20, 60, 30), Qt::red, Qt::blue, 10);

    emit probe.sceneBgModeChanged(SceneBackgroundMode::Fill);
    EXPECT_EQ(scene->GetBackgroundMode(), SceneBackgroundMode::Fill);
    QImage screen = Grab();
    EXPECT_EQ(At(screen, {-25, 5}), kDefaultSceneColor) << "no margin band in Fill mode";
    EXPECT_EQ(At(screen, {100, 50}), kPicture);
    EXPECT_EQ(QColor(screen.pixel(399, 299)), kDefaultSceneColor);

    emit probe.sceneBgModeChanged(SceneBackgroundMode::SceneRect);
    view.setSceneRect(-80, -25, 360, 150);
    view.centerOn(100, 50);
    screen = Grab();
    EXPECT_EQ(At(screen, {-90, 50}), kDefaultSceneColor) << "outside the view's scene rectangle";
    EXPECT_NE(At(screen, {-70, 90}), kDefaultSceneColor) << "inside it, left to the scene's own brush";
    EXPECT_NE(At(screen, {-25, 5}), QColor(Qt::blue)) << "the view's rectangle already covers the shape";

    // The topmost item is the base; the dashed outline above everything does not count.
    ShapeItem* top = AddShape(QRectF(250, 150, 40, 30), Qt::cyan, Qt::magenta, 20);
    emit probe.sceneBgModeChanged(SceneBackgroundMode::TopItem);
    EXPECT_EQ(scene->GetBackgroundRect(), QRectF(-50, 20, 340, 160));
    top->hide();
    EXPECT_EQ(scene->GetBackgroundRect(), QRectF(-50, 20, 60, 30));
}

// What the core gets when it flattens: the items over a transparent ground, cropped; no
// workspace colour, no dashed outline, no selection frame; renderingStarted around it.
TEST_F(WorkspaceSceneTest, GetVideoRendersTheItemsCropped)
{
    ShapeItem* shape = AddShape(QRectF(-50, 20, 60, 30), Qt::red, Qt::blue, 10);
    shape->setSelected(true);
    ObjectsConnector::registerReceiver(LumindraInt::IObjectsConnectorID::RENDERING_STARTED, &probe,
                                       QStringLiteral("1OnRenderingStarted(bool)"));
    Grab(); // the dashed outline is drawn on screen

    Proc::CropInfo crop;
    crop.left = 10;
    crop.top = 5;
    crop.right = 20;
    const Proc::DataVideoPtr frame = scene->GetVideo(crop);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->GetFrameInfo().width, 250 - 30);
    EXPECT_EQ(frame->GetFrameInfo().height, 100 - 5);
    EXPECT_EQ(probe.renderingStates, (std::vector<bool> {true, false}));

    const QImage image = controller.GetImageUtils().FrameToImage(frame);
    auto pixel = [&image](double sceneX, double sceneY) {
        return image.pixelColor(int(sceneX + 50 - 10), int(sceneY - 5));
    };
    EXPECT_EQ(pixel(-25, 35), QColor(Qt::red));
    EXPECT_EQ(pixel(-25, 10).alpha(), 0) << "no background under the margin";
    EXPECT_EQ(pixel(-40, 20), QColor(Qt::red)) << "no dashed outline or selection frame on the edge";
    EXPECT_EQ(pixel(100, 50), kPicture);

    // Back on screen the bands and the outline are there again.
    EXPECT_EQ(At(Grab(), {-25, 5}), QColor(Qt::blue));
    EXPECT_TRUE(scene->GetCanvas()->isVisible());
}

// Saving asks the scene for the items alone (the core keeps the picture's place transparent):
// the saved file shows the shape over the picture.
TEST_F(WorkspaceSceneTest, SavedPictureCarriesTheItems)
{
    AddShape(QRectF(20, 20, 40, 30), Qt::red, Qt::blue, 10)->setSelected(true);
    Support::Sandbox sandbox;
    const QString path = sandbox.FilePath(QStringLiteral("flat.png"));
    PhotoCore::SettingsSave settings = controller.GetIOEngine().GetSaveSettings();
    settings.SetFileName(path.toStdString());
    settings.SetFileExt("png");
    settings.SetCodecID({});
    ASSERT_EQ(controller.GetIOEngine().Save(settings), PhotoCore::IPhotoCoreIO::SaveResultSuccess);

    const QImage saved(path);
    ASSERT_EQ(saved.size(), QSize(200, 100));
    EXPECT_EQ(saved.pixelColor(40, 35), QColor(Qt::red));
    EXPECT_EQ(saved.pixelColor(20, 20), QColor(Qt::red)) << "no selection frame";
    EXPECT_EQ(saved.pixelColor(100, 50), kPicture);
    EXPECT_TRUE(scene->GetCanvas()->isVisible());
}

TEST_F(WorkspaceSceneTest, GetVideoRefusesAnEmptyCropAndOtherThreads)
{
    ObjectsConnector::registerReceiver(LumindraInt::IObjectsConnectorID::RENDERING_STARTED, &probe,
                                       QStringLiteral("1OnRenderingStarted(bool)"));
    WorkspaceScene* drawable = scene.get();
    Proc::CropInfo tooMuch;
    tooMuch.left = 150;
    tooMuch.right = 50;
    EXPECT_FALSE(drawable->GetVideo(tooMuch));
    EXPECT_TRUE(probe.renderingStates.empty());

    Support::LogCapture log;
    Proc::DataVideoPtr fromWorker = Support::MakeSolidFrame(1, 1, Qt::black);
    std::thread worker([&] { fromWorker = drawable->GetVideo(Proc::CropInfo()); });
    worker.join();
    EXPECT_FALSE(fromWorker);
    EXPECT_TRUE(log.Contains("only on the UI thread"));
    EXPECT_TRUE(probe.renderingStates.empty());
}

class FakeDragAndDrop : public IDragAndDrop {
public:
    bool CanAccept(const QMimeData* data) const override { return data && data->hasUrls(); }
    bool Drop(const QMimeData* data) override
    {
        ++drops;
        return data && data->hasUrls();
    }
    int drops = 0;
};

// Drags onto the view, as a person would: enter, move, drop at a scene point.
// Qt's scene accepts every drag that enters it, so what tells is the move and the drop.
struct DragResult {
    bool moved, dropped;
};
DragResult DragTo(QGraphicsView& view, const QPointF& scenePoint, const QMimeData* data)
{
    const QPoint at = view.mapFromScene(scenePoint);
    QDragEnterEvent enter(at, Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
    enter.setAccepted(false);
    QCoreApplication::sendEvent(view.viewport(), &enter);
    QDragMoveEvent move(at, Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
    move.setAccepted(false);
    QCoreApplication::sendEvent(view.viewport(), &move);
    QDropEvent drop(at, Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
    drop.setAccepted(false);
    QCoreApplication::sendEvent(view.viewport(), &drop);
    return {move.isAccepted(), drop.isAccepted()};
}

TEST_F(WorkspaceSceneTest, DropsGoToTheItemUnderTheCursorElseToTheReceiver)
{
    QMimeData file;
    file.setUrls({QUrl::fromLocalFile(QStringLiteral("/tmp/photo.jpg"))});

    DragResult result = DragTo(view, {100, 50}, &file);
    EXPECT_TRUE(result.moved) << "the workspace stays a drop target";
    EXPECT_FALSE(result.dropped) << "no receiver set";

    FakeDragAndDrop receiver;
    scene->SetDragAndDrop(&receiver);
    result = DragTo(view, {100, 50}, &file);
    EXPECT_TRUE(result.dropped);
    EXPECT_EQ(receiver.drops, 1);

    QMimeData text;
    text.setText(QStringLiteral("words"));
    result = DragTo(view, {100, 50}, &text);
    EXPECT_FALSE(result.dropped) << "the receiver could not use it";
    EXPECT_EQ(receiver.drops, 2);

    ShapeItem* shape = AddShape(QRectF(20, 20, 40, 40), Qt::red, Qt::blue, 10);
    QMimeData colour;
    colour.setColorData(QColor(Qt::yellow));
    result = DragTo(view, {40, 40}, &colour);
    EXPECT_TRUE(result.moved);
    EXPECT_TRUE(result.dropped);
    EXPECT_EQ(shape->brush().color(), QColor(Qt::yellow));
    EXPECT_EQ(receiver.drops, 2) << "the shape took it, not the receiver";
    scene->SetDragAndDrop(nullptr);
}

// Copying the selected items and pasting them back through the connector gives equal items,
// selected, with their joint top-left corner at the paste position.
TEST_F(WorkspaceSceneTest, CopiedItemsPasteBackEqualAtThePosition)
{
    ObjectsConnector::registerEmitter(LumindraInt::IObjectsConnectorID::COPY_SELECTED_SCENE_ITEMS_TO_CLIPBOARD, &probe,
                                      QStringLiteral("2copySelectedSceneItemsToClipboard()"));
    ObjectsConnector::registerReceiver(Workspace::IObjectsConnectorID::COPY_SCENE_ITEMS, &probe,
                                       QStringLiteral("1OnSceneItemsCopied(const std::string&)"));
    ObjectsConnector::registerEmitter(Workspace::IObjectsConnectorID::PASTE_SCENE_ITEMS, &probe,
                                      QStringLiteral("2pasteSceneItems(const std::string&, const QPointF&)"));

    emit probe.copySelectedSceneItemsToClipboard();
    EXPECT_TRUE(probe.copiedTexts.empty()) << "nothing selected, nothing copied";

    ShapeItem* shape = AddShape(QRectF(10, 10, 30, 20), Qt::red, Qt::blue, 10);
    AddShape(QRectF(100, 10, 30, 20), Qt::green, Qt::blue, 10); // not selected
    auto* text = new TextItem(QStringLiteral("note"));
    text->setPos(60, 40);
    text->setZValue(12);
    scene->addItem(text);
    shape->setSelected(true);
    text->setSelected(true);

    emit probe.copySelectedSceneItemsToClipboard();
    ASSERT_EQ(probe.copiedTexts.size(), std::size_t(1));
    const int before = scene->items().size();
    emit probe.pasteSceneItems(probe.copiedTexts.front(), QPointF(300, 400));
    ASSERT_EQ(scene->items().size(), before + 2);

    EXPECT_FALSE(shape->isSelected());
    EXPECT_FALSE(text->isSelected());
    const QList<QGraphicsItem*> pasted = scene->selectedItems();
    ASSERT_EQ(pasted.size(), 2);
    QRectF joint;
    for (QGraphicsItem* item : pasted) {
        joint |= item->sceneBoundingRect();
        // Equal to its original but for the position, moved by the same offset.
        const auto* original = item->type() == ShapeItem::Type ? static_cast<const LumindraSceneItem::ISceneItem*>(shape)
                                                               : static_cast<const LumindraSceneItem::ISceneItem*>(text);
        boost::property_tree::ptree a, b;
        original->Serialize(a);
        dynamic_cast<LumindraSceneItem::ISceneItem*>(item)->Serialize(b);
        a.erase("position");
        b.erase("position");
        EXPECT_TRUE(a == b);
        EXPECT_EQ(item->pos() - original->GetGraphicsItem()->pos(), QPointF(300, 400) - QPointF(10, 10));
    }
    EXPECT_EQ(joint.topLeft(), QPointF(300, 400));
}

TEST_F(WorkspaceSceneTest, DamagedPasteTextAddsNothing)
{
    ObjectsConnector::registerEmitter(Workspace::IObjectsConnectorID::PASTE_SCENE_ITEMS, &probe,
                                      QStringLiteral("2pasteSceneItems(const std::string&, const QPointF&)"));
    const int before = scene->items().size();
    Support::LogCapture log;
    const std::string texts[] = {
        "{not json",
        "{\"other\": 1}",
        // The second item is damaged: the first must not be added alone.
        "{\"groups\": {\"shape\": [{\"kind\": \"rectangle\", \"position\": {\"x\": 0, \"y\": 0}, \"rect\": {\"x\": 0, "
        "\"y\": 0, \"width\": 5, \"height\": 5}, \"fill\": \"#ff0000\", \"stroke\": \"#000000\", \"strokeWidth\": 1, "
        "\"background\": \"#ffffff\"}, {\"kind\": \"rectangle\"}]}}",
    };
    for (const std::string& text : texts)
        emit probe.pasteSceneItems(text, QPointF(5, 5));
    EXPECT_EQ(scene->items().size(), before);
    EXPECT_EQ(log.Count("Pasting scene items failed"), 3);
}

// The view's zoom interface, recording what the scene asks of it.
class RecordingView : public QGraphicsView, public IScalableView {
public:
    void ScaleToFit(bool) override {}
    void ScaleToPercent(double percent) override { calls.push_back("ScaleToPercent " + std::to_string(int(percent))); }
    double GetCurrentScalePercent() const override { return 100.0; }
    ScalePolicy CanScale() override { return ScaleNone; }
    bool SetRestrictionForScale(ScalePolicy, double) override { return false; }
    double GetRestrictionForScale(ScalePolicy) const override { return -1.0; }
    void SetScaleStep(double) override {}
    double GetScaleStep() const override { return 0.0; }
    void SetDragMode(bool) override {}
    void EnableDragTip(bool enable) override { calls.push_back(enable ? "EnableDragTip on" : "EnableDragTip off"); }
    ScalableViewEmitter* GetEmitter() const override { return nullptr; }
    QRectF GetSceneRect() override { return sceneRect(); }
    QRect GetViewRect() override { return rect(); }
    void HandleWheelEvent(QWheelEvent*) override {}

    std::vector<std::string> calls;
};

TEST_F(WorkspaceSceneTest, DestructionResetsTheViewTo100PercentWithoutTheDragTip)
{
    view.setScene(nullptr);
    RecordingView scalable;
    scalable.setScene(scene.get());
    scene.reset();
    EXPECT_EQ(scalable.calls,
              (std::vector<std::string> {"EnableDragTip off", "ScaleToPercent 100", "EnableDragTip on"}));
    EXPECT_TRUE(controller.Drawers().GetHandlers().empty()) << "the canvas left with the scene";
}

} // namespace
} // namespace Quelto::Lumindra

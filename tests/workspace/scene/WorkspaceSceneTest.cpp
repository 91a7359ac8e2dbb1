// The workspace scene over a real controller: background bands with real items beyond the
// picture (pixels of a rendered view), and the rendering of the items for the core.

#include <atomic>
#include <thread>

#include <QMimeData>
#include <QSignalSpy>

#include "LumindraWorkspace/IDragAndDrop.h"
#include "LumindraWorkspace/scene/WorkspaceScene.h"
#include "SceneTestSupport.h"
#include "sceneitem/BorderDashItem.h"
#include "sceneitem/ShapeItem.h"
#include "support/ViewSupport.h"

namespace Quelto::Lumindra {
namespace {

namespace Support = ::Quelto::Lumindra::Test;
using LumindraSceneItem::ShapeItem;

const QColor kPicture(0, 160, 0);
const QColor kWorkspace(0x1a, 0x1a, 0x1a);

// A 200x100 picture in a 400x300 view at 100 %.
class WorkspaceSceneTest : public ::testing::Test {
protected:
    // Items of one z stack in the order they are added: later ones on top.
    ShapeItem* AddShape(const QRectF& rect, const QColor& fill, const QColor& background)
    {
        auto* shape = new ShapeItem(ShapeItem::Rectangle, rect);
        shape->setPen(Qt::NoPen);
        shape->setBrush(fill);
        shape->SetBackgroundColor(background);
        scene.addItem(shape);
        return shape;
    }

    Support::TestController controller {Util::ImageUtils().FrameToImage(Support::MakeSolidFrame(200, 100, kPicture))};
    WorkspaceScene& scene = static_cast<WorkspaceScene&>(*controller.controller->GetScene());
    Support::BareView view {QSize(400, 300), &scene};
    QSignalSpy rendering {&scene, &WorkspaceScene::renderingStarted};
};

// A shape reaching 50 units left of the picture widens the background and gets a band in its
// background colour; of two such shapes the lower decides; hidden shapes do not count.
TEST_F(WorkspaceSceneTest, BandsAndExtendedRectangleFollowItemsBeyondThePicture)
{
    EXPECT_EQ(scene.GetBackgroundRect(), QRectF(0, 0, 200, 100));
    QImage screen = view.Grab();
    EXPECT_EQ(view.At(screen, {100, 50}), kPicture);
    EXPECT_EQ(view.At(screen, {-10, 50}), kWorkspace);
    EXPECT_EQ(screen.pixelColor(399, 299), kWorkspace) << "bands reach the last pixel";

    ShapeItem* lower = AddShape(QRectF(-50, 20, 60, 30), Qt::red, Qt::blue);
    ShapeItem* upper = AddShape(QRectF(-40, 60, 20, 20), Qt::white, Qt::yellow);
    EXPECT_EQ(scene.GetBackgroundRect(), QRectF(-50, 0, 250, 100));
    screen = view.Grab();
    EXPECT_EQ(view.At(screen, {-25, 5}), QColor(Qt::blue)) << "margin band";
    EXPECT_EQ(view.At(screen, {-25, 35}), QColor(Qt::red)) << "the shape itself";
    EXPECT_EQ(view.At(screen, {-60, 50}), kWorkspace) << "beyond the extended rectangle";
    EXPECT_EQ(view.At(screen, {100, 50}), kPicture);
    // The dashed outline lies above everything.
    auto* dash = dynamic_cast<LumindraSceneItem::BorderDashItem*>(scene.items(Qt::DescendingOrder).first());
    ASSERT_NE(dash, nullptr);
    EXPECT_EQ(dash->GetRegion(), QRegion(-50, 20, 50, 30) + QRegion(-40, 60, 20, 20)) << "outline outside";

    lower->hide();
    upper->hide();
    scene.SetBackgroungColor(QColor(0x33, 0x66, 0x99));
    EXPECT_EQ(scene.GetBackgroundRect(), QRectF(0, 0, 200, 100));
    EXPECT_EQ(view.At(view.Grab(), {-25, 5}), QColor(0x33, 0x66, 0x99));
    EXPECT_TRUE(dash->GetRegion().isEmpty());
}

// Receives what is dropped where no scene item takes it.
class DropReceiver : public IDragAndDrop {
public:
    DropReceiver(bool canAccept, bool takes) : canAccept_(canAccept), takes_(takes) {}
    bool CanAccept(const QMimeData*) const override { return canAccept_; }
    bool Drop(const QMimeData*) override { return ++drops, takes_; }
    int drops = 0;

private:
    const bool canAccept_, takes_;
};

// The workspace stays a drop target everywhere; a scene item that takes drops gets them before
// the host's receiver, which alone decides whether a drop elsewhere is taken.
TEST_F(WorkspaceSceneTest, DropsGoToAnItemThatTakesThemElseToTheReceiver)
{
    ShapeItem* taking = AddShape(QRectF(10, 10, 40, 40), Qt::red, Qt::blue);
    ShapeItem* refusing = AddShape(QRectF(120, 10, 40, 40), Qt::red, Qt::blue);
    refusing->setAcceptDrops(false);
    struct Case { const char* what; QPointF at; bool receiver, takes; bool dropped; int drops; };
    for (const Case& c : {Case {"picture, receiver takes", {100, 80}, true, true, true, 1},
                          Case {"picture, receiver refuses", {100, 80}, true, false, false, 1},
                          Case {"picture, no receiver", {100, 80}, false, false, false, 0},
                          Case {"item that takes drops", {30, 30}, true, true, true, 0},
                          Case {"item that does not", {140, 30}, true, true, true, 1}}) {
        SCOPED_TRACE(c.what);
        DropReceiver receiver(true, c.takes);
        scene.SetDragAndDrop(c.receiver ? &receiver : nullptr);
        QMimeData data;
        data.setText(QStringLiteral("dropped"));
        const Support::DragResult result = Support::DragTo(view, c.at, data);
        if (c.drops > 0 || !c.receiver) { // over an item that takes drops the move is the item's
            EXPECT_TRUE(result.moved) << "a drop target everywhere else";
        }
        EXPECT_EQ(result.dropped, c.dropped);
        EXPECT_EQ(receiver.drops, c.drops);
    }
    scene.SetDragAndDrop(nullptr);
    EXPECT_TRUE(taking->acceptDrops());
}

// Fill paints the workspace colour everywhere the picture is not, ignoring the margin colour
// of items beyond the picture that the canvas mode paints.
TEST_F(WorkspaceSceneTest, FillModeHasNoMarginBand)
{
    AddShape(QRectF(-50, 20, 60, 30), Qt::red, Qt::blue);
    EXPECT_EQ(view.At(view.Grab(), {-25, 5}), QColor(Qt::blue));
    scene.onSceneBgModeChanged(SceneBackgroundMode::Fill);
    scene.update();
    const QImage screen = view.Grab();
    EXPECT_EQ(view.At(screen, {-25, 5}), kWorkspace);
    EXPECT_EQ(view.At(screen, {100, 50}), kPicture);
}

// The main canvas is the topmost item marked so, whatever else the scene holds.
TEST_F(WorkspaceSceneTest, MainCanvasIsTheTopmostMarkedItem)
{
    QGraphicsItem* canvas = WorkspaceScene::GetMainCanvas(&scene);
    EXPECT_EQ(canvas, scene.GetCanvas());
    EXPECT_TRUE(WorkspaceScene::IsMainCanvas(canvas));
    ShapeItem* marked = AddShape(QRectF(10, 10, 40, 40), Qt::red, Qt::blue);
    EXPECT_FALSE(WorkspaceScene::IsMainCanvas(marked));
    marked->setData(0, QStringLiteral("MainCanvas"));
    EXPECT_EQ(WorkspaceScene::GetMainCanvas(&scene), marked);
    QGraphicsScene plain;
    plain.addRect(0, 0, 10, 10);
    EXPECT_EQ(WorkspaceScene::GetMainCanvas(&plain), nullptr);
}

// In the top-item mode the background follows the topmost item, shown or not, but never the
// dashed outline that lies above everything.
TEST_F(WorkspaceSceneTest, TopItemModeTakesTheTopmostItemUnderTheOutline)
{
    ShapeItem* shape = AddShape(QRectF(20, 10, 50, 30), Qt::red, Qt::blue);
    for (const bool shown : {true, false}) {
        SCOPED_TRACE(shown);
        shape->setVisible(shown);
        scene.onSceneBgModeChanged(SceneBackgroundMode::TopItem);
        EXPECT_EQ(scene.GetBackgroundRect(), shape->sceneBoundingRect());
        scene.onSceneBgModeChanged(SceneBackgroundMode::Canvas);
        EXPECT_EQ(scene.GetBackgroundRect(), QRectF(0, 0, 200, 100));
    }
}

// What the core gets when it flattens: the items over a transparent ground, cropped; no
// workspace colour, no dashed outline, no selection frame; renderingStarted around it. Nothing
// at all for a crop that leaves nothing. The core's rendering thread gets the same, rendered on
// the UI thread while it waits.
TEST_F(WorkspaceSceneTest, GetVideoRendersTheItemsCroppedOnTheUiThreadForAnyCaller)
{
    EXPECT_FALSE(scene.GetVideo(Proc::CropInfo {150, 0, 50, 0}));
    const QImage onUi = Util::ImageUtils().FrameToImage(scene.GetVideo(Proc::CropInfo {10, 5, 20, 0}));
    Proc::DataVideoPtr fromWorker;
    std::atomic<bool> done {false};
    std::thread worker([&] {
        fromWorker = scene.GetVideo(Proc::CropInfo {10, 5, 20, 0});
        done = true;
    });
    EXPECT_TRUE(Support::WaitUntil([&] { return done.load(); }));
    worker.join();
    ASSERT_TRUE(fromWorker);
    EXPECT_EQ(Util::ImageUtils().FrameToImage(fromWorker), onUi);
    rendering.clear();

    AddShape(QRectF(-50, 20, 60, 30), Qt::red, Qt::blue)->setSelected(true);
    view.Grab(); // the dashed outline and the selection frame are drawn on screen
    const QImage image = Util::ImageUtils().FrameToImage(scene.GetVideo(Proc::CropInfo {10, 5, 20, 0}));
    EXPECT_EQ(rendering, (QList<QVariantList> {{true}, {false}}));
    ASSERT_EQ(image.size(), QSize(250 - 30, 100 - 5));
    const auto at = [&image](int sceneX, int sceneY) { return image.pixelColor(sceneX + 50 - 10, sceneY - 5); };
    EXPECT_EQ(at(-25, 35), QColor(Qt::red));
    EXPECT_EQ(at(-25, 10).alpha(), 0) << "no background under the margin";
    EXPECT_EQ(at(-40, 20), QColor(Qt::red)) << "no dashed outline or selection frame on the edge";
    EXPECT_EQ(at(100, 50), kPicture);
    const QImage screen = view.Grab();
    EXPECT_EQ(view.At(screen, {-25, 5}), QColor(Qt::blue)) << "back on screen, the band";
    EXPECT_EQ(view.At(screen, {100, 50}), kPicture) << "and the canvas";
}

} // namespace
} // namespace Quelto::Lumindra

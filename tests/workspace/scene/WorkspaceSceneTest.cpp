// The workspace scene over a real controller: background bands with real items beyond the
// picture (pixels of a rendered view), and the rendering of the items for the core.

#include <thread>

#include <QSignalSpy>

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

// What the core gets when it flattens: the items over a transparent ground, cropped; no
// workspace colour, no dashed outline, no selection frame; renderingStarted around it. Nothing
// at all for a crop that leaves nothing, or on another thread.
TEST_F(WorkspaceSceneTest, GetVideoRendersTheItemsCroppedOnTheUiThreadOnly)
{
    EXPECT_FALSE(scene.GetVideo(Proc::CropInfo {150, 0, 50, 0}));
    Support::LogCapture log;
    Proc::DataVideoPtr fromWorker = Support::MakeSolidFrame(1, 1, Qt::black);
    std::thread([&] { fromWorker = scene.GetVideo(Proc::CropInfo()); }).join();
    EXPECT_FALSE(fromWorker);
    EXPECT_TRUE(log.Contains("only on the UI thread"));

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

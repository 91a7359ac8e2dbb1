// The canvas item: which zooms take the resized path, how often it resizes, what reaches the
// screen, how it follows the scene rectangle, and how it follows a real core's drawer.

#include <cstring>
#include <vector>

#include <QGraphicsScene>
#include <QGraphicsView>
#include <QTest>

#include <gtest/gtest.h>

#include "ConnectorProbe.h"
#include "CountingResizer.h"
#include "LumindraWorkspace/scene/CanvasItem.h"
#include "LumindraWorkspace/scene/TransformableCanvasItem.h"
#include "TestController.h"
#include "photoutil/ImageUtils.h"
#include "proc/EffectSettings.h"
#include "support/TestSupport.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"

namespace Quelto::Lumindra {
namespace {

namespace Support = ::Quelto::Lumindra::Test;

using Event = PhotoCore::IDrawerEventHandler;

Proc::DataVideoPtr PhotoFrame(int width, int height)
{
    return PhotoUtil::ImageUtils::ImageToFrame(Support::MakeTestImage(width, height));
}

// A scene in a real view whose viewport is exactly the given size (no frame, no scroll bars).
class Stage {
public:
    Stage(int width, int height)
    {
        view.setFrameShape(QFrame::NoFrame);
        view.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        view.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        view.resize(width, height);
        view.show();
        QCoreApplication::processEvents();
    }
    void Zoom(double factor) { view.setTransform(QTransform::fromScale(factor, factor)); }
    QImage Grab() { return view.viewport()->grab().toImage(); }

    QGraphicsScene scene;
    QGraphicsView view {&scene};
};

// A canvas that shows `frame` in the stage, with its resizer counted.
struct CountedCanvas {
    CountedCanvas(Stage& stage, const Proc::DataVideoPtr& frame)
        : canvas(new CanvasItem(utils, frame, nullptr))
    {
        counter = new Support::CountingResizer(canvas->GetResizer());
        canvas->GetResizer() = counter;
        stage.scene.addItem(canvas);
    }
    // Hands a frame to the canvas as the core would (a temporary-frame event) and waits.
    void Show(const Proc::DataVideoPtr& frame)
    {
        canvas->HandleFrameTemporary(Event::DrawerEventFrameTemporary("", "", 0, frame));
        QTRY_VERIFY(canvas->GetFrame() == frame);
    }

    Util::ImageUtils utils;
    CanvasItem* canvas; // owned by the scene
    Support::CountingResizer* counter; // owned by the canvas
};

struct ZoomCase {
    const char* name;
    int frameWidth, frameHeight;
    double zoom;
    int resizes;            // on the first paint
    QSize pixmapView;       // expected size of the scaled copy when one is made
};

// Which zooms take the resized path, in an 800x600 viewport.
TEST(CanvasItemZoom, ResizedPathOnlyWhereItPays)
{
    const ZoomCase cases[] = {
        {"exactly 100 %", 300, 200, 1.0, 0, {}},
        {"within the 100 % tolerance", 300, 200, 1.000005, 0, {}},
        {"just beyond the tolerance", 300, 200, 1.00002, 1, {300, 200}},
        {"just below 100 %", 300, 200, 0.99998, 1, {300, 200}},
        {"zoomed out", 1200, 900, 0.5, 1, {600, 450}},
        {"zoomed in on a large frame", 4000, 3000, 2.0, 0, {}},
        {"zoomed in on a small frame", 300, 200, 2.0, 1, {600, 400}},
        {"zoomed in, overflowing one way only", 4000, 100, 2.0, 1, {8000, 200}},
        {"smaller than a pixel", 10, 10, 0.01, 1, {1, 1}},
    };
    for (const ZoomCase& c : cases) {
        SCOPED_TRACE(c.name);
        Stage stage(800, 600);
        CountedCanvas counted(stage, PhotoFrame(c.frameWidth, c.frameHeight));
        stage.Zoom(c.zoom);
        stage.Grab();
        EXPECT_EQ(counted.counter->processed, c.resizes);
        if (c.resizes > 0) {
            EXPECT_TRUE(counted.canvas->GetFrameView());
            EXPECT_EQ(counted.canvas->GetPixmapView().size(), c.pixmapView);
        } else {
            EXPECT_TRUE(counted.canvas->GetPixmapView().isNull());
        }
        // A second paint at the same zoom never resizes again.
        stage.Grab();
        EXPECT_EQ(counted.counter->processed, c.resizes);
    }
}

TEST(CanvasItemZoom, ResizesAgainOnlyForANewZoomOrFrame)
{
    Stage stage(800, 600);
    CountedCanvas counted(stage, PhotoFrame(1600, 1000));
    stage.Zoom(0.5);
    for (int i = 0; i < 3; ++i)
        stage.Grab();
    EXPECT_EQ(counted.counter->processed, 1);

    stage.Zoom(0.25);
    stage.Grab();
    stage.Grab();
    EXPECT_EQ(counted.counter->processed, 2);
    EXPECT_EQ(counted.canvas->GetPixmapView().size(), QSize(400, 250));

    // The view repaints a new frame on its own, with one resize.
    counted.Show(PhotoFrame(800, 500));
    stage.Grab();
    stage.Grab();
    EXPECT_EQ(counted.counter->processed, 3);
    EXPECT_EQ(counted.canvas->GetPixmapView().size(), QSize(200, 125));
}

// What reaches the screen is the scaled copy, drawn 1:1 at the picture's place.
TEST(CanvasItemPaint, ScaledCopyIsDrawnPixelForPixel)
{
    Stage stage(800, 600);
    CountedCanvas counted(stage, PhotoFrame(1000, 700));
    stage.Zoom(0.5);
    const QImage screen = stage.Grab();
    const QImage scaled = counted.canvas->GetPixmapView().toImage();
    ASSERT_EQ(scaled.size(), QSize(500, 350));
    const QPoint at = stage.view.mapFromScene(QPointF(0, 0));
    EXPECT_EQ(Support::MaxChannelDifference(screen.copy(QRect(at, scaled.size())), scaled), 0);
}

// A failed resize leaves nothing drawn for that frame, and the next paint tries again.
TEST(CanvasItemPaint, FailedResizeDrawsNothingAndIsRetried)
{
    Stage stage(400, 300);
    stage.view.setBackgroundBrush(Qt::black);
    CountedCanvas counted(stage, Support::MakeSolidFrame(400, 300, Qt::white));
    counted.counter->fail = true;
    stage.Zoom(0.5);
    const QImage failed = stage.Grab();
    EXPECT_TRUE(counted.canvas->GetPixmapView().isNull());
    EXPECT_FALSE(counted.canvas->GetFrameView());
    const QPoint centre = stage.view.mapFromScene(QPointF(200, 150));
    EXPECT_EQ(QColor(failed.pixel(centre)), QColor(Qt::black));
    stage.Grab();
    EXPECT_EQ(counted.counter->processed, 2);

    counted.counter->fail = false;
    const QImage drawn = stage.Grab();
    EXPECT_EQ(QColor(drawn.pixel(centre)), QColor(Qt::white));
    stage.Grab();
    EXPECT_EQ(counted.counter->processed, 3);
}

// A frame of another pixel format resets the resizer; one of the same format does not.
TEST(CanvasItemFrame, NewFormatResetsTheResizer)
{
    Stage stage(200, 200);
    CountedCanvas counted(stage, Support::MakeSolidFrame(20, 20, Qt::red));
    Proc::DataVideoPtr deep = Proc::CreateDataVideo(Conf::FrameInfo {20, 20, 1.0}, Proc::PIX_FMT_RGBA64);
    std::memset(deep->GetMutableData(), 0xff, std::size_t(deep->GetStride()) * 20);
    const Proc::DataVideoPtr sequence[] = {Support::MakeSolidFrame(20, 20, Qt::green), deep,
                                           Proc::CloneDataVideo(*deep), Support::MakeSolidFrame(20, 20, Qt::blue)};
    const int expectedResets[] = {0, 1, 1, 2};
    for (int i = 0; i < 4; ++i) {
        counted.Show(sequence[i]);
        EXPECT_EQ(counted.counter->resets, expectedResets[i]) << i;
    }
}

TEST(CanvasItemFrame, NullFrameLeavesThePicture)
{
    Stage stage(200, 200);
    CountedCanvas counted(stage, Support::MakeSolidFrame(30, 20, Qt::red));
    const Proc::DataVideoPtr shown = counted.canvas->GetFrame();
    const qint64 pixmapKey = counted.canvas->pixmap().cacheKey();

    counted.canvas->HandleFrameTemporary(Event::DrawerEventFrameTemporary("", "", 0, nullptr));
    // The forwarder runs what is queued for this thread at the next pass of the event loop.
    QCoreApplication::processEvents();
    EXPECT_TRUE(counted.canvas->GetFrame() == shown);
    EXPECT_EQ(counted.canvas->pixmap().cacheKey(), pixmapKey);
    EXPECT_EQ(QColor(stage.Grab().pixel(stage.view.mapFromScene(QPointF(15, 10)))), QColor(Qt::red));
}

// The scene rectangle follows the frame only for a visible item in a scene that has a view.
TEST(CanvasItemSceneRect, FollowsTheFrameOnlyWhenVisibleAndViewed)
{
    Util::ImageUtils utils;
    QGraphicsScene unseen(0, 0, 10, 10);
    auto* alone = new CanvasItem(utils, Support::MakeSolidFrame(10, 10, Qt::red), nullptr);
    unseen.addItem(alone);
    const Proc::DataVideoPtr big = Support::MakeSolidFrame(300, 200, Qt::red);
    alone->HandleFrameTemporary(Event::DrawerEventFrameTemporary("", "", 0, big));
    QTRY_VERIFY(alone->GetFrame() == big);
    EXPECT_EQ(unseen.sceneRect(), QRectF(0, 0, 10, 10)) << "scene without a view";

    Stage stage(400, 300);
    stage.scene.setSceneRect(0, 0, 10, 10);
    CountedCanvas counted(stage, Support::MakeSolidFrame(10, 10, Qt::red));
    counted.canvas->hide();
    counted.Show(Support::MakeSolidFrame(500, 400, Qt::red));
    EXPECT_EQ(stage.scene.sceneRect(), QRectF(0, 0, 10, 10)) << "hidden item";

    counted.canvas->show();
    counted.Show(Support::MakeSolidFrame(500, 400, Qt::green));
    EXPECT_EQ(stage.scene.sceneRect(), QRectF(0, 0, 500, 400));
    const QPointF centre = stage.view.mapToScene(stage.view.viewport()->rect().center());
    EXPECT_LE((centre - QPointF(250, 200)).manhattanLength(), 2.0) << "the view is centred on the picture";

    counted.canvas->SetAdaptSceneToFrameChange(false);
    counted.Show(Support::MakeSolidFrame(60, 60, Qt::blue));
    EXPECT_EQ(stage.scene.sceneRect(), QRectF(0, 0, 500, 400)) << "adaptation switched off";
}

// With a real core: final frames, the RESET_FRAME and SHOW_IMAGE_WITH_MASK messages, and the
// registration that lasts exactly as long as the canvas.
class CanvasItemWithCore : public ::testing::Test {
protected:
    Support::TestController controller {Support::MakeTestImage(240, 160)};
    Support::ConnectorProbe probe;
};

TEST_F(CanvasItemWithCore, FollowsTheDrawerAndItsMessages)
{
    auto canvas = std::make_unique<CanvasItem>(controller.GetImageUtils(), &controller, nullptr);
    EXPECT_TRUE(canvas->GetFrame() == controller.Core().GetVideoWithMask());
    ASSERT_EQ(controller.Drawers().GetHandlers().size(), std::size_t(1));

    using Util::ObjectsConnector;
    ObjectsConnector::registerEmitter(LumindraInt::IObjectsConnectorID::RESET_FRAME, &probe,
                                      QStringLiteral("2resetFrame()"));
    ObjectsConnector::registerEmitter(LumindraInt::IObjectsConnectorID::SHOW_IMAGE_WITH_MASK, &probe,
                                      QStringLiteral("2showImageWithMask(bool,bool)"));

    // The core renders an edit; until its event reaches the UI thread the canvas shows the old
    // frame, and a reset shows the new one at once.
    const Proc::DataVideoPtr before = canvas->GetFrame();
    controller.ApplyAndWait(Proc::SettingsRotate(1));
    ASSERT_FALSE(controller.Core().GetVideoWithMask() == before);
    EXPECT_TRUE(canvas->GetFrame() == before);
    emit probe.resetFrame();
    EXPECT_TRUE(canvas->GetFrame() == controller.Core().GetVideoWithMask());
    EXPECT_EQ(canvas->pixmap().width(), 160) << "turned a quarter";

    // The same mask mode asks nothing of the drawer, even forced; a new mode without force
    // waits for the next frame; a forced change reads the drawer at once.
    const Proc::DataVideoPtr shown = canvas->GetFrame();
    controller.ApplyAndWait(Proc::SettingsFlip(true));
    emit probe.showImageWithMask(true, true);
    EXPECT_TRUE(canvas->GetFrame() == shown);
    emit probe.showImageWithMask(false, false);
    EXPECT_TRUE(canvas->GetFrame() == shown);
    emit probe.showImageWithMask(true, true);
    EXPECT_TRUE(canvas->GetFrame() == controller.Core().GetVideoWithMask());

    // Final frames reach the canvas through the drawer events on their own.
    controller.ApplyAndWait(Proc::SettingsRotate(1));
    QTRY_VERIFY(canvas->GetFrame() == controller.Core().GetVideoWithMask());
    EXPECT_EQ(canvas->pixmap().width(), 240);

    canvas.reset();
    EXPECT_TRUE(controller.Drawers().GetHandlers().empty());
}

// Every temporary frame of an interactive edit is shown, one after the other.
TEST_F(CanvasItemWithCore, ShowsEveryTemporaryFrame)
{
    class Watching : public CanvasItem {
    public:
        using CanvasItem::CanvasItem;
        std::vector<bool> shownAsGiven;

    protected:
        void HandleFrameTemporaryInternal(const Event::DrawerEventFrameTemporary& e) override
        {
            CanvasItem::HandleFrameTemporaryInternal(e);
            shownAsGiven.push_back(e.frame && GetFrame() == e.frame);
        }
    };
    Watching canvas(controller.GetImageUtils(), &controller, nullptr);
    for (double exposure : {0.5, 1.0, 1.5}) {
        Proc::SettingsAdjust adjust;
        adjust.exposure = exposure;
        controller.Core().PreviewEffect(Proc::EffectSettingsImpl::Create(adjust));
        ASSERT_TRUE(controller.Core().WaitForIdle(60000));
    }
    QTRY_VERIFY(canvas.shownAsGiven.size() >= 3);
    for (bool shown : canvas.shownAsGiven)
        EXPECT_TRUE(shown);
    controller.Core().CancelPreview();
    controller.Core().WaitForIdle(60000);
}

// The transformable variant: its own scale and rotation count, and the rotation is kept.
TEST(TransformableCanvasItem, ResizesForItsOwnScaleAndKeepsRotation)
{
    QImage halves(400, 200, QImage::Format_RGB32);
    halves.fill(Qt::red);
    for (int row = 0; row < 200; ++row)
        for (int col = 200; col < 400; ++col)
            halves.setPixel(col, row, qRgb(0, 0, 255));

    Stage stage(600, 600);
    stage.scene.setSceneRect(-300, -300, 600, 600);
    Util::ImageUtils utils;
    auto* item = new TransformableCanvasItem(utils, PhotoUtil::ImageUtils::ImageToFrame(halves), nullptr);
    auto* counter = new Support::CountingResizer(item->GetResizer());
    item->GetResizer() = counter;
    stage.scene.addItem(item);
    item->setRotation(90);
    stage.view.centerOn(0, 0);

    stage.Grab();
    EXPECT_EQ(counter->processed, 0) << "rotated only: drawn as it is";

    item->setScale(0.5);
    const QImage screen = stage.Grab();
    EXPECT_EQ(counter->processed, 1);
    EXPECT_EQ(item->GetPixmapView().size(), QSize(200, 100));
    // Turned a quarter clockwise: the left (red) half is now on top, the blue one below.
    const QPoint top = stage.view.mapFromScene(item->mapToScene(QPointF(100, 100)));
    const QPoint bottom = stage.view.mapFromScene(item->mapToScene(QPointF(300, 100)));
    EXPECT_LT(top.y(), bottom.y());
    EXPECT_EQ(QColor(screen.pixel(top)), QColor(Qt::red));
    EXPECT_EQ(QColor(screen.pixel(bottom)), QColor(Qt::blue));
    stage.Grab();
    EXPECT_EQ(counter->processed, 1);
}

} // namespace
} // namespace Quelto::Lumindra

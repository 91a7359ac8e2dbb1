// The canvas item: which zooms take the resized path and what reaches the screen, what a failed
// resize or a null frame leaves, how it follows the scene rectangle, and a real core's frames.

#include <atomic>
#include <functional>
#include <future>
#include <memory>

#include <QThreadPool>

#include "LumindraWorkspace/scene/TransformableCanvasItem.h"
#include "SceneTestSupport.h"
#include "core/RefCounted.h"
#include "photoutil/ImageUtils.h"
#include "proc/BackgroundPool.h"
#include "proc/EffectSettings.h"
#include "support/ViewSupport.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"

namespace Quelto::Lumindra {
namespace {

namespace Support = ::Quelto::Lumindra::Test;
using Event = PhotoCore::IDrawerEventHandler;

const Util::ImageUtils kUtils {};

// A canvas alone in a bare 800x600 view.
struct Stage : Support::BareView {
    explicit Stage(const Proc::DataVideoPtr& frame, bool transformable = false)
        : BareView({800, 600})
        , canvas(transformable ? new TransformableCanvasItem(kUtils, frame, nullptr)
                               : new CanvasItem(kUtils, frame, nullptr))
    {
        own.addItem(canvas);
    }
    CanvasItem* canvas; // owned by the scene
};

// Hands a frame to the canvas as the core would (a temporary-frame event) and waits for it.
void Show(CanvasItem* canvas, const Proc::DataVideoPtr& frame)
{
    canvas->HandleFrameTemporary(Event::DrawerEventFrameTemporary("", "", 0, frame));
    EXPECT_TRUE(Support::WaitUntil([&] { return canvas->GetFrame() == frame; }));
}

// For both kinds of canvas: where a scaled copy is made it is drawn pixel for pixel at the
// picture's place, and a second paint at the same zoom does not make another. A large frame is
// resized off the UI thread: its first paint shows a stand-in close to the copy that follows.
TEST(CanvasItemZoom, ResizedPathOnlyWhereItPays)
{
    const struct {
        const char* name;
        int width, height;
        double zoom;
        QSize copy; // empty: Qt's own painting draws the full pixmap
        bool later; // the copy is made on a pool thread
    } cases[] = {
        {"exactly 100 %", 300, 200, 1.0, {}, false},
        {"within the 100 % tolerance", 300, 200, 1.000005, {}, false},
        {"just beyond the tolerance", 300, 200, 1.00002, {300, 200}, false},
        {"just below 100 %", 300, 200, 0.99998, {300, 200}, false},
        {"zoomed out", 1200, 900, 0.5, {600, 450}, true},
        {"zoomed in on a large frame", 4000, 3000, 2.0, {}, false},
        {"zoomed in on a small frame", 300, 200, 2.0, {600, 400}, false},
        {"zoomed in, overflowing one way only", 4000, 100, 2.0, {8000, 200}, false},
        {"smaller than a pixel", 10, 10, 0.01, {1, 1}, false},
    };
    for (const auto& c : cases) {
        for (bool transformable : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (transformable ? ", transformable" : ""));
            Stage stage(PhotoUtil::ImageUtils::ImageToFrame(Support::MakeTestImage(c.width, c.height)), transformable);
            stage.Zoom(c.zoom);
            const QImage first = stage.Grab();
            EXPECT_EQ(stage.canvas->HasPendingResize(), c.later);
            ASSERT_TRUE(Support::WaitUntil([&] { return !stage.canvas->HasPendingResize(); }));
            const QImage screen = stage.Grab();
            const qint64 copyKey = stage.canvas->GetPixmapView().cacheKey();
            stage.Grab();
            EXPECT_EQ(stage.canvas->GetPixmapView().cacheKey(), copyKey) << "resized again";
            const QImage copy = stage.canvas->GetPixmapView().toImage();
            ASSERT_EQ(copy.size(), c.copy.isEmpty() ? QSize(0, 0) : c.copy);
            if (copy.isNull())
                continue;
            const QRect place(stage.mapFromScene(QPointF(0, 0)), copy.size());
            const QRect visible = place & screen.rect();
            const QRect inCopy = visible.translated(-place.topLeft());
            EXPECT_EQ(Support::MaxChannelDifference(screen.copy(visible), copy.copy(inCopy)), 0);
            const QColor standIn = Support::MeanColor(first, visible);
            const QColor exact = Support::MeanColor(screen, visible);
            EXPECT_LE(std::abs(standIn.red() - exact.red()) + std::abs(standIn.green() - exact.green()), 6)
                << "the stand-in is not the picture";
        }
    }
}

// An item destroyed while its copy is being made on a pool thread: the result finds nobody and
// is dropped (a fault here shows as a crash, or under the address sanitizer). One destroyed
// while its copy still waits for a busy pool lets go of its frame at once: browsing a folder
// must not keep a full-size frame per picture passed until the pool catches up.
TEST(CanvasItemZoom, DestroyedWhileResizing)
{
    const Proc::DataVideoPtr video = PhotoUtil::ImageUtils::ImageToFrame(Support::MakeTestImage(3000, 2000));
    const auto* frame = dynamic_cast<const Core::RefCounted*>(video.get());
    ASSERT_NE(frame, nullptr);
    const int references = frame->UseCount();
    for (bool poolBusy : {false, true, false, true}) {
        SCOPED_TRACE(poolBusy ? "the pool busy" : "the pool free");
        std::promise<void> release;
        std::shared_future<void> released = release.get_future().share();
        std::atomic<int> blocking {0};
        const int blockers = poolBusy ? QThread::idealThreadCount() : 0;
        for (int i = 0; i < blockers; ++i)
            Proc::StartInBackground([&blocking, released] { ++blocking, released.wait(); });
        ASSERT_TRUE(Support::WaitUntil([&] { return blocking == blockers; }));
        auto stage = std::make_unique<Stage>(video);
        stage->Zoom(0.2);
        stage->Grab();
        EXPECT_TRUE(stage->canvas->HasPendingResize());
        stage.reset();
        if (poolBusy) {
            EXPECT_EQ(frame->UseCount(), references) << "the frame outlived its item";
        }
        release.set_value();
    }
    EXPECT_TRUE(Support::WaitUntil([&] { return frame->UseCount() == references; }));
    QCoreApplication::processEvents();
}

// Stands in for the canvas's resizer and fails every frame.
struct FailingResizer : Core::RefCounted, Proc::IOneInputEffectVideo {
    void Reset() override {}
    void SetSettings(const Proc::SettingsBase&) override {}
    bool Process(Proc::DataVideoPtr&) override { return false; }
};

// A null frame leaves the picture as it is; a failed resize draws nothing for that frame, and
// the next paint tries again.
TEST(CanvasItemFrame, NullFrameAndFailedResizeLeaveNoDamage)
{
    Stage stage(Support::MakeSolidFrame(400, 300, Qt::white));
    stage.setBackgroundBrush(Qt::black);
    const Proc::DataVideoPtr shown = stage.canvas->GetFrame();
    const qint64 pixmapKey = stage.canvas->pixmap().cacheKey();
    stage.canvas->HandleFrameTemporary(Event::DrawerEventFrameTemporary("", "", 0, nullptr));
    QCoreApplication::processEvents(); // the forwarder runs what is queued at the next pass
    EXPECT_TRUE(stage.canvas->GetFrame() == shown);
    EXPECT_EQ(stage.canvas->pixmap().cacheKey(), pixmapKey);
    EXPECT_EQ(stage.At(stage.Grab(), {200, 150}), QColor(Qt::white));

    const boost::intrusive_ptr<Proc::IOneInputEffectVideo> resizer = stage.canvas->GetResizer();
    stage.canvas->GetResizer() = new FailingResizer();
    stage.Zoom(0.5);
    EXPECT_EQ(stage.At(stage.Grab(), {200, 150}), QColor(Qt::black));
    stage.canvas->GetResizer() = resizer;
    EXPECT_EQ(stage.At(stage.Grab(), {200, 150}), QColor(Qt::white));
}

// The scene rectangle follows the frame only for a visible item in a scene that has a view.
TEST(CanvasItemSceneRect, FollowsTheFrameOnlyWhenVisibleAndViewed)
{
    Stage stage(Support::MakeSolidFrame(10, 10, Qt::red));
    stage.own.setSceneRect(0, 0, 10, 10);
    stage.setScene(nullptr);
    Show(stage.canvas, Support::MakeSolidFrame(300, 200, Qt::red));
    EXPECT_EQ(stage.own.sceneRect(), QRectF(0, 0, 10, 10)) << "scene without a view";

    stage.setScene(&stage.own);
    stage.canvas->hide();
    Show(stage.canvas, Support::MakeSolidFrame(500, 400, Qt::red));
    EXPECT_EQ(stage.own.sceneRect(), QRectF(0, 0, 10, 10)) << "hidden item";

    stage.canvas->show();
    Show(stage.canvas, Support::MakeSolidFrame(500, 400, Qt::green));
    EXPECT_EQ(stage.own.sceneRect(), QRectF(0, 0, 500, 400));
    // The view is centred on the picture.
    EXPECT_LE((stage.mapToScene(stage.viewport()->rect().center()) - QPointF(250, 200)).manhattanLength(), 2.0);
}

// With a real core: every temporary frame of an interactive edit is shown, one after the other,
// then the final frame of an edit; the canvas listens to the drawer exactly while it lives.
TEST(CanvasItemWithCore, ShowsEveryTemporaryFrameThenTheFinalOne)
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
    Support::TestController controller(Support::MakeTestImage(240, 160));
    auto& drawers = dynamic_cast<PhotoCore::DrawerEventForwarder&>(*controller.controller);
    const std::size_t handlers = drawers.GetHandlers().size();
    auto canvas = std::make_unique<Watching>(kUtils, controller.controller.get(), nullptr);
    for (double exposure : {0.5, 1.0, 1.5}) {
        Proc::SettingsAdjust adjust;
        adjust.exposure = exposure;
        controller.Core().PreviewEffect(Proc::EffectSettingsImpl::Create(adjust));
        ASSERT_TRUE(controller.Core().WaitForIdle(Support::kDefaultWaitMs));
    }
    ASSERT_TRUE(Support::WaitUntil([&] { return canvas->shownAsGiven.size() >= 3; }));
    EXPECT_EQ(canvas->shownAsGiven, std::vector<bool>(canvas->shownAsGiven.size(), true));

    controller.Core().CancelPreview();
    controller.Core().ApplyEffect(Proc::EffectSettingsImpl::Create(Proc::SettingsRotate(1)));
    ASSERT_TRUE(controller.Core().WaitForIdle(Support::kDefaultWaitMs));
    EXPECT_TRUE(Support::WaitUntil([&] { return canvas->GetFrame() == controller.Core().GetVideoWithMask(); }));
    canvas.reset();
    EXPECT_EQ(drawers.GetHandlers().size(), handlers);
}

// The host's side of the canvas's two messages.
class CanvasHost : public QObject {
    Q_OBJECT
public:
    CanvasHost()
    {
        Util::ObjectsConnector::registerEmitter(LumindraInt::IObjectsConnectorID::RESET_FRAME, this,
                                                QStringLiteral("2resetFrame()"));
        Util::ObjectsConnector::registerEmitter(LumindraInt::IObjectsConnectorID::SHOW_IMAGE_WITH_MASK, this,
                                                QStringLiteral("2showWithMask(bool, bool)"));
    }
    ~CanvasHost() override
    {
        Util::ObjectsConnector::unregisterEmitter(LumindraInt::IObjectsConnectorID::RESET_FRAME, this,
                                                  QStringLiteral("2resetFrame()"));
        Util::ObjectsConnector::unregisterEmitter(LumindraInt::IObjectsConnectorID::SHOW_IMAGE_WITH_MASK, this,
                                                  QStringLiteral("2showWithMask(bool, bool)"));
    }
Q_SIGNALS:
    void resetFrame();
    void showWithMask(bool withMask, bool force);
};

// The host's messages: a reset and a forced change of the mask mode go back to the drawer's frame
// at once; an unforced change, or one to the mode already set, leaves what is shown.
TEST(CanvasItemWithCore, HostMessagesReReadTheDrawerOnlyWhenTheyMust)
{
    const struct {
        const char* name;
        std::function<void(CanvasHost&)> send;
        bool reread;
    } cases[] = {
        {"reset", [](CanvasHost& host) { Q_EMIT host.resetFrame(); }, true},
        {"forced change", [](CanvasHost& host) { Q_EMIT host.showWithMask(false, true); }, true},
        {"change for the next frame", [](CanvasHost& host) { Q_EMIT host.showWithMask(false, false); }, false},
        {"forced, mode already set", [](CanvasHost& host) { Q_EMIT host.showWithMask(true, true); }, false},
    };
    Support::TestController controller(Support::MakeTestImage(240, 160));
    CanvasHost host;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CanvasItem canvas(kUtils, controller.controller.get(), nullptr);
        const Proc::DataVideoPtr passing = Support::MakeSolidFrame(30, 20, Qt::blue);
        Show(&canvas, passing);
        c.send(host);
        EXPECT_EQ(canvas.GetFrame() == controller.Core().GetVideoWithMask(), c.reread);
        EXPECT_EQ(canvas.GetFrame() == passing, !c.reread);
    }
}

// Counts the resets of the resizer it stands in front of.
struct ResetCounter : Core::RefCounted, Proc::IOneInputEffectVideo {
    explicit ResetCounter(boost::intrusive_ptr<Proc::IOneInputEffectVideo> inner) : inner(std::move(inner)) {}
    void Reset() override
    {
        ++resets;
        inner->Reset();
    }
    void SetSettings(const Proc::SettingsBase& settings) override { inner->SetSettings(settings); }
    bool Process(Proc::DataVideoPtr& frame) override { return inner->Process(frame); }
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> inner;
    int resets = 0;
};

// The resizer starts afresh only when the frame format changes, so that no state of one format
// is reused for another.
TEST(CanvasItemFrame, ResizerIsResetOnlyWhenTheFormatChanges)
{
    Stage stage(Support::MakeSolidFrame(40, 30, Qt::red));
    auto* counter = new ResetCounter(stage.canvas->GetResizer());
    stage.canvas->GetResizer() = counter;
    const QImage deep = Support::MakeTestImage(40, 30).convertToFormat(QImage::Format_RGBA64);
    const struct {
        Proc::DataVideoPtr frame;
        int resets;
    } steps[] = {
        {Support::MakeSolidFrame(40, 30, Qt::green), 0},
        {PhotoUtil::ImageUtils::ImageToWorkingFrame(deep), 1},
        {PhotoUtil::ImageUtils::ImageToWorkingFrame(deep), 1},
        {Support::MakeSolidFrame(40, 30, Qt::blue), 2},
    };
    for (const auto& step : steps) {
        Show(stage.canvas, step.frame);
        EXPECT_EQ(counter->resets, step.resets) << "format " << step.frame->GetPixFmt();
    }
}

} // namespace
} // namespace Quelto::Lumindra

#include "CanvasItemTest.moc"

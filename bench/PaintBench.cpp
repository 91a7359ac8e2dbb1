// Painting the canvas at fit zoom: the canvas's resized path against Qt's own smooth painting
// of the full pixmap, in time and in quality.
//
// Method. The photograph is a 6000x4000 JPEG opened by the editing core; the canvas shows the
// core's frame (levels as the core leaves them). A real QGraphicsView on the offscreen platform
// has a 1600x1000 viewport (no frame, no scroll bars, aligned top-left) and the zoom 1600/6000,
// the width fit: the picture is 1600x1067 on screen, so its scaled size is not one of the
// frame's reduced levels (the height fit, 1/4, would be). Every paint is what the view's paint
// event does for the item: a QPainter on a 1600x1000 ARGB32-premultiplied QImage (the offscreen
// backing store's format) with the view's viewport transform, then item->paint(painter, option,
// viewport). The reference is a QGraphicsPixmapItem holding the same full-size pixmap with
// Qt::SmoothTransformation, painted the same way. Times are medians of several runs.
//
// - paint_zoom_vs_qt_smooth: the canvas's first paint after its scaled copy was dropped (as a
//   zoom change does) / the Qt painting: the UI thread's cost, which draws a stand-in and asks a
//   pool thread for the copy. Before each run the canvas is given the same frame again,
//   untimed, which drops the copy.
// - paint_zoom_sharp_vs_qt_smooth: from that paint until the exact copy is in place (how long
//   the stand-in shows) / the Qt painting.
// - paint_pan_vs_qt_smooth: a paint at the unchanged zoom (the cached copy drawn) / the Qt
//   painting.
// - paint_psnr_db, qt_paint_psnr_db: the painted pixels of each against a floating-point
//   Lanczos-3 reduction of the same frame to the on-screen size (ImageQuality.h), over the
//   visible 1600x1000.
// - paint_repeat_resizes: resizer calls over 10 paints at an unchanged zoom after a change.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <vector>

#include <QApplication>
#include <QElapsedTimer>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QImage>
#include <QPainter>
#include <QScrollBar>
#include <QStyleOptionGraphicsItem>

#include "Bench.h"
#include "ImageQuality.h"
#include "LumindraWorkspace/scene/CanvasItem.h"
#include "core/RefCounted.h"
#include "photocore/PhotoCoreFactory.h"
#include "proc/Vips.h"

namespace Quelto::Lumindra::Bench {

namespace {

constexpr int kViewportWidth = 1600;
constexpr int kViewportHeight = 1000;
constexpr int kRuns = 7;
constexpr int kRepeatPaints = 10;
// A 24 MP photo decodes and renders in a few seconds on the slowest machine we run on.
constexpr int kCoreIdleTimeoutMs = 120000;

// Counts the canvas's resizes on their way to the real resizer.
class CountingResizer : public Core::RefCounted, public Proc::IOneInputEffectVideo {
public:
    explicit CountingResizer(boost::intrusive_ptr<Proc::IOneInputEffectVideo> inner) : inner_(std::move(inner)) {}
    void Reset() override { inner_->Reset(); }
    void SetSettings(const Proc::SettingsBase& settings) override { inner_->SetSettings(settings); }
    bool Process(Proc::DataVideoPtr& frame) override
    {
        ++calls;
        return inner_->Process(frame);
    }
    std::atomic<int> calls {0}; // the canvas resizes on a pool thread

private:
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> inner_;
};


} // namespace

LUMINDRA_BENCH_GROUP(paint)
{
    PhotoCore::CoreCreateOptions options;
    options.waitForFullFrame = true;
    const PhotoCore::PhotoCorePtr core =
        PhotoCore::PhotoCoreFactory::Create(ioPath(PhotoJpeg24MP().toUtf8().toStdString()), std::string(), options);
    core->WaitForIdle(kCoreIdleTimeoutMs);
    const Proc::DataVideoPtr frame = core->GetVideoWithMask();
    const Conf::FrameInfo& info = frame->GetFrameInfo();

    Util::ImageUtils utils;
    QGraphicsScene scene(0, 0, info.width, info.height);
    auto* canvas = new CanvasItem(utils, frame, nullptr);
    auto* counter = new CountingResizer(canvas->GetResizer());
    canvas->GetResizer() = counter;
    scene.addItem(canvas);
    auto* qtItem = new QGraphicsPixmapItem(canvas->pixmap());
    qtItem->setTransformationMode(Qt::SmoothTransformation);
    qtItem->setVisible(false); // painted directly below, never by the view
    scene.addItem(qtItem);

    QGraphicsView view(&scene);
    view.setFrameShape(QFrame::NoFrame);
    view.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.setAlignment(Qt::AlignLeft | Qt::AlignTop);
    view.resize(kViewportWidth, kViewportHeight);
    view.show();
    QApplication::processEvents();
    const double zoom = double(kViewportWidth) / info.width;
    view.setTransform(QTransform::fromScale(zoom, zoom));
    view.horizontalScrollBar()->setValue(0);
    view.verticalScrollBar()->setValue(0);

    QImage target(kViewportWidth, kViewportHeight, QImage::Format_ARGB32_Premultiplied);
    QStyleOptionGraphicsItem option;
    auto paint = [&](QGraphicsItem* item) {
        target.fill(Qt::black);
        QPainter painter(&target);
        painter.setTransform(item->sceneTransform() * view.viewportTransform());
        option.exposedRect = item->boundingRect();
        item->paint(&painter, &option, view.viewport());
    };
    auto dropScaledCopy = [&] {
        canvas->HandleFrameTemporary(PhotoCore::IDrawerEventHandler::DrawerEventFrameTemporary("", "", 0, frame));
        QApplication::processEvents();
    };

    const double qtMs = MedianMs(kRuns, [&] { paint(qtItem); });
    const QImage qtPainted = target.copy();

    const auto copyReady = [&] { return !canvas->HasPendingResize(); };
    std::vector<double> zoomTimes;
    std::vector<double> sharpTimes;
    for (int run = 0; run < kRuns; ++run) {
        dropScaledCopy();
        QElapsedTimer clock;
        clock.start();
        paint(canvas);
        zoomTimes.push_back(clock.nsecsElapsed() / 1e6);
        WaitUntil(copyReady, "the scaled copy");
        sharpTimes.push_back(clock.nsecsElapsed() / 1e6);
    }
    std::sort(zoomTimes.begin(), zoomTimes.end());
    std::sort(sharpTimes.begin(), sharpTimes.end());
    const double zoomMs = zoomTimes[zoomTimes.size() / 2];
    const double sharpMs = sharpTimes[sharpTimes.size() / 2];

    const double panMs = MedianMs(kRuns, [&] { paint(canvas); });
    const QImage ourPainted = target.copy();

    dropScaledCopy();
    counter->calls = 0;
    for (int i = 0; i < kRepeatPaints; ++i)
        paint(canvas);
    WaitUntil(copyReady, "the scaled copy");
    const int repeatResizes = counter->calls;

    const QSize onScreen = canvas->GetPixmapView().size();
    const QImage reference = LanczosReference(*frame, onScreen.width(), onScreen.height());
    const QRect visible = QRect(QPoint(0, 0), onScreen).intersected(target.rect());

    Report("paint_zoom_vs_qt_smooth", zoomMs / qtMs, "ratio");
    Report("paint_zoom_sharp_vs_qt_smooth", sharpMs / qtMs, "ratio");
    Report("paint_pan_vs_qt_smooth", panMs / qtMs, "ratio");
    Report("paint_psnr_db", Psnr(ourPainted.copy(visible), reference.copy(visible)), "dB");
    Report("qt_paint_psnr_db", Psnr(qtPainted.copy(visible), reference.copy(visible)), "dB");
    Report("paint_repeat_resizes", repeatResizes, "calls");
    std::fprintf(stderr, "paint: qt %.2f ms, zoom %.2f ms (sharp after %.2f ms), pan %.2f ms, on screen %dx%d, "
                 "frame levels %d\n", qtMs, zoomMs, sharpMs, panMs, onScreen.width(), onScreen.height(), frame->GetLevelCount());
}

} // namespace Quelto::Lumindra::Bench

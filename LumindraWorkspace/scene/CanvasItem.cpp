#include "LumindraWorkspace/scene/CanvasItem.h"

#include <algorithm>
#include <mutex>

#include <QGraphicsScene>
#include <QGraphicsView>
#include <QPainter>

#include <glog/logging.h>

#include "LumindraWorkspace/IWorkspaceController.h"
#include "photocore/FrameOps.h"
#include "proc/BackgroundPool.h"
#include "proc/EffectSettings.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"
#include "util/ScreenInfo.h"

namespace Quelto::Lumindra {

namespace {

// Zoom factors this close to 1 count as 100 %: the full pixmap is drawn as it is.
constexpr double kUnitScaleLow = 0.99999;
constexpr double kUnitScaleHigh = 1.00001;

// Values of the resizer settings that the canvas asks for: scale to the target exactly.
constexpr int kResizerCustomModeExact = 1;
constexpr int kResizerModeLanczos3 = 2;

// Below this many source pixels a resize takes a few milliseconds: it is done at once, so a
// small picture never shows a stand-in.
constexpr std::int64_t kInlineResizePixels = std::int64_t(1) << 20;

// The event fields that the canvas's own slots put into a synthesized frame event; the
// canvas ignores them, the core reads the last as the frame reason.
constexpr int kCurrentFrameIndex = -1;
constexpr int kReasonReset = 6;
constexpr int kReasonEdit = 0;

boost::intrusive_ptr<Proc::IOneInputEffectVideo> CreateResizer()
{
    boost::intrusive_ptr<Proc::IEffect> effect =
        Proc::GetEffectFactory().Create(Proc::SettingsResizer::CLASS_ID, Proc::ImplNames::DEFAULT);
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> resizer(dynamic_cast<Proc::IOneInputEffectVideo*>(effect.get()));
    if (!resizer)
        LOG(WARNING) << "No resizer effect available: the canvas draws with Qt's own scaling";
    return resizer;
}

// The frame scaled to `target` by `resizer`; null when the resizer fails.
boost::intrusive_ptr<Proc::IDataVideo> Resize(Proc::IOneInputEffectVideo& resizer,
                                              boost::intrusive_ptr<Proc::IDataVideo> frame,
                                              const Conf::FrameInfo& target)
{
    Proc::SettingsResizer settings;
    settings.SetCustomMode(kResizerCustomModeExact, target);
    settings.useLevels = true;
    settings.keepAspect = true;
    settings.mode = kResizerModeLanczos3;
    try {
        resizer.SetSettings(settings);
        if (!resizer.Process(frame))
            return nullptr;
    } catch (const std::exception& e) {
        LOG(WARNING) << "Resizing the frame for display failed: " << e.what();
        return nullptr;
    }
    return frame;
}

bool SameSize(const Conf::FrameInfo& a, const Conf::FrameInfo& b)
{
    return a.width == b.width && a.height == b.height;
}

// Equality of scene-rectangle values; a plain qFuzzyCompare fails near 0.
bool FuzzyEqual(double a, double b)
{
    return qFuzzyCompare(1.0 + a, 1.0 + b);
}

bool FuzzyEqual(const QRectF& a, const QRectF& b)
{
    return FuzzyEqual(a.x(), b.x()) && FuzzyEqual(a.y(), b.y()) && FuzzyEqual(a.width(), b.width()) &&
           FuzzyEqual(a.height(), b.height());
}

} // namespace

// A finished resize posts its result to the item through this, under the mutex, so the item
// cannot be destroyed between the check and the post; Qt drops what is still queued for a
// destroyed item.
struct CanvasItem::ResizeMailbox {
    explicit ResizeMailbox(CanvasItem* item) : owner(item) {}
    std::mutex mutex;  // guards owner and wish
    CanvasItem* owner; // null once the item is gone
    // The request a queued resize takes when it starts. Held here rather than by the queued job,
    // so that an item that dies first lets go of its full-size frame at once, not when a busy
    // pool gets round to the job.
    ResizeWish wish;
};

CanvasItem::CanvasItem(const Util::ImageUtils& imageUtils, const boost::intrusive_ptr<Proc::IDataVideo>& frame,
                       QObject* parent)
    : QObject(parent)
    , QGraphicsPixmapItem(QPixmap(), nullptr)
    , imageUtils_(imageUtils)
    , resizer_(CreateResizer())
    , mailbox_(std::make_shared<ResizeMailbox>(this))
{
    setTransformationMode(Qt::SmoothTransformation);
    SetFrame(frame);
}

CanvasItem::CanvasItem(const Util::ImageUtils& imageUtils, IWorkspaceController* controller, QObject* parent)
    : QObject(parent)
    , QGraphicsPixmapItem(QPixmap(), nullptr)
    , imageUtils_(imageUtils)
    , workspaceController_(controller)
    , drawer_(controller ? controller->GetLumindraDrawer() : nullptr)
    , resizer_(CreateResizer())
    , mailbox_(std::make_shared<ResizeMailbox>(this))
{
    setZValue(UIDefaultValue::ZValue::Default);
    setTransformationMode(Qt::SmoothTransformation);
    Util::ObjectsConnector::registerReceiver(LumindraInt::IObjectsConnectorID::RESET_FRAME, this,
                                             QStringLiteral("1ResetFrame()"), 0);
    Util::ObjectsConnector::registerReceiver(LumindraInt::IObjectsConnectorID::SHOW_IMAGE_WITH_MASK, this,
                                             QStringLiteral("1OnShowVideoWithMaskChanged(bool, bool)"), 0);
    if (workspaceController_)
        workspaceController_->RegisterDrawerEventHandler(this);
    if (drawer_)
        SetFrame(drawer_->GetVideoWithMask());
}

CanvasItem::~CanvasItem()
{
    {
        std::lock_guard<std::mutex> lock(mailbox_->mutex);
        mailbox_->owner = nullptr;
        mailbox_->wish = ResizeWish();
    }
    if (workspaceController_)
        workspaceController_->UnregisterDrawerEventHandler(this);
    frameView_.reset();
    resizer_.reset();
    frame_.reset();
    drawer_.reset();
}

void CanvasItem::SetSceneRect(QGraphicsScene* scene, const Conf::FrameInfo& info)
{
    scene->setSceneRect(0, 0, info.width, info.height);
}

void CanvasItem::Update()
{
    if (!drawer_)
        return;
    SetFrame(showVideoWithMask_ ? drawer_->GetVideoWithMask() : drawer_->GetVideo());
}

void CanvasItem::HandleFrameInternal(const PhotoCore::IDrawerEventHandler::DrawerEventFrame&)
{
    Update();
}

void CanvasItem::HandleFrameTemporaryInternal(const PhotoCore::IDrawerEventHandler::DrawerEventFrameTemporary& event)
{
    SetFrame(event.frame);
}

void CanvasItem::ResetFrame()
{
    HandleFrameInternal(
        PhotoCore::IDrawerEventHandler::DrawerEventFrame(std::string(), std::string(), kCurrentFrameIndex, kReasonReset));
}

void CanvasItem::OnShowVideoWithMaskChanged(bool showVideoWithMask, bool force)
{
    if (showVideoWithMask == showVideoWithMask_)
        return;
    showVideoWithMask_ = showVideoWithMask;
    if (force) {
        HandleFrameInternal(
            PhotoCore::IDrawerEventHandler::DrawerEventFrame(std::string(), std::string(), kCurrentFrameIndex, kReasonEdit));
    }
}

void CanvasItem::SetFrame(const boost::intrusive_ptr<Proc::IDataVideo>& frame)
{
    if (!frame)
        return;
    prepareGeometryChange();
    setPixmap(QPixmap());
    frame_ = frame;
    pixmapView_ = QPixmap();
    frameView_.reset();
    standIn_ = QPixmap();
    next_ = ResizeWish();

    const int format = frame_->GetPixFmt();
    if (format != lastFrameFormat_) {
        lastFrameFormat_ = format;
        // A running resize owns the resizer: the reset waits for it.
        if (running_.frame)
            resizerStale_ = true;
        else if (resizer_)
            resizer_->Reset();
    }

    setPixmap(imageUtils_.FrameToPixmap(frame_));

    if (!adaptSceneToFrameChange_ || !scene() || !isVisible())
        return;
    const Conf::FrameInfo& info = frame_->GetFrameInfo();
    const QRectF wanted(0, 0, info.width, info.height);
    QGraphicsScene* owner = scene();
    if (FuzzyEqual(owner->sceneRect(), wanted))
        return;
    // Without a view there is nothing to centre, and the rectangle is left for the view's
    // owner to set when it attaches one.
    const QList<QGraphicsView*> views = owner->views();
    if (views.isEmpty())
        return;
    owner->setSceneRect(wanted);
    views.first()->centerOn(this);
}

const QPixmap& CanvasItem::ScaledPixmap(const Conf::FrameInfo& target, double ratio)
{
    if (frameView_ && pixmapView_.width() == target.width && pixmapView_.height() == target.height)
        return pixmapView_;

    const ResizeWish wish {frame_, target, ratio};
    const auto source = NearestLevel(target.width, target.height);
    const std::int64_t sourcePixels =
        std::int64_t(source->GetFrameInfo().width) * std::int64_t(source->GetFrameInfo().height);
    if (!running_.frame && sourcePixels <= kInlineResizePixels) {
        InstallView(wish, Resize(ReadyResizer(), frame_, target));
        return pixmapView_;
    }
    const bool asked = running_.frame == frame_ && SameSize(running_.target, target);
    if (!asked) {
        next_ = wish;
        if (!running_.frame)
            StartResize();
    }
    return StandIn(target);
}

Proc::IOneInputEffectVideo& CanvasItem::ReadyResizer()
{
    if (resizerStale_) {
        resizerStale_ = false;
        resizer_->Reset();
    }
    return *resizer_;
}

void CanvasItem::StartResize()
{
    running_ = next_;
    next_ = ResizeWish();
    ReadyResizer();
    {
        std::lock_guard<std::mutex> lock(mailbox_->mutex);
        mailbox_->wish = running_;
    }
    Proc::StartInBackground([resizer = resizer_, mailbox = mailbox_] {
        ResizeWish wish;
        {
            std::lock_guard<std::mutex> lock(mailbox->mutex);
            std::swap(wish, mailbox->wish);
        }
        if (!wish.frame)
            return; // the item is gone
        boost::intrusive_ptr<Proc::IDataVideo> scaled = Resize(*resizer, wish.frame, wish.target);
        // A copy with transparency is premultiplied here, not when the UI thread shows it.
        if (scaled && !scaled->IsOpaque()) {
            try {
                scaled = PhotoCore::FrameOps::ToDisplay(scaled);
            } catch (const std::exception& e) {
                LOG(WARNING) << "The picture's copy is converted when it is shown: " << e.what();
            }
        }
        std::lock_guard<std::mutex> lock(mailbox->mutex);
        if (CanvasItem* owner = mailbox->owner) {
            QMetaObject::invokeMethod(
                owner, [owner, wish, scaled] { owner->ResizeDone(wish, scaled); }, Qt::QueuedConnection);
        }
    });
}

void CanvasItem::ResizeDone(const ResizeWish& wish, const boost::intrusive_ptr<Proc::IDataVideo>& scaled)
{
    running_ = ResizeWish();
    if (wish.frame == frame_) {
        InstallView(wish, scaled);
        // A failure is tried again at the next paint, not in a loop of repaints.
        if (scaled)
            update();
    }
    if (next_.frame)
        StartResize();
}

void CanvasItem::InstallView(const ResizeWish& wish, const boost::intrusive_ptr<Proc::IDataVideo>& scaled)
{
    frameView_ = scaled;
    pixmapView_ = frameView_ ? imageUtils_.FrameToPixmap(frameView_) : QPixmap();
    pixmapView_.setDevicePixelRatio(wish.ratio);
}

const QPixmap& CanvasItem::StandIn(const Conf::FrameInfo& target)
{
    // An earlier copy of this frame at another zoom is the closest picture there is.
    if (!pixmapView_.isNull())
        return pixmapView_;
    if (standIn_.isNull()) {
        const auto level = NearestLevel(target.width, target.height);
        standIn_ = level == frame_ ? pixmap()
                                   : imageUtils_.FrameToPixmap(boost::const_pointer_cast<Proc::IDataVideo>(level));
    }
    return standIn_;
}

boost::intrusive_ptr<const Proc::IDataVideo> CanvasItem::NearestLevel(double width, double height) const
{
    boost::intrusive_ptr<const Proc::IDataVideo> source = frame_;
    for (int i = 1; i < frame_->GetLevelCount(); ++i) {
        const auto level = frame_->GetLevel(i);
        if (!level || level->GetFrameInfo().width < width || level->GetFrameInfo().height < height)
            break;
        source = level;
    }
    return source;
}

void CanvasItem::DrawResized(QPainter* painter, const QPixmap& pixmap, double width, double height)
{
    const double ratio = pixmap.devicePixelRatio();
    // A picture smaller than a pixel still has a copy of one pixel.
    if (pixmap.width() == std::max(1, qRound(width * ratio)) && pixmap.height() == std::max(1, qRound(height * ratio))) {
        painter->drawPixmap(QPointF(0, 0), pixmap);
        return;
    }
    // Another size only stands in until the exact copy arrives from the background, a few
    // frames later; Qt's smooth scaling of it held up the window for up to 8 ms each time a
    // picture was shown.
    painter->save();
    painter->setRenderHint(QPainter::SmoothPixmapTransform, false);
    painter->drawPixmap(QRectF(0, 0, width, height), pixmap, QRectF(pixmap.rect()));
    painter->restore();
}

void CanvasItem::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget)
{
    const double scale = painter->transform().m11();
    QGraphicsScene* owner = scene();
    if (IsUnitScale(scale) || !frame_ || !owner || !resizer_ || owner->views().isEmpty()) {
        QGraphicsPixmapItem::paint(painter, option, widget);
        return;
    }

    if (!widget) {
        PaintFromLevels(painter);
        return;
    }
    QGraphicsView* view = owner->views().first();
    const Conf::FrameInfo& info = frame_->GetFrameInfo();
    const QPoint topLeft = view->mapFromScene(QPointF(0, 0));
    const QPoint bottomRight = view->mapFromScene(QPointF(info.width, info.height));
    const int dx = bottomRight.x() - topLeft.x();
    const int dy = bottomRight.y() - topLeft.y();

    const QPixmap* scaled = ResizedPixmap(dx, dy, scale, view->viewport(), widget);
    if (!scaled) {
        QGraphicsPixmapItem::paint(painter, option, widget);
        return;
    }

    const QTransform saved = painter->transform();
    painter->setTransform(QTransform::fromTranslate(saved.dx(), saved.dy()), false);
    DrawResized(painter, *scaled, dx, dy);
    painter->setTransform(saved);
}

void CanvasItem::PaintFromLevels(QPainter* painter)
{
    const Conf::FrameInfo& info = frame_->GetFrameInfo();
    const QRectF target(offset(), QSizeF(info.width, info.height));
    const QRectF device = painter->transform().mapRect(target);
    const auto source = NearestLevel(device.width(), device.height());
    const QImage image = imageUtils_.FrameToImage(boost::const_pointer_cast<Proc::IDataVideo>(source));
    painter->save();
    painter->setRenderHint(QPainter::SmoothPixmapTransform, true);
    painter->drawImage(target, image);
    painter->restore();
}

bool CanvasItem::IsUnitScale(double scale)
{
    return scale >= kUnitScaleLow && scale <= kUnitScaleHigh;
}

const QPixmap* CanvasItem::ResizedPixmap(double width, double height, double scale, const QWidget* viewport,
                                         QWidget* widget)
{
    const double ratio = widget ? GetWidgetScreenPixelRatio(widget) : GetMainWindowScreenPixelRatio();
    const int targetWidth = qRound(width * ratio);
    const int targetHeight = qRound(height * ratio);

    // Zoomed in on a picture that overflows the viewport both ways: Qt's scaling of the visible
    // part is cheaper than scaling the whole frame up.
    if (viewport && scale >= 1.0 && targetWidth > viewport->width() && targetHeight > viewport->height())
        return nullptr;

    Conf::FrameInfo target = frame_->GetFrameInfo();
    target.width = std::max(targetWidth, 1);
    target.height = std::max(targetHeight, 1);
    return &ScaledPixmap(target, ratio);
}

} // namespace Quelto::Lumindra

#include "LumindraWorkspace/tools/DrawingToolOriginalBase.h"

#include <algorithm>

#include <QGraphicsItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QScrollBar>

#include <glog/logging.h>

#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "LumindraWorkspace/scene/WorkspaceScene.h"
#include "LumindraWorkspace/view/IScalableView.h"
#include "LumindraWorkspace/view/WorkspaceView.h"
#include "photocore/FrameGeometry.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"

namespace Quelto::Lumindra {

namespace {

// The geometry of the current state, when the drawer knows it.
std::optional<PhotoCore::FrameGeometry> CurrentGeometry(const PhotoCore::IPhotoCoreDrawer* drawer)
{
    const auto settings = drawer ? drawer->GetFrameSettings(-1) : nullptr;
    if (!settings || !settings->GetGeometry().IsValid())
        return std::nullopt;
    return settings->GetGeometry();
}

QTransform ToTransform(const PhotoCore::FrameGeometry::Affine& a)
{
    return QTransform(a[0], a[1], a[2], a[3], a[4], a[5]);
}

} // namespace

DrawingToolOriginalBase::DrawingToolOriginalBase(QGraphicsView& view,
                                                 boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> drawer)
    : view_(&view), scene_(view.scene()), drawer_(std::move(drawer))
{
    Util::ObjectsConnector::registerEmitter(Workspace::IObjectsConnectorID::SCENE_BACKGROUND_MODE_CHANGED, this,
                                            QStringLiteral("2sceneBgModeChanged(SceneBackgroundMode)"), 0);
    Util::ObjectsConnector::registerEmitter(LumindraInt::IObjectsConnectorID::COMPARE_TOOL_ERROR_CREATE, this,
                                            QStringLiteral("2errorCreate()"), 0);
}

DrawingToolOriginalBase::~DrawingToolOriginalBase()
{
    RestoreScene();
}

bool DrawingToolOriginalBase::KeyPress(QKeyEvent*) { return false; }
bool DrawingToolOriginalBase::KeyRelease(QKeyEvent*) { return false; }
bool DrawingToolOriginalBase::Leave(QEvent*) { return false; }
bool DrawingToolOriginalBase::MousePress(QMouseEvent*) { return false; }
bool DrawingToolOriginalBase::MouseMove(QMouseEvent*) { return false; }
bool DrawingToolOriginalBase::MouseRelease(QMouseEvent*) { return false; }
bool DrawingToolOriginalBase::MouseDoubleClick(QMouseEvent*) { return false; }
void DrawingToolOriginalBase::HandModeEnded() {}

bool DrawingToolOriginalBase::Cancel()
{
    Q_EMIT cancelRequested();
    return true;
}

bool DrawingToolOriginalBase::IsShown() const
{
    return scene_ && saved_.has_value();
}

IScalableView* DrawingToolOriginalBase::GetScalableView() const
{
    return dynamic_cast<IScalableView*>(view_.data());
}

QTransform DrawingToolOriginalBase::AdjustRotationToCurrent(const Proc::DataVideoPtr& original) const
{
    const auto geometry = CurrentGeometry(drawer_.get());
    if (!original || !geometry) {
        LOG(WARNING) << "The orientation of the edited picture is not known: the original is shown as opened";
        return QTransform();
    }
    // Only the turn and the mirror: the original is shown whole, not cut as the crop cut it.
    const auto& a = geometry->GetAffine();
    const QTransform turn(a[0], a[1], a[2], a[3], 0.0, 0.0);
    const Conf::FrameInfo& info = original->GetFrameInfo();
    const QRectF turned = turn.mapRect(QRectF(0, 0, info.width, info.height));
    return turn * QTransform::fromTranslate(-turned.left(), -turned.top());
}

std::optional<QTransform> DrawingToolOriginalBase::MapOriginalOntoCurrent(const Proc::DataVideoPtr& original,
                                                                          const Proc::DataVideoPtr& current) const
{
    const auto geometry = CurrentGeometry(drawer_.get());
    if (!original || !current || !geometry)
        return std::nullopt;
    // The geometry is in pixels of the full-resolution frames; the frames shown may be smaller
    // (the preview of a picture still loading).
    const Conf::FrameInfo& from = original->GetFrameInfo();
    const Conf::FrameInfo& to = current->GetFrameInfo();
    if (from.IsEmpty() || geometry->GetWidth() <= 0 || geometry->GetHeight() <= 0)
        return std::nullopt;
    return QTransform::fromScale(double(geometry->GetOriginalWidth()) / from.width,
                                 double(geometry->GetOriginalHeight()) / from.height)
        * ToTransform(geometry->GetAffine())
        * QTransform::fromScale(double(to.width) / geometry->GetWidth(), double(to.height) / geometry->GetHeight());
}

bool DrawingToolOriginalBase::TakeFrames(Proc::DataVideoPtr& original, Proc::DataVideoPtr& current)
{
    original = drawer_ ? drawer_->GetOriginalVideo() : nullptr;
    current = drawer_ ? drawer_->GetVideo() : nullptr;
    if (!scene_)
        FailCreate("the view shows no picture");
    else if (!original)
        FailCreate("the original picture is not available");
    else if (!current)
        FailCreate("the edited picture is not available");
    return scene_ && original && current;
}

void DrawingToolOriginalBase::FailCreate(const char* reason)
{
    LOG(WARNING) << "No comparison: " << reason;
    Q_EMIT errorCreate();
}

void DrawingToolOriginalBase::AddToScene(QGraphicsItem* item)
{
    if (!item || !scene_)
        return;
    scene_->addItem(item);
    items_.push_back(item);
}

void DrawingToolOriginalBase::DeleteFromScene(QGraphicsItem* item)
{
    const auto found = std::find(items_.begin(), items_.end(), item);
    if (found == items_.end())
        return;
    items_.erase(found);
    // Without the scene the item went with it.
    if (scene_)
        delete item;
}

void DrawingToolOriginalBase::ApplyChangesToScene(const QSizeF& size, SceneBackgroundMode mode)
{
    QGraphicsScene* scene = scene_.data();
    QGraphicsView* view = view_.data();
    if (!scene || !view)
        return;
    if (!saved_) {
        Saved saved;
        saved.sceneRect = scene->sceneRect();
        if (const auto* workspace = qobject_cast<const WorkspaceScene*>(scene))
            saved.mode = workspace->GetBackgroundMode();
        for (QGraphicsItem* item : scene->items()) {
            const bool own = std::find(items_.begin(), items_.end(), item->topLevelItem()) != items_.end();
            if (!own && !item->parentItem() && item->isVisible()) {
                item->hide();
                saved.hidden.push_back(item);
            }
        }
        if (const IScalableView* scalable = GetScalableView())
            saved.percent = scalable->GetCurrentScalePercent();
        if (const auto* workspaceView = qobject_cast<const WorkspaceView*>(view))
            saved.fitToView = workspaceView->IsFitToView();
        saved.scroll = QPoint(view->horizontalScrollBar()->value(), view->verticalScrollBar()->value());
        saved_ = std::move(saved);
    }
    scene->setSceneRect(QRectF(QPointF(0.0, 0.0), size));
    Q_EMIT sceneBgModeChanged(mode);
    if (IScalableView* scalable = GetScalableView())
        scalable->ScaleToFit(true);
    scene->update();
}

void DrawingToolOriginalBase::RestoreScene()
{
    QGraphicsScene* scene = scene_.data();
    while (!items_.empty())
        DeleteFromScene(items_.back());
    if (!saved_ || !scene)
        return;
    const Saved saved = std::move(*saved_);
    saved_.reset();

    for (QGraphicsItem* item : scene->items()) {
        if (std::find(saved.hidden.begin(), saved.hidden.end(), item) != saved.hidden.end())
            item->show();
    }
    Q_EMIT sceneBgModeChanged(saved.mode);
    // The canvas kept still while it was hidden: a frame that came meanwhile sizes the scene now.
    QRectF rect = saved.sceneRect;
    if (const QGraphicsItem* canvas = WorkspaceScene::GetMainCanvas(scene); canvas && !canvas->boundingRect().isEmpty())
        rect = QRectF(QPointF(0.0, 0.0), canvas->boundingRect().size());
    scene->setSceneRect(rect);

    QGraphicsView* view = view_.data();
    IScalableView* scalable = GetScalableView();
    if (!view || view->scene() != scene || !scalable)
        return;
    if (saved.fitToView) {
        scalable->ScaleToFit(true);
    } else {
        scalable->ScaleToPercent(saved.percent);
        view->horizontalScrollBar()->setValue(saved.scroll.x());
        view->verticalScrollBar()->setValue(saved.scroll.y());
    }
    VLOG(30) << "Scene given back at " << scalable->GetCurrentScalePercent() << " %";
}

} // namespace Quelto::Lumindra

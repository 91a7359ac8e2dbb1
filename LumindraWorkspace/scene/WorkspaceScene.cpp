#include "LumindraWorkspace/scene/WorkspaceScene.h"

#include <algorithm>
#include <map>
#include <future>
#include <memory>
#include <vector>

#include <QGraphicsPixmapItem>
#include <QGraphicsSceneDragDropEvent>
#include <QGraphicsView>
#include <QImage>
#include <QPainter>
#include <QThread>

#include <boost/property_tree/ptree.hpp>
#include <glog/logging.h>

#include "LumindraWorkspace/IDragAndDrop.h"
#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "LumindraWorkspace/IWorkspaceController.h"
#include "LumindraWorkspace/view/IScalableView.h"
#include "photoutil/ImageUtils.h"
#include "photoutil/Serializer.h"
#include "sceneitem/BorderDashItem.h"
#include "sceneitem/ISceneItem.h"
#include "sceneitem/ITransBoundable.h"
#include "sceneitem/SceneItemFactory.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"

namespace Quelto::Lumindra {

namespace pt = boost::property_tree;

namespace {

// Item data under this key marks the document's main canvas.
constexpr int kMainCanvasKey = 0;
const QString kMainCanvasMark = QStringLiteral("MainCanvas");

// The workspace colour until the style sheet gives one.
constexpr const char* kDefaultSceneColor = "#1a1a1a";

// The description of copied scene items: one array per group key under this node.
constexpr const char* kGroupsNode = "groups";

bool FuzzyEqual(double a, double b)
{
    return qFuzzyCompare(1.0 + a, 1.0 + b);
}

bool FuzzyEqual(const QRectF& a, const QRectF& b)
{
    return FuzzyEqual(a.x(), b.x()) && FuzzyEqual(a.y(), b.y()) && FuzzyEqual(a.width(), b.width()) &&
           FuzzyEqual(a.height(), b.height());
}

// Paints the part of `area` outside `hole` as up to four bands (above, below, left, right),
// each only where it is not empty.
void PaintOutside(QPainter* painter, const QRectF& area, const QRectF& hole, const QBrush& brush)
{
    const QRectF inner = hole.intersected(area);
    if (inner.isEmpty()) {
        painter->fillRect(area, brush);
        return;
    }
    const QRectF bands[] = {
        QRectF(area.left(), area.top(), area.width(), inner.top() - area.top()),
        QRectF(area.left(), inner.bottom(), area.width(), area.bottom() - inner.bottom()),
        QRectF(area.left(), inner.top(), inner.left() - area.left(), inner.height()),
        QRectF(inner.right(), inner.top(), area.right() - inner.right(), inner.height()),
    };
    for (const QRectF& band : bands) {
        if (band.width() > 0.0 && band.height() > 0.0)
            painter->fillRect(band, brush);
    }
}

// Copied scene items as the string serializer reads and writes them.
class SceneItemsDescription : public PhotoUtil::ISerializable {
public:
    void Serialize(pt::ptree& out) const override { out = tree; }
    void Deserialize(const pt::ptree& in) override { tree = in; }
    pt::ptree tree;
};

} // namespace

WorkspaceScene::WorkspaceScene(const Util::ImageUtils& imageUtils, IWorkspaceController* controller, QObject* parent)
    : IScene(parent)
    , imageUtils_(imageUtils)
    , drawer_(controller ? controller->GetLumindraDrawer() : nullptr)
    , canvas_(new CanvasItem(imageUtils, controller, this))
    , borderDashItem_(new LumindraSceneItem::BorderDashItem())
    , sceneColor_(QLatin1String(kDefaultSceneColor))
{
    // The tools' signal and this slot carry the mode under this spelling of its type.
    qRegisterMetaType<SceneBackgroundMode>("SceneBackgroundMode");
    qRegisterMetaType<std::string>("std::string");

    canvas_->setData(kMainCanvasKey, kMainCanvasMark);
    if (drawer_) {
        CanvasItem::SetSceneRect(this, drawer_->GetFrameSettings(-1)->GetFrameInfo());
        drawer_->SetDrawable(this);
    }
    addItem(canvas_.data());
    addItem(borderDashItem_);

    using Util::ObjectsConnector;
    ObjectsConnector::registerEmitter(Workspace::IObjectsConnectorID::COPY_SCENE_ITEMS, this,
                                      QStringLiteral("2copySceneItemsStarted(const std::string&)"), 0);
    ObjectsConnector::registerEmitter(LumindraInt::IObjectsConnectorID::RENDERING_STARTED, this,
                                      QStringLiteral("2renderingStarted(bool)"), 0);
    ObjectsConnector::registerReceiver(LumindraInt::IObjectsConnectorID::COPY_SELECTED_SCENE_ITEMS_TO_CLIPBOARD, this,
                                       QStringLiteral("1onCopySelectedSceneItemsToClipboard()"), 0);
    ObjectsConnector::registerReceiver(
        Workspace::IObjectsConnectorID::PASTE_SCENE_ITEMS, this,
        QStringLiteral("1onPasteSelectedSceneItemsFromClipboard(const std::string&, const QPointF &)"), 0);
    ObjectsConnector::registerReceiver(Workspace::IObjectsConnectorID::SCENE_BACKGROUND_MODE_CHANGED, this,
                                       QStringLiteral("1onSceneBgModeChanged(SceneBackgroundMode)"), 0);
}

WorkspaceScene::~WorkspaceScene()
{
    const QList<QGraphicsView*> list = views();
    if (!list.isEmpty()) {
        if (auto* view = dynamic_cast<IScalableView*>(list.first())) {
            view->EnableDragTip(false);
            view->ScaleToPercent(100.0);
            view->EnableDragTip(true);
        }
    }
    // The core may outlive the scene in its cache; it must not keep asking a dead scene.
    if (drawer_)
        drawer_->SetDrawable(nullptr);
}

QGraphicsItem* WorkspaceScene::GetMainCanvas(QGraphicsScene* scene)
{
    if (!scene)
        return nullptr;
    for (QGraphicsItem* item : scene->items(Qt::DescendingOrder)) {
        if (IsMainCanvas(item))
            return item;
    }
    return nullptr;
}

bool WorkspaceScene::IsMainCanvas(const QGraphicsItem* item)
{
    return item && item->data(kMainCanvasKey).toString() == kMainCanvasMark;
}

void WorkspaceScene::SetBackgroungColor(const QColor& color)
{
    sceneColor_ = color;
    setBackgroundBrush(QBrush(Qt::transparent, Qt::SolidPattern));
}

void WorkspaceScene::SetDragAndDrop(IDragAndDrop* dragAndDrop)
{
    dragAndDrop_ = dragAndDrop;
}

void WorkspaceScene::Update() const
{
    if (canvas_)
        canvas_->Update();
}

void WorkspaceScene::onSceneBgModeChanged(SceneBackgroundMode mode)
{
    backgroundMode_ = mode;
}

QRectF WorkspaceScene::TopItemRect() const
{
    // The dashed outline is skipped: decoration stacked above everything, it would always win.
    for (const QGraphicsItem* item : items(Qt::DescendingOrder)) {
        if (item != borderDashItem_)
            return item->sceneBoundingRect();
    }
    return QRectF();
}

QColor WorkspaceScene::RecalculateBackground(QRectF rect)
{
    QColor color = Qt::transparent;
    borderDashItem_->ResetRegion(QRegion());
    for (QGraphicsItem* item : items(Qt::DescendingOrder)) {
        if (!item->isVisible())
            continue;
        const auto* boundable = dynamic_cast<const LumindraSceneItem::ITransBoundable*>(item);
        if (!boundable)
            continue;
        if (!boundable->IsInBounds()) {
            // Lower items come later and overwrite: the lowest item that reaches out decides.
            color = boundable->GetBackgroundColor();
            const QRectF reach = boundable->GetRect();
            rect.setLeft(std::min(rect.left(), reach.left()));
            rect.setTop(std::min(rect.top(), reach.top()));
            rect.setRight(std::max(rect.right(), reach.right()));
            rect.setBottom(std::max(rect.bottom(), reach.bottom()));
        }
        if (boundable->HasOutline())
            borderDashItem_->AddRegion(boundable->GetOutlineRegion());
    }
    if (!FuzzyEqual(rect, backgroundRect_)) {
        backgroundRect_ = rect;
        update(QRectF());
    }
    return color;
}

QRectF WorkspaceScene::GetBackgroundRect()
{
    QRectF base;
    if (backgroundMode_ == SceneBackgroundMode::TopItem)
        base = TopItemRect();
    else if (canvas_)
        base = canvas_->sceneBoundingRect();
    RecalculateBackground(base);
    return backgroundRect_;
}

void WorkspaceScene::drawBackground(QPainter* painter, const QRectF& rect)
{
    const QList<QGraphicsView*> list = views();
    if (rendering_ || list.isEmpty()) {
        QGraphicsScene::drawBackground(painter, rect);
        return;
    }
    QGraphicsView* view = list.first();
    const QRect viewportRect = view->viewport()->rect();
    painter->save();
    QGraphicsScene::drawBackground(painter, rect);
    painter->setPen(Qt::NoPen);
    painter->setTransform(QTransform());
    const QBrush sceneBrush(sceneColor_, Qt::SolidPattern);
    painter->setBrush(sceneBrush);

    QRectF base;
    switch (backgroundMode_) {
    case SceneBackgroundMode::Canvas:
        base = canvas_ ? canvas_->sceneBoundingRect() : QRectF();
        break;
    case SceneBackgroundMode::SceneRect:
        base = view->sceneRect();
        break;
    case SceneBackgroundMode::TopItem:
        base = TopItemRect();
        break;
    case SceneBackgroundMode::Fill:
        painter->fillRect(viewportRect, sceneBrush);
        painter->restore();
        return;
    default:
        break;
    }

    const QColor margin = RecalculateBackground(base);
    const QTransform toViewport = view->viewportTransform();
    const QRectF area(QPointF(viewportRect.topLeft()), QPointF(viewportRect.bottomRight() + QPoint(1, 1)));
    PaintOutside(painter, area, toViewport.mapRect(backgroundRect_), sceneBrush);
    if (margin != QColor(Qt::transparent)) {
        const QBrush marginBrush(margin, Qt::SolidPattern);
        painter->setBrush(marginBrush);
        PaintOutside(painter, toViewport.mapRect(backgroundRect_), toViewport.mapRect(base), marginBrush);
    }
    painter->restore();
}

void WorkspaceScene::drawForeground(QPainter* painter, const QRectF& rect)
{
    if (rendering_)
        return;
    QGraphicsScene::drawForeground(painter, rect);
}

bool WorkspaceScene::HasOverlayItems() const
{
    const QList<QGraphicsItem*> all = items();
    return std::any_of(all.begin(), all.end(), [](const QGraphicsItem* item) {
        return item->isVisible() && dynamic_cast<const LumindraSceneItem::ISceneItem*>(item);
    });
}

Proc::CropInfo WorkspaceScene::GetPictureCrop()
{
    const QRectF background = GetBackgroundRect();
    if (!canvas_)
        return {};
    const QRectF picture = canvas_->sceneBoundingRect();
    Proc::CropInfo crop;
    crop.left = std::max(0, qRound(picture.left() - background.left()));
    crop.top = std::max(0, qRound(picture.top() - background.top()));
    crop.right = std::max(0, qRound(background.right() - picture.right()));
    crop.bottom = std::max(0, qRound(background.bottom() - picture.bottom()));
    return crop;
}

boost::intrusive_ptr<Proc::IDataVideo> WorkspaceScene::GetVideo(const Proc::CropInfo& crop)
{
    if (QThread::currentThread() != thread())
        return GetVideoFromOtherThread(crop);
    const QRectF background = GetBackgroundRect();
    borderDashItem_->ResetRegion(QRegion());

    const QSize size(qRound(background.width()) - (crop.left + crop.right),
                     qRound(background.height()) - (crop.top + crop.bottom));
    if (size.isEmpty())
        return nullptr;
    QImage image(size, QImage::Format_ARGB32);
    if (image.isNull()) {
        LOG(ERROR) << "No memory for rendering the scene at " << size.width() << "x" << size.height();
        return nullptr;
    }

    const bool canvasVisible = canvas_ && canvas_->isVisible();
    emit renderingStarted(true);
    rendering_ = true;

    std::unique_ptr<QGraphicsPixmapItem> substitute;
    if (drawer_ && !drawer_->MayRenderCanvas()) {
        if (canvas_)
            canvas_->hide();
        const QPixmap pixmap = imageUtils_.FrameToPixmap(drawer_->GetVideoForRendering());
        image = QImage(pixmap.size(), QImage::Format_ARGB32);
        substitute.reset(addPixmap(pixmap));
    }

    if (!image.isNull()) {
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing, true);
        const QRectF source(background.left() + crop.left, background.top() + crop.top, image.width(),
                            image.height());
        render(&painter, QRectF(), source, Qt::KeepAspectRatio);
        painter.end();
    } else {
        LOG(ERROR) << "The drawer gave no frame to render in place of the canvas";
    }

    if (substitute)
        removeItem(substitute.get());
    substitute.reset();
    if (canvas_)
        canvas_->setVisible(canvasVisible);

    rendering_ = false;
    emit renderingStarted(false);
    return image.isNull() ? nullptr : PhotoUtil::ImageUtils::ImageToFrame(image);
}

boost::intrusive_ptr<Proc::IDataVideo> WorkspaceScene::GetVideoFromOtherThread(const Proc::CropInfo& crop)
{
    // Qt items live on the UI thread: the rendering runs there while this thread waits. A scene
    // destroyed before the call runs drops it, and the broken promise gives a null frame.
    auto promise = std::make_shared<std::promise<boost::intrusive_ptr<Proc::IDataVideo>>>();
    std::future<boost::intrusive_ptr<Proc::IDataVideo>> result = promise->get_future();
    QMetaObject::invokeMethod(
        this, [this, promise, crop] { promise->set_value(GetVideo(crop)); }, Qt::QueuedConnection);
    try {
        return result.get();
    } catch (const std::future_error& e) {
        LOG(WARNING) << "The scene went away before it was rendered: " << e.what();
        return nullptr;
    }
}

bool WorkspaceScene::SceneItemTakesDrops(const QPointF& scenePos) const
{
    for (QGraphicsItem* item : items(scenePos, Qt::IntersectsItemShape, Qt::DescendingOrder, QTransform())) {
        const auto* sceneItem = dynamic_cast<const LumindraSceneItem::ISceneItem*>(item);
        if (sceneItem && sceneItem->GetGraphicsItem()->acceptDrops())
            return true;
    }
    return false;
}

void WorkspaceScene::dragEnterEvent(QGraphicsSceneDragDropEvent* event)
{
    QGraphicsScene::dragEnterEvent(event);
    if (dragAndDrop_ && dragAndDrop_->CanAccept(event->mimeData()))
        event->acceptProposedAction();
}

void WorkspaceScene::dragMoveEvent(QGraphicsSceneDragDropEvent* event)
{
    if (SceneItemTakesDrops(event->scenePos()))
        QGraphicsScene::dragMoveEvent(event);
    else
        event->acceptProposedAction();
}

void WorkspaceScene::dropEvent(QGraphicsSceneDragDropEvent* event)
{
    if (SceneItemTakesDrops(event->scenePos())) {
        QGraphicsScene::dropEvent(event);
        return;
    }
    if (dragAndDrop_ && dragAndDrop_->Drop(event->mimeData()))
        event->acceptProposedAction();
    else
        event->ignore();
}

void WorkspaceScene::onCopySelectedSceneItemsToClipboard()
{
    // Grouped by key; within a group topmost first.
    std::map<std::string, std::vector<const LumindraSceneItem::ISceneItem*>> groups;
    for (QGraphicsItem* item : items(Qt::DescendingOrder)) {
        const auto* sceneItem = dynamic_cast<const LumindraSceneItem::ISceneItem*>(item);
        if (sceneItem && item->isSelected())
            groups[sceneItem->GetGroupKey()].push_back(sceneItem);
    }
    if (groups.empty())
        return;

    SceneItemsDescription description;
    for (const auto& [key, members] : groups) {
        pt::ptree group;
        for (const LumindraSceneItem::ISceneItem* member : members) {
            pt::ptree node;
            member->Serialize(node);
            group.push_back(std::make_pair(std::string(), node));
        }
        description.tree.put_child(pt::ptree::path_type(std::string(kGroupsNode) + '/' + key, '/'), group);
    }
    const std::string text = PhotoUtil::CreateStringSerializer()->SerializeToString(description);
    VLOG(30) << "Copied scene items: " << text.size() << " bytes";
    emit copySceneItemsStarted(text);
}

void WorkspaceScene::onPasteSelectedSceneItemsFromClipboard(const std::string& text, const QPointF& position)
{
    // Every item is built before any is added, so damaged text changes nothing.
    std::vector<std::unique_ptr<LumindraSceneItem::ISceneItem>> pasted;
    try {
        SceneItemsDescription description;
        PhotoUtil::CreateStringSerializer()->DeserializeFromString(text, description);
        const boost::optional<pt::ptree&> groups = description.tree.get_child_optional(kGroupsNode);
        if (!groups)
            throw std::runtime_error("the text holds no scene items");
        for (const auto& group : *groups) {
            // Bottom first, so that adding keeps the copied stacking order among equal z-values.
            for (auto it = group.second.rbegin(); it != group.second.rend(); ++it)
                pasted.push_back(LumindraSceneItem::SceneItemFactory::Create(it->second));
        }
    } catch (const std::exception& e) {
        LOG(WARNING) << "Pasting scene items failed: " << e.what();
        return;
    }
    if (pasted.empty())
        return;

    QRectF joint;
    for (const auto& item : pasted)
        joint |= item->GetGraphicsItem()->sceneBoundingRect();
    const QPointF offset = position - joint.topLeft();
    clearSelection();
    for (auto& item : pasted) {
        QGraphicsItem* graphics = item->GetGraphicsItem();
        graphics->moveBy(offset.x(), offset.y());
        addItem(graphics);
        graphics->setSelected(true);
        item.release(); // the scene owns it now
    }
}

} // namespace Quelto::Lumindra

#include "LumindraWorkspace/tools/DrawingToolCompareImages.h"

#include <algorithm>

#include <QGraphicsItemGroup>
#include <QGraphicsLineItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QPen>
#include <QScrollBar>

#include <glog/logging.h>

#include "LumindraWorkspace/scene/TransformableCanvasItem.h"
#include "LumindraWorkspace/view/IScalableView.h"
#include "sharedui/ScalableViewEmitter.h"
#include "util/UIDefaultValue.h"

namespace Quelto::Lumindra {

namespace {

// The gap on each side of the separator, in screen pixels at the zoom that fits the pair; one
// scene unit more keeps the separator clear of the pictures at any zoom.
constexpr double kGapScreenPixels = 24.0;
constexpr double kGapExtraUnits = 1.0;
// Tiny pictures fit at a huge zoom; beyond this ratio the gap stops shrinking (3.4 units).
constexpr double kMaxFitRatio = 10.0;
// The gap the pair is measured with before the real one is known.
constexpr double kProvisionalGap = 2.0;

const char* const kSeparatorColor = "#333333";
constexpr double kSeparatorWidth = 2.0; // device pixels: the pen is cosmetic

QSizeF Rounded(const QSizeF& size)
{
    return QSizeF(qRound(size.width()), qRound(size.height()));
}

} // namespace

const char* const DrawingToolCompareImages::SEPARATOR_KEY = "DrawingToolCompareImagesSeparator";

DrawingToolCompareImages::DrawingToolCompareImages(QGraphicsView& view,
                                                   boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> drawer)
    : DrawingToolOriginalBase(view, std::move(drawer))
{
    Proc::DataVideoPtr original, current;
    if (!TakeFrames(original, current))
        return;

    if (IScalableView* scalable = GetScalableView()) {
        if (ScalableViewEmitter* emitter = scalable->GetEmitter()) {
            connect(emitter, &ScalableViewEmitter::scaleChanged, this, &DrawingToolCompareImages::UpdateSeparatorLine);
            connect(emitter, &ScalableViewEmitter::viewResized, this, &DrawingToolCompareImages::UpdateSeparatorLine);
        }
    }
    // Queued: the view moves its contents in its own reaction to the same change.
    connect(view.verticalScrollBar(), &QScrollBar::valueChanged, this, &DrawingToolCompareImages::UpdateSeparatorLine,
            Qt::QueuedConnection);

    LayoutImages(original, current);
    UpdateSeparatorLine();
    VLOG(30) << "Comparison shown side by side";
}

DrawingToolCompareImages::~DrawingToolCompareImages()
{
    left_ = right_ = nullptr;
    separator_ = nullptr;
    group_ = nullptr;
    RestoreScene();
}

void DrawingToolCompareImages::LayoutImages(const Proc::DataVideoPtr& original, const Proc::DataVideoPtr& current)
{
    auto* left = new TransformableCanvasItem(GetImageUtils(), original, nullptr);
    left->setTransform(AdjustRotationToCurrent(original));
    auto* right = new CanvasItem(GetImageUtils(), current, nullptr);

    const QSizeF leftSize = left->transform().mapRect(QRectF(QPointF(), QSizeF(left->pixmap().size()))).size();
    const double wL = leftSize.width();
    const double hL = leftSize.height();
    const double hR = right->pixmap().height();
    const double H = std::max(hL, hR);

    auto* separator = new QGraphicsLineItem(0.0, 0.0, 0.0, 1.0);
    separator->setData(0, QString::fromLatin1(SEPARATOR_KEY));
    QPen pen(QBrush(QColor(QString::fromLatin1(kSeparatorColor)), Qt::SolidPattern), kSeparatorWidth, Qt::SolidLine,
             Qt::SquareCap, Qt::BevelJoin);
    pen.setCosmetic(true);
    separator->setPen(pen);

    // Both pictures centred on the taller one; measured with a provisional gap first.
    const double leftY = (H - hL) * 0.5;
    const double rightY = (H - hR) * 0.5;
    left->setPos(0.0, leftY);
    right->setPos(wL + kProvisionalGap, rightY);

    DeleteFromScene(group_);
    group_ = new QGraphicsItemGroup;
    group_->setZValue(UIDefaultValue::ZValue::ToolItems);
    AddToScene(group_);
    left_ = left;
    right_ = right;
    separator_ = separator;
    for (QGraphicsItem* item : {static_cast<QGraphicsItem*>(left), static_cast<QGraphicsItem*>(right),
                                static_cast<QGraphicsItem*>(separator)})
        group_->addToGroup(item);
    const QSizeF measured = Rounded(group_->boundingRect().size());
    for (QGraphicsItem* item : group_->childItems())
        group_->removeFromGroup(item);

    QGraphicsView* view = GetView();
    const double rx = view->viewport()->width() / measured.width();
    const double ry = view->viewport()->height() / measured.height();
    const double r = std::min({rx, ry, kMaxFitRatio});
    const double gap = kGapScreenPixels / r + kGapExtraUnits;

    separator->setPos(wL + gap, 0.0);
    right->setPos(separator->x() + gap, rightY);
    for (QGraphicsItem* item : {static_cast<QGraphicsItem*>(left), static_cast<QGraphicsItem*>(right),
                                static_cast<QGraphicsItem*>(separator)})
        group_->addToGroup(item);
    group_->setPos(gap, 0.0);

    const QSizeF content = Rounded(group_->boundingRect().size()) + QSizeF(2.0 * gap, 0.0);
    ApplyChangesToScene(content, SceneBackgroundMode::Fill);
}

void DrawingToolCompareImages::UpdateSeparatorLine()
{
    QGraphicsView* view = GetView();
    if (!view || !GetScene() || !separator_)
        return;
    const QRectF visible = view->mapToScene(view->rect()).boundingRect();
    const double y = separator_->scenePos().y();
    separator_->setLine(0.0, visible.top() - y, 0.0, visible.bottom() - y);
}

} // namespace Quelto::Lumindra

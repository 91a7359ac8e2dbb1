#include "LumindraWorkspace/tools/DrawingToolCompareSplit.h"

#include <algorithm>
#include <cmath>

#include <QGraphicsItemGroup>
#include <QGraphicsLineItem>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QMouseEvent>
#include <QPen>

#include <glog/logging.h>

#include "LumindraWorkspace/scene/TransformableCanvasItem.h"
#include "util/UIDefaultValue.h"

namespace Quelto::Lumindra {

namespace {

// A light line over a dark one: visible on bright and on dark photographs alike.
const char* const kDividerColor = "#f0f0f0";
const char* const kDividerShadow = "#333333";
constexpr double kDividerWidth = 2.0; // device pixels: the pens are cosmetic
constexpr double kShadowWidth = 4.0;
// How far from the divider, in screen pixels, the pointer shows that it can be dragged.
constexpr int kGrabDistance = 6;

QPen CosmeticPen(const char* color, double width)
{
    QPen pen(QColor(QString::fromLatin1(color)), width, Qt::SolidLine, Qt::FlatCap, Qt::BevelJoin);
    pen.setCosmetic(true);
    return pen;
}

} // namespace

const char* const DrawingToolCompareSplit::DIVIDER_KEY = "DrawingToolCompareSplitDivider";

DrawingToolCompareSplit::DrawingToolCompareSplit(QGraphicsView& view,
                                                 boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> drawer)
    : DrawingToolOriginalBase(view, std::move(drawer))
{
    Proc::DataVideoPtr original, current;
    if (!TakeFrames(original, current))
        return;
    const auto mapping = MapOriginalOntoCurrent(original, current);
    if (!mapping) {
        FailCreate("the edits cannot be laid over the original");
        return;
    }

    auto* edited = new CanvasItem(GetImageUtils(), current, nullptr);
    width_ = edited->pixmap().width();
    height_ = edited->pixmap().height();

    // The original shows only left of the divider: the rectangle clips it.
    clip_ = new QGraphicsRectItem;
    clip_->setPen(Qt::NoPen);
    clip_->setFlag(QGraphicsItem::ItemClipsChildrenToShape);
    auto* before = new TransformableCanvasItem(GetImageUtils(), original, nullptr);
    before->setTransform(*mapping);
    before->setParentItem(clip_);

    auto* shadow = new QGraphicsLineItem;
    shadow->setPen(CosmeticPen(kDividerShadow, kShadowWidth));
    line_ = new QGraphicsLineItem(shadow);
    line_->setPen(CosmeticPen(kDividerColor, kDividerWidth));
    shadow->setData(0, QString::fromLatin1(DIVIDER_KEY));

    group_ = new QGraphicsItemGroup;
    group_->setZValue(UIDefaultValue::ZValue::ToolItems);
    AddToScene(group_);
    for (QGraphicsItem* item : {static_cast<QGraphicsItem*>(edited), static_cast<QGraphicsItem*>(clip_),
                                static_cast<QGraphicsItem*>(shadow)})
        group_->addToGroup(item);
    SetDividerPosition(width_ * 0.5);
    ApplyChangesToScene(QSizeF(width_, height_), SceneBackgroundMode::SceneRect);
    VLOG(30) << "Comparison shown split";
}

DrawingToolCompareSplit::~DrawingToolCompareSplit()
{
    if (QGraphicsView* view = GetView())
        view->viewport()->unsetCursor();
    clip_ = nullptr;
    line_ = nullptr;
    group_ = nullptr;
    RestoreScene();
}

void DrawingToolCompareSplit::SetDividerPosition(double x)
{
    if (!GetScene() || !line_)
        return;
    divider_ = std::clamp(x, 0.0, width_);
    clip_->setRect(0.0, 0.0, divider_, height_);
    auto* shadow = static_cast<QGraphicsLineItem*>(line_->parentItem());
    shadow->setLine(divider_, 0.0, divider_, height_);
    line_->setLine(divider_, 0.0, divider_, height_);
}

bool DrawingToolCompareSplit::IsNearDivider(const QPoint& viewportPoint) const
{
    const QGraphicsView* view = GetView();
    if (!view || !GetScene())
        return false;
    const QPoint divider = view->mapFromScene(QPointF(divider_, 0.0));
    return std::abs(viewportPoint.x() - divider.x()) <= kGrabDistance;
}

bool DrawingToolCompareSplit::MousePress(QMouseEvent* event)
{
    QGraphicsView* view = GetView();
    if (!view || !GetScene() || event->button() != Qt::LeftButton)
        return false;
    dragging_ = true;
    view->viewport()->setCursor(Qt::SplitHCursor);
    SetDividerPosition(view->mapToScene(event->pos()).x());
    return true;
}

bool DrawingToolCompareSplit::MouseMove(QMouseEvent* event)
{
    QGraphicsView* view = GetView();
    if (!view || !GetScene())
        return false;
    if (dragging_) {
        SetDividerPosition(view->mapToScene(event->pos()).x());
        return true;
    }
    if (IsNearDivider(event->pos()))
        view->viewport()->setCursor(Qt::SplitHCursor);
    else
        view->viewport()->unsetCursor();
    return false;
}

bool DrawingToolCompareSplit::MouseRelease(QMouseEvent* event)
{
    if (!dragging_ || event->button() != Qt::LeftButton)
        return false;
    dragging_ = false;
    if (QGraphicsView* view = GetView(); view && !IsNearDivider(event->pos()))
        view->viewport()->unsetCursor();
    return true;
}

bool DrawingToolCompareSplit::Leave(QEvent*)
{
    if (QGraphicsView* view = GetView(); view && !dragging_)
        view->viewport()->unsetCursor();
    return false;
}

} // namespace Quelto::Lumindra

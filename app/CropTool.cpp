#include "CropTool.h"

#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPen>

#include "util/ScreenInfo.h"

namespace Quelto::Lumindra::App {

CropTool::CropTool(QGraphicsView& view, const QRectF& picture, ApplyFn apply, FinishedFn finished)
    : view_(view), picture_(picture), apply_(std::move(apply)), finished_(std::move(finished))
{
    view_.viewport()->setCursor(Qt::CrossCursor);
}

CropTool::~CropTool()
{
    if (item_ && item_->scene())
        item_->scene()->removeItem(item_);
    delete item_;
    view_.viewport()->unsetCursor();
}

QPointF CropTool::ToPicture(const QPoint& viewPos) const
{
    const QPointF p = view_.mapToScene(viewPos);
    return QPointF(qBound(picture_.left(), p.x(), picture_.right()), qBound(picture_.top(), p.y(), picture_.bottom()));
}

void CropTool::UpdateItem(const QPointF& to)
{
    if (!item_) {
        item_ = new QGraphicsRectItem;
        QPen pen(QColor(255, 255, 255));
        pen.setCosmetic(true);
        pen.setWidth(2);
        pen.setStyle(Qt::DashLine);
        item_->setPen(pen);
        item_->setBrush(QColor(255, 255, 255, 40));
        item_->setZValue(UIDefaultValue::ZValue::ToolItems);
        if (view_.scene())
            view_.scene()->addItem(item_);
    }
    item_->setRect(QRectF(anchor_, to).normalized());
}

QRect CropTool::GetSelection() const
{
    if (!item_)
        return QRect();
    return item_->rect().toAlignedRect().intersected(picture_.toAlignedRect());
}

bool CropTool::KeyPress(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        const QRect selection = GetSelection();
        if (selection.width() > 0 && selection.height() > 0)
            apply_(selection);
        finished_();
        return true;
    }
    return false;
}

bool CropTool::KeyRelease(QKeyEvent*) { return false; }

bool CropTool::Cancel()
{
    finished_();
    return true;
}

bool CropTool::Leave(QEvent*) { return false; }

bool CropTool::MousePress(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return false;
    anchor_ = ToPicture(event->pos());
    dragging_ = true;
    UpdateItem(anchor_);
    return true;
}

bool CropTool::MouseMove(QMouseEvent* event)
{
    if (!dragging_)
        return false;
    UpdateItem(ToPicture(event->pos()));
    return true;
}

bool CropTool::MouseRelease(QMouseEvent* event)
{
    if (!dragging_ || event->button() != Qt::LeftButton)
        return false;
    dragging_ = false;
    UpdateItem(ToPicture(event->pos()));
    return true;
}

bool CropTool::MouseDoubleClick(QMouseEvent* event)
{
    // A double click inside the selection applies it, as Enter does.
    QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    Q_UNUSED(event);
    return KeyPress(&enter);
}

void CropTool::HandModeEnded() {}

} // namespace Quelto::Lumindra::App

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

QPointF CropTool::ToRelative(const QPoint& viewPos) const
{
    if (picture_.isEmpty())
        return QPointF();
    const QPointF p = view_.mapToScene(viewPos) - picture_.topLeft();
    return QPointF(qBound(0.0, p.x() / picture_.width(), 1.0), qBound(0.0, p.y() / picture_.height(), 1.0));
}

void CropTool::UpdateItem()
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
    const QRectF relative = GetRelativeSelection();
    item_->setRect(QRectF(picture_.x() + relative.x() * picture_.width(), picture_.y() + relative.y() * picture_.height(),
                          relative.width() * picture_.width(), relative.height() * picture_.height()));
}

void CropTool::SetPicture(const QRectF& picture)
{
    picture_ = picture;
    if (item_)
        UpdateItem();
}

QRect CropTool::GetSelection() const
{
    if (!item_)
        return QRect();
    return item_->rect().toAlignedRect().intersected(picture_.toAlignedRect());
}

QRectF CropTool::GetRelativeSelection() const
{
    if (!item_)
        return QRectF();
    return QRectF(anchor_, corner_).normalized();
}

QRect CropTool::ToPixels(const QRectF& relative, const QSize& size)
{
    const QPoint topLeft(qRound(relative.left() * size.width()), qRound(relative.top() * size.height()));
    const QPoint bottomRight(qRound(relative.right() * size.width()), qRound(relative.bottom() * size.height()));
    return QRect(topLeft, QSize(bottomRight.x() - topLeft.x(), bottomRight.y() - topLeft.y()))
        .intersected(QRect(QPoint(0, 0), size));
}

bool CropTool::KeyPress(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        const QRectF selection = GetRelativeSelection();
        if (!selection.isEmpty())
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
    anchor_ = corner_ = ToRelative(event->pos());
    dragging_ = true;
    UpdateItem();
    return true;
}

bool CropTool::MouseMove(QMouseEvent* event)
{
    if (!dragging_)
        return false;
    corner_ = ToRelative(event->pos());
    UpdateItem();
    return true;
}

bool CropTool::MouseRelease(QMouseEvent* event)
{
    if (!dragging_ || event->button() != Qt::LeftButton)
        return false;
    dragging_ = false;
    corner_ = ToRelative(event->pos());
    UpdateItem();
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

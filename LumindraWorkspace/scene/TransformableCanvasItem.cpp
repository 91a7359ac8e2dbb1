#include "LumindraWorkspace/scene/TransformableCanvasItem.h"

#include <cmath>

#include <QGraphicsScene>
#include <QGraphicsView>
#include <QPainter>

namespace Quelto::Lumindra {

TransformableCanvasItem::TransformableCanvasItem(const Util::ImageUtils& imageUtils,
                                                 const boost::intrusive_ptr<Proc::IDataVideo>& frame, QObject* parent)
    : CanvasItem(imageUtils, frame, parent)
{
}

TransformableCanvasItem::TransformableCanvasItem(const Util::ImageUtils& imageUtils, IWorkspaceController* controller,
                                                 QObject* parent)
    : CanvasItem(imageUtils, controller, parent)
{
}

void TransformableCanvasItem::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget)
{
    const QTransform drawn = painter->transform();
    const double scaleX = std::hypot(drawn.m11(), drawn.m12());
    const double scaleY = std::hypot(drawn.m21(), drawn.m22());
    const boost::intrusive_ptr<Proc::IDataVideo>& frame = GetFrame();
    if (IsUnitScale(scaleX) || !frame || !scene() || !GetResizer() || scaleY <= 0.0) {
        QGraphicsPixmapItem::paint(painter, option, widget);
        return;
    }

    const Conf::FrameInfo& info = frame->GetFrameInfo();
    const QList<QGraphicsView*> views = scene()->views();
    const QWidget* viewport = !views.isEmpty() ? views.first()->viewport() : widget;
    const QPixmap* scaled = ResizedPixmap(info.width * scaleX, info.height * scaleY, scaleX, viewport, widget);
    if (!scaled) {
        QGraphicsPixmapItem::paint(painter, option, widget);
        return;
    }

    const QTransform unscaled(drawn.m11() / scaleX, drawn.m12() / scaleX, drawn.m21() / scaleY,
                              drawn.m22() / scaleY, drawn.dx(), drawn.dy());
    const bool smooth = painter->testRenderHint(QPainter::SmoothPixmapTransform);
    painter->setTransform(unscaled, false);
    // A rotated copy is resampled once more; smooth sampling keeps its edges clean.
    painter->setRenderHint(QPainter::SmoothPixmapTransform, true);
    DrawResized(painter, *scaled, info.width * scaleX, info.height * scaleY);
    painter->setRenderHint(QPainter::SmoothPixmapTransform, smooth);
    painter->setTransform(drawn);
}

} // namespace Quelto::Lumindra

#include "LumindraWorkspace/scene/TransformableCanvasItem.h"

#include <algorithm>
#include <cmath>

#include <QGraphicsScene>
#include <QGraphicsView>
#include <QPainter>

#include "util/ScreenInfo.h"

namespace Quelto::Lumindra {

namespace {

// Zoom factors this close to 1 count as 100 %: the full pixmap is drawn as it is.
constexpr double kUnitScaleLow = 0.99999;
constexpr double kUnitScaleHigh = 1.00001;

} // namespace

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
    if ((scaleX >= kUnitScaleLow && scaleX <= kUnitScaleHigh) || !frame || !scene() || !GetResizer() ||
        scaleY <= 0.0) {
        QGraphicsPixmapItem::paint(painter, option, widget);
        return;
    }

    const double ratio = widget ? GetWidgetScreenPixelRatio(widget) : GetMainWindowScreenPixelRatio();
    const Conf::FrameInfo& info = frame->GetFrameInfo();
    const int targetWidth = qRound(info.width * scaleX * ratio);
    const int targetHeight = qRound(info.height * scaleY * ratio);

    const QList<QGraphicsView*> views = scene()->views();
    const QWidget* viewport = !views.isEmpty() ? views.first()->viewport() : widget;
    if (viewport && scaleX >= 1.0 && targetWidth > viewport->width() && targetHeight > viewport->height()) {
        QGraphicsPixmapItem::paint(painter, option, widget);
        return;
    }

    Conf::FrameInfo target = info;
    target.width = std::max(targetWidth, 1);
    target.height = std::max(targetHeight, 1);
    const QPixmap& scaled = ScaledPixmap(target, ratio);

    const QTransform unscaled(drawn.m11() / scaleX, drawn.m12() / scaleX, drawn.m21() / scaleY,
                              drawn.m22() / scaleY, drawn.dx(), drawn.dy());
    const bool smooth = painter->testRenderHint(QPainter::SmoothPixmapTransform);
    painter->setTransform(unscaled, false);
    // A rotated copy is resampled once more; smooth sampling keeps its edges clean.
    painter->setRenderHint(QPainter::SmoothPixmapTransform, true);
    painter->drawPixmap(QPointF(0, 0), scaled);
    painter->setRenderHint(QPainter::SmoothPixmapTransform, smooth);
    painter->setTransform(drawn);
}

} // namespace Quelto::Lumindra

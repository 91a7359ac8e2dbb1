#pragma once

#include <QCoreApplication>
#include <QDropEvent>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QMimeData>

namespace Quelto::Lumindra::Test {

// A view on screen whose viewport is exactly `size` (no frame, no scroll bars), on `onScene`
// or else on a scene of its own: scene coordinates map to screen pixels one to one at 100 %.
class BareView : public QGraphicsView {
public:
    explicit BareView(QSize size, QGraphicsScene* onScene = nullptr)
    {
        setFrameShape(QFrame::NoFrame);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setScene(onScene ? onScene : &own);
        resize(size);
        show();
    }
    void Zoom(double factor) { setTransform(QTransform::fromScale(factor, factor)); }
    QImage Grab() { return viewport()->grab().toImage(); }
    QColor At(const QImage& screen, const QPointF& point) const { return screen.pixelColor(mapFromScene(point)); }

    QGraphicsScene own;
};

// Whether the view took a drag over a scene point, and then its drop.
struct DragResult {
    bool moved = false;
    bool dropped = false;
};

// Drags `data` onto the view as a person would: enter, move and drop at `scenePoint`. Qt's scene
// accepts every drag that enters it, so what tells is the move and the drop.
inline DragResult DragTo(QGraphicsView& view, const QPointF& scenePoint, const QMimeData& data)
{
    const QPoint at = view.mapFromScene(scenePoint);
    QDragEnterEvent enter(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    enter.setAccepted(false);
    QCoreApplication::sendEvent(view.viewport(), &enter);
    QDragMoveEvent move(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    move.setAccepted(false);
    QCoreApplication::sendEvent(view.viewport(), &move);
    QDropEvent drop(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    drop.setAccepted(false);
    QCoreApplication::sendEvent(view.viewport(), &drop);
    return {move.isAccepted(), drop.isAccepted()};
}

} // namespace Quelto::Lumindra::Test

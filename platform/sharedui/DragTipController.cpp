#include "sharedui/DragTipController.h"

#include <QAbstractScrollArea>
#include <QEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QWidget>

#include "sharedui/ScalableViewEmitter.h"
#include "sharedui/ToolTipManager.h"

namespace Quelto::Lumindra {

namespace {
// Long enough to read one short sentence, short enough not to be in the way.
constexpr int kDefaultTipDurationMs = 4000;
// Distance of the hint from the bottom edge of the viewport, clear of a horizontal scroll bar's
// neighbourhood and of the picture's lower edge at fit.
constexpr int kBottomMarginPx = 24;
// Logical size of the hand icon: about the height of two lines of tip text.
constexpr int kHandIconSizePx = 24;

// An open hand: palm, four fingers and a thumb, drawn so that no icon file has to ship.
QPixmap MakeHandIcon(qreal devicePixelRatio)
{
    const int side = qRound(kHandIconSizePx * devicePixelRatio);
    QPixmap pixmap(side, side);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(kHandIconSizePx / 24.0, kHandIconSizePx / 24.0); // drawn on a 24-unit grid
    QPainterPath hand;
    hand.addRoundedRect(QRectF(6, 11, 12, 11), 4, 4);  // palm
    const qreal fingerTops[] = {4, 2.5, 3, 5};
    for (int i = 0; i < 4; ++i)
        hand.addRoundedRect(QRectF(6 + i * 3, fingerTops[i], 2.6, 12), 1.3, 1.3);
    QTransform thumb;
    thumb.translate(6, 15);
    thumb.rotate(-40);
    QPainterPath thumbPath;
    thumbPath.addRoundedRect(QRectF(-1.3, -7, 2.6, 8), 1.3, 1.3);
    hand = hand.united(thumb.map(thumbPath));
    painter.setPen(QPen(QColor(40, 40, 40), 1.0));
    painter.setBrush(QColor(245, 245, 245));
    painter.drawPath(hand.simplified());
    return pixmap;
}
} // namespace

DragTipController::DragTipController(QAbstractScrollArea* view, ScalableViewEmitter* emitter, ToolTipManager* tips,
                                     QObject* parent)
    : QObject(parent)
    , view(view)
    , tips(tips)
    , tipDurationMs(kDefaultTipDurationMs)
{
    if (emitter)
        connect(emitter, &ScalableViewEmitter::enableDragMode, this, &DragTipController::OnDragModeAvailable);
    if (tips)
        connect(tips, &ToolTipManager::tipHidden, this, [this] { tipShown = false; });
    if (view) {
        view->installEventFilter(this);
        view->viewport()->installEventFilter(this);
    }
}

DragTipController::~DragTipController()
{
    HideOwnTip();
}

void DragTipController::SetEnabled(bool enable)
{
    enabled = enable;
}

bool DragTipController::IsEnabled() const
{
    return enabled;
}

bool DragTipController::IsTipVisible() const
{
    return tipShown && tips && tips->IsTipVisible();
}

void DragTipController::SetTipDuration(int ms)
{
    if (ms > 0)
        tipDurationMs = ms;
}

int DragTipController::GetTipDuration() const
{
    return tipDurationMs;
}

QString DragTipController::GetTipText()
{
    return tr("Hold <b>Space</b> or press <b>both mouse buttons</b> and drag to move the picture");
}

void DragTipController::OnDragModeAvailable(bool available)
{
    if (!available) {
        HideOwnTip();
        return;
    }
    if (!enabled || !view || !tips)
        return;
    QWidget* viewport = view->viewport();
    const bool ok = tips->ShowTip(viewport, GetTipText(), MakeHandIcon(viewport->devicePixelRatioF()), TipAnchor(),
                                  tipDurationMs);
    tipShown = ok;
}

bool DragTipController::eventFilter(QObject* watched, QEvent* event)
{
    if (IsTipVisible()) {
        switch (event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick:
        case QEvent::Wheel:
        case QEvent::KeyPress:
        case QEvent::TouchBegin:
        case QEvent::Hide:
            HideOwnTip();
            break;
        case QEvent::Resize:
            if (view && watched == view->viewport())
                tips->MoveTip(TipAnchor());
            break;
        default:
            break;
        }
    }
    return QObject::eventFilter(watched, event);
}

QPoint DragTipController::TipAnchor() const
{
    const QRect area = view->viewport()->rect();
    return QPoint(area.center().x(), area.bottom() - kBottomMarginPx);
}

void DragTipController::HideOwnTip()
{
    if (IsTipVisible())
        tips->HideTip();
    tipShown = false;
}

} // namespace Quelto::Lumindra

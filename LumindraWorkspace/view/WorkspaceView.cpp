#include "LumindraWorkspace/view/WorkspaceView.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <QContextMenuEvent>
#include <QCursor>
#include <QGestureEvent>
#include <QGraphicsItem>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPinchGesture>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <QStyle>
#include <QStyleFactory>
#include <QWheelEvent>

#include <glog/logging.h>

#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "LumindraWorkspace/IWorkspaceController.h"
#include "LumindraWorkspace/scene/IScene.h"
#include "LumindraWorkspace/tools/IDrawingTool.h"
#include "sceneitem/ISceneItem.h"
#include "sharedui/DragTipController.h"
#include "sharedui/ScalableViewEmitter.h"
#include "sharedui/SpecialHotkeyHelper.h"
#include "sharedui/ToolTipManager.h"
#include "util/HostObjectsConnectorID.h"
#include "util/KeyCode.h"
#include "util/ObjectsConnector.h"

namespace Quelto::Lumindra {

namespace {
// One flag for the whole process: it carries a zoom's request to show the drag tip into the
// nested resize that a scroll-bar change causes, and that resize may belong to any view.
bool pendingDragTipRequest = false;

// Long enough for the second button of a left+right chord to arrive before a menu opens.
constexpr int kContextMenuDelayMs = 300;
const char* const kContextMenuObjectName = "workspaceContextMenu";
// The menu keeps one look whatever style the host application uses.
const char* const kContextMenuStyle = "Fusion";

using HostIds = LumindraInt::IObjectsConnectorID;
using WorkspaceIds = Workspace::IObjectsConnectorID;

} // namespace

const char* const WorkspaceView::MENU_POSITION = "MENU_POSITION";

WorkspaceView::WorkspaceView(QWidget* parent)
    : QGraphicsView(parent)
    , emitter(new ScalableViewEmitter(this))
{
    // The workspace runs edge to edge; without a frame the view's and the viewport's
    // coordinates coincide, which the cursor anchor of a zoom relies on.
    setFrameShape(QFrame::NoFrame);
    SetScrollBarPolicies(Qt::ScrollBarAlwaysOff, Qt::ScrollBarAlwaysOff);

    setAttribute(Qt::WA_AcceptTouchEvents);
    viewport()->setAttribute(Qt::WA_AcceptTouchEvents);
    grabGesture(Qt::PinchGesture);

    toolTips = new ToolTipManager(this);
    dragTip = new DragTipController(this, emitter, toolTips, this);

    contextMenuTimer.setSingleShot(true);
    contextMenuTimer.setInterval(kContextMenuDelayMs);
    connect(&contextMenuTimer, &QTimer::timeout, this, &WorkspaceView::OnContextMenu);
    contextMenu = new QMenu(this);
    contextMenu->setObjectName(QString::fromLatin1(kContextMenuObjectName));
    if (QStyle* style = QStyleFactory::create(QString::fromLatin1(kContextMenuStyle))) {
        style->setParent(contextMenu);
        contextMenu->setStyle(style);
    }

    using Util::ObjectsConnector;
    // SCALE_CANCHED: the host's spelling, deliberate. Flag 0 like every other registration: the
    // connector ignores it, and one rule for all registrations beats a lone exception.
    ObjectsConnector::registerEmitter(HostIds::SCALE_CANCHED, emitter, QStringLiteral("2scaleChanged(double)"), 0);
    ObjectsConnector::registerEmitter(HostIds::BRUSH_SIZE_CHANGED, this, QStringLiteral("2changeBrushSize(bool)"), 0);
    ObjectsConnector::registerEmitter(WorkspaceIds::PREVIOUS_FILE_ARROW, this, QStringLiteral("2prevFileArrow()"), 0);
    ObjectsConnector::registerEmitter(WorkspaceIds::NEXT_FILE_ARROW, this, QStringLiteral("2nextFileArrow()"), 0);
    ObjectsConnector::registerEmitter(WorkspaceIds::PREVIOUS_FILE_PAGE, this, QStringLiteral("2prevFilePage()"), 0);
    ObjectsConnector::registerEmitter(WorkspaceIds::NEXT_FILE_PAGE, this, QStringLiteral("2nextFilePage()"), 0);
    ObjectsConnector::registerReceiver(WorkspaceIds::DRAG_TIPS_ENABLED, this, QStringLiteral("1EnableDragTip(bool)"), 0);
    ObjectsConnector::registerReceiver(HostIds::SET_WORKSPACE_FOCUS, this, QStringLiteral("1SetFocus(bool)"), 0);
    ObjectsConnector::registerReceiver(HostIds::GUIDE_WIDGET_ACTIVATED, this,
                                       QStringLiteral("1OnGuideWidgetActivated(bool)"), 0);
    ObjectsConnector::registerReceiver(HostIds::ACTIVATE_TOOL_WIDGET, this, QStringLiteral("1OnCurrentToolsChanged(int)"),
                                       0);
    ObjectsConnector::registerReceiver(HostIds::GET_INFOTIP_MANAGER, this,
                                       QStringLiteral("1OnGetInfoTipManager(ToolTipManager*&)"), 0);
}

WorkspaceView::~WorkspaceView()
{
    contextMenuTimer.stop();
    if (const auto current = controller.lock())
        current->UnregisterDrawerEventHandler(this);
}

// ---- zoom model -------------------------------------------------------------------------------

void WorkspaceView::ScaleToFit(bool enable)
{
    if (!scene())
        return;
    if (!enable) {
        fitToView = false;
        return;
    }
    QScopedValueRollback<bool> fitting(fittingInProgress, true);
    scrollBarsLocked = true;
    // The whole widget is the viewport while fitting.
    SetScrollBarPolicies(Qt::ScrollBarAlwaysOff, Qt::ScrollBarAlwaysOff);
    scrollBarCheckHeldBack = false;
    const QRectF rect = sceneRect();
    if (rect.width() > 0 && rect.height() > 0) {
        const double rw = viewport()->width() / rect.width();
        const double rh = viewport()->height() / rect.height();
        static_cast<IScalableView*>(this)->ScaleToPercent(std::min(rw, rh) * 100.0);
        // A fit held back by the lower zoom limit overflows the viewport: show its middle.
        centerOn(rect.center());
    } else {
        VLOG(30) << "Fit to view with an empty scene: the zoom stays until the picture arrives";
    }
    fitToView = true;
    dragModeAvailable = false;
    if (emitter)
        emit emitter->enableDragMode(false);
    scrollBarsLocked = false;
}

void WorkspaceView::ScaleToPercent(double percent)
{
    if (!std::isfinite(percent)) {
        LOG(WARNING) << "Zoom request ignored: " << percent << " is not a zoom in percent";
        return;
    }
    const ScalePolicy policy = CanScale();
    if (policy == ScaleNone)
        return;
    // Beyond a limit that the view has already reached: nothing to do. Beyond one that it has
    // not reached yet: the factor below clamps to it.
    if (minScalePercent > percent && !(policy & ScaleDown))
        return;
    if (percent > maxScalePercent && !(policy & ScaleUp))
        return;
    const double factor = ConvertPercentToScaleFactor(percent);

    QPointF anchor(0.0, 0.0);
    // A fit centres the picture afterwards, so the pointer (a display server round trip) is
    // not asked for then.
    if (testAttribute(Qt::WA_UnderMouse) && !fittingInProgress && !swappingPictures)
        anchor = QPointF(viewport()->mapFromGlobal(QCursor::pos()));
    const QPointF sceneAnchor = mapToScene(anchor.toPoint());

    QScopedValueRollback<bool> scaling(scalingInProgress, true);
    scale(factor, factor);
    SnapToLimit();
    // The top-left pixel gives the null point too and then keeps the view's own anchor; a
    // cursor there is rare enough not to need a flag of its own.
    if (!anchor.isNull()) {
        centerOn(sceneAnchor);
        const double dx = anchor.x() - 0.5 * viewport()->width();
        const double dy = anchor.y() - 0.5 * viewport()->height();
        const QPoint moved = mapFromScene(sceneAnchor);
        centerOn(mapToScene(QPoint(qRound(moved.x() - dx), qRound(moved.y() - dy))));
    }
    fitToView = false;
    if (emitter)
        emit emitter->scaleChanged(GetCurrentScalePercent());
    CheckDragModeForEnabled(true);
}

double WorkspaceView::GetCurrentScalePercent() const
{
    return transform().m11() * 100.0;
}

IScalableView::ScalePolicy WorkspaceView::CanScale()
{
    if (!scene())
        return ScaleNone;
    const double current = GetCurrentScalePercent();
    // Strict both ways: a zoom clamped to a limit lands on it exactly (SnapToLimit).
    int policy = ScaleNone;
    if (current > minScalePercent)
        policy |= ScaleDown;
    if (maxScalePercent > current)
        policy |= ScaleUp;
    return static_cast<ScalePolicy>(policy);
}

bool WorkspaceView::SetRestrictionForScale(ScalePolicy policy, double percent)
{
    // Kept stricter for the two limits: a lower limit of NaN or zero scales the picture to nothing.
    const bool usable = std::isfinite(percent) && percent > 0.0;
    if (!usable && (policy == ScaleDown || policy == ScaleUp)) {
        LOG(WARNING) << "Zoom limit refused: " << percent << " is not a positive zoom in percent";
        return false;
    }
    switch (policy) {
    case ScaleDown:
        if (percent > maxScalePercent)
            return false;
        minScalePercent = percent;
        return true;
    case ScaleUp:
        if (minScalePercent > percent)
            return false;
        maxScalePercent = percent;
        return true;
    case ScaleNone:
        return false;
    default:
        // Values outside the enumeration set the upper limit unchecked; hosts rely on it. Harmless
        // even when unusable: the lower limit still clamps every zoom.
        maxScalePercent = percent;
        return true;
    }
}

double WorkspaceView::GetRestrictionForScale(ScalePolicy policy) const
{
    switch (policy) {
    case ScaleUp:
        return maxScalePercent;
    case ScaleDown:
        return minScalePercent;
    default:
        return -1.0;
    }
}

void WorkspaceView::SetScaleStep(double percent)
{
    scaleStep = percent;
}

double WorkspaceView::GetScaleStep() const
{
    return scaleStep;
}

void WorkspaceView::SetDragMode(bool enable)
{
    if (enable) {
        setDragMode(QGraphicsView::ScrollHandDrag);
        return;
    }
    setDragMode(QGraphicsView::NoDrag);
    if (drawingTool && scene())
        drawingTool->HandModeEnded();
}

void WorkspaceView::EnableDragTip(bool enable)
{
    dragTip->SetEnabled(enable);
}

ScalableViewEmitter* WorkspaceView::GetEmitter() const
{
    return emitter;
}

QRectF WorkspaceView::GetSceneRect()
{
    return sceneRect();
}

QRect WorkspaceView::GetViewRect()
{
    return viewport()->rect();
}

void WorkspaceView::HandleWheelEvent(QWheelEvent* event)
{
    if (QGraphicsScene* currentScene = scene()) {
        // Offered once per scene item under the cursor; one that refuses lets the scroll bars
        // have it, and a scroll that moves them takes the notch instead of the zoom.
        for (QGraphicsItem* item : currentScene->items(mapToScene(event->position().toPoint()))) {
            if (!dynamic_cast<LumindraSceneItem::ISceneItem*>(item))
                continue;
            QGraphicsView::wheelEvent(event);
            if (event->isAccepted())
                return;
        }
    }
    // The single-axis delta of old: the axis that moved most.
    const QPoint angle = event->angleDelta();
    const int delta = std::abs(angle.x()) > std::abs(angle.y()) ? angle.x() : angle.y();
    wheelView(delta);
    event->accept();
    if (emitter)
        emit emitter->scaledByWheel();
}

void WorkspaceView::SnapToLimit()
{
    // scale() multiplies by a factor: 11.2 % times 1600 / 11.2 lands a rounding error short of
    // 1600 %, and a limit missed so is never reached by the strict tests of CanScale. A relative
    // 1e-9 is far above such errors and far below any zoom a person asks for.
    QTransform matrix = transform();
    const double percent = matrix.m11() * 100.0;
    for (const double limit : {minScalePercent, maxScalePercent}) {
        if (percent != limit && std::abs(percent - limit) <= 1e-9 * limit && matrix.m12() == 0.0 && matrix.m21() == 0.0) {
            matrix.setMatrix(limit / 100.0, 0.0, matrix.m13(), 0.0, limit / 100.0, matrix.m23(), matrix.m31(),
                             matrix.m32(), matrix.m33());
            setTransform(matrix);
            return;
        }
    }
}

double WorkspaceView::ConvertPercentToScaleFactor(double percent) const
{
    double target = percent > maxScalePercent ? maxScalePercent : percent;
    if (!(target > minScalePercent))
        target = minScalePercent;
    const double current = GetCurrentScalePercent();
    // A transform set from outside to nothing cannot be scaled back; leave it alone.
    if (!(current > 0.0))
        return 1.0;
    return target / current;
}

void WorkspaceView::HoldForPictureSwap(bool hold)
{
    swappingPictures = hold;
    if (!hold && scrollBarCheckHeldBack) {
        scrollBarCheckHeldBack = false;
        CheckDragModeForEnabled(false);
    }
}

void WorkspaceView::CheckDragModeForEnabled(bool showTip)
{
    if (scene() && !scrollBarsLocked && swappingPictures) {
        scrollBarCheckHeldBack = true;
    } else if (scene() && !scrollBarsLocked) {
        // A fitted picture needs no scroll bars. Turning one on here would shrink the viewport,
        // the resize would refit and turn it off again, and so on: a frame of a new size (the
        // full frame after the preview) is refitted instead.
        if (fitToView && !scalingInProgress) {
            pendingDragTipRequest = false;
            if (!fittingInProgress)
                ScaleToFit(true);
            return;
        }
        const bool tip = showTip || pendingDragTipRequest;
        const QRectF rect = sceneRect();
        const QTransform matrix = transform();
        const bool wide = std::trunc(rect.width() * matrix.m11()) > viewport()->width();
        const bool tall = std::trunc(rect.height() * matrix.m22()) > viewport()->height();

        // One policy at a time on a visible view: its viewport resizes at once and brings us
        // back here through resizeEvent with the new size, and that nested call finishes the
        // work. A hidden viewport does not resize until shown, so this call finishes it.
        const Qt::ScrollBarPolicy horizontal = wide ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff;
        const Qt::ScrollBarPolicy vertical = tall ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff;
        if (isVisible() && horizontalScrollBarPolicy() != horizontal) {
            pendingDragTipRequest = tip;
            setHorizontalScrollBarPolicy(horizontal);
        } else if (isVisible() && verticalScrollBarPolicy() != vertical) {
            pendingDragTipRequest = tip;
            setVerticalScrollBarPolicy(vertical);
        } else {
            SetScrollBarPolicies(horizontal, vertical);
            const bool available = wide || tall;
            if (available != dragModeAvailable) {
                dragModeAvailable = available;
                // Listeners of enableDragMode see the tip enabled only for a change a zoom caused.
                const bool tipEnabled = dragTip->IsEnabled();
                EnableDragTip(tipEnabled && tip);
                if (emitter)
                    emit emitter->enableDragMode(available);
                EnableDragTip(tipEnabled);
            }
        }
    }
    pendingDragTipRequest = false;
}

void WorkspaceView::wheelView(double delta)
{
    const double current = GetCurrentScalePercent();
    // No zero case: a zero delta zooms out, as the wheel always did.
    const double sign = delta > 0 ? 1.0 : -1.0;
    static_cast<IScalableView*>(this)->ScaleToPercent(current + current / 100.0 * sign * scaleStep);
}

bool WorkspaceView::HandleGesture(QGestureEvent* event)
{
    QGesture* gesture = event->gesture(Qt::PinchGesture);
    if (!gesture)
        return false;
    const auto* pinch = static_cast<QPinchGesture*>(gesture);
    if (pinch->changeFlags() & QPinchGesture::ScaleFactorChanged) {
        // One step per update whatever the size of the pinch, as with the wheel.
        wheelView(pinch->scaleFactor() > 1.0 ? 1.0 : -1.0);
        if (emitter)
            emit emitter->scaledByGesture();
    }
    event->accept(gesture);
    return true;
}

void WorkspaceView::SetScrollBarPolicies(Qt::ScrollBarPolicy horizontal, Qt::ScrollBarPolicy vertical)
{
    // Qt lays the children out again on every call, even for the policy already set.
    if (horizontalScrollBarPolicy() != horizontal)
        setHorizontalScrollBarPolicy(horizontal);
    if (verticalScrollBarPolicy() != vertical)
        setVerticalScrollBarPolicy(vertical);
}

// ---- host glue --------------------------------------------------------------------------------

void WorkspaceView::SetWorkspaceController(const std::weak_ptr<IWorkspaceController>& newController)
{
    if (const auto previous = controller.lock())
        previous->UnregisterDrawerEventHandler(this);
    controller = newController;
    const auto current = newController.lock();
    if (!current) {
        VLOG(30) << "Workspace view: no workspace controller, scene cleared";
        setScene(nullptr);
        return;
    }
    setScene(current->GetScene());
    current->RegisterDrawerEventHandler(this);
    VLOG(30) << "Workspace view: showing the scene of " << current->GetFileName().toStdString();
    // A new picture keeps the zoom mode: fit mode fits it, a fixed zoom gets its scroll bars.
    if (fitToView)
        ScaleToFit(true);
    else
        CheckDragModeForEnabled(false);
}

void WorkspaceView::SetDrawingTool(IDrawingTool* tool)
{
    drawingTool = tool;
}

IDrawingTool* WorkspaceView::GetDrawingTool() const
{
    return drawingTool;
}

QMenu* WorkspaceView::GetContextMenu() const
{
    return contextMenu;
}

bool WorkspaceView::IsContextMenuPending() const
{
    return contextMenuTimer.isActive();
}

DragTipController* WorkspaceView::GetDragTipController() const
{
    return dragTip;
}

ToolTipManager* WorkspaceView::GetToolTipManager() const
{
    return toolTips;
}

bool WorkspaceView::IsDragModeAvailable() const
{
    return dragModeAvailable;
}

bool WorkspaceView::IsFitToView() const
{
    return fitToView;
}

void WorkspaceView::SetFocus(bool focus)
{
    if (focus)
        setFocus(Qt::OtherFocusReason);
    else if (hasFocus())
        clearFocus();
}

void WorkspaceView::OnGuideWidgetActivated(bool active)
{
    if (active) {
        scrollBarsLocked = true;
        SetScrollBarPolicies(Qt::ScrollBarAlwaysOff, Qt::ScrollBarAlwaysOff);
    } else {
        scrollBarsLocked = false;
        CheckDragModeForEnabled(false);
    }
}

void WorkspaceView::OnCurrentToolsChanged(int toolsId)
{
    VLOG(30) << "Workspace view: tools changed to " << toolsId;
    contextMenuTimer.stop();
    toolTips->HideTip();
}

void WorkspaceView::OnGetInfoTipManager(ToolTipManager*& manager)
{
    manager = toolTips;
}

void WorkspaceView::HandleFrameInternal(const PhotoCore::IDrawerEventHandler::DrawerEventFrame&)
{
    // A new frame may have a new size.
    CheckDragModeForEnabled(false);
    viewport()->update();
}

// ---- events -----------------------------------------------------------------------------------

bool WorkspaceView::event(QEvent* event)
{
    if (event->type() == QEvent::Gesture && HandleGesture(static_cast<QGestureEvent*>(event)))
        return true;
    return QGraphicsView::event(event);
}

void WorkspaceView::resizeEvent(QResizeEvent* event)
{
    QGraphicsView::resizeEvent(event);
    if (emitter)
        emit emitter->viewResized();
    if (fittingInProgress) {
        // The fit in progress measures the viewport after its own scroll-bar change.
    } else if (!scalingInProgress && fitToView) {
        // A refit never shows the drag tip.
        const bool tipEnabled = dragTip->IsEnabled();
        EnableDragTip(false);
        ScaleToFit(true);
        EnableDragTip(tipEnabled);
    } else {
        CheckDragModeForEnabled(false);
    }
}

void WorkspaceView::wheelEvent(QWheelEvent* event)
{
    static_cast<IScalableView*>(this)->HandleWheelEvent(event);
}

bool WorkspaceView::IsHandModeActive() const
{
    return dragMode() == QGraphicsView::ScrollHandDrag;
}

bool WorkspaceView::ToolTakesInput() const
{
    return !IsHandModeActive() && drawingTool && scene();
}

void WorkspaceView::SendSyntheticLeftButton(QEvent::Type type)
{
    const QPoint pos = viewport()->mapFromGlobal(QCursor::pos());
    const Qt::MouseButtons buttons =
        type == QEvent::MouseButtonPress ? (heldButtons | Qt::LeftButton) : (heldButtons & ~Qt::LeftButton);
    QMouseEvent synthetic(type, pos, viewport()->mapToGlobal(pos), Qt::LeftButton, buttons,
                          QGuiApplication::keyboardModifiers());
    QCoreApplication::sendEvent(viewport(), &synthetic);
}

void WorkspaceView::keyPressEvent(QKeyEvent* event)
{
    if (!IsHandModeActive()) {
        if (ToolTakesInput() && drawingTool->KeyPress(event))
            return;
        if (event->key() == Qt::Key_Escape && drawingTool && scene())
            drawingTool->Cancel();
        if (dragModeAvailable && !event->isAutoRepeat() && event->key() == Qt::Key_Space) {
            const bool leftDown = heldButtons & Qt::LeftButton;
            // The release ends the tool's stroke; the press after the switch starts the hand
            // drag at the same point without a new click.
            if (leftDown)
                SendSyntheticLeftButton(QEvent::MouseButtonRelease);
            if (emitter)
                emit emitter->activateDragMode(true);
            if (leftDown)
                SendSyntheticLeftButton(QEvent::MouseButtonPress);
        }
    }
    const int key = Util::GetKeyCode(event->key(), event->nativeVirtualKey());
    if (key == Qt::Key_BracketLeft)
        emit changeBrushSize(false);
    else if (key == Qt::Key_BracketRight)
        emit changeBrushSize(true);

    if (HandleNavigationKey(event))
        return;
    QGraphicsView::keyPressEvent(event);
    if (!event->isAccepted() && !event->isAutoRepeat()) {
        if (SpecialHotkeyHelper::HandlePressEvent(event))
            return;
        if (event->key() == Qt::Key_Delete && event->modifiers() == Qt::NoModifier) {
            emit delFile();
            event->accept();
        }
    }
}

bool WorkspaceView::HandleNavigationKey(QKeyEvent* event)
{
    // Arrows and pages belong to a scene item that is being edited, and modified keys to
    // whoever defined the shortcut.
    if ((event->modifiers() & ~Qt::KeypadModifier) || (scene() && scene()->focusItem()))
        return false;
    const QScrollBar* bar = horizontalScrollBar();
    switch (event->key()) {
    case Qt::Key_Right:
        if (bar->value() < bar->maximum())
            return false; // pans the picture instead
        emit nextFileArrow();
        break;
    case Qt::Key_Left:
        if (bar->value() > bar->minimum())
            return false;
        emit prevFileArrow();
        break;
    case Qt::Key_PageDown:
        emit nextFilePage();
        break;
    case Qt::Key_PageUp:
        emit prevFilePage();
        break;
    default:
        return false;
    }
    event->accept();
    return true;
}

void WorkspaceView::keyReleaseEvent(QKeyEvent* event)
{
    if (ToolTakesInput() && drawingTool->KeyRelease(event))
        return;
    if (IsHandModeActive() && dragModeAvailable && !event->isAutoRepeat() && event->key() == Qt::Key_Space) {
        if (emitter)
            emit emitter->activateDragMode(false);
        // The tool takes the held button over again.
        if (heldButtons & Qt::LeftButton)
            SendSyntheticLeftButton(QEvent::MouseButtonPress);
    }
    QGraphicsView::keyReleaseEvent(event);
    if (!event->isAccepted() && !event->isAutoRepeat())
        SpecialHotkeyHelper::HandleReleaseEvent(event);
}

void WorkspaceView::mousePressEvent(QMouseEvent* event)
{
    heldButtons = event->buttons();
    const bool chord = (event->buttons() & Qt::LeftButton) && (event->buttons() & Qt::RightButton);
    if (chord && dragModeAvailable && !IsHandModeActive()) {
        if (event->button() == Qt::RightButton) {
            // Hand dragging follows the left button: give it a press of its own.
            QMouseEvent left(QEvent::MouseButtonPress, event->localPos(), event->windowPos(), event->screenPos(),
                             Qt::LeftButton, event->buttons(), event->modifiers());
            mousePressEvent(&left);
        }
        contextMenuTimer.stop();
        // The press above may already have asked for hand mode and got it.
        if (!IsHandModeActive() && emitter)
            emit emitter->activateDragMode(true);
        mouseChordActive = true;
        QGraphicsView::mousePressEvent(event);
        return;
    }
    if (ToolTakesInput() && drawingTool->MousePress(event))
        return;
    if (event->button() == Qt::RightButton && !IsHandModeActive() && !mouseChordActive)
        contextMenuTimer.start();
    QGraphicsView::mousePressEvent(event);
}

void WorkspaceView::mouseMoveEvent(QMouseEvent* event)
{
    heldButtons = event->buttons();
    if (ToolTakesInput() && drawingTool->MouseMove(event))
        return;
    QGraphicsView::mouseMoveEvent(event);
}

void WorkspaceView::mouseReleaseEvent(QMouseEvent* event)
{
    heldButtons = event->buttons();
    if (mouseChordActive && (event->button() == Qt::LeftButton || event->button() == Qt::RightButton)) {
        if (IsHandModeActive() && emitter)
            emit emitter->activateDragMode(false);
        // Cleared on the next turn of the event loop, so that this release of the last button
        // is still seen as part of the chord and not as a click.
        if (event->buttons() == Qt::NoButton)
            QTimer::singleShot(0, this, [this] { mouseChordActive = false; });
    }
    if (ToolTakesInput() && drawingTool->MouseRelease(event))
        return;
    QGraphicsView::mouseReleaseEvent(event);
}

void WorkspaceView::mouseDoubleClickEvent(QMouseEvent* event)
{
    heldButtons = event->buttons();
    if (ToolTakesInput() && drawingTool->MouseDoubleClick(event))
        return;
    QGraphicsView::mouseDoubleClickEvent(event);
}

void WorkspaceView::leaveEvent(QEvent* event)
{
    if (ToolTakesInput() && drawingTool->Leave(event))
        return;
    QWidget::leaveEvent(event);
}

void WorkspaceView::contextMenuEvent(QContextMenuEvent* event)
{
    if (event->reason() == QContextMenuEvent::Keyboard) {
        contextMenuTimer.stop();
        OnContextMenu();
    }
    // A mouse request is answered by the timer that the right-button press started, so that a
    // chord can still cancel it.
    event->accept();
}

void WorkspaceView::OnContextMenu()
{
    // A chord or hand mode means the buttons were panning, not asking for a menu.
    if (mouseChordActive || IsHandModeActive() || !scene())
        return;
    const QPoint global = QCursor::pos();
    const QPoint local = viewport()->mapFromGlobal(global);

    // Scene items with menus of their own come first.
    QContextMenuEvent itemsRequest(QContextMenuEvent::Mouse, local, global, QGuiApplication::keyboardModifiers());
    itemsRequest.ignore();
    QGraphicsView::contextMenuEvent(&itemsRequest);
    if (itemsRequest.isAccepted() || contextMenu->isEmpty())
        return;

    const QPointF scenePos = mapToScene(local);
    QPointF origin;
    if (auto* workspaceScene = qobject_cast<IScene*>(scene()))
        origin = workspaceScene->GetBackgroundRect().topLeft();
    const QPointer<WorkspaceView> self(this);
    const QPointer<QMenu> menu(contextMenu);
    menu->setProperty(MENU_POSITION, scenePos - origin);
    menu->exec(global);
    // An action may have closed the workspace while the menu ran.
    if (!self || !menu)
        return;
    menu->setProperty(MENU_POSITION, QVariant());
}

} // namespace Quelto::Lumindra

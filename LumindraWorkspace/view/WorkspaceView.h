#pragma once

#include <memory>

#include <QEvent>
#include <QGraphicsView>
#include <QPointer>
#include <QTimer>

#include "LumindraWorkspace/IWorkspaceWindow.h"
#include "LumindraWorkspace/WorkspaceExport.h"
#include "LumindraWorkspace/scene/DrawerEventHandlerUI.h"
#include "LumindraWorkspace/view/IScalableView.h"

class QGestureEvent;
class QMenu;

namespace Quelto::Lumindra {

class DragTipController;
class IDrawingTool;
class IWorkspaceController;
class ScalableViewEmitter;
class ToolTipManager;

// The graphics view that shows the open document's scene and takes all keyboard and mouse input
// of the workspace.
//
// Zoom: the zoom level is the horizontal factor of the view transform, in percent. It moves
// only between the limits and by the step that the host sets (both limits start at 100 % and
// the step at 0, so the view cannot zoom until the host configures it); wheel and pinch change
// it by the step as a percentage of the current zoom, keeping the scene point under the cursor
// in place. Fit mode sizes the picture to the viewport and refits on every resize until the next
// zoom. After every zoom and resize the view switches its scroll bars and reports whether the
// picture can be dragged; the notifications go out on its ScalableViewEmitter.
//
// Input: while hand mode (ScrollHandDrag) is off, the current drawing tool sees mouse and key
// events first. Space and a left+right mouse chord ask the host for hand mode through
// activateDragMode; the host answers with SetDragMode, synchronously (a direct connection), since
// the view sends the button press that starts or ends the drag right after asking. "[" and "]"
// ask for a smaller or larger brush, arrows at the picture's edge and Page Up/Down for the
// previous or next file; keys that nothing used go to the host's special hotkeys, and a Delete
// that even they leave asks for deleting the file. A right-button press opens the context menu
// after a short delay unless a chord starts first.
//
// Everything runs on the UI thread; drawer events of the editing core arrive through the
// DrawerEventHandlerUI base, already moved to the UI thread.
class LUMINDRA_WORKSPACE_EXPORT WorkspaceView : public QGraphicsView,
                                                public IScalableView,
                                                public DrawerEventHandlerUI,
                                                public IWorkspaceControllerUser {
    Q_OBJECT
public:
    // Name of the context menu's property that holds, while the menu runs, the scene point under
    // the cursor relative to the top-left corner of the scene's background rectangle (QPointF).
    static const char* const MENU_POSITION;

    explicit WorkspaceView(QWidget* parent = nullptr);
    ~WorkspaceView() override;

    // IScalableView
    void ScaleToFit(bool enable) override;
    void ScaleToPercent(double percent) override;
    double GetCurrentScalePercent() const override;
    ScalePolicy CanScale() override;
    bool SetRestrictionForScale(ScalePolicy policy, double percent) override;
    double GetRestrictionForScale(ScalePolicy policy) const override;
    void SetScaleStep(double percent) override;
    double GetScaleStep() const override;
    void SetDragMode(bool enable) override;
    ScalableViewEmitter* GetEmitter() const override;
    QRectF GetSceneRect() override;
    QRect GetViewRect() override;
    void HandleWheelEvent(QWheelEvent* event) override;

    // IWorkspaceControllerUser: shows the controller's scene and receives its drawer events;
    // an expired pointer clears the scene.
    void SetWorkspaceController(const std::weak_ptr<IWorkspaceController>& controller) override;

    // The tool that takes input first while hand mode is off; null for none. Not owned: the
    // owner clears it before the tool dies.
    void SetDrawingTool(IDrawingTool* tool);
    IDrawingTool* GetDrawingTool() const;

    // The menu that a right click opens; the host fills it with actions. Owned by the view.
    QMenu* GetContextMenu() const;
    bool IsContextMenuPending() const;

    // The host holds the view while it swaps pictures: the closing picture's reset to 100 %
    // and the new picture's fit pass without the scroll bars coming and going in between (each
    // switch lays the view out again and asks the display server where the pointer is), and no
    // zoom meanwhile is anchored at the pointer, whose picture is on its way out (a display
    // server round trip). A fit decides the scroll bars anyway; a change skipped meanwhile is
    // made on release.
    void HoldForPictureSwap(bool hold);

    DragTipController* GetDragTipController() const;
    ToolTipManager* GetToolTipManager() const;
    bool IsDragModeAvailable() const;
    bool IsFitToView() const;

public slots:
    void EnableDragTip(bool enable) override;
    // Focus requests from the host's widgets: true takes the keyboard focus, false gives it up.
    void SetFocus(bool focus);
    // A guide widget over the workspace freezes the scroll bars while it is active.
    void OnGuideWidgetActivated(bool active);
    // The host switched tools: a pending context menu or hint belongs to the old one.
    void OnCurrentToolsChanged(int toolsId);
    // The host asks for the view's tool-tip manager (to show its own tips on the workspace).
    void OnGetInfoTipManager(ToolTipManager*& manager);

signals:
    void changeBrushSize(bool increase);
    void nextFileArrow();
    void prevFileArrow();
    void nextFilePage();
    void prevFilePage();
    void delFile();

protected:
    void HandleFrameInternal(const PhotoCore::IDrawerEventHandler::DrawerEventFrame& event) override;

    bool event(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private slots:
    void OnContextMenu();

private:
    double ConvertPercentToScaleFactor(double percent) const;
    void CheckDragModeForEnabled(bool showTip);
    void wheelView(double delta);
    bool HandleGesture(QGestureEvent* event);
    bool IsHandModeActive() const;
    bool ToolTakesInput() const;
    bool HandleNavigationKey(QKeyEvent* event);
    void SendSyntheticLeftButton(QEvent::Type type);
    // Puts a zoom that a rounding error left next to a limit exactly on it.
    void SnapToLimit();
    void SetScrollBarPolicies(Qt::ScrollBarPolicy horizontal, Qt::ScrollBarPolicy vertical);

    // Zoom state; read by the host only through IScalableView.
    double scaleStep = 0.0;
    double minScalePercent = 100.0;
    double maxScalePercent = 100.0;
    bool dragModeAvailable = false;
    bool scrollBarsLocked = false;
    bool swappingPictures = false;
    bool scrollBarCheckHeldBack = false; // a check was skipped while held and no fit followed
    bool fitToView = false;
    bool scalingInProgress = false;
    // Set while ScaleToFit runs: the resizes its own scroll-bar change causes must not start
    // another fit inside it, which re-enters Qt's scroll-area layout without bound.
    bool fittingInProgress = false;
    QPointer<ScalableViewEmitter> emitter;
    ToolTipManager* toolTips = nullptr;
    DragTipController* dragTip = nullptr;

    // Input state.
    IDrawingTool* drawingTool = nullptr;
    bool mouseChordActive = false;
    // Buttons held according to the last mouse event of the viewport (ours included), which
    // unlike the application's state also follows events that were sent rather than clicked.
    Qt::MouseButtons heldButtons = Qt::NoButton;
    QTimer contextMenuTimer;
    QMenu* contextMenu = nullptr;

    std::weak_ptr<IWorkspaceController> controller;
};

} // namespace Quelto::Lumindra

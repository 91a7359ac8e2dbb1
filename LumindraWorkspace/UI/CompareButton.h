#pragma once

#include <memory>

#include <QElapsedTimer>
#include <QPointer>
#include <QToolButton>

#include "LumindraWorkspace/IWorkspaceWindow.h"
#include "LumindraWorkspace/WorkspaceExport.h"
#include "LumindraWorkspace/tools/CompareType.h"
#include "sharedui/SpecialHotkeyHelper.h"

class QAction;
class QGraphicsView;
class QMenu;

namespace Quelto::Lumindra {

class DrawingToolOriginalBase;
class IWorkspaceController;

// The button that switches the before/after comparison on and off, and whose menu picks how it
// compares (side by side, or split over one picture). Switching on creates the comparison tool
// in the view, for the current workspace controller, and makes it the view's drawing tool;
// switching off discards it, which gives the scene and the zoom back.
//
// Messages (objects connector): it announces every change as compareIsActivated(active, type),
// and follows that message from other compare buttons, so that several buttons stay in step and
// only one comparison exists (a button that is switched off ends the comparison another one
// made). It ends the comparison before the workspace controller is reset (execute), when the
// host reports a control used or a session about to be saved, on Escape in the view, and when the
// tool reports that it could not be built. The host's compare hotkey toggles it; held for longer
// than the hold time after the comparison appeared, its release switches back. While comparing,
// the view's drag tips are off; after a click the workspace takes the keyboard focus back.
//
// UI thread only.
class LUMINDRA_WORKSPACE_EXPORT CompareButton : public QToolButton, public IWorkspaceControllerUser {
    Q_OBJECT
public:
    // A compare hotkey released this long after the comparison appeared was held, not tapped:
    // the release ends the comparison. Shorter than a deliberate look, longer than a tap.
    static constexpr int kHoldMs = 400;

    explicit CompareButton(QWidget* parent = nullptr);
    ~CompareButton() override;

    // The view the comparison is shown in; not owned. A new view ends a running comparison.
    void SetView(QGraphicsView* view);
    // A new controller (or none) ends a running comparison; without one the button is disabled.
    void SetWorkspaceController(const std::weak_ptr<IWorkspaceController>& controller) override;

    CompareType GetCompareType() const { return type_; }
    // A running comparison is shown again in the new way.
    void SetCompareType(CompareType type);
    // The menu of compare types (also for the host's own menus); owned by the button.
    QMenu* GetTypeMenu() const { return typeMenu_; }

    // Whether a comparison is on (made by this button or by another one in step with it).
    bool IsActive() const { return active_; }
    // Switches the comparison on or off; returns whether it is on afterwards (false when the
    // tool could not be built).
    bool SetActive(bool active);
    // The tool this button made; null when it made none.
    DrawingToolOriginalBase* GetTool() const { return tool_.get(); }

    // How long the hotkey must stay down to count as held (kHoldMs unless set).
    void SetHoldTime(int milliseconds) { holdMs_ = milliseconds; }

public Q_SLOTS:
    // The workspace controller is about to be reset: the comparison ends.
    void execute();
    // Another compare button switched the comparison on or off.
    void OnCompareIsActivated(bool active, Lumindra::CompareType type);
    // The host's hotkeys: the compare hotkey pressed (true) or released (false).
    void OnOverlay(SpecialHotkeyHelper::HotkeyID id, bool pressed);
    // A comparison tool could not be built.
    void OnErrorCreate();
    void OnAboutToSaveSession();
    void OnUiControlUsed();

Q_SIGNALS:
    void compareIsActivated(bool active, Lumindra::CompareType type);
    void setWorkspaceFocus(bool focus);
    void dragTipsEnabled(bool enabled);

private:
    bool Activate();
    // Discards the tool; `announce` tells the other buttons and the host.
    void Deactivate(bool announce);
    void ShowType(CompareType type);

    QPointer<QGraphicsView> view_;
    std::weak_ptr<IWorkspaceController> controller_;
    std::unique_ptr<DrawingToolOriginalBase> tool_;
    CompareType type_ = CompareType::SideBySide;
    bool active_ = false; // a comparison is on, made by this button (tool_) or by another one
    QMenu* typeMenu_ = nullptr;
    QAction* sideBySide_ = nullptr;
    QAction* split_ = nullptr;
    bool creating_ = false;       // a tool is being built: its errorCreate is ours
    bool creationFailed_ = false; // ... and it came
    bool activatedByKey_ = false; // the comparison appeared on a hotkey press still held
    QElapsedTimer shownSince_;    // since the comparison appeared on that press
    int holdMs_ = kHoldMs;
};

} // namespace Quelto::Lumindra

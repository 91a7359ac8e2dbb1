#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QMainWindow>
#include <QPixmap>
#include <QRectF>

#include "FolderNavigator.h"
#include "LumindraWorkspace/IDragAndDrop.h"
#include "LumindraWorkspace/IWorkspaceController.h"
#include "LumindraWorkspace/IWorkspaceWindow.h"
#include "LumindraWorkspace/UnfinishedSession.h"
#include "photocore/ICoreEventHandler.h"
#include "proc/EffectSettings.h"
#include "sharedui/SpecialHotkeyHelper.h"

class QAction;
class QLabel;
class QProgressBar;
class QTimer;

namespace Quelto::Lumindra {
class CompareButton;
class WorkspaceControllerHelper;
class WorkspaceView;
} // namespace Quelto::Lumindra

namespace Quelto::Lumindra::App {

class AdjustPanel;
class CoreEventRelay;
class CropTool;
class RestoreOffer;

// The editor window: hosts the workspace view, owns the workspace controller helper, and offers
// opening (argument, dialog, drop, paste), stepping through the folder with preloading, zoom, hand
// mode, edits with undo and redo, the before/after comparison (toolbar button, menu, and the
// backslash key: tapped it toggles, held it shows the comparison until released), saving, and
// the open error, busy and progress feedback. UI thread.
//
// The workspace runs in session mode: the open picture's session is autosaved and a session that
// a crash left unfinished is offered for restoring at start. A picture left behind comes back as
// its file holds it (the window asks before unsaved edits go). Problems with the session (a
// failed autosave or write-out, an unusable temporary folder) are shown as notices that do not
// block the window.
class MainWindow : public QMainWindow,
                   public IWorkspaceWindow,
                   public IWorkspaceControllerUser,
                   public IDragAndDrop {
    Q_OBJECT
public:
    // Zoom limits and the step of one wheel notch, pinch update or zoom key, in percent.
    // The lower limit lets a long panorama fit a small window: a fit that the limit holds back
    // leaves the picture overflowing the window with no scroll bars to reach its ends.
    static constexpr double kMinZoomPercent = 1.0;
    static constexpr double kMaxZoomPercent = 1600.0;
    static constexpr double kZoomStepPercent = 15.0;

    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // Opens a file through the helper (serialised with other open requests).
    void OpenFile(const QString& path);
    // Opens the first of `paths`; stepping then goes through them in the order given (through
    // the folder when there is only one).
    void OpenFiles(const QStringList& paths);
    // Shows why something could not be opened: status bar, openFailed, and a message box
    // unless unattended.
    void ReportOpenFailure(const QString& message);

    // The key that toggles the comparison (held: shows it while held).
    static constexpr int kCompareKey = Qt::Key_Backslash;
    // A key held down repeats as releases each followed at once by a press, which X servers do
    // not always mark as repeats: a release waits this long for such a press before it counts.
    static constexpr int kKeyRepeatGapMs = 30;
    // Shows the offer to restore `session`; restoring replaces the open picture, discarding
    // removes the session's folder. Unless the session comes back, `otherwiseOpen` is opened
    // (OpenFiles) once the offer was answered or closed.
    void OfferToRestore(const UnfinishedSession& session, const QStringList& otherwiseOpen);
    // The offer while it is shown; null otherwise.
    RestoreOffer* GetRestoreOffer() const { return restoreOffer_; }
    // The last notice shown to the person, with no modal box (session problems, core errors).
    QString GetLastNotice() const { return lastNotice_; }

    WorkspaceView* GetView() const { return view_; }
    CompareButton* GetCompareButton() const { return compare_; }
    WorkspaceControllerHelper* GetHelper() const { return helper_; }
    std::shared_ptr<IWorkspaceController> GetController() const { return controller_.lock(); }
    // True once the open image's full-resolution frame is on the canvas.
    bool IsFullFrameShown() const;
    // Whether a picture on screen (the canvas, or those of a comparison) is still making its copy
    // at the on-screen size (it shows a stand-in).
    bool IsScaledCopyPending() const;
    // When set, no question is asked (screenshots, tests): unsaved edits are discarded as if the
    // person had agreed.
    void SetUnattended(bool unattended) { unattended_ = unattended; }

    // File > Save: writes the picture over its file as a job (the window stays usable, the status
    // bar shows it running); a picture without a file of its own, or in a format that may not be
    // written over it, goes to Save As. Refused while a save of the picture runs.
    void Save();
    // File > Save As: the save window, then the save as a job with the choices made there.
    void SaveAs();

    // IWorkspaceWindow
    bool CanResetWorkspaceController() override;
    IWorkspaceControllerUser& GetWorkspaceControllerUser() override { return *this; }
    // IWorkspaceControllerUser
    void SetWorkspaceController(const std::weak_ptr<IWorkspaceController>& controller) override;
    // IDragAndDrop
    bool CanAccept(const QMimeData* data) const override;
    bool Drop(const QMimeData* data) override;

Q_SIGNALS:
    void filePreloadRequest(const std::vector<std::string>& names);
    void imageDropped(const QPixmap& image);
    void imagePasted(const QPixmap& image);
    void openFailed(const QString& message);
    // A save ended: its SaveResult, the file, and the reason when it failed.
    void saveFinished(int result, const QString& fileName, const QString& reason);
    void fullFrameShown();
    // To the workspace (objects connector): a hotkey went down (true) or up (false).
    void hotkeyActivated(SpecialHotkeyHelper::HotkeyID id, bool pressed);
    // To the workspace (objects connector): an editing control was used.
    void uiControlUsed();

public Q_SLOTS:
    void OnThrowEvent(const PhotoCore::ICoreEventHandler::ThrowEvent& event);
    void OnWorkspaceEmpty();
    void OnScaleChanged(double percent);
    void OnNextFile();
    void OnPreviousFile();
    void OnCompareError();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void CreateActions();
    void RegisterWithConnector();
    // The window's hotkeys, for keys that no widget used; true when `event` was one.
    bool HandleHotkey(QKeyEvent* event, bool press);
    void Step(int direction);
    void OpenDialog();
    // Shows the save as running and starts it; `start` returns false when a save already runs.
    void StartSaving(const QString& fileName, const std::function<bool(IWorkspaceController::SaveDone)>& start);
    void OnSaveDone(const IWorkspaceController::SaveOutcome& outcome);
    void Paste();
    void ApplyEdit(const Proc::SettingsBase& settings);
    void PreviewEdit(const Proc::SettingsBase& settings);
    void StartCrop();
    // Crops to `relative` (fractions of the picture shown) in full-resolution pixels.
    void ApplyCrop(const QRectF& relative);
    void EndCrop();
    void UpdateActions();
    void UpdateStatus();
    void OnLoaded(int stage);
    void OnSceneRectChanged();
    void ShowNotice(const QString& text);

    WorkspaceControllerHelper* helper_ = nullptr;
    WorkspaceView* view_ = nullptr;
    AdjustPanel* adjust_ = nullptr;
    CompareButton* compare_ = nullptr;
    CoreEventRelay* relay_ = nullptr;
    std::unique_ptr<CropTool> crop_;
    QRectF pendingCrop_; // a crop chosen on the preview, applied when the full frame arrives
    std::weak_ptr<IWorkspaceController> controller_;
    FolderNavigator folder_;
    int lastDirection_ = 0;
    // The file a step asked for until it is shown. One that cannot be opened becomes the place
    // the next step starts from, so that a damaged file does not bar the way through the folder.
    QString stepTarget_;
    bool loadingFull_ = false;
    bool unattended_ = false;
    RestoreOffer* restoreOffer_ = nullptr;
    QString lastNotice_;

    QLabel* fileLabel_ = nullptr;
    QLabel* sizeLabel_ = nullptr;
    QLabel* zoomLabel_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QTimer* compareKeyRelease_ = nullptr; // running while a release of the compare key may be a repeat

    QProgressBar* saveProgress_ = nullptr;
    bool overwriting_ = false; // the running save is File > Save over the open file

    QAction* save_ = nullptr;
    QAction* saveAs_ = nullptr;
    QAction* undo_ = nullptr;
    QAction* redo_ = nullptr;
    QList<QAction*> imageActions_; // enabled only while an image is open
};

} // namespace Quelto::Lumindra::App

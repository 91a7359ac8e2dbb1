#include "MainWindow.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDir>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QGraphicsScene>
#include <QKeyEvent>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>
#include <QUrl>

#include <glog/logging.h>

#include "AdjustPanel.h"
#include "CoreEventRelay.h"
#include "CropTool.h"
#include "IconTheme.h"
#include "RestoreOffer.h"
#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "LumindraWorkspace/OpenExceptionLumindra.h"
#include "LumindraWorkspace/UI/CompareButton.h"
#include "LumindraWorkspace/WorkspaceControllerHelper.h"
#include "LumindraWorkspace/WorkspaceMetadata.h"
#include "LumindraWorkspace/scene/CanvasItem.h"
#include "LumindraWorkspace/scene/WorkspaceScene.h"
#include "LumindraWorkspace/view/WorkspaceView.h"
#include "SaveChoices.h"
#include "SaveDialog.h"
#include "photocore/IPhotoCore.h"
#include "photocore/StatisticsEventHandler.h"
#include "photoutil/FormatHelper.h"
#include "sharedui/ScalableViewEmitter.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"
#include "util/Paths.h"
#include "util/Settings.h"

namespace Quelto::Lumindra::App {

using HostId = LumindraInt::IObjectsConnectorID;
using ModuleId = Workspace::IObjectsConnectorID;

namespace {

PhotoCore::IPhotoCore* CoreOf(const std::shared_ptr<IWorkspaceController>& controller)
{
    if (!controller)
        return nullptr;
    return dynamic_cast<PhotoCore::IPhotoCore*>(controller->GetLumindraDrawer().get());
}

QString LocalImageFile(const QMimeData* data)
{
    if (!data || !data->hasUrls())
        return QString();
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile() && FolderNavigator::IsImageFile(url.toLocalFile()))
            return url.toLocalFile();
    }
    return QString();
}

} // namespace

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent)
{
    setWindowTitle(Util::CustomizationManager::Instance().GetProductName());
    setAcceptDrops(true);

    WorkspaceControllerHelper::Initializer init;
    init.statistics = std::make_shared<StatisticsEventHandler>();
    init.parent = this;
    init.sessionMode = true;
    // The provider's worker preloads the neighbours that the folder stepping asks for.
    init.providerFlag = true;
    helper_ = new WorkspaceControllerHelper(init);
    // What recovery needs stays only when the editor does not end cleanly.
    helper_->GetProvider().GetCache().GetSessionStore().KeepNothingAfterRun();

    view_ = new WorkspaceView(this);
    setCentralWidget(view_);
    // The upper limit first: both start at 100 %, and the lower one may not pass the upper.
    view_->SetRestrictionForScale(IScalableView::ScaleUp, kMaxZoomPercent);
    view_->SetRestrictionForScale(IScalableView::ScaleDown, kMinZoomPercent);
    view_->SetScaleStep(kZoomStepPercent);
    connect(view_->GetEmitter(), &ScalableViewEmitter::activateDragMode, this,
            [this](bool active) { view_->SetDragMode(active); });
    // A picture swap (or a failed one) runs to its end before the next pass of the event loop.
    connect(helper_, &WorkspaceControllerHelper::beforeWorkspaceControllerReset, this, [this] {
        view_->HoldForPictureSwap(true);
        QTimer::singleShot(0, view_, [view = view_] { view->HoldForPictureSwap(false); });
    });

    relay_ = new CoreEventRelay(this);
    connect(relay_, &CoreEventRelay::loaded, this, &MainWindow::OnLoaded);
    connect(relay_, &CoreEventRelay::stateChanged, this, [this] { UpdateActions(); UpdateStatus(); });
    // The core raises these while the person works: told without stopping the work.
    connect(relay_, &CoreEventRelay::errorRaised, this, &MainWindow::ShowNotice);
    connect(&helper_->GetProvider(), &WorkspaceControllerProvider::sessionWriteFailed, this, &MainWindow::ShowNotice);

    adjust_ = new AdjustPanel([this](const Proc::SettingsAdjust& s) { PreviewEdit(s); },
                              [this](const Proc::SettingsAdjust& s) { ApplyEdit(s); }, this);
    auto* dock = new QDockWidget(tr("Adjust"), this);
    dock->setObjectName(QStringLiteral("adjustDock"));
    dock->setWidget(adjust_);
    dock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable);
    addDockWidget(Qt::RightDockWidgetArea, dock);

    fileLabel_ = new QLabel(this);
    sizeLabel_ = new QLabel(this);
    zoomLabel_ = new QLabel(this);
    progress_ = new QProgressBar(this);
    progress_->setRange(0, 0); // busy: the full decode reports no fraction
    progress_->setMaximumWidth(120);
    progress_->setVisible(false);
    statusBar()->addWidget(fileLabel_, 1);
    statusBar()->addPermanentWidget(progress_);
    saveProgress_ = new QProgressBar(this);
    saveProgress_->setObjectName(QStringLiteral("saveProgress"));
    saveProgress_->setRange(0, 0); // the encoder reports no fraction
    saveProgress_->setMaximumWidth(120);
    saveProgress_->setFormat(tr("Saving"));
    saveProgress_->setVisible(false);
    statusBar()->addPermanentWidget(saveProgress_);
    statusBar()->addPermanentWidget(sizeLabel_);
    statusBar()->addPermanentWidget(zoomLabel_);

    compare_ = new CompareButton(this);
    compare_->SetView(view_);
    compareKeyRelease_ = new QTimer(this);
    compareKeyRelease_->setSingleShot(true);
    compareKeyRelease_->setInterval(kKeyRepeatGapMs);
    connect(compareKeyRelease_, &QTimer::timeout, this,
            [this] { Q_EMIT hotkeyActivated(SpecialHotkeyHelper::ToggleCompare, false); });
    SpecialHotkeyHelper::SetHandler([this](QKeyEvent* event, bool press) { return HandleHotkey(event, press); });

    CreateActions();
    RegisterWithConnector();
    helper_->Initialize(this);
    UpdateActions();
    UpdateStatus();
}

MainWindow::~MainWindow()
{
    SpecialHotkeyHelper::SetHandler({});
    EndCrop();
    // The comparison gives the scene back while the scene is still there.
    compare_->SetWorkspaceController(std::weak_ptr<IWorkspaceController>());
    if (auto controller = controller_.lock())
        controller->UnregisterCoreEventHandler(relay_);
    // The view lets go of the scene before the helper releases the controller that owns it.
    view_->SetWorkspaceController(std::weak_ptr<IWorkspaceController>());
    delete helper_;
    helper_ = nullptr;
}

void MainWindow::CreateActions()
{
    QMenu* file = menuBar()->addMenu(tr("&File"));
    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    QMenu* image = menuBar()->addMenu(tr("&Image"));
    QMenu* viewMenu = menuBar()->addMenu(tr("&View"));
    QToolBar* tools = addToolBar(tr("Tools"));
    tools->setObjectName(QStringLiteral("toolsBar"));
    tools->setToolButtonStyle(Qt::ToolButtonIconOnly);

    // `icon`: freedesktop names first, then alternatives; without any, the toolbar shows the text.
    auto add = [this](QMenu* menu, const QString& text, const QKeySequence& key, QIcon icon, auto fn,
                      bool needsImage) {
        QAction* action = menu->addAction(icon, text);
        action->setShortcut(key);
        // The toolbar shows only icons: the tip names the action and its key.
        if (!key.isEmpty())
            action->setToolTip(tr("%1 (%2)").arg(action->iconText(), key.toString(QKeySequence::NativeText)));
        connect(action, &QAction::triggered, this, fn);
        if (needsImage)
            imageActions_.push_back(action);
        return action;
    };

    QAction* open = add(file, tr("&Open..."), QKeySequence::Open, IconTheme::Find({"document-open"}),
                        [this] { OpenDialog(); }, false);
    save_ = add(file, tr("&Save"), QKeySequence::Save, IconTheme::Find({"document-save"}), [this] { Save(); }, true);
    // Not every desktop binds a key to "Save As": the common one, everywhere.
    saveAs_ = add(file, tr("Save &As..."), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S),
                  IconTheme::Find({"document-save-as"}), [this] { SaveAs(); }, true);
    file->addSeparator();
    add(file, tr("&Next Picture"), QKeySequence(Qt::ALT | Qt::Key_Right), IconTheme::Find({"go-next"}),
        [this] { OnNextFile(); }, true);
    add(file, tr("&Previous Picture"), QKeySequence(Qt::ALT | Qt::Key_Left), IconTheme::Find({"go-previous"}),
        [this] { OnPreviousFile(); }, true);
    file->addSeparator();
    add(file, tr("&Close Picture"), QKeySequence::Close, IconTheme::Find({"document-close", "window-close"}),
        [this] { helper_->CloseWorkspaceController(); }, true);
    add(file, tr("&Quit"), QKeySequence::Quit, IconTheme::Find({"application-exit"}), [this] { close(); }, false);

    // The history changes at the request, its render comes later: the actions follow at once,
    // so a Redo pressed as soon as the undone picture shows is not lost.
    undo_ = add(edit, tr("&Undo"), QKeySequence::Undo, IconTheme::Find({"edit-undo"}), [this] {
        Q_EMIT uiControlUsed();
        if (auto c = controller_.lock())
            c->GetUndoEngine()->Undo();
        UpdateActions();
    }, true);
    redo_ = add(edit, tr("&Redo"), QKeySequence::Redo, IconTheme::Find({"edit-redo"}), [this] {
        Q_EMIT uiControlUsed();
        if (auto c = controller_.lock())
            c->GetUndoEngine()->Redo();
        UpdateActions();
    }, true);
    // Both common bindings, whatever the platform's own Redo key is.
    redo_->setShortcuts({QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z), QKeySequence(Qt::CTRL | Qt::Key_Y)});
    edit->addSeparator();
    add(edit, tr("&Paste Picture"), QKeySequence::Paste, IconTheme::Find({"edit-paste"}), [this] { Paste(); }, false);

    QAction* left = add(image, tr("Rotate &Left"), QKeySequence(Qt::CTRL | Qt::Key_L),
                        IconTheme::Find({"object-rotate-left"}), [this] { ApplyEdit(Proc::SettingsRotate(3)); }, true);
    QAction* right = add(image, tr("Rotate &Right"), QKeySequence(Qt::CTRL | Qt::Key_R),
                         IconTheme::Find({"object-rotate-right"}), [this] { ApplyEdit(Proc::SettingsRotate(1)); }, true);
    QAction* flipH = add(image, tr("Flip &Horizontally"), QKeySequence(Qt::CTRL | Qt::Key_H),
                         IconTheme::Find({"object-flip-horizontal"}), [this] { ApplyEdit(Proc::SettingsFlip(true)); },
                         true);
    QAction* flipV = add(image, tr("Flip &Vertically"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_H),
                         IconTheme::Find({"object-flip-vertical"}), [this] { ApplyEdit(Proc::SettingsFlip(false)); },
                         true);
    // No freedesktop name for cropping: the name the common themes use, then the editor's own.
    QAction* crop = add(image, tr("&Crop..."), QKeySequence(Qt::Key_C), IconTheme::Find({"transform-crop", "lumindra-crop"}),
                        [this] { StartCrop(); }, true);

    QAction* fit = add(viewMenu, tr("&Fit to Window"), QKeySequence(Qt::CTRL | Qt::Key_0),
                       IconTheme::Find({"zoom-fit-best"}), [this] { view_->ScaleToFit(true); }, true);
    QAction* actual = add(viewMenu, tr("&Actual Size (100 %)"), QKeySequence(Qt::CTRL | Qt::Key_1),
                          IconTheme::Find({"zoom-original"}), [this] { view_->ScaleToPercent(100.0); }, true);
    QAction* zoomIn = add(viewMenu, tr("Zoom &In"), QKeySequence::ZoomIn, IconTheme::Find({"zoom-in"}), [this] {
        const double p = view_->GetCurrentScalePercent();
        view_->ScaleToPercent(p + p / 100.0 * view_->GetScaleStep());
    }, true);
    QAction* zoomOut = add(viewMenu, tr("Zoom &Out"), QKeySequence::ZoomOut, IconTheme::Find({"zoom-out"}), [this] {
        const double p = view_->GetCurrentScalePercent();
        view_->ScaleToPercent(p - p / 100.0 * view_->GetScaleStep());
    }, true);

    // The key is handled as a hotkey, press and release, so that holding it works; the menu only
    // shows it.
    viewMenu->addSeparator();
    const QIcon compareIcon = IconTheme::Find({"lumindra-compare"});
    compare_->setIcon(compareIcon);
    QAction* compare = viewMenu->addAction(compareIcon, tr("&Compare with Original") + QStringLiteral("\t\\"));
    compare->setCheckable(true);
    compare->setEnabled(false);
    connect(compare, &QAction::triggered, this, [this, compare](bool checked) {
        compare_->SetActive(checked);
        compare->setChecked(compare_->IsActive()); // a start that failed takes the mark back
        view_->SetFocus(true);
    });
    connect(compare_, &CompareButton::compareIsActivated, this, [this, compare](bool active) {
        compare->setChecked(active);
        if (active)
            EndCrop();
    });
    imageActions_.push_back(compare);
    viewMenu->addMenu(compare_->GetTypeMenu());

    for (const QList<QAction*>& group : {QList<QAction*> {open, save_, saveAs_}, QList<QAction*> {undo_, redo_},
                                         QList<QAction*> {left, right, flipH, flipV, crop},
                                         QList<QAction*> {fit, actual, zoomIn, zoomOut}}) {
        if (!tools->actions().isEmpty())
            tools->addSeparator();
        tools->addActions(group);
    }
    tools->addSeparator();
    tools->addWidget(compare_);
}

void MainWindow::RegisterWithConnector()
{
    using Util::ObjectsConnector;
    ObjectsConnector::registerEmitter(ModuleId::FILE_PRELOAD_REQUEST, this,
                                      "2filePreloadRequest(const std::vector<std::string>&)", 0);
    ObjectsConnector::registerEmitter(ModuleId::OPEN_FILE_IMAGE_DROP, this, "2imageDropped(const QPixmap&)", 0);
    ObjectsConnector::registerEmitter(ModuleId::OPEN_FILE_IMAGE_PASTE, this, "2imagePasted(const QPixmap&)", 0);
    ObjectsConnector::registerReceiver(HostId::THROW, this,
                                       "1OnThrowEvent(const PhotoCore::ICoreEventHandler::ThrowEvent&)", 0);
    ObjectsConnector::registerReceiver(HostId::WORKSPACECONTROLLER_EMPTY, this, "1OnWorkspaceEmpty()", 0);
    ObjectsConnector::registerReceiver(HostId::SCALE_CANCHED, this, "1OnScaleChanged(double)", 0);
    ObjectsConnector::registerReceiver(ModuleId::NEXT_FILE_ARROW, this, "1OnNextFile()", 0);
    ObjectsConnector::registerReceiver(ModuleId::NEXT_FILE_PAGE, this, "1OnNextFile()", 0);
    ObjectsConnector::registerReceiver(ModuleId::PREVIOUS_FILE_ARROW, this, "1OnPreviousFile()", 0);
    ObjectsConnector::registerReceiver(ModuleId::PREVIOUS_FILE_PAGE, this, "1OnPreviousFile()", 0);
    ObjectsConnector::registerEmitter(HostId::HOTKEY_ACTIVATED, this,
                                      "2hotkeyActivated(SpecialHotkeyHelper::HotkeyID, bool)", 0);
    ObjectsConnector::registerEmitter(HostId::UI_CONTROL_USED, this, "2uiControlUsed()", 0);
    ObjectsConnector::registerReceiver(HostId::COMPARE_TOOL_ERROR_CREATE, this, "1OnCompareError()", 0);
}

bool MainWindow::HandleHotkey(QKeyEvent* event, bool press)
{
    if (event->key() != kCompareKey || (event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)))
        return false;
    if (!press)
        compareKeyRelease_->start();
    else if (compareKeyRelease_->isActive())
        compareKeyRelease_->stop(); // the key repeats: it is still held
    else
        Q_EMIT hotkeyActivated(SpecialHotkeyHelper::ToggleCompare, true);
    return true;
}

void MainWindow::keyPressEvent(QKeyEvent* event)
{
    // Keys that the focused widget (a slider, the toolbar) did not use reach the window.
    if (!event->isAutoRepeat() && SpecialHotkeyHelper::HandlePressEvent(event))
        return;
    QMainWindow::keyPressEvent(event);
}

void MainWindow::keyReleaseEvent(QKeyEvent* event)
{
    if (!event->isAutoRepeat() && SpecialHotkeyHelper::HandleReleaseEvent(event))
        return;
    QMainWindow::keyReleaseEvent(event);
}

void MainWindow::OnCompareError()
{
    statusBar()->showMessage(tr("The comparison cannot be shown: the original picture is not available"), 5000);
}

void MainWindow::OpenFile(const QString& path)
{
    lastDirection_ = 0;
    helper_->AddFileToOpen(QFileInfo(path).absoluteFilePath());
}

void MainWindow::OpenFiles(const QStringList& paths)
{
    if (paths.isEmpty())
        return;
    folder_.SetChosenFiles(paths);
    OpenFile(paths.front());
}

void MainWindow::OfferToRestore(const UnfinishedSession& session, const QStringList& otherwiseOpen)
{
    if (restoreOffer_)
        return;
    restoreOffer_ = new RestoreOffer(session, this);
    restoreOffer_->setAttribute(Qt::WA_DeleteOnClose);
    const auto restored = std::make_shared<bool>(false);
    connect(restoreOffer_, &RestoreOffer::restoreRequested, this, [this, session, restored] {
        *restored = helper_->RestoreUnfinishedSession(session);
        if (!*restored && GetController())
            ShowNotice(tr("The edits of “%1” could not be restored; the picture is shown as its file holds it.")
                           .arg(session.GetDisplayName()));
    });
    connect(restoreOffer_, &RestoreOffer::discardRequested, this, [session] { session.Discard(); });
    // Answered (restore, discard) or closed: the offer is over either way.
    connect(restoreOffer_, &QDialog::finished, this, [this, otherwiseOpen, restored] {
        restoreOffer_ = nullptr;
        if (!*restored && !GetController())
            OpenFiles(otherwiseOpen);
    });
    restoreOffer_->open();
}

void MainWindow::ShowNotice(const QString& text)
{
    lastNotice_ = text;
    statusBar()->showMessage(text, 15000);
    if (unattended_)
        return;
    auto* box = new QMessageBox(QMessageBox::Warning, windowTitle(), text, QMessageBox::Ok, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::NonModal);
    box->show();
}

void MainWindow::Step(int direction)
{
    const QString next = folder_.GetNeighbour(direction);
    if (next.isEmpty()) {
        statusBar()->showMessage(direction > 0 ? tr("This is the last picture of the folder")
                                               : tr("This is the first picture of the folder"),
                                 3000);
        return;
    }
    lastDirection_ = direction;
    stepTarget_ = next;
    helper_->AddFileToOpen(next);
}

void MainWindow::OnNextFile() { Step(+1); }
void MainWindow::OnPreviousFile() { Step(-1); }

bool MainWindow::CanResetWorkspaceController()
{
    const auto controller = controller_.lock();
    if (controller && controller->IsSaving()) {
        // Leaving the picture now would drop what the save reports; it ends first.
        statusBar()->showMessage(tr("Finishing the save of “%1”...").arg(QFileInfo(controller->GetFileName()).fileName()));
        controller->WaitForSave();
    }
    const PhotoCore::IPhotoCore* core = CoreOf(controller);
    if (!core || (!core->HasUnsavedChanges() && !core->HasHistoryOrFileChanged()))
        return true;
    if (controller->HasChanged() && !unattended_) {
        const QString name = QFileInfo(controller->GetFileName()).fileName();
        const auto answer = QMessageBox::question(
            this, windowTitle(), tr("“%1” has edits that are not saved. Discard them?").arg(name),
            QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Cancel);
        if (answer != QMessageBox::Discard)
            return false;
    }
    // The window edits one picture at a time: a picture left behind comes back as its file holds
    // it. In session mode the cache would keep the edited core for the next open, so it goes.
    helper_->GetProvider().OnResetWorkspaceControllerCache(controller->GetOriginalFileName().toUtf8().toStdString());
    return true;
}

void MainWindow::SetWorkspaceController(const std::weak_ptr<IWorkspaceController>& controller)
{
    EndCrop();
    pendingCrop_ = QRectF();
    if (auto old = controller_.lock())
        old->UnregisterCoreEventHandler(relay_);
    controller_ = controller;
    // Before the view changes scenes: a comparison gives its scene back first.
    compare_->SetWorkspaceController(controller);
    view_->SetWorkspaceController(controller);

    const auto current = controller.lock();
    if (current) {
        SaveChoices::ApplyDefaults(current->MetadataSettings());
        current->RegisterCoreEventHandler(relay_);
        current->SetDragAndDrop(this);
        if (QGraphicsScene* scene = current->GetScene())
            connect(scene, &QGraphicsScene::sceneRectChanged, this, &MainWindow::OnSceneRectChanged,
                    Qt::UniqueConnection);
        folder_.SetCurrentFile(current->GetOriginalFileName());
        const std::vector<std::string> preload = folder_.GetPreloadRequest(lastDirection_);
        if (!preload.empty())
            Q_EMIT filePreloadRequest(preload);
        view_->ScaleToFit(true);
        const PhotoCore::IPhotoCore* core = CoreOf(current);
        loadingFull_ = core && !core->GetProcessing().IsFullFrameReady();
        if (!loadingFull_)
            QTimer::singleShot(0, this, [this] { OnLoaded(PhotoCore::ICoreEventHandler::CoreEventLoaded::LOAD_FULL); });
    } else {
        folder_.Clear();
        loadingFull_ = false;
    }
    lastDirection_ = 0;
    stepTarget_.clear();
    adjust_->ResetSliders();
    progress_->setVisible(loadingFull_);
    UpdateActions();
    UpdateStatus();
}

bool MainWindow::IsFullFrameShown() const
{
    const auto controller = controller_.lock();
    const PhotoCore::IPhotoCore* core = CoreOf(controller);
    if (!core || !core->GetProcessing().IsFullFrameReady() || !controller->GetScene())
        return false;
    const auto* canvas = dynamic_cast<const CanvasItem*>(WorkspaceScene::GetMainCanvas(controller->GetScene()));
    const Proc::DataVideoPtr frame = controller->GetLumindraDrawer()->GetVideoWithMask();
    if (!canvas || !frame)
        return false;
    const Conf::FrameInfo& info = frame->GetFrameInfo();
    return canvas->pixmap().size() == QSize(info.width, info.height);
}

void MainWindow::OnLoaded(int stage)
{
    using Loaded = PhotoCore::ICoreEventHandler::CoreEventLoaded;
    if (stage == Loaded::LOAD_PREVIEW)
        return;
    loadingFull_ = false;
    progress_->setVisible(false);
    const QRectF crop = std::exchange(pendingCrop_, QRectF());
    if (stage == Loaded::LOAD_FAILED)
        statusBar()->showMessage(tr("The full picture could not be read; showing the preview"), 10000);
    else if (!crop.isEmpty())
        ApplyCrop(crop);
    // A comparison made on the preview shows the full-resolution pictures now.
    if (stage != Loaded::LOAD_FAILED && compare_->GetTool()) {
        compare_->SetActive(false);
        compare_->SetActive(true);
    }
    UpdateStatus();
    // The canvas takes the full frame from its own queue, posted before this event: check after it.
    QTimer::singleShot(0, this, [this] {
        if (IsFullFrameShown())
            Q_EMIT fullFrameShown();
    });
}

bool MainWindow::IsScaledCopyPending() const
{
    const auto controller = controller_.lock();
    const QGraphicsScene* scene = controller ? controller->GetScene() : nullptr;
    if (!scene)
        return false;
    // The document's canvas, or the pictures of a comparison.
    const QList<QGraphicsItem*> items = scene->items();
    return std::any_of(items.begin(), items.end(), [](const QGraphicsItem* item) {
        const auto* canvas = dynamic_cast<const CanvasItem*>(item);
        return canvas && canvas->isVisible() && canvas->HasPendingResize();
    });
}

void MainWindow::OnSceneRectChanged()
{
    // The preview and the full frame differ in size; a picture shown to fit keeps fitting, and
    // a crop being drawn stays on the same part of the photo.
    if (view_->IsFitToView())
        view_->ScaleToFit(true);
    if (crop_ && view_->scene())
        crop_->SetPicture(view_->scene()->sceneRect());
    UpdateStatus();
}

void MainWindow::OnThrowEvent(const PhotoCore::ICoreEventHandler::ThrowEvent& event)
{
    const QFileInfo failed(QString::fromStdString(event.fileName));
    if (!stepTarget_.isEmpty() && failed == QFileInfo(stepTarget_)) {
        folder_.SetCurrentFile(stepTarget_);
        stepTarget_.clear();
    }
    const QString file = failed.fileName();
    const QString message = file.isEmpty()
        ? tr("The picture could not be opened.\n\n%1").arg(QString::fromStdString(event.text))
        : tr("“%1” could not be opened.\n\n%2").arg(file, QString::fromStdString(event.text));
    if (const auto* open = dynamic_cast<const OpenExceptionLumindra*>(event.exception.get())) {
        if (auto statistics = helper_->GetStatisticsHandler())
            statistics->HandleStatisticsEvent(open->GetStatisticsEvent().name, open->GetStatisticsEvent().parameters);
    }
    ReportOpenFailure(message);
}

void MainWindow::ReportOpenFailure(const QString& message)
{
    statusBar()->showMessage(message.section('\n', 0, 0), 10000);
    Q_EMIT openFailed(message);
    if (!unattended_)
        QMessageBox::warning(this, windowTitle(), message);
}

void MainWindow::OnWorkspaceEmpty()
{
    UpdateActions();
    UpdateStatus();
}

void MainWindow::OnScaleChanged(double percent)
{
    zoomLabel_->setText(tr("%1 %").arg(qRound(percent)));
}

bool MainWindow::CanAccept(const QMimeData* data) const
{
    return data && (!LocalImageFile(data).isEmpty() || data->hasImage());
}

bool MainWindow::Drop(const QMimeData* data)
{
    const QString file = LocalImageFile(data);
    if (!file.isEmpty()) {
        // Leave the drop handler first: opening runs a long operation.
        QTimer::singleShot(0, this, [this, file] { OpenFile(file); });
        return true;
    }
    if (data && data->hasImage()) {
        const QPixmap pixmap = QPixmap::fromImage(qvariant_cast<QImage>(data->imageData()));
        QTimer::singleShot(0, this, [this, pixmap] { Q_EMIT imageDropped(pixmap); });
        return true;
    }
    return false;
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (CanAccept(event->mimeData()))
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event)
{
    if (Drop(event->mimeData()))
        event->acceptProposedAction();
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (CanResetWorkspaceController())
        event->accept();
    else
        event->ignore();
}

void MainWindow::OpenDialog()
{
    const QString folder = Util::SettingsManager::Instance()
                               .Value(Util::Settings::Name(Util::Settings::OPEN, Util::Settings::FOLDER))
                               .toString();
    const QString path = QFileDialog::getOpenFileName(this, tr("Open Picture"), folder,
                                                      PhotoUtil::FormatHelper::GetOpenFileFilter());
    if (!path.isEmpty())
        OpenFile(path);
}

void MainWindow::Save()
{
    const auto controller = controller_.lock();
    if (!controller)
        return;
    const QString file = controller->GetFileName();
    // A picture from the clipboard or a drop has only an invented name: it needs a place first.
    if (!QFileInfo(file).isAbsolute()) {
        SaveAs();
        return;
    }
    overwriting_ = true;
    StartSaving(file, [controller](IWorkspaceController::SaveDone done) {
        return controller->StartSaveOverwrite(std::move(done));
    });
}

void MainWindow::SaveAs()
{
    const auto controller = controller_.lock();
    if (!controller)
        return;
    const QString current = controller->GetFileName();
    const QString suggested = QFileInfo(current).isAbsolute()
        ? current
        : QDir(Util::GetDefaultSaveFolder()).filePath(QFileInfo(current).fileName());
    SaveChoices initial = SaveChoices::Of(*controller, suggested);
    if (initial.author.isEmpty())
        initial.author = SaveChoices::DefaultAuthor();
    SaveChoices choices;
    {
        const std::weak_ptr<IWorkspaceController> weak = controller;
        SaveDialog dialog(
            initial,
            [weak](const QString& fileName) {
                const auto c = weak.lock();
                return c ? SaveChoices::Of(*c, fileName) : SaveChoices();
            },
            QFileInfo(current).isAbsolute() ? current : QString(), this);
        const bool accepted = dialog.exec() == QDialog::Accepted;
        // Without a window manager the keyboard would stay with the closed dialog.
        activateWindow();
        choices = dialog.GetChoices();
        if (!accepted || controller_.lock() != controller)
            return;
    } // gone before the save asks anything: a question must not take it as its parent
    choices.ApplyTo(controller->MetadataSettings());
    choices.StoreAsDefaults();
    Util::SaveDirPath(QFileInfo(choices.fileName).absolutePath().toStdString(), Util::Settings::SAVE);
    IWorkspaceController::SaveSettings settings;
    settings.fileName = choices.fileName;
    settings.statistics.fromSaveWindow = 1;
    overwriting_ = false;
    StartSaving(choices.fileName, [controller, settings](IWorkspaceController::SaveDone done) {
        return controller->StartSave(settings, std::move(done));
    });
}

void MainWindow::StartSaving(const QString& fileName,
                             const std::function<bool(IWorkspaceController::SaveDone)>& start)
{
    const QString name = QFileInfo(fileName).fileName();
    try {
        if (!start([this](const IWorkspaceController::SaveOutcome& outcome) { OnSaveDone(outcome); })) {
            statusBar()->showMessage(tr("A save of this picture is still running; try again when it is done"), 5000);
            return;
        }
    } catch (const std::exception& e) {
        LOG(ERROR) << "Saving " << fileName.toStdString() << " could not start: " << e.what();
        IWorkspaceController::SaveOutcome outcome;
        outcome.result = PhotoCore::IPhotoCoreIO::SaveResultFailed;
        outcome.fileName = fileName;
        outcome.reason = QString::fromStdString(e.what());
        OnSaveDone(outcome);
        return;
    }
    saveProgress_->setVisible(true);
    statusBar()->showMessage(tr("Saving “%1”...").arg(name));
    UpdateActions();
}

void MainWindow::OnSaveDone(const IWorkspaceController::SaveOutcome& outcome)
{
    using IO = PhotoCore::IPhotoCoreIO;
    saveProgress_->setVisible(false);
    const QString name = QFileInfo(outcome.fileName).fileName();
    QString failure;
    if (outcome.result == IO::SaveResultSuccess) {
        statusBar()->showMessage(tr("Saved “%1”").arg(name), 5000);
    } else if (outcome.result == IO::SaveResultCancelled) {
        statusBar()->showMessage(tr("Not saved"), 5000);
    } else if (outcome.result == IO::SaveResultFormatRefused && overwriting_) {
        // GIF and formats of that kind are not written over: the person picks another.
        statusBar()->showMessage(tr("“%1” cannot be saved in its own format; choose another").arg(name), 10000);
        QTimer::singleShot(0, this, [this] { SaveAs(); });
    } else {
        failure = tr("“%1” could not be saved: %2.").arg(name, outcome.reason);
        statusBar()->showMessage(failure, 15000);
    }
    overwriting_ = false;
    UpdateActions();
    UpdateStatus();
    Q_EMIT saveFinished(int(outcome.result), outcome.fileName, outcome.reason);
    // Last: the window is up to date while the person reads it.
    if (!failure.isEmpty() && !unattended_)
        QMessageBox::warning(this, windowTitle(), failure);
}

void MainWindow::Paste()
{
    const QMimeData* data = QApplication::clipboard()->mimeData();
    const QString file = LocalImageFile(data);
    if (!file.isEmpty()) {
        OpenFile(file);
    } else if (data && data->hasImage()) {
        Q_EMIT imagePasted(QPixmap::fromImage(qvariant_cast<QImage>(data->imageData())));
    } else {
        statusBar()->showMessage(tr("The clipboard holds no picture"), 3000);
    }
}

void MainWindow::ApplyEdit(const Proc::SettingsBase& settings)
{
    Q_EMIT uiControlUsed();
    if (auto controller = controller_.lock())
        controller->GetLumindraDrawer()->ApplyEffect(Proc::EffectSettingsImpl::Create(settings));
    UpdateActions();
}

void MainWindow::PreviewEdit(const Proc::SettingsBase& settings)
{
    Q_EMIT uiControlUsed();
    if (auto controller = controller_.lock())
        controller->GetLumindraDrawer()->PreviewEffect(Proc::EffectSettingsImpl::Create(settings));
}

void MainWindow::StartCrop()
{
    const auto controller = controller_.lock();
    if (!controller || !controller->GetScene() || crop_)
        return;
    Q_EMIT uiControlUsed();
    const QRectF picture = controller->GetScene()->sceneRect();
    crop_ = std::make_unique<CropTool>(
        *view_, picture, [this](const QRectF& relative) { ApplyCrop(relative); },
        // The tool calls this from its own handler: end it once that handler has returned.
        [this] { QTimer::singleShot(0, this, [this] { EndCrop(); }); });
    view_->SetDrawingTool(crop_.get());
    statusBar()->showMessage(tr("Drag over the picture, then press Enter to crop or Escape to cancel"));
}

void MainWindow::ApplyCrop(const QRectF& relative)
{
    const auto controller = controller_.lock();
    const PhotoCore::IPhotoCore* core = CoreOf(controller);
    if (!core)
        return;
    // The crop is cut from the full-resolution frame. While only the preview exists its size is
    // not known yet (a picture above the pixel limit is reduced as it decodes): the crop waits
    // for the full frame, and the core's edit queue keeps every later edit after it.
    if (!core->GetProcessing().IsFullFrameReady()) {
        pendingCrop_ = relative;
        statusBar()->showMessage(tr("Cropping as soon as the full picture is loaded"), 5000);
        return;
    }
    const Conf::FrameInfo& info = controller->GetFrameInfo().GetFrameInfo();
    const QRect r = CropTool::ToPixels(relative, QSize(info.width, info.height));
    if (r.width() > 0 && r.height() > 0)
        ApplyEdit(Proc::SettingsCrop(r.x(), r.y(), r.width(), r.height()));
}

void MainWindow::EndCrop()
{
    if (!crop_)
        return;
    if (view_->GetDrawingTool() == crop_.get())
        view_->SetDrawingTool(nullptr);
    crop_.reset();
    statusBar()->clearMessage();
}

void MainWindow::UpdateActions()
{
    const auto controller = controller_.lock();
    for (QAction* action : imageActions_)
        action->setEnabled(bool(controller));
    adjust_->setEnabled(bool(controller));
    if (controller) {
        // One save of a picture at a time.
        save_->setEnabled(!controller->IsSaving());
        saveAs_->setEnabled(!controller->IsSaving());
        const auto undo = controller->GetUndoEngine();
        undo_->setEnabled(undo && undo->CanUndo());
        redo_->setEnabled(undo && undo->CanRedo());
    }
}

void MainWindow::UpdateStatus()
{
    const auto controller = controller_.lock();
    if (!controller) {
        fileLabel_->setText(tr("Open a picture, drop one here, or paste one"));
        sizeLabel_->clear();
        zoomLabel_->clear();
        setWindowTitle(Util::CustomizationManager::Instance().GetProductName());
        setWindowModified(false);
        return;
    }
    QString name = QFileInfo(controller->GetFileName()).fileName();
    if (controller->HasChanged())
        name += tr(" (edited)");
    fileLabel_->setText(name);
    const Conf::FrameInfo& info = controller->GetFrameInfo().GetFrameInfo();
    sizeLabel_->setText(tr("%1 × %2 px").arg(info.width).arg(info.height));
    OnScaleChanged(view_->GetCurrentScalePercent());
    // "[*]" is where the window shows that the picture has edits that are not saved.
    setWindowTitle(tr("%1[*] – %2")
                       .arg(QFileInfo(controller->GetFileName()).fileName(),
                            Util::CustomizationManager::Instance().GetProductName()));
    setWindowModified(controller->HasChanged());
}

} // namespace Quelto::Lumindra::App

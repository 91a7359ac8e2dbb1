#include "LumindraWorkspace/WorkspaceControllerHelper.h"

#include <mutex>
#include <stdexcept>
#include <utility>

#include <QMutexLocker>
#include <QScopeGuard>
#include <QTimer>

#include <glog/logging.h>

#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "LumindraWorkspace/OpenExceptionLumindra.h"
#include "LumindraWorkspace/WorkspaceController.h"
#include "photocore/IPhotoCoreDrawer.h"
#include "photocore/IToolsId.h"
#include "util/ObjectsConnector.h"
#include "util/Paths.h"

namespace Quelto::Lumindra {

using HostId = LumindraInt::IObjectsConnectorID;
using ModuleId = Workspace::IObjectsConnectorID;

WorkspaceControllerHelper::WorkspaceControllerHelper(const Initializer& initializer)
    : QObject(initializer.parent),
      statistics_(initializer.statistics),
      provider_(initializer.sessionMode, statistics_.get(), initializer.providerFlag)
{
    // The signal names the type as written in its declaration; Qt matches types by that text.
    qRegisterMetaType<PhotoCore::ICoreEventHandler::ThrowEvent>();
    qRegisterMetaType<PhotoCore::ICoreEventHandler::ThrowEvent>("PhotoCore::ICoreEventHandler::ThrowEvent");
    Util::ObjectsConnector::registerEmitter(HostId::THROW, this,
                                            "2throwEvent (const PhotoCore::ICoreEventHandler::ThrowEvent&)", 0);
    Util::ObjectsConnector::registerEmitter(HostId::BEFORE_RESET_WORKSPACECONTROLLER, this,
                                            "2beforeWorkspaceControllerReset ()", 0);
    Util::ObjectsConnector::registerEmitter(HostId::WORKSPACECONTROLLER_EMPTY, this, "2workspacecontrollerEmpty ()", 0);
    Util::ObjectsConnector::registerEmitter(HostId::EMULATE_USERCLICK_TOOL, this, "2activateToolById (int, int)", 0);
    Util::ObjectsConnector::registerReceiver(HostId::OPEN_FILE, this, "1AddFileToOpen(const QString&)", 0);
    Util::ObjectsConnector::registerReceiver(HostId::GET_WORKSPACE_CONTROLLER, this,
                                             "1OnGetWorkspaceController(std::weak_ptr<IWorkspaceController>&)", 0);
    Util::ObjectsConnector::registerReceiver(ModuleId::PUSH_WORKSPACECONTROLLER, this, "1CloseWorkspaceController()", 0);
    Util::ObjectsConnector::registerReceiver(ModuleId::FOLDER_EMPTY, this, "1SaveAndResetWorkspaceController()", 0);
    Util::ObjectsConnector::registerReceiver(ModuleId::OPEN_FILE_IMAGE_DROP, this,
                                             "1ResetWorkspaceControllerWithImageDrop(const QPixmap&)", 0);
    Util::ObjectsConnector::registerReceiver(ModuleId::OPEN_FILE_IMAGE_PASTE, this,
                                             "1ResetWorkspaceControllerWithImagePaste(const QPixmap&)", 0);
}

WorkspaceControllerHelper::~WorkspaceControllerHelper()
{
    // The controller goes before the provider (which stops its worker), and the statistics
    // handler, closed first, outlives both.
    if (statistics_)
        statistics_->close();
    controller_.reset();
}

void WorkspaceControllerHelper::Initialize(IWorkspaceWindow* window)
{
    window_ = window;
    initialized_ = true;
}

bool WorkspaceControllerHelper::ResetWorkspaceControllerImpl(const std::function<void()>& check,
                                                             const std::function<void()>& create,
                                                             const ioPath& path, bool /*fromImage*/)
{
    try {
        check();
        if (!window_ || !window_->CanResetWorkspaceController())
            return false;
        Q_EMIT beforeWorkspaceControllerReset();
        create();
        window_->GetWorkspaceControllerUser().SetWorkspaceController(std::weak_ptr<IWorkspaceController>(controller_));
        if (!controller_) {
            // No picture is open any more: a crash from now on leaves nothing to offer.
            provider_.GetCache().GetSessionStore().ReleaseLockFile();
            window_->GetWorkspaceControllerUser().SetWorkspaceController(std::weak_ptr<IWorkspaceController>());
            Q_EMIT workspacecontrollerEmpty();
        }
        return true;
    } catch (const Core::Exception& e) {
        LOG(ERROR) << e.GetDescription();
        ReportOpenFailure(e.GetDescription(), e.GetCode(), path);
    } catch (const std::exception& e) {
        LOG(ERROR) << e.what();
        ReportOpenFailure(e.what(), 0, path);
    }
    return false;
}

void WorkspaceControllerHelper::ReportOpenFailure(const std::string& description, int code, const ioPath& path)
{
    OpenExceptionLumindra::StatisticsEvent statistics;
    statistics.name = PhotoCore::IStatisticsEventHandler::NAME_FILE_OPEN_ERROR;
    statistics.parameters[PhotoCore::IStatisticsEventHandler::KEY_FILE_NAME] = path.utf8string();
    auto exception = std::make_shared<const OpenExceptionLumindra>(description, code, std::move(statistics));
    Q_EMIT throwEvent(PhotoCore::ICoreEventHandler::ThrowEvent(exception, path.utf8string()));
}

bool WorkspaceControllerHelper::ResetWorkspaceController(const ioPath& path, const std::string& key, bool allowEmpty)
{
    const bool empty = path.empty() && key.empty();
    auto check = [=] {
        if (empty && !allowEmpty)
            throw std::invalid_argument(tr("No file to open").toStdString());
    };
    auto create = [this, path, key, empty] {
        controller_ = empty ? nullptr : WorkspaceController::Create(provider_, path, key);
    };
    return ResetWorkspaceControllerImpl(check, create, path, false);
}

bool WorkspaceControllerHelper::ResetWorkspaceControllerWithImageImpl(const QPixmap& image, PhotoCore::ImageSource source)
{
    auto check = [&image] {
        if (image.isNull())
            throw std::invalid_argument(tr("The picture is empty").toStdString());
    };
    auto create = [this, &image, source] { controller_ = WorkspaceController::Create(provider_, image, source); };
    return ResetWorkspaceControllerImpl(check, create, ioPath(), true);
}

bool WorkspaceControllerHelper::ResetWorkspaceControllerWithImageDrop(const QPixmap& image)
{
    return ResetWorkspaceControllerWithImageImpl(image, PhotoCore::ImageSourceDrop);
}

bool WorkspaceControllerHelper::ResetWorkspaceControllerWithImagePaste(const QPixmap& image)
{
    return ResetWorkspaceControllerWithImageImpl(image, PhotoCore::ImageSourcePaste);
}

void WorkspaceControllerHelper::AddFileToOpen(const QString& path)
{
    if (!initialized_)
        return;
    std::unique_lock<QMutex> opening(openingMutex_, std::try_to_lock);
    if (!opening.owns_lock()) {
        // Only the latest request that arrives during an open survives.
        QMutexLocker lock(&pendingMutex_);
        pendingPath_ = path;
        return;
    }
    // However this open ends (opened, failed, refused, or an exception on its way out), the
    // guard is released and the request that waited meanwhile gets its turn.
    const auto next = qScopeGuard([this] { OpenPendingLater(); });
    if (ResetWorkspaceController(ioPath(path.toUtf8().toStdString()), std::string(), true) && controller_)
        controller_->GetIOEngine().MarkOpened();
}

void WorkspaceControllerHelper::OpenPendingLater()
{
    QMutexLocker lock(&pendingMutex_);
    const QString next = std::exchange(pendingPath_, QString());
    if (!next.isEmpty())
        QTimer::singleShot(0, this, [this, next] { AddFileToOpen(next); });
}

void WorkspaceControllerHelper::CloseWorkspaceController()
{
    ResetWorkspaceController(ioPath(), std::string(), true);
}

void WorkspaceControllerHelper::SaveAndResetWorkspaceController()
{
    if (controller_)
        controller_->SaveSession();
    ResetWorkspaceController(ioPath(), std::string(), true);
}

void WorkspaceControllerHelper::RestoreSession(const ioPath& path, const std::string& key)
{
    ResetWorkspaceController(path, key, false);
    if (!controller_)
        return;
    const auto drawer = controller_->GetLumindraDrawer();
    if (drawer && drawer->HasLayerOfKind(PhotoCore::IPhotoCoreDrawer::LAYER_TEXT))
        Util::LoadPathForFonts();
}

bool WorkspaceControllerHelper::RestoreUnfinishedSession(const UnfinishedSession& session)
{
    // The next build of the file restores its core from the session's folder (and takes the
    // folder over, under the same session id).
    provider_.GetCache().GetSessionStore().AdoptDump(WorkspaceControllerProvider::CacheName(session.GetSourcePath()),
                                                     session.GetFolderName());
    RestoreSession(session.GetSourcePath(), session.GetKey());
    return controller_ && controller_->GetIOEngine().GetSessionId() == session.GetSessionId();
}

void WorkspaceControllerHelper::ActivateTool(const std::string& name)
{
    const int id = PhotoCore::IToolsId::GetToolID(name);
    if (id == -1)
        return;
    Q_EMIT activateToolById(id, 0);
}

void WorkspaceControllerHelper::OnGetWorkspaceController(std::weak_ptr<IWorkspaceController>& controller) const
{
    controller = controller_;
}

std::shared_ptr<StatisticsEventHandler> WorkspaceControllerHelper::GetStatisticsHandler()
{
    return statistics_;
}

} // namespace Quelto::Lumindra

#pragma once

#include <functional>
#include <memory>
#include <string>

#include <QMutex>
#include <QObject>
#include <QPixmap>
#include <QString>

#include "LumindraWorkspace/IWorkspaceController.h"
#include "LumindraWorkspace/IWorkspaceWindow.h"
#include "LumindraWorkspace/UnfinishedSession.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "LumindraWorkspace/WorkspaceExport.h"
#include "core/IoPath.h"
#include "photocore/ICoreEventHandler.h"
#include "photocore/ImageSource.h"
#include "photocore/StatisticsEventHandler.h"

namespace Quelto::Lumindra {

// The host window's piece of the workspace: owns the controller provider and the one current
// controller, and replaces that controller when the host opens a file, a dropped or pasted
// picture, restores a session, closes, or saves and resets. Tells the window about each new
// controller; tells the rest of the application, through the objects connector, before a reset,
// when the workspace became empty, when an open failed (one throwEvent per failure) and when a
// tool is to be activated. UI thread only.
class LUMINDRA_WORKSPACE_EXPORT WorkspaceControllerHelper : public QObject {
    Q_OBJECT
public:
    struct Initializer {
        std::shared_ptr<StatisticsEventHandler> statistics;
        QObject* parent = nullptr;
        bool sessionMode = false;   // the provider keeps and restores its cache across runs
        bool providerFlag = false;  // the provider's third construction flag
    };

    explicit WorkspaceControllerHelper(const Initializer& initializer);
    ~WorkspaceControllerHelper() override;

    // Must follow construction before files can be opened through AddFileToOpen.
    void Initialize(IWorkspaceWindow* window);

    // Replaces the controller by one for the path and key; with both empty the workspace
    // becomes empty, which allowEmpty must permit. False when refused or when opening failed.
    bool ResetWorkspaceController(const ioPath& path, const std::string& key, bool allowEmpty);
    void RestoreSession(const ioPath& path, const std::string& key);
    // Reopens the picture of a session that an earlier run left unfinished, with the edits and
    // the history its autosave wrote. True when the picture came back with them; false when it
    // could not be opened (an open error was emitted) or only its file could (the session's
    // state was unreadable; logged).
    bool RestoreUnfinishedSession(const UnfinishedSession& session);
    void ActivateTool(const std::string& name);
    std::shared_ptr<StatisticsEventHandler> GetStatisticsHandler();

    std::shared_ptr<IWorkspaceController> GetWorkspaceController() const { return controller_; }
    WorkspaceControllerProvider& GetProvider() { return provider_; }

public Q_SLOTS:
    void AddFileToOpen(const QString& path);
    bool ResetWorkspaceControllerWithImageDrop(const QPixmap& image);
    bool ResetWorkspaceControllerWithImagePaste(const QPixmap& image);
    void SaveAndResetWorkspaceController();
    void CloseWorkspaceController();
    void OnGetWorkspaceController(std::weak_ptr<IWorkspaceController>& controller) const;

Q_SIGNALS:
    void throwEvent(const PhotoCore::ICoreEventHandler::ThrowEvent& event);
    void beforeWorkspaceControllerReset();
    void workspacecontrollerEmpty();
    void activateToolById(int id, int flags);

private:
    bool ResetWorkspaceControllerImpl(const std::function<void()>& check, const std::function<void()>& create,
                                      const ioPath& path, bool fromImage);
    bool ResetWorkspaceControllerWithImageImpl(const QPixmap& image, PhotoCore::ImageSource source);
    void ReportOpenFailure(const std::string& description, int code, const ioPath& path);
    // Schedules the request that waited during an open, if any.
    void OpenPendingLater();

    std::shared_ptr<StatisticsEventHandler> statistics_;
    IWorkspaceWindow* window_ = nullptr;
    bool initialized_ = false;
    WorkspaceControllerProvider provider_;
    std::shared_ptr<IWorkspaceController> controller_;

    // AddFileToOpen's re-entry guard, one per helper. Re-entry comes from this thread (a nested
    // event loop during a long open), so it is a try-lock that fails while the outer open holds it.
    QMutex openingMutex_;
    QMutex pendingMutex_;  // guards pendingPath_
    QString pendingPath_;  // the latest request that arrived during an open; empty when none
};

} // namespace Quelto::Lumindra

// Lets the open error travel in queued connections and be recorded by signal spies.
Q_DECLARE_METATYPE(Quelto::Lumindra::PhotoCore::ICoreEventHandler::ThrowEvent)

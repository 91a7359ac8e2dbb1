#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include <QObject>
#include <QPixmap>
#include <QSizeF>
#include <QString>

#include "LumindraWorkspace/IWorkspaceController.h"
#include "LumindraWorkspace/WorkspaceExport.h"
#include "LumindraWorkspace/WorkspaceMetadata.h"
#include "core/EventHandlerList.h"
#include "photocore/CoreEventForwarder.h"
#include "photocore/DrawerEventForwarder.h"
#include "photocore/IPhotoCore.h"
#include "photocore/ImageSource.h"
#include "util/FunctorExecutionForwarder.h"

class QTimer;

namespace Quelto::Lumindra {

class WorkspaceControllerProvider;
class WorkspaceScene;
class WorkspaceScenePropertyHelper;

// One open image: owns the editing core's reference, the scene that shows it, the metadata
// choices for saving and the session-autosave timer. Made only by the two Create functions and
// handed out as a std::shared_ptr<IWorkspaceController>.
//
// Event relay: the controller registers its core-event and drawer-event forwarders with the
// core; every event the core raises (on its own threads) is delivered synchronously, on that
// thread, to each handler registered with the controller, in registration order and once per
// handler. Handlers that touch the UI hop to the UI thread themselves and must unregister before
// they die. Statistics published by the controller reach the provider's statistics handler.
//
// Session autosave: every session interval, when the picture changed since the last session
// write-out that succeeded (and none is under way), the controller writes the session preview
// (rendered at the preview's size) and starts the core's session write-out as a job. A failed
// write-out is published once to the core-event handlers as an error (HandleThrow), and again
// only after one has succeeded in between; the temporary-folder check is reported once.
//
// Threads: creation, destruction and every IWorkspaceController operation run on the UI thread;
// the handler lists may be changed from any thread (each list has a recursive list mutex and a
// recursive delivery mutex).
class LUMINDRA_WORKSPACE_EXPORT WorkspaceController
    : public QObject,
      public IWorkspaceController,
      public Core::EventHandlerList<PhotoCore::IStatisticsEventHandler, Core::SyncExecutePolicy>,
      public PhotoCore::CoreEventForwarder,
      public PhotoCore::DrawerEventForwarder {
    Q_OBJECT
public:
    // Autosave period of the session: often enough that a crash loses little, rarely enough
    // that writing the session never gets in the user's way. The setting Session/AutosaveInterval
    // (milliseconds) replaces it when positive.
    static constexpr int kSessionIntervalMs = 60000;
    // Background of a snapshot where the scene paints nothing: the default workspace colour.
    static constexpr const char* kSnapshotBackground = "#1a1a1a";

    // Opens an image file (the key names a tool or a variant and travels to the provider).
    // Throws what the provider throws when the file cannot be opened.
    static std::shared_ptr<IWorkspaceController> Create(WorkspaceControllerProvider& provider, const ioPath& path,
                                                        const std::string& key);
    // Opens a dropped or pasted picture under an invented name "Image_<n>.<png|jpg>".
    static std::shared_ptr<IWorkspaceController> Create(WorkspaceControllerProvider& provider, const QPixmap& pixmap,
                                                        PhotoCore::ImageSource source);

    ~WorkspaceController() override;

    IScalableView* GetView() const override;
    IScene* GetScene() const override;
    boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> GetLumindraDrawer() override;
    boost::intrusive_ptr<PhotoCore::IPhotoCoreUndoBase> GetUndoEngine() override;
    boost::intrusive_ptr<PhotoUtil::ISerializer> GetSerializeEngine() override;
    void RegisterCoreEventHandler(PhotoCore::ICoreEventHandler* handler) override;
    void UnregisterCoreEventHandler(PhotoCore::ICoreEventHandler* handler) override;
    void RegisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* handler) override;
    void UnregisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* handler) override;
    // The file of the current frame (the file last saved to, or opened); for a picture that was
    // never saved, its invented name.
    QString GetFileName() override;
    QString GetOriginalFileName() override;
    bool HasChanged() const override;
    PhotoCore::IPhotoCoreIO::SaveResult SaveOverwrite() override;
    PhotoCore::IPhotoCoreIO::SaveResult Save(const SaveSettings& settings, PhotoCore::SettingsSave& save) override;
    PhotoCore::IPhotoCoreIO::SaveResult Save(const SaveSettings& settings) override;
    void SendSaveStatistics(const SaveSettings::StatisticsSettings& statistics) override;
    bool StartSave(const SaveSettings& settings, SaveDone done) override;
    bool StartSaveOverwrite(SaveDone done) override;
    bool IsSaving() const override;
    void WaitForSave() override;
    void SaveSession() override;
    void SetProgressController(const boost::intrusive_ptr<Core::IProgressController>& progress) override;
    void SetDragAndDrop(IDragAndDrop* dragAndDrop) override;
    ioPath GenerateTemporaryFilePath() override;
    Proc::DataVideoPtr LoadSelection(const std::string& key, bool useOnly) override;
    void SaveSelection(const std::string& key, const Proc::DataVideoPtr& data) override;
    const Util::ImageUtils& GetImageUtils() const override;
    // Valid until the next call.
    const PhotoCore::SettingsCore& GetFrameInfo() const override;
    QImage GetSnapshot() override;
    Core::Property GetFileInfo() override;
    PhotoCore::IStatisticsEventHandler* GetStatisticsEventHandler() const override;
    PhotoCore::IDebug* GetDebugEngine() const override;
    const PhotoCore::IPhotoCoreIO& GetIOEngine() const override;
    PhotoCore::IPhotoCoreIO& GetIOEngine() override;
    const WorkspaceMetadata& GetMetadataSettings() const override;
    WorkspaceMetadata& MetadataSettings() override;
    PhotoCore::IPhotoCoreTracker& GetTrackerEngine() override;

    // The preview size of the session: the start page's preview size in device pixels.
    static QSizeF GetPreviewSize();
    // Where a picture of `size` lands in a preview of `target`: scaled to cover it (keeping its
    // aspect), centred. The rectangle is in preview pixels; the part outside is cropped.
    static QRectF PreviewPlacement(const QSizeF& size, const QSizeF& target);
    // Scales `snapshot` to cover `target` (keeping its aspect) and crops the centre.
    static QImage MakePreview(const QImage& snapshot, const QSizeF& target);
    // The autosave period in effect, read from the settings store.
    static int GetSessionInterval();

public Q_SLOTS:
    // Passes the application's current language to the core.
    void OnLocaleChanged();

Q_SIGNALS:
    // Raised with true before and false after the scene is rendered into a snapshot.
    void renderingStarted(bool started);

private:
    WorkspaceController(PhotoCore::IStatisticsEventHandler* statistics, const PhotoCore::PhotoCorePtr& core);

    // The common body of both Create functions; `inventedName` receives the name made up for a
    // picture without a file.
    static PhotoCore::PhotoCorePtr CreateCore(WorkspaceControllerProvider& provider, ioPath path,
                                              const std::string& key, const QPixmap& pixmap,
                                              PhotoCore::ImageSource source, QString* inventedName);
    static std::shared_ptr<IWorkspaceController> Wrap(WorkspaceControllerProvider& provider,
                                                      const PhotoCore::PhotoCorePtr& core, const QString& inventedName);
    // Saving: the steps before the write (the transparency question, the settings, the start of
    // the core's job), and those after it (the file's date and the statistics). PrepareSave
    // returns success once the job runs, or why it does not.
    struct SaveJob;
    PhotoCore::SettingsSave MakeSaveSettings(const SaveSettings& settings) const;
    PhotoCore::IPhotoCoreIO::SaveResult PrepareSave(SaveJob& job);
    // False when the person declined to lose the picture's transparency.
    bool AskToFlattenTransparency(const QString& formatName);
    SaveOutcome FinishSave(SaveJob& job, const CoreEventJobDone& done);
    void ReportSave(const SaveJob& job, PhotoCore::IPhotoCoreIO::SaveResult result);
    // Whether the open file's format may be written over it.
    static bool CanOverwrite(const QString& fileName);
    // Raised on the core's thread: relay the event; a state change counts for the autosave, and
    // the end of a save or of a session write-out is finished on the UI thread.
    void HandleStateChanged(const CoreEventStateChanged& event) override;
    void HandleJobDone(const CoreEventJobDone& event) override;
    void OnSaveJobDone(const CoreEventJobDone& event);
    // Calls `done` from the event loop, so that an outcome never arrives inside the call.
    void Deliver(SaveDone done, const SaveOutcome& outcome);

    void OnSessionTimer(bool& checkTempFolder);
    // UI thread: the end of a session write-out, relayed from the core's thread.
    void OnSessionJobDone(const CoreEventJobDone& done);
    void OnSessionSaved(bool success, const std::string& reason);
    void PublishError(const std::string& text);
    // Writes the session preview; logs and swallows every failure.
    void DoPreview();
    // The scene rendered straight at the preview's size, as MakePreview(GetSnapshot()) would
    // give it, without a full-size render.
    QImage RenderPreview(const QSizeF& target);
    void OnSceneColorSet();

    Util::ImageUtils imageUtils_;
    PhotoCore::PhotoCorePtr core_;
    mutable std::shared_ptr<const PhotoCore::SettingsCore> frameInfo_; // what GetFrameInfo last handed out
    // Owned; declared in the order of creation so that they die in reverse: the timer first,
    // then the metadata, the scene and the property helper, and the core's reference last.
    std::unique_ptr<WorkspaceScenePropertyHelper> propertyHelper_;
    std::unique_ptr<WorkspaceScene> scene_;
    PhotoCore::IStatisticsEventHandler* statistics_ = nullptr; // not owned
    WorkspaceMetadata metadata_;
    std::unique_ptr<QTimer> sessionTimer_;
    QString inventedName_; // the name of a picture that has no file yet
    std::unique_ptr<SaveJob> runningSave_; // the save started with StartSave until it ends; UI thread
    // Brings the core's job-done events to the UI thread; what it still holds dies with the
    // controller, unrun.
    std::unique_ptr<Util::FunctorExecutionForwarder> jobDone_;

    // Autosave bookkeeping. The revision counts the core's state changes (on the core's thread);
    // the rest belongs to the UI thread.
    std::atomic<std::uint64_t> revision_ {0};
    std::uint64_t savedRevision_ = 0;   // the revision the last successful session write-out had
    std::uint64_t sessionJob_ = 0;      // the session write-out under way; 0 when none
    std::uint64_t sessionJobRevision_ = 0;
    bool sessionFailureShown_ = false;  // since the last write-out that succeeded
};

} // namespace Quelto::Lumindra

#include "LumindraWorkspace/WorkspaceController.h"

#include <cmath>
#include <exception>
#include <memory>

#include <QAbstractButton>
#include <QApplication>
#include <QColor>
#include <QDir>
#include <QFileInfo>
#include <QGraphicsView>
#include <QGuiApplication>
#include <QPainter>
#include <QTimer>

#include <glog/logging.h>

#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "LumindraWorkspace/scene/WorkspaceScene.h"
#include "LumindraWorkspace/scene/WorkspaceScenePropertyHelper.h"
#include "LumindraWorkspace/view/IScalableView.h"
#include "core/PhotoCoreException.h"
#include "core/TempFile.h"
#include "photoutil/FormatHelper.h"
#include "proc/EffectSettings.h"
#include "proc/PixFmt.h"
#include "util/AlertBox.h"
#include "util/CursorGuard.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"
#include "util/Paths.h"
#include "util/ScreenInfo.h"
#include "util/Settings.h"

namespace Quelto::Lumindra {

using PhotoCore::IPhotoCoreIO;
using PhotoCore::PhotoCorePtr;
using Stats = PhotoCore::IStatisticsEventHandler;
namespace Settings = Util::Settings;

namespace {

// Process-wide number of invented picture names; never reset, so no two pictures of one run
// share a name.
int g_inventedNameCounter = 0;

// The working pixel formats handed to every core, in its order of preference: 16-bit RGBA
// keeps the precision of deep sources, 8-bit BGRA is the display format, RGB the fallback.
const std::vector<int> kWorkingFormats = {Proc::PIX_FMT_RGBA64, Proc::PIX_FMT_BGRA32, Proc::PIX_FMT_RGB24};

bool IsShowLastSession()
{
    return Util::SettingsManager::Instance().Value(Settings::Name(Settings::SHOW_LAST_SESSION), true).toBool();
}

QString FromUtf8(const std::string& text)
{
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

} // namespace

// One save between its start and its end: what the finishing steps need, and the busy cursor
// that shows for the whole of it.
struct WorkspaceController::SaveJob {
    SaveSettings settings;
    PhotoCore::SettingsSave save;
    std::string extension;
    std::string codec;
    std::uint64_t job = 0;
    SaveDone done;
    std::unique_ptr<CusrsorGuardBlank> cursor;
};

// ---------------------------------------------------------------------------------------------
// Creation and destruction

std::shared_ptr<IWorkspaceController> WorkspaceController::Create(WorkspaceControllerProvider& provider,
                                                                  const ioPath& path, const std::string& key)
{
    PhotoCorePtr core = CreateCore(provider, path, key, QPixmap(), PhotoCore::ImageSourceFile, nullptr);
    return Wrap(provider, core, QString());
}

std::shared_ptr<IWorkspaceController> WorkspaceController::Create(WorkspaceControllerProvider& provider,
                                                                  const QPixmap& pixmap, PhotoCore::ImageSource source)
{
    QString inventedName;
    PhotoCorePtr core = CreateCore(provider, ioPath(), std::string(), pixmap, source, &inventedName);
    return Wrap(provider, core, inventedName);
}

PhotoCorePtr WorkspaceController::CreateCore(WorkspaceControllerProvider& provider, ioPath path,
                                             const std::string& key, const QPixmap& pixmap,
                                             PhotoCore::ImageSource source, QString* inventedName)
{
    VLOG(30) << "Starting to create new workspace controller";
    CusrsorGuardBlank cursor(Qt::BusyCursor);

    if (path.empty()) {
        const QString folder = Util::GetDefaultSaveFolder(QString());
        QString name;
        do {
            ++g_inventedNameCounter;
            name = tr("Image_%1.%2")
                       .arg(g_inventedNameCounter)
                       .arg(pixmap.hasAlpha() ? QStringLiteral("png") : QStringLiteral("jpg"));
        } while (QFileInfo::exists(folder + QDir::separator() + name));
        path = ioPath(name.toStdString());
        if (inventedName)
            *inventedName = name;
    } else {
        const QString folder = QDir::fromNativeSeparators(QFileInfo(FromUtf8(path.utf8string())).absolutePath());
        // Stepping through one folder records it once: every write to the settings store goes to
        // disk. Compared with what is stored, not with the default folder that stands in for nothing.
        const QString openFolder = Settings::Name(Settings::OPEN, Settings::FOLDER);
        if (Util::SettingsManager::Instance().Value(openFolder).toString() != folder)
            Util::SaveDirPath(folder.toStdString(), Settings::OPEN);
    }

    PhotoCorePtr core = provider.GetCore(path, key, pixmap, source);
    core->SetColorspaceConverterSettings(Proc::SettingsColorspaceConverter(kWorkingFormats, true));

    Util::SettingsManager& settings = Util::SettingsManager::Instance();
    settings.SetValue(Settings::Name(Settings::SESSION, Settings::ID),
                      FromUtf8(core->GetIOEngine().GetSessionId()));
    settings.SetValue(Settings::Name(Settings::OPEN, Settings::FILE),
                      QDir::fromNativeSeparators(FromUtf8(core->GetIOEngine().GetFilePath().utf8string())));
    return core;
}

std::shared_ptr<IWorkspaceController> WorkspaceController::Wrap(WorkspaceControllerProvider& provider,
                                                                const PhotoCorePtr& core, const QString& inventedName)
{
    if (!core)
        throw PhotoCore::PhotoCoreException("The editing core of the image is missing");
    std::shared_ptr<WorkspaceController> controller(
        new WorkspaceController(provider.GetStatisticsEventHandler(), core));
    if (!inventedName.isEmpty())
        controller->inventedName_ = inventedName;
    return controller;
}

WorkspaceController::WorkspaceController(PhotoCore::IStatisticsEventHandler* statistics, const PhotoCorePtr& core)
    : QObject(nullptr),
      core_(core),
      propertyHelper_(std::make_unique<WorkspaceScenePropertyHelper>(nullptr)),
      scene_(std::make_unique<WorkspaceScene>(imageUtils_, this, nullptr)),
      statistics_(statistics),
      metadata_(core->GetIOEngine().GetMetadataSettings()),
      sessionTimer_(std::make_unique<QTimer>()),
      jobDone_(std::make_unique<Util::FunctorExecutionForwarder>())
{
    if (statistics_) {
        statistics_->OnControllerCreated();
        Core::EventHandlerList<PhotoCore::IStatisticsEventHandler, Core::SyncExecutePolicy>::RegisterEventHandler(
            statistics_);
    }

    PhotoCore::ICoreEventSource& events = core_->GetEventSource();
    events.RegisterCoreEventHandler(static_cast<PhotoCore::ICoreEventHandler*>(this));
    try {
        events.RegisterDrawerEventHandler(static_cast<PhotoCore::IDrawerEventHandler*>(this));

        connect(sessionTimer_.get(), &QTimer::timeout, this,
                [this, checkTempFolder = true]() mutable { OnSessionTimer(checkTempFolder); });
        sessionTimer_->start(GetSessionInterval());

        connect(propertyHelper_.get(), &WorkspaceScenePropertyHelper::sceneColorSet, this,
                &WorkspaceController::OnSceneColorSet);
        // Let the application's style sheet give its workspace colour now that it is listened to.
        propertyHelper_->PrepareHelper();

        Util::ObjectsConnector::registerEmitter(LumindraInt::IObjectsConnectorID::RENDERING_STARTED, this,
                                                QStringLiteral("2renderingStarted(bool)"), 0);
        Util::ObjectsConnector::registerReceiver(LumindraInt::IObjectsConnectorID::LOCALE_CHANGED, this,
                                                 QStringLiteral("1OnLocaleChanged()"), 0);
    } catch (...) {
        events.UnregisterCoreEventHandler(static_cast<PhotoCore::ICoreEventHandler*>(this));
        events.UnregisterDrawerEventHandler(static_cast<PhotoCore::IDrawerEventHandler*>(this));
        throw;
    }
    VLOG(30) << "New workspace controller created";
}

WorkspaceController::~WorkspaceController()
{
    PhotoCore::ICoreEventSource& events = core_->GetEventSource();
    events.UnregisterCoreEventHandler(static_cast<PhotoCore::ICoreEventHandler*>(this));
    events.UnregisterDrawerEventHandler(static_cast<PhotoCore::IDrawerEventHandler*>(this));
    VLOG(30) << "Workspace controller is dead";
    // The members die in reverse order of declaration: timer, metadata, scene, property helper,
    // and last the core's reference.
}

// ---------------------------------------------------------------------------------------------
// Accessors

IScalableView* WorkspaceController::GetView() const
{
    const QList<QGraphicsView*> views = scene_->views();
    return views.isEmpty() ? nullptr : dynamic_cast<IScalableView*>(views.at(0));
}

IScene* WorkspaceController::GetScene() const
{
    return scene_.get();
}

boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> WorkspaceController::GetLumindraDrawer()
{
    return boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer>(core_.get());
}

boost::intrusive_ptr<PhotoCore::IPhotoCoreUndoBase> WorkspaceController::GetUndoEngine()
{
    return boost::intrusive_ptr<PhotoCore::IPhotoCoreUndoBase>(core_.get());
}

boost::intrusive_ptr<PhotoUtil::ISerializer> WorkspaceController::GetSerializeEngine()
{
    return core_->GetSerializer();
}

void WorkspaceController::RegisterCoreEventHandler(PhotoCore::ICoreEventHandler* handler)
{
    PhotoCore::CoreEventForwarder::RegisterEventHandler(handler);
}

void WorkspaceController::UnregisterCoreEventHandler(PhotoCore::ICoreEventHandler* handler)
{
    PhotoCore::CoreEventForwarder::UnregisterEventHandler(handler);
}

void WorkspaceController::RegisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* handler)
{
    PhotoCore::DrawerEventForwarder::RegisterEventHandler(handler);
}

void WorkspaceController::UnregisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* handler)
{
    PhotoCore::DrawerEventForwarder::UnregisterEventHandler(handler);
}

QString WorkspaceController::GetFileName()
{
    const std::string name = core_->GetFrameSettings(-1)->GetGeneral().GetFileName();
    return name.empty() ? inventedName_ : FromUtf8(name);
}

QString WorkspaceController::GetOriginalFileName()
{
    return FromUtf8(core_->GetIOEngine().GetFilePath().utf8string());
}

bool WorkspaceController::HasChanged() const
{
    return !core_->GetIOEngine().IsSaved();
}

void WorkspaceController::SetProgressController(const boost::intrusive_ptr<Core::IProgressController>& progress)
{
    core_->SetProgressController(progress);
}

void WorkspaceController::SetDragAndDrop(IDragAndDrop* dragAndDrop)
{
    scene_->SetDragAndDrop(dragAndDrop);
}

const Util::ImageUtils& WorkspaceController::GetImageUtils() const
{
    return imageUtils_;
}

const PhotoCore::SettingsCore& WorkspaceController::GetFrameInfo() const
{
    frameInfo_ = core_->GetFrameSettings(-1);
    return *frameInfo_;
}

Core::Property WorkspaceController::GetFileInfo()
{
    return core_->GetIOEngine().GetMetadataSettings().GetFileInfo();
}

PhotoCore::IStatisticsEventHandler* WorkspaceController::GetStatisticsEventHandler() const
{
    return statistics_;
}

PhotoCore::IDebug* WorkspaceController::GetDebugEngine() const
{
    return core_->GetDebugEngine();
}

const IPhotoCoreIO& WorkspaceController::GetIOEngine() const
{
    return core_->GetIOEngine();
}

IPhotoCoreIO& WorkspaceController::GetIOEngine()
{
    return core_->GetIOEngine();
}

const WorkspaceMetadata& WorkspaceController::GetMetadataSettings() const
{
    return metadata_;
}

WorkspaceMetadata& WorkspaceController::MetadataSettings()
{
    return metadata_;
}

PhotoCore::IPhotoCoreTracker& WorkspaceController::GetTrackerEngine()
{
    return core_->GetTrackerEngine();
}

void WorkspaceController::OnLocaleChanged()
{
    core_->SetLanguage(Util::LookAndFeelManager::Instance().GetLanguage().toStdString());
}

void WorkspaceController::OnSceneColorSet()
{
    const QString name = propertyHelper_->getSceneColor();
    if (name.isEmpty())
        return;
    QColor color;
    color.setNamedColor(name);
    scene_->SetBackgroungColor(color);
}

// ---------------------------------------------------------------------------------------------
// Saving

IPhotoCoreIO::SaveResult WorkspaceController::Save(const SaveSettings& settings)
{
    PhotoCore::SettingsSave save = MakeSaveSettings(settings);
    return Save(settings, save);
}

IPhotoCoreIO::SaveResult WorkspaceController::Save(const SaveSettings& settings, PhotoCore::SettingsSave& save)
{
    // A save started earlier goes first: two saves never interleave.
    WaitForSave();
    CusrsorGuardBlank cursor(Qt::BusyCursor);
    SaveJob job;
    job.settings = settings;
    job.save = save;
    const IPhotoCoreIO::SaveResult prepared = PrepareSave(job);
    if (prepared != IPhotoCoreIO::SaveResultSuccess) {
        save = job.save;
        return prepared;
    }
    const PhotoCore::ICoreEventHandler::CoreEventJobDone done = core_->GetIOEngine().WaitForJob(job.job);
    save = job.save;
    return FinishSave(job, done).result;
}

bool WorkspaceController::StartSave(const SaveSettings& settings, SaveDone done)
{
    if (runningSave_)
        return false;
    auto job = std::make_unique<SaveJob>();
    job->settings = settings;
    job->save = MakeSaveSettings(settings);
    job->done = std::move(done);
    job->cursor = std::make_unique<CusrsorGuardBlank>(Qt::BusyCursor);
    const IPhotoCoreIO::SaveResult prepared = PrepareSave(*job);
    if (prepared != IPhotoCoreIO::SaveResultSuccess) {
        SaveOutcome outcome;
        outcome.result = prepared;
        outcome.fileName = settings.fileName;
        Deliver(std::move(job->done), outcome);
        return true;
    }
    runningSave_ = std::move(job);
    return true;
}

bool WorkspaceController::StartSaveOverwrite(SaveDone done)
{
    if (runningSave_)
        return false;
    SaveSettings settings;
    settings.fileName = GetFileName();
    if (!CanOverwrite(settings.fileName)) {
        SaveOutcome outcome;
        outcome.result = IPhotoCoreIO::SaveResultFormatRefused;
        outcome.fileName = settings.fileName;
        outcome.reason = tr("pictures cannot be saved over a “.%1” file; use Save As")
                             .arg(QFileInfo(settings.fileName).suffix());
        Deliver(std::move(done), outcome);
        return true;
    }
    return StartSave(settings, std::move(done));
}

bool WorkspaceController::IsSaving() const
{
    return bool(runningSave_);
}

void WorkspaceController::WaitForSave()
{
    if (!runningSave_)
        return;
    const PhotoCore::ICoreEventHandler::CoreEventJobDone done = core_->GetIOEngine().WaitForJob(runningSave_->job);
    // Finished here rather than by the event that is on its way, which then finds nothing to do.
    if (runningSave_)
        OnSaveJobDone(done);
}

void WorkspaceController::HandleJobDone(const CoreEventJobDone& event)
{
    PhotoCore::CoreEventForwarder::HandleJobDone(event);
    // Raised on the core's thread; saves and session write-outs are finished on the UI thread
    // (which session job is ours is known there only: SaveSession stores the id after the job
    // may have ended). A controller that dies first unregisters (waiting for this delivery) and
    // drops the posted call with itself.
    if (event.kind == CoreEventJobDone::JOB_SAVE)
        jobDone_->Forward([this, event] { OnSaveJobDone(event); });
    else if (event.kind == CoreEventJobDone::JOB_SNAPSHOT)
        jobDone_->Forward([this, event] { OnSessionJobDone(event); });
}

void WorkspaceController::OnSaveJobDone(const CoreEventJobDone& event)
{
    if (!runningSave_ || runningSave_->job != event.id)
        return; // a save that was waited for, or another core's
    const std::unique_ptr<SaveJob> job = std::move(runningSave_);
    const SaveOutcome outcome = FinishSave(*job, event);
    job->cursor.reset();
    if (job->done)
        job->done(outcome);
}

void WorkspaceController::Deliver(SaveDone done, const SaveOutcome& outcome)
{
    if (done)
        QTimer::singleShot(0, this, [done = std::move(done), outcome] { done(outcome); });
}

PhotoCore::SettingsSave WorkspaceController::MakeSaveSettings(const SaveSettings& settings) const
{
    PhotoCore::SettingsSave save = core_->GetIOEngine().GetSaveSettings();
    save.SetForceSuffix(false);
    save.SetFileName(settings.fileName.toStdString());
    return save;
}

IPhotoCoreIO::SaveResult WorkspaceController::PrepareSave(SaveJob& job)
{
    job.extension = QFileInfo(FromUtf8(job.save.GetFileName())).suffix().toStdString();
    const auto description = PhotoUtil::FormatHelper::GetFormatDescriptionForExtension(job.extension, true);
    job.codec = description.second.codecId;

    if (!description.second.supportsTransparency && !AskToFlattenTransparency(description.first)) {
        ReportSave(job, IPhotoCoreIO::SaveResultCancelled);
        return IPhotoCoreIO::SaveResultCancelled;
    }

    scene_->Update();
    job.save.SetFileExt(job.extension);
    job.save.SetCodecID(job.codec);
    metadata_.FillSaveSettings(job.save);
    job.job = core_->GetIOEngine().StartSave(job.save);
    return IPhotoCoreIO::SaveResultSuccess;
}

bool WorkspaceController::AskToFlattenTransparency(const QString& formatName)
{
    try {
        const PhotoCore::IPhotoCoreDrawer::AlphaInfo alpha = core_->GetAlphaInfo();
        if (!alpha.hasAlpha || alpha.alpha >= 255)
            return true;
        LumindraAlertBox box(
            LumindraAlertBox::Information,
            tr("Your image will be saved with a white background, as %1 format does not support "
               "transparency. To retain transparent areas of the image, save the image to one of the "
               "following formats: %2.")
                .arg(formatName, PhotoUtil::FormatHelperQt::GetSupportsTransparencyFormats()),
            QDialogButtonBox::Ok | QDialogButtonBox::Cancel, QApplication::activeWindow(),
            Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
        if (QAbstractButton* ok = box.GetButton(QDialogButtonBox::Ok))
            ok->setText(tr("Continue"));
        StyleAlertBox(box);
        // Only an explicit Continue flattens the picture; closing the box writes nothing.
        if (box.Exec() != QDialogButtonBox::Ok)
            return false;
        Proc::SettingsColorspaceConverter flatten({Proc::PIX_FMT_RGB24, Proc::PIX_FMT_BGR24}, true);
        flatten.SetPadColor(255, 255, 255);
        // Queued to the core's thread ahead of the save, which writes its result.
        core_->ApplyEffect(Proc::EffectSettingsImpl::Create(flatten));
    } catch (const std::exception& e) {
        LOG(ERROR) << "Check format for transparency support failed" << ": " << e.what();
    } catch (...) {
        LOG(ERROR) << "Check format for transparency support failed";
    }
    return true;
}

IWorkspaceController::SaveOutcome WorkspaceController::FinishSave(SaveJob& job,
                                                                  const PhotoCore::ICoreEventHandler::CoreEventJobDone& done)
{
    SaveOutcome outcome;
    outcome.fileName = FromUtf8(job.save.GetFileName());
    outcome.result = done.success                               ? IPhotoCoreIO::SaveResultSuccess
                     : done.code != IPhotoCoreIO::SaveResultSuccess ? IPhotoCoreIO::SaveResult(done.code)
                                                                : IPhotoCoreIO::SaveResultFailed;
    outcome.reason = FromUtf8(done.reason);
    if (job.save.IsEncodeMode() && outcome.result == IPhotoCoreIO::SaveResultSuccess) {
        const std::string taken = job.save.GetMetadataSettings().GetFileDateTime();
        if (!taken.empty())
            Util::SetFileDateTimeCreate(job.save.GetFileName(), taken);
    }
    ReportSave(job, outcome.result);
    return outcome;
}

void WorkspaceController::ReportSave(const SaveJob& job, IPhotoCoreIO::SaveResult result)
{
    SaveSettings::StatisticsSettings statistics = job.settings.statistics;
    statistics.result = result;
    statistics.codec = job.codec;
    statistics.extension = job.extension;
    const QFileInfo written(FromUtf8(job.save.GetFileName()));
    if (written.exists())
        statistics.fileSize = written.size();
    SendSaveStatistics(statistics);
}

bool WorkspaceController::CanOverwrite(const QString& fileName)
{
    const std::string suffix = QFileInfo(fileName).suffix().toStdString();
    const auto description = PhotoUtil::FormatHelper::GetFormatDescriptionForExtension(suffix, false);
    return !description.first.isEmpty() && !description.second.noOverwrite;
}

IPhotoCoreIO::SaveResult WorkspaceController::SaveOverwrite()
{
    SaveSettings settings;
    settings.fileName = GetFileName();
    if (!CanOverwrite(settings.fileName))
        return IPhotoCoreIO::SaveResultFormatRefused;
    return Save(settings);
}

void WorkspaceController::SendSaveStatistics(const SaveSettings::StatisticsSettings& statistics)
{
    Stats::Parameters parameters;
    const QString opened =
        Util::SettingsManager::Instance().Value(Settings::Name(Settings::OPEN, Settings::FILE)).toString();
    parameters[Stats::KEY_INPUT_FORMAT] =
        PhotoUtil::FormatHelper::GetFormatNameForExtension(QFileInfo(opened).suffix().toStdString());

    const std::shared_ptr<const PhotoCore::SettingsCore> settings = core_->GetFrameSettings(-1);
    const PhotoCore::SettingsCore& frame = *settings;
    parameters[Stats::KEY_RESOLUTION] = std::to_string(std::lround(frame.GetPassThrough().GetResolution()));
    parameters[Stats::KEY_SAVING_IMAGE_SAVING_TYPE] =
        statistics.fromSaveWindow != 0 ? Stats::VAL_SAVING_IMAGE_SAVING_TYPE_WINDOW : Stats::VAL_TYPE_OTHER;
    parameters[Stats::KEY_RESULT] = statistics.result == IPhotoCoreIO::SaveResultSuccess ? Stats::VAL_RESULT_SUCCESS
                                    : statistics.result == IPhotoCoreIO::SaveResultCancelled ? Stats::VAL_RESULT_CANCEL
                                                                                             : Stats::VAL_RESULT_FAILURE;
    if (statistics.fileSize != 0)
        parameters[Stats::KEY_SIZE] = std::to_string(std::llround(static_cast<double>(statistics.fileSize) / 1024.0));
    if (!statistics.codec.empty() || !statistics.extension.empty())
        parameters[Stats::KEY_SAVING_IMAGE_OUTPUT_FORMAT] =
            PhotoUtil::FormatHelper::GetFormatNameForExtension(statistics.extension);
    parameters[Stats::KEY_WIDTH] = std::to_string(frame.GetFrameInfo().width);
    parameters[Stats::KEY_HEIGHT] = std::to_string(frame.GetFrameInfo().height);

    metadata_.UpdateStatisticsParameters(parameters);
    core_->GetTrackerEngine().UpdateStatisticsParameters(parameters);
    Core::EventHandlerList<PhotoCore::IStatisticsEventHandler, Core::SyncExecutePolicy>::PublishEvent(
        &PhotoCore::IStatisticsEventHandler::HandleStatisticsEvent, std::string(Stats::NAME_SAVING_IMAGE), parameters);
}

void WorkspaceController::SaveSelection(const std::string& key, const Proc::DataVideoPtr& data)
{
    core_->GetIOEngine().StoreSelection(ioPath(key), data);
}

Proc::DataVideoPtr WorkspaceController::LoadSelection(const std::string& key, bool useOnly)
{
    if (!useOnly)
        return core_->GetIOEngine().LoadSelection(ioPath(key));
    core_->GetIOEngine().ReleaseSelection(ioPath(key));
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// Session and preview

void WorkspaceController::SaveSession()
{
    DoPreview();
    const std::uint64_t revision = revision_.load();
    try {
        sessionJob_ = core_->GetIOEngine().SaveSession();
        sessionJobRevision_ = revision;
    } catch (const std::exception& e) {
        sessionJob_ = 0;
        OnSessionSaved(false, e.what());
    }
}

int WorkspaceController::GetSessionInterval()
{
    bool ok = false;
    const int configured = Util::SettingsManager::Instance()
                               .Value(Settings::Name(Settings::SESSION, Settings::AUTOSAVE_INTERVAL))
                               .toInt(&ok);
    return ok && configured > 0 ? configured : kSessionIntervalMs;
}

void WorkspaceController::OnSessionTimer(bool& checkTempFolder)
{
    if (!IsShowLastSession()) {
        VLOG(30) << "Saving session skipped by timer: turned off";
    } else if (sessionJob_ != 0) {
        VLOG(30) << "Saving session skipped by timer: the last one is under way";
    } else if (revision_.load() == savedRevision_) {
        VLOG(30) << "Saving session skipped by timer: nothing changed";
    } else {
        VLOG(30) << "Saving session started by timer";
        SaveSession();
        VLOG(30) << "Saving session started by timer done";
    }
    if (!checkTempFolder)
        return;
    try {
        Util::CheckTempDirPath();
    } catch (const PhotoCore::PhotoCoreException& e) {
        checkTempFolder = false;
        PhotoCore::CoreEventForwarder::PublishEvent(
            &PhotoCore::ICoreEventHandler::HandleThrow,
            PhotoCore::ICoreEventHandler::ThrowEvent(std::make_shared<PhotoCore::PhotoCoreException>(e)));
    }
}

void WorkspaceController::HandleStateChanged(const CoreEventStateChanged& event)
{
    ++revision_;
    PhotoCore::CoreEventForwarder::HandleStateChanged(event);
}

void WorkspaceController::OnSessionJobDone(const CoreEventJobDone& done)
{
    if (done.id != sessionJob_)
        return;
    sessionJob_ = 0;
    OnSessionSaved(done.success, done.reason);
}

void WorkspaceController::OnSessionSaved(bool success, const std::string& reason)
{
    if (success) {
        savedRevision_ = sessionJobRevision_;
        sessionFailureShown_ = false;
        return;
    }
    LOG(ERROR) << "Cannot save session: " << reason;
    if (sessionFailureShown_)
        return;
    sessionFailureShown_ = true;
    PublishError(tr("Autosave failed: %1. Recent edits would be lost if the editor stopped unexpectedly.")
                     .arg(FromUtf8(reason.empty() ? std::string("unknown reason") : reason))
                     .toStdString());
}

void WorkspaceController::PublishError(const std::string& text)
{
    PhotoCore::CoreEventForwarder::PublishEvent(
        &PhotoCore::ICoreEventHandler::HandleThrow,
        PhotoCore::ICoreEventHandler::ThrowEvent(std::make_shared<PhotoCore::PhotoCoreException>(text),
                                                 GetOriginalFileName().toStdString()));
}

QSizeF WorkspaceController::GetPreviewSize()
{
    return StyleProvider::StartPagePreviewSize() * GetMainWindowScreenPixelRatio();
}

QRectF WorkspaceController::PreviewPlacement(const QSizeF& size, const QSizeF& target)
{
    const double rh = size.height() / target.height();
    const double rw = size.width() / target.width();
    const double divisor = rw > rh ? rh : rw;
    const double width = std::lround(size.width() / divisor);
    const double height = std::lround(size.height() / divisor);
    return QRectF(-static_cast<int>((width - target.width()) / 2), -static_cast<int>((height - target.height()) / 2),
                  width, height);
}

QImage WorkspaceController::MakePreview(const QImage& snapshot, const QSizeF& target)
{
    if (snapshot.isNull() || target.isEmpty())
        return QImage();
    const QRectF placed = PreviewPlacement(snapshot.size(), target);
    const int width = static_cast<int>(placed.width());
    const int height = static_cast<int>(placed.height());
    const QImage scaled = width == snapshot.width() && height == snapshot.height()
                              ? snapshot
                              : snapshot.scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return scaled.copy(QRect(-static_cast<int>(placed.x()), -static_cast<int>(placed.y()),
                             static_cast<int>(target.width()), static_cast<int>(target.height())));
}

QImage WorkspaceController::RenderPreview(const QSizeF& target)
{
    const QRectF sceneRect = scene_->sceneRect();
    if (sceneRect.isEmpty() || target.isEmpty())
        return QImage();
    Q_EMIT renderingStarted(true);
    QImage image(target.toSize(), QImage::Format_ARGB32);
    try {
        image.fill(QColor(QLatin1String(kSnapshotBackground)));
        QPainter painter(&image);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        scene_->render(&painter, PreviewPlacement(sceneRect.size(), target), sceneRect, Qt::IgnoreAspectRatio);
    } catch (...) {
        Q_EMIT renderingStarted(false);
        throw;
    }
    Q_EMIT renderingStarted(false);
    return image;
}

void WorkspaceController::DoPreview()
{
    if (!IsShowLastSession())
        return;
    VLOG(30) << "Trying to prepare current session preview";
    try {
        // Rendered at its own size: a full-size snapshot of a large picture would hold the
        // window for the render, the smooth scaling and the memory.
        const QImage preview = RenderPreview(GetPreviewSize());
        VLOG(30) << "Trying to save current session preview";
        const QString folder = FromUtf8(core_->GetIOEngine().GetSessionFolder().utf8string());
        QDir dir(folder);
        if (!dir.exists() && !dir.mkpath(QStringLiteral(".")))
            VLOG(10) << "Cannot create folder " << folder.toStdString();
        const QString path = dir.filePath(PREVIEW_NAME);
        if (preview.save(path, nullptr, -1))
            VLOG(30) << "Preview saved to \"" << path.toStdString() << "\"";
        else
            LOG(WARNING) << "Cannot save preview to \"" << path.toStdString() << "\"";
    } catch (const std::exception& e) {
        LOG(WARNING) << "Cannot save session preview" << ": " << e.what();
    } catch (...) {
        LOG(WARNING) << "Cannot save session preview";
    }
}

QImage WorkspaceController::GetSnapshot()
{
    Q_EMIT renderingStarted(true);
    QImage image;
    try {
        const QRectF sceneRect = scene_->sceneRect();
        image = QImage(sceneRect.size().toSize(), QImage::Format_ARGB32);
        if (!image.isNull()) {
            image.fill(QColor(QLatin1String(kSnapshotBackground)));
            QPainter painter(&image);
            scene_->render(&painter, QRectF(), sceneRect, Qt::KeepAspectRatio);
        }
    } catch (...) {
        Q_EMIT renderingStarted(false);
        throw;
    }
    Q_EMIT renderingStarted(false);
    return image;
}

ioPath WorkspaceController::GenerateTemporaryFilePath()
{
    const QString base = QFileInfo(FromUtf8(Core::GenerateTempFileName())).baseName();
    return core_->GetIOEngine().GetSessionFolder() / base.toStdString();
}

} // namespace Quelto::Lumindra

#include "photocore/CoreEngine.h"

#include <chrono>
#include <cstring>
#include <future>
#include <sstream>

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>

#include <glog/logging.h>

#include "core/PhotoCoreException.h"
#include "photocore/FrameOps.h"
#include "photocore/EditRegistry.h"
#include "proc/AlphaRange.h"
#include "util/Paths.h"

namespace Quelto::Lumindra::PhotoCore {

namespace {

using Proc::DataVideoPtr;

QString FromUtf8(const std::string& s)
{
    return QString::fromUtf8(s.data(), int(s.size()));
}

} // namespace

CoreEngine::CoreEngine(CoreSource source, std::string sessionId, std::uint64_t pixelLimit)
    : source_(std::move(source)), sessionId_(std::move(sessionId)),
      renderer_(source_, pixelLimit, *this, events_, frames_, lastPreview_, jobs_)
{
    fileName_ = source_.path.utf8string();
    fileSize_ = source_.fileSize;
    fileModifiedMs_ = source_.fileModifiedMs;
    currentSettings_ = MakeSettingsLocked(source_.header.Upright());
}

CoreEngine::~CoreEngine()
{
    Shutdown();
}

void CoreEngine::Shutdown()
{
    // A save or a session write-out asked for before the core was dropped still ends: the
    // person's file and session must not be lost with the window.
    if (!events_.IsClosed() && !queue_.IsRenderThread()
        && jobs_.HasPending({ICoreEventHandler::CoreEventJobDone::JOB_SAVE, ICoreEventHandler::CoreEventJobDone::JOB_SNAPSHOT}))
        queue_.WaitForIdle(-1);
    events_.Close();
    queue_.Shutdown();
    frames_.Stop();
    jobs_.Abandon("The editing core stopped before the work was done");
}

// ---------------------------------------------------------------------------------------------
// Loading

void CoreEngine::SetInitialFrame(const ImageDecoder::Result& first)
{
    if (!first.frame)
        return;
    const std::vector<EditStep> none;
    if (!first.full) {
        frames_.SetPreview(first.frame, renderer_.MinAlphaOf(first.frame, none));
        std::lock_guard<std::mutex> lock(metaMutex_);
        currentSettings_ = MakeSettingsLocked(first.frame->GetFrameInfo());
        return;
    }
    // A large picture is converted for display (and reduced, above the pixel limit) by the
    // load job on the render thread, not on the thread that creates the core.
    const Conf::FrameInfo& info = first.frame->GetFrameInfo();
    if (std::uint64_t(info.width) * std::uint64_t(info.height) <= ImageDecoder::kSmallPicturePixels)
        frames_.SetPreview(FrameOps::ToDisplay(first.frame), renderer_.MinAlphaOf(first.frame, none));
    std::lock_guard<std::mutex> lock(metaMutex_);
    initialWorking_ = first.frame;
    initialScaled_ = first.scaledForMemory;
    currentSettings_ = MakeSettingsLocked(info);
}

void CoreEngine::PostLoad()
{
    auto self = shared_from_this();
    const std::uint64_t id = jobs_.Begin(ICoreEventHandler::CoreEventJobDone::JOB_OPEN, GetFileName());
    queue_.Post(QUEUE_LOAD, [self, id] { self->renderer_.RunLoad(id); });
}

void CoreEngine::RestoreHistory(const HistoryState& history)
{
    std::unique_lock<std::mutex> lock(historyMutex_);
    history_.Restore(history);
    CoreRenderer::Target target = MakeTargetLocked(IDrawerEventHandler::DrawerEventFrame::REASON_RESET, "Restore", true);
    target.savedChanged = false;
    lock.unlock();
    PostRender(std::move(target));
}

void CoreEngine::SetFileName(const std::string& utf8Name)
{
    std::lock_guard<std::mutex> lock(metaMutex_);
    fileName_ = utf8Name;
    currentSettings_ = MakeSettingsLocked(currentSettings_->GetFrameInfo(), &currentSettings_->GetGeometry());
}

std::string CoreEngine::GetFileName() const
{
    std::lock_guard<std::mutex> lock(metaMutex_);
    return fileName_;
}

ioPath CoreEngine::GetSessionFolder() const
{
    return ioPath(Util::GetTempDirPath() + sessionId_);
}

ioPath CoreEngine::EnsureSessionFolder() const
{
    const ioPath folder = GetSessionFolder();
    const QString path = FromUtf8(folder.utf8string());
    if (!QFileInfo(path).isDir() && !QDir().mkpath(path))
        throw PhotoCoreException("The session folder " + folder.utf8string() + " cannot be created");
    return folder;
}

// ---------------------------------------------------------------------------------------------
// Events

void CoreEngine::RegisterCoreEventHandler(ICoreEventHandler* handler)
{
    events_.GetCoreEvents().RegisterEventHandler(handler);
}

void CoreEngine::UnregisterCoreEventHandler(ICoreEventHandler* handler)
{
    events_.GetCoreEvents().UnregisterEventHandler(handler);
}

void CoreEngine::RegisterDrawerEventHandler(IDrawerEventHandler* handler)
{
    events_.GetDrawerEvents().RegisterEventHandler(handler);
}

void CoreEngine::UnregisterDrawerEventHandler(IDrawerEventHandler* handler)
{
    events_.GetDrawerEvents().UnregisterEventHandler(handler);
}

// ---------------------------------------------------------------------------------------------
// Drawer

DataVideoPtr CoreEngine::GetVideo() const
{
    return frames_.GetDisplay();
}

DataVideoPtr CoreEngine::GetOriginalVideo() const
{
    return frames_.GetOriginalDisplay();
}

std::shared_ptr<const SettingsCore> CoreEngine::GetFrameSettings(int index) const
{
    if (index < 0) {
        std::lock_guard<std::mutex> lock(metaMutex_);
        return currentSettings_;
    }
    if (index == 0) {
        std::lock_guard<std::mutex> lock(metaMutex_);
        return originalSettings_ ? originalSettings_ : currentSettings_;
    }
    Conf::FrameInfo info;
    FrameGeometry geometry;
    {
        std::lock_guard<std::mutex> history(historyMutex_);
        if (std::size_t(index) > history_.GetSteps().size() || !frames_.IsFullReady())
            return std::make_shared<const SettingsCore>();
        try {
            info = LogicalInfoLocked(std::size_t(index));
        } catch (const std::exception&) {
            return std::make_shared<const SettingsCore>();
        }
        geometry = GeometryOf(history_.GetSteps(), std::size_t(index));
    }
    std::lock_guard<std::mutex> lock(metaMutex_);
    return MakeSettingsLocked(info, &geometry);
}

void CoreEngine::ApplyEffect(const Proc::SettingsBase& settings)
{
    if (!FrameOps::IsSupported(settings))
        throw PhotoCoreException("The editing core cannot apply \"" + settings.GetDisplayName() + "\"");
    std::shared_ptr<const Proc::SettingsBase> copy(settings.Clone());
    std::unique_lock<std::mutex> lock(historyMutex_);
    try {
        // Reject an edit that cannot render (a crop outside the picture) while the caller listens.
        FrameOps::ResultInfo(LogicalInfoLocked(std::size_t(history_.GetUndoCount())), settings);
    } catch (const std::exception& e) {
        throw PhotoCoreException(e.what());
    }
    const bool wasSaved = history_.IsSaved();
    history_.Push(copy);
    CoreRenderer::Target target = MakeTargetLocked(IDrawerEventHandler::DrawerEventFrame::REASON_EDIT,
                                           settings.GetDisplayName(), wasSaved);
    lock.unlock();
    queue_.DropTrailing(QUEUE_PREVIEW); // a preview still queued would only flash before this
    PostRender(std::move(target));
}

void CoreEngine::PreviewEffect(const Proc::SettingsBase& settings)
{
    if (!FrameOps::IsSupported(settings))
        throw PhotoCoreException("The editing core cannot show \"" + settings.GetDisplayName() + "\"");
    std::shared_ptr<const Proc::SettingsBase> copy(settings.Clone());
    auto self = shared_from_this();
    queue_.PostReplacingLast(QUEUE_PREVIEW, [self, copy] { self->renderer_.RunPreview(copy); });
}

void CoreEngine::CancelPreview()
{
    queue_.DropTrailing(QUEUE_PREVIEW);
    auto self = shared_from_this();
    queue_.Post(QUEUE_CANCEL_PREVIEW, [self] { self->renderer_.RunCancelPreview(); });
}

IPhotoCoreDrawer::AlphaInfo CoreEngine::GetAlphaInfo() const
{
    // Measured by the job that made the frame: a query never scans pixels.
    const int minAlpha = frames_.GetMinAlpha();
    IPhotoCoreDrawer::AlphaInfo info;
    info.hasAlpha = minAlpha >= 0 ? 1 : 0;
    info.alpha = minAlpha >= 0 ? std::uint8_t(minAlpha) : 255;
    return info;
}

DataVideoPtr CoreEngine::GetVideoForRendering() const
{
    const DataVideoPtr current = GetVideo();
    if (!overlayOnly_.load() || !current)
        return current;
    // While the overlay alone is wanted, the picture's place is taken by transparency.
    DataVideoPtr clear = Proc::CreateDataVideo(current->GetFrameInfo(), Proc::PIX_FMT_BGRA32);
    std::memset(clear->GetMutableData(), 0, std::size_t(clear->GetStride()) * std::size_t(clear->GetFrameInfo().height));
    clear->SetOpaque(false);
    return clear;
}

DataVideoPtr CoreEngine::RenderOverlay()
{
    IDrawable* drawable = drawable_.load();
    if (!drawable || !drawable->HasOverlayItems())
        return nullptr;
    overlayOnly_.store(true);
    DataVideoPtr overlay;
    try {
        // Items may reach beyond the picture; only what lies on it is written.
        overlay = drawable->GetVideo(drawable->GetPictureCrop());
    } catch (...) {
        overlayOnly_.store(false);
        throw;
    }
    overlayOnly_.store(false);
    if (!overlay)
        throw PhotoCoreException(
            QCoreApplication::translate("PhotoCore", "the drawn items could not be drawn (not enough memory)")
                .toStdString());
    // The size the picture has once the queued renders are done, which is what a job queued
    // now will see.
    Conf::FrameInfo picture;
    {
        std::lock_guard<std::mutex> lock(historyMutex_);
        picture = LogicalInfoLocked(std::size_t(history_.GetUndoCount()));
    }
    const Conf::FrameInfo& a = overlay->GetFrameInfo();
    // Writing the picture without its items would lose what the person drew: refuse instead.
    if (a.width != picture.width || a.height != picture.height) {
        LOG(WARNING) << "Overlay of " << a.width << "x" << a.height << " does not match the picture of "
                     << picture.width << "x" << picture.height;
        throw PhotoCoreException(QCoreApplication::translate(
                                     "PhotoCore", "the drawn items could not be placed on the picture while it is "
                                                  "still changing; try again in a moment")
                                     .toStdString());
    }
    if (overlay->GetPixFmt() != Proc::PIX_FMT_BGRA32)
        throw PhotoCoreException("The drawn items came in pixel format " + std::to_string(overlay->GetPixFmt()));
    return overlay;
}

// ---------------------------------------------------------------------------------------------
// History

bool CoreEngine::CanUndo() const
{
    std::lock_guard<std::mutex> lock(historyMutex_);
    return history_.GetUndoCount() > 0;
}

bool CoreEngine::CanRedo() const
{
    std::lock_guard<std::mutex> lock(historyMutex_);
    return history_.GetRedoCount() > 0;
}

void CoreEngine::Undo()
{
    std::unique_lock<std::mutex> lock(historyMutex_);
    const bool wasSaved = history_.IsSaved();
    const std::string name = history_.GetUndoName();
    if (!history_.Undo())
        return;
    CoreRenderer::Target target = MakeTargetLocked(IDrawerEventHandler::DrawerEventFrame::REASON_UNDO, name, wasSaved);
    lock.unlock();
    PostRender(std::move(target));
}

void CoreEngine::Redo()
{
    std::unique_lock<std::mutex> lock(historyMutex_);
    const bool wasSaved = history_.IsSaved();
    const std::string name = history_.GetRedoName();
    if (!history_.Redo())
        return;
    CoreRenderer::Target target = MakeTargetLocked(IDrawerEventHandler::DrawerEventFrame::REASON_REDO, name, wasSaved);
    lock.unlock();
    PostRender(std::move(target));
}

int CoreEngine::GetUndoCount() const
{
    std::lock_guard<std::mutex> lock(historyMutex_);
    return history_.GetUndoCount();
}

int CoreEngine::GetRedoCount() const
{
    std::lock_guard<std::mutex> lock(historyMutex_);
    return history_.GetRedoCount();
}

std::vector<std::string> CoreEngine::GetHistory() const
{
    std::lock_guard<std::mutex> lock(historyMutex_);
    return history_.GetAppliedNames();
}

HistoryState CoreEngine::GetHistoryState() const
{
    std::lock_guard<std::mutex> lock(historyMutex_);
    return history_.GetState();
}

// ---------------------------------------------------------------------------------------------
// State questions

bool CoreEngine::IsSaved() const
{
    std::lock_guard<std::mutex> lock(historyMutex_);
    return history_.IsSaved();
}

bool CoreEngine::HasHistoryOrFileChanged() const
{
    {
        std::lock_guard<std::mutex> lock(historyMutex_);
        if (!history_.IsEmpty())
            return true;
    }
    if (source_.path.empty())
        return false;
    const auto [size, modified] = GetFileBaseline();
    const QFileInfo info(FromUtf8(source_.path.utf8string()));
    if (!info.exists())
        return true;
    return std::uint64_t(info.size()) != size || info.lastModified().toMSecsSinceEpoch() != modified;
}

void CoreEngine::SetFileBaseline(std::uint64_t size, std::int64_t modifiedMs)
{
    std::lock_guard<std::mutex> lock(metaMutex_);
    fileSize_ = size;
    fileModifiedMs_ = modifiedMs;
}

std::pair<std::uint64_t, std::int64_t> CoreEngine::GetFileBaseline() const
{
    std::lock_guard<std::mutex> lock(metaMutex_);
    return {fileSize_, fileModifiedMs_};
}

std::uint64_t CoreEngine::GetMemorySize() const
{
    std::vector<const Proc::IDataVideo*> seen;
    frames_.CollectFrames(seen);
    const DataVideoPtr preview = lastPreview_.GetFrame();
    AddDistinctFrame(seen, preview.get());
    const std::vector<DataVideoPtr> selections = selections_.GetAll();
    for (const auto& selection : selections)
        AddDistinctFrame(seen, selection.get());
    DataVideoPtr initial;
    {
        std::lock_guard<std::mutex> lock(metaMutex_);
        initial = initialWorking_;
    }
    AddDistinctFrame(seen, initial.get());
    std::uint64_t total = 0;
    for (const Proc::IDataVideo* frame : seen)
        total += frame->GetMemorySize();
    return total;
}

void CoreEngine::MarkSourceReplaced()
{
    std::lock_guard<std::mutex> lock(historyMutex_);
    history_.MarkSourceReplaced();
}

void CoreEngine::MarkSaved(const std::string& utf8Name)
{
    ICoreEventHandler::CoreEventStateChanged changed;
    bool wasSaved;
    {
        std::lock_guard<std::mutex> lock(historyMutex_);
        wasSaved = history_.IsSaved();
        history_.MarkSaved();
        changed.undoCount = history_.GetUndoCount();
        changed.redoCount = history_.GetRedoCount();
    }
    SetFileName(utf8Name);
    changed.text = "Saved";
    changed.description = utf8Name;
    changed.saved = true;
    // Raised on the render thread like every other event.
    auto self = shared_from_this();
    auto publish = [self, changed, wasSaved] {
        if (!wasSaved)
            self->events_.PublishDrawer(&IDrawerEventHandler::HandleChangeToSave,
                                IDrawerEventHandler::DrawerEventChangeToSave("Saved", changed.description, 0));
        self->events_.PublishCore(&ICoreEventHandler::HandleStateChanged, changed);
    };
    if (queue_.IsRenderThread())
        publish();
    else
        PostTask(publish);
}

DataVideoPtr CoreEngine::GetWorkingFrame() const
{
    queue_.WaitForIdle(-1);
    return frames_.GetWorking();
}

DataVideoPtr CoreEngine::GetOriginalWorkingFrame() const
{
    queue_.WaitForIdle(-1);
    return frames_.GetOriginalWorking();
}

void CoreEngine::RunOnRenderThread(const std::function<void()>& fn)
{
    if (queue_.IsRenderThread()) {
        fn();
        return;
    }
    if (events_.IsClosed())
        throw PhotoCoreException("The editing core is shutting down");
    auto done = std::make_shared<std::promise<void>>();
    std::future<void> result = done->get_future();
    queue_.Post(QUEUE_TASK, [done, &fn] {
        try {
            fn();
            done->set_value();
        } catch (...) {
            done->set_exception(std::current_exception());
        }
    });
    // A job dropped by a shutdown never runs: its promise breaks and get() throws.
    try {
        result.get();
    } catch (const std::future_error&) {
        throw PhotoCoreException("The editing core stopped before the work was done");
    }
}

void CoreEngine::PostTask(std::function<void()> fn)
{
    queue_.Post(QUEUE_TASK, std::move(fn));
}

std::uint64_t CoreEngine::StartJob(int kind, std::string fileName, std::function<CoreJobs::Outcome()> work)
{
    const std::uint64_t id = jobs_.Begin(kind, fileName);
    if (events_.IsClosed()) {
        CoreJobs::Outcome outcome;
        outcome.success = false;
        outcome.reason = "The editing core is shutting down";
        jobs_.Finish(id, outcome);
        return id;
    }
    auto self = shared_from_this();
    queue_.Post(QUEUE_TASK, [self, id, work = std::move(work)] {
        CoreJobs::Outcome outcome;
        try {
            outcome = work();
        } catch (const std::exception& e) {
            outcome.success = false;
            outcome.reason = e.what();
        }
        self->events_.PublishCore(&ICoreEventHandler::HandleJobDone, self->jobs_.Finish(id, outcome));
    });
    return id;
}

ICoreEventHandler::CoreEventJobDone CoreEngine::WaitForJob(std::uint64_t id)
{
    if (!queue_.IsRenderThread())
        return jobs_.Wait(id);
    ICoreEventHandler::CoreEventJobDone refused;
    refused.id = id;
    refused.success = false;
    refused.reason = "A job of the editing core cannot wait for a later one";
    LOG(ERROR) << refused.reason;
    return refused;
}

// ---------------------------------------------------------------------------------------------
// Settings

void CoreEngine::SetColorspaceConverterSettings(const Proc::SettingsColorspaceConverter& settings)
{
    std::lock_guard<std::mutex> lock(metaMutex_);
    // The working formats in order of preference: 16-bit sources stay deep only when the
    // 16-bit format is among them. Takes effect for decodes that have not started.
    allowSixteenBit_ = settings.formats.empty()
        || std::find(settings.formats.begin(), settings.formats.end(), int(Proc::PIX_FMT_RGBA64))
               != settings.formats.end();
}

void CoreEngine::SetLanguage(const std::string& language)
{
    std::lock_guard<std::mutex> lock(metaMutex_);
    language_ = language;
}

std::string CoreEngine::GetLanguage() const
{
    std::lock_guard<std::mutex> lock(metaMutex_);
    return language_;
}

void CoreEngine::SetProgressController(const boost::intrusive_ptr<Core::IProgressController>& progress)
{
    std::lock_guard<std::mutex> lock(metaMutex_);
    progress_ = progress;
}

boost::intrusive_ptr<Core::IProgressController> CoreEngine::GetProgressController() const
{
    std::lock_guard<std::mutex> lock(metaMutex_);
    return progress_;
}

// ---------------------------------------------------------------------------------------------
// Processing and debug

bool CoreEngine::IsScaledForMemory() const
{
    if (frames_.IsFullReady())
        return frames_.IsScaledForMemory();
    std::lock_guard<std::mutex> lock(metaMutex_);
    return initialScaled_;
}

Conf::FrameInfo CoreEngine::GetSourceFrameInfo() const
{
    return source_.header.Upright();
}

bool CoreEngine::IsFullFrameReady() const
{
    return frames_.IsFullReady();
}

std::string CoreEngine::GetDebugInfo() const
{
    std::ostringstream out;
    const std::uint64_t memory = GetMemorySize();
    const DataVideoPtr frame = frames_.GetWorkingOrPreview();
    int undo, steps;
    {
        std::lock_guard<std::mutex> lock(historyMutex_);
        undo = history_.GetUndoCount();
        steps = int(history_.GetSteps().size());
    }
    std::lock_guard<std::mutex> lock(metaMutex_);
    out << "session " << sessionId_ << "; file \"" << fileName_ << "\"; codec " << source_.header.codec;
    if (frame)
        out << "; frame " << frame->GetFrameInfo().width << "x" << frame->GetFrameInfo().height << " format "
            << frame->GetPixFmt();
    out << "; " << (frames_.IsFullReady() ? "full" : (frames_.IsLoadFailed() ? "load failed" : "preview"))
        << (frames_.IsScaledForMemory() ? ", reduced" : "") << "; history " << undo << "/" << steps << "; memory "
        << memory << " bytes; renders " << renderer_.GetRenderCount() << ", last "
        << renderer_.GetLastRenderMilliseconds() << " ms";
    return out.str();
}

double CoreEngine::GetLastRenderMilliseconds() const
{
    return renderer_.GetLastRenderMilliseconds();
}

int CoreEngine::GetRenderCount() const
{
    return renderer_.GetRenderCount();
}

// ---------------------------------------------------------------------------------------------
// What the renderer asks and tells

CoreRenderer::Host::LoadInput CoreEngine::GetLoadInput() const
{
    std::lock_guard<std::mutex> lock(metaMutex_);
    return {initialWorking_, initialScaled_, allowSixteenBit_};
}

void CoreEngine::OnFullFrame(const Conf::FrameInfo& info)
{
    std::lock_guard<std::mutex> lock(metaMutex_);
    initialWorking_.reset();
    originalSettings_ = currentSettings_ = MakeSettingsLocked(info);
}

void CoreEngine::OnStepFailed(std::uint64_t stepId)
{
    std::lock_guard<std::mutex> lock(historyMutex_);
    history_.Erase(stepId);
}

void CoreEngine::OnRendered(const Conf::FrameInfo& info, const std::vector<EditStep>& steps)
{
    FrameGeometry geometry = GeometryOf(steps, steps.size());
    // A step that failed left its pixels where they were; the walk cannot tell which.
    if (geometry.GetWidth() != info.width || geometry.GetHeight() != info.height)
        geometry.Invalidate();
    std::lock_guard<std::mutex> lock(metaMutex_);
    currentSettings_ = MakeSettingsLocked(info, &geometry);
}

ICoreEventHandler::CoreEventStateChanged CoreEngine::GetHistoryCounts() const
{
    ICoreEventHandler::CoreEventStateChanged changed;
    std::lock_guard<std::mutex> lock(historyMutex_);
    changed.saved = history_.IsSaved();
    changed.undoCount = history_.GetUndoCount();
    changed.redoCount = history_.GetRedoCount();
    return changed;
}

// ---------------------------------------------------------------------------------------------
// Rendering

CoreRenderer::Target CoreEngine::MakeTargetLocked(int reason, const std::string& name, bool wasSaved) const
{
    CoreRenderer::Target target;
    target.steps = history_.GetApplied();
    target.reason = reason;
    target.name = name;
    target.undoCount = history_.GetUndoCount();
    target.redoCount = history_.GetRedoCount();
    target.saved = history_.IsSaved();
    target.savedChanged = target.saved != wasSaved;
    return target;
}

void CoreEngine::PostRender(CoreRenderer::Target target)
{
    auto self = shared_from_this();
    const std::uint64_t id = jobs_.Begin(ICoreEventHandler::CoreEventJobDone::JOB_RENDER, GetFileName());
    queue_.Post(QUEUE_RENDER, [self, id, target = std::move(target)] { self->renderer_.RunRender(target, id); });
}

// ---------------------------------------------------------------------------------------------
// Frame settings

std::shared_ptr<const SettingsCore> CoreEngine::MakeSettingsLocked(const Conf::FrameInfo& info,
                                                                   const FrameGeometry* geometry) const
{
    auto settings = std::make_shared<SettingsCore>();
    settings->SetFrameInfo(info);
    settings->SetGeometry(geometry ? *geometry : FrameGeometry(info));
    settings->GetGeneral().SetFileName(fileName_);
    settings->GetPassThrough().SetResolution(source_.header.dpi);
    DataVideoPtr frame = frames_.GetWorking();
    if (!frame)
        frame = initialWorking_;
    settings->SetPixFmt(frame ? frame->GetPixFmt()
                              : (source_.header.sixteenBit && allowSixteenBit_ ? int(Proc::PIX_FMT_RGBA64)
                                                                               : int(Proc::PIX_FMT_BGRA32)));
    settings->SetFileSize(source_.fileSize);
    return settings;
}

FrameGeometry CoreEngine::GeometryOf(const std::vector<EditStep>& steps, std::size_t count) const
{
    const DataVideoPtr original = frames_.GetOriginalWorking();
    FrameGeometry geometry(original ? original->GetFrameInfo() : source_.header.Upright());
    for (std::size_t i = 0; i < count && i < steps.size(); ++i)
        geometry.Apply(*steps[i].settings);
    return geometry;
}

Conf::FrameInfo CoreEngine::LogicalInfoLocked(std::size_t stepCount) const
{
    const DataVideoPtr original = frames_.GetOriginalWorking();
    Conf::FrameInfo info = original ? original->GetFrameInfo() : source_.header.Upright();
    const std::vector<EditStep>& steps = history_.GetSteps();
    for (std::size_t i = 0; i < stepCount && i < steps.size(); ++i)
        info = FrameOps::ResultInfo(info, *steps[i].settings);
    return info;
}

} // namespace Quelto::Lumindra::PhotoCore

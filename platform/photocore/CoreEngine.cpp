#include "photocore/CoreEngine.h"

#include <chrono>
#include <cstring>
#include <future>
#include <sstream>

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

#include <glog/logging.h>

#include "core/PhotoCoreException.h"
#include "photocore/FrameOps.h"
#include "photocore/SettingsCodec.h"
#include "util/Paths.h"

namespace Quelto::Lumindra::PhotoCore {

namespace {

using Proc::DataVideoPtr;
using Clock = std::chrono::steady_clock;

// Reduced levels stop when the short side would drop below this: the canvas never shows a
// picture smaller than a thumbnail from them.
constexpr int kLevelsMinSide = 256;

double MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

QString FromUtf8(const std::string& s)
{
    return QString::fromUtf8(s.data(), int(s.size()));
}

void AddFrame(std::vector<const Proc::IDataVideo*>& seen, const DataVideoPtr& frame)
{
    if (frame && std::find(seen.begin(), seen.end(), frame.get()) == seen.end())
        seen.push_back(frame.get());
}

} // namespace

CoreEngine::CoreEngine(CoreSource source, std::string sessionId, std::uint64_t pixelLimit)
    : source_(std::move(source)), sessionId_(std::move(sessionId)), pixelLimit_(pixelLimit)
{
    fileName_ = source_.path.utf8string();
    fileSize_ = source_.fileSize;
    fileModifiedMs_ = source_.fileModifiedMs;
    const Conf::FrameInfo info = source_.header.Upright();
    currentSettings_ = MakeSnapshotLocked(info);
}

CoreEngine::~CoreEngine()
{
    Shutdown();
}

void CoreEngine::Shutdown()
{
    stopping_.store(true);
    queue_.Shutdown();
    fullFrameChanged_.notify_all();
}

// ---------------------------------------------------------------------------------------------
// Loading

void CoreEngine::SetInitialFrame(const ImageDecoder::Result& first)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (!first.frame)
        return;
    if (first.full) {
        originalWorking_ = currentWorking_ = first.frame;
        // A large 16-bit picture is converted for display on the render thread, not here.
        const Conf::FrameInfo& info = first.frame->GetFrameInfo();
        if (first.frame->GetPixFmt() == Proc::PIX_FMT_BGRA32
            || std::uint64_t(info.width) * std::uint64_t(info.height) <= ImageDecoder::kSmallPicturePixels)
            originalDisplay_ = currentDisplay_ = FrameOps::ToDisplay(first.frame);
        scaledForMemory_ = first.scaledForMemory;
    } else {
        preview_ = first.frame;
    }
    currentSettings_ = MakeSnapshotLocked((first.full ? first.frame : preview_)->GetFrameInfo());
}

void CoreEngine::PostLoad()
{
    auto self = shared_from_this();
    queue_.Post(JOB_LOAD, [self] { self->RunLoad(); });
}

void CoreEngine::RunLoad()
{
    DataVideoPtr preview, working;
    std::string name;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        preview = preview_;
        working = originalWorking_;
        name = fileName_;
    }
    if (preview) {
        PublishDrawer(&IDrawerEventHandler::HandleFrameTemporary,
                      IDrawerEventHandler::DrawerEventFrameTemporary("Preview", name, 0, preview));
        ICoreEventHandler::CoreEventLoaded loaded;
        loaded.text = "Preview";
        loaded.fileName = name;
        loaded.stage = ICoreEventHandler::CoreEventLoaded::LOAD_PREVIEW;
        PublishCore(&ICoreEventHandler::HandleLoaded, loaded);
    }

    const auto start = Clock::now();
    bool scaled = false;
    DataVideoPtr display;
    if (!working) {
        const auto progress = GetProgressController();
        if (progress)
            progress->Begin("Opening " + QFileInfo(FromUtf8(name)).fileName().toStdString());
        try {
            ImageDecoder::Result full;
            DecodeOptions options;
            options.pixelLimit = pixelLimit_;
            {
                std::lock_guard<std::mutex> lock(mutex_);
                options.allowSixteenBit = allowSixteenBit_;
            }
            full = ImageDecoder::DecodeFull(source_.path.utf8string(), source_.header, options, &stopping_);
            working = full.frame;
            scaled = full.scaledForMemory;
            display = FrameOps::ToDisplay(working);
        } catch (const std::exception& e) {
            if (progress)
                progress->End();
            const std::string message = "Cannot open \"" + name + "\": " + e.what();
            if (!stopping_.load())
                LOG(ERROR) << message;
            {
                std::lock_guard<std::mutex> lock(mutex_);
                loadFailed_ = true;
                loadError_ = message;
            }
            fullFrameChanged_.notify_all();
            ICoreEventHandler::CoreEventLoaded failed;
            failed.text = message;
            failed.fileName = name;
            failed.stage = ICoreEventHandler::CoreEventLoaded::LOAD_FAILED;
            PublishCore(&ICoreEventHandler::HandleLoaded, failed);
            PublishCore(&ICoreEventHandler::HandleThrow,
                        ICoreEventHandler::ThrowEvent(std::make_shared<PhotoCoreException>(message), name));
            return;
        }
        if (progress)
            progress->End();
        std::lock_guard<std::mutex> lock(mutex_);
        originalWorking_ = currentWorking_ = working;
        originalDisplay_ = currentDisplay_ = display;
        scaledForMemory_ = scaled;
    } else {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            display = currentDisplay_;
        }
        if (!display) {
            display = FrameOps::ToDisplay(working);
            std::lock_guard<std::mutex> lock(mutex_);
            originalDisplay_ = currentDisplay_ = display;
        }
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        preview_.reset();
        fullReady_ = true;
        renderedIds_.clear();
        originalSettings_ = currentSettings_ = MakeSnapshotLocked(working->GetFrameInfo());
        lastRenderMs_ = MillisecondsSince(start);
        ++renderCount_;
    }
    fullFrameChanged_.notify_all();
    VLOG(30) << "Full frame of " << name << " ready: " << working->GetFrameInfo().width << "x"
             << working->GetFrameInfo().height << (scaled ? " (reduced for memory)" : "") << " in "
             << lastRenderMs_ << " ms";

    PublishDrawer(&IDrawerEventHandler::HandleFrame,
                  IDrawerEventHandler::DrawerEventFrame("Loaded", name, -1,
                                                        IDrawerEventHandler::DrawerEventFrame::REASON_LOADED));
    ICoreEventHandler::CoreEventLoaded loaded;
    loaded.text = "Loaded";
    loaded.fileName = name;
    loaded.stage = ICoreEventHandler::CoreEventLoaded::LOAD_FULL;
    PublishCore(&ICoreEventHandler::HandleLoaded, loaded);
    BuildLevels(display);
}

bool CoreEngine::WaitForFullFrame(std::string* error) const
{
    std::unique_lock<std::mutex> lock(mutex_);
    fullFrameChanged_.wait(lock, [&] { return fullReady_ || loadFailed_ || stopping_.load(); });
    if (fullReady_)
        return true;
    if (error)
        *error = loadFailed_ ? loadError_ : std::string("The image was closed while it was being opened");
    return false;
}

void CoreEngine::RestoreHistory(const HistoryState& history)
{
    std::unique_lock<std::mutex> lock(mutex_);
    steps_.clear();
    for (const auto& settings : history.steps)
        steps_.push_back({nextStepId_++, settings});
    position_ = std::clamp(history.position, 0, int(steps_.size()));
    savedPosition_ = history.savedPosition >= 0 && history.savedPosition <= int(steps_.size()) ? history.savedPosition
                                                                                                 : -1;
    RenderTarget target = MakeTargetLocked(IDrawerEventHandler::DrawerEventFrame::REASON_RESET, "Restore", true);
    target.savedChanged = false;
    lock.unlock();
    PostRender(std::move(target));
}

void CoreEngine::SetFileName(const std::string& utf8Name)
{
    std::lock_guard<std::mutex> lock(mutex_);
    fileName_ = utf8Name;
    currentSettings_ = MakeSnapshotLocked(currentSettings_->GetFrameInfo());
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
    coreEvents_.RegisterEventHandler(handler);
}

void CoreEngine::UnregisterCoreEventHandler(ICoreEventHandler* handler)
{
    coreEvents_.UnregisterEventHandler(handler);
}

void CoreEngine::RegisterDrawerEventHandler(IDrawerEventHandler* handler)
{
    drawerEvents_.RegisterEventHandler(handler);
}

void CoreEngine::UnregisterDrawerEventHandler(IDrawerEventHandler* handler)
{
    drawerEvents_.UnregisterEventHandler(handler);
}

// ---------------------------------------------------------------------------------------------
// Drawer

DataVideoPtr CoreEngine::GetVideo() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return currentDisplay_ ? currentDisplay_ : preview_;
}

DataVideoPtr CoreEngine::GetOriginalVideo() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return originalDisplay_ ? originalDisplay_ : preview_;
}

const SettingsCore& CoreEngine::GetFrameSettings(int index) const
{
    static const SettingsCore kNone;
    std::lock_guard<std::mutex> lock(mutex_);
    if (index < 0)
        return *currentSettings_;
    if (index == 0)
        return originalSettings_ ? *originalSettings_ : *currentSettings_;
    if (std::size_t(index) > steps_.size() || !originalSettings_)
        return kNone;
    const SettingsCore* settings = StepSnapshotLocked(std::size_t(index - 1));
    return settings ? *settings : kNone;
}

void CoreEngine::ApplyEffect(const Proc::SettingsBase& settings)
{
    if (!FrameOps::IsSupported(settings))
        throw PhotoCoreException("The editing core cannot apply \"" + settings.GetDisplayName() + "\"");
    std::shared_ptr<const Proc::SettingsBase> copy(settings.Clone());
    std::unique_lock<std::mutex> lock(mutex_);
    try {
        // Reject an edit that cannot render (a crop outside the picture) while the caller listens.
        FrameOps::ResultInfo(LogicalInfoLocked(std::size_t(position_)), settings);
    } catch (const std::exception& e) {
        throw PhotoCoreException(e.what());
    }
    const bool wasSaved = IsSavedLocked();
    steps_.resize(std::size_t(position_));
    if (savedPosition_ > position_)
        savedPosition_ = -1; // the saved state was undone and is now overwritten
    steps_.push_back({nextStepId_++, copy});
    ++position_;
    RenderTarget target = MakeTargetLocked(IDrawerEventHandler::DrawerEventFrame::REASON_EDIT,
                                           settings.GetDisplayName(), wasSaved);
    lock.unlock();
    queue_.DropTrailing(JOB_PREVIEW); // a preview still queued would only flash before this
    PostRender(std::move(target));
}

void CoreEngine::PreviewEffect(const Proc::SettingsBase& settings)
{
    if (!FrameOps::IsSupported(settings))
        throw PhotoCoreException("The editing core cannot show \"" + settings.GetDisplayName() + "\"");
    std::shared_ptr<const Proc::SettingsBase> copy(settings.Clone());
    auto self = shared_from_this();
    queue_.PostReplacingLast(JOB_PREVIEW, [self, copy] { self->RunPreview(copy); });
}

void CoreEngine::CancelPreview()
{
    queue_.DropTrailing(JOB_PREVIEW);
    auto self = shared_from_this();
    queue_.Post(JOB_CANCEL_PREVIEW, [self] { self->RunCancelPreview(); });
}

IPhotoCoreDrawer::AlphaInfo CoreEngine::GetAlphaInfo() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    IPhotoCoreDrawer::AlphaInfo info;
    const DataVideoPtr frame = currentWorking_ ? currentWorking_ : preview_;
    info.hasAlpha = HasAlphaChannelLocked() ? 1 : 0;
    if (!frame || !info.hasAlpha)
        return info;
    if (alphaFrame_ != frame) {
        alphaMin_ = FrameOps::MinAlpha(*frame);
        alphaFrame_ = frame;
    }
    info.alpha = alphaMin_;
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
    if (!drawable)
        return nullptr;
    const DataVideoPtr current = GetWorkingFrame();
    if (!current)
        return nullptr;
    overlayOnly_.store(true);
    DataVideoPtr overlay;
    try {
        overlay = drawable->GetVideo(Proc::CropInfo {});
    } catch (...) {
        overlayOnly_.store(false);
        throw;
    }
    overlayOnly_.store(false);
    if (!overlay)
        return nullptr;
    const Conf::FrameInfo& a = overlay->GetFrameInfo();
    const Conf::FrameInfo& b = current->GetFrameInfo();
    if (a.width != b.width || a.height != b.height) {
        LOG(WARNING) << "Overlay of " << a.width << "x" << a.height << " does not match the picture of " << b.width
                     << "x" << b.height << "; items beyond the picture are not saved";
        return nullptr;
    }
    if (overlay->GetPixFmt() != Proc::PIX_FMT_BGRA32)
        return nullptr;
    for (int y = 0; y < a.height; ++y) { // anything drawn at all?
        const std::uint8_t* row = overlay->GetData() + std::size_t(y) * std::size_t(overlay->GetStride());
        for (int x = 0; x < a.width; ++x)
            if (row[4 * x + 3] != 0)
                return overlay;
    }
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// History

bool CoreEngine::CanUndo() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return position_ > 0;
}

bool CoreEngine::CanRedo() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return position_ < int(steps_.size());
}

void CoreEngine::Undo()
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (position_ == 0)
        return;
    const bool wasSaved = IsSavedLocked();
    const std::string name = steps_[std::size_t(position_ - 1)].settings->GetDisplayName();
    --position_;
    RenderTarget target = MakeTargetLocked(IDrawerEventHandler::DrawerEventFrame::REASON_UNDO, name, wasSaved);
    lock.unlock();
    PostRender(std::move(target));
}

void CoreEngine::Redo()
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (position_ >= int(steps_.size()))
        return;
    const bool wasSaved = IsSavedLocked();
    const std::string name = steps_[std::size_t(position_)].settings->GetDisplayName();
    ++position_;
    RenderTarget target = MakeTargetLocked(IDrawerEventHandler::DrawerEventFrame::REASON_REDO, name, wasSaved);
    lock.unlock();
    PostRender(std::move(target));
}

int CoreEngine::GetUndoCount() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return position_;
}

int CoreEngine::GetRedoCount() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return int(steps_.size()) - position_;
}

std::vector<std::string> CoreEngine::GetHistory() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> names;
    for (int i = 0; i < position_; ++i)
        names.push_back(steps_[std::size_t(i)].settings->GetDisplayName());
    return names;
}

HistoryState CoreEngine::GetHistoryState() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    HistoryState state;
    for (const auto& step : steps_)
        state.steps.push_back(step.settings);
    state.position = position_;
    state.savedPosition = savedPosition_;
    return state;
}

// ---------------------------------------------------------------------------------------------
// State questions

bool CoreEngine::IsSaved() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return IsSavedLocked();
}

bool CoreEngine::HasHistoryOrFileChanged() const
{
    std::uint64_t size;
    std::int64_t modified;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!steps_.empty())
            return true;
        size = fileSize_;
        modified = fileModifiedMs_;
    }
    if (source_.path.empty())
        return false;
    const QFileInfo info(FromUtf8(source_.path.utf8string()));
    if (!info.exists())
        return true;
    return std::uint64_t(info.size()) != size || info.lastModified().toMSecsSinceEpoch() != modified;
}

void CoreEngine::SetFileBaseline(std::uint64_t size, std::int64_t modifiedMs)
{
    std::lock_guard<std::mutex> lock(mutex_);
    fileSize_ = size;
    fileModifiedMs_ = modifiedMs;
}

std::pair<std::uint64_t, std::int64_t> CoreEngine::GetFileBaseline() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return {fileSize_, fileModifiedMs_};
}

std::uint64_t CoreEngine::GetMemorySize() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<const Proc::IDataVideo*> seen;
    for (const DataVideoPtr* frame : {&preview_, &originalWorking_, &originalDisplay_, &currentWorking_, &currentDisplay_})
        AddFrame(seen, *frame);
    if (lastPreview_)
        AddFrame(seen, lastPreview_->frame);
    for (const auto& [key, selection] : selections_)
        AddFrame(seen, selection);
    std::uint64_t total = 0;
    for (const Proc::IDataVideo* frame : seen)
        total += frame->GetMemorySize();
    return total;
}

void CoreEngine::MarkSaved(const std::string& utf8Name)
{
    ICoreEventHandler::CoreEventStateChanged changed;
    bool wasSaved;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        wasSaved = IsSavedLocked();
        savedPosition_ = position_;
        fileName_ = utf8Name;
        currentSettings_ = MakeSnapshotLocked(currentSettings_->GetFrameInfo());
        changed.text = "Saved";
        changed.description = utf8Name;
        changed.saved = true;
        changed.undoCount = position_;
        changed.redoCount = int(steps_.size()) - position_;
    }
    // Raised on the render thread like every other event.
    auto self = shared_from_this();
    PostTask([self, changed, wasSaved] {
        if (!wasSaved)
            self->PublishDrawer(&IDrawerEventHandler::HandleChangeToSave,
                                IDrawerEventHandler::DrawerEventChangeToSave("Saved", changed.description, 0));
        self->PublishCore(&ICoreEventHandler::HandleStateChanged, changed);
    });
}

DataVideoPtr CoreEngine::GetWorkingFrame() const
{
    queue_.WaitForIdle(-1);
    std::lock_guard<std::mutex> lock(mutex_);
    return currentWorking_;
}

DataVideoPtr CoreEngine::GetOriginalWorkingFrame() const
{
    queue_.WaitForIdle(-1);
    std::lock_guard<std::mutex> lock(mutex_);
    return originalWorking_;
}

void CoreEngine::RunOnRenderThread(const std::function<void()>& fn)
{
    if (queue_.IsRenderThread()) {
        fn();
        return;
    }
    if (stopping_.load())
        throw PhotoCoreException("The editing core is shutting down");
    auto done = std::make_shared<std::promise<void>>();
    std::future<void> result = done->get_future();
    queue_.Post(JOB_TASK, [done, &fn] {
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
    queue_.Post(JOB_TASK, std::move(fn));
}

// ---------------------------------------------------------------------------------------------
// Settings

void CoreEngine::SetColorspaceConverterSettings(const Proc::SettingsColorspaceConverter& settings)
{
    std::lock_guard<std::mutex> lock(mutex_);
    // The working formats in order of preference: 16-bit sources stay deep only when the
    // 16-bit format is among them. Takes effect for decodes that have not started.
    allowSixteenBit_ = settings.formats.empty()
        || std::find(settings.formats.begin(), settings.formats.end(), int(Proc::PIX_FMT_RGBA64))
               != settings.formats.end();
}

void CoreEngine::SetLanguage(const std::string& language)
{
    std::lock_guard<std::mutex> lock(mutex_);
    language_ = language;
}

std::string CoreEngine::GetLanguage() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return language_;
}

void CoreEngine::SetProgressController(const boost::intrusive_ptr<Core::IProgressController>& progress)
{
    std::lock_guard<std::mutex> lock(mutex_);
    progress_ = progress;
}

boost::intrusive_ptr<Core::IProgressController> CoreEngine::GetProgressController() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return progress_;
}

// ---------------------------------------------------------------------------------------------
// Selections

void CoreEngine::StoreSelection(const std::string& key, const DataVideoPtr& selection)
{
    std::lock_guard<std::mutex> lock(mutex_);
    releasedSelections_.erase(key);
    if (selection)
        selections_[key] = selection;
    else
        selections_.erase(key);
}

DataVideoPtr CoreEngine::FindSelection(const std::string& key) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = selections_.find(key);
    return it == selections_.end() ? nullptr : it->second;
}

void CoreEngine::ReleaseSelection(const std::string& key)
{
    std::lock_guard<std::mutex> lock(mutex_);
    selections_.erase(key);
    releasedSelections_.insert(key);
}

bool CoreEngine::IsSelectionReleased(const std::string& key) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return releasedSelections_.count(key) != 0;
}

std::vector<std::string> CoreEngine::GetSelectionKeys() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> keys;
    for (const auto& entry : selections_)
        keys.push_back(entry.first);
    return keys;
}

// ---------------------------------------------------------------------------------------------
// Processing and debug

bool CoreEngine::IsScaledForMemory() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return scaledForMemory_;
}

Conf::FrameInfo CoreEngine::GetSourceFrameInfo() const
{
    return source_.header.Upright();
}

bool CoreEngine::IsFullFrameReady() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return fullReady_;
}

std::string CoreEngine::GetDebugInfo() const
{
    std::ostringstream out;
    const std::uint64_t memory = GetMemorySize();
    std::lock_guard<std::mutex> lock(mutex_);
    const DataVideoPtr frame = currentWorking_ ? currentWorking_ : preview_;
    out << "session " << sessionId_ << "; file \"" << fileName_ << "\"; codec " << source_.header.codec;
    if (frame)
        out << "; frame " << frame->GetFrameInfo().width << "x" << frame->GetFrameInfo().height << " format "
            << frame->GetPixFmt();
    out << "; " << (fullReady_ ? "full" : (loadFailed_ ? "load failed" : "preview")) << (scaledForMemory_ ? ", reduced" : "")
        << "; history " << position_ << "/" << steps_.size() << "; memory " << memory << " bytes; renders "
        << renderCount_ << ", last " << lastRenderMs_ << " ms";
    return out.str();
}

double CoreEngine::GetLastRenderMilliseconds() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return lastRenderMs_;
}

int CoreEngine::GetRenderCount() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return renderCount_;
}

// ---------------------------------------------------------------------------------------------
// Rendering

CoreEngine::RenderTarget CoreEngine::MakeTargetLocked(int reason, const std::string& name, bool wasSaved) const
{
    RenderTarget target;
    target.steps.assign(steps_.begin(), steps_.begin() + position_);
    target.reason = reason;
    target.name = name;
    target.undoCount = position_;
    target.redoCount = int(steps_.size()) - position_;
    target.saved = IsSavedLocked();
    target.savedChanged = target.saved != wasSaved;
    return target;
}

void CoreEngine::PostRender(RenderTarget target)
{
    auto self = shared_from_this();
    queue_.Post(JOB_RENDER, [self, target = std::move(target)] { self->RunRender(target); });
}

void CoreEngine::RunRender(const RenderTarget& target)
{
    const auto start = Clock::now();
    DataVideoPtr base;
    std::size_t first = 0;
    std::unique_ptr<PreviewResult> preview;
    std::string fileName;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        fileName = fileName_;
        if (!fullReady_) {
            LOG(WARNING) << "Edit \"" << target.name << "\" not rendered: the picture is not loaded";
            return;
        }
        // Continue from the current frame when it shows a prefix of the target; else replay
        // from the original, which makes an undo give back exactly the original pixels.
        const bool prefix = renderedIds_.size() <= target.steps.size()
            && std::equal(renderedIds_.begin(), renderedIds_.end(), target.steps.begin(),
                          [](std::uint64_t id, const EditStep& step) { return id == step.id; });
        base = prefix ? currentWorking_ : originalWorking_;
        first = prefix ? renderedIds_.size() : 0;
        preview = std::move(lastPreview_);
    }

    DataVideoPtr working = base;
    for (std::size_t i = first; i < target.steps.size(); ++i) {
        const Proc::SettingsBase& settings = *target.steps[i].settings;
        // The last preview already shows this step when it was made on the same frame (an
        // 8-bit working frame is its own display frame).
        if (i + 1 == target.steps.size() && preview && preview->base == working
            && SettingsCodec::Equal(*preview->settings, settings)) {
            working = preview->frame;
            continue;
        }
        try {
            working = FrameOps::Apply(working, settings);
        } catch (const std::exception& e) {
            LOG(ERROR) << "Edit \"" << settings.GetDisplayName() << "\" could not be applied: " << e.what();
            PublishCore(&ICoreEventHandler::HandleThrow,
                        ICoreEventHandler::ThrowEvent(std::make_shared<PhotoCoreException>(e.what()), fileName));
        }
    }
    const DataVideoPtr display = FrameOps::ToDisplay(working);

    ICoreEventHandler::CoreEventStateChanged changed;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        currentWorking_ = working;
        currentDisplay_ = display;
        renderedIds_.clear();
        for (const auto& step : target.steps)
            renderedIds_.push_back(step.id);
        currentSettings_ = MakeSnapshotLocked(working->GetFrameInfo());
        lastRenderMs_ = MillisecondsSince(start);
        ++renderCount_;
        changed.saved = IsSavedLocked();
        changed.undoCount = position_;
        changed.redoCount = int(steps_.size()) - position_;
    }
    VLOG(30) << "Rendered \"" << target.name << "\" (" << target.steps.size() << " steps) in " << lastRenderMs_ << " ms";

    PublishDrawer(&IDrawerEventHandler::HandleFrame,
                  IDrawerEventHandler::DrawerEventFrame("Frame", target.name, -1, target.reason));
    PublishDrawer(&IDrawerEventHandler::HandleUndo,
                  IDrawerEventHandler::DrawerEventUndo("History", target.name, target.undoCount));
    if (target.savedChanged)
        PublishDrawer(&IDrawerEventHandler::HandleChangeToSave,
                      IDrawerEventHandler::DrawerEventChangeToSave(target.saved ? "Saved" : "Changed", target.name,
                                                                   target.saved ? 0 : 1));
    changed.text = "History";
    changed.description = target.name;
    PublishCore(&ICoreEventHandler::HandleStateChanged, changed);
    BuildLevels(display);
}

void CoreEngine::RunPreview(const std::shared_ptr<const Proc::SettingsBase>& settings)
{
    DataVideoPtr base;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        base = currentDisplay_ ? currentDisplay_ : preview_;
        lastPreview_.reset(); // its frame is about to be superseded
    }
    if (!base)
        return;
    DataVideoPtr frame;
    try {
        // On the display frame: 8 bits are what the screen shows, and they are quick.
        frame = FrameOps::Apply(base, *settings);
    } catch (const std::exception& e) {
        LOG(WARNING) << "Preview of \"" << settings->GetDisplayName() << "\" failed: " << e.what();
        return;
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        lastPreview_ = std::make_unique<PreviewResult>(PreviewResult {base, settings, frame});
    }
    PublishDrawer(&IDrawerEventHandler::HandleFrameTemporary,
                  IDrawerEventHandler::DrawerEventFrameTemporary("Preview", settings->GetDisplayName(), 1, frame));
}

void CoreEngine::RunCancelPreview()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        lastPreview_.reset();
    }
    PublishDrawer(&IDrawerEventHandler::HandleFrame,
                  IDrawerEventHandler::DrawerEventFrame("Preview cancelled", "", -1,
                                                        IDrawerEventHandler::DrawerEventFrame::REASON_PREVIEW_END));
}

void CoreEngine::BuildLevels(const DataVideoPtr& display)
{
    if (!display || stopping_.load())
        return;
    const auto start = Clock::now();
    try {
        display->BuildLevels(kLevelsMinSide);
    } catch (const std::exception& e) {
        // Levels only make zooming out faster; without them the resizer starts from the frame.
        LOG(WARNING) << "Reduced levels not built: " << e.what();
        return;
    }
    VLOG(30) << "Reduced levels (" << display->GetLevelCount() << ") built in " << MillisecondsSince(start) << " ms";
}

// ---------------------------------------------------------------------------------------------
// Snapshots

const SettingsCore* CoreEngine::MakeSnapshotLocked(const Conf::FrameInfo& info) const
{
    auto settings = std::make_unique<SettingsCore>();
    settings->SetFrameInfo(info);
    settings->GetGeneral().SetFileName(fileName_);
    settings->GetPassThrough().SetResolution(source_.header.dpi);
    const DataVideoPtr& frame = currentWorking_ ? currentWorking_ : originalWorking_;
    settings->SetPixFmt(frame ? frame->GetPixFmt()
                              : (source_.header.sixteenBit && allowSixteenBit_ ? int(Proc::PIX_FMT_RGBA64)
                                                                               : int(Proc::PIX_FMT_BGRA32)));
    settings->SetFileSize(source_.fileSize);
    snapshots_.push_back(std::move(settings));
    return snapshots_.back().get();
}

Conf::FrameInfo CoreEngine::LogicalInfoLocked(std::size_t stepCount) const
{
    Conf::FrameInfo info = originalWorking_ ? originalWorking_->GetFrameInfo() : source_.header.Upright();
    for (std::size_t i = 0; i < stepCount && i < steps_.size(); ++i)
        info = FrameOps::ResultInfo(info, *steps_[i].settings);
    return info;
}

const SettingsCore* CoreEngine::StepSnapshotLocked(std::size_t stepIndex) const
{
    const std::uint64_t id = steps_[stepIndex].id;
    const auto it = stepSettings_.find(id);
    if (it != stepSettings_.end())
        return it->second;
    Conf::FrameInfo info;
    try {
        info = LogicalInfoLocked(stepIndex + 1);
    } catch (const std::exception&) {
        return nullptr;
    }
    const SettingsCore* made = MakeSnapshotLocked(info);
    stepSettings_[id] = made;
    return made;
}

bool CoreEngine::HasAlphaChannelLocked() const
{
    const bool sourceAlpha = source_.header.hasAlpha;
    if (!sourceAlpha)
        return false;
    for (std::uint64_t id : renderedIds_) {
        const auto it = std::find_if(steps_.begin(), steps_.end(), [id](const EditStep& s) { return s.id == id; });
        if (it != steps_.end() && std::string(it->settings->GetClassId()) == Proc::SettingsColorspaceConverter::CLASS_ID) {
            const auto& convert = static_cast<const Proc::SettingsColorspaceConverter&>(*it->settings);
            if (convert.flattenAlpha && !(convert.formats.size() && Proc::HasAlphaChannel(convert.formats.front())))
                return false;
        }
    }
    return true;
}

} // namespace Quelto::Lumindra::PhotoCore

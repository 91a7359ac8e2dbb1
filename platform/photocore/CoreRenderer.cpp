#include "photocore/CoreRenderer.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include <QFileInfo>

#include <glog/logging.h>

#include "core/PhotoCoreException.h"
#include "photocore/EditRegistry.h"
#include "photocore/FrameOps.h"
#include "proc/AlphaRange.h"

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

} // namespace

CoreRenderer::CoreRenderer(const CoreSource& source, std::uint64_t pixelLimit, Host& host, CoreEventGate& events,
                           CoreFrames& frames, PreviewCache& preview, CoreJobs& jobs)
    : source_(source), pixelLimit_(pixelLimit), host_(host), events_(events), frames_(frames), preview_(preview),
      jobs_(jobs)
{
}

void CoreRenderer::RunLoad(std::uint64_t jobId)
{
    const Host::LoadInput input = host_.GetLoadInput();
    DataVideoPtr working = input.working;
    bool scaled = input.scaledForMemory;
    const bool decodeFull = !working;
    const std::string name = host_.GetFileName();
    // What is on show before the full frame: the reduced preview, or a small picture's own display frame.
    DataVideoPtr display = frames_.GetDisplay();
    if (display && decodeFull) {
        events_.PublishDrawer(&IDrawerEventHandler::HandleFrameTemporary,
                              IDrawerEventHandler::DrawerEventFrameTemporary("Preview", name, 0, display));
        ICoreEventHandler::CoreEventLoaded loaded;
        loaded.text = "Preview";
        loaded.fileName = name;
        loaded.stage = ICoreEventHandler::CoreEventLoaded::LOAD_PREVIEW;
        events_.PublishCore(&ICoreEventHandler::HandleLoaded, loaded);
    }

    const auto start = Clock::now();
    if (decodeFull) {
        const auto progress = host_.GetProgressController();
        if (progress)
            progress->Begin("Opening " + QFileInfo(QString::fromStdString(name)).fileName().toStdString());
        try {
            DecodeOptions options;
            options.pixelLimit = pixelLimit_;
            options.allowSixteenBit = input.allowSixteenBit;
            if (progress)
                options.progress = [progress](double fraction) { progress->SetProgress(fraction); };
            const ImageDecoder::Result full = ImageDecoder::DecodeFull(source_.GetPixelFile().utf8string(), source_.header,
                                                                       options, &events_.GetClosedFlag());
            working = full.frame;
            scaled = full.scaledForMemory;
            display = FrameOps::ToDisplay(working);
        } catch (const std::exception& e) {
            if (progress)
                progress->End();
            FinishLoadFailed(jobId, name, "Cannot open \"" + name + "\": " + e.what());
            return;
        }
        if (progress)
            progress->End();
    } else {
        const Conf::FrameInfo& info = working->GetFrameInfo();
        const std::uint64_t pixels = std::uint64_t(info.width) * std::uint64_t(info.height);
        if (pixelLimit_ > 0 && pixels > pixelLimit_) {
            // A picture taken over without a file (pasted, dropped) is reduced here, not on
            // the thread that handed it over.
            const double scale = std::sqrt(double(pixelLimit_) / double(pixels));
            Conf::FrameInfo target = info;
            target.width = std::max(1, int(info.width * scale));
            target.height = std::max(1, int(info.height * scale));
            try {
                working = FrameOps::Resize(*working, target);
            } catch (const std::exception& e) {
                FinishLoadFailed(jobId, name, "Cannot open \"" + name + "\": " + e.what());
                return;
            }
            scaled = true;
            display.reset();
        }
        if (!display)
            display = FrameOps::ToDisplay(working);
    }
    // Levels first: a canvas that gets a frame without them has only the full frame to draw
    // from until its copy at the on-screen size is made.
    BuildLevels(display);
    frames_.SetFull(working, display, scaled, MinAlphaOf(working, {}));
    host_.OnFullFrame(working->GetFrameInfo());
    const double elapsedMs = CountRender(MillisecondsSince(start));
    VLOG(30) << "Full frame of " << name << " ready: " << working->GetFrameInfo().width << "x"
             << working->GetFrameInfo().height << (scaled ? " (reduced for memory)" : "") << " in " << elapsedMs
             << " ms";

    events_.PublishDrawer(&IDrawerEventHandler::HandleFrame,
                          IDrawerEventHandler::DrawerEventFrame("Loaded", name, -1,
                                                                IDrawerEventHandler::DrawerEventFrame::REASON_LOADED));
    ICoreEventHandler::CoreEventLoaded loaded;
    loaded.text = "Loaded";
    loaded.fileName = name;
    loaded.stage = ICoreEventHandler::CoreEventLoaded::LOAD_FULL;
    events_.PublishCore(&ICoreEventHandler::HandleLoaded, loaded);
    CoreJobs::Outcome outcome;
    outcome.text = "Loaded";
    events_.PublishCore(&ICoreEventHandler::HandleJobDone, jobs_.Finish(jobId, outcome));
}

void CoreRenderer::FinishLoadFailed(std::uint64_t jobId, const std::string& name, const std::string& message)
{
    if (!events_.IsClosed())
        LOG(ERROR) << message;
    frames_.SetFailed(message);
    ICoreEventHandler::CoreEventLoaded failed;
    failed.text = message;
    failed.fileName = name;
    failed.stage = ICoreEventHandler::CoreEventLoaded::LOAD_FAILED;
    events_.PublishCore(&ICoreEventHandler::HandleLoaded, failed);
    events_.PublishCore(&ICoreEventHandler::HandleThrow,
                        ICoreEventHandler::ThrowEvent(std::make_shared<PhotoCoreException>(message), name));
    CoreJobs::Outcome outcome;
    outcome.success = false;
    outcome.text = "Loading failed";
    outcome.reason = message;
    events_.PublishCore(&ICoreEventHandler::HandleJobDone, jobs_.Finish(jobId, outcome));
}

void CoreRenderer::RunRender(const Target& target, std::uint64_t jobId)
{
    const auto start = Clock::now();
    const std::string fileName = host_.GetFileName();
    CoreJobs::Outcome outcome;
    outcome.text = target.name;
    if (!frames_.IsFullReady()) {
        LOG(WARNING) << "Edit \"" << target.name << "\" not rendered: the picture is not loaded";
        outcome.success = false;
        outcome.reason = "The picture is not loaded";
        events_.PublishCore(&ICoreEventHandler::HandleJobDone, jobs_.Finish(jobId, outcome));
        return;
    }
    std::vector<EditStep> steps;
    for (const EditStep& step : target.steps)
        if (!failedSteps_.count(step.id))
            steps.push_back(step);
    bool dropped = steps.size() != target.steps.size();
    const CoreFrames::RenderBase base = frames_.GetRenderBase(steps);
    const std::unique_ptr<PreviewCache::Entry> preview = preview_.Take();

    DataVideoPtr working = base.working;
    for (std::size_t i = base.firstStep; i < steps.size();) {
        const Proc::SettingsBase& settings = *steps[i].settings;
        // The last preview already shows this step when it was made on the same frame (an
        // 8-bit working frame is its own display frame).
        if (i + 1 == steps.size() && preview && preview->base == working
            && EditRegistry::Equal(*preview->settings, settings)) {
            working = preview->frame;
            ++i;
            continue;
        }
        try {
            working = FrameOps::Apply(working, settings);
            ++i;
        } catch (const std::exception& e) {
            const std::string message = "\u201c" + settings.GetDisplayName() + "\u201d could not be applied: " + e.what();
            LOG(ERROR) << "Edit " << message;
            failedSteps_.insert(steps[i].id);
            host_.OnStepFailed(steps[i].id);
            steps.erase(steps.begin() + std::ptrdiff_t(i));
            dropped = true;
            outcome.success = false;
            outcome.reason = message;
            events_.PublishCore(&ICoreEventHandler::HandleThrow,
                                ICoreEventHandler::ThrowEvent(std::make_shared<PhotoCoreException>(message), fileName));
        }
    }
    const DataVideoPtr display = FrameOps::ToDisplay(working);
    BuildLevels(display);
    frames_.SetCurrent(working, display, steps, MinAlphaOf(working, steps));
    host_.OnRendered(working->GetFrameInfo(), steps);
    const double elapsedMs = CountRender(MillisecondsSince(start));
    ICoreEventHandler::CoreEventStateChanged changed = host_.GetHistoryCounts();
    VLOG(30) << "Rendered \"" << target.name << "\" (" << steps.size() << " steps) in " << elapsedMs << " ms";

    events_.PublishDrawer(&IDrawerEventHandler::HandleFrame,
                          IDrawerEventHandler::DrawerEventFrame("Frame", target.name, -1, target.reason));
    // A step left out changed the history after the request was made: announce it as it is now.
    events_.PublishDrawer(&IDrawerEventHandler::HandleUndo,
                          IDrawerEventHandler::DrawerEventUndo("History", target.name,
                                                               dropped ? changed.undoCount : target.undoCount));
    const bool saved = dropped ? changed.saved : target.saved;
    if (target.savedChanged || dropped)
        events_.PublishDrawer(&IDrawerEventHandler::HandleChangeToSave,
                              IDrawerEventHandler::DrawerEventChangeToSave(saved ? "Saved" : "Changed", target.name,
                                                                           saved ? 0 : 1));
    changed.text = "History";
    changed.description = target.name;
    events_.PublishCore(&ICoreEventHandler::HandleStateChanged, changed);
    events_.PublishCore(&ICoreEventHandler::HandleJobDone, jobs_.Finish(jobId, outcome));
}

void CoreRenderer::RunPreview(const std::shared_ptr<const Proc::SettingsBase>& settings)
{
    const DataVideoPtr base = frames_.GetDisplay();
    preview_.Clear(); // its frame is about to be superseded
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
    preview_.Store({base, settings, frame});
    events_.PublishDrawer(&IDrawerEventHandler::HandleFrameTemporary,
                          IDrawerEventHandler::DrawerEventFrameTemporary("Preview", settings->GetDisplayName(), 1, frame));
}

void CoreRenderer::RunCancelPreview()
{
    preview_.Clear();
    events_.PublishDrawer(&IDrawerEventHandler::HandleFrame,
                          IDrawerEventHandler::DrawerEventFrame("Preview cancelled", "", -1,
                                                                IDrawerEventHandler::DrawerEventFrame::REASON_PREVIEW_END));
}

void CoreRenderer::BuildLevels(const DataVideoPtr& display)
{
    if (!display || events_.IsClosed())
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

int CoreRenderer::MinAlphaOf(const DataVideoPtr& frame, const std::vector<EditStep>& steps) const
{
    if (!source_.header.hasAlpha || !frame)
        return -1;
    for (const auto& step : steps)
        if (EditRegistry::RemovesAlpha(*step.settings))
            return -1;
    return Proc::AlphaRange::Of(*frame).Min8();
}

double CoreRenderer::CountRender(double milliseconds)
{
    std::lock_guard<std::mutex> lock(statsMutex_);
    lastRenderMs_ = milliseconds;
    ++renderCount_;
    return milliseconds;
}

double CoreRenderer::GetLastRenderMilliseconds() const
{
    std::lock_guard<std::mutex> lock(statsMutex_);
    return lastRenderMs_;
}

int CoreRenderer::GetRenderCount() const
{
    std::lock_guard<std::mutex> lock(statsMutex_);
    return renderCount_;
}

} // namespace Quelto::Lumindra::PhotoCore

#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "core/IProgressController.h"
#include "photocore/CoreEventGate.h"
#include "photocore/CoreFrames.h"
#include "photocore/CoreJobs.h"
#include "photocore/CoreSource.h"
#include "photocore/EditHistory.h"
#include "photocore/ImageDecoder.h"
#include "photocore/PreviewCache.h"
#include "proc/EffectSettings.h"

namespace Quelto::Lumindra::PhotoCore {

// The long work of one core: the full decode, the render of the edit history, the interactive
// previews and the reduced levels for the canvas. It writes the frames and the preview cache
// and raises the frame, load and job events; what the work tells the rest of the core (the
// picture's new size and format) goes to its Host.
//
// Threads: the Run... operations run on the core's render thread, one at a time; MinAlphaOf
// and the statistics may be called from any thread. The renderer's own state is the
// statistics (statsMutex_); the frames, the preview cache and the jobs guard themselves.
class CoreRenderer {
public:
    // What the renderer needs from the core that owns it. Called on the render thread, with
    // none of the renderer's locks held.
    class Host {
    public:
        // The decode the load job starts from: a full frame the factory already decoded (small
        // pictures), or none.
        struct LoadInput {
            Proc::DataVideoPtr working;
            bool scaledForMemory = false;
            bool allowSixteenBit = true;
        };
        virtual std::string GetFileName() const = 0;
        virtual boost::intrusive_ptr<Core::IProgressController> GetProgressController() const = 0;
        virtual LoadInput GetLoadInput() const = 0;
        // The full frame is in the frames: the original and the current state have its size.
        virtual void OnFullFrame(const Conf::FrameInfo& info) = 0;
        // A step could not be rendered: it leaves the history, as if it had never been asked for.
        virtual void OnStepFailed(std::uint64_t stepId) = 0;
        // A render replaced the current frame with one of this size.
        virtual void OnRendered(const Conf::FrameInfo& info, const std::vector<EditStep>& steps) = 0;
        // The history's counts and saved state now, for the state-changed event.
        virtual ICoreEventHandler::CoreEventStateChanged GetHistoryCounts() const = 0;

    protected:
        ~Host() = default;
    };

    // What a render brings the current frame to, with what it announces afterwards.
    struct Target {
        std::vector<EditStep> steps;
        int reason = 0;
        std::string name;
        int undoCount = 0;
        int redoCount = 0;
        bool saved = false;
        bool savedChanged = false;
    };

    CoreRenderer(const CoreSource& source, std::uint64_t pixelLimit, Host& host, CoreEventGate& events,
                 CoreFrames& frames, PreviewCache& preview, CoreJobs& jobs);

    // The load job `jobId`: announces the preview on show, decodes the full frame unless the
    // factory did, announces it (or the failure), then builds the reduced levels.
    void RunLoad(std::uint64_t jobId);
    // The render job `jobId`: applies the target's steps from the nearest frame that has some
    // of them (or reuses the last preview of the last step) and announces the new frame. A step
    // that fails is reported (one throw event naming the edit and the reason), taken out of the
    // history through the host and left out of this render and of every later one.
    void RunRender(const Target& target, std::uint64_t jobId);
    void RunPreview(const std::shared_ptr<const Proc::SettingsBase>& settings);
    void RunCancelPreview();

    // Smallest alpha of a frame that shows `steps`; -1 when it has no alpha channel. Scans the
    // pixels: render thread, or a small frame.
    int MinAlphaOf(const Proc::DataVideoPtr& frame, const std::vector<EditStep>& steps) const;

    double GetLastRenderMilliseconds() const;
    int GetRenderCount() const;

private:
    void FinishLoadFailed(std::uint64_t jobId, const std::string& name, const std::string& message);
    void BuildLevels(const Proc::DataVideoPtr& display);
    // Records one finished load or render; returns its duration.
    double CountRender(double milliseconds);

    const CoreSource& source_;
    const std::uint64_t pixelLimit_;
    Host& host_;
    CoreEventGate& events_;
    CoreFrames& frames_;
    PreviewCache& preview_;
    CoreJobs& jobs_;

    // Render thread only: steps that failed; renders queued before the failure still list them.
    std::set<std::uint64_t> failedSteps_;

    mutable std::mutex statsMutex_; // guards the two below
    double lastRenderMs_ = 0.0;
    int renderCount_ = 0;
};

} // namespace Quelto::Lumindra::PhotoCore

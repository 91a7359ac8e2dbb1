#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "photocore/EditHistory.h"
#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoCore {

// The frames of one core: the preview shown while loading, the image as opened and the current
// state, each as a working frame (the core's format) and a display frame (BGRA), and which edit
// steps the current frame shows.
//
// Threads: the render thread changes them; any thread reads them. One mutex guards all
// members; frames are immutable, so readers get them without copying pixels.
class CoreFrames {
public:
    // Where a render starts: the current frame when it shows a prefix of the wanted steps (only
    // the rest is applied), else the original (an undo then gives back exactly its pixels).
    struct RenderBase {
        Proc::DataVideoPtr working;
        std::size_t firstStep = 0;
    };

    void SetPreview(Proc::DataVideoPtr preview, int minAlpha);
    // The full decode is there: it becomes both the original and the current state.
    void SetFull(Proc::DataVideoPtr working, Proc::DataVideoPtr display, bool scaledForMemory, int minAlpha);
    void SetFailed(std::string error);
    // A render ended: the current state shows `steps`. `minAlpha` is that of `working` (255
    // when it has no alpha channel).
    void SetCurrent(Proc::DataVideoPtr working, Proc::DataVideoPtr display, const std::vector<EditStep>& steps,
                    int minAlpha);
    // Wakes every waiter of WaitForFull; they return false.
    void Stop();

    RenderBase GetRenderBase(const std::vector<EditStep>& steps) const;
    Proc::DataVideoPtr GetDisplay() const;         // current display frame, else the preview
    Proc::DataVideoPtr GetOriginalDisplay() const; // original display frame, else the preview
    Proc::DataVideoPtr GetWorking() const;         // current working frame; null before the full decode
    Proc::DataVideoPtr GetOriginalWorking() const;
    Proc::DataVideoPtr GetWorkingOrPreview() const;
    // The steps the current frame shows.
    std::vector<std::uint64_t> GetRenderedIds() const;
    // Smallest alpha of the current frame (the preview before the full decode); 255 = opaque.
    int GetMinAlpha() const;
    bool IsFullReady() const;
    bool IsLoadFailed() const;
    bool IsScaledForMemory() const;
    // Blocks until the full frame is there (true) or its decode failed or Stop() (false, with
    // the reason in `error`).
    bool WaitForFull(std::string* error) const;
    // Adds every distinct frame held to `seen`.
    void CollectFrames(std::vector<const Proc::IDataVideo*>& seen) const;

private:
    mutable std::mutex mutex_; // guards everything below
    mutable std::condition_variable fullChanged_;
    Proc::DataVideoPtr preview_;
    Proc::DataVideoPtr originalWorking_;
    Proc::DataVideoPtr originalDisplay_;
    Proc::DataVideoPtr currentWorking_;
    Proc::DataVideoPtr currentDisplay_;
    std::vector<std::uint64_t> renderedIds_;
    int minAlpha_ = 255;
    bool fullReady_ = false;
    bool loadFailed_ = false;
    bool stopped_ = false;
    bool scaledForMemory_ = false;
    std::string loadError_;
};

// Adds `frame` to `seen` unless null or already there.
void AddDistinctFrame(std::vector<const Proc::IDataVideo*>& seen, const Proc::IDataVideo* frame);

} // namespace Quelto::Lumindra::PhotoCore

#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "core/IProgressController.h"
#include "core/IoPath.h"
#include "photocore/CoreEventGate.h"
#include "photocore/CoreFrames.h"
#include "photocore/CoreJobs.h"
#include "photocore/CoreRenderer.h"
#include "photocore/CoreSource.h"
#include "photocore/EditHistory.h"
#include "photocore/ICoreEventSource.h"
#include "photocore/IDebug.h"
#include "photocore/IPhotoCoreDrawer.h"
#include "photocore/IPhotoCoreProcessing.h"
#include "photocore/ImageDecoder.h"
#include "photocore/ImageSource.h"
#include "photocore/PreviewCache.h"
#include "photocore/RenderQueue.h"
#include "photocore/SelectionStore.h"
#include "photocore/SettingsCore.h"
#include "proc/EffectSettings.h"

namespace Quelto::Lumindra::PhotoCore {

// The requests and queries of one editing core, and the jobs that carry them out. The core
// object that users hold (EditingCore) forwards to it; it is shared with the jobs on the render
// thread so that a job can finish safely even if the core's last reference is dropped while it
// runs.
//
// The state is split by responsibility: the edit history (EditHistory, guarded by historyMutex_),
// the frames (CoreFrames), the last preview (PreviewCache), the selections (SelectionStore) and
// the jobs (CoreJobs), each guarding itself; the decode and render work is the renderer's
// (CoreRenderer), and the events go out through a gate closed at shutdown (CoreEventGate).
// Frame settings are immutable snapshots handed out as shared values.
//
// Threads: queries and requests come from any thread and return at once. The history is updated
// on the calling thread (so counts and the saved state are current when a request returns); the
// long work (open, render, snapshot, save) runs as jobs on the render thread, one at a time, and
// each ends with a job-done event (success, or a reason a person can read). The render thread
// raises every event. After Shutdown() no event is raised any more.
class CoreEngine : public std::enable_shared_from_this<CoreEngine>,
                   public ICoreEventSource,
                   public IPhotoCoreProcessing,
                   public IDebug,
                   private CoreRenderer::Host {
public:
    CoreEngine(CoreSource source, std::string sessionId, std::uint64_t pixelLimit);
    ~CoreEngine() override;

    // Stops the render thread (joining it unless called from it); drops queued work.
    void Shutdown();

    // --- Loading (called by the factory before the core is handed out) ---
    // The frame shown first: a reduced display preview, or the full working frame.
    void SetInitialFrame(const ImageDecoder::Result& first);
    // Queues the announcement of the preview and the full decode (unless the full frame is
    // already there), then the reduced levels.
    void PostLoad();
    // Blocks until the full frame is ready (true) or its decode failed (false, `error` set).
    bool WaitForFullFrame(std::string* error) const { return frames_.WaitForFull(error); }
    // For restored cores: the history to rebuild, rendered after the load.
    void RestoreHistory(const HistoryState& history);
    void SetFileName(const std::string& utf8Name);

    const CoreSource& GetSource() const { return source_; }
    const std::string& GetSessionId() const { return sessionId_; }
    // The session folder (Util::GetTempDirPath() + the session id); not created here.
    ioPath GetSessionFolder() const;
    // Creates the session folder when it does not exist. Throws PhotoCoreException.
    ioPath EnsureSessionFolder() const;

    // --- ICoreEventSource ---
    void RegisterCoreEventHandler(ICoreEventHandler* handler) override;
    void UnregisterCoreEventHandler(ICoreEventHandler* handler) override;
    void RegisterDrawerEventHandler(IDrawerEventHandler* handler) override;
    void UnregisterDrawerEventHandler(IDrawerEventHandler* handler) override;

    // --- Drawer ---
    Proc::DataVideoPtr GetVideo() const;
    Proc::DataVideoPtr GetOriginalVideo() const;
    std::shared_ptr<const SettingsCore> GetFrameSettings(int index) const;
    void ApplyEffect(const Proc::SettingsBase& settings);
    void PreviewEffect(const Proc::SettingsBase& settings);
    void CancelPreview();
    IPhotoCoreDrawer::AlphaInfo GetAlphaInfo() const;
    void SetDrawable(IDrawable* drawable) { drawable_.store(drawable); }
    IDrawable* GetDrawable() const { return drawable_.load(); }
    bool MayRenderCanvas() const { return !overlayOnly_.load(); }
    Proc::DataVideoPtr GetVideoForRendering() const;
    bool WaitForIdle(int timeoutMs) const { return queue_.WaitForIdle(timeoutMs); }

    // Asks the drawable (on the calling UI thread) for the overlay items alone, over
    // transparency, cut to the picture. Null without a drawable or when it has no items.
    // Throws PhotoCoreException with a readable reason when they cannot be placed on the
    // picture (it is not yet the size the queued edits give it).
    Proc::DataVideoPtr RenderOverlay();

    // --- History ---
    bool CanUndo() const;
    bool CanRedo() const;
    void Undo();
    void Redo();
    int GetUndoCount() const;
    int GetRedoCount() const;
    std::vector<std::string> GetHistory() const;
    HistoryState GetHistoryState() const;

    // --- State questions ---
    bool IsSaved() const;
    bool HasHistoryOrFileChanged() const;
    std::uint64_t GetMemorySize() const;
    // The size and modification time the source file is compared with (those it had when it
    // was read, or after the core itself wrote it).
    void SetFileBaseline(std::uint64_t size, std::int64_t modifiedMs);
    std::pair<std::uint64_t, std::int64_t> GetFileBaseline() const;
    // Records a successful save to `utf8Name`: the current state becomes the saved one.
    void MarkSaved(const std::string& utf8Name);
    // Records that a save replaced the source file with the current state and its original
    // could not be kept: a restore starts from the file as it is now.
    void MarkSourceReplaced();

    // The full working frame of the current state (waits for pending renders). Null when the
    // picture could not be loaded.
    Proc::DataVideoPtr GetWorkingFrame() const;
    Proc::DataVideoPtr GetOriginalWorkingFrame() const;

    // Runs `fn` on the render thread after the queued jobs and waits for it (inline when
    // called from the render thread). Rethrows what `fn` throws.
    void RunOnRenderThread(const std::function<void()>& fn);
    // Queues `fn` on the render thread without waiting.
    void PostTask(std::function<void()> fn);

    // Starts `work` as a job of `kind` on the render thread, after the queued ones, and returns
    // its id at once. The job-done event carries what `work` returns (its text and code), or
    // the reason when it throws.
    std::uint64_t StartJob(int kind, std::string fileName, std::function<CoreJobs::Outcome()> work);
    // Waits until job `id` ended and returns its event. On the application's UI thread the
    // window keeps painting and its timers keep running meanwhile (user input waits).
    // From the render thread itself it cannot wait (the job would never run): it fails at once.
    ICoreEventHandler::CoreEventJobDone WaitForJob(std::uint64_t id);

    // --- Settings ---
    void SetColorspaceConverterSettings(const Proc::SettingsColorspaceConverter& settings);
    void SetLanguage(const std::string& language);
    std::string GetLanguage() const;
    void SetProgressController(const boost::intrusive_ptr<Core::IProgressController>& progress);
    boost::intrusive_ptr<Core::IProgressController> GetProgressController() const override;

    // Selections (kept in memory; their files are the IO engine's business).
    SelectionStore& GetSelections() { return selections_; }
    const SelectionStore& GetSelections() const { return selections_; }

    // --- IPhotoCoreProcessing ---
    bool IsScaledForMemory() const override;
    Conf::FrameInfo GetSourceFrameInfo() const override;
    bool IsFullFrameReady() const override;

    // --- IDebug ---
    std::string GetDebugInfo() const override;
    double GetLastRenderMilliseconds() const override;
    int GetRenderCount() const override;

private:
    enum QueueKind { QUEUE_LOAD, QUEUE_RENDER, QUEUE_PREVIEW, QUEUE_CANCEL_PREVIEW, QUEUE_TASK };

    // Caller holds historyMutex_.
    CoreRenderer::Target MakeTargetLocked(int reason, const std::string& name, bool wasSaved) const;
    Conf::FrameInfo LogicalInfoLocked(std::size_t stepCount) const;
    // Caller holds metaMutex_. Without `geometry`, the frame is the image as opened.
    std::shared_ptr<const SettingsCore> MakeSettingsLocked(const Conf::FrameInfo& info,
                                                           const FrameGeometry* geometry = nullptr) const;
    // Where the original's pixels lie after the first `count` of `steps`. Caller holds
    // historyMutex_ when `steps` is the history's.
    FrameGeometry GeometryOf(const std::vector<EditStep>& steps, std::size_t count) const;

    void PostRender(CoreRenderer::Target target);

    // --- CoreRenderer::Host ---
    std::string GetFileName() const override;
    LoadInput GetLoadInput() const override;
    void OnFullFrame(const Conf::FrameInfo& info) override;
    void OnStepFailed(std::uint64_t stepId) override;
    void OnRendered(const Conf::FrameInfo& info, const std::vector<EditStep>& steps) override;
    ICoreEventHandler::CoreEventStateChanged GetHistoryCounts() const override;

    const CoreSource source_;
    const std::string sessionId_;

    CoreEventGate events_;
    std::atomic<IDrawable*> drawable_ {nullptr};
    std::atomic<bool> overlayOnly_ {false};

    CoreFrames frames_;
    PreviewCache lastPreview_;
    SelectionStore selections_;
    CoreJobs jobs_;
    CoreRenderer renderer_;

    mutable std::mutex historyMutex_; // guards history_
    EditHistory history_;

    mutable std::mutex metaMutex_; // guards everything from here to the render queue
    std::shared_ptr<const SettingsCore> currentSettings_;
    std::shared_ptr<const SettingsCore> originalSettings_;
    // The full-resolution frame the factory decoded before the core was handed out (small
    // pictures), shown as the preview until the load job announces it.
    Proc::DataVideoPtr initialWorking_;
    bool initialScaled_ = false;
    bool allowSixteenBit_ = true;
    std::string fileName_;
    std::uint64_t fileSize_ = 0;
    std::int64_t fileModifiedMs_ = 0;
    boost::intrusive_ptr<Core::IProgressController> progress_;
    std::string language_;

    mutable RenderQueue queue_; // last: it stops before the state above goes
};

} // namespace Quelto::Lumindra::PhotoCore

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
#include "photocore/CoreEventForwarder.h"
#include "photocore/DrawerEventForwarder.h"
#include "photocore/ICoreEventSource.h"
#include "photocore/IDebug.h"
#include "photocore/IPhotoCoreDrawer.h"
#include "photocore/IPhotoCoreProcessing.h"
#include "photocore/ImageDecoder.h"
#include "photocore/ImageSource.h"
#include "photocore/RenderQueue.h"
#include "photocore/SettingsCore.h"
#include "proc/EffectSettings.h"

namespace Quelto::Lumindra::PhotoCore {

// What a core was opened from. Fixed once the core exists.
struct CoreSource {
    ioPath path;                      // empty for pictures that have no file
    std::string key;                  // the tool or variant key the core was asked for with
    ImageSource source = ImageSourceFile;
    ImageHeader header;               // codec, orientation, alpha, depth, resolution
    std::uint64_t fileSize = 0;       // of the file when it was read
    std::int64_t fileModifiedMs = 0;  // its modification time then (ms since the epoch)
};

// One step of the edit history. Immutable once made; shared between the history and the jobs
// that render it.
struct EditStep {
    std::uint64_t id = 0;
    std::shared_ptr<const Proc::SettingsBase> settings;
};

// The history as it can be written out and restored.
struct HistoryState {
    std::vector<std::shared_ptr<const Proc::SettingsBase>> steps; // applied and redoable, oldest first
    int position = 0;      // steps applied
    int savedPosition = 0; // position of the saved state; -1 when it can no longer be reached
};

// The state and the render thread of one editing core. The core object that users hold
// (EditingCore) forwards to it; it is shared with the jobs on the render thread so that a job
// can finish safely even if the core's last reference is dropped while it runs.
//
// Threads: queries and edit requests come from any thread. The history is updated at once on
// the calling thread (so counts and the saved state are current when a request returns);
// frames are rendered on the render thread, which also raises every event. After Shutdown()
// no event is raised any more.
class CoreEngine : public std::enable_shared_from_this<CoreEngine>,
                   public ICoreEventSource,
                   public IPhotoCoreProcessing,
                   public IDebug {
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
    bool WaitForFullFrame(std::string* error) const;
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
    const SettingsCore& GetFrameSettings(int index) const;
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
    // transparency, at the size of the current frame. Null without a drawable or overlay.
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

    // The full working frame of the current state (waits for pending renders). Null when the
    // picture could not be loaded.
    Proc::DataVideoPtr GetWorkingFrame() const;
    Proc::DataVideoPtr GetOriginalWorkingFrame() const;

    // Runs `fn` on the render thread after the queued jobs and waits for it (inline when
    // called from the render thread). Rethrows what `fn` throws.
    void RunOnRenderThread(const std::function<void()>& fn);
    // Queues `fn` on the render thread without waiting.
    void PostTask(std::function<void()> fn);

    // --- Settings ---
    void SetColorspaceConverterSettings(const Proc::SettingsColorspaceConverter& settings);
    void SetLanguage(const std::string& language);
    std::string GetLanguage() const;
    void SetProgressController(const boost::intrusive_ptr<Core::IProgressController>& progress);
    boost::intrusive_ptr<Core::IProgressController> GetProgressController() const;

    // --- Selections (kept in memory; their files are the IO engine's business) ---
    void StoreSelection(const std::string& key, const Proc::DataVideoPtr& selection);
    Proc::DataVideoPtr FindSelection(const std::string& key) const;
    void ReleaseSelection(const std::string& key);
    // Released since last stored: its file, if still on disk, is on its way out and not to be read.
    bool IsSelectionReleased(const std::string& key) const;
    std::vector<std::string> GetSelectionKeys() const;

    // --- IPhotoCoreProcessing ---
    bool IsScaledForMemory() const override;
    Conf::FrameInfo GetSourceFrameInfo() const override;
    bool IsFullFrameReady() const override;

    // --- IDebug ---
    std::string GetDebugInfo() const override;
    double GetLastRenderMilliseconds() const override;
    int GetRenderCount() const override;

private:
    enum JobKind { JOB_LOAD, JOB_RENDER, JOB_PREVIEW, JOB_CANCEL_PREVIEW, JOB_TASK };

    // What a render job brings the current frame to, with what it announces afterwards.
    struct RenderTarget {
        std::vector<EditStep> steps;
        int reason = 0;
        std::string name;
        int undoCount = 0;
        int redoCount = 0;
        bool saved = false;
        bool savedChanged = false;
    };

    // The result of the last preview, kept so that committing the same settings reuses it.
    struct PreviewResult {
        Proc::DataVideoPtr base;
        std::shared_ptr<const Proc::SettingsBase> settings;
        Proc::DataVideoPtr frame;
    };

    void RunLoad();
    void RunRender(const RenderTarget& target);
    void RunPreview(const std::shared_ptr<const Proc::SettingsBase>& settings);
    void RunCancelPreview();

    // Caller holds mutex_.
    RenderTarget MakeTargetLocked(int reason, const std::string& name, bool wasSaved) const;
    // Snapshots are append-only: making one for a query does not change the core's state.
    const SettingsCore* MakeSnapshotLocked(const Conf::FrameInfo& info) const;
    const SettingsCore* StepSnapshotLocked(std::size_t stepIndex) const;
    Conf::FrameInfo LogicalInfoLocked(std::size_t stepCount) const;
    bool IsSavedLocked() const { return position_ == savedPosition_; }
    bool HasAlphaChannelLocked() const;

    void PostRender(RenderTarget target);
    void BuildLevels(const Proc::DataVideoPtr& display);

    template <class Method, class Event>
    void PublishDrawer(Method method, const Event& event)
    {
        if (!stopping_.load())
            drawerEvents_.PublishEvent(method, event);
    }
    template <class Method, class Event>
    void PublishCore(Method method, const Event& event)
    {
        if (!stopping_.load())
            coreEvents_.PublishEvent(method, event);
    }

    const CoreSource source_;
    const std::string sessionId_;
    const std::uint64_t pixelLimit_;

    CoreEventForwarder coreEvents_;
    DrawerEventForwarder drawerEvents_;
    std::atomic<bool> stopping_ {false};
    std::atomic<IDrawable*> drawable_ {nullptr};
    std::atomic<bool> overlayOnly_ {false};

    mutable std::mutex mutex_; // guards everything from here to the render queue
    mutable std::condition_variable fullFrameChanged_;
    Proc::DataVideoPtr preview_;         // display frame shown until the full frame is there
    Proc::DataVideoPtr originalWorking_; // the full decode
    Proc::DataVideoPtr originalDisplay_;
    Proc::DataVideoPtr currentWorking_;
    Proc::DataVideoPtr currentDisplay_;
    std::vector<std::uint64_t> renderedIds_; // the steps the current frame shows
    std::unique_ptr<PreviewResult> lastPreview_;
    bool fullReady_ = false;
    bool loadFailed_ = false;
    std::string loadError_;
    bool scaledForMemory_ = false;
    bool allowSixteenBit_ = true;

    std::vector<EditStep> steps_;
    int position_ = 0;
    int savedPosition_ = 0;
    std::uint64_t nextStepId_ = 1;

    // Snapshots of frame settings: append-only, so references handed out stay valid.
    mutable std::deque<std::unique_ptr<SettingsCore>> snapshots_;
    const SettingsCore* currentSettings_ = nullptr;
    const SettingsCore* originalSettings_ = nullptr;
    mutable std::map<std::uint64_t, const SettingsCore*> stepSettings_; // by step id, made on demand
    std::string fileName_;
    std::uint64_t fileSize_ = 0;
    std::int64_t fileModifiedMs_ = 0;

    mutable Proc::DataVideoPtr alphaFrame_; // the frame alphaMin_ was measured on
    mutable std::uint8_t alphaMin_ = 255;

    std::map<std::string, Proc::DataVideoPtr> selections_;
    std::set<std::string> releasedSelections_;
    boost::intrusive_ptr<Core::IProgressController> progress_;
    std::string language_;
    double lastRenderMs_ = 0.0;
    int renderCount_ = 0;

    mutable RenderQueue queue_; // last: it stops before the state above goes
};

} // namespace Quelto::Lumindra::PhotoCore

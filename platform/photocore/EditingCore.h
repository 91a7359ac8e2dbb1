#pragma once

#include <memory>

#include "core/RefCounted.h"
#include "photocore/CoreIO.h"
#include "photocore/CoreTracker.h"
#include "photocore/IPhotoCore.h"

namespace Quelto::Lumindra::PhotoCore {

class CoreEngine;

// The editing core object that users hold: one open image. It forwards to its CoreEngine (the
// state and the render thread, shared with running jobs) and owns the IO engine, the tracker
// and the serializer. Made only by PhotoCoreFactory. Its destructor stops the render thread;
// no event is raised after it.
class EditingCore : public Core::RefCounted, public IPhotoCore {
public:
    EditingCore(std::shared_ptr<CoreEngine> engine, MetadataSettings metadata, SettingsSave saveSettings);
    ~EditingCore() override;

    CoreEngine& GetEngine() { return *engine_; }

    // IPhotoCoreDrawer
    Proc::DataVideoPtr GetVideo() const override;
    Proc::DataVideoPtr GetVideoWithMask() const override;
    Proc::DataVideoPtr GetOriginalVideo() const override;
    std::shared_ptr<const SettingsCore> GetFrameSettings(int index) const override;
    IDebug* GetDebugEngine() const override;
    void ApplyEffect(const boost::intrusive_ptr<Proc::IEffectSettings>& effect) override;
    void PreviewEffect(const boost::intrusive_ptr<Proc::IEffectSettings>& effect) override;
    void CancelPreview() override;
    AlphaInfo GetAlphaInfo() const override;
    void SetDrawable(IDrawable* drawable) override;
    bool MayRenderCanvas() const override;
    Proc::DataVideoPtr GetVideoForRendering() const override;
    bool HasLayerOfKind(int kind) const override;
    bool WaitForIdle(int timeoutMs = -1) const override;

    // IPhotoCoreUndoBase
    bool CanUndo() const override;
    bool CanRedo() const override;
    void Undo() override;
    void Redo() override;
    int GetUndoCount() const override;
    int GetRedoCount() const override;
    std::vector<std::string> GetHistory() const override;

    // IPhotoCore
    IPhotoCoreIO& GetIOEngine() override { return *io_; }
    const IPhotoCoreIO& GetIOEngine() const override { return *io_; }
    IPhotoCoreTracker& GetTrackerEngine() override { return tracker_; }
    IPhotoCoreProcessing& GetProcessing() override;
    const IPhotoCoreProcessing& GetProcessing() const override;
    ICoreEventSource& GetEventSource() override;
    boost::intrusive_ptr<PhotoUtil::ISerializer> GetSerializer() override { return serializer_; }
    void SetColorspaceConverterSettings(const Proc::SettingsColorspaceConverter& settings) override;
    void SetLanguage(const std::string& language) override;
    void SetProgressController(const boost::intrusive_ptr<Core::IProgressController>& progress) override;
    bool HasUnsavedChanges() const override;
    bool HasHistoryOrFileChanged() const override;
    std::uint64_t GetMemorySize() const override;

private:
    std::shared_ptr<CoreEngine> engine_;
    boost::intrusive_ptr<PhotoUtil::ISerializer> serializer_;
    std::unique_ptr<CoreIO> io_;
    CoreTracker tracker_;
};

} // namespace Quelto::Lumindra::PhotoCore

#pragma once

// A stand-in editing core for the states that a real core reaches only with great effort: a
// given memory size, given answers to the two check questions, a write-out that can be counted.
// Everything else does nothing. Used where the cache's own rules are under test.

#include <atomic>
#include <string>

#include "core/RefCounted.h"
#include "photocore/CoreEventForwarder.h"
#include "photocore/DrawerEventForwarder.h"
#include "photocore/IPhotoCore.h"

namespace Quelto::Lumindra::Test {

class TestCore : public Core::RefCounted,
                 public PhotoCore::IPhotoCore,
                 private PhotoCore::IPhotoCoreIO,
                 private PhotoCore::IPhotoCoreProcessing,
                 private PhotoCore::IPhotoCoreTracker,
                 private PhotoCore::ICoreEventSource {
public:
    class Serializer : public Core::RefCounted, public PhotoUtil::ISerializer {
    public:
        explicit Serializer(TestCore& owner) : owner_(owner) {}
        std::string SerializeToString(const PhotoUtil::ISerializable&) const override { return {}; }
        void DeserializeFromString(const std::string&, PhotoUtil::ISerializable&) const override {}
        bool WriteOut() override
        {
            ++owner_.writeOuts;
            return owner_.writeOutSucceeds;
        }

    private:
        TestCore& owner_;
    };

    explicit TestCore(std::uint64_t memorySize, std::string sessionId = "test-session")
        : memorySize(memorySize), sessionId_(std::move(sessionId))
    {
    }

    std::atomic<std::uint64_t> memorySize;
    std::atomic<bool> unsavedChanges {false};
    std::atomic<bool> historyOrFileChanged {false};
    std::atomic<bool> writeOutSucceeds {true};
    std::atomic<int> writeOuts {0};
    mutable std::atomic<int> questionsAsked {0};
    bool scaledForMemory = false;
    ioPath sessionFolder;
    ioPath filePath;
    PhotoCore::SettingsCore frameSettings;
    std::atomic<int> sessionSaves {0};
    PhotoCore::CoreEventForwarder coreEvents;
    PhotoCore::DrawerEventForwarder drawerEvents;

    // IPhotoCore
    IPhotoCoreIO& GetIOEngine() override { return *this; }
    const IPhotoCoreIO& GetIOEngine() const override { return *this; }
    IPhotoCoreTracker& GetTrackerEngine() override { return *this; }
    IPhotoCoreProcessing& GetProcessing() override { return *this; }
    const IPhotoCoreProcessing& GetProcessing() const override { return *this; }
    ICoreEventSource& GetEventSource() override { return *this; }
    boost::intrusive_ptr<PhotoUtil::ISerializer> GetSerializer() override { return new Serializer(*this); }
    void SetColorspaceConverterSettings(const Proc::SettingsColorspaceConverter&) override {}
    void SetLanguage(const std::string&) override {}
    void SetProgressController(const boost::intrusive_ptr<Core::IProgressController>&) override {}
    bool HasUnsavedChanges() const override
    {
        ++questionsAsked;
        return unsavedChanges;
    }
    bool HasHistoryOrFileChanged() const override
    {
        ++questionsAsked;
        return historyOrFileChanged;
    }
    std::uint64_t GetMemorySize() const override { return memorySize; }

    // IPhotoCoreDrawer
    Proc::DataVideoPtr GetVideo() const override { return nullptr; }
    Proc::DataVideoPtr GetVideoWithMask() const override { return nullptr; }
    Proc::DataVideoPtr GetOriginalVideo() const override { return nullptr; }
    const PhotoCore::SettingsCore& GetFrameSettings(int) const override { return frameSettings; }
    PhotoCore::IDebug* GetDebugEngine() const override { return nullptr; }
    void ApplyEffect(const boost::intrusive_ptr<Proc::IEffectSettings>&) override {}
    void PreviewEffect(const boost::intrusive_ptr<Proc::IEffectSettings>&) override {}
    void CancelPreview() override {}
    AlphaInfo GetAlphaInfo() const override { return {}; }
    void SetDrawable(PhotoCore::IDrawable*) override {}
    bool MayRenderCanvas() const override { return true; }
    Proc::DataVideoPtr GetVideoForRendering() const override { return nullptr; }
    bool HasLayerOfKind(int) const override { return false; }
    bool WaitForIdle(int) const override { return true; }

    // IPhotoCoreUndoBase
    bool CanUndo() const override { return false; }
    bool CanRedo() const override { return false; }
    void Undo() override {}
    void Redo() override {}
    int GetUndoCount() const override { return 0; }
    int GetRedoCount() const override { return 0; }
    std::vector<std::string> GetHistory() const override { return {}; }

private:
    // IPhotoCoreIO
    PhotoCore::MetadataSettings& GetMetadataSettings() override { return metadata_; }
    const PhotoCore::MetadataSettings& GetMetadataSettings() const override { return metadata_; }
    ioPath GetFilePath() const override { return filePath; }
    std::string GetSessionId() const override { return sessionId_; }
    ioPath GetSessionFolder() const override { return sessionFolder; }
    const PhotoCore::SettingsSave& GetSaveSettings() const override { return save_; }
    SaveResult Save(const PhotoCore::SettingsSave&) override { return SaveResultFailed; }
    void SaveSession() override { ++sessionSaves; }
    bool IsSaved() const override { return !unsavedChanges; }
    void StoreSelection(const ioPath&, const Proc::DataVideoPtr&) override {}
    Proc::DataVideoPtr LoadSelection(const ioPath&) override { return nullptr; }
    void ReleaseSelection(const ioPath&) override {}
    void MarkOpened() override {}

    // IPhotoCoreProcessing
    bool IsScaledForMemory() const override { return scaledForMemory; }
    Conf::FrameInfo GetSourceFrameInfo() const override { return {}; }
    bool IsFullFrameReady() const override { return true; }

    // IPhotoCoreTracker
    void UpdateStatisticsParameters(std::map<std::string, std::string>&) const override {}
    void Track(const std::string&) override {}

    // ICoreEventSource
    void RegisterCoreEventHandler(PhotoCore::ICoreEventHandler* h) override { coreEvents.RegisterEventHandler(h); }
    void UnregisterCoreEventHandler(PhotoCore::ICoreEventHandler* h) override { coreEvents.UnregisterEventHandler(h); }
    void RegisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* h) override
    {
        drawerEvents.RegisterEventHandler(h);
    }
    void UnregisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* h) override
    {
        drawerEvents.UnregisterEventHandler(h);
    }

    std::string sessionId_;
    PhotoCore::MetadataSettings metadata_;
    PhotoCore::SettingsSave save_;
};

using TestCorePtr = boost::intrusive_ptr<TestCore>;

} // namespace Quelto::Lumindra::Test

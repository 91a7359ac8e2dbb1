#pragma once

#include <stdexcept>
#include <string>

#include <QImage>

#include <gtest/gtest.h>

#include "LumindraWorkspace/IWorkspaceController.h"
#include "photocore/DrawerEventForwarder.h"
#include "photocore/IPhotoCore.h"
#include "photocore/PhotoCoreFactory.h"
#include "proc/EffectSettings.h"

namespace Quelto::Lumindra::Test {

// A workspace controller for scene tests: a real editing core opened on a picture, its drawer
// events relayed on the core's threads to the handlers registered here, as the real controller
// relays them. What the scene and the canvas never use throws std::logic_error.
class TestController : public IWorkspaceController {
public:
    // Generous: a test picture renders in well under a second; this only stops a broken core
    // from hanging the run.
    static constexpr int kIdleTimeoutMs = 60000;

    explicit TestController(const QImage& image)
    {
        PhotoCore::CoreCreateOptions options;
        options.waitForFullFrame = true;
        core_ = PhotoCore::PhotoCoreFactory::Create(image, PhotoCore::ImageSourcePaste, options);
        EXPECT_TRUE(core_->WaitForIdle(kIdleTimeoutMs));
        core_->GetEventSource().RegisterDrawerEventHandler(&drawers_);
    }
    ~TestController() override
    {
        core_->GetEventSource().UnregisterDrawerEventHandler(&drawers_);
        core_->WaitForIdle(kIdleTimeoutMs);
    }

    PhotoCore::IPhotoCore& Core() { return *core_; }
    PhotoCore::DrawerEventForwarder& Drawers() { return drawers_; }
    // Applies an edit and waits until the core has rendered it; its events may still be on
    // their way to the UI thread.
    void ApplyAndWait(const Proc::SettingsBase& settings)
    {
        core_->ApplyEffect(Proc::EffectSettingsImpl::Create(settings));
        EXPECT_TRUE(core_->WaitForIdle(kIdleTimeoutMs));
    }

    boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> GetLumindraDrawer() override { return core_; }
    boost::intrusive_ptr<PhotoCore::IPhotoCoreUndoBase> GetUndoEngine() override { return core_; }
    void RegisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* h) override { drawers_.RegisterEventHandler(h); }
    void UnregisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* h) override
    {
        drawers_.UnregisterEventHandler(h);
    }
    const Util::ImageUtils& GetImageUtils() const override { return imageUtils_; }
    const PhotoCore::SettingsCore& GetFrameInfo() const override { return core_->GetFrameSettings(-1); }
    const PhotoCore::IPhotoCoreIO& GetIOEngine() const override { return core_->GetIOEngine(); }
    PhotoCore::IPhotoCoreIO& GetIOEngine() override { return core_->GetIOEngine(); }

    IScalableView* GetView() const override { NotUsed(); }
    IScene* GetScene() const override { NotUsed(); }
    boost::intrusive_ptr<PhotoUtil::ISerializer> GetSerializeEngine() override { NotUsed(); }
    void RegisterCoreEventHandler(PhotoCore::ICoreEventHandler*) override { NotUsed(); }
    void UnregisterCoreEventHandler(PhotoCore::ICoreEventHandler*) override { NotUsed(); }
    QString GetFileName() override { NotUsed(); }
    QString GetOriginalFileName() override { NotUsed(); }
    bool HasChanged() const override { NotUsed(); }
    PhotoCore::IPhotoCoreIO::SaveResult SaveOverwrite() override { NotUsed(); }
    PhotoCore::IPhotoCoreIO::SaveResult Save(const SaveSettings&, PhotoCore::SettingsSave&) override { NotUsed(); }
    PhotoCore::IPhotoCoreIO::SaveResult Save(const SaveSettings&) override { NotUsed(); }
    void SendSaveStatistics(const SaveSettings::StatisticsSettings&) override { NotUsed(); }
    void SaveSession() override { NotUsed(); }
    void SetProgressController(const boost::intrusive_ptr<Core::IProgressController>&) override { NotUsed(); }
    void SetDragAndDrop(IDragAndDrop*) override { NotUsed(); }
    ioPath GenerateTemporaryFilePath() override { NotUsed(); }
    Proc::DataVideoPtr LoadSelection(const std::string&, bool) override { NotUsed(); }
    void SaveSelection(const std::string&, const Proc::DataVideoPtr&) override { NotUsed(); }
    QImage GetSnapshot() override { NotUsed(); }
    Core::Property GetFileInfo() override { NotUsed(); }
    PhotoCore::IStatisticsEventHandler* GetStatisticsEventHandler() const override { NotUsed(); }
    PhotoCore::IDebug* GetDebugEngine() const override { NotUsed(); }
    const WorkspaceMetadata& GetMetadataSettings() const override { NotUsed(); }
    WorkspaceMetadata& MetadataSettings() override { NotUsed(); }
    PhotoCore::IPhotoCoreTracker& GetTrackerEngine() override { NotUsed(); }

private:
    [[noreturn]] static void NotUsed() { throw std::logic_error("not used by the scene tests"); }

    Util::ImageUtils imageUtils_;
    PhotoCore::PhotoCorePtr core_;
    PhotoCore::DrawerEventForwarder drawers_;
};

} // namespace Quelto::Lumindra::Test

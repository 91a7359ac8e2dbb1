#pragma once

#include <QImage>

#include "LumindraWorkspace/IWorkspaceController.h"
#include "photocore/DrawerEventForwarder.h"
#include "photocore/IPhotoCore.h"

namespace Quelto::Lumindra::Test {

// A workspace controller for scene tests: a real editing core made from a picture, with the
// drawer events relayed to the handlers registered here, on the core's threads, as the real
// controller does. What the scene and canvas do not use throws std::logic_error.
class TestController : public IWorkspaceController {
public:
    // Opens a core on `image` and waits until its full frame is rendered.
    explicit TestController(const QImage& image);
    ~TestController() override;

    PhotoCore::IPhotoCore& Core() { return *core_; }
    // Applies an edit and waits until the core has rendered it (its events may still be on
    // their way to the UI thread).
    void ApplyAndWait(const Proc::SettingsBase& settings);
    void SetScene(IScene* scene) { scene_ = scene; }
    PhotoCore::DrawerEventForwarder& Drawers() { return drawers_; }

    IScalableView* GetView() const override { return nullptr; }
    IScene* GetScene() const override { return scene_; }
    boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> GetLumindraDrawer() override;
    boost::intrusive_ptr<PhotoCore::IPhotoCoreUndoBase> GetUndoEngine() override;
    boost::intrusive_ptr<PhotoUtil::ISerializer> GetSerializeEngine() override;
    void RegisterCoreEventHandler(PhotoCore::ICoreEventHandler*) override;
    void UnregisterCoreEventHandler(PhotoCore::ICoreEventHandler*) override;
    void RegisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* handler) override;
    void UnregisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* handler) override;
    QString GetFileName() override { return QString(); }
    QString GetOriginalFileName() override { return QString(); }
    bool HasChanged() const override;
    PhotoCore::IPhotoCoreIO::SaveResult SaveOverwrite() override;
    PhotoCore::IPhotoCoreIO::SaveResult Save(const SaveSettings&, PhotoCore::SettingsSave&) override;
    PhotoCore::IPhotoCoreIO::SaveResult Save(const SaveSettings&) override;
    void SendSaveStatistics(const SaveSettings::StatisticsSettings&) override;
    void SaveSession() override;
    void SetProgressController(const boost::intrusive_ptr<Core::IProgressController>&) override;
    void SetDragAndDrop(IDragAndDrop*) override;
    ioPath GenerateTemporaryFilePath() override;
    Proc::DataVideoPtr LoadSelection(const std::string&, bool) override;
    void SaveSelection(const std::string&, const Proc::DataVideoPtr&) override;
    const Util::ImageUtils& GetImageUtils() const override { return imageUtils_; }
    const PhotoCore::SettingsCore& GetFrameInfo() const override;
    QImage GetSnapshot() override;
    Core::Property GetFileInfo() override;
    PhotoCore::IStatisticsEventHandler* GetStatisticsEventHandler() const override { return nullptr; }
    PhotoCore::IDebug* GetDebugEngine() const override;
    const PhotoCore::IPhotoCoreIO& GetIOEngine() const override;
    PhotoCore::IPhotoCoreIO& GetIOEngine() override;
    const WorkspaceMetadata& GetMetadataSettings() const override;
    WorkspaceMetadata& MetadataSettings() override;
    PhotoCore::IPhotoCoreTracker& GetTrackerEngine() override;

private:
    Util::ImageUtils imageUtils_;
    PhotoCore::PhotoCorePtr core_;
    PhotoCore::DrawerEventForwarder drawers_;
    IScene* scene_ = nullptr;
};

} // namespace Quelto::Lumindra::Test

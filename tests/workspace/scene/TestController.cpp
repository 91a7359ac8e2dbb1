#include "TestController.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "photocore/PhotoCoreFactory.h"
#include "proc/EffectSettings.h"

namespace Quelto::Lumindra::Test {

namespace {

// Generous: a test photo renders in well under a second; this only stops a broken core from
// hanging the run.
constexpr int kIdleTimeoutMs = 60000;

[[noreturn]] void NotUsed(const char* what)
{
    throw std::logic_error(std::string("TestController::") + what + " is not used by scene tests");
}

} // namespace

TestController::TestController(const QImage& image)
{
    PhotoCore::CoreCreateOptions options;
    options.waitForFullFrame = true;
    core_ = PhotoCore::PhotoCoreFactory::Create(image, PhotoCore::ImageSourcePaste, options);
    EXPECT_TRUE(core_->WaitForIdle(kIdleTimeoutMs));
    core_->GetEventSource().RegisterDrawerEventHandler(&drawers_);
}

TestController::~TestController()
{
    core_->GetEventSource().UnregisterDrawerEventHandler(&drawers_);
    core_->WaitForIdle(kIdleTimeoutMs);
}

void TestController::ApplyAndWait(const Proc::SettingsBase& settings)
{
    core_->ApplyEffect(Proc::EffectSettingsImpl::Create(settings));
    EXPECT_TRUE(core_->WaitForIdle(kIdleTimeoutMs));
}

boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> TestController::GetLumindraDrawer()
{
    return core_;
}

boost::intrusive_ptr<PhotoCore::IPhotoCoreUndoBase> TestController::GetUndoEngine()
{
    return core_;
}

boost::intrusive_ptr<PhotoUtil::ISerializer> TestController::GetSerializeEngine()
{
    return core_->GetSerializer();
}

void TestController::RegisterCoreEventHandler(PhotoCore::ICoreEventHandler*)
{
    NotUsed("RegisterCoreEventHandler");
}

void TestController::UnregisterCoreEventHandler(PhotoCore::ICoreEventHandler*)
{
    NotUsed("UnregisterCoreEventHandler");
}

void TestController::RegisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* handler)
{
    drawers_.RegisterEventHandler(handler);
}

void TestController::UnregisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* handler)
{
    drawers_.UnregisterEventHandler(handler);
}

bool TestController::HasChanged() const
{
    return !core_->GetIOEngine().IsSaved();
}

PhotoCore::IPhotoCoreIO::SaveResult TestController::SaveOverwrite()
{
    NotUsed("SaveOverwrite");
}

PhotoCore::IPhotoCoreIO::SaveResult TestController::Save(const SaveSettings&, PhotoCore::SettingsSave&)
{
    NotUsed("Save");
}

PhotoCore::IPhotoCoreIO::SaveResult TestController::Save(const SaveSettings&)
{
    NotUsed("Save");
}

void TestController::SendSaveStatistics(const SaveSettings::StatisticsSettings&)
{
    NotUsed("SendSaveStatistics");
}

void TestController::SaveSession()
{
    NotUsed("SaveSession");
}

void TestController::SetProgressController(const boost::intrusive_ptr<Core::IProgressController>&)
{
    NotUsed("SetProgressController");
}

void TestController::SetDragAndDrop(IDragAndDrop*)
{
    NotUsed("SetDragAndDrop");
}

ioPath TestController::GenerateTemporaryFilePath()
{
    NotUsed("GenerateTemporaryFilePath");
}

Proc::DataVideoPtr TestController::LoadSelection(const std::string&, bool)
{
    NotUsed("LoadSelection");
}

void TestController::SaveSelection(const std::string&, const Proc::DataVideoPtr&)
{
    NotUsed("SaveSelection");
}

const PhotoCore::SettingsCore& TestController::GetFrameInfo() const
{
    return core_->GetFrameSettings(-1);
}

QImage TestController::GetSnapshot()
{
    NotUsed("GetSnapshot");
}

Core::Property TestController::GetFileInfo()
{
    NotUsed("GetFileInfo");
}

PhotoCore::IDebug* TestController::GetDebugEngine() const
{
    return core_->GetDebugEngine();
}

const PhotoCore::IPhotoCoreIO& TestController::GetIOEngine() const
{
    return core_->GetIOEngine();
}

PhotoCore::IPhotoCoreIO& TestController::GetIOEngine()
{
    return core_->GetIOEngine();
}

const WorkspaceMetadata& TestController::GetMetadataSettings() const
{
    NotUsed("GetMetadataSettings");
}

WorkspaceMetadata& TestController::MetadataSettings()
{
    NotUsed("MetadataSettings");
}

PhotoCore::IPhotoCoreTracker& TestController::GetTrackerEngine()
{
    return core_->GetTrackerEngine();
}

} // namespace Quelto::Lumindra::Test

#include "photocore/EditingCore.h"

#include <glog/logging.h>

#include "core/PhotoCoreException.h"
#include "photocore/CoreEngine.h"
#include "photocore/CoreSerializer.h"

namespace Quelto::Lumindra::PhotoCore {

EditingCore::EditingCore(std::shared_ptr<CoreEngine> engine, MetadataSettings metadata, SettingsSave saveSettings)
    : engine_(std::move(engine)), serializer_(new CoreSerializer(engine_)),
      io_(std::make_unique<CoreIO>(engine_, std::move(metadata), std::move(saveSettings), serializer_))
{
}

EditingCore::~EditingCore()
{
    engine_->Shutdown();
    VLOG(30) << "Editing core " << engine_->GetSessionId() << " closed";
}

Proc::DataVideoPtr EditingCore::GetVideo() const
{
    return engine_->GetVideo();
}

Proc::DataVideoPtr EditingCore::GetVideoWithMask() const
{
    // No mask tool draws over the picture: the overlay frame is the frame itself.
    return engine_->GetVideo();
}

Proc::DataVideoPtr EditingCore::GetOriginalVideo() const
{
    return engine_->GetOriginalVideo();
}

std::shared_ptr<const SettingsCore> EditingCore::GetFrameSettings(int index) const
{
    return engine_->GetFrameSettings(index);
}

IDebug* EditingCore::GetDebugEngine() const
{
    return engine_.get();
}

void EditingCore::ApplyEffect(const boost::intrusive_ptr<Proc::IEffectSettings>& effect)
{
    if (!effect)
        throw PhotoCoreException("No edit was given to apply");
    engine_->ApplyEffect(effect->GetSettings());
    tracker_.Track(effect->GetSettings().GetDisplayName());
}

void EditingCore::PreviewEffect(const boost::intrusive_ptr<Proc::IEffectSettings>& effect)
{
    if (!effect)
        throw PhotoCoreException("No edit was given to show");
    engine_->PreviewEffect(effect->GetSettings());
}

void EditingCore::CancelPreview()
{
    engine_->CancelPreview();
}

IPhotoCoreDrawer::AlphaInfo EditingCore::GetAlphaInfo() const
{
    return engine_->GetAlphaInfo();
}

void EditingCore::SetDrawable(IDrawable* drawable)
{
    engine_->SetDrawable(drawable);
}

bool EditingCore::MayRenderCanvas() const
{
    return engine_->MayRenderCanvas();
}

Proc::DataVideoPtr EditingCore::GetVideoForRendering() const
{
    return engine_->GetVideoForRendering();
}

bool EditingCore::HasLayerOfKind(int) const
{
    return false; // shapes and text live in the workspace scene, not in the core
}

bool EditingCore::WaitForIdle(int timeoutMs) const
{
    return engine_->WaitForIdle(timeoutMs);
}

bool EditingCore::CanUndo() const
{
    return engine_->CanUndo();
}

bool EditingCore::CanRedo() const
{
    return engine_->CanRedo();
}

void EditingCore::Undo()
{
    engine_->Undo();
}

void EditingCore::Redo()
{
    engine_->Redo();
}

int EditingCore::GetUndoCount() const
{
    return engine_->GetUndoCount();
}

int EditingCore::GetRedoCount() const
{
    return engine_->GetRedoCount();
}

std::vector<std::string> EditingCore::GetHistory() const
{
    return engine_->GetHistory();
}

IPhotoCoreProcessing& EditingCore::GetProcessing()
{
    return *engine_;
}

const IPhotoCoreProcessing& EditingCore::GetProcessing() const
{
    return *engine_;
}

ICoreEventSource& EditingCore::GetEventSource()
{
    return *engine_;
}

void EditingCore::SetColorspaceConverterSettings(const Proc::SettingsColorspaceConverter& settings)
{
    engine_->SetColorspaceConverterSettings(settings);
}

void EditingCore::SetLanguage(const std::string& language)
{
    engine_->SetLanguage(language);
}

void EditingCore::SetProgressController(const boost::intrusive_ptr<Core::IProgressController>& progress)
{
    engine_->SetProgressController(progress);
}

bool EditingCore::HasUnsavedChanges() const
{
    return !engine_->IsSaved();
}

bool EditingCore::HasHistoryOrFileChanged() const
{
    return engine_->HasHistoryOrFileChanged();
}

std::uint64_t EditingCore::GetMemorySize() const
{
    return engine_->GetMemorySize();
}

} // namespace Quelto::Lumindra::PhotoCore

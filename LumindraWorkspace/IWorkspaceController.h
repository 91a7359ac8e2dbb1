#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include <QImage>
#include <QString>

#include <boost/intrusive_ptr.hpp>

#include "LumindraWorkspace/WorkspaceExport.h"
#include "core/IProgressController.h"
#include "core/IoPath.h"
#include "core/Property.h"
#include "photocore/ICoreEventHandler.h"
#include "photocore/IDebug.h"
#include "photocore/IDrawerEventHandler.h"
#include "photocore/IPhotoCoreDrawer.h"
#include "photocore/IPhotoCoreIO.h"
#include "photocore/IPhotoCoreTracker.h"
#include "photocore/IPhotoCoreUndoBase.h"
#include "photocore/IStatisticsEventHandler.h"
#include "photocore/SettingsCore.h"
#include "photocore/SettingsSave.h"
#include "photoutil/Serializer.h"
#include "proc/IDataVideo.h"
#include "util/ImageUtils.h"

namespace Quelto::Lumindra {

class IScalableView;
class IScene;
class IDragAndDrop;
class WorkspaceMetadata;

// One open image, as the rest of the module and the host see it. Handed out as a
// std::shared_ptr by WorkspaceController::Create; views, tools and buttons keep weak pointers.
// UI thread only, except the handler lists, which may be changed from any thread.
class LUMINDRA_WORKSPACE_EXPORT IWorkspaceController {
public:
    // File name of the session preview picture in the session folder.
    static const QString PREVIEW_NAME;

    struct SaveSettings {
        struct StatisticsSettings {
            std::uint32_t result = 0;      // SaveResult of the attempt: 0 success, 1 cancelled, else failure
            std::uint32_t fromSaveWindow = 0;
            std::string codec;
            std::string extension;         // without the dot
            std::int64_t fileSize = 0;     // bytes; 0 when unknown
        };
        QString fileName;
        StatisticsSettings statistics;
    };
    // How a save started with StartSave or StartSaveOverwrite ended.
    struct SaveOutcome {
        PhotoCore::IPhotoCoreIO::SaveResult result = PhotoCore::IPhotoCoreIO::SaveResultSuccess;
        QString fileName; // the file written, or meant to be
        QString reason;   // why it was not saved, for a person; empty on success and when cancelled
    };
    using SaveDone = std::function<void(const SaveOutcome&)>;

    virtual IScalableView* GetView() const = 0;
    virtual IScene* GetScene() const = 0;
    virtual boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> GetLumindraDrawer() = 0;
    virtual boost::intrusive_ptr<PhotoCore::IPhotoCoreUndoBase> GetUndoEngine() = 0;
    virtual boost::intrusive_ptr<PhotoUtil::ISerializer> GetSerializeEngine() = 0;
    virtual void RegisterCoreEventHandler(PhotoCore::ICoreEventHandler* handler) = 0;
    virtual void UnregisterCoreEventHandler(PhotoCore::ICoreEventHandler* handler) = 0;
    virtual void RegisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* handler) = 0;
    virtual void UnregisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* handler) = 0;
    virtual QString GetFileName() = 0;
    virtual QString GetOriginalFileName() = 0;
    virtual bool HasChanged() const = 0;
    virtual PhotoCore::IPhotoCoreIO::SaveResult SaveOverwrite() = 0;
    virtual PhotoCore::IPhotoCoreIO::SaveResult Save(const SaveSettings& settings, PhotoCore::SettingsSave& save) = 0;
    virtual PhotoCore::IPhotoCoreIO::SaveResult Save(const SaveSettings& settings) = 0;
    virtual void SendSaveStatistics(const SaveSettings::StatisticsSettings& statistics) = 0;
    // Save and SaveOverwrite without waiting: the transparency question is asked at once, the
    // file is written by a job of the core while the caller's event loop runs, and `done` is
    // called on the UI thread with the outcome (never before the call returns; not at all when
    // the controller dies first). Return false, starting nothing, while a save of this image is
    // still running: saves of one image never interleave.
    virtual bool StartSave(const SaveSettings& settings, SaveDone done) = 0;
    virtual bool StartSaveOverwrite(SaveDone done) = 0;
    virtual bool IsSaving() const = 0;
    // Returns once no save of this image runs (its `done` has been called); the window keeps
    // painting meanwhile.
    virtual void WaitForSave() = 0;
    virtual void SaveSession() = 0;
    virtual void SetProgressController(const boost::intrusive_ptr<Core::IProgressController>& progress) = 0;
    virtual void SetDragAndDrop(IDragAndDrop* dragAndDrop) = 0;
    virtual ioPath GenerateTemporaryFilePath() = 0;
    virtual Proc::DataVideoPtr LoadSelection(const std::string& key, bool useOnly) = 0;
    virtual void SaveSelection(const std::string& key, const Proc::DataVideoPtr& data) = 0;
    virtual const Util::ImageUtils& GetImageUtils() const = 0;
    virtual const PhotoCore::SettingsCore& GetFrameInfo() const = 0;
    virtual QImage GetSnapshot() = 0;
    virtual Core::Property GetFileInfo() = 0;
    virtual PhotoCore::IStatisticsEventHandler* GetStatisticsEventHandler() const = 0;
    virtual PhotoCore::IDebug* GetDebugEngine() const = 0;
    virtual const PhotoCore::IPhotoCoreIO& GetIOEngine() const = 0;
    virtual PhotoCore::IPhotoCoreIO& GetIOEngine() = 0;
    virtual const WorkspaceMetadata& GetMetadataSettings() const = 0;
    virtual WorkspaceMetadata& MetadataSettings() = 0;
    virtual PhotoCore::IPhotoCoreTracker& GetTrackerEngine() = 0;
    virtual ~IWorkspaceController() = default;
};

} // namespace Quelto::Lumindra

#pragma once

#include <cstdint>
#include <string>

#include "core/IoPath.h"
#include "photocore/ICoreEventHandler.h"
#include "photocore/MetadataSettings.h"
#include "photocore/SettingsSave.h"
#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoCore {

// Files of a core: the source, saving, the session folder and stored selections.
class IPhotoCoreIO {
public:
    enum SaveResult : std::uint32_t {
        SaveResultSuccess = 0,
        SaveResultCancelled = 1,
        SaveResultFailed = 2,          // encoding or writing failed; the target is left as it was
        SaveResultFormatRefused = 3,   // the format cannot be written here
        SaveResultNotWritable = 4,     // the folder or file cannot be written
    };

    virtual ~IPhotoCoreIO() = default;

    virtual MetadataSettings& GetMetadataSettings() = 0;
    virtual const MetadataSettings& GetMetadataSettings() const = 0;

    virtual ioPath GetFilePath() const = 0;        // the file the core was opened from; empty for pictures
    virtual std::string GetSessionId() const = 0;  // unique per core; names the session folder
    virtual ioPath GetSessionFolder() const = 0;   // under the application's temporary folder

    // The save settings the next save starts from (format and metadata of the source).
    virtual const SettingsSave& GetSaveSettings() const = 0;
    // Starts writing the current image (with the edits asked for until now) as a job of the core
    // and returns the job's id at once. The file is written through a temporary file and an
    // atomic rename, so a failure leaves any previous file untouched. The job-done event (kind
    // JOB_SAVE) carries the SaveResult as its code and, on failure, the reason. UI thread (it
    // asks the drawable for the overlay).
    virtual std::uint64_t StartSave(const SettingsSave& settings) = 0;
    // StartSave, then waits for the job (the window keeps painting meanwhile; see WaitForJob).
    virtual SaveResult Save(const SettingsSave& settings) = 0;
    // Waits until the core's job `id` has ended and returns its job-done event. On the UI thread
    // the window keeps painting and its timers run; user input waits until it returns.
    virtual ICoreEventHandler::CoreEventJobDone WaitForJob(std::uint64_t id) = 0;
    // Starts writing the session (history and current state) to the session folder as a job
    // (kind JOB_SNAPSHOT) and returns its id at once.
    virtual std::uint64_t SaveSession() = 0;
    // True while the image has no changes since it was opened or last saved.
    virtual bool IsSaved() const = 0;

    virtual void StoreSelection(const ioPath& key, const Proc::DataVideoPtr& selection) = 0;
    virtual Proc::DataVideoPtr LoadSelection(const ioPath& key) = 0;
    // Drops the selection stored under the key.
    virtual void ReleaseSelection(const ioPath& key) = 0;

    // Records that the image is now open in the workspace: writes the session's description
    // (source path, id) to the session folder so that a crashed session can be found again.
    virtual void MarkOpened() = 0;
};

} // namespace Quelto::Lumindra::PhotoCore

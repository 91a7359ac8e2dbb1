#pragma once

#include <optional>
#include <string>

#include <QDateTime>
#include <QString>

#include "LumindraWorkspace/WorkspaceExport.h"
#include "core/IoPath.h"

namespace Quelto::Lumindra {

// A session that a run of the editor left behind without ending cleanly (it crashed or was
// killed): the session folder of its open picture still holds that run's lock file, whose
// process is gone, and an autosave wrote the picture's state there with edits its file does not
// hold. A run that ends cleanly, or closes its picture, removes its lock file, so it leaves no
// unfinished session.
//
// Found at start, before this run opens anything; restored through
// WorkspaceControllerHelper::RestoreUnfinishedSession or discarded. A value; UI thread.
class LUMINDRA_WORKSPACE_EXPORT UnfinishedSession {
public:
    // The newest unfinished session under the temporary directory. Folders whose lock belongs
    // to a running process (another window of the editor) are left alone. The stale locks of
    // folders that hold nothing to restore (no autosave, or a picture without a file) and of
    // older unfinished sessions are removed on the way, so that each is reported once.
    static std::optional<UnfinishedSession> Find();

    // Reads the session in `folder` (absolute) whatever its lock says; empty when it holds no
    // readable autosave of a picture with a file and with edits that were not saved.
    static std::optional<UnfinishedSession> Read(const QString& folder);

    QString GetFolder() const { return folder_; }
    // The folder relative to the temporary directory, as the saved list names it.
    std::string GetFolderName() const;
    std::string GetSessionId() const { return sessionId_; }
    ioPath GetSourcePath() const { return ioPath(sourcePath_); }
    std::string GetKey() const { return key_; }
    // The picture's file name as a person knows it (the file last saved to, or opened).
    QString GetDisplayName() const;
    // The session's preview picture; the file may be missing (autosave without a preview).
    QString GetPreviewPath() const;
    // When it was autosaved.
    QDateTime GetSavedAt() const { return savedAt_; }

    // Removes the session folder with everything in it. False (logged) when some of it stays.
    bool Discard() const;

private:
    QString folder_;
    std::string sessionId_;
    std::string sourcePath_;
    std::string key_;
    std::string fileName_;
    QDateTime savedAt_;
};

} // namespace Quelto::Lumindra

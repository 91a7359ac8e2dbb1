#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <QString>

#include "LumindraWorkspace/WorkspaceExport.h"
#include "core/IoPath.h"
#include "photocore/IPhotoCore.h"
#include "photoutil/Serializer.h"

class QFile;

namespace Quelto::Lumindra {

// What of the core cache outlives the process: the cores written out to their folders under the
// temporary directory (the dumped names), the saved list of them in the settings store, and the
// lock file that marks the open core's session folder as in use.
//
// Without session mode nothing is restored or saved, and evicted cores are never written out;
// a push still writes the pushed core out so that it comes back with its edits.
//
// The session folders of the cores built in this run (Track) are removed when the store is
// destroyed - which a run that crashes never gets to, so its folders stay for recovery. Dumped
// folders stay for the next run in session mode, unless the host keeps nothing after a run
// (KeepNothingAfterRun).
//
// A write-out that fails loses nothing by itself: the caller gets the core back to keep in
// memory, before anyone waiting for the name is let go.
//
// Thread-safe. Write-outs, the saved list and the lock file are written with no mutex held, so
// a write-out on the preload worker never stalls the UI thread's lookups. The one wait: a
// lookup of a name whose write-out is under way waits for that write-out, because it decides
// whether the core comes back from its folder or from memory (this happens only when that very
// file is reopened meanwhile).
class LUMINDRA_WORKSPACE_EXPORT SessionStore : public PhotoUtil::ISerializable {
public:
    // A core leaving the cache, to be written out.
    struct Leaving {
        std::string name;
        PhotoCore::PhotoCorePtr core;
    };
    enum class WriteOutWhen { Always, IfEdited };
    // Called with each core whose write-out failed.
    using KeepUnwritten = std::function<void(const Leaving&)>;

    // In session mode the dumped names of the saved session are restored (items whose folder is
    // gone are skipped; an unreadable list starts empty).
    explicit SessionStore(bool sessionMode);
    // Removes the lock file and the folders of this run (see above). Call once no core of this
    // run is alive any more: a core would write into its folder again.
    ~SessionStore() override;
    SessionStore(const SessionStore&) = delete;
    SessionStore& operator=(const SessionStore&) = delete;

    bool IsSessionMode() const { return sessionMode_; }

    // Announces the write-out of `name`'s core: TakeDumpFolder(name) waits from now until the
    // matching WriteOut has recorded it. Cheap and free of I/O, so that the cache calls it under
    // its entries mutex, in the same step that removes the entry.
    void BeginWriteOut(const std::string& name);
    // Has each core write itself out (with IfEdited only a core that holds unsaved edits or a
    // history) and records the ones that succeeded as dumped, then saves the list once. Each
    // core whose write-out failed goes to `keep` before what BeginWriteOut began for its name
    // ends; every name's wait ends, whatever the outcome. Returns the names that were written,
    // then those that failed. Call with no lock held.
    struct Outcome {
        std::vector<std::string> written;
        std::vector<std::string> failed;
    };
    Outcome WriteOut(const std::vector<Leaving>& leaving, WriteOutWhen when, const KeepUnwritten& keep = {});
    // Returns once no write-out of `name` is under way.
    void WaitForWriteOut(const std::string& name) const;

    std::vector<std::string> GetDumpedNames() const;
    // Removes the name from the dumped names and returns its folder (empty when not dumped).
    std::string TakeDumpFolder(const std::string& name);
    // Records a core's state written to `folderName` (under the temporary directory) by another
    // way than WriteOut - the autosave of a run that ended without cleaning up - so that the
    // next build of `name` restores it. Saves the list.
    void AdoptDump(const std::string& name, const std::string& folderName);

    // A core of this run uses `sessionFolder`; it goes when the store does unless it is dumped.
    void Track(const ioPath& sessionFolder);
    // In session mode too, the dumped folders and the saved list of them go when the store does:
    // a run that ends cleanly leaves nothing in the temporary directory.
    void KeepNothingAfterRun();

    // Marks the open core's session folder as in use with a lock file (the previous lock file is
    // removed). A folder that cannot hold it is logged and otherwise ignored.
    void LockCurrent(const ioPath& sessionFolder);
    void ReleaseLockFile();
    QString GetLockFilePath() const;
    // The name of the lock file inside a session folder.
    static QString LockFileName();

    // The saved-session form of the dumped names: "items", each with "sid" (folder under the
    // temporary directory) and "name" (the file).
    void Serialize(boost::property_tree::ptree& out) const override;
    void Deserialize(const boost::property_tree::ptree& in) override;

private:
    void SaveDumpedList() const;
    void RestoreDumpedList();
    void RemoveFoldersOfThisRun();

    const bool sessionMode_;
    std::vector<std::string> dumpedNames_;
    std::map<std::string, std::string> dumpFolders_;
    std::multiset<std::string> writingOut_; // names between BeginWriteOut and the end of WriteOut
    std::set<std::string> trackedFolders_;  // absolute, without a trailing separator
    bool keepDumps_;
    std::unique_ptr<QFile> lockFile_;
    // Guards dumpedNames_, dumpFolders_, writingOut_, trackedFolders_, keepDumps_ and lockFile_;
    // never held during I/O. Taken
    // after the cache's entries mutex when both are held.
    mutable std::mutex mutex_;
    mutable std::condition_variable writtenOut_; // signalled with mutex_ when writingOut_ shrinks
    // Held from taking the snapshot of the list to handing it to the settings store (which
    // writes it on its own thread), so that an older snapshot never overwrites a newer one.
    mutable std::mutex saveMutex_;
};

} // namespace Quelto::Lumindra

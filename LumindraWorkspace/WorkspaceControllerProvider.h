#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <QFile>
#include <QObject>
#include <QPixmap>
#include <QString>

#include "LumindraWorkspace/WorkspaceExport.h"
#include "core/IoPath.h"
#include "photocore/IPhotoCore.h"
#include "photocore/IStatisticsEventHandler.h"
#include "photocore/ImageSource.h"
#include "photocore/PhotoCoreFactory.h"
#include "photoutil/Serializer.h"

namespace Quelto::Lumindra {

// Hands out one editing core per opened image and keeps the cores of recently opened and of
// neighbouring files alive, so that stepping from file to file neither reloads nor re-decodes.
//
// The cache is bounded by the sum of the cached cores' memory sizes (kCacheBoundBytes), never
// by a count; the core of the open controller (the current name) is never evicted and never
// counted. A worker thread preloads the files of the host's newest preload request (from its
// third name on) within the same bound, each with its full-resolution frame decoded, so that
// opening one of them is immediate. A stack of pushed controllers lets another mode of the
// host take the workspace over and give it back with the edits intact.
//
// Threads: construction, destruction, GetCore and the slots run on the UI thread; the worker
// builds cores concurrently. One mutex per file serialises all building of that file's core, so
// a foreground request and a preload never build one file twice: the later one finds the
// earlier one's core in the cache. Lock order: the file's mutex, then the cache's entries
// mutex, then its names mutex, then its sizes mutex. The queue mutex is never held together
// with the entries mutex.
class LUMINDRA_WORKSPACE_EXPORT WorkspaceControllerProvider : public QObject {
    Q_OBJECT
public:
    // Sum of the cached cores' sizes (the current one excluded) above which neighbours are
    // evicted and preloading stops: room for several decoded 24-megapixel photographs while
    // leaving most of a typical desktop's memory to the open image and its history.
    static constexpr std::uint64_t kCacheBoundBytes = 700'000'000;

    // How cores are built; the default uses PhotoCoreFactory. Replaceable for tools and tests
    // that need to observe or steer creation (set it before the first request). Called on the
    // UI thread or on the worker, under the file's mutex.
    struct CoreFactory {
        std::function<PhotoCore::PhotoCorePtr(const ioPath& path, const std::string& key,
                                              const PhotoCore::CoreCreateOptions& options)>
            createFromFile;
        std::function<PhotoCore::PhotoCorePtr(const QImage& image, PhotoCore::ImageSource source,
                                              const PhotoCore::CoreCreateOptions& options)>
            createFromImage;
        std::function<PhotoCore::PhotoCorePtr(const ioPath& folder, const PhotoCore::CoreCreateOptions& options)>
            restore;
    };
    static CoreFactory DefaultCoreFactory();

    // The cores, keyed by platform file name (Util::GetPlatformFileName). Thread-safe; every
    // operation takes the entries mutex (and, after it, the names or sizes mutex).
    //
    // In session mode an evicted core that holds edits writes itself out to its session folder
    // and its name joins the dumped names; the list of dumped names is kept in the settings
    // store so that a later run (or a later open of the file) rebuilds the core with its edits.
    class LUMINDRA_WORKSPACE_EXPORT Cache : public PhotoUtil::ISerializable {
    public:
        // In session mode the dumped names of the saved session are restored (items whose
        // folder is gone are skipped; an unreadable list starts empty).
        explicit Cache(bool sessionMode);
        ~Cache() override;
        Cache(const Cache&) = delete;
        Cache& operator=(const Cache&) = delete;

        // The cached core of the name, as a further reference; null when none.
        PhotoCore::PhotoCorePtr Find(const std::string& name) const;
        // Caches the core under the name (replacing an earlier one) and remembers its size.
        void Add(const std::string& name, const PhotoCore::PhotoCorePtr& core);
        // Erases the name's entry and forgets its remembered size and known name; false when
        // there was no entry.
        bool Erase(const std::string& name);
        std::vector<std::string> GetNames() const;
        std::size_t GetSize() const;

        // Drops the entries that are neither the current one nor wanted, then, while the
        // remembered sizes of the rest plus `extraSize` exceed kCacheBoundBytes, evicts wanted
        // names from the last towards the first. Returns the total size left (0 when no entry
        // remains).
        std::uint64_t CleanupCache(std::uint64_t extraSize, const std::vector<std::string>& wanted);

        // The name the open controller uses; its core is never evicted nor counted.
        void SetCurrentName(const std::string& name);
        std::string GetCurrentName() const;
        // Marks the current core's session folder as in use with a lock file (the previous lock
        // file is removed). A folder that cannot hold it is logged and otherwise ignored.
        void LockCurrent(const ioPath& sessionFolder);
        QString GetLockFilePath() const;

        // The size the worker counts before loading a name that has no entry: its remembered
        // size, else the largest core size seen so far (neighbours in one folder are alike; a
        // zero guess would let one preload overshoot the bound). 0 for the current name.
        // Returns false when the name already has an entry.
        bool GetPreloadSize(const std::string& name, std::uint64_t* size) const;
        std::uint64_t GetRememberedSize(const std::string& name) const;
        bool IsKnownName(const std::string& name) const;

        // Dumped cores: written out to a folder under the temporary directory.
        std::vector<std::string> GetDumpedNames() const;
        // Removes the name from the dumped names and returns its folder (empty when not dumped).
        std::string TakeDumpFolder(const std::string& name);

        // While set, every cached core is accepted without asking it.
        bool IsAcceptAll() const;

        // Writes the current core out, pushes the current name on the controller stack, clears
        // the current name and removes the lock file.
        void PushCurrent();
        // Pops the last pushed name and sets accept-all; empty when the stack is empty.
        std::string PopController();
        // A core of `name` went to the open controller: the popped file, if it is this one, has
        // been given back, so cached cores are checked again from now on.
        void OnHandedOut(const std::string& name);
        std::vector<std::string> GetControllerStack() const;

        void SetCurrentTools(int tools);
        int GetCurrentTools() const;

        // The saved-session form of the dumped names: "items", each with "sid" (folder under
        // the temporary directory) and "name" (the file).
        void Serialize(boost::property_tree::ptree& out) const override;
        void Deserialize(const boost::property_tree::ptree& in) override;

    private:
        // Without session mode forgets the name; in session mode writes a core with edits out.
        // True when the core was dumped.
        bool Dispose(const std::string& name, const PhotoCore::PhotoCorePtr& core);
        void ForgetRemembered(const std::string& name);
        void RememberDump(const std::string& name, const PhotoCore::PhotoCorePtr& core);
        void SaveDumpedList() const;
        void RestoreDumpedList();
        void ReleaseLockFile();

        const bool sessionMode_;
        std::map<std::string, PhotoCore::PhotoCorePtr> entries_;
        // Guards entries_, currentName_, acceptAll_, poppedName_, the dumped names and folders,
        // lockFile_ and controllerStack_.
        mutable std::mutex entriesMutex_;
        std::set<std::string> knownNames_;
        mutable std::mutex namesMutex_; // guards knownNames_
        std::map<std::string, std::uint64_t> sizes_;
        std::uint64_t largestSize_ = 0;
        mutable std::mutex sizesMutex_; // guards sizes_ and largestSize_
        std::string currentName_;
        bool acceptAll_ = false;
        std::string poppedName_;
        std::vector<std::string> dumpedNames_;
        std::map<std::string, std::string> dumpFolders_;
        QFile lockFile_;
        std::vector<std::string> controllerStack_;
        std::atomic<int> currentTools_ {-1};
    };

    // `sessionMode`: cached cores are always reused without asking them, and the cache is kept
    // across runs. `preloadEnabled`: the host's own switch for background preloading (off for a
    // host mode that shows one image at a time); the worker preloads only when it and the
    // setting CoreCacheEnabled are both on. The cache itself works either way.
    WorkspaceControllerProvider(bool sessionMode, PhotoCore::IStatisticsEventHandler* statistics,
                                bool preloadEnabled);
    // Stops and joins the worker; the cache dies after it.
    ~WorkspaceControllerProvider() override;

    // The core of the file (or of the dropped or pasted picture when `source` says so), from
    // the cache or newly built. A failed load is retried once after the cache was emptied down
    // to the current core; the second failure is thrown (a Core::Exception with a readable
    // message). Tells the user when the image had to be scaled down for memory. UI thread.
    PhotoCore::PhotoCorePtr GetCore(const ioPath& path, const std::string& key, const QPixmap& image,
                                    PhotoCore::ImageSource source);

    PhotoCore::IStatisticsEventHandler* GetStatisticsEventHandler() const { return statistics_; }

    bool IsCoreCacheEnabled() const { return coreCacheEnabled_; }
    // Whether the worker preloads (the setting and the host's flag are on, and it is not stopping).
    bool IsPreloading() const { return running_.load(); }
    Cache& GetCache() { return *cache_; }
    const Cache& GetCache() const { return *cache_; }
    void SetCoreFactory(CoreFactory factory);

    // The cache key of a file: its platform file name.
    static std::string CacheName(const ioPath& path);

public Q_SLOTS:
    // Replaces any request the worker has not taken yet: only the newest counts. The first two
    // names are never preloaded (the host puts the files it opens itself there).
    void OnFilePreloadRequest(const std::vector<std::string>& names);
    void OnPushWorkspaceController();
    // Pops the last pushed file and asks the host to open it again (openFile); its core is then
    // accepted without the check. Every pop answers an earlier push.
    void OnPopWorkspaceController();
    void OnResetWorkspaceControllerCache(const std::string& path);
    void OnCurrentToolsChanged(int tools);

Q_SIGNALS:
    void openFile(const QString& path);

private:
    PhotoCore::PhotoCorePtr GetCoreImpl(const ioPath& path, const std::string& key, const QPixmap& image,
                                        PhotoCore::ImageSource source);
    PhotoCore::PhotoCorePtr CreateCoreImpl(const ioPath& path, std::string key, const QPixmap& image,
                                           PhotoCore::ImageSource source, bool fresh);
    bool CheckCachedCore(boost::intrusive_ptr<const PhotoCore::IPhotoCore> core, const std::string& name) const;
    CoreFactory GetCoreFactory() const;
    void UpdateThread();

    // Hands out one mutex per platform file name, created on first use and kept for the
    // provider's life.
    class LockTable {
    public:
        std::mutex& Get(const std::string& name);

    private:
        std::vector<std::pair<std::string, std::unique_ptr<std::mutex>>> locks_;
        std::mutex mutex_; // guards locks_
    };

    // The newest preload request the worker has not taken yet.
    class RequestQueue {
    public:
        void Put(std::vector<std::string> names);
        std::vector<std::string> Take();
        bool HasRequest() const;

    private:
        std::vector<std::string> names_;
        mutable std::mutex mutex_; // guards names_
    };

    const bool sessionMode_;
    PhotoCore::IStatisticsEventHandler* const statistics_;
    const bool preloadEnabled_;
    std::condition_variable wakeUp_;
    std::mutex wakeUpMutex_; // the worker waits on wakeUp_ with it
    std::promise<void> started_;
    std::unique_ptr<Cache> cache_;
    std::unique_ptr<RequestQueue> queue_;
    std::unique_ptr<LockTable> locks_;
    bool coreCacheEnabled_ = true;
    std::atomic<bool> running_ {false}; // the worker's run flag
    std::thread worker_;
    std::thread::id workerId_;
    const std::uint64_t extraSize_ = 0;
    // A null picture for the worker's requests, made here because pixmaps belong to the UI thread.
    const QPixmap nullPixmap_;
    CoreFactory factory_;
    mutable std::mutex factoryMutex_; // guards factory_
};

} // namespace Quelto::Lumindra

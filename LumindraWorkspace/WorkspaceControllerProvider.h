#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <QObject>
#include <QPixmap>
#include <QString>

#include "LumindraWorkspace/CoreCache.h"
#include "LumindraWorkspace/WorkspaceExport.h"
#include "core/IoPath.h"
#include "photocore/ICoreEventHandler.h"
#include "photocore/IPhotoCore.h"
#include "photocore/IStatisticsEventHandler.h"
#include "photocore/ImageSource.h"
#include "photocore/PhotoCoreFactory.h"

namespace Quelto::Lumindra {

class CoreBuildTable;
class PreloadWorker;

// Hands out one editing core per opened image and keeps the cores of recently opened and of
// neighbouring files alive, so that stepping from file to file neither reloads nor re-decodes.
//
// The cache (CoreCache) is bounded by the sum of the cached cores' memory sizes
// (kCacheBoundBytes), never by a count; the core of the open controller (the current name) is
// never evicted and never counted. A worker thread (PreloadWorker) preloads the files of the
// host's newest preload request (from its third name on) within the same bound, each to its
// full-resolution frame, so that opening one of them is immediate. A stack of pushed
// controllers lets another mode of the host take the workspace over and give it back with the
// edits intact.
//
// Threads: construction, destruction, GetCore and the slots run on the UI thread; the worker
// builds cores concurrently. One build at a time per file (CoreBuildTable): a foreground
// request for a file the worker is building waits only until that core exists (its header and
// preview read), then takes it from the cache, while the core decodes its full frame on its own
// thread. No mutex is held while a core is built, decoded, written out or destroyed. A write-out
// that fails keeps the core in memory and is told to the person once (sessionWriteFailed), until
// a write-out succeeds again. Lock
// order: the cache's entries mutex, then its names mutex, then its sizes mutex, then the
// session store's mutex; the worker's request mutex is never held with any of them.
class LUMINDRA_WORKSPACE_EXPORT WorkspaceControllerProvider : public QObject {
    Q_OBJECT
public:
    // The cache's bound; why this size is told there.
    static constexpr std::uint64_t kCacheBoundBytes = CoreCache::kBoundBytes;

    // How cores are built; the default uses PhotoCoreFactory. Replaceable for tools and tests
    // that need to observe or steer creation (set it before the first request). Called on the
    // UI thread or on the worker, one build per file at a time, with no lock held. Each call
    // returns once the core exists (never waiting for the full frame) and registers
    // `options.coreEventHandler` with it before its first event.
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

    using Cache = CoreCache;

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
    bool IsPreloading() const;
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
    // A core's edits could not be written to its session folder (UI thread, once until a
    // write-out succeeds again); `message` is for the person.
    void sessionWriteFailed(const QString& message);

private:
    PhotoCore::PhotoCorePtr GetCoreImpl(const ioPath& path, const std::string& key, const QPixmap& image,
                                        PhotoCore::ImageSource source);
    // As above; a core it creates gets `loadWatcher` registered before its first event, and
    // `*built` says whether it created one.
    PhotoCore::PhotoCorePtr GetCoreImpl(const ioPath& path, const std::string& key, const QPixmap& image,
                                        PhotoCore::ImageSource source, PhotoCore::ICoreEventHandler* loadWatcher,
                                        bool* built);
    PhotoCore::PhotoCorePtr CreateCoreImpl(const ioPath& path, std::string key, const QPixmap& image,
                                           PhotoCore::ImageSource source, bool fresh,
                                           PhotoCore::ICoreEventHandler* loadWatcher = nullptr);
    bool CheckCachedCore(boost::intrusive_ptr<const PhotoCore::IPhotoCore> core, const std::string& name) const;
    CoreFactory GetCoreFactory() const;
    // UI thread: tells the person of the first failed write-out after a successful one.
    void OnWriteOutDone(const std::string& name, bool written);

    const bool sessionMode_;
    PhotoCore::IStatisticsEventHandler* const statistics_;
    const bool preloadEnabled_;
    std::unique_ptr<Cache> cache_;
    std::unique_ptr<CoreBuildTable> builds_;
    bool coreCacheEnabled_ = true;
    // A null picture for the worker's requests, made here because pixmaps belong to the UI thread.
    const QPixmap nullPixmap_;
    CoreFactory factory_;
    mutable std::mutex factoryMutex_; // guards factory_
    bool writeOutFailureShown_ = false; // UI thread
    std::unique_ptr<PreloadWorker> worker_; // last: it stops and joins first, while the rest lives
};

} // namespace Quelto::Lumindra

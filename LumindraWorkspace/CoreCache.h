#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "LumindraWorkspace/SessionStore.h"
#include "LumindraWorkspace/WorkspaceExport.h"
#include "core/IoPath.h"
#include "photocore/IPhotoCore.h"
#include "photoutil/Serializer.h"

namespace Quelto::Lumindra {

// The editing cores of recently opened and of neighbouring files, keyed by platform file name
// (Util::GetPlatformFileName), bounded by the sum of their memory sizes (kBoundBytes), never by
// a count. The core of the open controller (the current name) is never evicted nor counted.
//
// In session mode an evicted core that holds edits is written out through the session store,
// which keeps the list of dumped names across runs; a later open of the file (or a later run)
// rebuilds the core with its edits. A core whose write-out fails (evicted or pushed) stays in
// the cache, so that its edits live on in memory, and the write-out listener hears of it; a
// clean-up that no longer wants it tries the write-out again instead of dropping it.
//
// While a file is being opened its name is pinned besides the current one: neither is dropped,
// evicted nor counted, so that a clean-up on the worker during the open keeps both the open
// picture's core and the one being built.
//
// Thread-safe: the UI thread and the preload worker call it concurrently. Every mutex is held
// only for bookkeeping: cores are written out and destroyed (which joins their render threads)
// after the entries mutex is released. Lock order: entries mutex, then names mutex, then sizes
// mutex, then the session store's mutex.
class LUMINDRA_WORKSPACE_EXPORT CoreCache : public PhotoUtil::ISerializable {
public:
    // Sum of the cached cores' sizes (the current one excluded) above which neighbours are
    // evicted and preloading stops: room for several decoded 24-megapixel photographs while
    // leaving most of a typical desktop's memory to the open image and its history.
    static constexpr std::uint64_t kBoundBytes = 700'000'000;

    // Told of every write-out of a leaving core that was needed (`written` false when it
    // failed), on the thread that wrote it, with no mutex of the cache held.
    using WriteOutListener = std::function<void(const std::string& name, bool written)>;

    explicit CoreCache(bool sessionMode);
    // The key of a file: its platform file name.
    static std::string NameOf(const ioPath& path);
    ~CoreCache() override;
    CoreCache(const CoreCache&) = delete;
    CoreCache& operator=(const CoreCache&) = delete;

    // The cached core of the name, as a further reference; null when none.
    PhotoCore::PhotoCorePtr Find(const std::string& name) const;
    // Caches the core under the name (replacing an earlier one) and remembers its size.
    void Add(const std::string& name, const PhotoCore::PhotoCorePtr& core);
    // Erases the name's entry and forgets its remembered size and known name; false when there
    // was no entry.
    bool Erase(const std::string& name);
    // Erases the name's entry only while it holds `core` and is neither current nor being opened.
    bool EraseIfHolds(const std::string& name, const PhotoCore::IPhotoCore* core);
    std::vector<std::string> GetNames() const;
    std::size_t GetSize() const;

    // Drops the entries that are neither the current one nor wanted, then, while the sizes of
    // the rest plus `extraSize` exceed kBoundBytes, evicts wanted names from the last towards
    // the first. Returns the total size left (0 when no entry remains). Evicted cores are
    // written out (session mode) before it returns, with no mutex of the cache held.
    std::uint64_t CleanupCache(std::uint64_t extraSize, const std::vector<std::string>& wanted);

    // The name the open controller uses; its core is never evicted nor counted.
    void SetCurrentName(const std::string& name);
    std::string GetCurrentName() const;
    // The name of the file being opened (empty when none): kept like the current one until the
    // open ends, when it becomes current (SetCurrentName) or is given up (an empty name).
    void SetOpeningName(const std::string& name);

    // Set before the cache is shared between threads.
    void SetWriteOutListener(WriteOutListener listener) { writeOutListener_ = std::move(listener); }

    // The size the worker counts before loading a name that has no entry: its remembered size,
    // else the largest core size seen so far (neighbours in one folder are alike; a zero guess
    // would let one preload overshoot the bound). 0 for the current name. Returns false when
    // the name already has an entry.
    bool GetPreloadSize(const std::string& name, std::uint64_t* size) const;
    std::uint64_t GetRememberedSize(const std::string& name) const;
    bool IsKnownName(const std::string& name) const;

    // While set, every cached core is accepted without asking it.
    bool IsAcceptAll() const;

    // Pushes the current name on the controller stack, clears the current name, removes the
    // lock file and writes the current core out (after the entries mutex is released).
    void PushCurrent();
    // Pops the last pushed name and sets accept-all; empty when the stack is empty.
    std::string PopController();
    // A core of `name` went to the open controller: the popped file, if it is this one, has
    // been given back, so cached cores are checked again from now on.
    void OnHandedOut(const std::string& name);
    std::vector<std::string> GetControllerStack() const;

    void SetCurrentTools(int tools);
    int GetCurrentTools() const;

    SessionStore& GetSessionStore() { return store_; }
    const SessionStore& GetSessionStore() const { return store_; }

    // The saved-session form of the dumped names, kept by the session store.
    void Serialize(boost::property_tree::ptree& out) const override { store_.Serialize(out); }
    void Deserialize(const boost::property_tree::ptree& in) override { store_.Deserialize(in); }

private:
    // With `onlyCore`, erases only while the entry holds it and is not pinned.
    bool EraseEntry(const std::string& name, const PhotoCore::IPhotoCore* onlyCore);
    void ForgetRemembered(const std::string& name);
    bool IsPinnedLocked(const std::string& name) const;
    // Writes the leaving cores out (no mutex held); a core whose write-out fails comes back into
    // the cache unless its name has an entry again meanwhile.
    void WriteOut(const std::vector<SessionStore::Leaving>& leaving, SessionStore::WriteOutWhen when);

    const bool sessionMode_;
    SessionStore store_;
    std::map<std::string, PhotoCore::PhotoCorePtr> entries_;
    std::set<std::string> unwritten_; // entries kept because their write-out failed
    // Guards entries_, unwritten_, currentName_, openingName_, acceptAll_, poppedName_ and
    // controllerStack_.
    mutable std::mutex entriesMutex_;
    std::set<std::string> knownNames_;
    mutable std::mutex namesMutex_; // guards knownNames_
    std::map<std::string, std::uint64_t> sizes_;
    std::uint64_t largestSize_ = 0;
    mutable std::mutex sizesMutex_; // guards sizes_ and largestSize_
    std::string currentName_;
    std::string openingName_;
    bool acceptAll_ = false;
    std::string poppedName_;
    std::vector<std::string> controllerStack_;
    std::atomic<int> currentTools_ {-1};
    WriteOutListener writeOutListener_;
};

} // namespace Quelto::Lumindra

#include "LumindraWorkspace/CoreCache.h"

#include <algorithm>
#include <utility>

#include <glog/logging.h>

#include "util/Paths.h"

namespace Quelto::Lumindra {

using PhotoCore::PhotoCorePtr;

CoreCache::CoreCache(bool sessionMode) : sessionMode_(sessionMode), store_(sessionMode) {}

CoreCache::~CoreCache() = default;

std::string CoreCache::NameOf(const ioPath& path)
{
    return Util::GetPlatformFileName(path.utf8string());
}

PhotoCorePtr CoreCache::Find(const std::string& name) const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    auto it = entries_.find(name);
    return it == entries_.end() ? PhotoCorePtr() : it->second;
}

void CoreCache::Add(const std::string& name, const PhotoCorePtr& core)
{
    if (!core)
        return;
    PhotoCorePtr replaced; // dies after the lock: its destructor joins its render thread
    std::lock_guard<std::mutex> lock(entriesMutex_);
    PhotoCorePtr& slot = entries_[name];
    replaced = std::move(slot);
    slot = core;
    {
        std::lock_guard<std::mutex> names(namesMutex_);
        knownNames_.insert(name);
    }
    const std::uint64_t size = core->GetMemorySize();
    std::lock_guard<std::mutex> sizes(sizesMutex_);
    sizes_[name] = size;
    largestSize_ = std::max(largestSize_, size);
}

bool CoreCache::Erase(const std::string& name)
{
    return EraseEntry(name, nullptr);
}

bool CoreCache::EraseIfHolds(const std::string& name, const PhotoCore::IPhotoCore* core)
{
    return core && EraseEntry(name, core);
}

bool CoreCache::EraseEntry(const std::string& name, const PhotoCore::IPhotoCore* onlyCore)
{
    PhotoCorePtr erased; // dies after the lock
    std::lock_guard<std::mutex> lock(entriesMutex_);
    auto it = entries_.find(name);
    if (it == entries_.end())
        return false;
    if (onlyCore && (it->second.get() != onlyCore || IsPinnedLocked(name)))
        return false;
    erased = std::move(it->second);
    entries_.erase(it);
    unwritten_.erase(name);
    ForgetRemembered(name);
    return true;
}

std::vector<std::string> CoreCache::GetNames() const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    std::vector<std::string> names;
    for (const auto& entry : entries_)
        names.push_back(entry.first);
    return names;
}

std::size_t CoreCache::GetSize() const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    return entries_.size();
}

std::uint64_t CoreCache::CleanupCache(std::uint64_t extraSize, const std::vector<std::string>& wanted)
{
    // Both die after the lock; the leaving cores are written out first.
    std::vector<PhotoCorePtr> dropped;
    std::vector<SessionStore::Leaving> leaving;
    std::uint64_t total = 0;
    {
        std::lock_guard<std::mutex> lock(entriesMutex_);
        for (auto it = entries_.begin(); it != entries_.end();) {
            if (IsPinnedLocked(it->first) || std::find(wanted.begin(), wanted.end(), it->first) != wanted.end()) {
                ++it;
                continue;
            }
            if (unwritten_.count(it->first)) { // its edits live only here: try the write-out again
                store_.BeginWriteOut(it->first);
                leaving.push_back({it->first, std::move(it->second)});
            } else {
                dropped.push_back(std::move(it->second));
            }
            it = entries_.erase(it);
        }
        // With no entry left the total is 0, extra size included, and nothing is evicted; the
        // leaving cores are still written out below.
        // Deliberately what each core holds now, not the size remembered when it was cached: a
        // core grows after that (the full frame of a foreground open, its levels, edits), and
        // totalling the remembered sizes let browsing pass the bound by 40 % (browse bench).
        total = entries_.empty() ? 0 : extraSize;
        {
            std::lock_guard<std::mutex> sizes(sizesMutex_);
            for (const auto& entry : entries_) {
                const std::uint64_t size = entry.second->GetMemorySize();
                sizes_[entry.first] = size;
                largestSize_ = std::max(largestSize_, size);
                if (!IsPinnedLocked(entry.first))
                    total += size;
            }
        }

        for (auto name = wanted.rbegin(); name != wanted.rend() && total > kBoundBytes; ++name) {
            auto it = entries_.find(*name);
            if (it == entries_.end() || IsPinnedLocked(*name))
                continue;
            const std::uint64_t size = it->second->GetMemorySize();
            total = total > size ? total - size : 0;
            VLOG(30) << *name << " removing from cache";
            if (sessionMode_) {
                // Remembered so that the worker can count the core before rebuilding it.
                {
                    std::lock_guard<std::mutex> sizes(sizesMutex_);
                    sizes_[*name] = size;
                }
                store_.BeginWriteOut(*name);
                leaving.push_back({*name, std::move(it->second)});
            } else {
                ForgetRemembered(*name);
                dropped.push_back(std::move(it->second));
            }
            entries_.erase(it);
        }
    }
    if (!leaving.empty())
        WriteOut(leaving, SessionStore::WriteOutWhen::IfEdited);
    return total;
}

bool CoreCache::IsPinnedLocked(const std::string& name) const
{
    return name == currentName_ || (!openingName_.empty() && name == openingName_);
}

void CoreCache::WriteOut(const std::vector<SessionStore::Leaving>& leaving, SessionStore::WriteOutWhen when)
{
    const SessionStore::Outcome outcome = store_.WriteOut(leaving, when, [this](const SessionStore::Leaving& core) {
        // Its edits exist nowhere else now: better over the bound than lost.
        std::lock_guard<std::mutex> lock(entriesMutex_);
        auto inserted = entries_.emplace(core.name, core.core);
        if (inserted.second)
            unwritten_.insert(core.name);
        LOG(WARNING) << core.name
                     << (inserted.second ? " stays in memory: it could not be written out"
                                         : " could not be written out; a newer core of it is cached");
    });
    if (!outcome.written.empty()) {
        std::lock_guard<std::mutex> lock(entriesMutex_);
        for (const std::string& name : outcome.written)
            unwritten_.erase(name);
    }
    if (!writeOutListener_)
        return;
    for (const std::string& name : outcome.written)
        writeOutListener_(name, true);
    for (const std::string& name : outcome.failed)
        writeOutListener_(name, false);
}

void CoreCache::ForgetRemembered(const std::string& name)
{
    {
        std::lock_guard<std::mutex> names(namesMutex_);
        knownNames_.erase(name);
    }
    std::lock_guard<std::mutex> sizes(sizesMutex_);
    sizes_.erase(name);
}

void CoreCache::SetCurrentName(const std::string& name)
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    currentName_ = name;
}

void CoreCache::SetOpeningName(const std::string& name)
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    openingName_ = name;
}

std::string CoreCache::GetCurrentName() const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    return currentName_;
}

bool CoreCache::GetPreloadSize(const std::string& name, std::uint64_t* size) const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    if (entries_.count(name))
        return false;
    if (name == currentName_) {
        *size = 0;
        return true;
    }
    std::lock_guard<std::mutex> sizes(sizesMutex_);
    auto it = sizes_.find(name);
    *size = it != sizes_.end() ? it->second : largestSize_;
    return true;
}

std::uint64_t CoreCache::GetRememberedSize(const std::string& name) const
{
    std::lock_guard<std::mutex> sizes(sizesMutex_);
    auto it = sizes_.find(name);
    return it != sizes_.end() ? it->second : 0;
}

bool CoreCache::IsKnownName(const std::string& name) const
{
    std::lock_guard<std::mutex> names(namesMutex_);
    return knownNames_.count(name) != 0;
}

bool CoreCache::IsAcceptAll() const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    return acceptAll_;
}

void CoreCache::PushCurrent()
{
    std::vector<SessionStore::Leaving> pushed; // dies after its write-out, outside the lock
    {
        std::lock_guard<std::mutex> lock(entriesMutex_);
        auto it = entries_.find(currentName_);
        if (it != entries_.end()) {
            // Recorded as dumped so that reopening the file rebuilds the core with its edits.
            store_.BeginWriteOut(currentName_);
            pushed.push_back({currentName_, std::move(it->second)});
            entries_.erase(it);
        }
        controllerStack_.push_back(currentName_);
        currentName_.clear();
    }
    store_.ReleaseLockFile();
    if (!pushed.empty())
        WriteOut(pushed, SessionStore::WriteOutWhen::Always);
}

std::string CoreCache::PopController()
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    if (controllerStack_.empty()) {
        LOG(WARNING) << "Pop of a workspace controller that was never pushed";
        return {};
    }
    std::string name = std::move(controllerStack_.back());
    controllerStack_.pop_back();
    acceptAll_ = true;
    poppedName_ = name;
    return name;
}

void CoreCache::OnHandedOut(const std::string& name)
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    if (acceptAll_ && name == poppedName_) {
        acceptAll_ = false;
        poppedName_.clear();
    }
}

std::vector<std::string> CoreCache::GetControllerStack() const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    return controllerStack_;
}

void CoreCache::SetCurrentTools(int tools)
{
    currentTools_.store(tools);
}

int CoreCache::GetCurrentTools() const
{
    return currentTools_.load();
}

} // namespace Quelto::Lumindra

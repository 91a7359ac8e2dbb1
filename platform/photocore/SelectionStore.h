#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoCore {

// The selections of one core, kept in memory under their keys (their files in the session
// folder are the IO engine's business). Every operation is thread-safe.
class SelectionStore {
public:
    // A null selection removes the key.
    void Store(const std::string& key, const Proc::DataVideoPtr& selection);
    Proc::DataVideoPtr Find(const std::string& key) const;
    void Release(const std::string& key);
    // Released since last stored: its file, if still on disk, is on its way out and not to be read.
    bool IsReleased(const std::string& key) const;
    std::vector<std::string> GetKeys() const;
    std::vector<Proc::DataVideoPtr> GetAll() const;

private:
    mutable std::mutex mutex_; // guards both members
    std::map<std::string, Proc::DataVideoPtr> selections_;
    std::set<std::string> released_;
};

} // namespace Quelto::Lumindra::PhotoCore

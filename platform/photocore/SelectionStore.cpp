#include "photocore/SelectionStore.h"

namespace Quelto::Lumindra::PhotoCore {

void SelectionStore::Store(const std::string& key, const Proc::DataVideoPtr& selection)
{
    std::lock_guard<std::mutex> lock(mutex_);
    released_.erase(key);
    if (selection)
        selections_[key] = selection;
    else
        selections_.erase(key);
}

Proc::DataVideoPtr SelectionStore::Find(const std::string& key) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = selections_.find(key);
    return it == selections_.end() ? nullptr : it->second;
}

void SelectionStore::Release(const std::string& key)
{
    std::lock_guard<std::mutex> lock(mutex_);
    selections_.erase(key);
    released_.insert(key);
}

bool SelectionStore::IsReleased(const std::string& key) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return released_.count(key) != 0;
}

std::vector<std::string> SelectionStore::GetKeys() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> keys;
    for (const auto& entry : selections_)
        keys.push_back(entry.first);
    return keys;
}

std::vector<Proc::DataVideoPtr> SelectionStore::GetAll() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Proc::DataVideoPtr> all;
    for (const auto& entry : selections_)
        all.push_back(entry.second);
    return all;
}

} // namespace Quelto::Lumindra::PhotoCore

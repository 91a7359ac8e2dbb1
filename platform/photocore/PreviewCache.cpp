#include "photocore/PreviewCache.h"

namespace Quelto::Lumindra::PhotoCore {

void PreviewCache::Store(Entry entry)
{
    auto made = std::make_unique<Entry>(std::move(entry));
    std::lock_guard<std::mutex> lock(mutex_);
    entry_ = std::move(made);
}

void PreviewCache::Clear()
{
    std::unique_ptr<Entry> dropped;
    std::lock_guard<std::mutex> lock(mutex_);
    dropped = std::move(entry_); // a frame may be large: freed after the lock
}

std::unique_ptr<PreviewCache::Entry> PreviewCache::Take()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return std::move(entry_);
}

Proc::DataVideoPtr PreviewCache::GetFrame() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return entry_ ? entry_->frame : nullptr;
}

} // namespace Quelto::Lumindra::PhotoCore

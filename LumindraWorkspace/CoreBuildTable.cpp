#include "LumindraWorkspace/CoreBuildTable.h"

#include <exception>

#include <glog/logging.h>

namespace Quelto::Lumindra {

PhotoCore::PhotoCorePtr CoreBuildTable::Run(const std::string& name, const Work& work)
{
    for (;;) {
        std::shared_future<void> other;
        std::promise<void> mine;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            auto it = running_.find(name);
            if (it != running_.end())
                other = it->second;
            else
                running_.emplace(name, mine.get_future().share());
        }
        if (other.valid()) {
            VLOG(30) << name << " waits for the build under way";
            other.get(); // rethrows the other build's failure
            continue;
        }

        std::exception_ptr failure;
        PhotoCore::PhotoCorePtr core;
        try {
            core = work();
        } catch (...) {
            failure = std::current_exception();
        }
        {
            std::lock_guard<std::mutex> lock(mutex_);
            running_.erase(name);
        }
        if (failure) {
            mine.set_exception(failure);
            std::rethrow_exception(failure);
        }
        mine.set_value();
        return core;
    }
}

} // namespace Quelto::Lumindra

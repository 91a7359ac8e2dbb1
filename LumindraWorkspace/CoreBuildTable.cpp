#include "LumindraWorkspace/CoreBuildTable.h"

#include <new>

#include <glog/logging.h>

#include "core/PhotoCoreException.h"

namespace Quelto::Lumindra {

CoreBuildTable::Failure CoreBuildTable::CopyOfCurrentException()
{
    try {
        throw;
    } catch (const PhotoCore::PhotoCoreException& e) {
        return [e] { throw e; };
    } catch (const Core::Exception& e) {
        return [e] { throw e; };
    } catch (const std::bad_alloc&) {
        return [] { throw std::bad_alloc(); };
    } catch (const std::exception& e) {
        return [description = std::string(e.what())] { throw PhotoCore::PhotoCoreException(description); };
    } catch (...) {
        return [] { throw PhotoCore::PhotoCoreException("The image could not be opened"); };
    }
}

PhotoCore::PhotoCorePtr CoreBuildTable::Run(const std::string& name, const Work& work)
{
    for (;;) {
        std::shared_future<Failure> other;
        std::promise<Failure> mine;
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
            if (const Failure& failure = other.get())
                failure();
            continue;
        }

        const auto done = [&](Failure failure) {
            {
                std::lock_guard<std::mutex> lock(mutex_);
                running_.erase(name);
            }
            mine.set_value(std::move(failure));
        };
        PhotoCore::PhotoCorePtr core;
        try {
            core = work();
        } catch (...) {
            done(CopyOfCurrentException());
            throw;
        }
        done(Failure());
        return core;
    }
}

} // namespace Quelto::Lumindra

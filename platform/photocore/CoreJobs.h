#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <map>
#include <mutex>
#include <string>

#include "photocore/ICoreEventHandler.h"

namespace Quelto::Lumindra::PhotoCore {

// The bookkeeping of a core's asynchronous jobs: ids, the results of the ended ones, and the
// wait for one of them. The jobs themselves run on the core's render thread.
//
// Threads: any. One mutex guards the pending ids and the results.
class CoreJobs {
public:
    // What a job's work reports when it ends normally.
    struct Outcome {
        std::string text;
        int code = 0;
        bool success = true;
        std::string reason;
    };

    // A new job of `kind` about `fileName`; its id.
    std::uint64_t Begin(int kind, const std::string& fileName);
    // Records how job `id` ended and returns its event (for the caller to publish).
    ICoreEventHandler::CoreEventJobDone Finish(std::uint64_t id, const Outcome& outcome);
    // Whether a job of one of `kinds` has not ended yet.
    bool HasPending(std::initializer_list<int> kinds) const;
    // Ends every pending job with `reason` (the core stops: their work will never run).
    void Abandon(const std::string& reason);
    // Waits for job `id` and returns (and forgets) its event; an unknown id gives a failure.
    // On the application's UI thread, painting, timers and posted events go on while it
    // waits; user input is held back until it returns.
    ICoreEventHandler::CoreEventJobDone Wait(std::uint64_t id);

private:
    // Ended jobs nobody waited for are kept this many at most.
    static constexpr std::size_t kKeptResults = 64;

    mutable std::mutex mutex_; // guards everything below
    std::condition_variable ended_;
    std::uint64_t nextId_ = 1;
    std::map<std::uint64_t, ICoreEventHandler::CoreEventJobDone> pending_;
    std::map<std::uint64_t, ICoreEventHandler::CoreEventJobDone> results_;
    std::deque<std::uint64_t> resultOrder_;
};

} // namespace Quelto::Lumindra::PhotoCore

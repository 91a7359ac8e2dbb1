#include "photocore/CoreJobs.h"

#include <chrono>

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>

namespace Quelto::Lumindra::PhotoCore {

std::uint64_t CoreJobs::Begin(int kind, const std::string& fileName)
{
    std::lock_guard<std::mutex> lock(mutex_);
    const std::uint64_t id = nextId_++;
    ICoreEventHandler::CoreEventJobDone& event = pending_[id];
    event.id = id;
    event.kind = kind;
    event.fileName = fileName;
    return id;
}

ICoreEventHandler::CoreEventJobDone CoreJobs::Finish(std::uint64_t id, const Outcome& outcome)
{
    ICoreEventHandler::CoreEventJobDone event;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto it = pending_.find(id);
        if (it == pending_.end())
            return event; // abandoned already
        event = it->second;
        pending_.erase(it);
        event.success = outcome.success;
        event.code = outcome.code;
        event.text = outcome.text;
        event.reason = outcome.reason;
        results_[id] = event;
        resultOrder_.push_back(id);
        while (resultOrder_.size() > kKeptResults) {
            results_.erase(resultOrder_.front());
            resultOrder_.pop_front();
        }
    }
    ended_.notify_all();
    return event;
}

bool CoreJobs::HasPending(std::initializer_list<int> kinds) const
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& entry : pending_)
        for (int kind : kinds)
            if (entry.second.kind == kind)
                return true;
    return false;
}

void CoreJobs::Abandon(const std::string& reason)
{
    std::vector<std::uint64_t> ids;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& entry : pending_)
            ids.push_back(entry.first);
    }
    Outcome outcome;
    outcome.success = false;
    outcome.reason = reason;
    for (std::uint64_t id : ids)
        Finish(id, outcome);
}

ICoreEventHandler::CoreEventJobDone CoreJobs::Wait(std::uint64_t id)
{
    QCoreApplication* app = QCoreApplication::instance();
    const bool uiThread = app && QThread::currentThread() == app->thread();
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        const auto it = results_.find(id);
        if (it != results_.end()) {
            ICoreEventHandler::CoreEventJobDone event = it->second;
            results_.erase(it);
            return event;
        }
        if (!pending_.count(id)) {
            ICoreEventHandler::CoreEventJobDone unknown;
            unknown.id = id;
            unknown.success = false;
            unknown.reason = "The work was not found; it may have ended long ago";
            return unknown;
        }
        if (!uiThread) {
            ended_.wait(lock);
            continue;
        }
        // The window must not freeze: let it paint and its timers run between short waits.
        lock.unlock();
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents, 5);
        lock.lock();
        ended_.wait_for(lock, std::chrono::milliseconds(2));
    }
}

} // namespace Quelto::Lumindra::PhotoCore

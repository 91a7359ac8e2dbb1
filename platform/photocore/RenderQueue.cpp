#include "photocore/RenderQueue.h"

#include <chrono>
#include <exception>

#include <glog/logging.h>

#include "core/WorkerThread.h"

namespace Quelto::Lumindra::PhotoCore {

RenderQueue::RenderQueue() : state_(std::make_shared<State>())
{
    thread_ = std::thread(&RenderQueue::Run, state_);
    threadId_ = thread_.get_id();
}

RenderQueue::~RenderQueue()
{
    Shutdown();
}

void RenderQueue::Run(std::shared_ptr<State> state)
{
    Core::BecomeWorkerThread("lumindra-core");
    std::unique_lock<std::mutex> lock(state->mutex);
    for (;;) {
        state->wake.wait(lock, [&] { return state->stopping || !state->entries.empty(); });
        if (state->stopping)
            break;
        Job job = std::move(state->entries.front().job);
        state->entries.pop_front();
        state->running = true;
        lock.unlock();
        try {
            job();
        } catch (const std::exception& e) {
            LOG(ERROR) << "Render job failed: " << e.what();
        } catch (...) {
            LOG(ERROR) << "Render job failed";
        }
        job = nullptr; // release what the job held before reporting idle
        lock.lock();
        state->running = false;
        if (state->entries.empty())
            state->idle.notify_all();
    }
    state->running = false;
    state->idle.notify_all();
}

void RenderQueue::Post(int kind, Job job)
{
    std::lock_guard<std::mutex> lock(state_->mutex);
    if (state_->stopping)
        return;
    state_->entries.push_back({kind, std::move(job)});
    state_->wake.notify_one();
}

void RenderQueue::PostReplacingLast(int kind, Job job)
{
    std::lock_guard<std::mutex> lock(state_->mutex);
    if (state_->stopping)
        return;
    if (!state_->entries.empty() && state_->entries.back().kind == kind)
        state_->entries.back().job = std::move(job);
    else
        state_->entries.push_back({kind, std::move(job)});
    state_->wake.notify_one();
}

void RenderQueue::DropTrailing(int kind)
{
    std::lock_guard<std::mutex> lock(state_->mutex);
    while (!state_->entries.empty() && state_->entries.back().kind == kind)
        state_->entries.pop_back();
    if (state_->entries.empty() && !state_->running)
        state_->idle.notify_all();
}

bool RenderQueue::WaitForIdle(int timeoutMs) const
{
    if (IsRenderThread())
        return false;
    std::unique_lock<std::mutex> lock(state_->mutex);
    auto idle = [&] { return state_->stopping || (state_->entries.empty() && !state_->running); };
    if (timeoutMs < 0) {
        state_->idle.wait(lock, idle);
        return true;
    }
    return state_->idle.wait_for(lock, std::chrono::milliseconds(timeoutMs), idle);
}

bool RenderQueue::IsRenderThread() const
{
    return std::this_thread::get_id() == threadId_;
}

void RenderQueue::Shutdown()
{
    std::deque<Entry> dropped;
    {
        std::lock_guard<std::mutex> lock(state_->mutex);
        state_->stopping = true;
        dropped.swap(state_->entries);
        state_->wake.notify_all();
        state_->idle.notify_all();
    }
    dropped.clear(); // outside the lock: jobs may hold the last references to big frames
    if (!thread_.joinable())
        return;
    if (IsRenderThread())
        thread_.detach();
    else
        thread_.join();
}

} // namespace Quelto::Lumindra::PhotoCore

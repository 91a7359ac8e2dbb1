#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace Quelto::Lumindra::PhotoCore {

// The render thread of one core: runs posted jobs one at a time, in order, on a thread of its
// own. Jobs carry a kind so that a newer job can replace a queued one of the same kind (the
// newest preview wins) or drop it.
//
// Every operation is thread-safe. Shutdown() drops the queued jobs and stops the thread; it
// joins when called from another thread and detaches when called from a job (the job returns
// normally and the thread ends after it, touching only state it owns).
class RenderQueue {
public:
    using Job = std::function<void()>;

    RenderQueue();
    ~RenderQueue(); // Shutdown()
    RenderQueue(const RenderQueue&) = delete;
    RenderQueue& operator=(const RenderQueue&) = delete;

    // Ignored after Shutdown().
    void Post(int kind, Job job);
    // Replaces the last queued job when it is of `kind`; otherwise appends.
    void PostReplacingLast(int kind, Job job);
    // Removes the queued (not the running) jobs of `kind` at the end of the queue.
    void DropTrailing(int kind);

    // Waits until no job is queued or running. False on timeout (-1 waits forever), and at
    // once when called from the render thread itself (it would wait for itself).
    bool WaitForIdle(int timeoutMs) const;
    bool IsRenderThread() const;

    void Shutdown();

private:
    struct Entry {
        int kind;
        Job job;
    };
    // Shared with the thread so that a detached thread never touches the queue object.
    struct State {
        std::mutex mutex; // guards everything below
        std::condition_variable wake;
        std::condition_variable idle;
        std::deque<Entry> entries;
        bool running = false; // a job is being run
        bool stopping = false;
    };

    static void Run(std::shared_ptr<State> state);

    std::shared_ptr<State> state_;
    std::thread thread_;
    std::thread::id threadId_;
};

} // namespace Quelto::Lumindra::PhotoCore

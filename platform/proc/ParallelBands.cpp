#include "proc/ParallelBands.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <vector>

#include <QThread>

#include "proc/BackgroundPool.h"

namespace Quelto::Lumindra::Proc {

namespace {

// The frame work is memory-bound beyond a few cores, and the UI thread waits for it.
constexpr int kMaxBands = 4;
// Below this many pixels a band costs more to hand over than it saves.
constexpr std::int64_t kMinPixelsPerBand = 1 << 15;

// Shared with the pool tasks, which may start after the call has returned (every band taken):
// they then find no band left and never touch `work`.
struct BandState {
    BandState(int count, int bands, const std::function<void(int, int)>& work)
        : count(count), bands(bands), work(&work), errors(std::size_t(bands))
    {
    }

    // Takes and runs bands until none is left.
    void RunBands()
    {
        for (int band = next.fetch_add(1); band < bands; band = next.fetch_add(1)) {
            const int begin = int(std::int64_t(count) * band / bands);
            const int end = int(std::int64_t(count) * (band + 1) / bands);
            try {
                (*work)(begin, end);
            } catch (...) {
                errors[std::size_t(band)] = std::current_exception();
            }
            std::lock_guard<std::mutex> lock(mutex);
            if (++done == bands)
                finished.notify_all();
        }
    }

    const int count;
    const int bands;
    const std::function<void(int, int)>* work; // valid until every band is done
    std::atomic<int> next {0};
    std::mutex mutex; // guards done
    std::condition_variable finished;
    int done = 0;
    std::vector<std::exception_ptr> errors; // one slot per band, written by its runner only
};

} // namespace

int MinRowsPerBand(std::int64_t rowPixels)
{
    return int(std::max<std::int64_t>(1, kMinPixelsPerBand / std::max<std::int64_t>(1, rowPixels)));
}

void RunInBands(int count, int minPerBand, const std::function<void(int, int)>& work)
{
    if (count <= 0)
        return;
    const int cores = std::max(1, QThread::idealThreadCount());
    const int bands = std::min({cores, kMaxBands, std::max(1, count / std::max(1, minPerBand))});
    if (bands <= 1) {
        work(0, count);
        return;
    }
    auto state = std::make_shared<BandState>(count, bands, work);
    for (int helper = 1; helper < bands; ++helper)
        StartInBackground([state] { state->RunBands(); });
    state->RunBands();
    {
        std::unique_lock<std::mutex> lock(state->mutex);
        state->finished.wait(lock, [&] { return state->done == bands; });
    }
    for (const std::exception_ptr& error : state->errors) {
        if (error)
            std::rethrow_exception(error);
    }
}

} // namespace Quelto::Lumindra::Proc

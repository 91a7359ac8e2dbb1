#include "proc/ParallelBands.h"

#include <algorithm>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

namespace Quelto::Lumindra::Proc {

namespace {

// The frame work is memory-bound beyond a few cores, and the UI thread waits for it.
constexpr unsigned kMaxBands = 4;

} // namespace

void RunInBands(int count, int minPerBand, const std::function<void(int, int)>& work)
{
    if (count <= 0)
        return;
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    const int bands = int(std::min<long long>({cores, kMaxBands, std::max(1LL, count / std::max(1LL, (long long)minPerBand))}));
    if (bands <= 1) {
        work(0, count);
        return;
    }
    std::vector<std::exception_ptr> errors(static_cast<std::size_t>(bands));
    std::vector<std::thread> helpers;
    helpers.reserve(std::size_t(bands - 1));
    auto runBand = [&](int band) {
        const int begin = int((long long)count * band / bands);
        const int end = int((long long)count * (band + 1) / bands);
        try {
            work(begin, end);
        } catch (...) {
            errors[std::size_t(band)] = std::current_exception();
        }
    };
    for (int band = 1; band < bands; ++band) {
        try {
            helpers.emplace_back(runBand, band);
        } catch (const std::system_error&) {
            runBand(band); // no thread to be had: do the band here
        }
    }
    runBand(0);
    for (std::thread& helper : helpers)
        helper.join();
    for (const std::exception_ptr& error : errors) {
        if (error)
            std::rethrow_exception(error);
    }
}

} // namespace Quelto::Lumindra::Proc

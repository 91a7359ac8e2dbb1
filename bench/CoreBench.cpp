// Opening a photograph with the editing core: the first (preview) frame and the full frame
// against libjpeg-turbo's own command-line decode of the same file, and how exactly the core
// reports the memory it holds.

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

#include <QProcess>
#include <QStringList>

#include "Bench.h"
#include "photocore/PhotoCoreFactory.h"

namespace Quelto::Lumindra::Bench {

namespace {

constexpr int kRuns = 9;

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Times `open` alone; what it returns is released outside the timing (a core's shutdown joins
// its render thread, which is not part of opening).
double MedianOpenMs(const std::function<PhotoCore::PhotoCorePtr()>& open)
{
    open(); // warm-up: page cache, libvips start-up
    std::vector<double> times;
    for (int i = 0; i < kRuns; ++i) {
        const auto start = std::chrono::steady_clock::now();
        PhotoCore::PhotoCorePtr core = open();
        times.push_back(ElapsedMs(start));
    }
    return Median(times);
}

std::uint64_t AllocatedBytes()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

} // namespace

LUMINDRA_BENCH_GROUP(core)
{
    const QString path = PhotoJpeg24MP();
    const ioPath file(path.toStdString());
    const double djpeg = DjpegMs(path, kRuns);

    const double preview = MedianOpenMs([&] { return PhotoCore::PhotoCoreFactory::Create(file, {}); });
    Report("preview_first_vs_djpeg", preview / djpeg, "ratio");

    PhotoCore::CoreCreateOptions full;
    full.waitForFullFrame = true;
    const double decoded = MedianOpenMs([&] { return PhotoCore::PhotoCoreFactory::Create(file, {}, full); });
    Report("decode_full_vs_djpeg", decoded / djpeg, "ratio");

    // Memory: what the allocator hands out for one open core (full frame and its levels)
    // against what the core says it holds.
    malloc_trim(0);
    const std::uint64_t before = AllocatedBytes();
    PhotoCore::PhotoCorePtr core = PhotoCore::PhotoCoreFactory::Create(file, {});
    core->WaitForIdle(-1);
    const std::uint64_t allocated = AllocatedBytes() - before;
    const std::uint64_t reported = core->GetMemorySize();
    Report("core_memory_error_pct",
           100.0 * std::fabs(double(reported) - double(allocated)) / double(std::max<std::uint64_t>(allocated, 1)),
           "percent");
}

} // namespace Quelto::Lumindra::Bench

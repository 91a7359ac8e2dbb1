#pragma once

#include <cstdint>
#include <functional>

namespace Quelto::Lumindra::Proc {

// The one way frame work is split over threads in this project.
//
// Runs `work(begin, end)` over [0, count) split into contiguous bands and returns when every
// band is done. The calling thread works too; the other bands go to the background pool
// (BackgroundPool.h), whose threads live on between calls (no thread is started per call). Bands never
// overlap, so work that writes only its own rows needs no locking. The caller takes every band
// no pool thread has picked up yet, so a call never waits on a busy or exhausted pool and may be
// made from inside a pool task. An exception thrown by any band is rethrown here after all bands
// have finished. `minPerBand` keeps small jobs on the calling thread, where handing work over
// would cost more than it saves. Thread-safe.
void RunInBands(int count, int minPerBand, const std::function<void(int begin, int end)>& work);

// Rows per band for rows of `rowPixels` pixels: enough pixels that a band pays for its hand-over.
int MinRowsPerBand(std::int64_t rowPixels);

} // namespace Quelto::Lumindra::Proc

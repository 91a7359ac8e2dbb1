#pragma once

#include <functional>

namespace Quelto::Lumindra::Proc {

// Runs `work(begin, end)` over [0, count) split into contiguous bands, on the calling thread
// and a few helper threads, and returns when every band is done. Bands never overlap, so work
// that writes only its own rows needs no locking. An exception thrown by any band is rethrown
// here after all bands have finished. `minPerBand` keeps small jobs on the calling thread, where
// starting a thread would cost more than it saves.
void RunInBands(int count, int minPerBand, const std::function<void(int begin, int end)>& work);

} // namespace Quelto::Lumindra::Proc

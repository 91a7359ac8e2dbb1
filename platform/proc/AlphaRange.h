#pragma once

#include <cstdint>

#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::Proc {

// The smallest and largest alpha value of a frame, in the frame's own depth: the one scan behind
// "is it opaque", "is anything drawn at all" and "how transparent does it get". A format without
// alpha counts as opaque. Of() reads the pixels (it does not trust IsOpaque()), stops as soon as
// both ends are reached, and is thread-safe.
struct AlphaRange {
    static AlphaRange Of(const IDataVideo& frame);

    bool IsOpaque() const { return min == full; }
    bool IsInvisible() const { return max == 0; }
    // The smallest alpha in 8 bits (255 = opaque), rounded to nearest.
    std::uint8_t Min8() const;

    unsigned min = 0;
    unsigned max = 0;
    unsigned full = 255; // the opaque value of the frame's depth (255 or 65535)
};

} // namespace Quelto::Lumindra::Proc

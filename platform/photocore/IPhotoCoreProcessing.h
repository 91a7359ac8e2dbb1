#pragma once

#include "proc/FrameInfo.h"

namespace Quelto::Lumindra::PhotoCore {

// How the core processes its image.
class IPhotoCoreProcessing {
public:
    virtual ~IPhotoCoreProcessing() = default;
    // The image was larger than the core's pixel limit and was decoded at a smaller size.
    virtual bool IsScaledForMemory() const = 0;
    // Size of the image in the file (before any reduction for memory, after orientation).
    virtual Conf::FrameInfo GetSourceFrameInfo() const = 0;
    // Whether the full-resolution frame has been decoded (false while only the preview exists).
    virtual bool IsFullFrameReady() const = 0;
};

} // namespace Quelto::Lumindra::PhotoCore

#pragma once

#include <cstdint>
#include <string>

#include "core/IoPath.h"
#include "photocore/ImageDecoder.h"
#include "photocore/ImageSource.h"

namespace Quelto::Lumindra::PhotoCore {

// What a core was opened from. Fixed once the core exists.
struct CoreSource {
    ioPath path;                      // empty for pictures that have no file
    // Where the pixels are read from when not from `path`: the original kept in the session
    // folder once a save replaced `path` (a restored session).
    ioPath pixelFile;
    std::string key;                  // the tool or variant key the core was asked for with
    ImageSource source = ImageSourceFile;
    ImageHeader header;               // codec, orientation, alpha, depth, resolution
    std::uint64_t fileSize = 0;       // of the file when it was read
    std::int64_t fileModifiedMs = 0;  // its modification time then (ms since the epoch)

    const ioPath& GetPixelFile() const { return pixelFile.empty() ? path : pixelFile; }
};

} // namespace Quelto::Lumindra::PhotoCore

#pragma once

#include <string>

#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoCore {

// Encodes frames as baseline JPEG files with libjpeg-turbo, reading the BGRA rows of the frame
// as they are (no copy into another layout), which keeps saving a large photo close to
// libjpeg-turbo's own command-line encoder. Below quality 95 the colour is stored at half
// resolution both ways (4:2:0, libjpeg's and most cameras' choice); from 95 up at full resolution,
// for those who ask for near-lossless files. The resolution goes into the JFIF header.
// No metadata is written here. Thread-safe (no shared state).
class JpegEncoder {
public:
    // The quality from which the colour is kept at full resolution.
    static constexpr int kFullColourQuality = 95;

    // Writes an opaque BGRA32 frame (anything else: throws) to `utf8Path`, replacing what is
    // there. Throws Core::Exception with a readable reason (the system's, when writing failed);
    // the file may then hold part of a picture.
    static void Write(const Proc::IDataVideo& frame, int quality, double dpi, const std::string& utf8Path);
};

} // namespace Quelto::Lumindra::PhotoCore

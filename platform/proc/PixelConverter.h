#pragma once

#include <cstdint>
#include <optional>

#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::Proc {

// The one implementation of per-pixel format work on frames: conversion between the pixel
// formats, the depth change between 8 and 16 bits a channel, and alpha flattening. Between 8 and
// 16 bits values scale exactly (v16 = v8 * 257, v8 = round(v16 / 257)), so 8 -> 16 -> 8 gives
// back the same bytes. Stateless and thread-safe; large frames are split over RunInBands.
class PixelConverter {
public:
    // An opaque colour to compose straight-alpha pixels over, 8 bits a channel.
    struct Pad {
        std::uint8_t r = 255, g = 255, b = 255;
    };

    static constexpr std::uint8_t To8(unsigned v16) { return std::uint8_t((v16 + 128u) / 257u); }
    static constexpr std::uint16_t To16(unsigned v8) { return std::uint16_t(v8 * 257u); }

    // A new frame of `source` in `pixFmt`. With `flattenOnto`, the colours are composed over the
    // pad (rounded to nearest, in the source's depth) and the result is opaque, whether or not
    // `pixFmt` stores alpha; without it a format without alpha simply drops it. Throws
    // Core::Exception for an unknown format or when memory runs out.
    static DataVideoPtr Convert(const IDataVideo& source, int pixFmt, const std::optional<Pad>& flattenOnto = {});
};

} // namespace Quelto::Lumindra::Proc

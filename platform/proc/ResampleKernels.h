#pragma once

#include <cstdint>

#include "proc/ResampleWeights.h"

namespace Quelto::Lumindra::Proc {

// The inner loops of the resizer, one row at a time. The 8-bit loops use the fixed-point
// weights and round the same way on every code path (scalar or vector), so the result does
// not depend on the processor. The float loops work on premultiplied colour, so that
// transparent pixels do not bleed their (meaningless) colour into their neighbours.
// All functions are reentrant.
namespace ResampleKernels {

// Whether the vector (AVX2) loops are used where the processor has them. On by default;
// switching them off gives the portable loops, for comparison. Thread-safe.
void SetVectorEnabled(bool enabled);
bool IsVectorEnabled();

// Fraction bits of the 16-bit samples between the vertical and the horizontal 8-bit pass:
// enough to keep the first pass's rounding out of the result, few enough that Lanczos
// overshoot (up to about 1.3 x 255) still fits a signed 16-bit sample.
constexpr int kMiddleFractionBits = 6;

// out[i] = sum over k of weights[k] * rows[k][i], for `count` bytes; rounded and clamped.
void VerticalU8(const std::uint8_t* const* rows, int taps, const std::int16_t* weights, std::uint8_t* out, int count);
// The same into 16-bit samples with kMiddleFractionBits fraction bits, neither rounded to
// whole values nor clamped to 0..255, for the horizontal pass.
void VerticalMiddle(const std::uint8_t* const* rows, int taps, const std::int16_t* weights, std::int16_t* out, int count);

// One row of such 16-bit samples, `channels` a pixel, to weights.GetTargetSize() 8-bit pixels.
void HorizontalMiddle(const std::int16_t* in, std::uint8_t* out, int channels, const ResampleWeights& weights);

// One row of straight-alpha pixels with alpha last (BGRA 8-bit or RGBA 16-bit) as
// premultiplied float pixels: colour times alpha / max, alpha as it is.
void PremultiplyRow8(const std::uint8_t* row, float* out, int width);
void PremultiplyRow16(const std::uint8_t* row, float* out, int width);

// out[i] = sum over k of weights[k] * rows[k][i], for `count` floats. Element by element, so
// `out` may be rows[0] (an accumulation).
void VerticalFloat(const float* const* rows, int taps, const float* weights, float* out, int count);

// Horizontal pass of premultiplied float pixels, then back to straight alpha in the
// destination depth, rounded and clamped. Fully transparent results are all zero.
void HorizontalPremultipliedTo8(const float* in, std::uint8_t* out, const ResampleWeights& weights);
void HorizontalPremultipliedTo16(const float* in, std::uint16_t* out, const ResampleWeights& weights);

// One row of 2x2 averages of 8-bit four-channel pixels, exactly rounded ((sum + 2) / 4), from
// two source rows: `pairs` output pixels, each from two whole source pixels per row.
void HalveRowBgra(const std::uint8_t* row0, const std::uint8_t* row1, std::uint8_t* out, int pairs);

} // namespace ResampleKernels

} // namespace Quelto::Lumindra::Proc

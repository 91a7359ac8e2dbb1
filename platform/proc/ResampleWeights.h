#pragma once

#include <cstdint>
#include <vector>

namespace Quelto::Lumindra::Proc {

// The filter weights that take one axis of `sourceSize` samples to `targetSize` samples.
// Every output sample reads the same number of inputs (`taps`), from `starts[i]` on, so inner
// loops have a fixed trip count; windows near the edges are shifted inwards and padded with
// zero weights rather than reading outside. The filter is widened by the reduction factor
// when shrinking, so that it also low-passes. Immutable after construction.
class ResampleWeights {
public:
    enum Filter { BILINEAR = 0, BICUBIC = 1, LANCZOS3 = 2 };
    // Fixed-point weights carry this many fraction bits; each output's weights add up to
    // exactly 1 << kFixedBits, so a flat area stays exactly flat.
    static constexpr int kFixedBits = 14;

    // `tapAlignment` rounds the tap count up (for vector loops that read taps in groups) when
    // the source is long enough to hold such windows.
    ResampleWeights(int sourceSize, int targetSize, Filter filter, int tapAlignment = 1);

    int GetSourceSize() const { return sourceSize_; }
    int GetTargetSize() const { return targetSize_; }
    int GetTaps() const { return taps_; }
    int GetStart(int i) const { return starts_[std::size_t(i)]; }
    const float* GetFloatWeights(int i) const { return &floats_[std::size_t(i) * std::size_t(taps_)]; }
    const std::int16_t* GetFixedWeights(int i) const { return &fixed_[std::size_t(i) * std::size_t(taps_)]; }
    // The fixed-point weights laid out for multiply-add of 16-bit pairs over four channels:
    // for each pair of taps (k, k + 1), four copies of the 32-bit word (w[k], w[k + 1]).
    // Present only when the tap count is even (an alignment of 2 or more).
    bool HasPairedWeights() const { return !paired_.empty(); }
    const std::int32_t* GetPairedWeights(int i) const { return &paired_[std::size_t(i) * std::size_t(taps_) * 2]; }

    bool Matches(int sourceSize, int targetSize, Filter filter, int tapAlignment) const
    {
        return sourceSize == sourceSize_ && targetSize == targetSize_ && filter == filter_ && tapAlignment == alignment_;
    }

    // The continuous kernel (support 1, 2 or 3 at unit scale); also used by reference code.
    static double Kernel(Filter filter, double x);
    static double Support(Filter filter);

private:
    int sourceSize_;
    int targetSize_;
    Filter filter_;
    int alignment_;
    int taps_ = 0;
    std::vector<int> starts_;
    std::vector<float> floats_;
    std::vector<std::int16_t> fixed_;
    std::vector<std::int32_t> paired_;
};

} // namespace Quelto::Lumindra::Proc

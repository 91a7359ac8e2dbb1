#include "proc/ResampleWeights.h"

#include <algorithm>
#include <cmath>

namespace Quelto::Lumindra::Proc {

namespace {

constexpr double kPi = 3.14159265358979323846;

double Sinc(double x)
{
    if (x == 0.0)
        return 1.0;
    x *= kPi;
    return std::sin(x) / x;
}

// Keys' cubic with a = -0.5 (the Catmull-Rom spline): interpolating and sharp.
double Cubic(double x)
{
    constexpr double a = -0.5;
    x = std::fabs(x);
    if (x < 1.0)
        return ((a + 2.0) * x - (a + 3.0)) * x * x + 1.0;
    if (x < 2.0)
        return (((x - 5.0) * x + 8.0) * x - 4.0) * a;
    return 0.0;
}

} // namespace

double ResampleWeights::Support(Filter filter)
{
    switch (filter) {
    case BILINEAR:
        return 1.0;
    case BICUBIC:
        return 2.0;
    case LANCZOS3:
    default:
        return 3.0;
    }
}

double ResampleWeights::Kernel(Filter filter, double x)
{
    switch (filter) {
    case BILINEAR:
        x = std::fabs(x);
        return x < 1.0 ? 1.0 - x : 0.0;
    case BICUBIC:
        return Cubic(x);
    case LANCZOS3:
    default:
        return std::fabs(x) < 3.0 ? Sinc(x) * Sinc(x / 3.0) : 0.0;
    }
}

ResampleWeights::ResampleWeights(int sourceSize, int targetSize, Filter filter, int tapAlignment)
    : sourceSize_(sourceSize), targetSize_(targetSize), filter_(filter), alignment_(std::max(1, tapAlignment))
{
    const double scale = double(sourceSize) / targetSize;  // source samples per output sample
    const double widen = std::max(1.0, scale);             // shrinking widens the filter
    const double support = Support(filter) * widen;

    // First pass: each output's natural window [begin, end) and the largest window.
    const auto outputs = static_cast<std::size_t>(targetSize);
    std::vector<int> begins(outputs), ends(outputs);
    int widest = 1;
    for (int i = 0; i < targetSize; ++i) {
        const double center = (i + 0.5) * scale;
        const int begin = std::max(0, int(std::floor(center - support + 0.5)));
        const int end = std::min(sourceSize, std::max(begin + 1, int(std::floor(center + support + 0.5))));
        begins[std::size_t(i)] = begin;
        ends[std::size_t(i)] = end;
        widest = std::max(widest, end - begin);
    }
    taps_ = std::min(widest, sourceSize);
    const int aligned = (taps_ + alignment_ - 1) / alignment_ * alignment_;
    if (aligned <= sourceSize)
        taps_ = aligned;

    starts_.resize(std::size_t(targetSize));
    floats_.assign(std::size_t(targetSize) * std::size_t(taps_), 0.0f);
    fixed_.assign(std::size_t(targetSize) * std::size_t(taps_), 0);
    std::vector<double> w(static_cast<std::size_t>(taps_));
    for (int i = 0; i < targetSize; ++i) {
        const int begin = begins[std::size_t(i)], end = ends[std::size_t(i)];
        const int start = std::min(begin, sourceSize - taps_);
        starts_[std::size_t(i)] = start;
        const double center = (i + 0.5) * scale;
        std::fill(w.begin(), w.end(), 0.0);
        double sum = 0.0;
        for (int s = begin; s < end; ++s) {
            const double v = Kernel(filter, (s + 0.5 - center) / widen);
            w[std::size_t(s - start)] = v;
            sum += v;
        }
        if (sum == 0.0) { // cannot happen for these kernels, but never divide by it
            w[std::size_t(std::clamp(int(center), begin, end - 1) - start)] = 1.0;
            sum = 1.0;
        }
        float* fw = &floats_[std::size_t(i) * std::size_t(taps_)];
        std::int16_t* iw = &fixed_[std::size_t(i) * std::size_t(taps_)];
        int fixedSum = 0, largest = 0;
        for (int k = 0; k < taps_; ++k) {
            const double normalized = w[std::size_t(k)] / sum;
            fw[k] = float(normalized);
            iw[k] = std::int16_t(std::lround(normalized * (1 << kFixedBits)));
            fixedSum += iw[k];
            if (std::abs(iw[k]) > std::abs(iw[largest]))
                largest = k;
        }
        // Rounding may miss the total by a few units: give them to the largest weight.
        iw[largest] = std::int16_t(iw[largest] + ((1 << kFixedBits) - fixedSum));
    }

    if (taps_ % 2 != 0)
        return;
    paired_.resize(std::size_t(targetSize) * std::size_t(taps_) * 2);
    for (int i = 0; i < targetSize; ++i) {
        const std::int16_t* iw = GetFixedWeights(i);
        std::int32_t* out = &paired_[std::size_t(i) * std::size_t(taps_) * 2];
        for (int k = 0; k < taps_; k += 2) {
            const auto word = std::int32_t(std::uint32_t(std::uint16_t(iw[k])) | (std::uint32_t(std::uint16_t(iw[k + 1])) << 16));
            for (int copy = 0; copy < 4; ++copy)
                out[2 * k + copy] = word;
        }
    }
}

} // namespace Quelto::Lumindra::Proc

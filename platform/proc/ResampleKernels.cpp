#include "proc/ResampleKernels.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <vector>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define LUMINDRA_HAVE_AVX2_PATH 1
// The float loops are also compiled for AVX2 and FMA; their bodies must be inlined into
// that copy to get the wider instructions.
#define LUMINDRA_INLINE __attribute__((always_inline)) inline
#else
#define LUMINDRA_INLINE inline
#endif

namespace Quelto::Lumindra::Proc::ResampleKernels {

namespace {

constexpr int kWeightBits = ResampleWeights::kFixedBits;
constexpr int kMiddleBits = kMiddleFractionBits;
// Rounding terms of the three descaling shifts.
constexpr int kRoundToByte = 1 << (kWeightBits - 1);
constexpr int kRoundToMiddle = 1 << (kWeightBits - kMiddleBits - 1);
constexpr int kRoundMiddleToByte = 1 << (kWeightBits + kMiddleBits - 1);

std::atomic<bool> vectorEnabled {true};

inline std::uint8_t ClampU8(int v)
{
    return std::uint8_t(std::clamp(v, 0, 255));
}

// Saturates like the vector pack instructions do.
inline std::int16_t ClampI16(int v)
{
    return std::int16_t(std::clamp(v, -32768, 32767));
}

// Shifts are arithmetic, as the vector instructions' are, whatever the sign.
void VerticalU8Scalar(const std::uint8_t* const* rows, int taps, const std::int16_t* w, std::uint8_t* out, int begin,
                      int end)
{
    for (int i = begin; i < end; ++i) {
        int acc = kRoundToByte;
        for (int k = 0; k < taps; ++k)
            acc += w[k] * rows[k][i];
        out[i] = ClampU8(acc >> kWeightBits);
    }
}

void VerticalMiddleScalar(const std::uint8_t* const* rows, int taps, const std::int16_t* w, std::int16_t* out,
                          int begin, int end)
{
    for (int i = begin; i < end; ++i) {
        int acc = kRoundToMiddle;
        for (int k = 0; k < taps; ++k)
            acc += w[k] * rows[k][i];
        out[i] = ClampI16(acc >> (kWeightBits - kMiddleBits));
    }
}

template <int C>
LUMINDRA_INLINE void HorizontalMiddleScalar(const std::int16_t* in, std::uint8_t* out, const ResampleWeights& weights, int begin)
{
    const int taps = weights.GetTaps();
    for (int x = begin; x < weights.GetTargetSize(); ++x) {
        const std::int16_t* p = in + std::size_t(C) * weights.GetStart(x);
        const std::int16_t* w = weights.GetFixedWeights(x);
        int acc[C];
        for (int c = 0; c < C; ++c)
            acc[c] = kRoundMiddleToByte;
        for (int k = 0; k < taps; ++k) {
            for (int c = 0; c < C; ++c)
                acc[c] += w[k] * p[C * k + c];
        }
        for (int c = 0; c < C; ++c)
            out[C * x + c] = ClampU8(acc[c] >> (kWeightBits + kMiddleBits));
    }
}

void HalveRowBgraScalar(const std::uint8_t* row0, const std::uint8_t* row1, std::uint8_t* out, int begin, int pairs)
{
    for (int i = 4 * begin; i < 4 * pairs; ++i) {
        const int x = i / 4, c = i % 4;
        const unsigned sum = unsigned(row0[8 * x + c]) + row0[8 * x + 4 + c] + row1[8 * x + c] + row1[8 * x + 4 + c];
        out[i] = std::uint8_t((sum + 2) / 4);
    }
}

#ifdef LUMINDRA_HAVE_AVX2_PATH

bool CpuHasAvx2()
{
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
}

// Two rows per multiply-add, their samples interleaved as 16-bit pairs, 32 bytes per step;
// the sums are left in four 32-bit accumulators per step for the caller to narrow.
template <class Store>
__attribute__((target("avx2"))) inline int VerticalAvx2(const std::uint8_t* const* rows, int taps,
                                                        const std::int16_t* w, int count, int roundTerm, Store store)
{
    constexpr int kStep = 32;
    constexpr int kStackPairs = 64; // enough for any reduction by up to 20x
    std::int32_t stackPairs[kStackPairs];
    std::vector<std::int32_t> heapPairs;
    std::int32_t* pairs = stackPairs;
    const int pairCount = (taps + 1) / 2;
    if (pairCount > kStackPairs) {
        heapPairs.resize(std::size_t(pairCount));
        pairs = heapPairs.data();
    }
    for (int k = 0; k < taps; k += 2) {
        const std::uint32_t lo = std::uint16_t(w[k]);
        const std::uint32_t hi = k + 1 < taps ? std::uint16_t(w[k + 1]) : 0u;
        pairs[k / 2] = std::int32_t(lo | (hi << 16));
    }
    // An odd last row is paired with a row of zeros (its weight is zero too).
    alignas(32) static const std::uint8_t zeros[kStep] = {};
    const __m256i round = _mm256_set1_epi32(roundTerm);
    const __m256i zero = _mm256_setzero_si256();
    int i = 0;
    for (; i + kStep <= count; i += kStep) {
        __m256i acc0 = round, acc1 = round, acc2 = round, acc3 = round;
        for (int k = 0; k < taps; k += 2) {
            const std::uint8_t* rb = k + 1 < taps ? rows[k + 1] + i : zeros;
            const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(rows[k] + i));
            const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(rb));
            // Bytes of the two rows side by side, then widened with zeros: 16-bit pairs
            // (a, b) for the multiply-add, in an order that the packing undoes.
            const __m256i abLow = _mm256_unpacklo_epi8(a, b);
            const __m256i abHigh = _mm256_unpackhi_epi8(a, b);
            const __m256i wk = _mm256_set1_epi32(pairs[k / 2]);
            acc0 = _mm256_add_epi32(acc0, _mm256_madd_epi16(_mm256_unpacklo_epi8(abLow, zero), wk));
            acc1 = _mm256_add_epi32(acc1, _mm256_madd_epi16(_mm256_unpackhi_epi8(abLow, zero), wk));
            acc2 = _mm256_add_epi32(acc2, _mm256_madd_epi16(_mm256_unpacklo_epi8(abHigh, zero), wk));
            acc3 = _mm256_add_epi32(acc3, _mm256_madd_epi16(_mm256_unpackhi_epi8(abHigh, zero), wk));
        }
        store(i, acc0, acc1, acc2, acc3);
    }
    return i;
}

__attribute__((target("avx2"))) void VerticalU8Avx2(const std::uint8_t* const* rows, int taps, const std::int16_t* w,
                                                   std::uint8_t* out, int count)
{
    const int done = VerticalAvx2(rows, taps, w, count, kRoundToByte,
                                  [out](int i, __m256i acc0, __m256i acc1, __m256i acc2, __m256i acc3)
                                      __attribute__((target("avx2"))) {
        // acc0..acc3 hold samples [0-3 | 16-19], [4-7 | 20-23], [8-11 | 24-27], [12-15 | 28-31]:
        // the lane-wise packs put them back in order.
        const __m256i words0 = _mm256_packs_epi32(_mm256_srai_epi32(acc0, kWeightBits), _mm256_srai_epi32(acc1, kWeightBits));
        const __m256i words1 = _mm256_packs_epi32(_mm256_srai_epi32(acc2, kWeightBits), _mm256_srai_epi32(acc3, kWeightBits));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), _mm256_packus_epi16(words0, words1));
    });
    VerticalU8Scalar(rows, taps, w, out, done, count);
}

__attribute__((target("avx2"))) void VerticalMiddleAvx2(const std::uint8_t* const* rows, int taps,
                                                       const std::int16_t* w, std::int16_t* out, int count)
{
    constexpr int kShift = kWeightBits - kMiddleBits;
    const int done = VerticalAvx2(rows, taps, w, count, kRoundToMiddle,
                                  [out](int i, __m256i acc0, __m256i acc1, __m256i acc2, __m256i acc3)
                                      __attribute__((target("avx2"))) {
        // acc0..acc3 hold samples [0-3 | 16-19], [4-7 | 20-23], [8-11 | 24-27], [12-15 | 28-31].
        const __m256i words0 = _mm256_packs_epi32(_mm256_srai_epi32(acc0, kShift), _mm256_srai_epi32(acc1, kShift));
        const __m256i words1 = _mm256_packs_epi32(_mm256_srai_epi32(acc2, kShift), _mm256_srai_epi32(acc3, kShift));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), _mm256_permute2x128_si256(words0, words1, 0x20));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i + 16), _mm256_permute2x128_si256(words0, words1, 0x31));
    });
    VerticalMiddleScalar(rows, taps, w, out, done, count);
}

// The 16-bit samples of two BGRA pixels regrouped channel by channel in pairs, in each
// 128-bit lane: B0 B1 G0 G1 R0 R1 A0 A1, to meet the paired weights.
__attribute__((target("avx2"))) inline __m256i RegroupMask()
{
    return _mm256_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15, 0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12,
                            13, 6, 7, 14, 15);
}

__attribute__((target("avx2"))) inline __m256i FourTaps(const std::int16_t* p, const std::int32_t* w, int k,
                                                        __m256i regroup)
{
    const __m256i px = _mm256_shuffle_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 4 * k)), regroup);
    return _mm256_madd_epi16(px, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(w + 2 * k)));
}

// Four taps of one BGRA pixel per multiply-add. Two output pixels are made together so that
// they share the final reduction and packing; a tap count that is not a multiple of four
// ends with one pair of taps for each of the two.
__attribute__((target("avx2"))) void HorizontalMiddleBgraAvx2(const std::int16_t* in, std::uint8_t* out,
                                                             const ResampleWeights& weights)
{
    const int taps = weights.GetTaps();
    const int groups = taps / 4 * 4;
    const int width = weights.GetTargetSize();
    const __m256i regroup = RegroupMask();
    const __m256i round = _mm256_set1_epi32(kRoundMiddleToByte);
    const __m256i firstDwords = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    int x = 0;
    for (; x + 2 <= width; x += 2) {
        const std::int16_t* pa = in + 4 * std::size_t(weights.GetStart(x));
        const std::int16_t* pb = in + 4 * std::size_t(weights.GetStart(x + 1));
        const std::int32_t* wa = weights.GetPairedWeights(x);
        const std::int32_t* wb = weights.GetPairedWeights(x + 1);
        __m256i accA = _mm256_setzero_si256(), accB = _mm256_setzero_si256();
        for (int k = 0; k < groups; k += 4) {
            accA = _mm256_add_epi32(accA, FourTaps(pa, wa, k, regroup));
            accB = _mm256_add_epi32(accB, FourTaps(pb, wb, k, regroup));
        }
        // [A | B]: each lane the four channel sums of one pixel.
        __m256i sum = _mm256_add_epi32(_mm256_permute2x128_si256(accA, accB, 0x20),
                                       _mm256_permute2x128_si256(accA, accB, 0x31));
        if (groups < taps) {
            const __m256i both = _mm256_inserti128_si256(
                _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(pa + 4 * groups))),
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(pb + 4 * groups)), 1);
            const __m256i w = _mm256_inserti128_si256(
                _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(wa + 2 * groups))),
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(wb + 2 * groups)), 1);
            sum = _mm256_add_epi32(sum, _mm256_madd_epi16(_mm256_shuffle_epi8(both, regroup), w));
        }
        sum = _mm256_srai_epi32(_mm256_add_epi32(sum, round), kWeightBits + kMiddleBits);
        const __m256i words = _mm256_packs_epi32(sum, sum);
        const __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_packus_epi16(words, words), firstDwords);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 4 * std::size_t(x)), _mm256_castsi256_si128(bytes));
    }
    HorizontalMiddleScalar<4>(in, out, weights, x);
}

#endif // LUMINDRA_HAVE_AVX2_PATH

template <class T, int Max>
LUMINDRA_INLINE void PremultiplyRow(const std::uint8_t* row, float* out, int width)
{
    constexpr float kInvMax = 1.0f / Max;
    const T* p = reinterpret_cast<const T*>(row);
    for (int x = 0; x < width; ++x) {
        const float a = float(p[4 * x + 3]);
        const float scale = a * kInvMax;
        out[4 * x + 0] = float(p[4 * x + 0]) * scale;
        out[4 * x + 1] = float(p[4 * x + 1]) * scale;
        out[4 * x + 2] = float(p[4 * x + 2]) * scale;
        out[4 * x + 3] = a;
    }
}

LUMINDRA_INLINE void VerticalFloatBody(const float* const* rows, int taps, const float* w, float* out, int count)
{
    const float* first = rows[0];
    const float w0 = w[0];
    for (int i = 0; i < count; ++i)
        out[i] = w0 * first[i];
    for (int k = 1; k < taps; ++k) {
        const float* row = rows[k];
        const float wk = w[k];
        if (wk == 0.0f)
            continue;
        for (int i = 0; i < count; ++i)
            out[i] += wk * row[i];
    }
}

template <class T, int Max>
LUMINDRA_INLINE void HorizontalPremultiplied(const float* in, T* out, const ResampleWeights& weights)
{
    const int taps = weights.GetTaps();
    for (int x = 0; x < weights.GetTargetSize(); ++x) {
        const float* p = in + 4 * std::size_t(weights.GetStart(x));
        const float* w = weights.GetFloatWeights(x);
        float acc[4] = {0.0f, 0.0f, 0.0f, 0.0f};
        for (int k = 0; k < taps; ++k) {
            for (int c = 0; c < 4; ++c)
                acc[c] += w[k] * p[4 * k + c];
        }
        T* q = out + 4 * std::size_t(x);
        const float alpha = std::min(acc[3], float(Max));
        if (alpha < 0.5f) {
            q[0] = q[1] = q[2] = q[3] = 0;
            continue;
        }
        // Clamped first, so that adding a half and truncating rounds to nearest.
        const float unpremultiply = float(Max) / alpha;
        for (int c = 0; c < 3; ++c)
            q[c] = T(std::clamp(acc[c] * unpremultiply, 0.0f, float(Max)) + 0.5f);
        q[3] = T(alpha + 0.5f);
    }
}

#ifdef LUMINDRA_HAVE_AVX2_PATH

bool CpuHasAvx2Fma()
{
    static const bool has = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    return has;
}

__attribute__((target("avx2,fma"))) void PremultiplyRow8Avx2(const std::uint8_t* row, float* out, int width)
{
    PremultiplyRow<std::uint8_t, 255>(row, out, width);
}

__attribute__((target("avx2,fma"))) void PremultiplyRow16Avx2(const std::uint8_t* row, float* out, int width)
{
    PremultiplyRow<std::uint16_t, 65535>(row, out, width);
}

__attribute__((target("avx2,fma"))) void VerticalFloatAvx2(const float* const* rows, int taps, const float* w,
                                                          float* out, int count)
{
    VerticalFloatBody(rows, taps, w, out, count);
}

// One pixel's four premultiplied sums per 128-bit register; then back to straight alpha.
template <class T, int Max>
__attribute__((target("avx2,fma"))) inline void HorizontalPremultipliedAvx2(const float* in, T* out,
                                                                           const ResampleWeights& weights)
{
    const int taps = weights.GetTaps();
    const __m128 maxValue = _mm_set1_ps(float(Max));
    const __m128 half = _mm_set1_ps(0.5f);
    const __m128 zero = _mm_setzero_ps();
    for (int x = 0; x < weights.GetTargetSize(); ++x) {
        const float* p = in + 4 * std::size_t(weights.GetStart(x));
        const float* w = weights.GetFloatWeights(x);
        __m128 acc0 = _mm_setzero_ps(), acc1 = _mm_setzero_ps();
        int k = 0;
        for (; k + 2 <= taps; k += 2) {
            acc0 = _mm_fmadd_ps(_mm_broadcast_ss(w + k), _mm_loadu_ps(p + 4 * k), acc0);
            acc1 = _mm_fmadd_ps(_mm_broadcast_ss(w + k + 1), _mm_loadu_ps(p + 4 * k + 4), acc1);
        }
        if (k < taps)
            acc0 = _mm_fmadd_ps(_mm_broadcast_ss(w + k), _mm_loadu_ps(p + 4 * k), acc0);
        const __m128 sum = _mm_add_ps(acc0, acc1);
        const __m128 alpha = _mm_min_ps(_mm_shuffle_ps(sum, sum, _MM_SHUFFLE(3, 3, 3, 3)), maxValue);
        T* q = out + 4 * std::size_t(x);
        if (_mm_cvtss_f32(alpha) < 0.5f) {
            q[0] = q[1] = q[2] = q[3] = 0;
            continue;
        }
        // Colour times max / alpha; the alpha lane is replaced by alpha itself.
        __m128 straight = _mm_blend_ps(_mm_div_ps(_mm_mul_ps(sum, maxValue), alpha), alpha, 0x8);
        straight = _mm_add_ps(_mm_min_ps(_mm_max_ps(straight, zero), maxValue), half);
        const __m128i values = _mm_cvttps_epi32(straight);
        if constexpr (Max == 255) {
            const __m128i bytes = _mm_packus_epi16(_mm_packs_epi32(values, values), values);
            const std::int32_t pixel = _mm_cvtsi128_si32(bytes);
            std::memcpy(q, &pixel, 4);
        } else {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(q), _mm_packus_epi32(values, values));
        }
    }
}

__attribute__((target("avx2,fma"))) void HorizontalPremultipliedTo8Avx2(const float* in, std::uint8_t* out,
                                                                       const ResampleWeights& weights)
{
    HorizontalPremultipliedAvx2<std::uint8_t, 255>(in, out, weights);
}

__attribute__((target("avx2,fma"))) void HorizontalPremultipliedTo16Avx2(const float* in, std::uint16_t* out,
                                                                        const ResampleWeights& weights)
{
    HorizontalPremultipliedAvx2<std::uint16_t, 65535>(in, out, weights);
}

// Neighbouring pixels' bytes regrouped side by side, then summed in pairs by a multiply-add
// with ones: eight output pixels from sixteen source pixels of each row per step.
__attribute__((target("avx2"))) void HalveRowBgraAvx2(const std::uint8_t* row0, const std::uint8_t* row1,
                                                     std::uint8_t* out, int pairs)
{
    const __m256i regroup = _mm256_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15, 0, 4, 1, 5, 2, 6,
                                             3, 7, 8, 12, 9, 13, 10, 14, 11, 15);
    const __m256i ones = _mm256_set1_epi8(1);
    const __m256i two = _mm256_set1_epi16(2);
    auto sums = [&](int offset) __attribute__((target("avx2"))) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row0 + offset));
        const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row1 + offset));
        const __m256i sum = _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_shuffle_epi8(a, regroup), ones),
                                             _mm256_maddubs_epi16(_mm256_shuffle_epi8(b, regroup), ones));
        return _mm256_srli_epi16(_mm256_add_epi16(sum, two), 2);
    };
    int x = 0;
    for (; x + 8 <= pairs; x += 8) {
        const __m256i packed = _mm256_packus_epi16(sums(8 * x), sums(8 * x + 32));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * x), _mm256_permute4x64_epi64(packed, 0xd8));
    }
    HalveRowBgraScalar(row0, row1, out, x, pairs);
}

#define LUMINDRA_DISPATCH_FLOAT(vectorCall)      \
    if (IsVectorEnabled() && CpuHasAvx2Fma()) { \
        vectorCall;                              \
        return;                                  \
    }
#else
#define LUMINDRA_DISPATCH_FLOAT(vectorCall)
#endif

} // namespace

void SetVectorEnabled(bool enabled)
{
    vectorEnabled.store(enabled, std::memory_order_relaxed);
}

bool IsVectorEnabled()
{
    return vectorEnabled.load(std::memory_order_relaxed);
}

void VerticalU8(const std::uint8_t* const* rows, int taps, const std::int16_t* weights, std::uint8_t* out, int count)
{
#ifdef LUMINDRA_HAVE_AVX2_PATH
    if (IsVectorEnabled() && CpuHasAvx2()) {
        VerticalU8Avx2(rows, taps, weights, out, count);
        return;
    }
#endif
    VerticalU8Scalar(rows, taps, weights, out, 0, count);
}

void VerticalMiddle(const std::uint8_t* const* rows, int taps, const std::int16_t* weights, std::int16_t* out, int count)
{
#ifdef LUMINDRA_HAVE_AVX2_PATH
    if (IsVectorEnabled() && CpuHasAvx2()) {
        VerticalMiddleAvx2(rows, taps, weights, out, count);
        return;
    }
#endif
    VerticalMiddleScalar(rows, taps, weights, out, 0, count);
}

void HorizontalMiddle(const std::int16_t* in, std::uint8_t* out, int channels, const ResampleWeights& weights)
{
#ifdef LUMINDRA_HAVE_AVX2_PATH
    if (channels == 3 && IsVectorEnabled() && CpuHasAvx2() && weights.HasPairedWeights()) {
        // Three channels go through the four-channel loop with a fourth of zeros: the
        // channels never mix, so the bytes are those of the three-channel loop.
        thread_local std::vector<std::int16_t> wide;
        thread_local std::vector<std::uint8_t> wideOut;
        const int sourceWidth = weights.GetSourceSize(), targetWidth = weights.GetTargetSize();
        wide.resize(4 * std::size_t(sourceWidth));
        wideOut.resize(4 * std::size_t(targetWidth));
        for (int x = 0; x < sourceWidth; ++x) {
            wide[4 * std::size_t(x) + 0] = in[3 * x + 0];
            wide[4 * std::size_t(x) + 1] = in[3 * x + 1];
            wide[4 * std::size_t(x) + 2] = in[3 * x + 2];
            wide[4 * std::size_t(x) + 3] = 0;
        }
        HorizontalMiddleBgraAvx2(wide.data(), wideOut.data(), weights);
        for (int x = 0; x < targetWidth; ++x) {
            out[3 * x + 0] = wideOut[4 * std::size_t(x) + 0];
            out[3 * x + 1] = wideOut[4 * std::size_t(x) + 1];
            out[3 * x + 2] = wideOut[4 * std::size_t(x) + 2];
        }
        return;
    }
#endif
    if (channels == 4) {
#ifdef LUMINDRA_HAVE_AVX2_PATH
        if (IsVectorEnabled() && CpuHasAvx2() && weights.HasPairedWeights()) {
            HorizontalMiddleBgraAvx2(in, out, weights);
            return;
        }
#endif
        HorizontalMiddleScalar<4>(in, out, weights, 0);
    } else {
        HorizontalMiddleScalar<3>(in, out, weights, 0);
    }
}

void PremultiplyRow8(const std::uint8_t* row, float* out, int width)
{
    LUMINDRA_DISPATCH_FLOAT(PremultiplyRow8Avx2(row, out, width))
    PremultiplyRow<std::uint8_t, 255>(row, out, width);
}

void PremultiplyRow16(const std::uint8_t* row, float* out, int width)
{
    LUMINDRA_DISPATCH_FLOAT(PremultiplyRow16Avx2(row, out, width))
    PremultiplyRow<std::uint16_t, 65535>(row, out, width);
}

void VerticalFloat(const float* const* rows, int taps, const float* weights, float* out, int count)
{
    LUMINDRA_DISPATCH_FLOAT(VerticalFloatAvx2(rows, taps, weights, out, count))
    VerticalFloatBody(rows, taps, weights, out, count);
}

void HorizontalPremultipliedTo8(const float* in, std::uint8_t* out, const ResampleWeights& weights)
{
    LUMINDRA_DISPATCH_FLOAT(HorizontalPremultipliedTo8Avx2(in, out, weights))
    HorizontalPremultiplied<std::uint8_t, 255>(in, out, weights);
}

void HorizontalPremultipliedTo16(const float* in, std::uint16_t* out, const ResampleWeights& weights)
{
    LUMINDRA_DISPATCH_FLOAT(HorizontalPremultipliedTo16Avx2(in, out, weights))
    HorizontalPremultiplied<std::uint16_t, 65535>(in, out, weights);
}

void HalveRowBgra(const std::uint8_t* row0, const std::uint8_t* row1, std::uint8_t* out, int pairs)
{
#ifdef LUMINDRA_HAVE_AVX2_PATH
    if (IsVectorEnabled() && CpuHasAvx2()) {
        HalveRowBgraAvx2(row0, row1, out, pairs);
        return;
    }
#endif
    HalveRowBgraScalar(row0, row1, out, 0, pairs);
}

} // namespace Quelto::Lumindra::Proc::ResampleKernels

#include "proc/AlphaRange.h"

#include <algorithm>
#include <mutex>

#include "proc/ParallelBands.h"
#include "proc/PixelConverter.h"

namespace Quelto::Lumindra::Proc {

namespace {

// Alpha is the last of four channels in both formats that have one.
template <class T>
void ScanRows(const IDataVideo& frame, unsigned full, int y0, int y1, unsigned& lo, unsigned& hi)
{
    const int width = frame.GetFrameInfo().width;
    for (int y = y0; y < y1 && (lo > 0 || hi < full); ++y) {
        const T* p = reinterpret_cast<const T*>(frame.GetData() + std::size_t(y) * std::size_t(frame.GetStride()));
        for (int x = 0; x < width; ++x) {
            const unsigned a = p[4 * x + 3];
            lo = std::min(lo, a);
            hi = std::max(hi, a);
        }
    }
}

} // namespace

AlphaRange AlphaRange::Of(const IDataVideo& frame)
{
    const int fmt = frame.GetPixFmt();
    AlphaRange range;
    range.full = fmt == PIX_FMT_RGBA64 ? 0xffffu : 0xffu;
    range.min = range.max = range.full;
    if (!HasAlphaChannel(fmt))
        return range;
    const Conf::FrameInfo& info = frame.GetFrameInfo();
    range.max = 0;
    std::mutex mutex; // guards range while bands merge their results
    RunInBands(info.height, MinRowsPerBand(info.width), [&](int y0, int y1) {
        unsigned lo = range.full, hi = 0;
        if (fmt == PIX_FMT_RGBA64)
            ScanRows<std::uint16_t>(frame, range.full, y0, y1, lo, hi);
        else
            ScanRows<std::uint8_t>(frame, range.full, y0, y1, lo, hi);
        std::lock_guard<std::mutex> lock(mutex);
        range.min = std::min(range.min, lo);
        range.max = std::max(range.max, hi);
    });
    if (info.IsEmpty())
        range.min = range.max = range.full;
    return range;
}

std::uint8_t AlphaRange::Min8() const
{
    return full == 0xffu ? std::uint8_t(min) : PixelConverter::To8(min);
}

} // namespace Quelto::Lumindra::Proc

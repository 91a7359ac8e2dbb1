#include "proc/PixelConverter.h"

#include <string>

#include "core/Exception.h"
#include "proc/ParallelBands.h"

namespace Quelto::Lumindra::Proc {

namespace {

template <class Channel, int Channels, int R, int G, int B, int A>
struct Layout {
    using T = Channel;
    static constexpr int kChannels = Channels;
    static constexpr int kR = R, kG = G, kB = B, kA = A; // offsets; kA < 0: no alpha
    static constexpr unsigned kMax = sizeof(Channel) == 1 ? 0xffu : 0xffffu;
};

using Rgb24 = Layout<std::uint8_t, 3, 0, 1, 2, -1>;
using Bgr24 = Layout<std::uint8_t, 3, 2, 1, 0, -1>;
using Bgra32 = Layout<std::uint8_t, 4, 2, 1, 0, 3>;
using Rgba64 = Layout<std::uint16_t, 4, 0, 1, 2, 3>;

// One channel value from the source depth to the destination depth, exactly rounded.
template <class Src, class Dst>
inline typename Dst::T Rescale(unsigned v)
{
    if constexpr (Src::kMax == Dst::kMax)
        return typename Dst::T(v);
    else if constexpr (Src::kMax == 0xffu)
        return PixelConverter::To16(v);
    else
        return PixelConverter::To8(v);
}

// Source over an opaque pad colour, in the source depth, rounded to nearest.
template <class Src>
inline unsigned Over(unsigned c, unsigned a, unsigned pad)
{
    const std::uint64_t sum = std::uint64_t(c) * a + std::uint64_t(pad) * (Src::kMax - a) + Src::kMax / 2;
    return unsigned(sum / Src::kMax);
}

template <class Src, class Dst, bool Flatten>
void ConvertRows(const IDataVideo& in, IDataVideo& out, const PixelConverter::Pad& pad, int rowBegin, int rowEnd)
{
    const int width = in.GetFrameInfo().width;
    const unsigned scale = Src::kMax == 0xffu ? 1u : 257u;
    const unsigned padR = pad.r * scale, padG = pad.g * scale, padB = pad.b * scale;
    for (int y = rowBegin; y < rowEnd; ++y) {
        const auto* s = reinterpret_cast<const typename Src::T*>(in.GetData() + std::size_t(y) * in.GetStride());
        auto* d = reinterpret_cast<typename Dst::T*>(out.GetMutableData() + std::size_t(y) * out.GetStride());
        for (int x = 0; x < width; ++x, s += Src::kChannels, d += Dst::kChannels) {
            unsigned r = s[Src::kR], g = s[Src::kG], b = s[Src::kB];
            if constexpr (Flatten) {
                const unsigned a = s[Src::kA];
                r = Over<Src>(r, a, padR);
                g = Over<Src>(g, a, padG);
                b = Over<Src>(b, a, padB);
            }
            d[Dst::kR] = Rescale<Src, Dst>(r);
            d[Dst::kG] = Rescale<Src, Dst>(g);
            d[Dst::kB] = Rescale<Src, Dst>(b);
            if constexpr (Dst::kA >= 0) {
                if constexpr (Src::kA >= 0 && !Flatten)
                    d[Dst::kA] = Rescale<Src, Dst>(s[Src::kA]);
                else
                    d[Dst::kA] = typename Dst::T(Dst::kMax);
            }
        }
    }
}

using RowConverter = void (*)(const IDataVideo&, IDataVideo&, const PixelConverter::Pad&, int, int);

template <class Src, class Dst>
RowConverter Pick(bool flatten)
{
    if constexpr (Src::kA >= 0) {
        if (flatten)
            return &ConvertRows<Src, Dst, true>;
    }
    return &ConvertRows<Src, Dst, false>;
}

template <class Src>
RowConverter PickForSource(int dst, bool flatten)
{
    switch (dst) {
    case PIX_FMT_RGB24:
        return Pick<Src, Rgb24>(flatten);
    case PIX_FMT_BGR24:
        return Pick<Src, Bgr24>(flatten);
    case PIX_FMT_BGRA32:
        return Pick<Src, Bgra32>(flatten);
    case PIX_FMT_RGBA64:
        return Pick<Src, Rgba64>(flatten);
    default:
        return nullptr;
    }
}

RowConverter PickConverter(int src, int dst, bool flatten)
{
    switch (src) {
    case PIX_FMT_RGB24:
        return PickForSource<Rgb24>(dst, flatten);
    case PIX_FMT_BGR24:
        return PickForSource<Bgr24>(dst, flatten);
    case PIX_FMT_BGRA32:
        return PickForSource<Bgra32>(dst, flatten);
    case PIX_FMT_RGBA64:
        return PickForSource<Rgba64>(dst, flatten);
    default:
        return nullptr;
    }
}

} // namespace

DataVideoPtr PixelConverter::Convert(const IDataVideo& source, int pixFmt, const std::optional<Pad>& flattenOnto)
{
    const RowConverter convert = PickConverter(source.GetPixFmt(), pixFmt, flattenOnto.has_value());
    if (!convert)
        throw Core::Exception("Frames cannot be converted from pixel format " + std::to_string(source.GetPixFmt())
                              + " to " + std::to_string(pixFmt));
    DataVideoPtr result = CreateDataVideo(source.GetFrameInfo(), pixFmt);
    const Pad pad = flattenOnto.value_or(Pad {});
    IDataVideo& out = *result;
    const Conf::FrameInfo& info = source.GetFrameInfo();
    RunInBands(info.height, MinRowsPerBand(info.width),
               [&](int begin, int end) { convert(source, out, pad, begin, end); });
    if (HasAlphaChannel(pixFmt))
        result->SetOpaque(flattenOnto.has_value() || source.IsOpaque());
    return result;
}

} // namespace Quelto::Lumindra::Proc

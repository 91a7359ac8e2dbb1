#pragma once

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <functional>

#include "proc/IDataVideo.h"

// Frames built and read pixel by pixel, independently of the code under test, in every format.
namespace Quelto::Lumindra::Test {

using Rgba = std::array<int, 4>; // R, G, B, A in the frame's own depth

inline int MaxValue(int format)
{
    return format == Proc::PIX_FMT_RGBA64 ? 65535 : 255;
}

// Channel c (R, G, B, A) of a pixel; null for the alpha that RGB formats do not store.
inline std::uint8_t* Channel(const Proc::IDataVideo& frame, int x, int y, int c)
{
    const int format = frame.GetPixFmt();
    auto* p = const_cast<std::uint8_t*>(frame.GetData()) + std::size_t(y) * frame.GetStride()
            + std::size_t(x) * Proc::BytesPerPixel(format);
    if (format == Proc::PIX_FMT_RGBA64)
        return p + 2 * c;
    const int at = c == 3 ? (Proc::HasAlphaChannel(format) ? 3 : -1) : format == Proc::PIX_FMT_RGB24 ? c : 2 - c;
    return at < 0 ? nullptr : p + at;
}

inline Rgba ReadPixel(const Proc::IDataVideo& frame, int x, int y)
{
    Rgba v {};
    for (int c = 0; c < 4; ++c) {
        const std::uint8_t* p = Channel(frame, x, y, c);
        v[std::size_t(c)] = !p ? 255 : frame.GetPixFmt() == Proc::PIX_FMT_RGBA64 ? *reinterpret_cast<const std::uint16_t*>(p) : *p;
    }
    return v;
}

// Opaque exactly when every alpha is the maximum (always, for formats without alpha).
inline Proc::DataVideoPtr MakeFrame(int format, int width, int height, const std::function<Rgba(int, int)>& pixel,
                                    double aspect = 1.0)
{
    Proc::DataVideoPtr frame = Proc::CreateDataVideo(Conf::FrameInfo {width, height, aspect}, format);
    bool opaque = true;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Rgba v = pixel(x, y);
            opaque = opaque && v[3] == MaxValue(format);
            for (int c = 0; c < 4; ++c) {
                if (std::uint8_t* p = Channel(*frame, x, y, c); p && format == Proc::PIX_FMT_RGBA64)
                    *reinterpret_cast<std::uint16_t*>(p) = std::uint16_t(v[std::size_t(c)]);
                else if (p)
                    *p = std::uint8_t(v[std::size_t(c)]);
            }
        }
    }
    frame->SetOpaque(opaque || !Proc::HasAlphaChannel(format));
    return frame;
}

inline Proc::DataVideoPtr MakeFlatFrame(int format, int width, int height, const Rgba& colour, double aspect = 1.0)
{
    return MakeFrame(format, width, height, [&](int, int) { return colour; }, aspect);
}

// Deterministic texture: neighbouring pixels differ, so filter mistakes show. With transparency
// the alpha varies as much as the colours.
inline Proc::DataVideoPtr MakeNoiseFrame(int format, int width, int height, bool transparent = false)
{
    return MakeFrame(format, width, height, [&](int x, int y) {
        const unsigned h = (unsigned(x) * 73856093u) ^ (unsigned(y) * 19349663u);
        const int max = MaxValue(format), green = int((h >> 8) % 241) * max / 240;
        return Rgba {int(h % 251) * max / 250, green, int((h >> 16) % 239) * max / 238, transparent ? green : max};
    });
}

// Largest difference of any channel of two frames, in the frames' own depth; INT_MAX when the
// sizes differ.
inline int MaxDifference(const Proc::IDataVideo& a, const Proc::IDataVideo& b)
{
    if (a.GetFrameInfo().width != b.GetFrameInfo().width || a.GetFrameInfo().height != b.GetFrameInfo().height)
        return INT_MAX;
    int worst = 0;
    for (int y = 0; y < a.GetFrameInfo().height; ++y) {
        for (int x = 0; x < a.GetFrameInfo().width; ++x) {
            const Rgba p = ReadPixel(a, x, y), q = ReadPixel(b, x, y);
            for (std::size_t c = 0; c < 4; ++c)
                worst = std::max(worst, std::abs(p[c] - q[c]));
        }
    }
    return worst;
}

} // namespace Quelto::Lumindra::Test

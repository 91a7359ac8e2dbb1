#include "photocore/FrameOps.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include <QImage>

#include "core/Exception.h"
#include "photocore/EditRegistry.h"
#include "proc/AlphaRange.h"
#include "proc/ParallelBands.h"
#include "proc/PixelConverter.h"
#include "proc/Vips.h"

namespace Quelto::Lumindra::PhotoCore {

namespace {

using Proc::DataVideoPtr;
using Proc::IDataVideo;

// Square tiles for quarter turns: 64 rows of 64 pixels of 8 bytes stay within L1/L2 while a
// column of the source is walked.
constexpr int kTile = 64;
constexpr double kMaxExposureStops = 5.0;
constexpr double kMaxPercent = 100.0;

void CheckFormat(const IDataVideo& frame)
{
    const int fmt = frame.GetPixFmt();
    if (fmt != Proc::PIX_FMT_BGRA32 && fmt != Proc::PIX_FMT_RGBA64)
        throw Core::Exception("The editing core cannot process frames of pixel format " + std::to_string(fmt));
}

bool Is16(const IDataVideo& frame)
{
    return frame.GetPixFmt() == Proc::PIX_FMT_RGBA64;
}

std::uint8_t* Row(IDataVideo& frame, int y)
{
    return frame.GetMutableData() + std::size_t(y) * std::size_t(frame.GetStride());
}

const std::uint8_t* Row(const IDataVideo& frame, int y)
{
    return frame.GetData() + std::size_t(y) * std::size_t(frame.GetStride());
}

// out(x, y) = source pixel at origin + x * stepX + y * stepY (byte offsets). Covers the flips
// and every quarter turn; tiles keep a column walk of the source cache-friendly.
template <class Pixel>
void RemapRows(const std::uint8_t* origin, std::ptrdiff_t stepX, std::ptrdiff_t stepY, IDataVideo& out, int y0, int y1)
{
    const int width = out.GetFrameInfo().width;
    for (int ty = y0; ty < y1; ty += kTile) {
        const int ey = std::min(ty + kTile, y1);
        for (int tx = 0; tx < width; tx += kTile) {
            const int ex = std::min(tx + kTile, width);
            for (int y = ty; y < ey; ++y) {
                Pixel* dst = reinterpret_cast<Pixel*>(Row(out, y));
                const std::uint8_t* src = origin + std::ptrdiff_t(y) * stepY;
                for (int x = tx; x < ex; ++x)
                    std::memcpy(&dst[x], src + std::ptrdiff_t(x) * stepX, sizeof(Pixel));
            }
        }
    }
}

// Source coordinates of output pixel (x, y): (ox + x*ax + y*bx, oy + x*ay + y*by).
struct Mapping {
    int outWidth, outHeight;
    int ox, oy, ax, ay, bx, by;
};

DataVideoPtr Remap(const IDataVideo& source, const Mapping& m)
{
    CheckFormat(source);
    Conf::FrameInfo info = source.GetFrameInfo();
    if (m.ax == 0) // the axes swap: a quarter turn turns a pixel's aspect too
        info.pixelAspect = info.pixelAspect > 0.0 ? 1.0 / info.pixelAspect : 1.0;
    info.width = m.outWidth;
    info.height = m.outHeight;
    DataVideoPtr out = Proc::CreateDataVideo(info, source.GetPixFmt());
    const std::ptrdiff_t bpp = Proc::BytesPerPixel(source.GetPixFmt());
    const std::ptrdiff_t stride = source.GetStride();
    const std::uint8_t* origin = source.GetData() + m.oy * stride + m.ox * bpp;
    const std::ptrdiff_t stepX = m.ay * stride + m.ax * bpp;
    const std::ptrdiff_t stepY = m.by * stride + m.bx * bpp;
    Proc::RunInBands(m.outHeight, Proc::MinRowsPerBand(m.outWidth), [&](int y0, int y1) {
        if (bpp == 8)
            RemapRows<std::uint64_t>(origin, stepX, stepY, *out, y0, y1);
        else
            RemapRows<std::uint32_t>(origin, stepX, stepY, *out, y0, y1);
    });
    out->SetOpaque(source.IsOpaque());
    return out;
}

double SrgbToLinear(double v)
{
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

double LinearToSrgb(double v)
{
    return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1.0 / 2.4) - 0.055;
}

// Exposure in linear light, then contrast around middle grey in the encoded values.
double Tone(double v, double exposureGain, double contrastGain)
{
    if (exposureGain != 1.0)
        v = LinearToSrgb(std::min(1.0, SrgbToLinear(v) * exposureGain));
    v = 0.5 + (v - 0.5) * contrastGain;
    return std::clamp(v, 0.0, 1.0);
}

template <class T>
std::vector<T> ToneTable(const Proc::SettingsAdjust& s)
{
    constexpr int maxValue = std::numeric_limits<T>::max();
    const double exposureGain = std::exp2(std::clamp(s.exposure, -kMaxExposureStops, kMaxExposureStops));
    const double contrastGain = 1.0 + std::clamp(s.contrast, -kMaxPercent, kMaxPercent) / kMaxPercent;
    std::vector<T> table(std::size_t(maxValue) + 1);
    for (int i = 0; i <= maxValue; ++i)
        table[std::size_t(i)] = T(std::lround(Tone(double(i) / maxValue, exposureGain, contrastGain) * maxValue));
    return table;
}

// Saturation factor in 1/256 steps (0 grey .. 512 twice as saturated).
constexpr int kSaturationOne = 256;

template <class T>
inline T Saturate(int luma, int c, int factor)
{
    constexpr int maxValue = std::numeric_limits<T>::max();
    const int v = luma + static_cast<int>((static_cast<std::int64_t>(c - luma) * factor) / kSaturationOne);
    return T(std::clamp(v, 0, maxValue));
}

// Saturation as c' = c*f + luma*(1-f), with both products from tables in 1/256 steps and the
// clamp from a table too: no multiply, divide or branch per channel.
struct SaturationTables8 {
    explicit SaturationTables8(int factor)
    {
        for (int v = 0; v < 256; ++v) {
            colour[std::size_t(v)] = v * factor;
            luma[std::size_t(v)] = v * (kSaturationOne - factor) + kSaturationOne / 2;
        }
        for (int i = 0; i < int(clamp.size()); ++i)
            clamp[std::size_t(i)] = std::uint8_t(std::clamp(i - kClampOffset, 0, 255));
    }
    std::uint8_t Mix(int c, int l) const { return clamp[std::size_t(((colour[std::size_t(c)] + l) >> 8) + kClampOffset)]; }

    // (c*f + luma*(1-f)) / 256 lies within [-255, 765] for f in [0, 2].
    static constexpr int kClampOffset = 256;
    std::array<int, 256> colour {};
    std::array<int, 256> luma {};
    std::array<std::uint8_t, 1024 + 256> clamp {};
};

void AdjustRows8(const IDataVideo& in, IDataVideo& out, const std::vector<std::uint8_t>& lut, int factor, int y0, int y1)
{
    const int width = in.GetFrameInfo().width;
    if (factor == kSaturationOne) {
        for (int y = y0; y < y1; ++y) {
            const std::uint8_t* s = Row(in, y);
            std::uint8_t* d = Row(out, y);
            for (int x = 0; x < width; ++x, s += 4, d += 4) {
                d[0] = lut[s[0]];
                d[1] = lut[s[1]];
                d[2] = lut[s[2]];
                d[3] = s[3];
            }
        }
        return;
    }
    const SaturationTables8 tables(factor);
    for (int y = y0; y < y1; ++y) {
        const std::uint8_t* s = Row(in, y);
        std::uint8_t* d = Row(out, y);
        for (int x = 0; x < width; ++x, s += 4, d += 4) {
            const int b = lut[s[0]], g = lut[s[1]], r = lut[s[2]];
            // Rec. 709 luma weights in 1/256 (54 + 183 + 19 = 256).
            const int l = tables.luma[std::size_t((r * 54 + g * 183 + b * 19 + 128) >> 8)];
            d[0] = tables.Mix(b, l);
            d[1] = tables.Mix(g, l);
            d[2] = tables.Mix(r, l);
            d[3] = s[3];
        }
    }
}

void AdjustRows16(const IDataVideo& in, IDataVideo& out, const std::vector<std::uint16_t>& lut, int factor, int y0,
                  int y1)
{
    const int width = in.GetFrameInfo().width;
    for (int y = y0; y < y1; ++y) {
        const auto* s = reinterpret_cast<const std::uint16_t*>(Row(in, y));
        auto* d = reinterpret_cast<std::uint16_t*>(Row(out, y));
        for (int x = 0; x < width; ++x, s += 4, d += 4) {
            const int r = lut[s[0]], g = lut[s[1]], b = lut[s[2]];
            if (factor == kSaturationOne) {
                d[0] = std::uint16_t(r);
                d[1] = std::uint16_t(g);
                d[2] = std::uint16_t(b);
            } else {
                // Rec. 709 luma weights in 1/65536 (13933 + 46872 + 4731 = 65536).
                const int luma = int((std::int64_t(r) * 13933 + std::int64_t(g) * 46872 + std::int64_t(b) * 4731
                                      + 32768) >> 16);
                d[0] = Saturate<std::uint16_t>(luma, r, factor);
                d[1] = Saturate<std::uint16_t>(luma, g, factor);
                d[2] = Saturate<std::uint16_t>(luma, b, factor);
            }
            d[3] = s[3];
        }
    }
}

void CheckSameSize(const IDataVideo& a, const IDataVideo& b)
{
    if (a.GetFrameInfo().width != b.GetFrameInfo().width || a.GetFrameInfo().height != b.GetFrameInfo().height)
        throw Core::Exception("Frames of different sizes cannot be composed");
}

} // namespace

DataVideoPtr FrameOps::Rotate(const IDataVideo& source, int quarterTurns)
{
    const int w = source.GetFrameInfo().width, h = source.GetFrameInfo().height;
    switch (((quarterTurns % 4) + 4) % 4) {
    case 1: // out(x, y) = in(y, h-1-x)
        return Remap(source, {h, w, 0, h - 1, 0, -1, 1, 0});
    case 2: // out(x, y) = in(w-1-x, h-1-y)
        return Remap(source, {w, h, w - 1, h - 1, -1, 0, 0, -1});
    case 3: // out(x, y) = in(w-1-y, x)
        return Remap(source, {h, w, w - 1, 0, 0, 1, -1, 0});
    default:
        return Remap(source, {w, h, 0, 0, 1, 0, 0, 1});
    }
}

DataVideoPtr FrameOps::Flip(const IDataVideo& source, bool horizontal)
{
    const int w = source.GetFrameInfo().width, h = source.GetFrameInfo().height;
    return horizontal ? Remap(source, {w, h, w - 1, 0, -1, 0, 0, 1}) : Remap(source, {w, h, 0, h - 1, 1, 0, 0, -1});
}

DataVideoPtr FrameOps::Orient(const DataVideoPtr& source, int orientation)
{
    if (!source)
        return source;
    const int w = source->GetFrameInfo().width, h = source->GetFrameInfo().height;
    switch (orientation) {
    case 2: // mirrored
        return Flip(*source, true);
    case 3: // upside down
        return Rotate(*source, 2);
    case 4: // mirrored upside down
        return Flip(*source, false);
    case 5: // transposed: out(x, y) = in(y, x)
        return Remap(*source, {h, w, 0, 0, 0, 1, 1, 0});
    case 6: // turned a quarter anticlockwise: turn it back clockwise
        return Rotate(*source, 1);
    case 7: // transversed: out(x, y) = in(w-1-y, h-1-x)
        return Remap(*source, {h, w, w - 1, h - 1, 0, -1, -1, 0});
    case 8:
        return Rotate(*source, 3);
    default:
        return source;
    }
}

Conf::FrameInfo FrameOps::CropInfo(const Conf::FrameInfo& in, int x, int y, int width, int height)
{
    const int x0 = std::clamp(x, 0, in.width), y0 = std::clamp(y, 0, in.height);
    // The far edges in 64 bits: a stored rectangle may hold any int, and its sum overflows.
    const auto end = [](int start, int length, int low, int high) {
        return int(std::clamp<std::int64_t>(std::int64_t(start) + std::max(0, length), low, high));
    };
    Conf::FrameInfo info = in;
    info.width = end(x, width, x0, in.width) - x0;
    info.height = end(y, height, y0, in.height) - y0;
    if (info.IsEmpty())
        throw Core::Exception("The crop rectangle lies outside the picture");
    return info;
}

DataVideoPtr FrameOps::Crop(const IDataVideo& source, int x, int y, int width, int height)
{
    CheckFormat(source);
    const Conf::FrameInfo info = CropInfo(source.GetFrameInfo(), x, y, width, height);
    const int x0 = std::clamp(x, 0, source.GetFrameInfo().width), y0 = std::clamp(y, 0, source.GetFrameInfo().height);
    DataVideoPtr out = Proc::CreateDataVideo(info, source.GetPixFmt());
    const std::size_t bpp = std::size_t(Proc::BytesPerPixel(source.GetPixFmt()));
    const std::size_t rowBytes = std::size_t(info.width) * bpp;
    Proc::RunInBands(info.height, Proc::MinRowsPerBand(info.width), [&](int r0, int r1) {
        for (int r = r0; r < r1; ++r)
            std::memcpy(Row(*out, r), Row(source, y0 + r) + std::size_t(x0) * bpp, rowBytes);
    });
    out->SetOpaque(source.IsOpaque());
    return out;
}

DataVideoPtr FrameOps::Adjust(const IDataVideo& source, const Proc::SettingsAdjust& settings)
{
    CheckFormat(source);
    DataVideoPtr out = Proc::CreateDataVideo(source.GetFrameInfo(), source.GetPixFmt());
    const int factor = int(std::lround(
        kSaturationOne * (1.0 + std::clamp(settings.saturation, -kMaxPercent, kMaxPercent) / kMaxPercent)));
    const int width = source.GetFrameInfo().width;
    if (Is16(source)) {
        const auto lut = ToneTable<std::uint16_t>(settings);
        Proc::RunInBands(source.GetFrameInfo().height, Proc::MinRowsPerBand(width),
                 [&](int y0, int y1) { AdjustRows16(source, *out, lut, factor, y0, y1); });
    } else {
        const auto lut = ToneTable<std::uint8_t>(settings);
        Proc::RunInBands(source.GetFrameInfo().height, Proc::MinRowsPerBand(width),
                 [&](int y0, int y1) { AdjustRows8(source, *out, lut, factor, y0, y1); });
    }
    out->SetOpaque(source.IsOpaque());
    return out;
}

DataVideoPtr FrameOps::Flatten(const IDataVideo& source, std::uint8_t r, std::uint8_t g, std::uint8_t b)
{
    CheckFormat(source);
    return Proc::PixelConverter::Convert(source, source.GetPixFmt(), Proc::PixelConverter::Pad {r, g, b});
}

DataVideoPtr FrameOps::CompositeOver(const IDataVideo& base, const IDataVideo& overlay)
{
    CheckFormat(base);
    if (overlay.GetPixFmt() != Proc::PIX_FMT_BGRA32)
        throw Core::Exception("An overlay must be a BGRA frame");
    CheckSameSize(base, overlay);
    DataVideoPtr out = Proc::CreateDataVideo(base.GetFrameInfo(), base.GetPixFmt());
    const int width = base.GetFrameInfo().width;
    const bool wide = Is16(base);
    const double maxValue = wide ? 65535.0 : 255.0;
    Proc::RunInBands(base.GetFrameInfo().height, Proc::MinRowsPerBand(width), [&](int y0, int y1) {
        for (int y = y0; y < y1; ++y) {
            const std::uint8_t* o = Row(overlay, y);
            for (int x = 0; x < width; ++x, o += 4) {
                // Colour channels of this pixel in base's channel order (RGBA for 16 bits).
                const double oc[3] = {double(wide ? o[2] : o[0]), double(o[1]), double(wide ? o[0] : o[2])};
                const double oa = o[3] / 255.0;
                if (wide) {
                    const auto* s = reinterpret_cast<const std::uint16_t*>(Row(base, y)) + 4 * x;
                    auto* d = reinterpret_cast<std::uint16_t*>(Row(*out, y)) + 4 * x;
                    const double ba = s[3] / maxValue;
                    const double a = oa + ba * (1.0 - oa);
                    for (int c = 0; c < 3; ++c) {
                        const double v = a > 0.0 ? (oc[c] * 257.0 * oa + s[c] * ba * (1.0 - oa)) / a : 0.0;
                        d[c] = std::uint16_t(std::lround(std::clamp(v, 0.0, maxValue)));
                    }
                    d[3] = std::uint16_t(std::lround(a * maxValue));
                } else {
                    const std::uint8_t* s = Row(base, y) + 4 * x;
                    std::uint8_t* d = Row(*out, y) + 4 * x;
                    if (o[3] == 0) {
                        std::memcpy(d, s, 4);
                        continue;
                    }
                    const double ba = s[3] / maxValue;
                    const double a = oa + ba * (1.0 - oa);
                    for (int c = 0; c < 3; ++c) {
                        const double v = (oc[c] * oa + s[c] * ba * (1.0 - oa)) / a;
                        d[c] = std::uint8_t(std::lround(std::clamp(v, 0.0, maxValue)));
                    }
                    d[3] = std::uint8_t(std::lround(a * maxValue));
                }
            }
        }
    });
    out->SetOpaque(base.IsOpaque() || overlay.IsOpaque());
    return out;
}

DataVideoPtr FrameOps::ToDisplay(const DataVideoPtr& source)
{
    if (!source)
        return source;
    DataVideoPtr display = source;
    if (source->GetPixFmt() != Proc::PIX_FMT_BGRA32) {
        CheckFormat(*source);
        display = Proc::PixelConverter::Convert(*source, Proc::PIX_FMT_BGRA32);
    }
    if (!display->IsOpaque() && !display->GetPremultiplied()) {
        // Qt's conversion is vectorised; the copy lives in the image that made it.
        const Conf::FrameInfo& info = display->GetFrameInfo();
        const QImage straight(display->GetData(), info.width, info.height, display->GetStride(), QImage::Format_ARGB32);
        auto premultiplied = std::make_shared<QImage>(straight.convertToFormat(QImage::Format_ARGB32_Premultiplied));
        if (premultiplied->isNull())
            throw Core::Exception("Not enough memory to prepare the picture for the screen");
        display->SetPremultiplied(Proc::WrapDataVideo(info, Proc::PIX_FMT_BGRA32, premultiplied->bytesPerLine(),
                                                      premultiplied->bits(), premultiplied));
    }
    return display;
}

std::uint8_t FrameOps::MinAlpha(const IDataVideo& source)
{
    CheckFormat(source);
    return source.IsOpaque() ? 255 : Proc::AlphaRange::Of(source).Min8();
}

DataVideoPtr FrameOps::Resize(const IDataVideo& source, const Conf::FrameInfo& target)
{
    CheckFormat(source);
    if (target.IsEmpty())
        throw Core::Exception("Cannot resize a frame to an empty size");
    Proc::EnsureVipsStarted();
    const Conf::FrameInfo& in = source.GetFrameInfo();
    const int bpp = Proc::BytesPerPixel(source.GetPixFmt());
    const VipsBandFormat format = Is16(source) ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR;
    try {
        // Rows may be padded: view the buffer as stride-wide rows and cut the padding away.
        vips::VImage image = vips::VImage::new_from_memory(const_cast<std::uint8_t*>(source.GetData()),
                                                           std::size_t(source.GetStride()) * std::size_t(in.height),
                                                           source.GetStride() / bpp, in.height, 4, format)
                                 .extract_area(0, 0, in.width, in.height);
        const double hscale = double(target.width) / in.width, vscale = double(target.height) / in.height;
        image = image.resize(hscale, vips::VImage::option()->set("vscale", vscale)->set("kernel", VIPS_KERNEL_LANCZOS3));
        // Rounding inside libvips may leave a pixel more or less: pin the size.
        image = image.embed(0, 0, target.width, target.height, vips::VImage::option()->set("extend", VIPS_EXTEND_COPY));
        Conf::FrameInfo info = in;
        info.width = target.width;
        info.height = target.height;
        DataVideoPtr out = Proc::CreateDataVideo(info, source.GetPixFmt());
        std::size_t size = 0;
        void* pixels = image.write_to_memory(&size);
        const std::size_t rowBytes = std::size_t(info.width) * std::size_t(bpp);
        for (int y = 0; y < info.height; ++y)
            std::memcpy(Row(*out, y), static_cast<std::uint8_t*>(pixels) + std::size_t(y) * rowBytes, rowBytes);
        g_free(pixels);
        out->SetOpaque(source.IsOpaque());
        return out;
    } catch (const vips::VError& e) {
        throw Core::Exception("Resizing failed: " + Proc::TakeVipsError(e));
    }
}

bool FrameOps::IsSupported(const Proc::SettingsBase& settings)
{
    return EditRegistry::Find(settings.GetClassId()) != nullptr;
}

DataVideoPtr FrameOps::Apply(const DataVideoPtr& source, const Proc::SettingsBase& settings)
{
    if (!source)
        throw Core::Exception("There is no picture to edit");
    return EditRegistry::Get(settings).Apply(source, settings);
}

Conf::FrameInfo FrameOps::ResultInfo(const Conf::FrameInfo& info, const Proc::SettingsBase& settings)
{
    return EditRegistry::Get(settings).ResultInfo(info, settings);
}

} // namespace Quelto::Lumindra::PhotoCore

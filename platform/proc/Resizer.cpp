#include "proc/Resizer.h"

#include <algorithm>
#include <vector>

#include <glog/logging.h>

#include "core/Exception.h"
#include "proc/ParallelBands.h"
#include "proc/ResampleKernels.h"

namespace Quelto::Lumindra::Proc {

namespace {

// Output rows per band below which a helper thread costs more than it saves.
constexpr int kMinRowsPerBand = 16;
// The vector horizontal loop reads taps in pairs.
constexpr int kVectorTaps = 2;
// Premultiplied rows kept for the vertical pass: a reduction from the nearest level needs
// at most 14 (Lanczos-3 at a factor of 2); more means a large reduction from a full frame.
constexpr int kMaxRingRows = 32;

std::vector<const std::uint8_t*> RowPointers(const IDataVideo& source, int first, int count)
{
    std::vector<const std::uint8_t*> rows(static_cast<std::size_t>(count));
    for (int k = 0; k < count; ++k)
        rows[std::size_t(k)] = source.GetData() + std::size_t(first + k) * source.GetStride();
    return rows;
}

// Vertical pass first: it runs over whole rows, which the vector loop likes, and leaves one
// narrow row for the horizontal pass, so every band works in a cache-sized buffer.
void ResizeFixedPoint(const IDataVideo& source, IDataVideo& target, const ResampleWeights& wx,
                      const ResampleWeights& wy, int rowBegin, int rowEnd)
{
    const int channels = BytesPerPixel(source.GetPixFmt());
    const int rowBytes = source.GetFrameInfo().width * channels;
    std::vector<std::int16_t> middle(static_cast<std::size_t>(rowBytes));
    const bool sameWidth = wx.GetSourceSize() == wx.GetTargetSize();
    for (int y = rowBegin; y < rowEnd; ++y) {
        const auto rows = RowPointers(source, wy.GetStart(y), wy.GetTaps());
        std::uint8_t* out = target.GetMutableData() + std::size_t(y) * target.GetStride();
        if (sameWidth) {
            ResampleKernels::VerticalU8(rows.data(), wy.GetTaps(), wy.GetFixedWeights(y), out, rowBytes);
        } else {
            ResampleKernels::VerticalMiddle(rows.data(), wy.GetTaps(), wy.GetFixedWeights(y), middle.data(), rowBytes);
            ResampleKernels::HorizontalMiddle(middle.data(), out, channels, wx);
        }
    }
}

void PremultiplyRow(const IDataVideo& source, int row, float* out)
{
    const std::uint8_t* in = source.GetData() + std::size_t(row) * source.GetStride();
    if (source.GetPixFmt() == PIX_FMT_RGBA64)
        ResampleKernels::PremultiplyRow16(in, out, source.GetFrameInfo().width);
    else
        ResampleKernels::PremultiplyRow8(in, out, source.GetFrameInfo().width);
}

void StoreStraight(const float* column, IDataVideo& target, int y, const ResampleWeights& wx)
{
    std::uint8_t* out = target.GetMutableData() + std::size_t(y) * target.GetStride();
    if (target.GetPixFmt() == PIX_FMT_RGBA64)
        ResampleKernels::HorizontalPremultipliedTo16(column, reinterpret_cast<std::uint16_t*>(out), wx);
    else
        ResampleKernels::HorizontalPremultipliedTo8(column, out, wx);
}

// Each source row is premultiplied once into a ring of as many rows as the vertical filter
// has taps; the rows an output row needs always fit, since the windows only move down. A
// filter with very many taps (a large reduction without levels) would make the ring huge:
// then each output row sums its source rows one at a time instead.
void ResizePremultiplied(const IDataVideo& source, IDataVideo& target, const ResampleWeights& wx,
                         const ResampleWeights& wy, int rowBegin, int rowEnd)
{
    const int taps = wy.GetTaps();
    const int rowFloats = 4 * source.GetFrameInfo().width;
    const bool useRing = taps <= kMaxRingRows;
    const int slots = useRing ? taps : 1;
    std::vector<float> ring(std::size_t(rowFloats) * std::size_t(slots));
    std::vector<int> ringRow(static_cast<std::size_t>(slots), -1); // source row held by each slot
    std::vector<const float*> rows(static_cast<std::size_t>(taps));
    std::vector<float> column(static_cast<std::size_t>(rowFloats));
    for (int y = rowBegin; y < rowEnd; ++y) {
        const float* weights = wy.GetFloatWeights(y);
        if (useRing) {
            for (int k = 0; k < taps; ++k) {
                const int sourceRow = wy.GetStart(y) + k;
                const std::size_t slot = std::size_t(sourceRow % taps);
                float* held = &ring[slot * std::size_t(rowFloats)];
                if (ringRow[slot] != sourceRow) {
                    PremultiplyRow(source, sourceRow, held);
                    ringRow[slot] = sourceRow;
                }
                rows[std::size_t(k)] = held;
            }
            ResampleKernels::VerticalFloat(rows.data(), taps, weights, column.data(), rowFloats);
        } else {
            std::fill(column.begin(), column.end(), 0.0f);
            for (int k = 0; k < taps; ++k) {
                if (weights[k] == 0.0f)
                    continue;
                PremultiplyRow(source, wy.GetStart(y) + k, ring.data());
                const float* pair[2] = {column.data(), ring.data()};
                const float pairWeights[2] = {1.0f, weights[k]};
                ResampleKernels::VerticalFloat(pair, 2, pairWeights, column.data(), rowFloats);
            }
        }
        StoreStraight(column.data(), target, y, wx);
    }
}

} // namespace

void Resizer::Reset()
{
    horizontal_.reset();
    vertical_.reset();
    lastLevel_ = -1;
}

void Resizer::SetSettings(const SettingsBase& settings)
{
    const auto* own = dynamic_cast<const SettingsResizer*>(&settings);
    if (!own)
        throw Core::Exception(std::string("The resizer cannot take settings of ") + settings.GetClassId());
    settings_ = *own;
}

const ResampleWeights& Resizer::WeightsFor(std::unique_ptr<ResampleWeights>& cache, int source, int target,
                                           int alignment)
{
    const auto filter = static_cast<ResampleWeights::Filter>(
        std::clamp(settings_.mode, int(SettingsResizer::MODE_BILINEAR), int(SettingsResizer::MODE_LANCZOS3)));
    if (!cache || !cache->Matches(source, target, filter, alignment))
        cache = std::make_unique<ResampleWeights>(source, target, filter, alignment);
    return *cache;
}

bool Resizer::Process(DataVideoPtr& frame)
{
    if (!frame) {
        LOG(WARNING) << "Resizer: no frame to resize";
        return false;
    }
    if (settings_.customMode != 1)
        return true;
    // A size below one pixel still shows one pixel.
    const int targetWidth = std::max(1, settings_.target.width);
    const int targetHeight = std::max(1, settings_.target.height);

    boost::intrusive_ptr<const IDataVideo> source = frame;
    lastLevel_ = 0;
    if (settings_.useLevels) {
        for (int level = frame->GetLevelCount() - 1; level > 0; --level) {
            boost::intrusive_ptr<const IDataVideo> candidate = frame->GetLevel(level);
            if (candidate && candidate->GetFrameInfo().width >= targetWidth
                && candidate->GetFrameInfo().height >= targetHeight) {
                source = candidate;
                lastLevel_ = level;
                break;
            }
        }
    }
    const Conf::FrameInfo& in = source->GetFrameInfo();
    if (in.width == targetWidth && in.height == targetHeight) {
        // Frames are immutable once shared, so the level itself can be handed out.
        frame = const_cast<IDataVideo*>(source.get());
        return true;
    }

    try {
        const int format = source->GetPixFmt();
        Conf::FrameInfo info = settings_.target;
        info.width = targetWidth;
        info.height = targetHeight;
        if (settings_.keepAspect)
            info.pixelAspect = in.pixelAspect;
        DataVideoPtr result = CreateDataVideo(info, format);

        const bool fixedPoint = format == PIX_FMT_RGB24 || format == PIX_FMT_BGR24
            || (format == PIX_FMT_BGRA32 && source->IsOpaque());
        const ResampleWeights& wx = WeightsFor(horizontal_, in.width, targetWidth, fixedPoint ? kVectorTaps : 1);
        const ResampleWeights& wy = WeightsFor(vertical_, in.height, targetHeight, 1);
        const IDataVideo& src = *source;
        IDataVideo& dst = *result;
        RunInBands(targetHeight, kMinRowsPerBand, [&](int begin, int end) {
            if (fixedPoint)
                ResizeFixedPoint(src, dst, wx, wy, begin, end);
            else
                ResizePremultiplied(src, dst, wx, wy, begin, end);
        });
        result->SetOpaque(source->IsOpaque());
        frame = result;
        return true;
    } catch (const std::exception& error) {
        LOG(WARNING) << "Resizer: cannot resize " << in.width << "x" << in.height << " to " << targetWidth << "x"
                     << targetHeight << ": " << error.what();
        frame.reset();
        return false;
    }
}

} // namespace Quelto::Lumindra::Proc

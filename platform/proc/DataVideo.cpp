#include "proc/DataVideo.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "core/Exception.h"

namespace Quelto::Lumindra::Proc {

namespace {

constexpr int kRowAlignment = 64; // cache line; also what SIMD loads like

void FreeAligned(std::uint8_t* p) { std::free(p); }

int AlignedStride(int width, int pixFmt)
{
    const long long raw = static_cast<long long>(width) * BytesPerPixel(pixFmt);
    const long long aligned = (raw + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
    if (aligned > std::numeric_limits<int>::max())
        throw Core::Exception("Frame is too wide: " + std::to_string(width) + " pixels");
    return static_cast<int>(aligned);
}

template <class T>
void HalveRows(const IDataVideo& src, IDataVideo& dst, int channels)
{
    const int sw = src.GetFrameInfo().width, sh = src.GetFrameInfo().height;
    const int dw = dst.GetFrameInfo().width, dh = dst.GetFrameInfo().height;
    for (int y = 0; y < dh; ++y) {
        const int y0 = 2 * y, y1 = std::min(2 * y + 1, sh - 1);
        const T* r0 = reinterpret_cast<const T*>(src.GetData() + std::size_t(y0) * src.GetStride());
        const T* r1 = reinterpret_cast<const T*>(src.GetData() + std::size_t(y1) * src.GetStride());
        T* out = reinterpret_cast<T*>(dst.GetMutableData() + std::size_t(y) * dst.GetStride());
        for (int x = 0; x < dw; ++x) {
            const int x0 = 2 * x, x1 = std::min(2 * x + 1, sw - 1);
            for (int c = 0; c < channels; ++c) {
                const unsigned sum = unsigned(r0[x0 * channels + c]) + r0[x1 * channels + c] + r1[x0 * channels + c]
                    + r1[x1 * channels + c];
                out[x * channels + c] = T((sum + 2) / 4);
            }
        }
    }
}

} // namespace

DataVideo::DataVideo(const Conf::FrameInfo& info, int pixFmt) : info_(info), pixFmt_(pixFmt)
{
    if (info.IsEmpty() || !IsKnownPixFmt(pixFmt))
        throw Core::Exception("Invalid frame: " + std::to_string(info.width) + "x" + std::to_string(info.height)
                              + " in format " + std::to_string(pixFmt));
    stride_ = AlignedStride(info.width, pixFmt);
    const std::size_t bytes = std::size_t(stride_) * std::size_t(info.height);
    void* p = std::aligned_alloc(kRowAlignment, bytes);
    if (!p)
        throw Core::Exception("Out of memory for a frame of " + std::to_string(info.width) + "x"
                              + std::to_string(info.height) + " pixels");
    data_ = static_cast<std::uint8_t*>(p);
    owned_ = std::unique_ptr<std::uint8_t, void (*)(std::uint8_t*)>(data_, &FreeAligned);
    opaque_ = !HasAlphaChannel(pixFmt);
}

DataVideo::DataVideo(const Conf::FrameInfo& info, int pixFmt, int stride, std::uint8_t* data,
                     std::shared_ptr<void> keepAlive)
    : info_(info), pixFmt_(pixFmt), stride_(stride), data_(data), keepAlive_(std::move(keepAlive))
{
    if (info.IsEmpty() || !IsKnownPixFmt(pixFmt) || !data || stride < info.width * BytesPerPixel(pixFmt))
        throw Core::Exception("Invalid frame memory: " + std::to_string(info.width) + "x"
                              + std::to_string(info.height) + " in format " + std::to_string(pixFmt));
    opaque_ = !HasAlphaChannel(pixFmt);
}

DataVideo::~DataVideo() = default;

int DataVideo::GetLevelCount() const
{
    std::lock_guard<std::mutex> lock(levelsMutex_);
    return 1 + static_cast<int>(levels_.size());
}

boost::intrusive_ptr<const IDataVideo> DataVideo::GetLevel(int index) const
{
    if (index == 0)
        return boost::intrusive_ptr<const IDataVideo>(this);
    std::lock_guard<std::mutex> lock(levelsMutex_);
    if (index < 0 || index > static_cast<int>(levels_.size()))
        return nullptr;
    return levels_[std::size_t(index - 1)];
}

void DataVideo::BuildLevels(int minSide)
{
    std::lock_guard<std::mutex> lock(levelsMutex_);
    if (!levels_.empty())
        return;
    const IDataVideo* current = this;
    std::vector<boost::intrusive_ptr<IDataVideo>> built;
    while (std::min(current->GetFrameInfo().width, current->GetFrameInfo().height) / 2 >= std::max(1, minSide)) {
        built.push_back(HalveDataVideo(*current));
        current = built.back().get();
    }
    levels_ = std::move(built);
}

std::uint64_t DataVideo::GetMemorySize() const
{
    // Wrapped memory counts too: the frame keeps it alive.
    std::uint64_t total = GetBufferSize();
    std::lock_guard<std::mutex> lock(levelsMutex_);
    for (const auto& level : levels_)
        total += level->GetMemorySize();
    return total;
}

DataVideoPtr HalveDataVideo(const IDataVideo& source)
{
    const Conf::FrameInfo& in = source.GetFrameInfo();
    Conf::FrameInfo out = in;
    out.width = std::max(1, (in.width + 1) / 2);
    out.height = std::max(1, (in.height + 1) / 2);
    DataVideoPtr result(new DataVideo(out, source.GetPixFmt()));
    const int fmt = source.GetPixFmt();
    if (fmt == PIX_FMT_RGBA64)
        HalveRows<std::uint16_t>(source, *result, 4);
    else
        HalveRows<std::uint8_t>(source, *result, BytesPerPixel(fmt));
    result->SetOpaque(source.IsOpaque());
    return result;
}

DataVideoPtr CreateDataVideo(const Conf::FrameInfo& info, int pixFmt)
{
    try {
        return DataVideoPtr(new DataVideo(info, pixFmt));
    } catch (const std::bad_alloc&) {
        throw Core::Exception("Out of memory for a frame of " + std::to_string(info.width) + "x"
                              + std::to_string(info.height) + " pixels");
    }
}

DataVideoPtr WrapDataVideo(const Conf::FrameInfo& info, int pixFmt, int stride, std::uint8_t* data,
                           std::shared_ptr<void> keepAlive)
{
    return DataVideoPtr(new DataVideo(info, pixFmt, stride, data, std::move(keepAlive)));
}

DataVideoPtr CloneDataVideo(const IDataVideo& frame)
{
    DataVideoPtr copy = CreateDataVideo(frame.GetFrameInfo(), frame.GetPixFmt());
    const std::size_t rowBytes = std::size_t(frame.GetFrameInfo().width) * BytesPerPixel(frame.GetPixFmt());
    for (int y = 0; y < frame.GetFrameInfo().height; ++y)
        std::memcpy(copy->GetMutableData() + std::size_t(y) * copy->GetStride(),
                    frame.GetData() + std::size_t(y) * frame.GetStride(), rowBytes);
    copy->SetOpaque(frame.IsOpaque());
    return copy;
}

} // namespace Quelto::Lumindra::Proc

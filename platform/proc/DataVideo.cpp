#include "proc/DataVideo.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "core/Exception.h"
#include "proc/ParallelBands.h"
#include "proc/ResampleKernels.h"

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

// Output rows per band below which halving stays on one thread.
constexpr int kMinRowsPerBand = 64;

// Plain 2x2 average, exactly rounded. The last column and row of an odd size pair with
// themselves.
template <class T, int C>
void HalveRows(const IDataVideo& src, IDataVideo& dst, int rowBegin, int rowEnd)
{
    const int sw = src.GetFrameInfo().width, sh = src.GetFrameInfo().height;
    const int dw = dst.GetFrameInfo().width;
    const int pairs = sw / 2; // output pixels with two source columns
    for (int y = rowBegin; y < rowEnd; ++y) {
        const int y0 = 2 * y, y1 = std::min(2 * y + 1, sh - 1);
        const T* r0 = reinterpret_cast<const T*>(src.GetData() + std::size_t(y0) * src.GetStride());
        const T* r1 = reinterpret_cast<const T*>(src.GetData() + std::size_t(y1) * src.GetStride());
        T* out = reinterpret_cast<T*>(dst.GetMutableData() + std::size_t(y) * dst.GetStride());
        for (int i = 0; i < pairs * C; ++i) {
            const int x = i / C, c = i % C;
            const unsigned sum = unsigned(r0[2 * C * x + c]) + r0[2 * C * x + C + c] + r1[2 * C * x + c] + r1[2 * C * x + C + c];
            out[i] = T((sum + 2) / 4);
        }
        if (pairs < dw) {
            for (int c = 0; c < C; ++c)
                out[pairs * C + c] = T((unsigned(r0[2 * C * pairs + c]) + r1[2 * C * pairs + c] + 1) / 2);
        }
    }
}

void HalveOpaqueBgra(const IDataVideo& src, IDataVideo& dst, int rowBegin, int rowEnd)
{
    const int sw = src.GetFrameInfo().width, sh = src.GetFrameInfo().height;
    const int pairs = sw / 2;
    for (int y = rowBegin; y < rowEnd; ++y) {
        const std::uint8_t* r0 = src.GetData() + std::size_t(2 * y) * src.GetStride();
        const std::uint8_t* r1 = src.GetData() + std::size_t(std::min(2 * y + 1, sh - 1)) * src.GetStride();
        std::uint8_t* out = dst.GetMutableData() + std::size_t(y) * dst.GetStride();
        ResampleKernels::HalveRowBgra(r0, r1, out, pairs);
        if (pairs < dst.GetFrameInfo().width) {
            for (int c = 0; c < 4; ++c)
                out[4 * pairs + c] = std::uint8_t((unsigned(r0[8 * pairs + c]) + r1[8 * pairs + c] + 1) / 2);
        }
    }
}

// 2x2 average of straight-alpha pixels (alpha last), weighting each colour by its alpha so
// that transparent pixels do not darken or tint their neighbours.
template <class T>
void HalveRowsWithAlpha(const IDataVideo& src, IDataVideo& dst, int rowBegin, int rowEnd)
{
    const int sw = src.GetFrameInfo().width, sh = src.GetFrameInfo().height;
    const int dw = dst.GetFrameInfo().width;
    for (int y = rowBegin; y < rowEnd; ++y) {
        const int y0 = 2 * y, y1 = std::min(2 * y + 1, sh - 1);
        const T* r0 = reinterpret_cast<const T*>(src.GetData() + std::size_t(y0) * src.GetStride());
        const T* r1 = reinterpret_cast<const T*>(src.GetData() + std::size_t(y1) * src.GetStride());
        T* out = reinterpret_cast<T*>(dst.GetMutableData() + std::size_t(y) * dst.GetStride());
        for (int x = 0; x < dw; ++x) {
            const int x0 = 2 * x, x1 = std::min(2 * x + 1, sw - 1);
            const T* p[4] = {r0 + 4 * x0, r0 + 4 * x1, r1 + 4 * x0, r1 + 4 * x1};
            std::uint64_t alpha = 0, colour[3] = {0, 0, 0};
            for (const T* q : p) {
                alpha += q[3];
                for (int c = 0; c < 3; ++c)
                    colour[c] += std::uint64_t(q[c]) * q[3];
            }
            for (int c = 0; c < 3; ++c)
                out[4 * x + c] = alpha ? T((colour[c] + alpha / 2) / alpha) : T(0);
            out[4 * x + 3] = T((alpha + 2) / 4);
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
    // Built outside levelsMutex_, so that readers (the UI thread resizing for display) are
    // never held up by a build; buildMutex_ makes a second builder wait for the first.
    std::lock_guard<std::mutex> build(buildMutex_);
    {
        std::lock_guard<std::mutex> lock(levelsMutex_);
        if (!levels_.empty())
            return;
    }
    const IDataVideo* current = this;
    std::vector<boost::intrusive_ptr<IDataVideo>> built;
    while (std::min(current->GetFrameInfo().width, current->GetFrameInfo().height) / 2 >= std::max(1, minSide)) {
        built.push_back(HalveDataVideo(*current));
        current = built.back().get();
    }
    std::lock_guard<std::mutex> lock(levelsMutex_);
    levels_ = std::move(built);
}

boost::intrusive_ptr<const IDataVideo> DataVideo::GetPremultiplied() const
{
    std::lock_guard<std::mutex> lock(levelsMutex_);
    return premultiplied_;
}

void DataVideo::SetPremultiplied(boost::intrusive_ptr<const IDataVideo> premultiplied)
{
    std::lock_guard<std::mutex> lock(levelsMutex_);
    premultiplied_ = std::move(premultiplied);
}

std::uint64_t DataVideo::GetMemorySize() const
{
    // Wrapped memory counts too: the frame keeps it alive.
    std::uint64_t total = GetBufferSize();
    std::lock_guard<std::mutex> lock(levelsMutex_);
    for (const auto& level : levels_)
        total += level->GetMemorySize();
    if (premultiplied_)
        total += premultiplied_->GetMemorySize();
    return total;
}

DataVideoPtr HalveDataVideo(const IDataVideo& source)
{
    const Conf::FrameInfo& in = source.GetFrameInfo();
    Conf::FrameInfo out = in;
    out.width = std::max(1, (in.width + 1) / 2);
    out.height = std::max(1, (in.height + 1) / 2);
    DataVideoPtr result = CreateDataVideo(out, source.GetPixFmt());
    using Halver = void (*)(const IDataVideo&, IDataVideo&, int, int);
    Halver halve = nullptr;
    switch (source.GetPixFmt()) {
    case PIX_FMT_RGBA64:
        halve = source.IsOpaque() ? &HalveRows<std::uint16_t, 4> : &HalveRowsWithAlpha<std::uint16_t>;
        break;
    case PIX_FMT_BGRA32:
        halve = source.IsOpaque() ? &HalveOpaqueBgra : &HalveRowsWithAlpha<std::uint8_t>;
        break;
    default:
        halve = &HalveRows<std::uint8_t, 3>;
        break;
    }
    IDataVideo& target = *result;
    RunInBands(out.height, kMinRowsPerBand, [&](int begin, int end) { halve(source, target, begin, end); });
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

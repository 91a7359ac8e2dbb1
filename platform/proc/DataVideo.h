#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::Proc {

// The frame implementation: an owned aligned buffer or wrapped foreign memory, plus the
// reduced levels, which are built once (on whichever thread asks first) and never change
// once published.
class DataVideo : public Core::RefCounted, public IDataVideo {
public:
    DataVideo(const Conf::FrameInfo& info, int pixFmt);
    DataVideo(const Conf::FrameInfo& info, int pixFmt, int stride, std::uint8_t* data, std::shared_ptr<void> keepAlive);
    ~DataVideo() override;

    const Conf::FrameInfo& GetFrameInfo() const override { return info_; }
    int GetPixFmt() const override { return pixFmt_; }
    int GetStride() const override { return stride_; }
    const std::uint8_t* GetData() const override { return data_; }
    std::uint8_t* GetMutableData() override { return data_; }
    bool IsOpaque() const override { return opaque_; }
    void SetOpaque(bool opaque) override { opaque_ = opaque; }

    int GetLevelCount() const override;
    boost::intrusive_ptr<const IDataVideo> GetLevel(int index) const override;
    void BuildLevels(int minSide) override;
    boost::intrusive_ptr<const IDataVideo> GetPremultiplied() const override;
    void SetPremultiplied(boost::intrusive_ptr<const IDataVideo> premultiplied) override;
    std::uint64_t GetMemorySize() const override;

    // Bytes of the pixel buffer alone.
    std::uint64_t GetBufferSize() const { return std::uint64_t(stride_) * std::uint64_t(info_.height); }

private:
    Conf::FrameInfo info_;
    int pixFmt_ = PIX_FMT_NONE;
    int stride_ = 0;
    std::uint8_t* data_ = nullptr;
    std::unique_ptr<std::uint8_t, void (*)(std::uint8_t*)> owned_ {nullptr, nullptr};
    std::shared_ptr<void> keepAlive_;
    bool opaque_ = false;

    std::mutex buildMutex_;          // held for a whole BuildLevels, so that only one builds
    mutable std::mutex levelsMutex_; // guards levels_ and premultiplied_ (held only to read or publish)
    std::vector<boost::intrusive_ptr<IDataVideo>> levels_; // 1/2, 1/4, ... (level 0 is *this)
    boost::intrusive_ptr<const IDataVideo> premultiplied_;
};

// Halves a frame with a 2x2 box filter (odd last rows and columns averaged with what exists).
// Frames with transparency are averaged with each colour weighted by its alpha.
DataVideoPtr HalveDataVideo(const IDataVideo& source);

} // namespace Quelto::Lumindra::Proc

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include <boost/intrusive_ptr.hpp>

#include "core/RefCounted.h"
#include "proc/FrameInfo.h"
#include "proc/PixFmt.h"

namespace Quelto::Lumindra::Proc {

// One frame of pixels. Reference counted (thread-safe); shared freely between threads.
// A frame is written only by whoever created it, before it is shared; once a frame has been
// handed to another thread (an event, a cache, the UI) it is treated as immutable, and edits
// make new frames. Rows are GetStride() bytes apart (stride >= width * bytes per pixel).
class IDataVideo : public virtual Core::IRefCounted {
public:
    virtual const Conf::FrameInfo& GetFrameInfo() const = 0;
    virtual int GetPixFmt() const = 0;
    virtual int GetStride() const = 0;
    virtual const std::uint8_t* GetData() const = 0;
    virtual std::uint8_t* GetMutableData() = 0;

    // True when every alpha value is 255 (or the format has no alpha). Set by the creator;
    // lets displays skip alpha handling.
    virtual bool IsOpaque() const = 0;
    virtual void SetOpaque(bool opaque) = 0;

    // Reduced levels: copies at 1/2, 1/4, ... of the size, built once (BuildLevels) on a
    // worker thread so that resizing for display starts from the nearest larger level.
    // Level 0 is the frame itself. Thread-safe; BuildLevels is idempotent, never blocks the
    // readers of levels, and throws Core::Exception (keeping no level) when memory runs out.
    virtual int GetLevelCount() const = 0;
    virtual boost::intrusive_ptr<const IDataVideo> GetLevel(int index) const = 0;
    virtual void BuildLevels(int minSide = 256) = 0;

    // For a BGRA frame with transparency: the same pixels with premultiplied alpha, which is
    // what the screen draws, so that showing the frame converts nothing on the UI thread. Set
    // once by the frame's creator on its own thread, before the frame is shared; null until
    // then and for every other frame. Thread-safe.
    virtual boost::intrusive_ptr<const IDataVideo> GetPremultiplied() const = 0;
    virtual void SetPremultiplied(boost::intrusive_ptr<const IDataVideo> premultiplied) = 0;

    // Exact bytes held by this frame: pixel buffer plus levels and premultiplied copy.
    virtual std::uint64_t GetMemorySize() const = 0;
};

using DataVideoPtr = boost::intrusive_ptr<IDataVideo>;

// A new frame with an owned, 64-byte aligned buffer (contents uninitialised). Throws
// Core::Exception when the size or the format is invalid or memory runs out.
DataVideoPtr CreateDataVideo(const Conf::FrameInfo& info, int pixFmt);

// A frame over memory that someone else owns, without copying; `keepAlive` holds that memory
// until the frame dies (for example a QImage or a libvips buffer).
DataVideoPtr WrapDataVideo(const Conf::FrameInfo& info, int pixFmt, int stride, std::uint8_t* data,
                           std::shared_ptr<void> keepAlive);

// A deep copy (pixels only; levels are not copied).
DataVideoPtr CloneDataVideo(const IDataVideo& frame);

} // namespace Quelto::Lumindra::Proc

#pragma once

namespace Quelto::Lumindra::Conf {

// Geometry of a frame: its size in pixels and the aspect of one pixel (1.0 = square).
struct FrameInfo {
    int width = 0;
    int height = 0;
    double pixelAspect = 1.0;

    bool IsEmpty() const { return width <= 0 || height <= 0; }
    bool operator==(const FrameInfo& o) const
    {
        return width == o.width && height == o.height && pixelAspect == o.pixelAspect;
    }
    bool operator!=(const FrameInfo& o) const { return !(*this == o); }
};

} // namespace Quelto::Lumindra::Conf

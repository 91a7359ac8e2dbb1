#include "photocore/FrameGeometry.h"

#include <algorithm>
#include <cstdint>
#include <exception>

#include <glog/logging.h>

#include "photocore/EditRegistry.h"

namespace Quelto::Lumindra::PhotoCore {

FrameGeometry::FrameGeometry(const Conf::FrameInfo& original)
    : originalWidth_(original.width)
    , originalHeight_(original.height)
    , width_(original.width)
    , height_(original.height)
    , valid_(!original.IsEmpty())
{
}

void FrameGeometry::Apply(const Proc::SettingsBase& settings)
{
    if (!valid_)
        return;
    try {
        EditRegistry::Get(settings).MapGeometry(*this, settings);
    } catch (const std::exception& e) {
        LOG(WARNING) << "Where the pixels of \"" << settings.GetDisplayName() << "\" go is not known: " << e.what();
        valid_ = false;
    }
}

void FrameGeometry::Rotate(int quarterTurns)
{
    const int turns = ((quarterTurns % 4) + 4) % 4;
    for (int i = 0; i < turns; ++i) {
        Then(0.0, -1.0, height_, 1.0, 0.0, 0.0);
        std::swap(width_, height_);
    }
}

void FrameGeometry::Flip(bool horizontal)
{
    if (horizontal)
        Then(-1.0, 0.0, width_, 0.0, 1.0, 0.0);
    else
        Then(1.0, 0.0, 0.0, 0.0, -1.0, height_);
}

void FrameGeometry::Crop(int x, int y, int width, int height)
{
    const int x0 = std::clamp(x, 0, width_), y0 = std::clamp(y, 0, height_);
    // The far edges in 64 bits: a stored rectangle may hold any int, and its sum overflows.
    const int x1 = int(std::clamp<std::int64_t>(std::int64_t(x) + std::max(0, width), x0, width_));
    const int y1 = int(std::clamp<std::int64_t>(std::int64_t(y) + std::max(0, height), y0, height_));
    if (x1 <= x0 || y1 <= y0) {
        valid_ = false;
        return;
    }
    Then(1.0, 0.0, -x0, 0.0, 1.0, -y0);
    width_ = x1 - x0;
    height_ = y1 - y0;
}

bool FrameGeometry::IsTurned() const
{
    return affine_[0] != 1.0 || affine_[1] != 0.0 || affine_[2] != 0.0 || affine_[3] != 1.0;
}

bool FrameGeometry::operator==(const FrameGeometry& other) const
{
    return valid_ == other.valid_ && originalWidth_ == other.originalWidth_
        && originalHeight_ == other.originalHeight_ && width_ == other.width_ && height_ == other.height_
        && affine_ == other.affine_;
}

void FrameGeometry::Then(double a, double b, double c, double d, double e, double f)
{
    const auto [m11, m12, m21, m22, dx, dy] = affine_;
    affine_ = {a * m11 + b * m12, d * m11 + e * m12, a * m21 + b * m22,
               d * m21 + e * m22, a * dx + b * dy + c, d * dx + e * dy + f};
}

} // namespace Quelto::Lumindra::PhotoCore

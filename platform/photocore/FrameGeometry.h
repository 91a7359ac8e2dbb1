#pragma once

#include <array>

#include "proc/EffectSettings.h"
#include "proc/FrameInfo.h"

namespace Quelto::Lumindra::PhotoCore {

// Where the pixels of the image as opened went in an edited state: the affine map from the
// original's coordinates to the current picture's, built by following the edits that move pixels
// (quarter turns, flips, crops; every other edit keeps them in place). Tools that lay the
// original beside or under the edited picture use it to turn or align it without touching
// pixels.
//
// A plain value: no threads, no locks. Coordinates are continuous (a pixel (i, j) covers
// [i, i + 1) x [j, j + 1)), so pixel centres map onto pixel centres.
class FrameGeometry {
public:
    // The coefficients in Qt's order (m11, m12, m21, m22, dx, dy):
    // x' = m11 x + m21 y + dx, y' = m12 x + m22 y + dy.
    using Affine = std::array<double, 6>;

    // An unknown geometry (IsValid() is false).
    FrameGeometry() = default;
    // The image as opened, not edited: the identity on a picture of `original`'s size.
    explicit FrameGeometry(const Conf::FrameInfo& original);

    // Follows one edit through the edit registry. An edit the registry does not know, or one
    // that cannot apply to the present size, leaves the geometry unknown.
    void Apply(const Proc::SettingsBase& settings);

    // The moves themselves, as the edits make them.
    void Rotate(int quarterTurns); // clockwise, any integer
    void Flip(bool horizontal);
    // Clamped to the picture as the crop edit clamps it; nothing left makes the geometry unknown.
    void Crop(int x, int y, int width, int height);
    void Invalidate() { valid_ = false; }

    bool IsValid() const { return valid_; }
    int GetOriginalWidth() const { return originalWidth_; }
    int GetOriginalHeight() const { return originalHeight_; }
    // Size of the current picture.
    int GetWidth() const { return width_; }
    int GetHeight() const { return height_; }
    // Original coordinates to current ones.
    const Affine& GetAffine() const { return affine_; }
    // Whether the original is shown turned or mirrored (the linear part is not the identity).
    bool IsTurned() const;

    bool operator==(const FrameGeometry& other) const;
    bool operator!=(const FrameGeometry& other) const { return !(*this == other); }

private:
    // Appends p -> (a p + b q + c, d p + e q + f) in current coordinates (p, q) after the map.
    void Then(double a, double b, double c, double d, double e, double f);

    int originalWidth_ = 0;
    int originalHeight_ = 0;
    int width_ = 0;
    int height_ = 0;
    Affine affine_ {1.0, 0.0, 0.0, 1.0, 0.0, 0.0};
    bool valid_ = false;
};

} // namespace Quelto::Lumindra::PhotoCore

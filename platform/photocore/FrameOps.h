#pragma once

#include <cstdint>

#include "proc/EffectSettings.h"
#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoCore {

// The pixel work of the editing core: quarter turns, flips, crops, tone and colour, alpha
// flattening, compositing and the conversion to the display format. Called on the core's render
// thread (and, for small pictures, on the thread that opens them).
//
// Every operation reads its input and returns a new frame: inputs may be shared with other
// threads and are never written. Frames are Proc::PIX_FMT_BGRA32 or Proc::PIX_FMT_RGBA64; other
// formats throw Core::Exception. Large frames are split over Proc::RunInBands.
class FrameOps {
public:
    // Clockwise quarter turns (any integer, taken modulo 4).
    static Proc::DataVideoPtr Rotate(const Proc::IDataVideo& source, int quarterTurns);
    static Proc::DataVideoPtr Flip(const Proc::IDataVideo& source, bool horizontal);
    // Turns a frame stored with the EXIF orientation `orientation` (1..8) upright. Orientation 1
    // and unknown values give the source itself.
    static Proc::DataVideoPtr Orient(const Proc::DataVideoPtr& source, int orientation);
    // Keeps the rectangle, clamped to the frame. Throws Core::Exception when nothing remains.
    // CropInfo is the size Crop gives, without touching pixels; it throws alike.
    static Conf::FrameInfo CropInfo(const Conf::FrameInfo& info, int x, int y, int width, int height);
    static Proc::DataVideoPtr Crop(const Proc::IDataVideo& source, int x, int y, int width, int height);
    // Exposure, contrast and saturation; alpha is kept.
    static Proc::DataVideoPtr Adjust(const Proc::IDataVideo& source, const Proc::SettingsAdjust& settings);
    // Composes the pixels over the pad colour and makes them opaque.
    static Proc::DataVideoPtr Flatten(const Proc::IDataVideo& source, std::uint8_t r, std::uint8_t g, std::uint8_t b);
    // Draws `overlay` (BGRA32, same size, straight alpha) over `base`, in base's format.
    static Proc::DataVideoPtr CompositeOver(const Proc::IDataVideo& base, const Proc::IDataVideo& overlay);
    // The display form (BGRA32) of a frame: the frame itself when it already is one. A frame
    // with transparency gets its premultiplied copy here, on the core's thread, so that the UI
    // thread shows it without converting.
    static Proc::DataVideoPtr ToDisplay(const Proc::DataVideoPtr& source);
    // Smallest alpha value of the frame in 8 bits (255 for an opaque one): Proc::AlphaRange.
    static std::uint8_t MinAlpha(const Proc::IDataVideo& source);
    // Scales a frame to exactly `target` with libvips' Lanczos-3 filter (used for images that
    // must shrink below the pixel limit and for pictures handed over too large).
    static Proc::DataVideoPtr Resize(const Proc::IDataVideo& source, const Conf::FrameInfo& target);

    // The edits, looked up in EditRegistry: applies one settings object of a registered class
    // (rotate, flip, crop, adjust, colour-space conversion). Throws Core::Exception for settings
    // it does not know.
    static Proc::DataVideoPtr Apply(const Proc::DataVideoPtr& source, const Proc::SettingsBase& settings);
    // The size an edit gives a frame of size `info`, without touching pixels. Throws like Apply.
    static Conf::FrameInfo ResultInfo(const Conf::FrameInfo& info, const Proc::SettingsBase& settings);
    // Whether Apply knows the settings' class.
    static bool IsSupported(const Proc::SettingsBase& settings);
};

} // namespace Quelto::Lumindra::PhotoCore

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <boost/intrusive_ptr.hpp>

#include "core/RefCounted.h"
#include "proc/FrameInfo.h"

namespace Quelto::Lumindra::Proc {

// Base of every effect's settings: a plain value type that names its effect class.
class SettingsBase {
public:
    virtual ~SettingsBase() = default;
    virtual const char* GetClassId() const = 0;
    virtual std::unique_ptr<SettingsBase> Clone() const = 0;
    // A short user-visible name of what the settings do ("Rotate", "Exposure"), for undo lists.
    virtual std::string GetDisplayName() const = 0;
};

template <class Derived>
class SettingsT : public SettingsBase {
public:
    const char* GetClassId() const override { return Derived::CLASS_ID; }
    std::unique_ptr<SettingsBase> Clone() const override
    {
        return std::make_unique<Derived>(static_cast<const Derived&>(*this));
    }
};

// Scales a frame. Custom mode 1 scales to the target frame info exactly (a size below one
// pixel gives one pixel); other modes leave the frame as it is. The mode field picks the
// filter; MODE_LANCZOS3 is the one for display.
class SettingsResizer : public SettingsT<SettingsResizer> {
public:
    static constexpr const char* CLASS_ID = "Proc.Resizer";
    enum Mode { MODE_BILINEAR = 0, MODE_BICUBIC = 1, MODE_LANCZOS3 = 2 };

    void SetCustomMode(int customMode, const Conf::FrameInfo& target)
    {
        this->customMode = customMode;
        this->target = target;
    }
    std::string GetDisplayName() const override { return "Resize"; }

    int customMode = 0;
    Conf::FrameInfo target;
    bool useLevels = true;    // start from the nearest larger reduced level of the frame
    bool keepAspect = true;   // keep the pixel aspect of the source in the result
    int mode = MODE_LANCZOS3; // filter
};

// Converts a frame to the first of `formats` that the frame library can produce from it.
// With `flattenAlpha`, a format without alpha receives the pixels composed over the pad colour.
class SettingsColorspaceConverter : public SettingsT<SettingsColorspaceConverter> {
public:
    static constexpr const char* CLASS_ID = "Proc.ColorspaceConverter";

    SettingsColorspaceConverter() = default;
    SettingsColorspaceConverter(std::vector<int> formats, bool flattenAlpha)
        : formats(std::move(formats)), flattenAlpha(flattenAlpha)
    {
    }
    void SetPadColor(std::uint8_t r, std::uint8_t g, std::uint8_t b)
    {
        padR = r;
        padG = g;
        padB = b;
    }
    std::string GetDisplayName() const override { return "Convert colours"; }

    std::vector<int> formats;
    bool flattenAlpha = true;
    std::uint8_t padR = 255, padG = 255, padB = 255;
};

// Quarter turns clockwise (1..3; other values are taken modulo 4).
class SettingsRotate : public SettingsT<SettingsRotate> {
public:
    static constexpr const char* CLASS_ID = "Proc.Rotate";
    explicit SettingsRotate(int quarterTurns = 1) : quarterTurns(quarterTurns) {}
    std::string GetDisplayName() const override { return "Rotate"; }
    int quarterTurns = 1;
};

class SettingsFlip : public SettingsT<SettingsFlip> {
public:
    static constexpr const char* CLASS_ID = "Proc.Flip";
    explicit SettingsFlip(bool horizontal = true) : horizontal(horizontal) {}
    std::string GetDisplayName() const override { return horizontal ? "Flip horizontally" : "Flip vertically"; }
    bool horizontal = true;
};

// Keeps the rectangle (x, y, width, height) of the frame, clamped to the frame.
class SettingsCrop : public SettingsT<SettingsCrop> {
public:
    static constexpr const char* CLASS_ID = "Proc.Crop";
    SettingsCrop() = default;
    SettingsCrop(int x, int y, int width, int height) : x(x), y(y), width(width), height(height) {}
    std::string GetDisplayName() const override { return "Crop"; }
    int x = 0, y = 0, width = 0, height = 0;
};

// Tone and colour: exposure in stops (-5..5), contrast and saturation in -100..100 (0 = none).
class SettingsAdjust : public SettingsT<SettingsAdjust> {
public:
    static constexpr const char* CLASS_ID = "Proc.Adjust";
    std::string GetDisplayName() const override { return "Adjust"; }
    bool IsIdentity() const { return exposure == 0.0 && contrast == 0.0 && saturation == 0.0; }
    double exposure = 0.0;
    double contrast = 0.0;
    double saturation = 0.0;
};

// Reference-counted holder of settings, as the editing core's ApplyEffect takes them.
class IEffectSettings : public virtual Core::IRefCounted {
public:
    virtual const SettingsBase& GetSettings() const = 0;
};

class EffectSettingsImpl {
public:
    static boost::intrusive_ptr<IEffectSettings> Create(const SettingsBase& settings);
};

} // namespace Quelto::Lumindra::Proc

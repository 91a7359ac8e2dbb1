#pragma once

#include "core/RefCounted.h"
#include "proc/EffectSettings.h"
#include "proc/IEffect.h"

namespace Quelto::Lumindra::Proc {

// Converts a frame to the first format of its settings' list that the library knows, through
// PixelConverter (exact depth scaling). Dropping alpha with `flattenAlpha` composes the pixels
// over the pad colour; without it the colour is kept as it is. A frame already in the target
// format is passed through (the same frame). Not thread-safe (one user at a time), but the
// conversion itself runs on several threads.
class ColorspaceConverter : public Core::RefCounted, public IOneInputEffectVideo {
public:
    void Reset() override {}
    void SetSettings(const SettingsBase& settings) override;
    bool Process(DataVideoPtr& frame) override;

private:
    SettingsColorspaceConverter settings_;
};

} // namespace Quelto::Lumindra::Proc

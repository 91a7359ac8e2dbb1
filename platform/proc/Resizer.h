#pragma once

#include <memory>

#include "core/RefCounted.h"
#include "proc/EffectSettings.h"
#include "proc/IEffect.h"
#include "proc/ResampleWeights.h"

namespace Quelto::Lumindra::Proc {

// Scales a frame to exactly the target size of its settings (custom mode 1; other modes leave
// the frame as it is), with the settings' filter, widened when shrinking. With `useLevels` it
// starts from the smallest reduced level of the frame that is still at least the target size
// in both directions. Opaque 8-bit frames take the fixed-point path; frames with transparency
// and 16-bit frames are filtered in premultiplied float, so straight alpha stays correct.
// A target equal to the source (or to a level) gives that frame itself, not a copy.
// Not thread-safe (one user at a time); one call runs on several threads internally.
class Resizer : public Core::RefCounted, public IOneInputEffectVideo {
public:
    void Reset() override;
    void SetSettings(const SettingsBase& settings) override;
    bool Process(DataVideoPtr& frame) override;

    // The level (0 = the frame itself) the last Process started from; -1 before any.
    int GetLastLevel() const { return lastLevel_; }

private:
    const ResampleWeights& WeightsFor(std::unique_ptr<ResampleWeights>& cache, int source, int target, int alignment);

    SettingsResizer settings_;
    int lastLevel_ = -1;
    // The weights of the last sizes, kept because zooming repeats the same sizes.
    std::unique_ptr<ResampleWeights> horizontal_;
    std::unique_ptr<ResampleWeights> vertical_;
};

} // namespace Quelto::Lumindra::Proc

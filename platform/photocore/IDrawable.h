#pragma once

#include "proc/CropInfo.h"
#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoCore {

// Something that can draw the picture's overlay items as an image (the workspace scene).
// The core calls it on the UI thread, when it flattens or saves.
class IDrawable {
public:
    virtual ~IDrawable() = default;
    virtual Proc::DataVideoPtr GetVideo(const Proc::CropInfo& crop) = 0;
    // Whether there is anything to draw: without items, GetVideo would only give transparency.
    virtual bool HasOverlayItems() const { return true; }
    // The margins that cut what GetVideo draws (the picture and the items that reach beyond it)
    // down to the picture itself; none when nothing reaches beyond.
    virtual Proc::CropInfo GetPictureCrop() { return {}; }
};

} // namespace Quelto::Lumindra::PhotoCore

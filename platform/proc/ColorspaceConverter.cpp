#include "proc/ColorspaceConverter.h"

#include <glog/logging.h>

#include "core/Exception.h"
#include "proc/PixelConverter.h"

namespace Quelto::Lumindra::Proc {

void ColorspaceConverter::SetSettings(const SettingsBase& settings)
{
    const auto* own = dynamic_cast<const SettingsColorspaceConverter*>(&settings);
    if (!own)
        throw Core::Exception(std::string("The colour-space converter cannot take settings of ") + settings.GetClassId());
    settings_ = *own;
}

bool ColorspaceConverter::Process(DataVideoPtr& frame)
{
    if (!frame) {
        LOG(WARNING) << "Colour-space converter: no frame to convert";
        return false;
    }
    int target = PIX_FMT_NONE;
    for (int format : settings_.formats) {
        if (IsKnownPixFmt(format)) {
            target = format;
            break;
        }
    }
    const int source = frame->GetPixFmt();
    if (target == PIX_FMT_NONE) {
        LOG(WARNING) << "Colour-space converter: none of the " << settings_.formats.size()
                     << " requested formats is known";
        frame.reset();
        return false;
    }
    if (source == target)
        return true;
    try {
        // Alpha is flattened only where the target drops it; otherwise it is kept as it is.
        std::optional<PixelConverter::Pad> pad;
        if (settings_.flattenAlpha && !frame->IsOpaque() && !HasAlphaChannel(target))
            pad = PixelConverter::Pad {settings_.padR, settings_.padG, settings_.padB};
        frame = PixelConverter::Convert(*frame, target, pad);
        return true;
    } catch (const std::exception& error) {
        LOG(WARNING) << "Colour-space converter: " << error.what();
        frame.reset();
        return false;
    }
}

} // namespace Quelto::Lumindra::Proc

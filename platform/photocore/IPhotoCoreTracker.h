#pragma once

#include <map>
#include <string>

namespace Quelto::Lumindra::PhotoCore {

// Keeps count of what was done to the image, for statistics.
class IPhotoCoreTracker {
public:
    virtual ~IPhotoCoreTracker() = default;
    // Adds the tracker's parameters (KEY_EDITS: the edits applied, comma separated) to `parameters`.
    virtual void UpdateStatisticsParameters(std::map<std::string, std::string>& parameters) const = 0;
    virtual void Track(const std::string& action) = 0;
};

} // namespace Quelto::Lumindra::PhotoCore

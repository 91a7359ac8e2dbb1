#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "photocore/IPhotoCoreTracker.h"

namespace Quelto::Lumindra::PhotoCore {

// Counts what was done to one image: the display name of every edit applied, in order.
// Thread-safe.
class CoreTracker : public IPhotoCoreTracker {
public:
    void UpdateStatisticsParameters(std::map<std::string, std::string>& parameters) const override;
    void Track(const std::string& action) override;

private:
    mutable std::mutex mutex_; // guards actions_
    std::vector<std::string> actions_;
};

} // namespace Quelto::Lumindra::PhotoCore

#include "photocore/CoreTracker.h"

#include "photocore/IStatisticsEventHandler.h"

namespace Quelto::Lumindra::PhotoCore {

void CoreTracker::UpdateStatisticsParameters(std::map<std::string, std::string>& parameters) const
{
    std::string edits;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& action : actions_)
            edits += (edits.empty() ? "" : ",") + action;
    }
    parameters[IStatisticsEventHandler::KEY_EDITS] = edits;
}

void CoreTracker::Track(const std::string& action)
{
    std::lock_guard<std::mutex> lock(mutex_);
    actions_.push_back(action);
}

} // namespace Quelto::Lumindra::PhotoCore

#pragma once

#include <string>

#include "LumindraWorkspace/WorkspaceExport.h"
#include "core/Exception.h"
#include "photocore/IStatisticsEventHandler.h"

namespace Quelto::Lumindra {

// An image could not be opened. Carries the statistics event that reports it, so that whoever
// shows the error can also count it.
class LUMINDRA_WORKSPACE_EXPORT OpenExceptionLumindra : public Core::Exception {
public:
    struct StatisticsEvent {
        std::string name;
        PhotoCore::IStatisticsEventHandler::Parameters parameters;
    };

    OpenExceptionLumindra(const std::string& description, int code, StatisticsEvent statistics);
    ~OpenExceptionLumindra() override;

    const StatisticsEvent& GetStatisticsEvent() const { return statistics_; }

private:
    StatisticsEvent statistics_;
};

} // namespace Quelto::Lumindra

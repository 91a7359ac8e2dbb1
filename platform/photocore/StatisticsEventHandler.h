#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "photocore/IStatisticsEventHandler.h"

namespace Quelto::Lumindra {

// The application's statistics handler: logs each event at verbose level 30 and keeps the
// events of this run in memory (nothing leaves the machine). Thread-safe; after close() it
// drops further events.
class StatisticsEventHandler : public PhotoCore::IStatisticsEventHandler {
public:
    using Event = std::pair<std::string, Parameters>;

    void HandleStatisticsEvent(const std::string& name, const Parameters& parameters) override;
    void Flush() override;
    void OnControllerCreated() override;

    void close();
    bool IsClosed() const;
    std::vector<Event> GetEvents() const;
    int GetControllersCreated() const;

private:
    mutable std::mutex mutex_; // guards everything below
    std::vector<Event> events_;
    int controllersCreated_ = 0;
    bool closed_ = false;
};

} // namespace Quelto::Lumindra

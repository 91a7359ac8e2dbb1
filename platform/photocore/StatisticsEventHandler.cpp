#include "photocore/StatisticsEventHandler.h"

#include <sstream>

#include <glog/logging.h>

namespace Quelto::Lumindra {

void StatisticsEventHandler::HandleStatisticsEvent(const std::string& name, const Parameters& parameters)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (closed_)
            return;
        events_.emplace_back(name, parameters);
    }
    if (VLOG_IS_ON(30)) {
        std::ostringstream line;
        line << "Statistics event " << name;
        for (const auto& [key, value] : parameters)
            line << ' ' << key << '=' << value;
        VLOG(30) << line.str();
    }
}

void StatisticsEventHandler::Flush()
{
    // Nothing is buffered outside the process; the log line is written as each event arrives.
    VLOG(30) << "Statistics flushed";
}

void StatisticsEventHandler::OnControllerCreated()
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (!closed_)
        ++controllersCreated_;
}

void StatisticsEventHandler::close()
{
    std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
}

bool StatisticsEventHandler::IsClosed() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return closed_;
}

std::vector<StatisticsEventHandler::Event> StatisticsEventHandler::GetEvents() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return events_;
}

int StatisticsEventHandler::GetControllersCreated() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return controllersCreated_;
}

} // namespace Quelto::Lumindra

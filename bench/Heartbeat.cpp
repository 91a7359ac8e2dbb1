#include "Heartbeat.h"

#include <algorithm>

namespace Quelto::Lumindra::Bench {

Heartbeat::Heartbeat()
{
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.setInterval(1);
    connect(&timer_, &QTimer::timeout, this, &Heartbeat::Tick);
}

void Heartbeat::Start()
{
    longestMs_ = 0.0;
    last_ = std::chrono::steady_clock::now();
    timer_.start();
}

void Heartbeat::Stop()
{
    Tick();
    timer_.stop();
}

double Heartbeat::LongestGapMs() const
{
    if (!timer_.isActive())
        return longestMs_;
    const double open = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - last_).count();
    return std::max(longestMs_, open);
}

void Heartbeat::Tick()
{
    const auto now = std::chrono::steady_clock::now();
    longestMs_ = std::max(longestMs_, std::chrono::duration<double, std::milli>(now - last_).count());
    last_ = now;
}

} // namespace Quelto::Lumindra::Bench

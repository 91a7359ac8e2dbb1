#pragma once

#include <chrono>

#include <QObject>
#include <QTimer>

namespace Quelto::Lumindra::Bench {

// A 1 ms timer on the UI thread that records the longest gap between two of its ticks: how long
// the window could not react while it runs. UI thread only.
class Heartbeat : public QObject {
public:
    Heartbeat();

    // Starts a new measurement (the gap before the first tick counts).
    void Start();
    void Stop();
    // The longest gap of the measurement in milliseconds, up to now or to Stop().
    double LongestGapMs() const;

private:
    void Tick();

    QTimer timer_;
    std::chrono::steady_clock::time_point last_;
    double longestMs_ = 0.0;
};

} // namespace Quelto::Lumindra::Bench

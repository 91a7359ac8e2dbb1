#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <QByteArray>
#include <QObject>
#include <QString>

namespace Quelto::Lumindra::Bench {

// A group of figures. Each group runs its own measurements and prints its lines through Report.
struct Group {
    std::string name;
    std::function<void()> run;
};

// Registers a group at static initialisation: LUMINDRA_BENCH_GROUP(resize) { ... }
std::vector<Group>& Registry();
struct Registrar {
    Registrar(const char* name, std::function<void()> run) { Registry().push_back({name, std::move(run)}); }
};
#define LUMINDRA_BENCH_GROUP(name)                                                                   \
    static void BenchGroup_##name();                                                               \
    static ::Quelto::Lumindra::Bench::Registrar benchRegistrar_##name(#name, &BenchGroup_##name);  \
    static void BenchGroup_##name()

// Prints "<figure-name> <value> <unit>", the one line a figure gives.
void Report(const std::string& figure, double value, const std::string& unit);

// Median wall time in milliseconds of `runs` calls of `fn` (after one warm-up call unless
// `warmUp` is false).
double MedianMs(int runs, const std::function<void()>& fn, bool warmUp = true);
double ElapsedMs(std::chrono::steady_clock::time_point since);

// A photo-like JPEG of about 24 megapixels (6000x4000), made once per run from a real test
// photograph (scaled up, with fine detail added so that it does not compress like a blur),
// in the run's temporary folder. Returns its path.
QString PhotoJpeg24MP();
// Folder of `count` distinct such JPEGs (for stepping through a folder).
QString PhotoFolder24MP(int count);
// The project's test data folder (../shared/testdata).
QString TestDataDir();
// The run's temporary folder.
QString TempDir();

// Runs the event loop until `done` holds, checking it every millisecond and whenever `wake`
// emits `wakeSignal` (a SIGNAL() of no arguments); exits the run when it does not hold within
// two minutes, naming `what` it waited for.
void WaitUntil(const std::function<bool()>& done, const char* what, QObject* wake = nullptr,
               const char* wakeSignal = nullptr);

// Median time of libjpeg-turbo's own command-line full decode of `path` (to /dev/null), the
// reference the opening and stall figures are divided by. Exits the run when djpeg fails.
double DjpegMs(const QString& path, int runs = 9);

// For the life of the object the settings store and the cores' session folders live in the
// run's temporary folder, not the user's home, and the session preview is `showLastSession`.
class IsolatedSettings {
public:
    IsolatedSettings(const QString& name, bool showLastSession = false);
    ~IsolatedSettings();
    IsolatedSettings(const IsolatedSettings&) = delete;
    IsolatedSettings& operator=(const IsolatedSettings&) = delete;

private:
    QByteArray savedTemp_;
};

} // namespace Quelto::Lumindra::Bench

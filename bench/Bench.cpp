#include "Bench.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include "util/Settings.h"
#include "util/SettingsManager.h"

namespace Quelto::Lumindra::Bench {

std::vector<Group>& Registry()
{
    static std::vector<Group> groups;
    return groups;
}

void Report(const std::string& figure, double value, const std::string& unit)
{
    std::printf("%s %.4g %s\n", figure.c_str(), value, unit.c_str());
    std::fflush(stdout);
}

double ElapsedMs(std::chrono::steady_clock::time_point since)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - since).count();
}

double MedianMs(int runs, const std::function<void()>& fn, bool warmUp)
{
    if (warmUp)
        fn();
    std::vector<double> times;
    for (int i = 0; i < std::max(1, runs); ++i) {
        const auto start = std::chrono::steady_clock::now();
        fn();
        times.push_back(ElapsedMs(start));
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

QString TestDataDir()
{
    return QDir::cleanPath(QStringLiteral(LUMINDRA_SOURCE_DIR "/../shared/testdata"));
}

QString TempDir()
{
    static QTemporaryDir dir;
    return dir.path();
}

namespace {

// Makes a 6000x4000 JPEG from a real photograph with the vips command-line tool: scale up,
// then add a fine texture so that the file decodes like a camera file, not like a blur.
QString MakePhoto(const QString& out, int variant)
{
    if (QFileInfo::exists(out))
        return out;
    // Real camera photographs, scaled up; the variants rotate through them so that a folder of
    // such files holds different pictures.
    static const char* const sources[] = {"/exif-samples/jpg/gps/DSCN0010.jpg", "/exif-samples/jpg/gps/DSCN0021.jpg",
                                          "/exif-samples/jpg/orientation/landscape_1.jpg"};
    const QString source = TestDataDir() + QLatin1String(sources[variant % 3]);
    const QString big = TempDir() + QStringLiteral("/big-%1.v").arg(variant);
    const QString noise = TempDir() + QStringLiteral("/noise-%1.v").arg(variant);
    const QString mixed = TempDir() + QStringLiteral("/mixed-%1.v").arg(variant);
    auto run = [](const QStringList& args) {
        if (QProcess::execute(QStringLiteral("vips"), args) != 0) {
            std::fprintf(stderr, "vips %s failed\n", args.join(' ').toUtf8().constData());
            std::exit(1);
        }
    };
    run({"thumbnail", source, big, "6000", "--height", "4000", "--size", "force"});
    run({"gaussnoise", noise, "6000", "4000", "--sigma", QString::number(6 + variant % 5), "--mean", "0"});
    run({"add", big, noise, mixed});
    run({"cast", mixed, out + "[Q=92,strip]", "uchar"});
    QFile::remove(big);
    QFile::remove(noise);
    QFile::remove(mixed);
    return out;
}

} // namespace

QString PhotoJpeg24MP()
{
    return MakePhoto(TempDir() + QStringLiteral("/photo-24mp.jpg"), 0);
}

QString PhotoFolder24MP(int count)
{
    const QString folder = TempDir() + QStringLiteral("/folder");
    QDir().mkpath(folder);
    for (int i = 0; i < count; ++i)
        MakePhoto(folder + QStringLiteral("/photo-%1.jpg").arg(i, 3, 10, QLatin1Char('0')), i);
    return folder;
}

void WaitUntil(const std::function<bool()>& done, const char* what, QObject* wake, const char* wakeSignal)
{
    constexpr int kWaitMs = 120000;
    bool timedOut = false;
    QEventLoop loop;
    QTimer poll;
    poll.setTimerType(Qt::PreciseTimer); // some steps take only a few milliseconds
    poll.setInterval(1);
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done())
            loop.quit();
    });
    // The signal gives the moment exactly: the loop ends and `done` is asked at once.
    if (wake && wakeSignal)
        QObject::connect(wake, wakeSignal, &loop, SLOT(quit()));
    QTimer::singleShot(kWaitMs, &loop, [&] {
        timedOut = true;
        loop.quit();
    });
    poll.start();
    while (!done()) {
        if (timedOut) {
            std::fprintf(stderr, "waited %d s for %s\n", kWaitMs / 1000, what);
            std::exit(1);
        }
        loop.exec();
    }
}

double DjpegMs(const QString& path, int runs)
{
    return MedianMs(runs, [&] {
        if (QProcess::execute(QStringLiteral("djpeg"), {QStringLiteral("-outfile"), QStringLiteral("/dev/null"), path}) != 0) {
            std::fprintf(stderr, "djpeg failed on %s\n", path.toUtf8().constData());
            std::exit(1);
        }
    });
}

IsolatedSettings::IsolatedSettings(const QString& name, bool showLastSession) : savedTemp_(qgetenv("LUMINDRA_TEMP_DIR"))
{
    Util::SettingsManager::Instance().SetStoreFile(TempDir() + QLatin1Char('/') + name + QStringLiteral("-settings.ini"));
    Util::SettingsManager::Instance().SetValue(Util::Settings::Name(Util::Settings::SHOW_LAST_SESSION), showLastSession);
    qputenv("LUMINDRA_TEMP_DIR", (TempDir() + QStringLiteral("/sessions")).toUtf8());
}

IsolatedSettings::~IsolatedSettings()
{
    if (savedTemp_.isNull())
        qunsetenv("LUMINDRA_TEMP_DIR");
    else
        qputenv("LUMINDRA_TEMP_DIR", savedTemp_);
}

} // namespace Quelto::Lumindra::Bench

// Group "soak": a long browse in the real editor window, run by scripts/soak.sh (it does nothing
// unless LUMINDRA_SOAK_FILES names how many files to browse).
//
// Steps forward through that many photographs with preloading, waiting at each as a person
// looks at it; every tenth picture gets an edit and is saved as a new JPEG through the save
// job. Resident memory is sampled after each step's preloads.
//
// soak_rss_end_vs_bound: resident memory at the end divided by the cache bound plus two
//   full-resolution frames (the open picture's and the canvas's copy), as browse_peak_rss_vs_bound.
// soak_rss_growth_vs_bound: resident memory at the end minus the median of the first quarter's
//   samples, divided by the same bound: near zero when nothing grows.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <glog/logging.h>

#include "Bench.h"
#include "FolderBrowser.h"
#include "LumindraWorkspace/IWorkspaceController.h"
#include "proc/EffectSettings.h"
#include "util/AlertBox.h"

namespace Quelto::Lumindra::Bench {
namespace {

constexpr int kDistinctPhotos = 20;
constexpr int kSaveEvery = 10;
constexpr std::uint64_t kFrameBytes = 6000ull * 4000ull * 4ull;

// `count` names in a folder of their own, each a hard link (or copy) of one of a few distinct
// photographs: the cache keys and preloads go by name, and making hundreds of 24 MP files would
// take longer than the soak.
QStringList SoakFiles(int count)
{
    const QDir shared(PhotoFolder24MP(kDistinctPhotos));
    const QStringList photos = shared.entryList({QStringLiteral("photo-*.jpg")}, QDir::Files, QDir::Name);
    const QDir folder(TempDir() + QStringLiteral("/soak"));
    QDir().mkpath(folder.path());
    QStringList files;
    for (int i = 0; i < count; ++i) {
        const QString source = shared.filePath(photos[i % photos.size()]);
        const QString name = folder.filePath(QStringLiteral("soak-%1.jpg").arg(i, 4, 10, QLatin1Char('0')));
        if (!QFileInfo::exists(name) && !QFile::link(source, name) && !QFile::copy(source, name)) {
            std::fprintf(stderr, "soak: cannot make %s\n", name.toLocal8Bit().constData());
            std::exit(1);
        }
        files << name;
    }
    return files;
}

void EditAndSave(FolderBrowser& browser, int index)
{
    const auto controller = browser.GetWindow().GetController();
    controller->GetLumindraDrawer()->ApplyEffect(Proc::EffectSettingsImpl::Create(Proc::SettingsRotate(1)));
    bool done = false;
    IWorkspaceController::SaveOutcome outcome;
    IWorkspaceController::SaveSettings settings;
    settings.fileName = TempDir() + QStringLiteral("/soak-saved-%1.jpg").arg(index);
    if (!controller->StartSave(settings, [&](const IWorkspaceController::SaveOutcome& o) {
            outcome = o;
            done = true;
        })) {
        std::fprintf(stderr, "soak: the save of picture %d was refused\n", index);
        std::exit(1);
    }
    WaitUntil([&] { return done; }, "the save");
    if (outcome.result != PhotoCore::IPhotoCoreIO::SaveResultSuccess) {
        std::fprintf(stderr, "soak: saving picture %d failed: %s\n", index, outcome.reason.toUtf8().constData());
        std::exit(1);
    }
    QFile::remove(settings.fileName);
}

} // namespace

LUMINDRA_BENCH_GROUP(soak)
{
    const int count = qEnvironmentVariableIntValue("LUMINDRA_SOAK_FILES");
    if (count < 2)
        return;
    const IsolatedSettings isolated(QStringLiteral("soak"));
    const auto savedHook = LumindraAlertBox::GetTestHook();
    LumindraAlertBox::SetTestHook([](LumindraAlertBox&) { return QDialogButtonBox::Ok; });

    const QStringList files = SoakFiles(count);
    std::vector<double> samples;
    {
        FolderBrowser browser(files);
        browser.Open(0);
        browser.WaitForPreloads();
        for (int i = 1; i < count; ++i) {
            browser.Step(+1);
            if (i % kSaveEvery == 0)
                EditAndSave(browser, i);
            browser.WaitForPreloads();
            samples.push_back(static_cast<double>(StatusBytes("VmRSS")));
            if (i % 50 == 0)
                VLOG(30) << "Soak: " << i << " of " << count << " pictures, resident " << samples.back() / 1e6 << " MB";
        }
    }
    LumindraAlertBox::SetTestHook(savedHook);

    const double bound = static_cast<double>(WorkspaceControllerProvider::kCacheBoundBytes + 2 * kFrameBytes);
    std::vector<double> early(samples.begin(), samples.begin() + std::max<std::size_t>(1, samples.size() / 4));
    std::sort(early.begin(), early.end());
    Report("soak_rss_end_vs_bound", samples.back() / bound, "ratio");
    Report("soak_rss_growth_vs_bound", (samples.back() - early[early.size() / 2]) / bound, "ratio");
    Report("soak_rss_end_mb", samples.back() / 1e6, "MB");
}

} // namespace Quelto::Lumindra::Bench

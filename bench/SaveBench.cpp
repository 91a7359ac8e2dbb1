// Saving as the editor saves: the edited 24-megapixel photo, as JPEG quality 90 with its camera
// metadata, through the workspace controller (metadata choices, the core's save job, the write
// beside the target and its rename), against libjpeg-turbo's cjpeg -quality 90 of the same pixels.

#include <cstdio>
#include <cstdlib>

#include <QFile>
#include <QProcess>

#include "Bench.h"
#include "LumindraWorkspace/WorkspaceController.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "SaveChoices.h"
#include "photocore/StatisticsEventHandler.h"
#include "proc/IImageMetadata.h"

namespace Quelto::Lumindra::Bench {

namespace {

constexpr int kRuns = 7;

void Require(bool done, const char* what)
{
    if (!done) {
        std::fprintf(stderr, "save: %s failed\n", what);
        std::exit(1);
    }
}

} // namespace

LUMINDRA_BENCH_GROUP(save)
{
    const IsolatedSettings isolated(QStringLiteral("save"));
    // The 24 MP photo with the camera metadata of the photograph it was made from.
    const QString photo = TempDir() + QStringLiteral("/save-source.jpg");
    QFile::remove(photo);
    Require(QFile::copy(PhotoJpeg24MP(), photo), "copying the photo");
    Proc::ReadImageMetadata((TestDataDir() + QStringLiteral("/exif-samples/jpg/gps/DSCN0010.jpg")).toStdString())
        ->WriteToFile(photo.toStdString());

    StatisticsEventHandler statistics;
    WorkspaceControllerProvider provider(false, &statistics, false);
    const auto controller = WorkspaceController::Create(provider, ioPath(photo.toStdString()), {});
    const auto drawer = controller->GetLumindraDrawer();
    drawer->WaitForIdle(-1);
    Proc::SettingsAdjust brighter;
    brighter.exposure = 0.3;
    drawer->ApplyEffect(Proc::EffectSettingsImpl::Create(brighter));
    drawer->WaitForIdle(-1);

    const QString saved = TempDir() + QStringLiteral("/saved.jpg");
    App::SaveChoices choices = App::SaveChoices::Of(*controller, saved);
    choices.quality = 90;
    choices.ApplyTo(controller->MetadataSettings());
    IWorkspaceController::SaveSettings settings;
    settings.fileName = saved;
    const double save = MedianMs(kRuns, [&] {
        Require(controller->Save(settings) == PhotoCore::IPhotoCoreIO::SaveResultSuccess, "saving");
    });

    // The same pixels, written losslessly and turned into cjpeg's input outside the timing.
    const QString lossless = TempDir() + QStringLiteral("/saved.tif");
    const QString pixels = TempDir() + QStringLiteral("/saved.ppm");
    settings.fileName = lossless;
    Require(controller->Save(settings) == PhotoCore::IPhotoCoreIO::SaveResultSuccess, "saving the pixels");
    Require(QProcess::execute(QStringLiteral("vips"), {QStringLiteral("copy"), lossless, pixels}) == 0,
            "converting the pixels");
    const QString reference = TempDir() + QStringLiteral("/cjpeg.jpg");
    const double cjpeg = MedianMs(kRuns, [&] {
        Require(QProcess::execute(QStringLiteral("cjpeg"), {QStringLiteral("-quality"), QStringLiteral("90"),
                                                            QStringLiteral("-outfile"), reference, pixels})
                    == 0,
                "cjpeg");
    });
    QFile::remove(lossless);
    QFile::remove(pixels);
    Report("save_jpeg_vs_cjpeg", save / cjpeg, "ratio");
}

} // namespace Quelto::Lumindra::Bench

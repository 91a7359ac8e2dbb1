// Group "stall": how long the editor window cannot react while it saves and autosaves, measured
// by a 1 ms heartbeat timer on the UI thread, each divided by libjpeg-turbo's full decode of the
// same 24 MP photograph in the same run.
//
// save_ui_stall_vs_djpeg: saving the photograph with one edit as JPEG through the open
//   document's Save, from the request until the file is written.
// autosave_ui_stall_vs_djpeg: one session autosave (preview picture and session write-out) of
//   the same edited photograph.

#include <cstdio>
#include <cstdlib>
#include <functional>

#include <QFileInfo>
#include <QTimer>

#include "Bench.h"
#include "Heartbeat.h"
#include "MainWindow.h"
#include "proc/EffectSettings.h"
#include "util/AlertBox.h"

namespace Quelto::Lumindra::Bench {
namespace {

// The longest heartbeat gap while `work` runs, started from the event loop as a person's
// request is, until `finished` holds.
double StallMs(const std::function<void()>& work, const std::function<bool()>& finished, const char* what)
{
    Heartbeat heartbeat;
    heartbeat.Start();
    bool started = false;
    QTimer::singleShot(5, [&] {
        work();
        started = true;
    });
    WaitUntil([&] { return started && finished(); }, what);
    heartbeat.Stop();
    return heartbeat.LongestGapMs();
}

} // namespace

LUMINDRA_BENCH_GROUP(stall)
{
    const IsolatedSettings isolated(QStringLiteral("stall"), true);
    const auto savedHook = LumindraAlertBox::GetTestHook();
    LumindraAlertBox::SetTestHook([](LumindraAlertBox&) { return QDialogButtonBox::Ok; });

    const QString photo = PhotoJpeg24MP();
    const double djpegMs = DjpegMs(photo);

    App::MainWindow window;
    window.SetUnattended(true);
    window.resize(1600, 1000);
    window.show();
    window.OpenFile(photo);
    WaitUntil([&] { return window.IsFullFrameShown(); }, "the full-resolution frame");
    const auto controller = window.GetController();
    controller->GetLumindraDrawer()->ApplyEffect(Proc::EffectSettingsImpl::Create(Proc::SettingsRotate(1)));
    WaitUntil([&] { return controller->GetLumindraDrawer()->WaitForIdle(0) && window.IsFullFrameShown(); },
              "the edit");

    const QString target = TempDir() + QStringLiteral("/stall-saved.jpg");
    PhotoCore::IPhotoCoreIO::SaveResult result = PhotoCore::IPhotoCoreIO::SaveResultCancelled;
    bool saved = false;
    const double saveMs = StallMs(
        [&] {
            IWorkspaceController::SaveSettings settings;
            settings.fileName = target;
            result = controller->Save(settings);
            saved = true;
        },
        [&] { return saved; }, "the save");
    if (result != PhotoCore::IPhotoCoreIO::SaveResultSuccess || !QFileInfo::exists(target)) {
        std::fprintf(stderr, "stall: saving %s failed (%d)\n", target.toUtf8().constData(), int(result));
        std::exit(1);
    }
    Report("save_ui_stall_vs_djpeg", saveMs / djpegMs, "ratio");
    Report("save_ui_stall_ms", saveMs, "ms");

    // A second edit, so that the autosave has something new to write.
    controller->GetLumindraDrawer()->ApplyEffect(Proc::EffectSettingsImpl::Create(Proc::SettingsFlip(true)));
    WaitUntil([&] { return controller->GetLumindraDrawer()->WaitForIdle(0); }, "the second edit");
    const QString preview = QString::fromStdString(controller->GetIOEngine().GetSessionFolder().utf8string())
        + QLatin1Char('/') + IWorkspaceController::PREVIEW_NAME;
    bool autosaved = false;
    const double autosaveMs = StallMs(
        [&] {
            controller->SaveSession();
            autosaved = true;
        },
        [&] { return autosaved && QFileInfo::exists(preview); }, "the autosave");
    Report("autosave_ui_stall_vs_djpeg", autosaveMs / djpegMs, "ratio");
    Report("autosave_ui_stall_ms", autosaveMs, "ms");

    LumindraAlertBox::SetTestHook(savedHook);
}

} // namespace Quelto::Lumindra::Bench

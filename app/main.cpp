// lumindra: the photo editor.
//   lumindra [FILE|URL...]                            open the files (or the bundled sample), after
//                                                     offering to restore a session a crash left
//   lumindra --screenshot OUT.png [--size WxH] [EDITS] [--compare] [FILE]
//                                                     write a picture of the window and quit;
//                                                     EDITS (--rotate 90|180|270, --flip h|v,
//                                                     --crop X,Y,W,H) apply first, in order, and
//                                                     --compare shows the original beside them
//   lumindra --export OUT [--quality Q] [--author TEXT] [--comment TEXT] [--strip-metadata]
//            [--strip-gps] [EDITS] FILE              save FILE, edited, as OUT without a window

#include <csignal>
#include <cstdio>
#include <optional>
#include <utility>

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QLocale>
#include <QTimer>

#include <glog/logging.h>

#include "CommandLineFiles.h"
#include "EditOptions.h"
#include "ExportRunner.h"
#include "IconTheme.h"
#include "Installation.h"
#include "LumindraWorkspace/UnfinishedSession.h"
#include "MainWindow.h"
#include "SampleImage.h"
#include "ScreenshotRunner.h"
#include "Translations.h"
#include "util/Logging.h"
#include "util/ScreenInfo.h"

namespace {

bool ParseSize(const QString& text, QSize& size)
{
    const QStringList parts = text.toLower().split('x');
    bool okW = false, okH = false;
    if (parts.size() == 2)
        size = QSize(parts[0].toInt(&okW), parts[1].toInt(&okH));
    return okW && okH && size.width() >= 200 && size.height() >= 150;
}

// A screenshot and an export need no display.
bool WantsNoDisplay(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
        if (QByteArray(argv[i]) == "--screenshot" || QByteArray(argv[i]) == "--export")
            return true;
    return false;
}

// `lumindra --export`: the run with the edit words, its exit code; the reason on standard error.
int RunExport(const QCommandLineParser& parser, const Quelto::Lumindra::App::CommandLineFiles::Result& arguments,
              Quelto::Lumindra::App::ScreenshotOptions shot, bool screenshot)
{
    using Quelto::Lumindra::App::ExportRunner;
    const auto fail = [](int code, const QString& message) {
        std::fprintf(stderr, "%s\n", message.toLocal8Bit().constData());
        return code;
    };
    if (screenshot || shot.compare)
        return fail(ExportRunner::ExitUsage, QStringLiteral("--export goes without --screenshot and --compare"));
    if (!arguments.problems.isEmpty())
        return fail(ExportRunner::ExitOpenFailed, arguments.problems.join(QLatin1Char('\n')));
    ExportRunner::Options options;
    QString error;
    if (!ExportRunner::Read(parser, arguments.files, options, error))
        return fail(ExportRunner::ExitUsage, error);
    options.edits = std::move(shot.edits);
    // A script reads the reason from standard error: the log stays out of it unless asked for.
    if (qEnvironmentVariableIsEmpty("GLOG_minloglevel"))
        FLAGS_minloglevel = google::GLOG_FATAL;
    const ExportRunner::Result result = ExportRunner::Run(options);
    if (!result.message.isEmpty())
        fail(result.code, result.message);
    return result.code;
}

} // namespace

int main(int argc, char** argv)
{
    // A write beyond the file-size limit fails with an error that saving reports, instead of
    // ending the editor.
    std::signal(SIGXFSZ, SIG_IGN);
    // Render offscreen unless a display is there.
    if (WantsNoDisplay(argc, argv) && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")
        && qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    Quelto::Lumindra::Util::InitLogging(argv[0]);

    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Lumindra"));
    QApplication::setApplicationName(QStringLiteral("Lumindra"));
    // Ties the windows to the desktop entry (its icon and name in task bars).
    QGuiApplication::setDesktopFileName(QStringLiteral("lumindra"));
    Q_INIT_RESOURCE(resources);
    using namespace Quelto::Lumindra::App;
    const Translations translations(QLocale::system(), Installation::GetTranslationsDirectory());
    IconTheme::SetUp();
    // The workspace colour is themable: the module reads it from this rule.
    app.setStyleSheet(QStringLiteral(
        "Quelto--Lumindra--WorkspaceScenePropertyHelper { qproperty-sceneColor: \"#1a1a1a\"; }"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QCoreApplication::translate("main", "Lumindra photo editor"));
    parser.addHelpOption();
    QCommandLineOption screenshot(
        QStringLiteral("screenshot"),
        QCoreApplication::translate("main", "Write a picture of the window to <file> once the photo is shown, then quit."),
        QStringLiteral("file"));
    QCommandLineOption size(QStringLiteral("size"), QCoreApplication::translate("main", "Window size, WIDTHxHEIGHT."),
                            QStringLiteral("size"), QStringLiteral("1280x800"));
    QCommandLineOption compare(
        QStringLiteral("compare"),
        QCoreApplication::translate("main", "With --screenshot: show the original beside the edited picture."));
    parser.addOption(screenshot);
    parser.addOption(size);
    parser.addOption(compare);
    EditOptions::AddTo(parser);
    ExportRunner::AddTo(parser);
    parser.addPositionalArgument(QStringLiteral("files"),
                                 QCoreApplication::translate("main", "The pictures to open: files or file:// URLs."),
                                 QStringLiteral("[files...]"));
    parser.process(app);

    QSize windowSize;
    if (!ParseSize(parser.value(size), windowSize)) {
        std::fprintf(stderr, "Invalid --size \"%s\": expected WIDTHxHEIGHT, at least 200x150\n",
                     parser.value(size).toLocal8Bit().constData());
        return 1;
    }

    ScreenshotOptions shotOptions;
    QString editError;
    if (!EditOptions::Read(parser, shotOptions.edits, editError)) {
        std::fprintf(stderr, "%s\n", editError.toLocal8Bit().constData());
        return 1;
    }
    shotOptions.compare = parser.isSet(compare);
    const CommandLineFiles::Result arguments = CommandLineFiles::Parse(parser.positionalArguments());
    if (ExportRunner::IsRequested(parser))
        return RunExport(parser, arguments, std::move(shotOptions), parser.isSet(screenshot));
    ExportRunner::Options notExporting;
    if (!ExportRunner::Read(parser, {}, notExporting, editError)) { // the export's options alone
        std::fprintf(stderr, "%s\n", editError.toLocal8Bit().constData());
        return 1;
    }
    if ((shotOptions.compare || !shotOptions.edits.empty()) && !parser.isSet(screenshot)) {
        std::fprintf(stderr, "--compare, --rotate, --flip and --crop go with --screenshot or --export\n");
        return 1;
    }

    QStringList files = arguments.files;
    if (files.isEmpty() && arguments.problems.isEmpty()) {
        const QString sample = ExtractSampleImage();
        if (!sample.isEmpty())
            files.push_back(sample);
    }

    MainWindow window;
    Quelto::Lumindra::SpontaneousDialog::SetMainWindow(&window);
    window.resize(windowSize);
    if (parser.isSet(screenshot)) {
        window.SetUnattended(true);
        auto* runner = new ScreenshotRunner(window, parser.value(screenshot), std::move(shotOptions));
        runner->Start();
    }
    window.show();
    if (files.isEmpty() && arguments.problems.isEmpty() && parser.isSet(screenshot)) {
        std::fprintf(stderr, "No picture to open\n");
        return 2;
    }
    // A screenshot shows the files it is given; a person's start first offers what a crash left.
    const auto unfinished =
        parser.isSet(screenshot) ? std::nullopt : Quelto::Lumindra::UnfinishedSession::Find();
    // After the event loop has started: both may show dialogs or end a screenshot run.
    QTimer::singleShot(0, &window, [&window, files, problems = arguments.problems, unfinished] {
        if (!problems.isEmpty())
            window.ReportOpenFailure(problems.join(QLatin1Char('\n')));
        if (unfinished)
            window.OfferToRestore(*unfinished, files);
        else
            window.OpenFiles(files);
    });
    return app.exec();
}

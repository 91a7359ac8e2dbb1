// lumindra: the photo editor.
//   lumindra [FILE]                                  open FILE (or the bundled sample), after offering
//                                                    to restore a session a crash left unfinished
//   lumindra --screenshot OUT.png [--size WxH] [FILE] write a picture of the window and quit

#include <cstdio>
#include <optional>

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QTimer>

#include "LumindraWorkspace/UnfinishedSession.h"
#include "MainWindow.h"
#include "SampleImage.h"
#include "ScreenshotRunner.h"
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

bool WantsScreenshot(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
        if (QByteArray(argv[i]) == "--screenshot")
            return true;
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    // A screenshot needs no display: render offscreen unless one is there.
    if (WantsScreenshot(argc, argv) && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")
        && qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    Quelto::Lumindra::Util::InitLogging(argv[0]);

    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Lumindra"));
    QApplication::setApplicationName(QStringLiteral("Lumindra"));
    Q_INIT_RESOURCE(resources);
    // The workspace colour is themable: the module reads it from this rule.
    app.setStyleSheet(QStringLiteral(
        "Quelto--Lumindra--WorkspaceScenePropertyHelper { qproperty-sceneColor: \"#1a1a1a\"; }"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Lumindra photo editor"));
    parser.addHelpOption();
    QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                  QStringLiteral("Write a picture of the window to <file> once the photo is shown, then quit."),
                                  QStringLiteral("file"));
    QCommandLineOption size(QStringLiteral("size"), QStringLiteral("Window size, WIDTHxHEIGHT."), QStringLiteral("size"),
                            QStringLiteral("1280x800"));
    parser.addOption(screenshot);
    parser.addOption(size);
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("The picture to open."));
    parser.process(app);

    QSize windowSize;
    if (!ParseSize(parser.value(size), windowSize)) {
        std::fprintf(stderr, "Invalid --size \"%s\": expected WIDTHxHEIGHT, at least 200x150\n",
                     parser.value(size).toLocal8Bit().constData());
        return 1;
    }

    QString file = parser.positionalArguments().value(0);
    if (file.isEmpty())
        file = Quelto::Lumindra::App::ExtractSampleImage();

    Quelto::Lumindra::App::MainWindow window;
    Quelto::Lumindra::SpontaneousDialog::SetMainWindow(&window);
    window.resize(windowSize);
    if (parser.isSet(screenshot)) {
        window.SetUnattended(true);
        auto* runner = new Quelto::Lumindra::App::ScreenshotRunner(window, parser.value(screenshot));
        runner->Start();
    }
    window.show();
    // A screenshot shows the file it is given; a person's start first offers what a crash left.
    const auto unfinished = parser.isSet(screenshot) ? std::nullopt : Quelto::Lumindra::UnfinishedSession::Find();
    if (unfinished)
        window.OfferToRestore(*unfinished, file);
    else if (!file.isEmpty())
        QTimer::singleShot(0, &window, [&window, file] { window.OpenFile(file); });
    else if (parser.isSet(screenshot)) {
        std::fprintf(stderr, "No picture to open\n");
        return 2;
    }
    return app.exec();
}

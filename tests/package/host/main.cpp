// lumindra-host IN OUT: a host window of the workspace module, built against the installed
// package. With the module's German catalog loaded, an open of a missing file must report its
// error in German; then it opens IN through WorkspaceControllerHelper, turns it a quarter to the
// right, saves it to OUT and checks the saved picture. Exit code 0 when all of that held.

#include <cstdio>
#include <memory>

#include <QApplication>
#include <QFileInfo>
#include <QImage>
#include <QImageReader>
#include <QTranslator>

#include "LumindraWorkspace/IWorkspaceController.h"
#include "LumindraWorkspace/IWorkspaceWindow.h"
#include "LumindraWorkspace/WorkspaceControllerHelper.h"
#include "photocore/IPhotoCoreDrawer.h"
#include "photocore/StatisticsEventHandler.h"
#include "proc/EffectSettings.h"

namespace {

using namespace Quelto::Lumindra;

class HostWindow : public IWorkspaceWindow, public IWorkspaceControllerUser {
public:
    bool CanResetWorkspaceController() override { return true; }
    IWorkspaceControllerUser& GetWorkspaceControllerUser() override { return *this; }
    void SetWorkspaceController(const std::weak_ptr<IWorkspaceController>& controller) override
    {
        controller_ = controller;
    }
    std::shared_ptr<IWorkspaceController> Controller() const { return controller_.lock(); }

private:
    std::weak_ptr<IWorkspaceController> controller_;
};

int Fail(const char* what, const QString& detail = QString())
{
    std::fprintf(stderr, "lumindra-host: %s %s\n", what, detail.toLocal8Bit().constData());
    return 1;
}

QImage ReadUpright(const QString& path)
{
    QImageReader reader(path);
    reader.setAutoTransform(true);
    return reader.read();
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("LumindraHost"));
    QApplication::setApplicationName(QStringLiteral("LumindraHost"));
    if (argc != 3)
        return Fail("usage: lumindra-host IN OUT");
    const QString input = QString::fromLocal8Bit(argv[1]);
    const QString output = QString::fromLocal8Bit(argv[2]);

    QTranslator german;
    if (!german.load(QStringLiteral("lumindraworkspace_de"), QStringLiteral(MODULE_TRANSLATIONS_DIR))
        || !QApplication::installTranslator(&german))
        return Fail("the module's German catalog is missing from", QStringLiteral(MODULE_TRANSLATIONS_DIR));

    HostWindow window;
    WorkspaceControllerHelper::Initializer init;
    init.statistics = std::make_shared<StatisticsEventHandler>();
    WorkspaceControllerHelper helper(init);
    helper.Initialize(&window);
    QString error;
    QObject::connect(&helper, &WorkspaceControllerHelper::throwEvent,
                     [&error](const PhotoCore::ICoreEventHandler::ThrowEvent& event) {
                         error = QString::fromStdString(event.text);
                     });

    helper.AddFileToOpen(output + QStringLiteral(".missing.jpg"));
    if (!error.contains(QStringLiteral("existiert nicht")))
        return Fail("the open error is not in German:", error);
    error.clear();

    helper.AddFileToOpen(QFileInfo(input).absoluteFilePath());
    const auto controller = window.Controller();
    if (!controller || controller != helper.GetWorkspaceController())
        return Fail("the picture was not opened:", error);
    const auto drawer = controller->GetLumindraDrawer();
    drawer->ApplyEffect(Proc::EffectSettingsImpl::Create(Proc::SettingsRotate(1)));
    if (!drawer->WaitForIdle(120000))
        return Fail("the core did not finish the turn");

    IWorkspaceController::SaveSettings save;
    save.fileName = output;
    if (controller->Save(save) != PhotoCore::IPhotoCoreIO::SaveResultSuccess)
        return Fail("saving failed:", output);

    const QImage original = ReadUpright(input);
    const QImage saved = ReadUpright(output);
    if (original.isNull() || saved.isNull() || saved.size() != original.size().transposed())
        return Fail("the saved picture is not the original turned:",
                    QStringLiteral("%1x%2").arg(saved.width()).arg(saved.height()));
    std::printf("lumindra-host: saved %s, %dx%d\n", output.toLocal8Bit().constData(), saved.width(), saved.height());
    return 0;
}

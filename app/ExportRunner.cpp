#include "ExportRunner.h"

#include <exception>
#include <memory>
#include <optional>

#include <QCommandLineParser>
#include <QFileInfo>
#include <QStringList>
#include <QTemporaryDir>

#include "LumindraWorkspace/WorkspaceController.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "LumindraWorkspace/WorkspaceMetadata.h"
#include "photocore/IPhotoCore.h"
#include "photocore/StatisticsEventHandler.h"
#include "util/AlertBox.h"
#include "util/SettingsManager.h"

namespace Quelto::Lumindra::App {

namespace {

const QString kExport = QStringLiteral("export");
const QString kQuality = QStringLiteral("quality");
const QString kAuthor = QStringLiteral("author");
const QString kComment = QStringLiteral("comment");
const QString kStripMetadata = QStringLiteral("strip-metadata");
const QString kStripGps = QStringLiteral("strip-gps");

// For the life of the object the settings go to a store of their own, so that a script's run
// changes neither the remembered folders nor the session of the person's editor.
class PrivateSettings {
public:
    PrivateSettings() : previous_(Util::SettingsManager::Instance().GetStoreFile())
    {
        if (folder_.isValid())
            Util::SettingsManager::Instance().SetStoreFile(folder_.filePath(QStringLiteral("export.ini")));
    }
    ~PrivateSettings() { Util::SettingsManager::Instance().SetStoreFile(previous_); }
    PrivateSettings(const PrivateSettings&) = delete;
    PrivateSettings& operator=(const PrivateSettings&) = delete;

private:
    QString previous_;
    QTemporaryDir folder_;
};

// No one is there to answer the transparency question: the export goes on (the picture is
// flattened onto white) and keeps the question's text as a note.
class ContinueUnasked {
public:
    explicit ContinueUnasked(QStringList& notes) : previous_(LumindraAlertBox::GetTestHook())
    {
        LumindraAlertBox::SetTestHook([&notes](LumindraAlertBox& box) {
            notes << box.GetText();
            return QDialogButtonBox::Ok;
        });
    }
    ~ContinueUnasked() { LumindraAlertBox::SetTestHook(previous_); }
    ContinueUnasked(const ContinueUnasked&) = delete;
    ContinueUnasked& operator=(const ContinueUnasked&) = delete;

private:
    LumindraAlertBox::TestHook previous_;
};

} // namespace

void ExportRunner::AddTo(QCommandLineParser& parser)
{
    parser.addOption(QCommandLineOption(kExport,
                                        tr("Save FILE, edited, as <file> (the format from its extension) without a "
                                           "window, then quit."),
                                        QStringLiteral("file")));
    parser.addOption(QCommandLineOption(kQuality, tr("With --export: quality 1 to 100 (JPEG, WebP, HEIF, AVIF)."),
                                        QStringLiteral("quality")));
    parser.addOption(QCommandLineOption(kAuthor, tr("With --export: the author written into the file."),
                                        QStringLiteral("text")));
    parser.addOption(QCommandLineOption(kComment, tr("With --export: the comment written into the file."),
                                        QStringLiteral("text")));
    parser.addOption(QCommandLineOption(
        kStripMetadata, tr("With --export: leave out the metadata (the author, the comment and the GPS data stay).")));
    parser.addOption(QCommandLineOption(kStripGps, tr("With --export: leave out the GPS data.")));
}

bool ExportRunner::IsRequested(const QCommandLineParser& parser)
{
    return parser.isSet(kExport);
}

bool ExportRunner::Read(const QCommandLineParser& parser, const QStringList& files, Options& options, QString& error)
{
    if (!IsRequested(parser)) {
        for (const QString& option : {kQuality, kAuthor, kComment, kStripMetadata, kStripGps})
            if (parser.isSet(option)) {
                error = tr("--%1 goes with --export").arg(option);
                return false;
            }
        return true;
    }
    const QString output = parser.value(kExport);
    const QString extension = QFileInfo(output).suffix().toLower();
    if (!SaveChoices::IsWritable(extension)) {
        const QStringList offered = SaveChoices::SaveExtensions();
        error = extension.isEmpty()
            ? tr("--export \"%1\": the name needs an extension that names the format (.%2)")
                  .arg(output, offered.join(QStringLiteral(", .")))
            : tr("--export \"%1\": “.%2” is not a format pictures can be saved in (.%3)")
                  .arg(output, extension, offered.join(QStringLiteral(", .")));
        return false;
    }
    options.choices.fileName = QFileInfo(output).absoluteFilePath();
    if (parser.isSet(kQuality)) {
        bool ok = false;
        const int quality = parser.value(kQuality).toInt(&ok);
        if (!ok || quality < 1 || quality > 100) {
            error = tr("Invalid --quality \"%1\": expected a whole number from 1 to 100").arg(parser.value(kQuality));
            return false;
        }
        if (!SaveChoices::HasQuality(extension)) {
            error = tr("--quality does not apply to “.%1” files").arg(extension);
            return false;
        }
        options.choices.quality = quality;
    }
    options.authorGiven = parser.isSet(kAuthor);
    options.choices.author = parser.value(kAuthor);
    options.commentGiven = parser.isSet(kComment);
    options.choices.comment = parser.value(kComment);
    options.choices.removeMetadata = parser.isSet(kStripMetadata);
    options.choices.removeGps = parser.isSet(kStripGps);
    if (files.size() != 1) {
        error = files.isEmpty() ? tr("--export needs the picture to export") : tr("--export takes one picture");
        return false;
    }
    options.input = files.front();
    return true;
}

ExportRunner::Result ExportRunner::Run(const Options& options)
{
    const PrivateSettings settings;
    StatisticsEventHandler statistics;
    WorkspaceControllerProvider provider(false, &statistics, false);
    std::shared_ptr<IWorkspaceController> controller;
    try {
        controller = WorkspaceController::Create(provider, ioPath(options.input.toStdString()), {});
    } catch (const std::exception& e) {
        return {ExitOpenFailed, QString::fromStdString(e.what())};
    }

    // The edits are cut from the full-resolution picture: its size must be known first.
    const boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> drawer = controller->GetLumindraDrawer();
    drawer->WaitForIdle(-1);
    const auto* core = dynamic_cast<const PhotoCore::IPhotoCore*>(drawer.get());
    if (!core || !core->GetProcessing().IsFullFrameReady())
        return {ExitOpenFailed, tr("“%1” could not be read in full").arg(options.input)};
    for (const auto& edit : options.edits) {
        try {
            drawer->ApplyEffect(Proc::EffectSettingsImpl::Create(*edit));
        } catch (const std::exception& e) {
            return {ExitEditFailed, tr("“%1” cannot be applied: %2")
                                        .arg(QString::fromStdString(edit->GetDisplayName()), QString::fromStdString(e.what()))};
        }
    }

    SaveChoices choices = SaveChoices::Of(*controller, options.choices.fileName);
    if (options.choices.quality > 0)
        choices.quality = options.choices.quality;
    if (options.authorGiven)
        choices.author = options.choices.author;
    if (options.commentGiven)
        choices.comment = options.choices.comment;
    choices.removeMetadata = options.choices.removeMetadata;
    choices.removeGps = options.choices.removeGps;
    choices.ApplyTo(controller->MetadataSettings());

    QStringList notes;
    std::optional<IWorkspaceController::SaveOutcome> outcome;
    {
        const ContinueUnasked unasked(notes);
        IWorkspaceController::SaveSettings save;
        save.fileName = choices.fileName;
        try {
            controller->StartSave(save, [&outcome](const IWorkspaceController::SaveOutcome& o) { outcome = o; });
        } catch (const std::exception& e) {
            return {ExitSaveFailed, tr("“%1” could not be saved: %2").arg(choices.fileName, QString::fromStdString(e.what()))};
        }
        controller->WaitForSave();
        // An outcome known before the write (none is expected here) comes through the event loop.
        while (!outcome)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    const QString noted = notes.join(QLatin1Char('\n'));
    if (outcome->result != PhotoCore::IPhotoCoreIO::SaveResultSuccess) {
        const QString failure = tr("“%1” could not be saved: %2").arg(options.choices.fileName, outcome->reason);
        return {ExitSaveFailed, noted.isEmpty() ? failure : noted + QLatin1Char('\n') + failure};
    }
    return {ExitWritten, noted};
}

} // namespace Quelto::Lumindra::App

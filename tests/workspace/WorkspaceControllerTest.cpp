// The workspace controller over the real editing core: creation, the relay of events raised on the
// core's threads, saving with the transparency question, and the session's autosave and preview.

#include <algorithm>
#include <mutex>
#include <thread>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QGuiApplication>
#include <QImage>
#include <QSignalSpy>

#include "LumindraWorkspace/WorkspaceController.h"
#include "ProviderFixture.h"
#include "photocore/StatisticsEventHandler.h"
#include "util/Paths.h"
#include "util/Settings.h"
#include "util/SettingsManager.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;
using PhotoCore::IPhotoCoreIO;
using Stats = PhotoCore::IStatisticsEventHandler;

// Which handler got which event, on which thread.
struct EventLog {
    struct Entry { int handler; std::string event; std::thread::id thread; };
    std::vector<Entry> Entries()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return entries;
    }
    std::vector<std::string> Errors()
    {
        std::vector<std::string> errors;
        for (const Entry& entry : Entries())
            if (entry.event.rfind("error: ", 0) == 0)
                errors.push_back(entry.event);
        return errors;
    }
    std::mutex mutex; // guards entries, which the core's threads add to
    std::vector<Entry> entries;
};

class RecordingHandler : public PhotoCore::IDrawerEventHandler, public PhotoCore::ICoreEventHandler {
public:
    RecordingHandler(int id, EventLog& log) : id_(id), log_(log) {}
    void HandleUndo(const DrawerEventUndo&) override { Add("undo"); }
    void HandleFrame(const DrawerEventFrame& e) override { Add("frame" + std::to_string(e.reason)); }
    void HandleStateChanged(const CoreEventStateChanged&) override { Add("stateChanged"); }
    void HandleThrow(const ThrowEvent& e) override { Add("error: " + e.text); }

private:
    void Add(std::string event)
    {
        std::lock_guard<std::mutex> lock(log_.mutex);
        log_.entries.push_back({id_, std::move(event), std::this_thread::get_id()});
    }
    int id_;
    EventLog& log_;
};

class WorkspaceControllerTest : public TS::ProviderFixture {
protected:
    // Autosave ticks a test can wait for in milliseconds rather than minutes.
    static void ShortenAutosave()
    {
        Util::SettingsManager::Instance().SetValue(
            Util::Settings::Name(Util::Settings::SESSION, Util::Settings::AUTOSAVE_INTERVAL), 20);
    }
    static void ShowLastSession(bool on)
    {
        Util::SettingsManager::Instance().SetValue(Util::Settings::Name(Util::Settings::SHOW_LAST_SESSION), on);
    }
    static QString SessionFile(IWorkspaceController& controller, const QString& name)
    {
        return QDir(QString::fromStdString(controller.GetIOEngine().GetSessionFolder().utf8string())).filePath(name);
    }
    // Waits for `ticks` more timer ticks, whatever each decided.
    static bool WaitForTicks(const TS::LogCapture& log, int ticks)
    {
        const int before = log.Count("by timer");
        return TS::WaitUntil([&] { return log.Count("by timer") >= before + ticks; });
    }

    StatisticsEventHandler statistics_;
    WorkspaceControllerProvider provider_ {false, &statistics_, false};
};

// Restores the settings that creating a controller writes.
class ScopedSettings {
public:
    explicit ScopedSettings(QStringList names) : names_(std::move(names))
    {
        for (const QString& name : names_)
            saved_ << Util::SettingsManager::Instance().Value(name);
    }
    ~ScopedSettings()
    {
        for (int i = 0; i < names_.size(); ++i) {
            if (saved_[i].isValid())
                Util::SettingsManager::Instance().SetValue(names_[i], saved_[i]);
            else
                Util::SettingsManager::Instance().Remove(names_[i]);
        }
    }

private:
    QStringList names_;
    QVariantList saved_;
};

namespace Names = Util::Settings;
const QString kSaveFolder = Names::Name(Names::SAVE, Names::FOLDER);
const QString kOpenFolder = Names::Name(Names::OPEN, Names::FOLDER);
const QString kOpenFile = Names::Name(Names::OPEN, Names::FILE);
const QString kSessionId = Names::Name(Names::SESSION, Names::ID);

// Dropped and pasted pictures are named Image_<n> in turn, skipping names taken in the save
// folder, with the extension that keeps their transparency; no view shows them yet.
TEST_F(WorkspaceControllerTest, PicturesWithoutAFileGetTheNextFreeInventedName)
{
    ScopedSettings settings({kSaveFolder, kOpenFolder, kOpenFile, kSessionId});
    Util::SettingsManager::Instance().SetValue(kSaveFolder, sandbox_.Path());
    Util::SettingsManager::Instance().Remove(kOpenFolder);
    QImage clear(40, 30, QImage::Format_ARGB32);
    clear.fill(Qt::transparent);
    const QPixmap opaque = QPixmap::fromImage(TS::MakeTestImage(40, 30)), alpha = QPixmap::fromImage(clear);
    const auto create = [&](const QPixmap& pixmap) {
        return WorkspaceController::Create(provider_, pixmap, PhotoCore::ImageSourcePaste);
    };

    const auto first = create(opaque);
    const QString firstName = first->GetFileName();
    const QRegularExpressionMatch match = QRegularExpression(QStringLiteral("^Image_(\\d+)\\.jpg$")).match(firstName);
    ASSERT_TRUE(match.hasMatch()) << firstName.toStdString();
    const int n = match.captured(1).toInt();
    const auto name = [](int i, const char* ext) { return QStringLiteral("Image_%1.%2").arg(i).arg(QLatin1String(ext)); };
    EXPECT_EQ(first->GetView(), nullptr);
    EXPECT_FALSE(Util::SettingsManager::Instance().Value(kSessionId).toString().isEmpty());
    EXPECT_EQ(create(opaque)->GetFileName(), name(n + 1, "jpg"));
    sandbox_.Touch(name(n + 2, "jpg"));
    EXPECT_EQ(create(opaque)->GetFileName(), name(n + 3, "jpg")) << "a name taken in the save folder is skipped";
    EXPECT_EQ(create(alpha)->GetFileName(), name(n + 4, "png"));
    EXPECT_FALSE(Util::SettingsManager::Instance().Contains(kOpenFolder)) << "no folder for a picture without a file";
}

// Opening a file records it and its folder, also when the folder is the one that the open
// dialog falls back to when nothing is recorded.
TEST_F(WorkspaceControllerTest, OpeningAFileRecordsItAndItsFolder)
{
    ScopedSettings settings({kOpenFolder, kOpenFile, kSessionId});
    Util::SettingsManager::Instance().Remove(kOpenFolder);
    TS::ScopedEnv home("HOME", sandbox_.Path().toUtf8());
    TS::ScopedEnv config("XDG_CONFIG_HOME", sandbox_.FilePath(QStringLiteral("no-config")).toUtf8());
    const std::string path = Photo("first.jpg");
    const QString folder = QFileInfo(QString::fromStdString(path)).absolutePath();
    ASSERT_EQ(Util::GetDefaultSaveFolder(QString::fromLatin1(Names::OPEN)), folder) << "the fallback folder";

    const auto controller = WorkspaceController::Create(provider_, ioPath(path), {});
    EXPECT_EQ(Util::SettingsManager::Instance().Value(kOpenFolder).toString(), folder);
    EXPECT_EQ(Util::SettingsManager::Instance().Value(kOpenFile).toString(), QString::fromStdString(path));
    EXPECT_FALSE(Util::SettingsManager::Instance().Value(kSessionId).toString().isEmpty());
}

TEST_F(WorkspaceControllerTest, FailedOpenBuildsNothingAndLeavesTheCursor)
{
    EXPECT_THROW(WorkspaceController::Create(provider_, ioPath(sandbox_.FilePathUtf8("missing.jpg")), {}),
                 Core::Exception);
    EXPECT_EQ(statistics_.GetControllersCreated(), 0);
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
}

TEST_F(WorkspaceControllerTest, EventsFromTheCoreThreadsReachEveryHandlerOnceInOrderWhileItLives)
{
    auto controller = WorkspaceController::Create(provider_, ioPath(Photo("a.jpg")), {});
    ASSERT_TRUE(controller->GetLumindraDrawer()->WaitForIdle(TS::kDefaultWaitMs));
    EventLog log;
    RecordingHandler one(1, log), two(2, log), never(3, log);
    controller->RegisterDrawerEventHandler(&one);
    controller->RegisterDrawerEventHandler(&two);
    controller->RegisterDrawerEventHandler(&one); // once only
    controller->RegisterCoreEventHandler(&one);
    controller->RegisterCoreEventHandler(&two);
    controller->RegisterDrawerEventHandler(nullptr);
    controller->UnregisterDrawerEventHandler(&never);
    controller->UnregisterDrawerEventHandler(nullptr);
    const auto editAndWait = [&] {
        const std::size_t before = log.Entries().size();
        Edit(*controller->GetLumindraDrawer());
        ASSERT_TRUE(TS::WaitUntil([&] {
            const auto now = log.Entries();
            return now.size() > before && now.back().handler == 2 && now.back().event == "stateChanged";
        }));
    };

    editAndWait();
    const auto entries = log.Entries();
    ASSERT_EQ(entries.size() % 2, 0u);
    for (std::size_t i = 0; i < entries.size(); i += 2) {
        EXPECT_EQ(entries[i].handler, 1) << i;
        EXPECT_EQ(entries[i + 1].handler, 2) << i;
        EXPECT_EQ(entries[i].event, entries[i + 1].event) << i;
        EXPECT_NE(entries[i].thread, std::this_thread::get_id()) << "raised on the core's thread";
    }
    controller->UnregisterDrawerEventHandler(&one);
    controller->UnregisterCoreEventHandler(&one);
    editAndWait();
    for (std::size_t i = entries.size(); i < log.Entries().size(); ++i)
        EXPECT_EQ(log.Entries()[i].handler, 2);

    // The core lives on in the cache and keeps raising events: none may reach the dead controller.
    PhotoCore::PhotoCorePtr core = provider_.GetCache().Find(provider_.GetCache().GetCurrentName());
    ASSERT_TRUE(core);
    controller.reset();
    const std::size_t before = log.Entries().size();
    Edit(*core);
    EXPECT_EQ(log.Entries().size(), before);
}

TEST_F(WorkspaceControllerTest, TransparencyQuestionComesOnlyWhenTransparencyWouldBeLostAndCancelWritesNothing)
{
    struct Case { const char* target; bool transparent; QDialogButtonBox::StandardButton answer; bool asked, saved; };
    std::ptrdiff_t saves = 0;
    for (const Case& c : {Case {"opaque.jpg", false, QDialogButtonBox::Cancel, false, true},
                          Case {"kept.png", true, QDialogButtonBox::Cancel, false, true},
                          Case {"flat.jpg", true, QDialogButtonBox::Ok, true, true},
                          Case {"declined.jpg", true, QDialogButtonBox::Cancel, true, false}}) {
        SCOPED_TRACE(c.target);
        QImage image(64, 48, QImage::Format_ARGB32);
        image.fill(c.transparent ? QColor(200, 20, 20, 0) : QColor(200, 20, 20));
        auto controller = WorkspaceController::Create(provider_, QPixmap::fromImage(image), PhotoCore::ImageSourcePaste);
        ASSERT_TRUE(controller->GetLumindraDrawer()->WaitForIdle(TS::kDefaultWaitMs));
        QFile file(sandbox_.FilePath(QString::fromLatin1(c.target)));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("the user's file") > 0);
        file.close();
        const int undo = controller->GetUndoEngine()->GetUndoCount();

        IWorkspaceController::SaveSettings save;
        save.fileName = file.fileName();
        save.statistics.fromSaveWindow = 1;
        TS::ScopedAlertAnswer answer(c.answer);
        EXPECT_EQ(controller->Save(save),
                  c.saved ? IPhotoCoreIO::SaveResultSuccess : IPhotoCoreIO::SaveResultCancelled);
        ASSERT_EQ(answer.Count(), c.asked ? 1 : 0);
        if (c.asked) {
            EXPECT_TRUE(answer.Texts()[0].contains(QStringLiteral("white background")));
        }
        // Continuing flattens the picture onto white as one undoable step.
        EXPECT_EQ(controller->GetUndoEngine()->GetUndoCount(), undo + (c.asked && c.saved ? 1 : 0));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll() == "the user's file", !c.saved);
        const auto events = statistics_.GetEvents();
        const auto isSave = [](const StatisticsEventHandler::Event& e) { return e.first == Stats::NAME_SAVING_IMAGE; };
        ASSERT_EQ(std::count_if(events.begin(), events.end(), isSave), ++saves);
        ASSERT_TRUE(isSave(events.back()));
        EXPECT_EQ(events.back().second.at(Stats::KEY_RESULT), c.saved ? Stats::VAL_RESULT_SUCCESS : Stats::VAL_RESULT_CANCEL);
        EXPECT_EQ(events.back().second.at(Stats::KEY_SAVING_IMAGE_SAVING_TYPE), Stats::VAL_SAVING_IMAGE_SAVING_TYPE_WINDOW);
        EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
    }
}

// Whatever the transparency question throws, the check is logged as failed and the picture is
// saved as if no question had been needed.
TEST_F(WorkspaceControllerTest, TransparencyCheckThatThrowsAnythingDoesNotStopTheSave)
{
    QImage image(64, 48, QImage::Format_ARGB32);
    image.fill(QColor(200, 20, 20, 0));
    auto controller = WorkspaceController::Create(provider_, QPixmap::fromImage(image), PhotoCore::ImageSourcePaste);
    ASSERT_TRUE(controller->GetLumindraDrawer()->WaitForIdle(TS::kDefaultWaitMs));
    IWorkspaceController::SaveSettings save;
    save.fileName = sandbox_.FilePath(QStringLiteral("thrown.jpg"));
    const LumindraAlertBox::TestHook previous = LumindraAlertBox::GetTestHook();
    LumindraAlertBox::SetTestHook([](LumindraAlertBox&) -> QDialogButtonBox::StandardButton {
        throw 42; // not a std::exception: what a foreign library may throw
    });
    TS::LogCapture log;
    IPhotoCoreIO::SaveResult result = IPhotoCoreIO::SaveResultFailed;
    EXPECT_NO_THROW(result = controller->Save(save));
    LumindraAlertBox::SetTestHook(previous);
    EXPECT_EQ(result, IPhotoCoreIO::SaveResultSuccess);
    EXPECT_TRUE(log.Contains("Check format for transparency support failed"));
    EXPECT_TRUE(QFileInfo(save.fileName).size() > 0);
}

// The session preview is rendered straight at its own size; it must show what scaling a full
// snapshot to cover the preview and cropping its centre shows, for a panorama, a tall picture and
// one of exactly the preview's size.
TEST_F(WorkspaceControllerTest, SessionPreviewShowsTheCoverScaledCentreOfTheWholeScene)
{
    ShowLastSession(true);
    const QSize target = WorkspaceController::GetPreviewSize().toSize();
    for (const QSize size : {QSize(2400, 400), QSize(500, 1500), target}) {
        QImage picture(size, QImage::Format_RGB32);
        for (int y = 0; y < size.height(); ++y)
            for (int x = 0; x < size.width(); ++x)
                picture.setPixel(x, y, qRgb(255 * x / size.width(), 255 * y / size.height(), (x / 50 + y / 50) % 2 * 200));
        const QString path = sandbox_.FilePath(QStringLiteral("picture-%1.png").arg(size.width()));
        ASSERT_TRUE(picture.save(path));
        auto controller = WorkspaceController::Create(provider_, ioPath(path.toStdString()), {});
        ASSERT_TRUE(controller->GetLumindraDrawer()->WaitForIdle(TS::kDefaultWaitMs));

        controller->SaveSession();
        const QString written = SessionFile(*controller, IWorkspaceController::PREVIEW_NAME);
        const QImage preview(written);
        auto* workspace = dynamic_cast<WorkspaceController*>(controller.get());
        ASSERT_TRUE(workspace);
        QSignalSpy rendering(workspace, &WorkspaceController::renderingStarted);
        const QImage snapshot = controller->GetSnapshot();
        EXPECT_EQ(rendering.count(), 2);
        EXPECT_EQ(rendering.value(0).value(0).toBool(), true);
        EXPECT_EQ(rendering.value(1).value(0).toBool(), false);
        EXPECT_EQ(snapshot.size(), size) << "the snapshot is the whole scene";
        const QImage expected = WorkspaceController::MakePreview(snapshot, target);
        ASSERT_FALSE(preview.isNull()) << written.toStdString();
        ASSERT_EQ(preview.size(), target);
        ASSERT_EQ(expected.size(), target);
        EXPECT_GT(TS::Psnr(preview, expected), 25.0) << size.width() << "x" << size.height();
        if (size == target) {
            EXPECT_GT(TS::Psnr(preview, picture), 30.0) << "kept as it is, but for the JPEG of the preview";
        }
    }
}

// Cover scaling keeps the aspect, fills the preview and crops the overflow equally on both sides.
TEST_F(WorkspaceControllerTest, PreviewIsScaledToCoverAndCroppedInTheCentre)
{
    const QSize target(256, 192);
    // Red encodes the column and green the row, as fractions of the picture.
    const auto picture = [](QSize size) {
        QImage image(size, QImage::Format_RGB32);
        for (int y = 0; y < size.height(); ++y)
            for (int x = 0; x < size.width(); ++x)
                image.setPixel(x, y, qRgb(255 * x / (size.width() - 1), 255 * y / (size.height() - 1), 60));
        return image;
    };
    // The first and last column and row shown, as fractions of the picture. The panorama scales
    // to 1152 x 192 and keeps columns 448 to 704; the tall picture to 256 x 768, rows 288 to 480.
    struct Case { const char* what; QSize size; double firstColumn, lastColumn, firstRow, lastRow; };
    for (const Case& c : {Case {"a panorama loses its sides equally", {2400, 400}, 448.0 / 1152, 704.0 / 1152, 0, 1},
                          Case {"a tall picture loses top and bottom equally", {400, 1200}, 0, 1, 288.0 / 768, 480.0 / 768},
                          Case {"the preview's size is kept as it is", target, 0, 1, 0, 1},
                          Case {"a small picture is scaled up", {64, 48}, 0, 1, 0, 1}}) {
        SCOPED_TRACE(c.what);
        const QImage source = picture(c.size);
        const QImage preview = WorkspaceController::MakePreview(source, target);
        ASSERT_EQ(preview.size(), target);
        const auto fraction = [&](int x, int y, int (*channel)(QRgb)) { return channel(preview.pixel(x, y)) / 255.0; };
        EXPECT_NEAR(fraction(0, target.height() / 2, qRed), c.firstColumn, 0.02);
        EXPECT_NEAR(fraction(target.width() - 1, target.height() / 2, qRed), c.lastColumn, 0.02);
        EXPECT_NEAR(fraction(target.width() / 2, 0, qGreen), c.firstRow, 0.02);
        EXPECT_NEAR(fraction(target.width() / 2, target.height() - 1, qGreen), c.lastRow, 0.02);
        if (c.size == target) {
            EXPECT_EQ(preview, source) << "neither scaled nor shifted";
        }
    }
}

// The timer writes the session only while the setting is on and only when the picture changed
// since the last write-out that succeeded; SaveSession, asked by the host, always writes the
// session, and the preview with it when the setting is on.
TEST_F(WorkspaceControllerTest, AutosaveRunsOnlyWhenTurnedOnAndThePictureChanged)
{
    ShortenAutosave();
    struct Case { const char* what; bool on, edit; };
    int n = 0;
    for (const Case& c : {Case {"on, edited", true, true}, Case {"on, untouched", true, false},
                          Case {"off, edited", false, true}}) {
        SCOPED_TRACE(c.what);
        ShowLastSession(c.on);
        TS::LogCapture log(30);
        auto controller = WorkspaceController::Create(provider_, ioPath(Photo(QStringLiteral("s%1.jpg").arg(++n))), {});
        const QString state = SessionFile(*controller, QStringLiteral("core.json"));
        const QString preview = SessionFile(*controller, IWorkspaceController::PREVIEW_NAME);
        if (c.edit)
            Edit(*controller->GetLumindraDrawer());
        const bool autosaves = c.on && c.edit;
        if (autosaves) {
            EXPECT_TRUE(TS::WaitUntil([&] { return QFileInfo::exists(state); }));
        }
        ASSERT_TRUE(WaitForTicks(log, 3));
        EXPECT_EQ(log.Count("Saving session started by timer done"), autosaves ? 1 : 0) << "once per change";
        EXPECT_EQ(QFileInfo::exists(state), autosaves);
        EXPECT_EQ(QFileInfo::exists(preview), autosaves);

        if (autosaves) { // the next change is autosaved again
            Edit(*controller->GetLumindraDrawer());
            EXPECT_TRUE(TS::WaitUntil([&] { return log.Count("Saving session started by timer done") == 2; }));
        }
        QFile::remove(state);
        controller->SaveSession();
        EXPECT_TRUE(TS::WaitUntil([&] { return QFileInfo::exists(state); })) << "the host's request always writes";
        EXPECT_EQ(QFileInfo::exists(preview), c.on);
    }
}

// Session problems reach the handlers as errors, each once: an unusable temporary folder for the
// controller's life, a failing session write-out until one succeeds again (the timer retries it
// without a new change).
TEST_F(WorkspaceControllerTest, SessionProblemsArePublishedOnce)
{
    ShortenAutosave();
    ShowLastSession(true);
    TS::LogCapture log(30);
    auto controller = WorkspaceController::Create(provider_, ioPath(Photo("a.jpg")), {});
    EventLog events;
    RecordingHandler errors(1, events);
    controller->RegisterCoreEventHandler(&errors);
    const auto errorsAbout = [&](const std::string& what) {
        const auto all = events.Errors();
        return std::count_if(all.begin(), all.end(), [&](const std::string& e) { return e.find(what) != e.npos; });
    };
    // A file where a folder must go.
    const auto block = [](const QString& path, bool blocked) {
        QDir(path).removeRecursively();
        QFile::remove(path);
        QFile file(path);
        if (blocked) {
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        }
    };

    const QString notAFolder = sandbox_.FilePath(QStringLiteral("not-a-folder"));
    block(notAFolder, true);
    {
        TS::ScopedEnv unusable("LUMINDRA_TEMP_DIR", notAFolder.toUtf8() + "/tmp");
        ASSERT_TRUE(WaitForTicks(log, 4));
    }
    EXPECT_EQ(errorsAbout("The temporary folder"), 1);

    const QString folder = QString::fromStdString(controller->GetIOEngine().GetSessionFolder().utf8string());
    const auto failures = [&] { return log.Count("Cannot save session: "); };
    block(folder, true);
    Edit(*controller->GetLumindraDrawer());
    ASSERT_TRUE(TS::WaitUntil([&] { return failures() >= 3; })) << "retried at every tick";
    EXPECT_EQ(errorsAbout("Autosave failed"), 1);

    block(folder, false);
    ASSERT_TRUE(TS::WaitUntil([&] { return QFileInfo::exists(QDir(folder).filePath(QStringLiteral("core.json"))); }));
    block(folder, true);
    Edit(*controller->GetLumindraDrawer());
    const int before = failures();
    ASSERT_TRUE(TS::WaitUntil([&] { return failures() >= before + 2; }));
    EXPECT_EQ(errorsAbout("Autosave failed"), 2) << "a new run of failures";
    EXPECT_EQ(errorsAbout("The temporary folder"), 1) << "checked no more";
    controller->UnregisterCoreEventHandler(&errors);
    block(folder, false);
}

} // namespace
} // namespace Quelto::Lumindra

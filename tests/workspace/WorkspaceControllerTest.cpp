// The workspace controller over the real editing core: creation, the relay of events raised on the
// core's threads, and saving with the transparency question.

#include <algorithm>
#include <mutex>
#include <thread>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QGuiApplication>
#include <QImage>

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
    std::mutex mutex; // guards entries, which the core's threads add to
    std::vector<Entry> entries;
};

class RecordingHandler : public PhotoCore::IDrawerEventHandler, public PhotoCore::ICoreEventHandler {
public:
    RecordingHandler(int id, EventLog& log) : id_(id), log_(log) {}
    void HandleUndo(const DrawerEventUndo&) override { Add("undo"); }
    void HandleFrame(const DrawerEventFrame& e) override { Add("frame" + std::to_string(e.reason)); }
    void HandleStateChanged(const CoreEventStateChanged&) override { Add("stateChanged"); }

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
// snapshot to cover the preview and cropping its centre shows, for a panorama and a tall picture.
TEST_F(WorkspaceControllerTest, SessionPreviewShowsTheCoverScaledCentreOfTheWholeScene)
{
    Util::SettingsManager::Instance().SetValue(Util::Settings::Name(Util::Settings::SHOW_LAST_SESSION), true);
    for (const QSize size : {QSize(2400, 400), QSize(500, 1500)}) {
        QImage picture(size, QImage::Format_RGB32);
        for (int y = 0; y < size.height(); ++y)
            for (int x = 0; x < size.width(); ++x)
                picture.setPixel(x, y, qRgb(255 * x / size.width(), 255 * y / size.height(), (x / 50 + y / 50) % 2 * 200));
        const QString path = sandbox_.FilePath(QStringLiteral("picture-%1.png").arg(size.width()));
        ASSERT_TRUE(picture.save(path));
        auto controller = WorkspaceController::Create(provider_, ioPath(path.toStdString()), {});
        ASSERT_TRUE(controller->GetLumindraDrawer()->WaitForIdle(TS::kDefaultWaitMs));

        controller->SaveSession();
        const QString written = QDir(QString::fromStdString(controller->GetIOEngine().GetSessionFolder().utf8string()))
                                    .filePath(IWorkspaceController::PREVIEW_NAME);
        const QImage preview(written);
        const QImage expected =
            WorkspaceController::MakePreview(controller->GetSnapshot(), WorkspaceController::GetPreviewSize());
        ASSERT_FALSE(preview.isNull()) << written.toStdString();
        ASSERT_EQ(preview.size(), expected.size());
        EXPECT_GT(TS::Psnr(preview, expected), 25.0) << size.width() << "x" << size.height();
    }
}

} // namespace
} // namespace Quelto::Lumindra

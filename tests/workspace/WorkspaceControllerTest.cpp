// The workspace controller over the real editing core: creation (settings, invented names),
// the relay of events raised on the core's threads, its registrations and its destruction.

#include <memory>
#include <mutex>
#include <thread>

#include <QFile>
#include <QApplication>
#include <QGuiApplication>
#include <QGraphicsView>
#include <QSignalSpy>

#include "LumindraWorkspace/WorkspaceController.h"
#include "LumindraWorkspace/scene/IScene.h"
#include "LumindraWorkspace/scene/WorkspaceScene.h"
#include "ProviderFixture.h"
#include "photocore/StatisticsEventHandler.h"
#include "proc/EffectSettings.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;

namespace Settings = Util::Settings;

// Records every event it gets: which handler, which event, on which thread.
struct EventLog {
    struct Entry {
        int handler;
        std::string event;
        std::thread::id thread;
    };
    void Add(int handler, std::string event)
    {
        std::lock_guard<std::mutex> lock(mutex);
        entries.push_back({handler, std::move(event), std::this_thread::get_id()});
    }
    std::vector<Entry> Entries() const
    {
        std::lock_guard<std::mutex> lock(mutex);
        return entries;
    }
    bool Has(int handler, const std::string& event) const
    {
        for (const auto& e : Entries())
            if (e.handler == handler && e.event == event)
                return true;
        return false;
    }
    mutable std::mutex mutex;
    std::vector<Entry> entries;
};

class RecordingHandler : public PhotoCore::IDrawerEventHandler, public PhotoCore::ICoreEventHandler {
public:
    RecordingHandler(int id, EventLog& log) : id_(id), log_(log) {}
    void HandleUndo(const DrawerEventUndo&) override { log_.Add(id_, "undo"); }
    void HandleFrame(const DrawerEventFrame& e) override { log_.Add(id_, "frame" + std::to_string(e.reason)); }
    void HandleChangeToSave(const DrawerEventChangeToSave&) override { log_.Add(id_, "changeToSave"); }
    void HandleFrameTemporary(const DrawerEventFrameTemporary&) override { log_.Add(id_, "frameTemporary"); }
    void HandleStateChanged(const CoreEventStateChanged&) override { log_.Add(id_, "stateChanged"); }
    void HandleLoaded(const CoreEventLoaded&) override { log_.Add(id_, "loaded"); }

private:
    int id_;
    EventLog& log_;
};

class WorkspaceControllerTest : public TS::ProviderFixture {
protected:
    std::shared_ptr<IWorkspaceController> OpenFile(const std::string& path)
    {
        return WorkspaceController::Create(provider_, ioPath(path), std::string());
    }
    static QPixmap Picture(bool alpha)
    {
        QImage image(64, 48, alpha ? QImage::Format_ARGB32 : QImage::Format_RGB32);
        image.fill(alpha ? QColor(10, 200, 30, 100) : QColor(10, 200, 30));
        return QPixmap::fromImage(image);
    }
    static void Edit(IWorkspaceController& controller)
    {
        controller.GetLumindraDrawer()->ApplyEffect(Proc::EffectSettingsImpl::Create(Proc::SettingsRotate(1)));
        ASSERT_TRUE(controller.GetLumindraDrawer()->WaitForIdle(TS::kDefaultWaitMs));
    }

    StatisticsEventHandler statistics_;
    WorkspaceControllerProvider provider_ {false, &statistics_, false};
};

TEST_F(WorkspaceControllerTest, CreateFromFileRecordsTheSessionAndTheOpenFolder)
{
    const std::string path = Photo("a.jpg");
    TS::LogCapture log(30);
    auto controller = OpenFile(path);
    ASSERT_TRUE(controller);

    auto& settings = Util::SettingsManager::Instance();
    EXPECT_EQ(settings.Value(Settings::Name(Settings::SESSION, Settings::ID)).toString().toStdString(),
              controller->GetIOEngine().GetSessionId());
    EXPECT_EQ(settings.Value(Settings::Name(Settings::OPEN, Settings::FILE)).toString().toStdString(), path);
    EXPECT_EQ(Util::GetDefaultSaveFolder(QString::fromLatin1(Settings::OPEN)), sandbox_.Path());
    EXPECT_EQ(controller->GetOriginalFileName().toStdString(), path);
    EXPECT_EQ(controller->GetStatisticsEventHandler(), &statistics_);
    EXPECT_EQ(statistics_.GetControllersCreated(), 1);

    const auto messages = log.Messages();
    const auto at = [&](const std::string& text) {
        for (std::size_t i = 0; i < messages.size(); ++i)
            if (messages[i].find(text) != std::string::npos)
                return static_cast<int>(i);
        return -1;
    };
    EXPECT_GE(at("Starting to create new workspace controller"), 0);
    EXPECT_GT(at("New workspace controller created"), at("Starting to create new workspace controller"));

    controller.reset();
    EXPECT_TRUE(log.Contains("Workspace controller is dead"));
}

TEST_F(WorkspaceControllerTest, PicturesGetNumberedNamesThatAreFreeInTheSaveFolder)
{
    Util::SaveDirPath(sandbox_.Path().toStdString(), Settings::SAVE);
    auto first = WorkspaceController::Create(provider_, Picture(false), PhotoCore::ImageSourcePaste);
    const QString firstName = first->GetFileName();
    ASSERT_TRUE(firstName.startsWith("Image_") && firstName.endsWith(".jpg")) << firstName.toStdString();
    const int n = firstName.mid(6, firstName.size() - 10).toInt();
    ASSERT_GT(n, 0);

    // The counter advances even when the name was free, and skips names taken in the folder.
    QFile taken(sandbox_.FilePath(QStringLiteral("Image_%1.jpg").arg(n + 2)));
    ASSERT_TRUE(taken.open(QIODevice::WriteOnly));
    taken.close();
    auto second = WorkspaceController::Create(provider_, Picture(false), PhotoCore::ImageSourceDrop);
    auto third = WorkspaceController::Create(provider_, Picture(false), PhotoCore::ImageSourcePaste);
    auto transparent = WorkspaceController::Create(provider_, Picture(true), PhotoCore::ImageSourcePaste);
    EXPECT_EQ(second->GetFileName(), QStringLiteral("Image_%1.jpg").arg(n + 1));
    EXPECT_EQ(third->GetFileName(), QStringLiteral("Image_%1.jpg").arg(n + 3));
    EXPECT_EQ(transparent->GetFileName(), QStringLiteral("Image_%1.png").arg(n + 4));
    EXPECT_TRUE(second->GetOriginalFileName().isEmpty()) << "a picture has no source file";
    Util::SaveDirPath(std::string(), Settings::SAVE);
}

TEST_F(WorkspaceControllerTest, EventsFromTheCoreThreadsReachEveryHandlerOnceInOrder)
{
    auto controller = OpenFile(Photo("a.jpg"));
    ASSERT_TRUE(controller->GetLumindraDrawer()->WaitForIdle(TS::kDefaultWaitMs));
    EventLog log;
    RecordingHandler one(1, log), two(2, log), never(3, log);
    controller->RegisterDrawerEventHandler(&one);
    controller->RegisterDrawerEventHandler(&two);
    controller->RegisterDrawerEventHandler(&one); // once only
    controller->RegisterCoreEventHandler(&one);
    controller->RegisterCoreEventHandler(&two);
    controller->RegisterDrawerEventHandler(nullptr);
    controller->UnregisterDrawerEventHandler(&never); // never registered: no change
    controller->UnregisterDrawerEventHandler(nullptr);

    Edit(*controller);
    ASSERT_TRUE(TS::WaitUntil([&] { return log.Has(2, "frame0") && log.Has(2, "stateChanged"); }));

    const auto entries = log.Entries();
    ASSERT_EQ(entries.size() % 2, 0u);
    for (std::size_t i = 0; i < entries.size(); i += 2) {
        EXPECT_EQ(entries[i].handler, 1) << i;
        EXPECT_EQ(entries[i + 1].handler, 2) << i;
        EXPECT_EQ(entries[i].event, entries[i + 1].event) << i;
        EXPECT_NE(entries[i].thread, std::this_thread::get_id()) << "raised on the core's thread";
    }

    // After unregistering, the handler gets nothing more.
    controller->UnregisterDrawerEventHandler(&one);
    controller->UnregisterCoreEventHandler(&one);
    const std::size_t before = log.Entries().size();
    Edit(*controller);
    ASSERT_TRUE(TS::WaitUntil([&] {
        const auto now = log.Entries();
        return now.size() > before && now.back().event == "stateChanged";
    }));
    for (std::size_t i = before; i < log.Entries().size(); ++i)
        EXPECT_EQ(log.Entries()[i].handler, 2);
    controller->UnregisterDrawerEventHandler(&two);
    controller->UnregisterCoreEventHandler(&two);
}

TEST_F(WorkspaceControllerTest, DeadControllerReceivesNothingFromItsCachedCore)
{
    const std::string path = Photo("a.jpg");
    auto controller = OpenFile(path);
    EventLog log;
    RecordingHandler handler(1, log);
    controller->RegisterDrawerEventHandler(&handler);
    controller->UnregisterDrawerEventHandler(&handler);
    controller.reset();

    // The core lives on in the cache and keeps raising events: none may reach the dead forwarders.
    PhotoCore::PhotoCorePtr core = provider_.GetCache().Find(Name(path));
    ASSERT_TRUE(core);
    core->ApplyEffect(Proc::EffectSettingsImpl::Create(Proc::SettingsRotate(1)));
    EXPECT_TRUE(core->WaitForIdle(TS::kDefaultWaitMs));
    EXPECT_TRUE(log.Entries().empty());
}

TEST_F(WorkspaceControllerTest, HasChangedFollowsEditsAndSaves)
{
    auto controller = OpenFile(Photo("a.jpg"));
    EXPECT_FALSE(controller->HasChanged());
    Edit(*controller);
    EXPECT_TRUE(controller->HasChanged());

    IWorkspaceController::SaveSettings save;
    save.fileName = sandbox_.FilePath(QStringLiteral("saved.png"));
    ASSERT_EQ(controller->Save(save), PhotoCore::IPhotoCoreIO::SaveResultSuccess);
    EXPECT_FALSE(controller->HasChanged());
    EXPECT_EQ(controller->GetFileName(), save.fileName) << "the file name follows the last save";
}

TEST_F(WorkspaceControllerTest, RegistersWithTheObjectsConnectorForItsLife)
{
    using HostID = LumindraInt::IObjectsConnectorID;
    const int emitters = Util::ObjectsConnector::emitterCount(HostID::RENDERING_STARTED);
    const int receivers = Util::ObjectsConnector::receiverCount(HostID::LOCALE_CHANGED);
    auto controller = OpenFile(Photo("a.jpg"));
    // The controller and its scene both emit renderingStarted.
    EXPECT_GE(Util::ObjectsConnector::emitterCount(HostID::RENDERING_STARTED), emitters + 1);
    EXPECT_EQ(Util::ObjectsConnector::receiverCount(HostID::LOCALE_CHANGED), receivers + 1);

    // A scene without a view, or with a view that is not scalable, has no view to hand out.
    EXPECT_EQ(controller->GetView(), nullptr);
    QGraphicsView plain(controller->GetScene());
    EXPECT_EQ(controller->GetView(), nullptr);

    auto* object = dynamic_cast<QObject*>(controller.get());
    ASSERT_TRUE(object);
    QSignalSpy rendering(object, SIGNAL(renderingStarted(bool)));
    const QImage snapshot = controller->GetSnapshot();
    EXPECT_FALSE(snapshot.isNull());
    ASSERT_EQ(rendering.count(), 2);
    EXPECT_TRUE(rendering[0][0].toBool());
    EXPECT_FALSE(rendering[1][0].toBool());

    controller.reset();
    EXPECT_EQ(Util::ObjectsConnector::receiverCount(HostID::LOCALE_CHANGED), receivers);
}

TEST_F(WorkspaceControllerTest, TheStyleSheetSetsTheWorkspaceColour)
{
    const std::string photo = TS::TestDataPathUtf8(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg"));
    const QString previous = qApp->styleSheet();
    qApp->setStyleSheet(
        QStringLiteral("Quelto--Lumindra--WorkspaceScenePropertyHelper { qproperty-sceneColor: \"#2b3c4d\"; }"));
    const auto themed = OpenFile(photo);
    qApp->setStyleSheet(previous);
    const auto plain = OpenFile(photo);

    auto colourOf = [](const std::shared_ptr<IWorkspaceController>& c) {
        return static_cast<WorkspaceScene*>(c->GetScene())->GetSceneColor().name();
    };
    EXPECT_EQ(colourOf(themed), QStringLiteral("#2b3c4d"));
    EXPECT_EQ(colourOf(plain), QStringLiteral("#1a1a1a")) << "without a rule the default stays";
}

TEST_F(WorkspaceControllerTest, FailedOpenBuildsNothingAndLeavesTheCursor)
{
    const int controllers = statistics_.GetControllersCreated();
    EXPECT_THROW(OpenFile(sandbox_.FilePathUtf8("missing.jpg")), Core::Exception);
    EXPECT_EQ(statistics_.GetControllersCreated(), controllers);
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
}

} // namespace
} // namespace Quelto::Lumindra

// The provider against the real editing core and real photographs: reuse and rejection of cached
// cores, the per-file lock between the UI and the worker, the retry after a failed load, the
// memory alert, the preload worker's request handling, the controller stack and the
// objects-connector wiring.

#include <atomic>
#include <memory>
#include <set>
#include <thread>

#include <QFile>
#include <QSignalSpy>

#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "CaseName.h"
#include "ProviderFixture.h"
#include "TestCore.h"
#include "proc/EffectSettings.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;

using TS::CoreRecorder;
using PhotoCore::PhotoCorePtr;

PhotoCorePtr Open(WorkspaceControllerProvider& provider, const std::string& path)
{
    return provider.GetCore(ioPath(path), std::string(), QPixmap(), PhotoCore::ImageSourceFile);
}

void Edit(const PhotoCorePtr& core)
{
    core->ApplyEffect(Proc::EffectSettingsImpl::Create(Proc::SettingsRotate(1)));
    ASSERT_TRUE(core->WaitForIdle(TS::kDefaultWaitMs));
}

class ProviderTest : public TS::ProviderFixture {
protected:
    // Waits until the worker has finished everything asked before: the sentinel, the last name
    // of a fresh request, is built only after the worker took that request.
    void FlushWorker(const std::string& keep = {})
    {
        const std::string sentinel = Photo(QStringLiteral("sentinel%1.jpg").arg(++sentinels_));
        provider_->OnFilePreloadRequest({"first", "second", keep.empty() ? sentinel : keep, sentinel});
        ASSERT_TRUE(TS::WaitUntil([&] { return provider_->GetCache().Find(Name(sentinel)) != nullptr; }));
    }
    // A text file that calls itself a JPEG.
    std::string NotAnImage(const QString& name)
    {
        QFile file(sandbox_.FilePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("this is no picture\n");
        return file.fileName().toStdString();
    }
    // A provider that builds through the recorder_.
    WorkspaceControllerProvider& Provider(bool sessionMode = false, bool preloadEnabled = true)
    {
        provider_ = std::make_unique<WorkspaceControllerProvider>(sessionMode, nullptr, preloadEnabled);
        recorder_.Install(*provider_);
        return *provider_;
    }

    CoreRecorder recorder_; // outlives the provider, whose worker calls it
    std::unique_ptr<WorkspaceControllerProvider> provider_;
    int sentinels_ = 0;
};

TEST_F(ProviderTest, UnchangedCachedCoreIsHandedOutAgain)
{
    auto& provider = Provider();
    const std::string a = Photo("a.jpg");
    TS::LogCapture log(30);

    PhotoCorePtr first = Open(provider, a);
    PhotoCorePtr second = Open(provider, a);
    EXPECT_EQ(first, second);
    EXPECT_EQ(recorder_.Count(Name(a)), 1);
    EXPECT_EQ(log.Count(Name(a) + " would be created"), 1);
    EXPECT_EQ(log.Count(Name(a) + " already cached"), 1);
    EXPECT_TRUE(log.Contains("Temporary folder:" + first->GetIOEngine().GetSessionFolder().utf8string()));
    EXPECT_EQ(provider.GetCache().GetCurrentName(), Name(a));
    // The UI's open returns with the preview; only the worker waits for the full frame.
    ASSERT_EQ(recorder_.Builds().size(), 1u);
    EXPECT_FALSE(recorder_.Builds()[0].waitForFullFrame);
    EXPECT_TRUE(recorder_.Builds()[0].fresh);
}

struct RejectCase {
    const char* what;
    bool sessionMode; // reuses every cached core without asking
    bool edit;        // the core holds an edit (first question)
    bool replaceFile; // the file changed on disk (second question)
};

class ProviderRejectTest : public ProviderTest, public ::testing::WithParamInterface<RejectCase> {};

TEST_P(ProviderRejectTest, CachedCoreThatFailsTheCheckIsRebuiltNotFresh)
{
    const RejectCase& c = GetParam();
    auto& provider = Provider(c.sessionMode);
    const std::string a = Photo("a.jpg");
    PhotoCorePtr first = Open(provider, a);
    ASSERT_TRUE(first->WaitForIdle(TS::kDefaultWaitMs));
    if (c.edit)
        Edit(first);
    if (c.replaceFile) {
        QFile::remove(QString::fromStdString(a));
        sandbox_.CopyTestData(QStringLiteral("exif-samples/jpg/Nikon_D70.jpg"), QStringLiteral("a.jpg"));
    }
    TS::LogCapture log(30);

    PhotoCorePtr second = Open(provider, a);
    if (c.sessionMode) {
        EXPECT_EQ(second, first);
        EXPECT_EQ(recorder_.Count(Name(a)), 1);
        return;
    }
    EXPECT_NE(first, second);
    EXPECT_EQ(log.Count(Name(a) + " would be recreated"), 1);
    const auto builds = recorder_.Builds();
    ASSERT_EQ(builds.size(), 2u);
    EXPECT_TRUE(builds[0].fresh);
    EXPECT_FALSE(builds[1].fresh);
    EXPECT_EQ(provider.GetCache().Find(Name(a)), second) << "the rebuilt core replaces the rejected one";
    EXPECT_EQ(second->GetUndoCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(Check, ProviderRejectTest,
                         ::testing::Values(RejectCase {"an unsaved edit", false, true, false},
                                           RejectCase {"the file replaced on disk", false, false, true},
                                           RejectCase {"session mode keeps an edited core", true, true, false},
                                           RejectCase {"session mode keeps a core of a replaced file", true, false, true}),
                         TS::CaseNamer());

TEST_F(ProviderTest, FailedLoadIsRetriedOnceAfterEmptyingTheCache)
{
    auto& provider = Provider();
    const std::string a = Photo("a.jpg"), b = Photo("b.jpg"), broken = NotAnImage("broken.jpg");
    Open(provider, a);
    recorder_.FailNext(Name(b), 1);
    TS::LogCapture log(30);

    EXPECT_TRUE(Open(provider, b));
    EXPECT_EQ(recorder_.Count(Name(b)), 2);
    EXPECT_EQ(log.Count("Trying to cleanup the cache and load again"), 1);
    EXPECT_EQ(provider.GetCache().GetNames(), std::vector<std::string> {Name(b)})
        << "the clean-up keeps only the file being opened";

    // A second failure reaches the caller; the open file stays current.
    EXPECT_THROW(Open(provider, broken), Core::Exception);
    EXPECT_EQ(recorder_.Count(Name(broken)), 2) << "one retry, no more";
    EXPECT_EQ(provider.GetCache().GetCurrentName(), Name(b));
    EXPECT_FALSE(provider.GetCache().Find(Name(broken)));
}

TEST_F(ProviderTest, ImageScaledDownForMemoryIsAnnounced)
{
    auto& provider = Provider();
    {
        TS::ScopedAlertAnswer alerts(QDialogButtonBox::Ok);
        Open(provider, Photo("normal.jpg"));
        EXPECT_EQ(alerts.Count(), 0);
    }
    recorder_.SetPixelLimit(1'000); // the photograph has 6,800 pixels
    TS::ScopedAlertAnswer alerts(QDialogButtonBox::Ok);
    PhotoCorePtr core = Open(provider, Photo("large.jpg"));
    ASSERT_TRUE(core);
    EXPECT_TRUE(core->GetProcessing().IsScaledForMemory());
    ASSERT_EQ(alerts.Count(), 1);
    EXPECT_EQ(alerts.Texts()[0], QStringLiteral("Due to memory limitation image was resized for processing"));
    EXPECT_EQ(alerts.Levels()[0], 0);
}

TEST_F(ProviderTest, UiAndWorkerRequestsForOneFileBuildOneCore)
{
    auto& provider = Provider();
    // Each round races a foreground open against the worker's preload of the same file.
    for (int i = 0; i < 6; ++i) {
        const std::string file = Photo(QStringLiteral("race%1.jpg").arg(i));
        provider.OnFilePreloadRequest({"first", "second", file});
        PhotoCorePtr core = Open(provider, file);
        FlushWorker(file);
        EXPECT_EQ(recorder_.Count(Name(file)), 1) << "round " << i;
        EXPECT_EQ(provider.GetCache().Find(Name(file)), core) << "round " << i;
    }
}

TEST_F(ProviderTest, WorkerPreloadsFromTheThirdNameWithFullFramesAndSkipsFailures)
{
    auto& provider = Provider();
    const std::string one = Photo("one.jpg"), two = Photo("two.jpg"), three = Photo("three.jpg"),
                      four = Photo("four.jpg"), five = Photo("five.jpg"), broken = NotAnImage("broken.jpg");
    recorder_.FailNext(Name(four), 1);
    TS::LogCapture log(30);
    provider.OnFilePreloadRequest({one, two, three, broken, four, five});
    ASSERT_TRUE(TS::WaitUntil([&] { return provider.GetCache().Find(Name(five)) != nullptr; }));

    // A failed file is logged and skipped; the round goes on.
    EXPECT_EQ(log.Count("Backgrownd code loading failed"), 2);
    EXPECT_FALSE(provider.GetCache().Find(Name(broken)));
    EXPECT_FALSE(provider.GetCache().Find(Name(four)));
    EXPECT_EQ(recorder_.Names(), (std::vector<std::string> {Name(three), Name(broken), Name(four), Name(five)}));
    for (const auto& build : recorder_.Builds()) {
        EXPECT_TRUE(build.waitForFullFrame);
        EXPECT_NE(build.thread, std::this_thread::get_id());
    }
    EXPECT_TRUE(provider.GetCache().Find(Name(three))->GetProcessing().IsFullFrameReady());
    // Opening a preloaded neighbour takes its core as it is.
    EXPECT_EQ(Open(provider, three), provider.GetCache().Find(Name(three)));
    EXPECT_EQ(recorder_.Count(Name(three)), 1);
}

TEST_F(ProviderTest, RequestOfTwoNamesPreloadsNothingButCleansTheCache)
{
    auto& provider = Provider();
    const std::string a = Photo("a.jpg"), b = Photo("b.jpg"), c = Photo("c.jpg");
    Open(provider, a);
    Open(provider, b);
    ASSERT_EQ(provider.GetCache().GetSize(), 2u);

    provider.OnFilePreloadRequest({b, c});
    ASSERT_TRUE(TS::WaitUntil([&] { return !provider.GetCache().Find(Name(a)); }));
    FlushWorker();
    EXPECT_EQ(recorder_.Count(Name(c)), 0);
}

TEST_F(ProviderTest, NewestPreloadRequestWinsAndInterruptsARoundBetweenFiles)
{
    auto& provider = Provider();
    const std::string c1 = Photo("c1.jpg"), c2 = Photo("c2.jpg"), d1 = Photo("d1.jpg"), e1 = Photo("e1.jpg");

    recorder_.HoldNextWorkerBuild();
    provider.OnFilePreloadRequest({"x", "y", c1, c2});
    ASSERT_TRUE(recorder_.WaitHeld());
    // Two requests while the worker is busy: the second replaces the first in the queue.
    provider.OnFilePreloadRequest({"x", "y", d1});
    provider.OnFilePreloadRequest({"x", "y", e1});
    provider.OnFilePreloadRequest({}); // an empty request is ignored
    recorder_.Release();

    ASSERT_TRUE(TS::WaitUntil([&] { return provider.GetCache().Find(Name(e1)) != nullptr; }));
    EXPECT_EQ(recorder_.Names(), (std::vector<std::string> {Name(c1), Name(e1)}))
        << "the round stops after its current file and the older request is never served";
    EXPECT_FALSE(provider.GetCache().Find(Name(c1))) << "the newest request's clean-up drops what it does not want";
}

TEST_F(ProviderTest, PreloadNeverFillsTheCacheBeyondTheBound)
{
    // Cores of a given size stand in for large photographs.
    constexpr std::uint64_t kCoreSize = 300'000'000;
    std::atomic<int> built {0};
    WorkspaceControllerProvider provider(false, nullptr, true);
    auto factory = WorkspaceControllerProvider::DefaultCoreFactory();
    factory.createFromFile = [&](const ioPath&, const std::string&, const PhotoCore::CoreCreateOptions&) {
        ++built;
        return PhotoCorePtr(new TS::TestCore(kCoreSize));
    };
    provider.SetCoreFactory(factory);

    std::vector<std::string> request {"x", "y"};
    for (int i = 0; i < 5; ++i)
        request.push_back(sandbox_.FilePathUtf8(QStringLiteral("n%1.jpg").arg(i)));
    provider.OnFilePreloadRequest(request);
    ASSERT_TRUE(TS::WaitUntil([&] { return provider.GetCache().Find(Name(request[3])) != nullptr; }));

    // A request of two names is taken only after the round ended; its clean-up empties the cache.
    provider.OnFilePreloadRequest({"x", "y"});
    ASSERT_TRUE(TS::WaitUntil([&] { return provider.GetCache().GetSize() == 0u; }));
    // Two cores fit; a third would pass the bound, since an unknown file counts as large as the
    // largest core seen.
    EXPECT_EQ(built.load(), 2);
}

TEST_F(ProviderTest, CoreCacheSettingAndHostFlagSwitchPreloadingOff)
{
    struct Case {
        bool setting, hostFlag;
    };
    for (Case c : {Case {false, true}, Case {true, false}}) {
        Util::SettingsManager::Instance().SetValue(Util::Settings::Name(Util::Settings::CORE_CACHE_ENABLED), c.setting);
        TS::LogCapture log(30);
        CoreRecorder recorder;
        WorkspaceControllerProvider provider(false, nullptr, c.hostFlag);
        recorder.Install(provider);
        EXPECT_EQ(provider.IsCoreCacheEnabled(), c.setting);
        EXPECT_FALSE(provider.IsPreloading());
        EXPECT_EQ(log.Contains("Core cache disabled"), !c.setting);
        EXPECT_EQ(log.Contains("Core cache enabled"), c.setting);

        const std::string a = Photo("a.jpg");
        provider.OnFilePreloadRequest({"x", "y", a});
        // The cache still works for the host's own opens.
        PhotoCorePtr core = Open(provider, a);
        EXPECT_EQ(Open(provider, a), core);
        ASSERT_EQ(recorder.Builds().size(), 1u);
        EXPECT_FALSE(recorder.Builds()[0].waitForFullFrame) << "built by the UI, never by a worker";
    }
    Util::SettingsManager::Instance().Remove(Util::Settings::Name(Util::Settings::CORE_CACHE_ENABLED));
}

TEST_F(ProviderTest, PushThenPopReopensTheFileWithItsEditsAndSkipsTheCheck)
{
    auto& provider = Provider();
    const std::string a = Photo("a.jpg");
    PhotoCorePtr edited = Open(provider, a);
    Edit(edited);
    const QString lockFile = provider.GetCache().GetLockFilePath();
    EXPECT_TRUE(QFile::exists(lockFile));

    provider.OnPushWorkspaceController();
    EXPECT_FALSE(provider.GetCache().Find(Name(a)));
    EXPECT_FALSE(QFile::exists(lockFile));
    edited.reset(); // the host closes the pushed controller

    QSignalSpy opened(&provider, &WorkspaceControllerProvider::openFile);
    provider.OnPopWorkspaceController();
    ASSERT_EQ(opened.count(), 1);
    EXPECT_EQ(opened[0][0].toString().toStdString(), Name(a));

    // The host preloads the file again before it opens it: the worker restores the written-out
    // core, edits included, and the open takes it although it holds an edit.
    provider.OnFilePreloadRequest({"x", "y", a});
    ASSERT_TRUE(TS::WaitUntil([&] { return provider.GetCache().Find(Name(a)) != nullptr; }));
    PhotoCorePtr restored = provider.GetCache().Find(Name(a));
    EXPECT_EQ(restored->GetUndoCount(), 1);
    TS::LogCapture log(30);
    EXPECT_EQ(Open(provider, a), restored);
    EXPECT_EQ(log.Count(" would be recreated"), 0);

    // Once the popped file is back, cached cores are checked again.
    EXPECT_FALSE(provider.GetCache().IsAcceptAll());
    EXPECT_NE(Open(provider, a), restored);
}

// Emits what the host sends through the objects connector.
class HostEmitter : public QObject {
    Q_OBJECT
Q_SIGNALS:
    void preload(const std::vector<std::string>& names);
    void push();
    void pop();
    void reset(const std::string& path);
    void tools(int tools);
};

class HostReceiver : public QObject {
    Q_OBJECT
public:
    QStringList opened;
public Q_SLOTS:
    void AddFileToOpen(const QString& path) { opened << path; }
};

TEST_F(ProviderTest, HostReachesTheProviderThroughTheObjectsConnector)
{
    using Util::ObjectsConnector;
    using ModuleID = Workspace::IObjectsConnectorID;
    using HostID = LumindraInt::IObjectsConnectorID;
    HostEmitter host;
    HostReceiver receiver;
    ObjectsConnector::registerEmitter(ModuleID::FILE_PRELOAD_REQUEST, &host, "2preload(const std::vector<std::string>&)");
    ObjectsConnector::registerEmitter(ModuleID::PUSH_WORKSPACECONTROLLER, &host, "2push()");
    ObjectsConnector::registerEmitter(ModuleID::POP_WORKSPACECONTROLLER, &host, "2pop()");
    ObjectsConnector::registerEmitter(ModuleID::RESET_WORKSPACECONTROLLER_CACHE, &host, "2reset(const std::string&)");
    ObjectsConnector::registerEmitter(HostID::ACTIVATE_TOOL_WIDGET, &host, "2tools(int)");
    ObjectsConnector::registerReceiver(HostID::OPEN_FILE, &receiver, "1AddFileToOpen(const QString&)");

    auto& provider = Provider();
    const std::string a = Photo("a.jpg"), b = Photo("b.jpg"), c = Photo("c.jpg");

    EXPECT_EQ(provider.GetCache().GetCurrentTools(), -1);
    Q_EMIT host.tools(7);
    EXPECT_EQ(provider.GetCache().GetCurrentTools(), 7);

    Q_EMIT host.preload({a, b, c});
    ASSERT_TRUE(TS::WaitUntil([&] { return provider.GetCache().Find(Name(c)) != nullptr; }));
    Q_EMIT host.reset(sandbox_.FilePathUtf8("never-opened.jpg"));
    EXPECT_TRUE(provider.GetCache().Find(Name(c))) << "resetting a file that is not cached changes nothing";
    Q_EMIT host.reset(c);
    EXPECT_FALSE(provider.GetCache().Find(Name(c)));

    Open(provider, a);
    Q_EMIT host.push();
    EXPECT_EQ(provider.GetCache().GetControllerStack(), std::vector<std::string> {Name(a)});
    Q_EMIT host.pop();
    EXPECT_EQ(receiver.opened, QStringList {QString::fromStdString(Name(a))});
}

TEST_F(ProviderTest, DestructionStopsThePreloadRoundAndJoinsTheWorker)
{
    std::vector<std::string> request {"x", "y"};
    for (int i = 0; i < 6; ++i)
        request.push_back(Photo(QStringLiteral("p%1.jpg").arg(i)));
    Provider();
    recorder_.HoldNextWorkerBuild();
    provider_->OnFilePreloadRequest(request);
    ASSERT_TRUE(recorder_.WaitHeld());
    recorder_.Release();
    provider_.reset();
    EXPECT_LE(recorder_.Builds().size(), 2u) << "the worker ends between files once asked to stop";
}

} // namespace
} // namespace Quelto::Lumindra

#include "ProviderTest.moc"

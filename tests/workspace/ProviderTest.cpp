// The provider and its cache against the real editing core and real photographs; test cores stand
// in where a given memory size or check answer is needed.

#include <algorithm>
#include <atomic>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

#include <QSignalSpy>

#include "LumindraWorkspace/WorkspaceController.h"
#include "ProviderFixture.h"
#include "core/PhotoCoreException.h"
#include "core/RefCounted.h"
#include "photocore/IPhotoCore.h"
#include "util/Paths.h"
#include "util/SettingsManager.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;
using PhotoCore::PhotoCorePtr;
using Cache = WorkspaceControllerProvider::Cache;
using Names = std::vector<std::string>;
constexpr std::uint64_t kBound = WorkspaceControllerProvider::kCacheBoundBytes;
constexpr std::uint64_t kMB = 1'000'000;

// A stand-in editing core for the states that a real core reaches only with great effort: a
// given memory size, given answers to the two check questions, a write-out that can be counted.
// Everything else does nothing.
class TestCore : public Core::RefCounted,
                 public PhotoCore::IPhotoCore,
                 private PhotoCore::IPhotoCoreIO,
                 private PhotoCore::IPhotoCoreProcessing,
                 private PhotoCore::IPhotoCoreTracker,
                 private PhotoCore::ICoreEventSource {
public:
    struct Serializer : Core::RefCounted, PhotoUtil::ISerializer {
        explicit Serializer(TestCore& owner) : owner(owner) {}
        std::string SerializeToString(const PhotoUtil::ISerializable&) const override { return {}; }
        void DeserializeFromString(const std::string&, PhotoUtil::ISerializable&) const override {}
        bool WriteOut() override
        {
            if (owner.beforeWriteOut)
                owner.beforeWriteOut();
            return ++owner.writeOuts, owner.writeOutSucceeds.load();
        }
        TestCore& owner;
    };

    TestCore(std::uint64_t memorySize, std::string sessionId) : memorySize(memorySize), sessionId_(std::move(sessionId)) {}

    std::atomic<std::uint64_t> memorySize;
    std::atomic<bool> unsavedChanges {false}, historyOrFileChanged {false}, writeOutSucceeds {true};
    std::atomic<int> writeOuts {0};
    ioPath sessionFolder;
    bool sessionFolderThrows = false; // UI thread only
    bool scaledForMemory = false;
    std::function<void()> beforeWriteOut; // set before the core is shared
    std::atomic<bool> fullFrameReady {true};

    // Ends the decode of the full frame (LOAD_FULL) or fails it (LOAD_FAILED), as the core's
    // thread does, and tells the registered handlers.
    void FinishLoad(int stage)
    {
        fullFrameReady = stage == CoreEventLoaded::LOAD_FULL;
        CoreEventLoaded event;
        event.stage = stage;
        event.text = stage == CoreEventLoaded::LOAD_FULL ? "Loaded" : "Premature end of JPEG file";
        std::lock_guard<std::mutex> lock(handlersMutex_); // held while delivering, as the core does
        for (PhotoCore::ICoreEventHandler* handler : handlers_)
            handler->HandleLoaded(event);
    }

    // IPhotoCore
    IPhotoCoreIO& GetIOEngine() override { return *this; }
    const IPhotoCoreIO& GetIOEngine() const override { return *this; }
    IPhotoCoreTracker& GetTrackerEngine() override { return *this; }
    IPhotoCoreProcessing& GetProcessing() override { return *this; }
    const IPhotoCoreProcessing& GetProcessing() const override { return *this; }
    ICoreEventSource& GetEventSource() override { return *this; }
    boost::intrusive_ptr<PhotoUtil::ISerializer> GetSerializer() override { return new Serializer(*this); }
    void SetColorspaceConverterSettings(const Proc::SettingsColorspaceConverter&) override {}
    void SetLanguage(const std::string&) override {}
    void SetProgressController(const boost::intrusive_ptr<Core::IProgressController>&) override {}
    bool HasUnsavedChanges() const override { return unsavedChanges; }
    bool HasHistoryOrFileChanged() const override { return historyOrFileChanged; }
    std::uint64_t GetMemorySize() const override { return memorySize; }

    // IPhotoCoreDrawer
    Proc::DataVideoPtr GetVideo() const override { return nullptr; }
    Proc::DataVideoPtr GetVideoWithMask() const override { return nullptr; }
    Proc::DataVideoPtr GetOriginalVideo() const override { return nullptr; }
    std::shared_ptr<const PhotoCore::SettingsCore> GetFrameSettings(int) const override { return std::make_shared<PhotoCore::SettingsCore>(frameSettings_); }
    PhotoCore::IDebug* GetDebugEngine() const override { return nullptr; }
    void ApplyEffect(const boost::intrusive_ptr<Proc::IEffectSettings>&) override {}
    void PreviewEffect(const boost::intrusive_ptr<Proc::IEffectSettings>&) override {}
    void CancelPreview() override {}
    AlphaInfo GetAlphaInfo() const override { return {}; }
    void SetDrawable(PhotoCore::IDrawable*) override {}
    bool MayRenderCanvas() const override { return true; }
    Proc::DataVideoPtr GetVideoForRendering() const override { return nullptr; }
    bool HasLayerOfKind(int) const override { return false; }
    bool WaitForIdle(int) const override { return true; }

    // IPhotoCoreUndoBase
    bool CanUndo() const override { return false; }
    bool CanRedo() const override { return false; }
    void Undo() override {}
    void Redo() override {}
    int GetUndoCount() const override { return 0; }
    int GetRedoCount() const override { return 0; }
    std::vector<std::string> GetHistory() const override { return {}; }

private:
    // IPhotoCoreIO
    PhotoCore::MetadataSettings& GetMetadataSettings() override { return metadata_; }
    const PhotoCore::MetadataSettings& GetMetadataSettings() const override { return metadata_; }
    ioPath GetFilePath() const override { return {}; }
    std::string GetSessionId() const override { return sessionId_; }
    ioPath GetSessionFolder() const override
    {
        if (sessionFolderThrows)
            throw 42; // not a std::exception: what a foreign library may throw
        return sessionFolder;
    }
    const PhotoCore::SettingsSave& GetSaveSettings() const override { return save_; }
    SaveResult Save(const PhotoCore::SettingsSave&) override { return SaveResultFailed; }
    std::uint64_t StartSave(const PhotoCore::SettingsSave&) override { return 0; }
    PhotoCore::ICoreEventHandler::CoreEventJobDone WaitForJob(std::uint64_t) override { return {}; }
    std::uint64_t SaveSession() override { return 0; }
    bool IsSaved() const override { return !unsavedChanges; }
    void StoreSelection(const ioPath&, const Proc::DataVideoPtr&) override {}
    Proc::DataVideoPtr LoadSelection(const ioPath&) override { return nullptr; }
    void ReleaseSelection(const ioPath&) override {}
    void MarkOpened() override {}

    // IPhotoCoreProcessing
    bool IsScaledForMemory() const override { return scaledForMemory; }
    Conf::FrameInfo GetSourceFrameInfo() const override { return {}; }
    bool IsFullFrameReady() const override { return fullFrameReady; }

    // IPhotoCoreTracker
    void UpdateStatisticsParameters(std::map<std::string, std::string>&) const override {}
    void Track(const std::string&) override {}

    // ICoreEventSource
    void RegisterCoreEventHandler(PhotoCore::ICoreEventHandler* handler) override
    {
        std::lock_guard<std::mutex> lock(handlersMutex_);
        if (handler)
            handlers_.push_back(handler);
    }
    void UnregisterCoreEventHandler(PhotoCore::ICoreEventHandler* handler) override
    {
        std::lock_guard<std::mutex> lock(handlersMutex_);
        handlers_.erase(std::remove(handlers_.begin(), handlers_.end(), handler), handlers_.end());
    }
    void RegisterDrawerEventHandler(PhotoCore::IDrawerEventHandler*) override {}
    void UnregisterDrawerEventHandler(PhotoCore::IDrawerEventHandler*) override {}

    using CoreEventLoaded = PhotoCore::ICoreEventHandler::CoreEventLoaded;

    std::string sessionId_;
    std::vector<PhotoCore::ICoreEventHandler*> handlers_;
    std::mutex handlersMutex_; // guards handlers_, held while an event is delivered
    PhotoCore::MetadataSettings metadata_;
    PhotoCore::SettingsSave save_;
    PhotoCore::SettingsCore frameSettings_;
};

using TestCorePtr = boost::intrusive_ptr<TestCore>;

// A latch that a test opens once; it opens at the latest when it dies, so that a failing test
// never leaves the worker (and the provider's destructor after it) waiting on it.
class Gate {
public:
    ~Gate() { Open(); }
    void Open() { std::call_once(once_, [this] { promise_.set_value(); }); }
    // For the thread that is held.
    void Wait() const { future_.wait(); }
    // For the test: a bounded wait, false when the gate stayed shut.
    bool Opened() const
    {
        return future_.wait_for(std::chrono::milliseconds(TS::kDefaultWaitMs)) == std::future_status::ready;
    }

private:
    std::promise<void> promise_;
    std::shared_future<void> future_ = promise_.get_future().share();
    std::once_flag once_;
};

// Waits a bounded time for work running on another thread.
template <class T>
bool Done(const std::future<T>& work)
{
    return work.wait_for(std::chrono::milliseconds(TS::kDefaultWaitMs)) == std::future_status::ready;
}

PhotoCorePtr Open(WorkspaceControllerProvider& provider, const std::string& path)
{
    return provider.GetCore(ioPath(path), std::string(), QPixmap(), PhotoCore::ImageSourceFile);
}

class ProviderTest : public TS::ProviderFixture {
protected:
    struct Build { std::string name; bool fresh, byWorker; };

    // A provider whose real factory records each build, holds the worker's next build while
    // `holdNext` is set, runs `beforeBuild`, throws for the next `failCount` builds of `failName`,
    // and hands out `standIn` for `standInName`.
    WorkspaceControllerProvider& Provider(bool sessionMode = false)
    {
        provider_ = std::make_unique<WorkspaceControllerProvider>(sessionMode, nullptr, true);
        auto factory = WorkspaceControllerProvider::DefaultCoreFactory();
        factory.createFromFile = [this, real = factory.createFromFile](const ioPath& path, const std::string& key,
                                                                        const PhotoCore::CoreCreateOptions& options) {
            const bool byWorker = std::this_thread::get_id() != uiThread_;
            const std::string name = Name(path.utf8string());
            {
                std::lock_guard<std::mutex> lock(mutex_);
                builds_.push_back({name, options.fresh, byWorker});
            }
            if (byWorker && holdNext.exchange(false)) {
                held.set_value();
                release.get_future().wait();
            }
            if (beforeBuild)
                beforeBuild(name);
            {
                std::lock_guard<std::mutex> lock(mutex_);
                if (name == failName && failCount-- > 0)
                    throw PhotoCore::PhotoCoreException("Test failure while opening " + path.utf8string());
            }
            if (standIn && name == standInName) {
                standIn->GetEventSource().RegisterCoreEventHandler(options.coreEventHandler);
                return PhotoCorePtr(standIn);
            }
            return real(path, key, options);
        };
        provider_->SetCoreFactory(factory);
        return *provider_;
    }
    std::vector<Build> Builds()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return builds_;
    }
    Names BuiltNames()
    {
        Names names;
        for (const Build& b : Builds())
            names.push_back(b.name);
        return names;
    }
    int Count(const std::string& path)
    {
        const Names names = BuiltNames();
        return static_cast<int>(std::count(names.begin(), names.end(), Name(path)));
    }
    bool WaitCached(const std::string& path)
    {
        return TS::WaitUntil([&] { return provider_->GetCache().Find(Name(path)) != nullptr; });
    }
    // A test core of `size` bytes whose session folder exists, cached under `name`.
    TestCorePtr Put(Cache& cache, const std::string& name, std::uint64_t size)
    {
        TestCorePtr core(new TestCore(size, "sid-" + name));
        core->sessionFolder = ioPath(Util::GetTempDirPath() + "sid-" + name);
        QDir().mkpath(QString::fromStdString(core->sessionFolder.utf8string()));
        cache.Add(name, core);
        return core;
    }

    const std::thread::id uiThread_ = std::this_thread::get_id();
    std::mutex mutex_; // guards builds_ and failCount, which the worker uses
    std::vector<Build> builds_;
    std::string failName;
    int failCount = 0;
    std::atomic<bool> holdNext {false};
    std::promise<void> held, release;
    std::function<void(const std::string& name)> beforeBuild; // set before the first request
    TestCorePtr standIn;
    std::string standInName;
    std::unique_ptr<WorkspaceControllerProvider> provider_; // dies first: its worker uses the above
};

TEST_F(ProviderTest, CachedCoreIsReusedUnlessTheCheckRejectsItThenRebuiltNotFresh)
{
    struct Case { const char* what; bool sessionMode, edit, replaceFile, reused; };
    int n = 0;
    for (const Case& c : {Case {"unchanged", false, false, false, true}, Case {"unsaved edit", false, true, false, false},
                          Case {"file replaced on disk", false, false, true, false},
                          Case {"session mode keeps an edited core", true, true, false, true},
                          Case {"session mode keeps a replaced file's core", true, false, true, true}}) {
        SCOPED_TRACE(c.what);
        auto& provider = Provider(c.sessionMode);
        const QString fileName = QStringLiteral("a%1.jpg").arg(++n);
        const std::string a = Photo(fileName);
        TS::LogCapture log(30);
        PhotoCorePtr first = Open(provider, a);
        ASSERT_TRUE(first->WaitForIdle(TS::kDefaultWaitMs));
        if (c.edit)
            Edit(*first);
        if (c.replaceFile && QFile::remove(QString::fromStdString(a)))
            sandbox_.CopyTestData(QStringLiteral("exif-samples/jpg/Nikon_D70.jpg"), fileName);

        PhotoCorePtr second = Open(provider, a);
        EXPECT_EQ(second == first, c.reused);
        EXPECT_EQ(log.Count(Name(a) + " would be created"), 1);
        EXPECT_EQ(log.Count(Name(a) + " already cached"), 1);
        EXPECT_EQ(log.Count(Name(a) + " would be recreated"), c.reused ? 0 : 1);
        EXPECT_EQ(second->GetUndoCount(), c.reused && c.edit ? 1 : 0);
        ASSERT_EQ(Count(a), c.reused ? 1 : 2);
        EXPECT_EQ(Builds().back().fresh, c.reused) << "a rebuild is not fresh";
        EXPECT_FALSE(Builds().back().byWorker) << "a foreground open returns with the preview";
    }
}

// The retry's clean-up must keep the core of the picture that is open, not the one of the file
// that failed: in session mode that core would otherwise leave the cache while its picture is
// still being edited, and a later push or reopen would lose its edits.
TEST_F(ProviderTest, FailedLoadIsRetriedOnceAfterEmptyingTheCacheDownToTheOpenPicture)
{
    for (const bool sessionMode : {false, true}) {
        SCOPED_TRACE(sessionMode ? "session mode" : "plain");
        auto& provider = Provider(sessionMode);
        const std::string a = Photo("a.jpg"), b = Photo("b.jpg"), c = Photo("c.jpg"), broken = NotAnImage("broken.jpg");
        Open(provider, c); // a neighbour the clean-up drops
        PhotoCorePtr open = Open(provider, a);
        Edit(*open);
        failName = Name(b);
        failCount = 1;
        TS::LogCapture log(30);

        EXPECT_TRUE(Open(provider, b));
        EXPECT_EQ(Count(b), 2);
        EXPECT_EQ(log.Count("Trying to cleanup the cache and load again"), 1);
        EXPECT_EQ(provider.GetCache().GetNames(), (Names {Name(a), Name(b)}))
            << "the clean-up keeps only the open picture's core; the retried file joins it";
        EXPECT_EQ(provider.GetCache().GetCurrentName(), Name(b));

        // A second failure reaches the caller; the open picture stays current and cached.
        EXPECT_THROW(Open(provider, broken), Core::Exception);
        EXPECT_EQ(Count(broken), 2) << "one retry, no more";
        EXPECT_EQ(provider.GetCache().GetCurrentName(), Name(b));
        EXPECT_FALSE(provider.GetCache().Find(Name(broken)));
        EXPECT_TRUE(provider.GetCache().Find(Name(b)));
        EXPECT_TRUE(provider.GetCache().GetSessionStore().GetDumpedNames().empty()) << "nothing was written out";
        provider_.reset();
        open.reset();
        builds_.clear();
        Util::SettingsManager::Instance().Remove(kIdList);
    }
}

TEST_F(ProviderTest, UiAndWorkerRequestsForOneFileBuildOneCore)
{
    auto& provider = Provider();
    // Each round races a foreground open against the worker's preload of the same file.
    for (int i = 0; i < 6; ++i) {
        const std::string file = Photo(QStringLiteral("race%1.jpg").arg(i));
        const std::string sentinel = Photo(QStringLiteral("sentinel%1.jpg").arg(i));
        provider.OnFilePreloadRequest({"first", "second", file});
        PhotoCorePtr core = Open(provider, file);
        // The worker builds the sentinel only once it is done with the first request.
        provider.OnFilePreloadRequest({"first", "second", file, sentinel});
        ASSERT_TRUE(WaitCached(sentinel));
        EXPECT_EQ(Count(file), 1) << "round " << i;
        EXPECT_EQ(provider.GetCache().Find(Name(file)), core) << "round " << i;
    }
}

// Without the core cache there is no worker; with it, a request of two names or fewer is only
// the current file and its neighbour, which the host has already.
TEST_F(ProviderTest, NoPreloadWithoutTheCacheOrBeyondTheSecondName)
{
    const QString enabledKey = Util::Settings::Name(Util::Settings::CORE_CACHE_ENABLED);
    struct Case { const char* what; bool cacheEnabled; bool preloads; };
    for (const Case& c : {Case {"cache disabled", false, false}, Case {"cache enabled", true, true}}) {
        SCOPED_TRACE(c.what);
        Util::SettingsManager::Instance().SetValue(enabledKey, c.cacheEnabled);
        auto& provider = Provider();
        Util::SettingsManager::Instance().Remove(enabledKey);
        EXPECT_EQ(provider.IsPreloading(), c.preloads);
        if (!c.preloads)
            continue;
        // The clean-up that still runs drops the older file: the request has been served.
        const std::string older = Photo("older.jpg"), current = Photo("current.jpg"), near = Photo("near.jpg");
        Open(provider, older);
        Open(provider, current);
        provider.OnFilePreloadRequest({"x", near});
        ASSERT_TRUE(TS::WaitUntil([&] { return !provider.GetCache().Find(Name(older)); }));
        EXPECT_EQ(Count(near), 0);
    }
}

// The worker preloads only while what the cache keeps fits the bound: a neighbour that would
// pass it (at the largest size seen, its own being unknown) is left for the host to open.
TEST_F(ProviderTest, WorkerStopsAtTheCacheBound)
{
    auto& provider = Provider();
    const std::string shown = Photo("shown.jpg"), next = Photo("next.jpg"), far = Photo("far.jpg");
    const TestCorePtr big = Put(provider.GetCache(), Name(shown), kBound - kMB);
    TS::LogCapture log(30);
    provider.OnFilePreloadRequest({shown, next, far});
    ASSERT_TRUE(TS::WaitUntil([&] { return log.Count("Preloading stops at the cache bound before") == 1; }));
    EXPECT_EQ(Count(far), 0);
    EXPECT_TRUE(provider.GetCache().Find(Name(shown))) << "a wanted core is kept";
}

// A core that had to be scaled down to fit in memory is handed out after the user was told.
TEST_F(ProviderTest, ACoreScaledForMemoryIsAnnouncedOnce)
{
    auto& provider = Provider();
    const std::string file = Photo("huge.jpg");
    standIn = new TestCore(kMB, "huge");
    standIn->scaledForMemory = true;
    standInName = Name(file);
    TS::ScopedAlertAnswer alerts(QDialogButtonBox::Ok);
    EXPECT_EQ(Open(provider, file), PhotoCorePtr(standIn));
    EXPECT_EQ(alerts.Texts(), QStringList {QStringLiteral("Due to memory limitation image was resized for processing")});
}

TEST_F(ProviderTest, WorkerServesTheNewestRequestFromItsThirdNameAndSkipsFailures)
{
    auto& provider = Provider();
    const std::string c1 = Photo("c1.jpg"), c2 = Photo("c2.jpg"), d1 = Photo("d1.jpg"), one = Photo("one.jpg"),
                      two = Photo("two.jpg"), three = Photo("three.jpg"), broken = NotAnImage("broken.jpg"),
                      four = Photo("four.jpg"), five = Photo("five.jpg");
    failName = Name(four);
    failCount = 1;
    holdNext = true;
    provider.OnFilePreloadRequest({"x", "y", c1, c2});
    ASSERT_EQ(held.get_future().wait_for(std::chrono::milliseconds(TS::kDefaultWaitMs)), std::future_status::ready);
    TS::LogCapture log(30);
    provider.OnFilePreloadRequest({"x", "y", d1});
    provider.OnFilePreloadRequest({one, two, three, broken, four, five});
    provider.OnFilePreloadRequest({}); // an empty request is ignored
    release.set_value();

    ASSERT_TRUE(WaitCached(five));
    EXPECT_EQ(BuiltNames(), (Names {Name(c1), Name(three), Name(broken), Name(four), Name(five)}))
        << "the round stops after its current file, the older waiting request is never served, and a failure "
           "does not end a round";
    EXPECT_EQ(log.Count("Backgrownd code loading failed"), 2);
    for (const std::string& dropped : {c1, broken, four})
        EXPECT_FALSE(provider.GetCache().Find(Name(dropped))) << dropped;
    for (const Build& build : Builds())
        EXPECT_TRUE(build.byWorker);
    EXPECT_TRUE(provider.GetCache().Find(Name(three))->GetProcessing().IsFullFrameReady());
    EXPECT_EQ(Open(provider, three), provider.GetCache().Find(Name(three)));
    EXPECT_EQ(Count(three), 1);
}

TEST_F(ProviderTest, HostPushesAndPopsThroughTheConnectorAndThePoppedCoreSkipsTheCheck)
{
    TS::Host host;
    auto& provider = Provider();
    const std::string a = Photo("a.jpg"), b = Photo("b.jpg");
    PhotoCorePtr edited = Open(provider, a);
    Edit(*edited);
    const QString lockFile = provider.GetCache().GetSessionStore().GetLockFilePath();
    EXPECT_TRUE(QFile::exists(lockFile));

    Q_EMIT host.push();
    EXPECT_EQ(provider.GetCache().GetControllerStack(), Names {Name(a)});
    EXPECT_FALSE(provider.GetCache().Find(Name(a)));
    EXPECT_FALSE(QFile::exists(lockFile));
    edited.reset(); // the host closes the pushed controller
    Q_EMIT host.pop();
    EXPECT_EQ(host.opened, QStringList {QString::fromStdString(Name(a))});

    // The host preloads the file before it opens it: the worker restores the written-out core,
    // edits included, and the open takes it although it holds an edit.
    Q_EMIT host.preload({"x", "y", a, b});
    ASSERT_TRUE(WaitCached(b));
    PhotoCorePtr restored = provider.GetCache().Find(Name(a));
    ASSERT_TRUE(restored);
    EXPECT_EQ(restored->GetUndoCount(), 1);
    EXPECT_EQ(Open(provider, a), restored);
    EXPECT_NE(Open(provider, a), restored) << "once the popped file is back, cores are checked again";

    Q_EMIT host.reset(b);
    EXPECT_FALSE(provider.GetCache().Find(Name(b)));
}

// Saving the session preview swallows whatever is thrown: it runs from a timer with no caller to
// report to.
TEST_F(ProviderTest, SessionPreviewSurvivesAnythingThrown)
{
    Util::SettingsManager::Instance().SetValue(Util::Settings::Name(Util::Settings::SHOW_LAST_SESSION), true);
    auto& provider = Provider();
    const std::string file = Photo("stand-in.jpg");
    standIn = new TestCore(kMB, "stand-in");
    standInName = Name(file);
    const auto controller = WorkspaceController::Create(provider, ioPath(file), {});
    standIn->sessionFolderThrows = true;
    TS::LogCapture log;
    EXPECT_NO_THROW(controller->SaveSession());
    EXPECT_TRUE(log.Contains("Cannot save session preview"));
    standIn->sessionFolderThrows = false;
}

TEST_F(ProviderTest, CleanupKeepsWantedEntriesAndEvictsFromTheLastWantedNameUntilWithinTheBound)
{
    // `grown`: what core a holds beyond its size when it was cached.
    struct Case { const char* what; std::uint64_t a, b, c, extra; Names wanted, left; std::uint64_t total; bool cIsCurrent; std::uint64_t grown; };
    const Names abc {"a", "b", "c"};
    for (const Case& c :
         {Case {"exactly the bound evicts nothing", 300 * kMB, 300 * kMB, 100 * kMB, 0, abc, abc, kBound, false, 0},
          Case {"one byte over evicts the last wanted name", 300 * kMB, 300 * kMB, 100 * kMB + 1, 0, abc, {"a", "b"},
                600 * kMB, false, 0},
          Case {"the extra size counts", 300 * kMB, 300 * kMB, 50 * kMB, 50 * kMB + 1, abc, {"a", "b"}, 650 * kMB + 1,
                false, 0},
          Case {"evicts on until within", 400 * kMB, 400 * kMB, 50 * kMB, 0, abc, {"a"}, 400 * kMB, false, 0},
          Case {"stops when the list is exhausted", 1, 1, 1, 2 * kBound, abc, {}, 2 * kBound, false, 0},
          Case {"the current core is neither evicted nor counted", 200 * kMB, 500 * kMB + 1, 3 * kBound, 0, abc,
                {"a", "c"}, 200 * kMB, true, 0},
          Case {"an empty list keeps the current core", 10, 10, 10, 0, {}, {"c"}, 0, true, 0},
          Case {"a core counts at what it holds now, grown since it was cached", 300 * kMB, 300 * kMB, 100 * kMB, 0,
                abc, {"a", "b"}, kBound, false, 100 * kMB}}) {
        SCOPED_TRACE(c.what);
        Cache cache(false);
        TestCorePtr a = Put(cache, "a", c.a);
        Put(cache, "b", c.b);
        Put(cache, "c", c.c);
        a->memorySize += c.grown;
        if (c.cIsCurrent)
            cache.SetCurrentName("c");
        TS::LogCapture log(30);
        EXPECT_EQ(cache.CleanupCache(c.extra, c.wanted), c.total);
        EXPECT_EQ(cache.GetNames(), c.left);
        if (c.wanted == abc) { // names that are not wanted go without a word
            EXPECT_EQ(log.Count(" removing from cache"), 3 - static_cast<int>(c.left.size()));
        }
    }
}

TEST_F(ProviderTest, EvictedCoreIsForgottenOrWrittenOutForALaterSession)
{
    struct Case { const char* what; bool sessionMode, unsaved, history, writeOutSucceeds; int writeOuts; bool dumped, kept; };
    const std::string name = "/photos/a.jpg";
    for (const Case& c :
         {Case {"without session mode an edited core is dropped", false, true, true, true, 0, false, false},
          Case {"an unsaved edit is written out", true, true, false, true, 1, true, false},
          Case {"a history is written out", true, false, true, true, 1, true, false},
          Case {"a core without edits is not written", true, false, false, true, 0, false, false},
          Case {"a failed write-out keeps the core and its edits in memory", true, true, true, false, 1, false, true}}) {
        SCOPED_TRACE(c.what);
        Cache cache(c.sessionMode);
        std::vector<std::pair<std::string, bool>> told;
        cache.SetWriteOutListener([&](const std::string& n, bool written) { told.emplace_back(n, written); });
        TestCorePtr core = Put(cache, name, kBound + 1);
        core->unsavedChanges = c.unsaved;
        core->historyOrFileChanged = c.history;
        core->writeOutSucceeds = c.writeOutSucceeds;

        cache.CleanupCache(0, {name});
        EXPECT_EQ(cache.GetSize(), c.kept ? 1u : 0u);
        EXPECT_EQ(cache.Find(name) == core, c.kept);
        EXPECT_EQ(core->writeOuts.load(), c.writeOuts);
        EXPECT_EQ(told.size(), static_cast<std::size_t>(c.writeOuts));
        if (!told.empty()) {
            EXPECT_EQ(told[0], std::make_pair(name, c.writeOutSucceeds));
        }
        EXPECT_EQ(cache.GetSessionStore().GetDumpedNames().size(), c.dumped ? 1u : 0u);
        // Session mode remembers the size, so the worker can count the core before rebuilding it.
        EXPECT_EQ(cache.GetRememberedSize(name), c.sessionMode ? kBound + 1 : 0u);
        Cache later(true); // a later run finds a dumped core again, once
        EXPECT_EQ(later.GetSessionStore().TakeDumpFolder(name), c.dumped ? Util::GetTempDirPath() + "sid-" + name : "");
        EXPECT_EQ(later.GetSessionStore().TakeDumpFolder(name), "");
        Util::SettingsManager::Instance().Remove(kIdList);
    }
}

// A run that ends removes the session folders of its cores; a crash never gets there, so they
// stay for recovery. Dumped folders stay for the next run only in session mode, and not when
// the host keeps nothing after a run. Folders of other runs are never touched.
TEST_F(ProviderTest, TheFoldersOfARunGoWithItUnlessDumpedForTheNextRun)
{
    struct Case { const char* what; bool sessionMode, keepNothing, dumpsStay; };
    for (const Case& c : {Case {"session mode keeps the dumps for the next run", true, false, true},
                          Case {"a host that keeps nothing after a run", true, true, false},
                          Case {"without session mode nothing outlives the run", false, false, false}}) {
        SCOPED_TRACE(c.what);
        const auto folder = [](const std::string& name) { return QString::fromStdString(Util::GetTempDirPath() + name); };
        for (const char* name : {"own", "sid-dumped", "sid-earlier", "other"})
            ASSERT_TRUE(QDir().mkpath(folder(name)));
        {
            Cache cache(c.sessionMode);
            SessionStore& store = cache.GetSessionStore();
            store.Track(ioPath(folder("own").toStdString() + "/"));
            TestCorePtr dumped = Put(cache, "dumped", kMB);
            store.Track(dumped->sessionFolder);
            cache.Erase("dumped");
            store.WriteOut({{"dumped", dumped}}, SessionStore::WriteOutWhen::Always);
            store.AdoptDump("earlier", "sid-earlier"); // left by an earlier run, not built in this one
            if (c.keepNothing)
                store.KeepNothingAfterRun();
            ASSERT_EQ(store.GetDumpedNames().size(), 2u);
        }
        EXPECT_FALSE(QFileInfo::exists(folder("own")));
        EXPECT_EQ(QFileInfo::exists(folder("sid-dumped")), c.dumpsStay);
        EXPECT_EQ(QFileInfo::exists(folder("sid-earlier")), c.dumpsStay);
        EXPECT_TRUE(QFileInfo::exists(folder("other"))) << "not a folder of this run";
        Cache later(true);
        EXPECT_EQ(later.GetSessionStore().GetDumpedNames().size(), c.dumpsStay ? 2u : 0u);
        Util::SettingsManager::Instance().Remove(kIdList);
        ASSERT_TRUE(QDir(QString::fromStdString(Util::GetTempDirPath())).removeRecursively());
    }
}

// A write-out that fails - of an evicted neighbour or of the pushed picture - loses no edit and
// is told to the person once, until a write-out succeeds again.
TEST_F(ProviderTest, FailedWriteOutsKeepTheCoreInMemoryAndAreToldOncePerRunOfFailures)
{
    TS::Host host;
    auto& provider = Provider(true);
    QSignalSpy told(&provider, &WorkspaceControllerProvider::sessionWriteFailed);
    const std::string a = Photo("a.jpg");
    const auto edited = [&](const std::string& name, bool writable) {
        TestCorePtr core = Put(provider.GetCache(), Name(name), kBound + 1);
        core->unsavedChanges = true;
        core->writeOutSucceeds = writable;
        return core;
    };
    // Each clean-up evicts the neighbour (alone it exceeds the bound) and writes it out.
    const auto evict = [&](const TestCorePtr& core, const std::string& name) {
        provider.GetCache().CleanupCache(0, {Name(name)});
        return provider.GetCache().Find(Name(name)) == core;
    };
    struct Step { const char* what; bool writable; bool kept; int toldSoFar; };
    int n = 0;
    for (const Step& step : {Step {"the first failure is told", false, true, 1},
                             Step {"a second one is not", false, true, 1},
                             Step {"a success ends the run of failures", true, false, 1}}) {
        SCOPED_TRACE(step.what);
        const std::string neighbour = "/photos/n" + std::to_string(++n) + ".jpg";
        const TestCorePtr core = edited(neighbour, step.writable);
        EXPECT_EQ(evict(core, neighbour), step.kept);
        QCoreApplication::processEvents(); // the notice crosses to the UI thread
        EXPECT_EQ(told.count(), step.toldSoFar);
        provider.GetCache().Erase(Name(neighbour));
    }
    ASSERT_TRUE(told.first().at(0).toString().contains(QStringLiteral("n1.jpg")));

    // The pushed picture's write-out fails (a new run of failures, told again): the pop reopens
    // the very core, edits and all.
    PhotoCorePtr open = Open(provider, a);
    Edit(*open);
    const std::string folder = open->GetIOEngine().GetSessionFolder().utf8string();
    ASSERT_TRUE(QDir(QString::fromStdString(folder)).removeRecursively());
    QFile blocker(QString::fromStdString(folder)); // a file where the folder must go
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    Q_EMIT host.push();
    EXPECT_EQ(provider.GetCache().Find(Name(a)), open);
    provider.GetCache().CleanupCache(0, {}); // not wanted: written out again, not dropped
    EXPECT_EQ(provider.GetCache().Find(Name(a)), open);
    Q_EMIT host.pop();
    PhotoCorePtr reopened = Open(provider, a);
    EXPECT_EQ(reopened, open);
    EXPECT_EQ(reopened->GetUndoCount(), 1);
    QCoreApplication::processEvents();
    EXPECT_EQ(told.count(), 2);
}

// The saved list is handed to the settings store after the store's lock is released. A write-out
// on the worker that took its snapshot {x, y} must not land after the UI thread's newer {x}
// (y's dump taken back by a reopen): a later run would restore y from a stale dump.
TEST_F(ProviderTest, SavedListIsNeverOverwrittenByAnOlderSnapshot)
{
    // Holds the worker's first snapshot of the list between taking it and handing it on.
    class PausingStore : public SessionStore {
    public:
        using SessionStore::SessionStore;
        void Serialize(boost::property_tree::ptree& out) const override
        {
            SessionStore::Serialize(out);
            if (armed && std::this_thread::get_id() == pausedThread && !paused.exchange(true)) {
                pausing.Open();
                resume.Wait();
            }
        }
        std::atomic<bool> armed {false};
        std::thread::id pausedThread; // set by that thread before it arms the store
        mutable std::atomic<bool> paused {false};
        mutable Gate pausing, resume;
    };
    const auto edited = [](const std::string& name) {
        TestCorePtr core(new TestCore(kMB, "sid-" + name));
        core->sessionFolder = ioPath(Util::GetTempDirPath() + "sid-" + name);
        QDir().mkpath(QString::fromStdString(core->sessionFolder.utf8string()));
        core->unsavedChanges = true;
        return core;
    };
    PausingStore store(true);
    store.WriteOut({{"x", edited("x")}}, SessionStore::WriteOutWhen::IfEdited);

    std::future<void> writing, taking; // before the gates: they open before these are waited for
    writing = std::async(std::launch::async, [&] {
        store.pausedThread = std::this_thread::get_id();
        store.armed = true;
        store.BeginWriteOut("y");
        store.WriteOut({{"y", edited("y")}}, SessionStore::WriteOutWhen::IfEdited);
    });
    ASSERT_TRUE(store.pausing.Opened());
    taking = std::async(std::launch::async, [&] { EXPECT_FALSE(store.TakeDumpFolder("y").empty()); });
    // The UI thread's save may only end once the worker's older list is in the store; a broken
    // store lets it overtake (and end), and this gives it the time to.
    taking.wait_for(std::chrono::milliseconds(300));
    store.resume.Open();
    ASSERT_TRUE(Done(writing));
    ASSERT_TRUE(Done(taking));

    SessionStore later(true);
    EXPECT_EQ(later.GetDumpedNames(), Names {"x"});
}

TEST_F(ProviderTest, ForegroundOpenDuringAPreloadSharesTheWorkersBuildAndItsFailure)
{
    using Loaded = PhotoCore::ICoreEventHandler::CoreEventLoaded;
    struct Case { const char* what; bool heldInFactory, buildFails; int fullFrame; bool open; };
    int n = 0;
    for (const Case& c :
         {Case {"the core exists while its full frame decodes", false, false, Loaded::LOAD_FULL, true},
          Case {"the core is still being made", true, false, Loaded::LOAD_FULL, true},
          Case {"the build fails: both requests hear of it", true, true, Loaded::LOAD_FULL, true},
          Case {"a full frame that fails drops the preloaded core", false, false, Loaded::LOAD_FAILED, false}}) {
        SCOPED_TRACE(c.what);
        provider_.reset(); // no worker of the previous case runs while the hooks change
        std::future<PhotoCorePtr> opening; // before the gates: they open before it is waited for
        Gate inFactory, leaveFactory;
        const std::string file = Photo(QStringLiteral("slow%1.jpg").arg(++n));
        const std::string sentinel = Photo(QStringLiteral("after%1.jpg").arg(n));
        standIn = new TestCore(kMB, "slow");
        standIn->fullFrameReady = false;
        standInName = Name(file);
        failName = Name(file);
        failCount = c.buildFails ? 2 : 0; // the worker's build and the foreground's one retry
        beforeBuild = [&, held = c.heldInFactory, file](const std::string& name) {
            if (held && name == Name(file)) {
                inFactory.Open();
                leaveFactory.Wait();
            }
        };
        auto& provider = Provider();
        TS::LogCapture log(30);
        provider.OnFilePreloadRequest({"x", "y", file, sentinel});
        if (c.heldInFactory)
            ASSERT_TRUE(inFactory.Opened());
        else
            ASSERT_TRUE(WaitCached(file));

        if (c.open) {
            opening = std::async(std::launch::async, [&] { return Open(provider, file); });
            if (c.heldInFactory) {
                ASSERT_TRUE(TS::WaitUntil([&] { return log.Count(Name(file) + " waits for the build under way") == 1; }));
                leaveFactory.Open();
            }
            ASSERT_TRUE(Done(opening)) << "the foreground open waited for the worker";
            if (c.buildFails) {
                EXPECT_THROW(opening.get(), Core::Exception);
                EXPECT_EQ(Count(file), 2) << "the failure reached the foreground, which retried once";
                EXPECT_EQ(log.Count("Cannot open " + file + ": Test failure while opening " + file), 1)
                    << "the worker's failure, as the waiting foreground received it";
                // The worker hears of it after the foreground was released.
                EXPECT_TRUE(TS::WaitUntil([&] { return log.Count("Backgrownd code loading failed") == 1; }));
                continue;
            }
            EXPECT_EQ(opening.get(), PhotoCorePtr(standIn)) << "the worker's own core";
            EXPECT_EQ(Count(file), 1);
            EXPECT_FALSE(standIn->GetProcessing().IsFullFrameReady()) << "returned before the full frame";
            EXPECT_EQ(Count(sentinel), 0) << "the worker waits for the full frame before the next file";
        }
        standIn->FinishLoad(c.fullFrame);
        ASSERT_TRUE(WaitCached(sentinel));
        EXPECT_EQ(provider.GetCache().Find(Name(file)) != nullptr, c.fullFrame == Loaded::LOAD_FULL);
        EXPECT_EQ(log.Count("Backgrownd code loading failed"), c.fullFrame == Loaded::LOAD_FULL ? 0 : 1);
    }
}

TEST_F(ProviderTest, StoppingTheProviderEndsTheWorkersWaitForAFullFrame)
{
    auto& provider = Provider();
    const std::string file = Photo("never.jpg");
    standIn = new TestCore(kMB, "never");
    standIn->fullFrameReady = false;
    standInName = Name(file);
    provider.OnFilePreloadRequest({"x", "y", file});
    ASSERT_TRUE(WaitCached(file));
    // A watchdog ends the load if the stop does not end the wait, so that a failure is reported
    // rather than hung.
    Gate stopped;
    auto watchdog = std::async(std::launch::async, [&] {
        if (stopped.Opened())
            return false;
        standIn->FinishLoad(PhotoCore::ICoreEventHandler::CoreEventLoaded::LOAD_FULL);
        return true;
    });
    provider_.reset();
    stopped.Open();
    EXPECT_FALSE(watchdog.get()) << "the worker waited for the full frame although it was stopped";
}

TEST_F(ProviderTest, EvictionWhoseWriteOutBlocksLeavesLookupsAndOpensFree)
{
    auto& provider = Provider(true);
    const std::string a = Photo("a.jpg");
    const std::string big = sandbox_.FilePath("big.jpg").toStdString(); // never built: only evicted
    std::future<std::string> reopening; // before the gates: they open before these are waited for
    std::future<PhotoCorePtr> finding, opening;
    Gate writing, written;
    TestCorePtr core(new TestCore(kBound + 1, "sid-big"));
    core->sessionFolder = ioPath(Util::GetTempDirPath() + "sid-big");
    QDir().mkpath(QString::fromStdString(core->sessionFolder.utf8string()));
    core->unsavedChanges = true;
    core->beforeWriteOut = [&] {
        writing.Open();
        written.Wait();
    };
    provider.GetCache().Add(Name(big), core);
    core.reset(); // the cache holds the only reference

    provider.OnFilePreloadRequest({"x", "y", big});
    ASSERT_TRUE(writing.Opened()); // the worker evicts it and writes it out
    reopening = std::async(std::launch::async, [&] {
        return provider.GetCache().GetSessionStore().TakeDumpFolder(Name(big));
    });
    finding = std::async(std::launch::async, [&] { return provider.GetCache().Find(Name(big)); });
    opening = std::async(std::launch::async, [&] { return Open(provider, a); });
    ASSERT_TRUE(Done(finding));
    EXPECT_FALSE(finding.get());
    ASSERT_TRUE(Done(opening));
    EXPECT_TRUE(opening.get());
    EXPECT_EQ(provider.GetCache().GetCurrentName(), Name(a));

    written.Open();
    ASSERT_TRUE(Done(reopening));
    EXPECT_EQ(reopening.get(), Util::GetTempDirPath() + "sid-big")
        << "a reopen during the write-out waits for it and finds the edits";
    EXPECT_EQ(provider.GetCache().GetRememberedSize(Name(big)), kBound + 1);
}

} // namespace
} // namespace Quelto::Lumindra


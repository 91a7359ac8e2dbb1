// The provider and its cache against the real editing core and real photographs; test cores stand
// in where a given memory size or check answer is needed.

#include <atomic>
#include <future>
#include <mutex>
#include <thread>

#include "ProviderFixture.h"
#include "core/PhotoCoreException.h"
#include "core/RefCounted.h"
#include "photocore/IPhotoCore.h"
#include "util/Paths.h"

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
        bool WriteOut() override { return ++owner.writeOuts, owner.writeOutSucceeds.load(); }
        TestCore& owner;
    };

    TestCore(std::uint64_t memorySize, std::string sessionId) : memorySize(memorySize), sessionId_(std::move(sessionId)) {}

    std::atomic<std::uint64_t> memorySize;
    std::atomic<bool> unsavedChanges {false}, historyOrFileChanged {false}, writeOutSucceeds {true};
    std::atomic<int> writeOuts {0};
    ioPath sessionFolder;

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
    const PhotoCore::SettingsCore& GetFrameSettings(int) const override { return frameSettings_; }
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
    ioPath GetSessionFolder() const override { return sessionFolder; }
    const PhotoCore::SettingsSave& GetSaveSettings() const override { return save_; }
    SaveResult Save(const PhotoCore::SettingsSave&) override { return SaveResultFailed; }
    void SaveSession() override {}
    bool IsSaved() const override { return !unsavedChanges; }
    void StoreSelection(const ioPath&, const Proc::DataVideoPtr&) override {}
    Proc::DataVideoPtr LoadSelection(const ioPath&) override { return nullptr; }
    void ReleaseSelection(const ioPath&) override {}
    void MarkOpened() override {}

    // IPhotoCoreProcessing
    bool IsScaledForMemory() const override { return false; }
    Conf::FrameInfo GetSourceFrameInfo() const override { return {}; }
    bool IsFullFrameReady() const override { return true; }

    // IPhotoCoreTracker
    void UpdateStatisticsParameters(std::map<std::string, std::string>&) const override {}
    void Track(const std::string&) override {}

    // ICoreEventSource
    void RegisterCoreEventHandler(PhotoCore::ICoreEventHandler*) override {}
    void UnregisterCoreEventHandler(PhotoCore::ICoreEventHandler*) override {}
    void RegisterDrawerEventHandler(PhotoCore::IDrawerEventHandler*) override {}
    void UnregisterDrawerEventHandler(PhotoCore::IDrawerEventHandler*) override {}

    std::string sessionId_;
    PhotoCore::MetadataSettings metadata_;
    PhotoCore::SettingsSave save_;
    PhotoCore::SettingsCore frameSettings_;
};

using TestCorePtr = boost::intrusive_ptr<TestCore>;

PhotoCorePtr Open(WorkspaceControllerProvider& provider, const std::string& path)
{
    return provider.GetCore(ioPath(path), std::string(), QPixmap(), PhotoCore::ImageSourceFile);
}

class ProviderTest : public TS::ProviderFixture {
protected:
    struct Build { std::string name; bool fresh, byWorker; };

    // A provider whose real factory records each build, throws for the next `failCount` builds of
    // `failName`, and holds the worker's next build while `holdNext` is set.
    WorkspaceControllerProvider& Provider(bool sessionMode = false)
    {
        provider_ = std::make_unique<WorkspaceControllerProvider>(sessionMode, nullptr, true);
        auto factory = WorkspaceControllerProvider::DefaultCoreFactory();
        factory.createFromFile = [this, real = factory.createFromFile](const ioPath& path, const std::string& key,
                                                                        const PhotoCore::CoreCreateOptions& options) {
            const bool byWorker = std::this_thread::get_id() != uiThread_;
            {
                std::lock_guard<std::mutex> lock(mutex_);
                builds_.push_back({Name(path.utf8string()), options.fresh, byWorker});
                if (builds_.back().name == failName && failCount-- > 0)
                    throw PhotoCore::PhotoCoreException("Test failure while opening " + path.utf8string());
            }
            if (byWorker && holdNext.exchange(false)) {
                held.set_value();
                release.get_future().wait();
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

TEST_F(ProviderTest, FailedLoadIsRetriedOnceAfterEmptyingTheCache)
{
    auto& provider = Provider();
    const std::string a = Photo("a.jpg"), b = Photo("b.jpg"), broken = NotAnImage("broken.jpg");
    Open(provider, a);
    failName = Name(b);
    failCount = 1;
    TS::LogCapture log(30);

    EXPECT_TRUE(Open(provider, b));
    EXPECT_EQ(Count(b), 2);
    EXPECT_EQ(log.Count("Trying to cleanup the cache and load again"), 1);
    EXPECT_EQ(provider.GetCache().GetNames(), Names {Name(b)}) << "the clean-up keeps only the file being opened";

    // A second failure reaches the caller; the open file stays current.
    EXPECT_THROW(Open(provider, broken), Core::Exception);
    EXPECT_EQ(Count(broken), 2) << "one retry, no more";
    EXPECT_EQ(provider.GetCache().GetCurrentName(), Name(b));
    EXPECT_FALSE(provider.GetCache().Find(Name(broken)));
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

TEST_F(ProviderTest, CleanupKeepsWantedEntriesAndEvictsFromTheLastWantedNameUntilWithinTheBound)
{
    struct Case { const char* what; std::uint64_t a, b, c, extra; Names wanted, left; std::uint64_t total; bool cIsCurrent; };
    const Names abc {"a", "b", "c"};
    for (const Case& c :
         {Case {"exactly the bound evicts nothing", 300 * kMB, 300 * kMB, 100 * kMB, 0, abc, abc, kBound, false},
          Case {"one byte over evicts the last wanted name", 300 * kMB, 300 * kMB, 100 * kMB + 1, 0, abc, {"a", "b"},
                600 * kMB, false},
          Case {"the extra size counts", 300 * kMB, 300 * kMB, 50 * kMB, 50 * kMB + 1, abc, {"a", "b"}, 650 * kMB + 1,
                false},
          Case {"evicts on until within", 400 * kMB, 400 * kMB, 50 * kMB, 0, abc, {"a"}, 400 * kMB, false},
          Case {"stops when the list is exhausted", 1, 1, 1, 2 * kBound, abc, {}, 2 * kBound, false},
          Case {"the current core is neither evicted nor counted", 200 * kMB, 500 * kMB + 1, 3 * kBound, 0, abc,
                {"a", "c"}, 200 * kMB, true},
          Case {"an empty list keeps the current core", 10, 10, 10, 0, {}, {"c"}, 0, true}}) {
        SCOPED_TRACE(c.what);
        Cache cache(false);
        // Each core grows after it was cached, as a foreground open's does once its full frame and
        // edits come: the clean-up counts what a core holds now.
        TestCorePtr a = Put(cache, "a", 1);
        Put(cache, "b", c.b);
        Put(cache, "c", c.c);
        a->memorySize = c.a;
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
    struct Case { const char* what; bool sessionMode, unsaved, history, writeOutSucceeds; int writeOuts; bool dumped; };
    const std::string name = "/photos/a.jpg";
    for (const Case& c : {Case {"without session mode an edited core is dropped", false, true, true, true, 0, false},
                          Case {"an unsaved edit is written out", true, true, false, true, 1, true},
                          Case {"a history is written out", true, false, true, true, 1, true},
                          Case {"a core without edits is not written", true, false, false, true, 0, false},
                          Case {"a failed write out is not restorable", true, true, true, false, 1, false}}) {
        SCOPED_TRACE(c.what);
        Cache cache(c.sessionMode);
        TestCorePtr core = Put(cache, name, kBound + 1);
        core->unsavedChanges = c.unsaved;
        core->historyOrFileChanged = c.history;
        core->writeOutSucceeds = c.writeOutSucceeds;

        cache.CleanupCache(0, {name});
        EXPECT_EQ(cache.GetSize(), 0u);
        EXPECT_EQ(core->writeOuts.load(), c.writeOuts);
        EXPECT_EQ(cache.GetSessionStore().GetDumpedNames().size(), c.dumped ? 1u : 0u);
        // Session mode remembers the size, so the worker can count the core before rebuilding it.
        EXPECT_EQ(cache.GetRememberedSize(name), c.sessionMode ? kBound + 1 : 0u);
        Cache later(true); // a later run finds a dumped core again, once
        EXPECT_EQ(later.GetSessionStore().TakeDumpFolder(name), c.dumped ? Util::GetTempDirPath() + "sid-" + name : "");
        EXPECT_EQ(later.GetSessionStore().TakeDumpFolder(name), "");
        Util::SettingsManager::Instance().Remove(kIdList);
    }
}

} // namespace
} // namespace Quelto::Lumindra


// The provider's cache of cores: which entries a clean-up keeps, the memory bound and its exact
// edge, the eviction order, the current core's immunity, session-mode dumping and the saved list,
// the controller stack. Test cores stand in where a given memory size or check answer is needed.

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>

#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "CaseName.h"
#include "TestCore.h"
#include "photocore/Settings.h"
#include "photoutil/Settings.h"
#include "support/TestSupport.h"
#include "util/Paths.h"
#include "util/Settings.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;

using Cache = WorkspaceControllerProvider::Cache;
using TS::TestCore;
using TS::TestCorePtr;
constexpr std::uint64_t kBound = WorkspaceControllerProvider::kCacheBoundBytes;
constexpr std::uint64_t kMB = 1'000'000;

QString IdListSetting()
{
    return PhotoUtil::Settings::Name(PhotoCore::Settings::SESSION, PhotoCore::Settings::ID_LIST);
}

class CoreCacheTest : public ::testing::Test {
protected:
    CoreCacheTest() : tempDir_("LUMINDRA_TEMP_DIR", sandbox_.Path().toUtf8())
    {
        Util::SettingsManager::Instance().Remove(IdListSetting());
    }
    ~CoreCacheTest() override { Util::SettingsManager::Instance().Remove(IdListSetting()); }

    TestCorePtr Put(Cache& cache, const std::string& name, std::uint64_t size)
    {
        TestCorePtr core(new TestCore(size, "sid-" + name));
        core->sessionFolder = ioPath(Util::GetTempDirPath() + "sid-" + name);
        QDir().mkpath(QString::fromStdString(core->sessionFolder.utf8string()));
        cache.Add(name, core);
        return core;
    }

    TS::Sandbox sandbox_;
    TS::ScopedEnv tempDir_;
};

TEST_F(CoreCacheTest, CleanupKeepsOnlyWantedAndCurrentEntries)
{
    Cache cache(false);
    Put(cache, "a", 10);
    Put(cache, "b", 10);
    Put(cache, "c", 10);
    Put(cache, "current", 10);
    cache.SetCurrentName("current");

    EXPECT_EQ(cache.CleanupCache(0, {"c", "a", "not-cached"}), 20u);
    EXPECT_EQ(cache.GetNames(), (std::vector<std::string> {"a", "c", "current"}));

    // An empty wanted list drops everything but the current core, which is not counted.
    EXPECT_EQ(cache.CleanupCache(0, {}), 0u);
    EXPECT_EQ(cache.GetNames(), (std::vector<std::string> {"current"}));

    cache.SetCurrentName("");
    EXPECT_EQ(cache.CleanupCache(0, {}), 0u);
    EXPECT_EQ(cache.GetSize(), 0u);
}

struct BoundCase {
    const char* what;
    std::uint64_t a, b, c, extra;
    std::vector<std::string> left;
    std::uint64_t total;
};

class CoreCacheBoundTest : public CoreCacheTest, public ::testing::WithParamInterface<BoundCase> {};

TEST_P(CoreCacheBoundTest, EvictsFromTheLastWantedNameUntilWithinTheBound)
{
    const BoundCase& param = GetParam();
    Cache cache(false);
    Put(cache, "a", param.a);
    Put(cache, "b", param.b);
    Put(cache, "c", param.c);
    TS::LogCapture log(30);

    EXPECT_EQ(cache.CleanupCache(param.extra, {"a", "b", "c"}), param.total) << param.what;
    EXPECT_EQ(cache.GetNames(), param.left) << param.what;
    const int evicted = 3 - static_cast<int>(param.left.size());
    EXPECT_EQ(log.Count(" removing from cache"), evicted) << param.what;
    if (evicted > 0) {
        EXPECT_TRUE(log.Contains("c removing from cache")) << param.what;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Bound, CoreCacheBoundTest,
    ::testing::Values(
        BoundCase {"exactly the bound evicts nothing", 300 * kMB, 300 * kMB, 100 * kMB, 0, {"a", "b", "c"}, kBound},
        BoundCase {"one byte over evicts the last wanted name", 300 * kMB, 300 * kMB, 100 * kMB + 1, 0, {"a", "b"},
                   600 * kMB},
        BoundCase {"the extra size counts", 300 * kMB, 300 * kMB, 50 * kMB, 50 * kMB + 1, {"a", "b"}, 650 * kMB + 1},
        BoundCase {"evicts on until within the bound", 400 * kMB, 400 * kMB, 50 * kMB, 0, {"a"}, 400 * kMB},
        BoundCase {"stops when the wanted list is exhausted", 1, 1, 1, 2 * kBound, {}, 2 * kBound}),
    TS::CaseNamer());

TEST_F(CoreCacheTest, CurrentCoreIsNeitherEvictedNorCounted)
{
    Cache cache(false);
    Put(cache, "huge", 3 * kBound);
    Put(cache, "a", 200 * kMB);
    Put(cache, "b", 200 * kMB);
    cache.SetCurrentName("huge");

    // The current core stands last in the wanted list, where eviction starts.
    EXPECT_EQ(cache.CleanupCache(0, {"a", "b", "huge"}), 400 * kMB);
    EXPECT_EQ(cache.GetNames(), (std::vector<std::string> {"a", "b", "huge"}));

    Put(cache, "c", 400 * kMB);
    EXPECT_EQ(cache.CleanupCache(0, {"a", "c", "b", "huge"}), 600 * kMB);
    EXPECT_EQ(cache.GetNames(), (std::vector<std::string> {"a", "c", "huge"}));
}

TEST_F(CoreCacheTest, CountsWhatACoreHoldsNowNotWhenItWasCached)
{
    // A foreground open is cached with its preview only; its full frame and edits come later.
    Cache cache(false);
    TestCorePtr grown = Put(cache, "grown", 10 * kMB);
    Put(cache, "other", 10 * kMB);
    grown->memorySize = kBound;

    EXPECT_EQ(cache.CleanupCache(0, {"grown", "other"}), kBound);
    EXPECT_EQ(cache.GetSize(), 1u);
    EXPECT_EQ(cache.GetNames(), (std::vector<std::string> {"grown"}));
}

TEST_F(CoreCacheTest, EvictionWithoutSessionModeForgetsTheNameAndWritesNothing)
{
    Cache cache(false);
    TestCorePtr edited = Put(cache, "edited", kBound);
    edited->unsavedChanges = true;
    Put(cache, "kept", 1);

    cache.CleanupCache(0, {"kept", "edited"});
    EXPECT_EQ(cache.GetNames(), (std::vector<std::string> {"kept"}));
    EXPECT_EQ(edited->writeOuts.load(), 0);
    EXPECT_FALSE(cache.IsKnownName("edited"));
    EXPECT_EQ(cache.GetRememberedSize("edited"), 0u);
    EXPECT_TRUE(cache.GetDumpedNames().empty());
    EXPECT_TRUE(Util::SettingsManager::Instance().Value(IdListSetting()).toString().isEmpty());
}

TEST_F(CoreCacheTest, SessionModeWritesOutCoresWithEditsAndSavesTheirList)
{
    struct Case {
        bool unsaved, history, writeOutSucceeds, dumped;
    };
    const Case cases[] = {
        {true, false, true, true},
        {false, true, true, true},
        {false, false, true, false}, // nothing to keep: not written out
        {true, true, false, false},  // a failed write-out is not recorded as restorable
    };
    for (const Case& c : cases) {
        Util::SettingsManager::Instance().Remove(IdListSetting());
        Cache cache(true);
        TestCorePtr core = Put(cache, "/photos/a.jpg", kBound + 1);
        core->unsavedChanges = c.unsaved;
        core->historyOrFileChanged = c.history;
        core->writeOutSucceeds = c.writeOutSucceeds;

        cache.CleanupCache(0, {"/photos/a.jpg"});
        EXPECT_EQ(cache.GetSize(), 0u);
        EXPECT_EQ(core->writeOuts.load(), (c.unsaved || c.history) ? 1 : 0);
        EXPECT_EQ(cache.GetDumpedNames().size(), c.dumped ? 1u : 0u);
        // The size stays remembered, so the worker can count the core before rebuilding it.
        EXPECT_EQ(cache.GetRememberedSize("/photos/a.jpg"), kBound + 1);

        // A later run in session mode finds the dumped core again.
        Cache restored(true);
        EXPECT_EQ(restored.GetDumpedNames().size(), c.dumped ? 1u : 0u);
        if (c.dumped) {
            EXPECT_EQ(restored.TakeDumpFolder("/photos/a.jpg"), Util::GetTempDirPath() + "sid-/photos/a.jpg");
        }
    }
}

TEST_F(CoreCacheTest, SavedListRestoresOnlyItemsWhoseFolderExists)
{
    QDir(sandbox_.Path()).mkpath("present");
    Util::SettingsManager::Instance().SetValue(
        IdListSetting(), QStringLiteral(R"({"items":[{"sid":"present","name":"/p/one.jpg"},)"
                                        R"({"sid":"gone","name":"/p/two.jpg"},{"sid":"","name":"/p/three.jpg"}]})"));
    Cache cache(true);
    EXPECT_EQ(cache.GetDumpedNames(), (std::vector<std::string> {"/p/one.jpg"}));
    EXPECT_EQ(cache.TakeDumpFolder("/p/two.jpg"), "");
    EXPECT_EQ(cache.TakeDumpFolder("/p/one.jpg"), Util::GetTempDirPath() + "present");
    EXPECT_TRUE(cache.GetDumpedNames().empty());
    EXPECT_EQ(cache.TakeDumpFolder("/p/one.jpg"), "") << "a dumped core is restored once";

    // Without session mode the saved list is not read at all.
    Util::SettingsManager::Instance().SetValue(
        IdListSetting(), QStringLiteral(R"({"items":[{"sid":"present","name":"/p/one.jpg"}]})"));
    EXPECT_TRUE(Cache(false).GetDumpedNames().empty());
}

TEST_F(CoreCacheTest, DamagedSavedListStartsEmpty)
{
    for (const char* text : {"{not json", R"({"items":"scalar"})", R"([1,2,3])"}) {
        Util::SettingsManager::Instance().SetValue(IdListSetting(), QString::fromLatin1(text));
        Cache cache(true);
        EXPECT_TRUE(cache.GetDumpedNames().empty()) << text;
    }
}

TEST_F(CoreCacheTest, PreloadSizeGuessesUnknownFilesLikeTheLargestCoreSeen)
{
    Cache cache(false);
    std::uint64_t size = 1;
    EXPECT_TRUE(cache.GetPreloadSize("unknown", &size));
    EXPECT_EQ(size, 0u) << "nothing seen yet";

    Put(cache, "small", 10);
    Put(cache, "large", 500);
    Put(cache, "current", 900);
    cache.SetCurrentName("current");
    EXPECT_FALSE(cache.GetPreloadSize("small", &size)) << "cached names are not preloaded";

    cache.CleanupCache(0, {"current"});
    EXPECT_TRUE(cache.GetPreloadSize("unknown", &size));
    EXPECT_EQ(size, 900u);
    cache.SetCurrentName("opening");
    EXPECT_TRUE(cache.GetPreloadSize("opening", &size));
    EXPECT_EQ(size, 0u) << "the file being opened is not counted";
}

TEST_F(CoreCacheTest, PushWritesTheCurrentCoreOutAndPopGivesItsNameBack)
{
    Cache cache(false);
    TestCorePtr current = Put(cache, "/p/current.jpg", 10);
    Put(cache, "/p/other.jpg", 10);
    cache.SetCurrentName("/p/current.jpg");
    cache.LockCurrent(current->sessionFolder);
    const QString lockFile = cache.GetLockFilePath();
    ASSERT_FALSE(lockFile.isEmpty());
    EXPECT_TRUE(QFileInfo::exists(lockFile));

    cache.PushCurrent();
    EXPECT_EQ(current->writeOuts.load(), 1);
    EXPECT_EQ(cache.GetNames(), (std::vector<std::string> {"/p/other.jpg"}));
    EXPECT_EQ(cache.GetCurrentName(), "");
    EXPECT_EQ(cache.GetControllerStack(), (std::vector<std::string> {"/p/current.jpg"}));
    EXPECT_FALSE(QFileInfo::exists(lockFile));
    EXPECT_EQ(cache.GetDumpedNames(), (std::vector<std::string> {"/p/current.jpg"}));

    EXPECT_FALSE(cache.IsAcceptAll());
    EXPECT_EQ(cache.PopController(), "/p/current.jpg");
    EXPECT_TRUE(cache.IsAcceptAll());
    EXPECT_TRUE(cache.GetControllerStack().empty());

    cache.OnHandedOut("/p/other.jpg");
    EXPECT_TRUE(cache.IsAcceptAll()) << "only the popped file answers the pop";
    cache.OnHandedOut("/p/current.jpg");
    EXPECT_FALSE(cache.IsAcceptAll());

    EXPECT_EQ(cache.PopController(), "") << "a pop without a push is refused";
    EXPECT_FALSE(cache.IsAcceptAll());
}

TEST_F(CoreCacheTest, EraseForgetsTheRememberedState)
{
    Cache cache(false);
    Put(cache, "a", 10);
    EXPECT_TRUE(cache.IsKnownName("a"));
    EXPECT_TRUE(cache.Erase("a"));
    EXPECT_FALSE(cache.IsKnownName("a"));
    EXPECT_EQ(cache.GetRememberedSize("a"), 0u);
    EXPECT_FALSE(cache.Erase("a"));
}

} // namespace
} // namespace Quelto::Lumindra

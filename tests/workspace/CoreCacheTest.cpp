// The provider's cache of cores: which entries a clean-up keeps, the memory bound and its exact
// edge, the eviction order, the current core's immunity, session-mode dumping and the saved list.
// Test cores stand in where a given memory size or check answer is needed.

#include <gtest/gtest.h>

#include <QDir>

#include "CaseName.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "TestCore.h"
#include "support/TestSupport.h"
#include "util/Paths.h"
#include "util/Settings.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;
using Cache = WorkspaceControllerProvider::Cache;
using Names = std::vector<std::string>;
constexpr std::uint64_t kBound = WorkspaceControllerProvider::kCacheBoundBytes;
constexpr std::uint64_t kMB = 1'000'000;

const QString kIdList = Util::Settings::Name(Util::Settings::SESSION, Util::Settings::ID_LIST);

class CoreCacheTest : public ::testing::Test {
protected:
    CoreCacheTest() : tempDir_("LUMINDRA_TEMP_DIR", sandbox_.Path().toUtf8())
    {
        Util::SettingsManager::Instance().Remove(kIdList);
    }
    ~CoreCacheTest() override { Util::SettingsManager::Instance().Remove(kIdList); }

    // A test core of `size` bytes whose session folder exists, cached under `name`.
    TS::TestCorePtr Put(Cache& cache, const std::string& name, std::uint64_t size)
    {
        TS::TestCorePtr core(new TS::TestCore(size, "sid-" + name));
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
    for (const char* name : {"a", "b", "c", "current"})
        Put(cache, name, 10);
    cache.SetCurrentName("current");

    EXPECT_EQ(cache.CleanupCache(0, {"c", "a", "not-cached"}), 20u);
    EXPECT_EQ(cache.GetNames(), (Names {"a", "c", "current"}));
    // An empty wanted list drops everything but the current core, which is not counted.
    EXPECT_EQ(cache.CleanupCache(0, {}), 0u);
    EXPECT_EQ(cache.GetNames(), (Names {"current"}));
}

struct BoundCase {
    const char* what;
    std::uint64_t a, b, c, extra;
    Names left;
    std::uint64_t total;
};

class CoreCacheBoundTest : public CoreCacheTest, public ::testing::WithParamInterface<BoundCase> {};

TEST_P(CoreCacheBoundTest, EvictsFromTheLastWantedNameUntilWithinTheBound)
{
    const BoundCase& c = GetParam();
    Cache cache(false);
    Put(cache, "a", c.a);
    Put(cache, "b", c.b);
    Put(cache, "c", c.c);
    TS::LogCapture log(30);

    EXPECT_EQ(cache.CleanupCache(c.extra, {"a", "b", "c"}), c.total);
    EXPECT_EQ(cache.GetNames(), c.left);
    EXPECT_EQ(log.Count(" removing from cache"), 3 - static_cast<int>(c.left.size()));
    EXPECT_EQ(log.Contains("c removing from cache"), c.left.size() < 3) << "the last wanted name goes first";
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
    Put(cache, "b", 500 * kMB + 1);
    cache.SetCurrentName("huge");
    // The current core stands last in the wanted list, where eviction starts.
    EXPECT_EQ(cache.CleanupCache(0, {"a", "b", "huge"}), 200 * kMB);
    EXPECT_EQ(cache.GetNames(), (Names {"a", "huge"}));
}

TEST_F(CoreCacheTest, CountsWhatACoreHoldsNowNotWhenItWasCached)
{
    // A foreground open is cached with its preview only; its full frame and edits come later.
    Cache cache(false);
    TS::TestCorePtr grown = Put(cache, "grown", 10 * kMB);
    Put(cache, "other", 10 * kMB);
    grown->memorySize = kBound;
    EXPECT_EQ(cache.CleanupCache(0, {"grown", "other"}), kBound);
    EXPECT_EQ(cache.GetNames(), (Names {"grown"}));
}

struct DisposalCase {
    const char* what;
    bool sessionMode, unsaved, history, writeOutSucceeds;
    int writeOuts;
    bool dumped;
};

class CoreCacheDisposalTest : public CoreCacheTest, public ::testing::WithParamInterface<DisposalCase> {};

TEST_P(CoreCacheDisposalTest, EvictedCoreIsForgottenOrWrittenOut)
{
    const DisposalCase& c = GetParam();
    Cache cache(c.sessionMode);
    TS::TestCorePtr core = Put(cache, "/photos/a.jpg", kBound + 1);
    core->unsavedChanges = c.unsaved;
    core->historyOrFileChanged = c.history;
    core->writeOutSucceeds = c.writeOutSucceeds;

    cache.CleanupCache(0, {"/photos/a.jpg"});
    EXPECT_EQ(cache.GetSize(), 0u);
    EXPECT_EQ(core->writeOuts.load(), c.writeOuts);
    EXPECT_EQ(cache.GetDumpedNames().size(), c.dumped ? 1u : 0u);
    // Session mode remembers the size, so the worker can count the core before rebuilding it.
    EXPECT_EQ(cache.GetRememberedSize("/photos/a.jpg"), c.sessionMode ? kBound + 1 : 0u);
    EXPECT_EQ(cache.IsKnownName("/photos/a.jpg"), c.sessionMode);

    // A later run in session mode finds a dumped core again, once.
    Cache later(true);
    EXPECT_EQ(later.TakeDumpFolder("/photos/a.jpg"), c.dumped ? Util::GetTempDirPath() + "sid-/photos/a.jpg" : "");
    EXPECT_EQ(later.TakeDumpFolder("/photos/a.jpg"), "");
}

INSTANTIATE_TEST_SUITE_P(
    Disposal, CoreCacheDisposalTest,
    ::testing::Values(DisposalCase {"without session mode an edited core is dropped", false, true, true, true, 0, false},
                      DisposalCase {"an unsaved edit is written out", true, true, false, true, 1, true},
                      DisposalCase {"a history is written out", true, false, true, true, 1, true},
                      DisposalCase {"a core without edits is not written", true, false, false, true, 0, false},
                      DisposalCase {"a failed write out is not restorable", true, true, true, false, 1, false}),
    TS::CaseNamer());

TEST_F(CoreCacheTest, SavedListRestoresOnlyItemsWhoseFolderExists)
{
    QDir(sandbox_.Path()).mkpath("present");
    auto& settings = Util::SettingsManager::Instance();
    settings.SetValue(kIdList, QStringLiteral(R"({"items":[{"sid":"present","name":"/p/one.jpg"},)"
                                              R"({"sid":"gone","name":"/p/two.jpg"},{"sid":"","name":"/p/3.jpg"}]})"));
    EXPECT_EQ(Cache(true).GetDumpedNames(), (Names {"/p/one.jpg"}));
    EXPECT_TRUE(Cache(false).GetDumpedNames().empty()) << "only session mode reads the list";

    for (const char* damaged : {"{not json", R"({"items":"scalar"})", R"([1,2,3])"}) {
        settings.SetValue(kIdList, QString::fromLatin1(damaged));
        EXPECT_TRUE(Cache(true).GetDumpedNames().empty()) << damaged;
    }
}

} // namespace
} // namespace Quelto::Lumindra

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "core/Exception.h"
#include "core/TempFile.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::Core {
namespace {

namespace fs = std::filesystem;

TEST(GenerateTempFileName, NamesAreUniqueAcrossThreads)
{
    constexpr int kThreads = 4, kNamesPerThread = 200;
    std::vector<std::string> names(kThreads * kNamesPerThread);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&names, t] {
            for (int i = 0; i < kNamesPerThread; ++i)
                names[t * kNamesPerThread + i] = GenerateTempFileName("png");
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
    EXPECT_EQ(fs::path(names.front()).extension(), ".png");
}

// The folder comes from TMPDIR: names already taken there are skipped, a missing folder is reported.
TEST(GenerateTempFileName, SkipsTakenNamesAndReportsAMissingFolder)
{
    Lumindra::Test::Sandbox sandbox;
    Lumindra::Test::ScopedEnv tmp("TMPDIR", sandbox.Path().toUtf8());
    const std::string first = GenerateTempFileName("jpg");
    // Occupy the names that the next counter values would give.
    const std::string stem = first.substr(0, first.rfind('-') + 1);
    const int next = std::stoi(first.substr(stem.size()));
    for (int n = next + 1; n < next + 5; ++n)
        std::ofstream(stem + std::to_string(n) + ".jpg") << "taken";
    const std::string second = GenerateTempFileName("jpg");
    EXPECT_FALSE(fs::exists(second));
    EXPECT_EQ(fs::path(second).parent_path(), fs::path(sandbox.Path().toStdString()));

    Lumindra::Test::ScopedEnv missing("TMPDIR", sandbox.FilePath("missing").toUtf8());
    try {
        GenerateTempFileName("tmp");
        ADD_FAILURE() << "a missing temporary folder must be reported";
    } catch (const Exception& e) {
        EXPECT_NE(e.GetDescription().find("temporary folder"), std::string::npos) << e.what();
    }
}

} // namespace
} // namespace Quelto::Lumindra::Core

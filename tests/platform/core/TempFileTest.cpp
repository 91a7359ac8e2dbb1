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

TEST(GenerateTempFileName, NamesAreFreshUniqueAcrossThreadsAndInTheTempFolder)
{
    constexpr int kThreads = 4;
    constexpr int kNamesPerThread = 200;
    std::vector<std::vector<std::string>> names(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kNamesPerThread; ++i)
                names[t].push_back(GenerateTempFileName("png"));
        });
    for (std::thread& t : threads)
        t.join();

    std::set<std::string> unique;
    for (const auto& list : names)
        unique.insert(list.begin(), list.end());
    EXPECT_EQ(unique.size(), std::size_t(kThreads * kNamesPerThread));
    const std::string& sample = *unique.begin();
    EXPECT_EQ(fs::path(sample).parent_path(), fs::temp_directory_path());
    EXPECT_EQ(fs::path(sample).extension(), ".png");
    EXPECT_FALSE(fs::exists(sample));
}

TEST(GenerateTempFileName, SkipsANameThatIsAlreadyTaken)
{
    Lumindra::Test::Sandbox sandbox;
    Lumindra::Test::ScopedEnv tmp("TMPDIR", sandbox.Path().toUtf8());
    const std::string first = GenerateTempFileName("jpg");
    // Occupy every name of the same pattern for the next counter values.
    const std::string stem = first.substr(0, first.rfind('-') + 1);
    const int next = std::stoi(first.substr(stem.size()));
    for (int n = next + 1; n < next + 5; ++n)
        std::ofstream(stem + std::to_string(n) + ".jpg") << "taken";
    const std::string second = GenerateTempFileName("jpg");
    EXPECT_FALSE(fs::exists(second));
    EXPECT_EQ(fs::path(second).parent_path(), fs::path(sandbox.Path().toStdString()));
}

TEST(GenerateTempFileName, UnusableTempFolderIsAReadableError)
{
    Lumindra::Test::Sandbox sandbox;
    Lumindra::Test::ScopedEnv tmp("TMPDIR", sandbox.FilePath("missing").toUtf8());
    try {
        GenerateTempFileName("tmp");
        FAIL() << "a missing temporary folder must be reported";
    } catch (const Exception& e) {
        EXPECT_NE(e.GetDescription().find("temporary folder"), std::string::npos) << e.what();
    }
}

} // namespace
} // namespace Quelto::Lumindra::Core

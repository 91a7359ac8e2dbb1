// The fuzzers' checked-in inputs, replayed through the harness they were found with, so that
// every build of the suite (the sanitizer builds too) checks them again.

#include <algorithm>
#include <iterator>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include "FuzzHarness.h"

namespace Quelto::Lumindra::Test {
namespace {

using Target = FuzzHarness::Target;

QString FuzzFolder(const QString& kind, Target target)
{
    return QStringLiteral(LUMINDRA_SOURCE_DIR "/tests/fuzz/") + kind + QLatin1Char('/')
         + QString::fromStdString(FuzzHarness::NameOf(target));
}

FuzzHarness::Outcome Replay(Target target, const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        ADD_FAILURE() << "cannot read " << path.toStdString();
        return {};
    }
    const QByteArray bytes = file.readAll();
    return FuzzHarness::Run(target, reinterpret_cast<const std::uint8_t*>(bytes.constData()), std::size_t(bytes.size()));
}

class FuzzReplay : public ::testing::TestWithParam<Target> {
protected:
    static void SetUpTestSuite() { FuzzHarness::Init(); }
};

// The seeds are valid inputs of each kind: every one is read, and none breaks a promise.
TEST_P(FuzzReplay, EverySeedIsAccepted)
{
    const QFileInfoList seeds = QDir(FuzzFolder(QStringLiteral("corpus"), GetParam())).entryInfoList(QDir::Files);
    ASSERT_FALSE(seeds.isEmpty());
    for (const QFileInfo& seed : seeds) {
        const FuzzHarness::Outcome outcome = Replay(GetParam(), seed.filePath());
        EXPECT_EQ(outcome.violation, "") << seed.fileName().toStdString();
        EXPECT_TRUE(outcome.accepted) << seed.fileName().toStdString() << ": " << outcome.error;
    }
}

INSTANTIATE_TEST_SUITE_P(Fuzz, FuzzReplay, ::testing::ValuesIn(FuzzHarness::AllTargets()),
                         [](const ::testing::TestParamInfo<Target>& info) { return FuzzHarness::NameOf(info.param); });

// Inputs that broke a promise before their fix, and what the fixed path makes of them.
struct Finding {
    Target target;
    const char* file;   // under tests/fuzz/regressions/<target>/
    bool accepted;
    const char* reason; // a part of the refusal; empty when accepted or refused silently
};

const Finding kFindings[] = {
    // A listed folder ".." made the folder above the temporary one a restore source (and, once
    // restored from, a folder to remove).
    {Target::CacheList, "parent_folder.json", false, ""},
    // A session id "../../escaped" put the restored core's session folder, where its autosaves
    // go, outside the temporary folder.
    {Target::SessionRestore, "session_id_path.json", false, "is not a folder name"},
    // A stored crop at the largest int overflowed when its far edge was computed.
    {Target::SessionRestore, "crop_overflow.json", true, ""},
};

TEST(FuzzFindings, EachEndsAsItShould)
{
    FuzzHarness::Init();
    for (const Finding& finding : kFindings) {
        SCOPED_TRACE(finding.file);
        const FuzzHarness::Outcome outcome
            = Replay(finding.target, FuzzFolder(QStringLiteral("regressions"), finding.target) + QLatin1Char('/')
                                         + QLatin1String(finding.file));
        EXPECT_EQ(outcome.violation, "");
        EXPECT_EQ(outcome.accepted, finding.accepted) << outcome.error;
        EXPECT_NE(outcome.error.find(finding.reason), std::string::npos) << outcome.error;
    }
}

// A found input is checked in with what it should end as.
TEST(FuzzFindings, EveryCheckedInInputIsInTheTable)
{
    for (Target target : FuzzHarness::AllTargets())
        for (const QFileInfo& input : QDir(FuzzFolder(QStringLiteral("regressions"), target)).entryInfoList(QDir::Files)) {
            const bool listed = std::any_of(std::begin(kFindings), std::end(kFindings), [&](const Finding& finding) {
                return finding.target == target && input.fileName() == QLatin1String(finding.file);
            });
            EXPECT_TRUE(listed) << input.filePath().toStdString();
        }
}

} // namespace
} // namespace Quelto::Lumindra::Test

#include <sys/resource.h>

#include <cerrno>

#include <QDir>
#include <QFile>
#include <QSettings>

#include <gtest/gtest.h>

#include "core/WorkerThread.h"
#include "support/TestSupport.h"
#include "util/Settings.h"

namespace Quelto::Lumindra::Util {
namespace {

// Points the settings manager at a file of the test's sandbox and back at the test main's store.
class SettingsStoreTest : public ::testing::Test {
protected:
    void SetUp() override { SettingsManager::Instance().SetStoreFile(Store()); }
    void TearDown() override { SettingsManager::Instance().SetStoreFile(previous_); }
    QString Store() const { return sandbox_.FilePath("settings.ini"); }

    Lumindra::Test::Sandbox sandbox_;
    const QString previous_ = SettingsManager::Instance().GetStoreFile();
    SettingsManager& settings_ = SettingsManager::Instance();
};

// The writer puts batches into the file while the caller goes on: a value reads back the same
// whether it is still waiting, being written or already in the file.
TEST_F(SettingsStoreTest, EveryWriteReadsBackAtOnceAndLandsInTheIniFile)
{
    const QString id = Settings::Name(Settings::SESSION, Settings::ID);
    EXPECT_TRUE(settings_.SetValue(id, QStringLiteral("{1234-abcd}")));
    for (int i = 0; i < 300; ++i) {
        ASSERT_TRUE(settings_.SetValue("counter", i));
        if (i % 3 == 0)
            settings_.Remove("toggled");
        else
            settings_.SetValue("toggled", i);
        ASSERT_EQ(settings_.Value("counter").toInt(), i);
        ASSERT_EQ(settings_.Contains("toggled"), i % 3 != 0);
    }
    ASSERT_TRUE(settings_.Flush());
    QSettings reader(Store(), QSettings::IniFormat);
    EXPECT_EQ(reader.value("Session/Id").toString(), "{1234-abcd}");
    EXPECT_EQ(reader.value("counter").toInt(), 299);
    EXPECT_TRUE(reader.contains("toggled"));
}

// The writer runs below the UI thread's priority: a picture shown records itself, and writing
// that down must not take turns with the window on a machine with few cores.
TEST_F(SettingsStoreTest, TheWriterThreadRunsBelowTheWindowsPriority)
{
    ASSERT_TRUE(settings_.SetValue("counter", 1));
    ASSERT_TRUE(settings_.Flush());
    int writers = 0;
    for (const QString& task : QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(QStringLiteral("/proc/self/task/%1/comm").arg(task));
        if (!comm.open(QIODevice::ReadOnly) || comm.readAll().trimmed() != "lumindra-store")
            continue;
        ++writers;
        errno = 0;
        const int nice = getpriority(PRIO_PROCESS, static_cast<id_t>(task.toInt()));
        EXPECT_EQ(errno, 0);
        EXPECT_GE(nice, Core::kWorkerThreadNice);
    }
    EXPECT_EQ(writers, 1);
}

// Opening the store waits for a lock that any write to disk holds, so a value is read from the
// file once; a store chosen again is read afresh.
TEST_F(SettingsStoreTest, AValueIsReadFromTheFileOnceUntilTheStoreIsChosenAgain)
{
    {
        QSettings writer(Store(), QSettings::IniFormat);
        writer.setValue("outside", 1);
    }
    EXPECT_EQ(settings_.Value("outside").toInt(), 1);
    EXPECT_FALSE(settings_.Contains("absent"));
    {
        QSettings writer(Store(), QSettings::IniFormat);
        writer.setValue("outside", 2);
        writer.setValue("absent", 3);
    }
    EXPECT_EQ(settings_.Value("outside").toInt(), 1);
    EXPECT_FALSE(settings_.Contains("absent"));
    ASSERT_TRUE(settings_.SetValue("outside", 4));
    ASSERT_TRUE(settings_.Flush());
    EXPECT_EQ(settings_.Value("outside").toInt(), 4) << "a written value stays known after the write";
    settings_.SetStoreFile(Store());
    EXPECT_EQ(settings_.Value("absent").toInt(), 3);
}

TEST_F(SettingsStoreTest, UnwritableStoreIsReportedAndLosesNothingAlreadyThere)
{
    ASSERT_TRUE(settings_.SetValue("kept", 1));
    // A store whose folder is a file cannot be written, whoever runs the test.
    ASSERT_TRUE(QFile(sandbox_.FilePath("blocker")).open(QIODevice::WriteOnly));
    settings_.SetStoreFile(sandbox_.FilePath("blocker/settings.ini"));
    Lumindra::Test::LogCapture log;
    EXPECT_FALSE(settings_.SetValue("lost", 2));
    EXPECT_TRUE(log.Contains("could not be stored"));
    settings_.SetStoreFile(Store());
    EXPECT_EQ(settings_.Value("kept").toInt(), 1);
}

} // namespace
} // namespace Quelto::Lumindra::Util

#include <QFile>
#include <QSettings>
#include <QStringList>

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "util/Settings.h"

namespace Quelto::Lumindra::Util {
namespace {

// Points the settings manager at a file of the test's sandbox and back at the test main's store.
class SettingsStoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        previous_ = SettingsManager::Instance().GetStoreFile();
        SettingsManager::Instance().SetStoreFile(Store());
    }
    void TearDown() override { SettingsManager::Instance().SetStoreFile(previous_); }
    QString Store() const { return sandbox_.FilePath("settings.ini"); }

    Lumindra::Test::Sandbox sandbox_;
    QString previous_;
};

TEST(SettingsName, JoinsKeysWithTheGroupSeparator)
{
    EXPECT_EQ(Settings::Name(Settings::SESSION, Settings::ID), "Session/Id");
    EXPECT_EQ(Settings::Name(Settings::OPEN, Settings::FILE), "Open/File");
    EXPECT_EQ(Settings::Name(Settings::CORE_CACHE_ENABLED), "CoreCacheEnabled");
    EXPECT_EQ(Settings::Name(nullptr, Settings::ID_LIST), "IdList");
    EXPECT_EQ(Settings::Name(QString(), QStringLiteral("x")), "x");
}

TEST_F(SettingsStoreTest, ValuesRoundTripThroughTheIniFile)
{
    SettingsManager& settings = SettingsManager::Instance();
    const QString id = Settings::Name(Settings::SESSION, Settings::ID);
    const QString list = Settings::Name(Settings::SESSION, Settings::ID_LIST);
    const QString file = Settings::Name(Settings::OPEN, Settings::FILE);
    EXPECT_FALSE(settings.Contains(id));
    EXPECT_EQ(settings.Value(id, 7).toInt(), 7); // fallback while absent
    EXPECT_TRUE(settings.SetValue(id, QStringLiteral("{1234-abcd}")));
    EXPECT_TRUE(settings.SetValue(list, QStringList {"a", "b c", "d/e"}));
    EXPECT_TRUE(settings.SetValue(file, QString::fromUtf8("/ph\xc3\xb6tos/caf\xc3\xa9.jpg")));
    EXPECT_TRUE(settings.SetValue(Settings::Name(Settings::SHOW_LAST_SESSION), false));

    // Reads see the values at once; after a flush they are in the INI file, in groups, where
    // another reader sees them.
    EXPECT_EQ(settings.Value(id).toString(), "{1234-abcd}");
    ASSERT_TRUE(settings.Flush());
    QSettings reader(Store(), QSettings::IniFormat);
    EXPECT_EQ(reader.value("Session/Id").toString(), "{1234-abcd}");
    EXPECT_EQ(settings.Value(list).toStringList(), (QStringList {"a", "b c", "d/e"}));
    EXPECT_EQ(settings.Value(file).toString(), QString::fromUtf8("/ph\xc3\xb6tos/caf\xc3\xa9.jpg"));
    EXPECT_FALSE(settings.Value(Settings::Name(Settings::SHOW_LAST_SESSION), true).toBool());

    settings.Remove(id);
    EXPECT_FALSE(settings.Contains(id));
    EXPECT_TRUE(settings.Contains(list));
}

// The writer puts batches into the file while the caller goes on: a value must read back the
// same whether it is still waiting, being written or already in the file.
TEST_F(SettingsStoreTest, EveryWriteReadsBackWhileTheWriterIsBusy)
{
    SettingsManager& settings = SettingsManager::Instance();
    for (int i = 0; i < 300; ++i) {
        ASSERT_TRUE(settings.SetValue(QStringLiteral("counter"), i));
        if (i % 3 == 0)
            settings.Remove(QStringLiteral("toggled"));
        else
            settings.SetValue(QStringLiteral("toggled"), i);
        ASSERT_EQ(settings.Value(QStringLiteral("counter")).toInt(), i);
        ASSERT_EQ(settings.Contains(QStringLiteral("toggled")), i % 3 != 0);
    }
    ASSERT_TRUE(settings.Flush());
    QSettings reader(Store(), QSettings::IniFormat);
    EXPECT_EQ(reader.value("counter").toInt(), 299);
    EXPECT_TRUE(reader.contains("toggled"));
}

TEST_F(SettingsStoreTest, UnwritableStoreIsReportedAndLosesNothingAlreadyThere)
{
    SettingsManager& settings = SettingsManager::Instance();
    ASSERT_TRUE(settings.SetValue("kept", 1));
    // A store whose folder is a file cannot be written, whoever runs the test.
    QFile blocker(sandbox_.FilePath("blocker"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    settings.SetStoreFile(sandbox_.FilePath("blocker/settings.ini"));
    Lumindra::Test::LogCapture log;
    EXPECT_FALSE(settings.SetValue("lost", 2));
    EXPECT_TRUE(log.Contains("could not be stored"));

    settings.SetStoreFile(Store());
    EXPECT_EQ(settings.Value("kept").toInt(), 1);
}

TEST_F(SettingsStoreTest, LanguageIsTheStoredChoiceElseTheSystemLanguage)
{
    LookAndFeelManager& look = LookAndFeelManager::Instance();
    look.SetLanguage(QString());
    const QString system = look.GetLanguage();
    EXPECT_FALSE(system.isEmpty());
    EXPECT_FALSE(system.contains('-')) << "region must be dropped: " << system.toStdString();
    look.SetLanguage(QStringLiteral("de"));
    EXPECT_EQ(look.GetLanguage(), "de");
    look.SetLanguage(QString());
    EXPECT_EQ(look.GetLanguage(), system);
}

} // namespace
} // namespace Quelto::Lumindra::Util

#include <functional>
#include <string>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include "core/PhotoCoreException.h"
#include "support/TestSupport.h"
#include "util/Paths.h"
#include "util/Settings.h"

namespace Quelto::Lumindra::Util {
namespace {

std::string Utf8(const QString& s)
{
    return s.toUtf8().toStdString();
}

void WriteFile(const QString& path, const QByteArray& bytes = "x")
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << Utf8(path);
    file.write(bytes);
}

struct SpellingCase {
    const char* name;
    const char* spelling; // relative to the sandbox, or absolute when it starts with '/'
    const char* expected; // relative to the sandbox
    friend void PrintTo(const SpellingCase& c, std::ostream* os) { *os << c.name; }
};

class PlatformFileName : public ::testing::TestWithParam<SpellingCase> {};

TEST_P(PlatformFileName, TwoSpellingsOfOneFileGiveOneName)
{
    Lumindra::Test::Sandbox sandbox;
    const QString previous = QDir::currentPath();
    const QString root = QDir(sandbox.Path()).canonicalPath();
    QDir::setCurrent(root);
    const std::string expected = Utf8(root + QLatin1Char('/') + QString::fromUtf8(GetParam().expected));
    const QString spelling = QString::fromUtf8(GetParam().spelling);
    const QString given = spelling.startsWith('/') || spelling.isEmpty() ? spelling : root + QLatin1Char('/') + spelling;
    EXPECT_EQ(GetPlatformFileName(Utf8(given)), expected) << "given " << Utf8(given);
    EXPECT_EQ(GetPlatformFileName(GetParam().spelling), expected) << "relative to the current folder";
    QDir::setCurrent(previous);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, PlatformFileName,
    ::testing::Values(SpellingCase {"Plain", "a/photo.jpg", "a/photo.jpg"},
                      SpellingCase {"DotSegment", "a/./photo.jpg", "a/photo.jpg"},
                      SpellingCase {"ParentSegment", "a/b/../photo.jpg", "a/photo.jpg"},
                      SpellingCase {"DoubledSeparator", "a//photo.jpg", "a/photo.jpg"},
                      SpellingCase {"TrailingSeparatorOfFolder", "a/b/", "a/b"},
                      SpellingCase {"NonAscii", "f\xc3\xb6to/\xc3\xa9t\xc3\xa9 1.jpg", "f\xc3\xb6to/\xc3\xa9t\xc3\xa9 1.jpg"}),
    [](const ::testing::TestParamInfo<SpellingCase>& info) { return std::string(info.param.name); });

TEST(Paths, EmptyPlatformFileNameStaysEmpty)
{
    EXPECT_EQ(GetPlatformFileName(""), "");
}

TEST(Paths, TempDirIsCreatedWithTrailingSeparator)
{
    Lumindra::Test::Sandbox sandbox;
    {
        Lumindra::Test::ScopedEnv env("LUMINDRA_TEMP_DIR", sandbox.FilePath("deep/er").toUtf8());
        const std::string dir = GetTempDirPath();
        EXPECT_EQ(dir, Utf8(sandbox.FilePath("deep/er/")));
        EXPECT_TRUE(QFileInfo(QString::fromStdString(dir)).isDir());
        EXPECT_NO_THROW(CheckTempDirPath());
    }
    Lumindra::Test::ScopedEnv env("LUMINDRA_TEMP_DIR", nullptr);
    const QString dir = QString::fromStdString(GetTempDirPath());
    EXPECT_TRUE(dir.startsWith(QDir::tempPath() + QLatin1Char('/'))) << Utf8(dir);
    EXPECT_TRUE(dir.endsWith('/'));
    EXPECT_TRUE(QFileInfo(dir).isDir());
}

// Folders that cannot serve as the temporary folder. Each yields the folder to try, or an empty
// string when the case cannot be built in this environment.
struct UnusableTempCase {
    const char* name;
    std::function<QString(const Lumindra::Test::Sandbox&)> folder;
    const char* reason; // part of the message
    friend void PrintTo(const UnusableTempCase& c, std::ostream* os) { *os << c.name; }
};

class UnusableTempDir : public ::testing::TestWithParam<UnusableTempCase> {};

TEST_P(UnusableTempDir, CheckThrowsAReadableError)
{
    Lumindra::Test::Sandbox sandbox;
    const QString folder = GetParam().folder(sandbox);
    if (folder.isEmpty())
        GTEST_SKIP() << "permissions do not bind this user (root): the read-only file system case covers it";
    Lumindra::Test::ScopedEnv env("LUMINDRA_TEMP_DIR", folder.toUtf8());
    try {
        CheckTempDirPath();
        ADD_FAILURE() << "no error for " << Utf8(folder);
    } catch (const PhotoCore::PhotoCoreException& e) {
        EXPECT_NE(e.GetDescription().find(GetParam().reason), std::string::npos) << e.what();
        EXPECT_NE(e.GetDescription().find(Utf8(folder)), std::string::npos) << e.what();
    }
    if (folder.startsWith(sandbox.Path())) // so that the sandbox can be removed
        QFile(folder).setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, UnusableTempDir,
    ::testing::Values(
        UnusableTempCase {"UnderARegularFile",
                          [](const Lumindra::Test::Sandbox& s) {
                              WriteFile(s.FilePath("file"));
                              return s.FilePath("file/temp");
                          },
                          "does not exist"},
        UnusableTempCase {"ReadOnlyFileSystem", [](const Lumindra::Test::Sandbox&) { return QStringLiteral("/proc"); },
                          "cannot be written"},
        UnusableTempCase {"ReadOnlyFolder",
                          [](const Lumindra::Test::Sandbox& s) {
                              const QString folder = s.FilePath("readonly");
                              QDir().mkpath(folder);
                              QFile(folder).setPermissions(QFile::ReadOwner | QFile::ExeOwner);
                              QFile probe(folder + "/probe");
                              if (probe.open(QIODevice::WriteOnly)) { // root ignores permissions
                                  probe.remove();
                                  return QString();
                              }
                              return folder;
                          },
                          "cannot be written"}),
    [](const ::testing::TestParamInfo<UnusableTempCase>& info) { return std::string(info.param.name); });

// The default folders read the settings store and the home folder: both are the sandbox's.
class DefaultSaveFolder : public ::testing::Test {
protected:
    void SetUp() override
    {
        previousStore_ = SettingsManager::Instance().GetStoreFile();
        SettingsManager::Instance().SetStoreFile(sandbox_.FilePath("settings.ini"));
        QDir().mkpath(Home());
    }
    void TearDown() override { SettingsManager::Instance().SetStoreFile(previousStore_); }
    QString Home() const { return sandbox_.FilePath("home"); }

    Lumindra::Test::Sandbox sandbox_;
    Lumindra::Test::ScopedEnv home_ {"HOME", sandbox_.FilePath("home").toUtf8()};
    Lumindra::Test::ScopedEnv config_ {"XDG_CONFIG_HOME", nullptr};
    QString previousStore_;
};

TEST_F(DefaultSaveFolder, RemembersTheLastFolderOfEachKind)
{
    const QString saved = sandbox_.FilePath("saved");
    const QString opened = sandbox_.FilePath("opened");
    QDir().mkpath(saved);
    QDir().mkpath(opened);
    SaveDirPath(Utf8(saved), Settings::SAVE);
    SaveDirPath(Utf8(opened), Settings::OPEN);
    SaveDirPath("", Settings::OPEN); // ignored: keeps the last one
    EXPECT_EQ(GetDefaultSaveFolder(), saved);
    EXPECT_EQ(GetDefaultSaveFolder(QString::fromUtf8(Settings::OPEN)), opened);
    EXPECT_EQ(SettingsManager::Instance().Value(Settings::Name(Settings::OPEN, Settings::FOLDER)).toString(), opened);
}

TEST_F(DefaultSaveFolder, FallsBackToPicturesThenHome)
{
    const QString gone = sandbox_.FilePath("gone");
    SaveDirPath(Utf8(gone), Settings::SAVE); // never existed
    EXPECT_EQ(GetDefaultSaveFolder(), Home());
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    ASSERT_TRUE(pictures.startsWith(Home())) << Utf8(pictures);
    QDir().mkpath(pictures);
    EXPECT_EQ(GetDefaultSaveFolder(), pictures);
}

TEST(FileDateTime, SetsTheFileTimeFromAnExifDate)
{
    Lumindra::Test::Sandbox sandbox;
    const QString file = sandbox.FilePath("photo.jpg");
    WriteFile(file);
    // EXIF fields are fixed-size and arrive NUL-padded.
    const std::string padded = std::string("2019:07:14 15:30:45") + std::string(2, '\0');
    ASSERT_TRUE(SetFileDateTimeCreate(Utf8(file), padded));
    const QDateTime expected(QDate(2019, 7, 14), QTime(15, 30, 45));
    const QFileInfo info(file);
    EXPECT_TRUE(info.birthTime() == expected || info.lastModified() == expected)
        << Utf8(info.lastModified().toString(Qt::ISODate));
}

struct BadDateCase {
    const char* name;
    const char* date;
    bool fileExists;
    friend void PrintTo(const BadDateCase& c, std::ostream* os) { *os << c.name; }
};

class FileDateTimeRefusal : public ::testing::TestWithParam<BadDateCase> {};

TEST_P(FileDateTimeRefusal, ReturnsFalseAndLeavesTheFileAsItWas)
{
    Lumindra::Test::Sandbox sandbox;
    const QString file = sandbox.FilePath("photo.jpg");
    if (GetParam().fileExists)
        WriteFile(file, "pixels");
    const QDateTime before = QFileInfo(file).lastModified();
    Lumindra::Test::LogCapture log;
    EXPECT_FALSE(SetFileDateTimeCreate(Utf8(file), GetParam().date));
    EXPECT_GE(log.ProblemCount(), 1);
    EXPECT_EQ(QFileInfo(file).lastModified(), before);
    if (GetParam().fileExists) {
        QFile read(file);
        ASSERT_TRUE(read.open(QIODevice::ReadOnly));
        EXPECT_EQ(read.readAll(), "pixels");
    } else {
        EXPECT_FALSE(QFileInfo::exists(file)) << "must not create the file";
    }
}

INSTANTIATE_TEST_SUITE_P(Paths, FileDateTimeRefusal,
                         ::testing::Values(BadDateCase {"IsoSeparators", "2019-07-14 15:30:45", true},
                                           BadDateCase {"Empty", "", true},
                                           BadDateCase {"ImpossibleMonth", "2019:13:14 15:30:45", true},
                                           BadDateCase {"DateOnly", "2019:07:14", true},
                                           BadDateCase {"MissingFile", "2019:07:14 15:30:45", false}),
                         [](const ::testing::TestParamInfo<BadDateCase>& info) { return std::string(info.param.name); });

// A font the dependency list installs; copied so that each test adds a file of its own.
const char* const kSystemFont = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";

TEST(Fonts, AddsEachFontFileOnceAndSkipsBrokenOnes)
{
    ASSERT_TRUE(QFileInfo::exists(kSystemFont)) << "install fonts-dejavu-core (scripts/install-deps.sh)";
    Lumindra::Test::Sandbox sandbox;
    const QString folder = sandbox.FilePath("fonts");
    QDir().mkpath(folder);
    ASSERT_TRUE(QFile::copy(kSystemFont, folder + "/Session Font.ttf"));
    WriteFile(folder + "/broken.ttf", "not a font");
    WriteFile(folder + "/notes.txt", "ignored");
    Lumindra::Test::LogCapture log;
    EXPECT_EQ(LoadFontsFromFolder(folder), 1);
    EXPECT_TRUE(log.Contains("broken.ttf"));
    EXPECT_EQ(LoadFontsFromFolder(folder), 0) << "a second call adds nothing again";
    EXPECT_EQ(LoadFontsFromFolder(sandbox.FilePath("missing")), 0);
}

TEST(Fonts, LoadPathForFontsLooksInTheApplicationDataFolder)
{
    ASSERT_TRUE(QFileInfo::exists(kSystemFont));
    Lumindra::Test::Sandbox sandbox;
    Lumindra::Test::ScopedEnv data("XDG_DATA_HOME", sandbox.Path().toUtf8());
    const QString appData = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    ASSERT_TRUE(appData.startsWith(sandbox.Path())) << Utf8(appData);
    QDir().mkpath(appData + "/fonts");
    ASSERT_TRUE(QFile::copy(kSystemFont, appData + "/fonts/Restored.ttf"));
    Lumindra::Test::LogCapture log(30);
    LoadPathForFonts();
    EXPECT_TRUE(log.Contains("Fonts loaded for the session: 1"));
}

} // namespace
} // namespace Quelto::Lumindra::Util

#include <string>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include "core/PhotoCoreException.h"
#include "support/TestSupport.h"
#include "util/Paths.h"

namespace Quelto::Lumindra::Util {
namespace {

TEST(Paths, TwoSpellingsOfOneFileGiveOneName)
{
    Lumindra::Test::Sandbox sandbox;
    const QString previous = QDir::currentPath();
    QDir::setCurrent(sandbox.Path());
    const std::string here = QDir::currentPath().toStdString();
    EXPECT_EQ(GetPlatformFileName("f\xc3\xb6to/./b/..//\xc3\xa9t\xc3\xa9 1.jpg"), here + "/f\xc3\xb6to/\xc3\xa9t\xc3\xa9 1.jpg");
    EXPECT_EQ(GetPlatformFileName(here + "/a/b/"), here + "/a/b");
    EXPECT_EQ(GetPlatformFileName(""), "");
    QDir::setCurrent(previous);
}

TEST(Paths, TempDirIsCreatedOrItsProblemIsAReadableError)
{
    Lumindra::Test::Sandbox sandbox;
    {
        Lumindra::Test::ScopedEnv env("LUMINDRA_TEMP_DIR", sandbox.FilePath("deep/er").toUtf8());
        EXPECT_EQ(GetTempDirPath(), sandbox.FilePathUtf8("deep/er/"));
        EXPECT_NO_THROW(CheckTempDirPath());
    }
    QFile(sandbox.FilePath("file")).open(QIODevice::WriteOnly);
    const char* const unusable[][2] = {{"file/temp", "does not exist"}, {"/proc", "cannot be written"}};
    for (const auto& [folder, reason] : unusable) {
        const QString path = QDir(sandbox.Path()).filePath(folder);
        Lumindra::Test::ScopedEnv env("LUMINDRA_TEMP_DIR", path.toUtf8());
        try {
            CheckTempDirPath();
            ADD_FAILURE() << "no error for " << folder;
        } catch (const PhotoCore::PhotoCoreException& e) {
            EXPECT_NE(e.GetDescription().find(reason), std::string::npos) << e.what();
            EXPECT_NE(e.GetDescription().find(path.toStdString()), std::string::npos) << e.what();
        }
    }
}

TEST(Paths, FileDateComesFromAnExifDateWithoutTouchingTheContent)
{
    Lumindra::Test::Sandbox sandbox;
    QFile file(sandbox.FilePath("photo.jpg"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("pixels") == 6);
    file.close();
    // EXIF fields are fixed-size and arrive NUL-padded.
    ASSERT_TRUE(SetFileDateTimeCreate(file.fileName().toStdString(), std::string("2019:07:14 15:30:45\0\0", 21)));
    const QDateTime expected(QDate(2019, 7, 14), QTime(15, 30, 45));
    const QFileInfo info(file.fileName());
    EXPECT_TRUE(info.birthTime() == expected || info.lastModified() == expected);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "pixels");

    for (const char* date : {"2019-07-14 15:30:45", "2019:13:14 15:30:45", "2019:07:14"}) {
        Lumindra::Test::LogCapture log;
        EXPECT_FALSE(SetFileDateTimeCreate(file.fileName().toStdString(), date)) << date;
        EXPECT_EQ(log.ProblemCount(), 1) << date;
    }
    EXPECT_FALSE(SetFileDateTimeCreate(sandbox.FilePathUtf8("missing.jpg"), "2019:07:14 15:30:45"));
    EXPECT_FALSE(QFileInfo::exists(sandbox.FilePath("missing.jpg")));
}

} // namespace
} // namespace Quelto::Lumindra::Util

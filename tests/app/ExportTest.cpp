// `lumindra --export` run as a script runs it: what is written (read back with the metadata
// library), and for each kind of failure the exit code, the reason on standard error, the old
// file left byte for byte and no temporary file left behind.

#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include "support/SavedFiles.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

namespace Support = ::Quelto::Lumindra::Test;

struct ExportRun {
    int exitCode = -1;
    QString errors;
};

// Runs the editor's export; `wrapper` (a program and its arguments) runs it under a limit.
ExportRun Export(const Support::Sandbox& sandbox, const QStringList& arguments, QStringList wrapper = {})
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("LUMINDRA_TEMP_DIR"), sandbox.FilePath(QStringLiteral("tmp")));
    env.insert(QStringLiteral("HOME"), sandbox.Path());
    env.remove(QStringLiteral("DISPLAY"));
    env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    process.setProcessEnvironment(env);
    process.setWorkingDirectory(sandbox.Path());
    const QString editor = QStringLiteral(LUMINDRA_BINARY_DIR "/bin/lumindra");
    if (wrapper.isEmpty()) {
        process.start(editor, QStringList {QStringLiteral("--export")} + arguments);
    } else {
        const QString program = wrapper.takeFirst();
        process.start(program, wrapper + QStringList {editor, QStringLiteral("--export")} + arguments);
    }
    ExportRun run;
    if (!process.waitForFinished(180000)) {
        process.kill();
        process.waitForFinished();
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    run.errors = QString::fromLocal8Bit(process.readAllStandardError());
    return run;
}

TEST(Export, WritesTheEditedPhotoWithTheChosenMetadata)
{
    Support::Sandbox sandbox;
    const QString photo = sandbox.CopyTestData(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg"));
    const QSize size = QImage(photo).size();

    ExportRun run = Export(sandbox, {QStringLiteral("turned.webp"), QStringLiteral("--quality"), QStringLiteral("70"),
                               QStringLiteral("--author"), QStringLiteral("Ann Lee"), QStringLiteral("--comment"),
                               QStringLiteral("Harbour at dawn"), QStringLiteral("--strip-gps"),
                               QStringLiteral("--rotate"), QStringLiteral("90"), photo});
    ASSERT_EQ(run.exitCode, 0) << run.errors.toStdString();
    EXPECT_EQ(QImage(sandbox.FilePath(QStringLiteral("turned.webp"))).size(), size.transposed());
    auto tags = Support::ReadTagsWithExiv2(sandbox.FilePath(QStringLiteral("turned.webp")));
    EXPECT_EQ(tags["Exif.Image.Artist"], "Ann Lee");
    EXPECT_EQ(tags["Exif.Image.ImageDescription"], "Harbour at dawn");
    EXPECT_EQ(tags["Exif.Image.Orientation"], "1");
    EXPECT_FALSE(Support::HasTagGroup(tags, "Exif.GPSInfo."));
    EXPECT_EQ(tags.count("Exif.Image.Make"), 1u);

    run = Export(sandbox, {QStringLiteral("stripped.jpg"), QStringLiteral("--strip-metadata"), photo});
    ASSERT_EQ(run.exitCode, 0) << run.errors.toStdString();
    tags = Support::ReadTagsWithExiv2(sandbox.FilePath(QStringLiteral("stripped.jpg")));
    EXPECT_EQ(tags.count("Exif.Image.Make"), 0u);
    EXPECT_TRUE(Support::HasTagGroup(tags, "Exif.GPSInfo.")) << "stripping the metadata alone keeps the positions";
}

// No one answers the transparency question: the export goes on, white where it was clear, and
// says so.
TEST(Export, TransparencyBecomesWhiteWithANote)
{
    Support::Sandbox sandbox;
    QImage picture(80, 40, QImage::Format_ARGB32);
    picture.fill(QColor(20, 40, 220));
    for (int y = 0; y < 40; ++y)
        for (int x = 40; x < 80; ++x)
            picture.setPixelColor(x, y, QColor(0, 0, 0, 0));
    ASSERT_TRUE(picture.save(sandbox.FilePath(QStringLiteral("clear.png"))));
    const ExportRun run = Export(sandbox, {QStringLiteral("flat.jpg"), sandbox.FilePath(QStringLiteral("clear.png"))});
    ASSERT_EQ(run.exitCode, 0) << run.errors.toStdString();
    EXPECT_TRUE(run.errors.contains(QStringLiteral("white background"))) << run.errors.toStdString();
    const QColor clear = Support::MeanColor(QImage(sandbox.FilePath(QStringLiteral("flat.jpg"))), QRect(48, 4, 28, 32));
    EXPECT_GE(std::min({clear.red(), clear.green(), clear.blue()}), 250) << clear.name().toStdString();
}

TEST(Export, EachFailureHasItsCodeAndReasonAndLeavesTheOldFile)
{
    Support::Sandbox sandbox;
    const QString photo = sandbox.CopyTestData(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg"));
    // A picture whose file is far beyond the size limit below.
    QImage noise(1200, 900, QImage::Format_RGB32);
    for (int y = 0; y < noise.height(); ++y)
        for (int x = 0; x < noise.width(); ++x)
            noise.setPixel(x, y, qRgb((x * 7919 + y * 104729) & 0xff, (x * y * 31) & 0xff, (x ^ (y * 13)) & 0xff));
    ASSERT_TRUE(noise.save(sandbox.FilePath(QStringLiteral("noise.png"))));
    ASSERT_TRUE(QDir(sandbox.Path()).mkpath(QStringLiteral("locked")));
    ASSERT_TRUE(QDir(sandbox.Path()).mkpath(QStringLiteral("a folder.jpg")));
    const QByteArray old("the old file, which must survive");
    for (const QString& name : {QStringLiteral("old.jpg"), QStringLiteral("old.xyz"), QStringLiteral("locked/old.jpg")}) {
        QFile file(sandbox.FilePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(old) == old.size());
    }
    ASSERT_TRUE(QFile::setPermissions(sandbox.FilePath(QStringLiteral("locked")),
                                      QFile::ReadOwner | QFile::ExeOwner | QFile::ReadGroup | QFile::ExeGroup));
    // The administrator writes into any folder: the run drops that power.
    QStringList asPerson;
    if (geteuid() == 0) {
        const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
        ASSERT_FALSE(setpriv.isEmpty()) << "setpriv (util-linux) is needed to run without the administrator's power";
        asPerson = QStringList {setpriv, QStringLiteral("--bounding-set=-dac_override,-dac_read_search"), QStringLiteral("--inh-caps=-all"),
                    QStringLiteral("--")};
    }
    const QString prlimit = QStandardPaths::findExecutable(QStringLiteral("prlimit"));
    ASSERT_FALSE(prlimit.isEmpty()) << "prlimit (util-linux) is needed to fill the disk";

    struct Case {
        const char* what;
        QStringList arguments;
        QStringList wrapper;
        int exitCode;
        const char* reason;
        const char* oldFile; // must stay as it was; null: none
    };
    const Case cases[] = {
        {"an unknown extension", {QStringLiteral("old.xyz"), photo}, {}, 1, "“.xyz” is not a format", "old.xyz"},
        {"a quality out of range", {QStringLiteral("old.jpg"), QStringLiteral("--quality"), QStringLiteral("0"), photo},
         {}, 1, "--quality", "old.jpg"},
        {"no picture", {QStringLiteral("old.jpg")}, {}, 1, "needs the picture", "old.jpg"},
        {"a picture that is not there", {QStringLiteral("old.jpg"), sandbox.FilePath(QStringLiteral("missing.jpg"))},
         {}, 2, "does not exist", "old.jpg"},
        {"a crop outside the picture",
         {QStringLiteral("old.jpg"), QStringLiteral("--crop"), QStringLiteral("5000,0,10,10"), photo}, {}, 3,
         "cannot be applied", "old.jpg"},
        {"a folder as the target", {QStringLiteral("a folder.jpg"), photo}, {}, 4, "is a folder", nullptr},
        {"a read-only folder", {QStringLiteral("locked/old.jpg"), photo}, asPerson, 4, "is read-only", "locked/old.jpg"},
        {"a full disk", {QStringLiteral("old.jpg"), sandbox.FilePath(QStringLiteral("noise.png"))},
         {prlimit, QStringLiteral("--fsize=65536")}, 4, "File too large", "old.jpg"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const ExportRun run = Export(sandbox, c.arguments, c.wrapper);
        EXPECT_EQ(run.exitCode, c.exitCode) << run.errors.toStdString();
        EXPECT_TRUE(run.errors.contains(QString::fromUtf8(c.reason))) << run.errors.toStdString();
        if (c.oldFile) {
            EXPECT_EQ(Support::FileContents(sandbox.FilePath(QString::fromLatin1(c.oldFile))), old);
        }
        for (const QString& folder : {sandbox.Path(), sandbox.FilePath(QStringLiteral("locked"))})
            EXPECT_TRUE(Support::TemporaryFilesIn(folder).isEmpty()) << folder.toStdString();
    }
    QFile::setPermissions(sandbox.FilePath(QStringLiteral("locked")), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace
} // namespace Quelto::Lumindra

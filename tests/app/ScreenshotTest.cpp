// End to end: the editor, started as a person's command line would start it, shows the photo
// upright, fitted into the workspace, with the workspace colour around it.

#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QUrl>
#include <QTransform>

#include <gtest/gtest.h>

#include "support/CompareScreen.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

// Inside a test body "Test" names the test base class; the project helpers go by this name.
namespace Support = ::Quelto::Lumindra::Test;

const QColor kWorkspaceColor(0x1a, 0x1a, 0x1a);

struct Shot {
    int exitCode = -1;
    QString errors;
    QImage image;
};

Shot RunScreenshot(const Support::Sandbox& sandbox, const QStringList& files, const QString& name,
                  const QStringList& extra = {})
{
    Shot shot;
    const QString out = sandbox.FilePath(name);
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("LUMINDRA_TEMP_DIR"), sandbox.FilePath(QStringLiteral("tmp")));
    env.insert(QStringLiteral("HOME"), sandbox.Path()); // settings and caches stay in the sandbox
    process.setProcessEnvironment(env);
    QStringList args {QStringLiteral("--screenshot"), out, QStringLiteral("--size"), QStringLiteral("1000x700")};
    args << extra << files;
    process.start(QStringLiteral(LUMINDRA_BINARY_DIR "/bin/lumindra"), args);
    if (!process.waitForFinished(180000)) {
        process.kill();
        process.waitForFinished();
    }
    shot.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    shot.errors = QString::fromLocal8Bit(process.readAllStandardError());
    shot.image = QImage(out);
    return shot;
}

bool IsWorkspace(QRgb p)
{
    return std::abs(qRed(p) - kWorkspaceColor.red()) <= 3 && std::abs(qGreen(p) - kWorkspaceColor.green()) <= 3
        && std::abs(qBlue(p) - kWorkspaceColor.blue()) <= 3;
}

// The workspace is the area of the workspace colour; the picture is what lies inside it that is
// not of that colour.
struct Layout {
    QRect workspace;
    QRect picture;
};

Layout FindLayout(const QImage& shot)
{
    // Runs of the workspace colour at least this long are workspace; dark text is not.
    constexpr int kMinRun = 40;
    const QImage image = shot.convertToFormat(QImage::Format_RGB32);
    Layout layout;
    auto scan = [&](int lines, int length, auto pixelAt, auto rectOf) {
        for (int line = 0; line < lines; ++line) {
            int run = 0;
            for (int i = 0; i <= length; ++i) {
                if (i < length && IsWorkspace(pixelAt(line, i))) {
                    ++run;
                    continue;
                }
                if (run >= kMinRun)
                    layout.workspace |= rectOf(line, i - run, run);
                run = 0;
            }
        }
    };
    scan(image.height(), image.width(), [&](int y, int x) { return image.pixel(x, y); },
         [](int y, int x, int n) { return QRect(x, y, n, 1); });
    scan(image.width(), image.height(), [&](int x, int y) { return image.pixel(x, y); },
         [](int x, int y, int n) { return QRect(x, y, 1, n); });
    const QRect w = layout.workspace;
    for (int y = w.top(); y <= w.bottom(); ++y)
        for (int x = w.left(); x <= w.right(); ++x)
            if (!IsWorkspace(image.pixel(x, y)))
                layout.picture |= QRect(x, y, 1, 1);
    return layout;
}

// The photo as it should appear, compared with what the screenshot shows at the picture's place.
double PictureMatch(const QImage& shot, const QRect& picture, const QImage& reference)
{
    const QImage seen = shot.copy(picture).convertToFormat(QImage::Format_RGB32);
    const QImage expected = reference.scaled(picture.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                                .convertToFormat(QImage::Format_RGB32);
    return Support::Psnr(seen, expected);
}

TEST(Screenshot, ShowsTheWholePhotoFittedWithTheWorkspaceColourAround)
{
    Support::Sandbox sandbox;
    const QString photo = Support::TestDataPath(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg"));
    const Shot shot = RunScreenshot(sandbox, {photo}, QStringLiteral("shot.png"));
    ASSERT_EQ(shot.exitCode, 0) << shot.errors.toStdString();
    ASSERT_EQ(shot.image.size(), QSize(1000, 700));

    const Layout layout = FindLayout(shot.image);
    ASSERT_FALSE(layout.workspace.isEmpty()) << "no workspace colour on screen";
    ASSERT_FALSE(layout.picture.isEmpty()) << "no picture inside the workspace";
    // Fit: the picture fills the workspace in one direction, keeps its 4:3 shape, and the
    // workspace colour shows on both sides in the other direction.
    const bool fillsWidth = std::abs(layout.picture.width() - layout.workspace.width()) <= 2;
    const bool fillsHeight = std::abs(layout.picture.height() - layout.workspace.height()) <= 2;
    EXPECT_TRUE(fillsWidth || fillsHeight) << "picture " << layout.picture.width() << "x" << layout.picture.height()
                                           << " in workspace " << layout.workspace.width() << "x"
                                           << layout.workspace.height();
    EXPECT_NEAR(double(layout.picture.width()) / layout.picture.height(), 640.0 / 480.0, 0.02);
    EXPECT_GT(PictureMatch(shot.image, layout.picture, QImage(photo)), 24.0)
        << "picture at " << layout.picture.x() << "," << layout.picture.y() << " " << layout.picture.width() << "x"
        << layout.picture.height();
}

TEST(Screenshot, OrientationSamplesAreShownUpright)
{
    Support::Sandbox sandbox;
    const QImage upright(Support::TestDataPath(QStringLiteral("exif-samples/jpg/orientation/landscape_1.jpg")));
    ASSERT_FALSE(upright.isNull());
    for (const char* sample : {"landscape_6.jpg", "landscape_3.jpg"}) {
        SCOPED_TRACE(sample);
        const QString file = Support::TestDataPath(QStringLiteral("exif-samples/jpg/orientation/") + sample);
        const Shot shot = RunScreenshot(sandbox, {file}, QString::fromLatin1(sample) + ".png");
        ASSERT_EQ(shot.exitCode, 0) << shot.errors.toStdString();
        const Layout layout = FindLayout(shot.image);
        ASSERT_FALSE(layout.picture.isEmpty());
        EXPECT_GT(layout.picture.width(), layout.picture.height()) << "a landscape picture must stay landscape";
        EXPECT_GT(PictureMatch(shot.image, layout.picture, upright), 22.0);
        // Turned upside down the same pixels must not match: the comparison can tell.
        EXPECT_LT(PictureMatch(shot.image, layout.picture, upright.mirrored(true, true)), 18.0);
    }
}

TEST(Screenshot, AFileThatCannotBeOpenedExitsWithAMessage)
{
    Support::Sandbox sandbox;
    // A camera file cut off in the middle of its pixel data.
    QFile source(Support::TestDataPath(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg")));
    ASSERT_TRUE(source.open(QIODevice::ReadOnly));
    const QString broken = sandbox.FilePath(QStringLiteral("cut.jpg"));
    QFile cut(broken);
    ASSERT_TRUE(cut.open(QIODevice::WriteOnly));
    cut.write(source.read(source.size() / 3));
    cut.close();
    const Shot shot = RunScreenshot(sandbox, {broken}, QStringLiteral("broken.png"));
    EXPECT_NE(shot.exitCode, 0);
    EXPECT_FALSE(shot.errors.trimmed().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(sandbox.FilePath(QStringLiteral("broken.png"))));

    const Shot missing = RunScreenshot(sandbox, {sandbox.FilePath(QStringLiteral("nothing-here.jpg"))},
                                       QStringLiteral("missing.png"));
    EXPECT_NE(missing.exitCode, 0);
    EXPECT_TRUE(missing.errors.contains(QStringLiteral("nothing-here.jpg")));
}

TEST(Screenshot, FilesArriveAsADesktopEntryPassesThem)
{
    // "Open with" hands over percent-encoded file:// URLs, several at once; the first is shown.
    Support::Sandbox sandbox;
    const QString photo = sandbox.CopyTestData(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg"),
                                               QStringLiteral("mein foto.jpg"));
    const QString other = sandbox.CopyTestData(QStringLiteral("exif-samples/jpg/orientation/landscape_1.jpg"));
    const QString remote = QStringLiteral("https://example.org/photo.jpg");
    struct Case { const char* what; QStringList arguments; int exitCode; };
    for (const Case& c : {Case {"file URLs", {QUrl::fromLocalFile(photo).toString(QUrl::FullyEncoded),
                                              QUrl::fromLocalFile(other).toString(QUrl::FullyEncoded)}, 0},
                          Case {"a remote URL", {remote}, 2}}) {
        SCOPED_TRACE(c.what);
        const Shot shot = RunScreenshot(sandbox, c.arguments, QStringLiteral("urls.png"));
        ASSERT_EQ(shot.exitCode, c.exitCode) << shot.errors.toStdString();
        if (c.exitCode != 0) {
            EXPECT_TRUE(shot.errors.contains(remote)) << shot.errors.toStdString();
            continue;
        }
        const Layout layout = FindLayout(shot.image);
        ASSERT_FALSE(layout.picture.isEmpty());
        EXPECT_GT(PictureMatch(shot.image, layout.picture, QImage(photo)), 24.0);
    }
}

TEST(Screenshot, WithoutAFileTheBundledSampleIsShown)
{
    Support::Sandbox sandbox;
    const Shot shot = RunScreenshot(sandbox, {}, QStringLiteral("sample.png"));
    ASSERT_EQ(shot.exitCode, 0) << shot.errors.toStdString();
    const Layout layout = FindLayout(shot.image);
    ASSERT_FALSE(layout.picture.isEmpty());
    EXPECT_GT(PictureMatch(shot.image, layout.picture,
                           QImage(Support::TestDataPath(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg")))),
              24.0);
}

TEST(Screenshot, CompareShowsTheOriginalUprightBesideThePhotoEditedOnTheCommandLine)
{
    Support::Sandbox sandbox;
    const QString photo = Support::TestDataPath(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg")); // 640x480
    const Shot shot = RunScreenshot(sandbox, {photo}, QStringLiteral("compare.png"),
                                    {"--compare", "--crop", "100,50,300,400", "--rotate", "90"});
    ASSERT_EQ(shot.exitCode, 0) << shot.errors.toStdString();
    const Layout layout = FindLayout(shot.image);
    ASSERT_FALSE(layout.workspace.isEmpty());
    const QImage workspace = shot.image.copy(layout.workspace).convertToFormat(QImage::Format_RGB32);
    const Support::ComparisonOnScreen seen = Support::ReadComparison(workspace);
    ASSERT_FALSE(seen.original.isEmpty() || seen.edited.isEmpty()) << "two pictures side by side";
    EXPECT_GT(seen.separator, seen.original.right());
    EXPECT_LT(seen.separator, seen.edited.left());

    const QTransform quarter = QTransform().rotate(90);
    const QImage original = QImage(photo).transformed(quarter);
    const QImage edited = QImage(photo).copy(100, 50, 300, 400).transformed(quarter);
    auto inner = [](const QRect& r) { return r.adjusted(1, 1, -1, -1); };
    EXPECT_GT(PictureMatch(workspace, inner(seen.original), original), 21.0) << "the whole original, turned";
    EXPECT_GT(PictureMatch(workspace, inner(seen.edited), edited), 21.0) << "the cropped and turned photo";
    EXPECT_LT(PictureMatch(workspace, inner(seen.original), QImage(photo).transformed(QTransform().rotate(270))), 15.0)
        << "turned the other way it does not match: the comparison can tell";
    EXPECT_LT(PictureMatch(workspace, inner(seen.edited), QImage(photo).copy(100, 50, 300, 400)), 15.0);
    EXPECT_NEAR(double(seen.original.width()) / seen.original.height(), 480.0 / 640.0, 0.03);
    EXPECT_NEAR(double(seen.edited.width()) / seen.edited.height(), 400.0 / 300.0, 0.03);
}

TEST(Screenshot, AnEditThatCannotBeMadeExitsWithAMessageAndWritesNothing)
{
    Support::Sandbox sandbox;
    const QString photo = Support::TestDataPath(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg"));
    const struct {
        QStringList words;
        int exitCode;
        const char* message;
    } rows[] = {
        {{"--rotate", "45"}, 1, "expected 90, 180 or 270"},
        {{"--compare", "--flip", "sideways"}, 1, "expected h or v"},
        {{"--compare", "--crop", "5000,0,10,10"}, 3, "outside the picture"},
        {{"--rotate", "90", "--crop", "600,0,10,10"}, 3, "outside the picture"}, // inside only before the turn
    };
    int index = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.words.join(' ').toStdString());
        const QString name = QStringLiteral("refused-%1.png").arg(index++);
        const Shot shot = RunScreenshot(sandbox, {photo}, name, row.words);
        EXPECT_EQ(shot.exitCode, row.exitCode) << shot.errors.toStdString();
        EXPECT_TRUE(shot.errors.contains(QLatin1String(row.message))) << shot.errors.toStdString();
        EXPECT_FALSE(QFileInfo::exists(sandbox.FilePath(name)));
    }
}

} // namespace
} // namespace Quelto::Lumindra

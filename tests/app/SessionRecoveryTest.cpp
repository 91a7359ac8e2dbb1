// A real crash. The editor runs as its own process on an X server of the test's own, driven with
// real key input: it opens a large photo, is edited, autosaves (its interval shortened through
// the settings store), and is killed with SIGKILL. Started again, it offers the session; Enter
// restores it. The restored picture, written out through Save As, must hold the edited pixels,
// and its history must undo to the picture before the last edit - past a save over the photo's
// own file too. A run that ends cleanly leaves nothing in the temporary folder.

#include <optional>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QTransform>

#include <gtest/gtest.h>

#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

namespace Support = ::Quelto::Lumindra::Test;

// Long enough for a 12-megapixel decode and render on a loaded 2-core machine.
constexpr int kWaitMs = 60000;

// Xvfb on a display number it picks itself, for the object's life.
class XServer {
public:
    XServer()
    {
        const QString xvfb = QStandardPaths::findExecutable("Xvfb");
        if (xvfb.isEmpty())
            return;
        // -displayfd: the server writes its display number to our pipe once it accepts clients.
        process_.start(xvfb, {"-displayfd", "1", "-screen", "0", "1280x900x24", "-nolisten", "tcp"});
        QByteArray number;
        while (!number.contains('\n') && process_.waitForReadyRead(kWaitMs))
            number += process_.readAllStandardOutput();
        if (!number.trimmed().isEmpty())
            display_ = ":" + QString::fromLatin1(number.trimmed());
    }
    ~XServer()
    {
        process_.terminate();
        if (!process_.waitForFinished(5000))
            process_.kill();
        process_.waitForFinished();
    }
    QString Display() const { return display_; }

private:
    QProcess process_;
    QString display_;
};

class SessionRecovery : public ::testing::Test {
protected:
    void SetUp() override
    {
        xdotool_ = QStandardPaths::findExecutable("xdotool");
        ASSERT_FALSE(xdotool_.isEmpty()) << "xdotool is missing (scripts/install-deps.sh installs it)";
        ASSERT_FALSE(x_.Display().isEmpty()) << "Xvfb did not start (scripts/install-deps.sh installs it)";
        // The settings store of the runs under test, with the autosave every 300 ms.
        QSettings settings(sandbox_.FilePath("config/Lumindra/Lumindra.conf"), QSettings::IniFormat);
        settings.setValue("Session/AutosaveInterval", 300);
        settings.sync();
        ASSERT_EQ(settings.status(), QSettings::NoError);
    }
    void TearDown() override
    {
        if (editor_.state() != QProcess::NotRunning) {
            editor_.kill();
            editor_.waitForFinished();
        }
    }

    void StartEditor(const QString& photo)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove("QT_QPA_PLATFORM");
        env.insert("DISPLAY", x_.Display());
        env.insert("HOME", sandbox_.Path());
        env.insert("XDG_CONFIG_HOME", sandbox_.FilePath("config"));
        env.insert("LUMINDRA_TEMP_DIR", Temp());
        env.insert("GLOG_logtostderr", "1");
        editor_.setProcessEnvironment(env);
        editor_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        editor_.start(QStringLiteral(LUMINDRA_BINARY_DIR "/bin/lumindra"), {photo});
        ASSERT_TRUE(editor_.waitForStarted());
    }
    // Runs xdotool on the test's display; its output, or nothing when it failed.
    std::optional<QString> Xdo(const QStringList& args)
    {
        QProcess xdo;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("DISPLAY", x_.Display());
        xdo.setProcessEnvironment(env);
        xdo.start(xdotool_, args);
        const bool done = xdo.waitForFinished(kWaitMs);
        if (!done)
            xdo.kill();
        if (!done || xdo.exitCode() != 0) {
            ADD_FAILURE() << "xdotool " << args.join(' ').toStdString() << ": " << xdo.readAllStandardError().toStdString();
            return std::nullopt;
        }
        return QString::fromLocal8Bit(xdo.readAllStandardOutput()).trimmed();
    }
    // Waits for a shown window whose title matches `pattern` (a regular expression); its id.
    QString FindWindow(const QString& pattern)
    {
        return Xdo({"search", "--sync", "--onlyvisible", "--name", pattern}).value_or(QString()).section('\n', 0, 0);
    }
    // Waits for the window, gives it the keyboard and presses `keys` (with their modifiers) one
    // after another, then types `text`.
    bool KeysTo(const QString& pattern, const QStringList& keys, const QString& text = QString())
    {
        const QString window = FindWindow(pattern);
        return !window.isEmpty() && Xdo({"windowfocus", "--sync", window})
            && Xdo(QStringList {"key", "--delay", "50"} + keys) && (text.isEmpty() || Xdo({"type", "--delay", "20", text}));
    }
    // Save As from the editor's window into `path`, through the save window, as a person does.
    QImage SaveAs(const QString& path)
    {
        EXPECT_TRUE(KeysTo("Lumindra$", {"ctrl+shift+s"}));
        EXPECT_TRUE(KeysTo("^Save Picture As", {"ctrl+a"}, path));
        EXPECT_TRUE(KeysTo("^Save Picture As", {"Return"}));
        // Written through a temporary file and a rename: once it is there, it is whole.
        EXPECT_TRUE(Support::WaitUntil([&] { return QFileInfo::exists(path); }, kWaitMs)) << path.toStdString();
        return QImage(path).convertToFormat(QImage::Format_RGB32);
    }
    QString Temp() const { return sandbox_.FilePath("tmp"); }
    // A large photo made from a real one, in the sandbox; `original` gets its decode, which is
    // what a restore must start from.
    QString MakePhoto(QImage& original)
    {
        const QString photo = sandbox_.FilePath("photo.jpg");
        const QImage source(Support::TestDataPath("exif-samples/jpg/gps/DSCN0010.jpg"));
        EXPECT_FALSE(source.isNull());
        EXPECT_TRUE(source.scaled(4000, 3000, Qt::IgnoreAspectRatio, Qt::SmoothTransformation).save(photo, "JPEG", 92));
        original = QImage(photo).convertToFormat(QImage::Format_RGB32);
        return photo;
    }
    void KillEditor()
    {
        editor_.kill(); // SIGKILL: nothing of the editor runs after it
        ASSERT_TRUE(editor_.waitForFinished());
        ASSERT_EQ(editor_.exitStatus(), QProcess::CrashExit);
    }
    QStringList TempEntries() const
    {
        return QDir(Temp()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }
    // The session folder that holds an autosave with `applied` of `steps` edits; empty if none.
    QString AutosavedSession(int applied, int steps) const
    {
        for (const QFileInfo& folder : QDir(Temp()).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            QFile file(QDir(folder.absoluteFilePath()).filePath("core.json"));
            if (!file.open(QIODevice::ReadOnly))
                continue;
            const QJsonObject state = QJsonDocument::fromJson(file.readAll()).object();
            if (state.value("position").toString().toInt() == applied
                && state.value("history").toArray().size() == steps)
                return folder.absoluteFilePath();
        }
        return QString();
    }

    Support::Sandbox sandbox_;
    XServer x_;
    QString xdotool_;
    QProcess editor_;
};

TEST_F(SessionRecovery, AKilledEditorRestoresTheEditedPictureWithItsHistory)
{
    QImage original;
    const QString photo = MakePhoto(original);
    const QImage rotated = original.transformed(QTransform().rotate(90)); // Rotate Right
    const QImage edited = rotated.mirrored(true, false);                  // then Flip Horizontally

    // Rotate, flip, rotate again and undo that: the autosave holds two applied edits of three.
    StartEditor(photo);
    ASSERT_TRUE(KeysTo("^photo\\.jpg", {"ctrl+r", "ctrl+h", "ctrl+r", "ctrl+z"}));
    QString folder;
    ASSERT_TRUE(Support::WaitUntil([&] { return !(folder = AutosavedSession(2, 3)).isEmpty(); }, kWaitMs))
        << "no autosave of the edits";
    KillEditor();
    ASSERT_TRUE(QFileInfo::exists(QDir(folder).filePath("workspace.lock")));

    StartEditor(photo);
    ASSERT_TRUE(KeysTo("^Restore Session", {"Return"}));
    ASSERT_FALSE(FindWindow("^photo\\.jpg\\*").isEmpty()) << "the picture, with edits that are not saved";

    const QImage restored = SaveAs(sandbox_.FilePath("restored.png"));
    ASSERT_EQ(restored.size(), edited.size());
    const double match = Support::Psnr(restored, edited);
    EXPECT_GT(match, 40.0) << "the restored picture is the edited one";
    EXPECT_GT(match, Support::Psnr(restored, rotated) + 10.0) << "both edits, not only the first";

    // Its history came back too: one undo leaves the first edit alone.
    ASSERT_TRUE(KeysTo("Lumindra$", {"ctrl+z"}));
    const QImage undone = SaveAs(sandbox_.FilePath("undone.png"));
    ASSERT_EQ(undone.size(), rotated.size());
    EXPECT_GT(Support::Psnr(undone, rotated), 40.0);
}

// Save (Ctrl+S) writes the rotated picture over the photo itself; a flip follows, then the kill.
// The restore must not rotate the saved file once more, its title must know the file holds the
// rotation, and undoing past the save must give the photo as it was first opened. Quitting then
// leaves nothing behind in the temporary folder.
TEST_F(SessionRecovery, ASaveOverThePhotoBeforeTheKillIsRestoredOnceAndUndoesToTheOriginal)
{
    QImage original;
    const QString photo = MakePhoto(original);
    const QImage rotated = original.transformed(QTransform().rotate(90));
    const QImage edited = rotated.mirrored(true, false);

    StartEditor(photo);
    ASSERT_TRUE(KeysTo("^photo\\.jpg", {"ctrl+r", "ctrl+s"}));
    ASSERT_TRUE(Support::WaitUntil([&] { return QImage(photo).size() == rotated.size(); }, kWaitMs))
        << "the rotation was not saved over the photo";
    ASSERT_FALSE(FindWindow("^photo\\.jpg –").isEmpty()) << "saved: no asterisk";
    ASSERT_TRUE(KeysTo("^photo\\.jpg", {"ctrl+h"}));
    QString folder;
    ASSERT_TRUE(Support::WaitUntil([&] { return !(folder = AutosavedSession(2, 2)).isEmpty(); }, kWaitMs))
        << "no autosave of the edits";
    KillEditor();

    StartEditor(photo);
    ASSERT_TRUE(KeysTo("^Restore Session", {"Return"}));
    ASSERT_FALSE(FindWindow("^photo\\.jpg\\*").isEmpty()) << "the flip is not saved";
    // One undo reaches the saved state: the file holds it.
    ASSERT_TRUE(KeysTo("Lumindra$", {"ctrl+z"}));
    EXPECT_FALSE(FindWindow("^photo\\.jpg –").isEmpty()) << "the saved state has no asterisk";
    ASSERT_TRUE(KeysTo("Lumindra$", {"ctrl+y"}));
    const QImage restored = SaveAs(sandbox_.FilePath("restored.png"));
    ASSERT_EQ(restored.size(), edited.size()) << "the saved rotation was applied again";
    EXPECT_GT(Support::Psnr(restored, edited), 40.0) << "the restored picture is the one on screen at the kill";

    // Undoing past the save gives the photo as it was first opened.
    ASSERT_TRUE(KeysTo("Lumindra$", {"ctrl+z", "ctrl+z"}));
    const QImage undone = SaveAs(sandbox_.FilePath("undone.png"));
    ASSERT_EQ(undone.size(), original.size());
    EXPECT_GT(Support::Psnr(undone, original), 40.0) << "undone past the save to the original";

    // Just saved, nothing asks to be discarded: Quit ends the editor cleanly.
    ASSERT_FALSE(FindWindow("^undone\\.png –").isEmpty());
    ASSERT_TRUE(KeysTo("Lumindra$", {"ctrl+q"}));
    ASSERT_TRUE(editor_.waitForFinished(kWaitMs));
    EXPECT_EQ(editor_.exitStatus(), QProcess::NormalExit);
    EXPECT_TRUE(TempEntries().isEmpty()) << TempEntries().join(' ').toStdString();
}

} // namespace
} // namespace Quelto::Lumindra

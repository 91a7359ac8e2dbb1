// A real crash. The editor runs as its own process on an X server of the test's own, driven with
// real key input: it opens a large photo, is edited, autosaves (its interval shortened through
// the settings store), and is killed with SIGKILL. Started again, it offers the session; Enter
// restores it. The restored picture, written out through Save As, must hold the edited pixels,
// and its history must undo to the picture before the last edit.

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
    // A large photo from a real one; its decode is what the restore must reproduce.
    const QString photo = sandbox_.FilePath("photo.jpg");
    const QImage source(Support::TestDataPath("exif-samples/jpg/gps/DSCN0010.jpg"));
    ASSERT_FALSE(source.isNull());
    ASSERT_TRUE(source.scaled(4000, 3000, Qt::IgnoreAspectRatio, Qt::SmoothTransformation).save(photo, "JPEG", 92));
    const QImage original = QImage(photo).convertToFormat(QImage::Format_RGB32);
    const QImage rotated = original.transformed(QTransform().rotate(90)); // Rotate Right
    const QImage edited = rotated.mirrored(true, false);                  // then Flip Horizontally

    // Rotate, flip, rotate again and undo that: the autosave holds two applied edits of three.
    StartEditor(photo);
    ASSERT_TRUE(KeysTo("^photo\\.jpg", {"ctrl+r", "ctrl+h", "ctrl+r", "ctrl+z"}));
    QString folder;
    ASSERT_TRUE(Support::WaitUntil([&] { return !(folder = AutosavedSession(2, 3)).isEmpty(); }, kWaitMs))
        << "no autosave of the edits";
    editor_.kill(); // SIGKILL: nothing of the editor runs after it
    ASSERT_TRUE(editor_.waitForFinished());
    ASSERT_EQ(editor_.exitStatus(), QProcess::CrashExit);
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

} // namespace
} // namespace Quelto::Lumindra

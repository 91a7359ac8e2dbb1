// The session as a person meets it in the editor window: the offer to restore what a crash left,
// answered with the keyboard, and the notice of an autosave that fails. (The crash itself, a
// real kill of the editor's process, is tested in tests/app.)

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTest>

#include <gtest/gtest.h>

#include "EditorHarness.h"
#include "LumindraWorkspace/IWorkspaceController.h"
#include "LumindraWorkspace/UnfinishedSession.h"
#include "RestoreOffer.h"
#include "util/Settings.h"

namespace Quelto::Lumindra {
namespace {

namespace Support = ::Quelto::Lumindra::Test;
using Support::EditorHarness;

const QString kAutosaveInterval = Util::Settings::Name(Util::Settings::SESSION, Util::Settings::AUTOSAVE_INTERVAL);

class SessionScenarios : public ::testing::Test {
protected:
    SessionScenarios() : temp_("LUMINDRA_TEMP_DIR", sandbox_.FilePath(QStringLiteral("tmp")).toUtf8())
    {
        Util::SettingsManager::Instance().SetValue(kAutosaveInterval, 50);
    }
    ~SessionScenarios() override { Util::SettingsManager::Instance().Remove(kAutosaveInterval); }

    static QString SessionFolder(EditorHarness& editor)
    {
        return QString::fromStdString(editor.Window().GetController()->GetIOEngine().GetSessionFolder().utf8string());
    }
    // Opens the photo, rotates it with the keyboard, waits for its autosave and ends the run the
    // way a crash does: the folder stays as the autosave left it (a clean end removes it), with a
    // lock naming a process that is gone. Returns the session folder.
    QString CrashAfterAnAutosave(const QString& photo)
    {
        QString folder;
        const QDir left(sandbox_.FilePath(QStringLiteral("left-by-the-crash")));
        {
            EditorHarness editor({1200, 800});
            EXPECT_TRUE(editor.Open(photo));
            editor.Key(Qt::Key_R, Qt::ControlModifier);
            folder = SessionFolder(editor);
            EXPECT_TRUE(Support::WaitUntil([&] { return QFileInfo::exists(folder + QStringLiteral("/core.json"))
                                                        && QFileInfo::exists(QDir(folder).filePath(
                                                               IWorkspaceController::PREVIEW_NAME)); }));
            EXPECT_TRUE(QDir().mkpath(left.path()));
            for (const QFileInfo& file : QDir(folder).entryInfoList(QDir::Files))
                EXPECT_TRUE(QFile::copy(file.absoluteFilePath(), left.filePath(file.fileName())));
        }
        EXPECT_FALSE(QFileInfo::exists(folder)) << "a clean end leaves no session folder";
        EXPECT_TRUE(QDir(left).rename(left.path(), folder));
        QProcess gone;
        gone.start(QStringLiteral("true"), QStringList());
        EXPECT_TRUE(gone.waitForStarted());
        const QByteArray pid = QByteArray::number(gone.processId());
        EXPECT_TRUE(gone.waitForFinished());
        QFile lock(folder + QStringLiteral("/workspace.lock"));
        EXPECT_TRUE(lock.open(QIODevice::WriteOnly) && lock.write(pid) > 0);
        return folder;
    }

    Support::Sandbox sandbox_;
    Support::ScopedEnv temp_;
};

// The offer shows the session's own preview picture and is answered with the keyboard: Enter
// restores the picture with its edit, Alt+D discards the session's folder, Escape decides
// nothing (the session is offered again next time). Unless restored, the file given opens.
TEST_F(SessionScenarios, TheOfferShowsThePreviewAndTheKeysRestoreDiscardOrPostpone)
{
    const QString photo = Support::MakePhoto(sandbox_.FilePath(QStringLiteral("photo.jpg")), {3000, 2000});
    const QString other = Support::MakePhoto(sandbox_.FilePath(QStringLiteral("other.jpg")), {1200, 800}, 1);
    struct Case { const char* what; int key; Qt::KeyboardModifiers modifiers; bool restored, folderStays; };
    for (const Case& c : {Case {"Enter restores", Qt::Key_Return, Qt::NoModifier, true, true},
                          Case {"Alt+D discards", Qt::Key_D, Qt::AltModifier, false, false},
                          Case {"Escape postpones", Qt::Key_Escape, Qt::NoModifier, false, true}}) {
        SCOPED_TRACE(c.what);
        const QString folder = CrashAfterAnAutosave(photo);
        const QImage preview(QDir(folder).filePath(IWorkspaceController::PREVIEW_NAME));
        ASSERT_FALSE(preview.isNull());

        EditorHarness editor({1200, 800});
        const auto session = UnfinishedSession::Find();
        ASSERT_TRUE(session);
        editor.Window().OfferToRestore(*session, {other});
        App::RestoreOffer* offer = editor.Window().GetRestoreOffer();
        ASSERT_TRUE(offer);
        ASSERT_TRUE(QTest::qWaitForWindowExposed(offer));
        QApplication::setActiveWindow(offer); // as the window system does for a new dialog
        EXPECT_EQ(offer->GetShownPreview().toImage().convertToFormat(QImage::Format_RGB32),
                  preview.convertToFormat(QImage::Format_RGB32));
        QTest::keyClick(offer, Qt::Key(c.key), c.modifiers);

        ASSERT_TRUE(editor.WaitForFullFrame(c.restored ? photo : other));
        EXPECT_FALSE(editor.Window().GetRestoreOffer());
        const auto controller = editor.Window().GetController();
        EXPECT_EQ(controller->GetUndoEngine()->GetUndoCount(), c.restored ? 1 : 0);
        EXPECT_EQ(QFileInfo(folder).isDir(), c.folderStays);
        EXPECT_EQ(UnfinishedSession::Find().has_value(), c.folderStays && !c.restored)
            << "restored, the folder belongs to this run; postponed, it is offered again";
        QDir(folder).removeRecursively();
    }
}

// The person is told of a failed autosave once, in the status bar, not at every tick.
TEST_F(SessionScenarios, AFailedAutosaveIsToldOnceInTheStatusBar)
{
    const QString photo = Support::MakePhoto(sandbox_.FilePath(QStringLiteral("photo.jpg")), {1200, 800});
    EditorHarness editor({1200, 800});
    ASSERT_TRUE(editor.Open(photo));
    const QString folder = SessionFolder(editor);
    ASSERT_TRUE(QDir(folder).removeRecursively());
    QFile blocker(folder); // a file where the session folder must go
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    QSignalSpy status(editor.Window().statusBar(), &QStatusBar::messageChanged);
    Support::LogCapture log;

    editor.Key(Qt::Key_H, Qt::ControlModifier);
    ASSERT_TRUE(Support::WaitUntil([&] { return log.Count("Cannot save session: ") >= 3; }));
    QApplication::processEvents();
    int told = 0;
    for (const QList<QVariant>& message : status)
        told += message.at(0).toString().startsWith(QStringLiteral("Autosave failed")) ? 1 : 0;
    EXPECT_EQ(told, 1);
    EXPECT_TRUE(editor.Window().GetLastNotice().contains(QStringLiteral("would be lost")));
    QFile::remove(folder);
}

} // namespace
} // namespace Quelto::Lumindra

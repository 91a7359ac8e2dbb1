// Saving as a person does it in the editor: Ctrl+S over the open file while the window goes on,
// Save As through the save window, and a save that fails saying why.

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QStatusBar>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include "EditorHarness.h"
#include "SaveDialog.h"
#include "photocore/IPhotoCoreIO.h"
#include "support/SavedFiles.h"

namespace Quelto::Lumindra {
namespace {

namespace Support = ::Quelto::Lumindra::Test;
using Support::EditorHarness;
using IO = PhotoCore::IPhotoCoreIO;

QAction* Action(App::MainWindow& window, const QKeySequence& key)
{
    for (QAction* action : window.findChildren<QAction*>())
        if (action->shortcut() == key)
            return action;
    ADD_FAILURE() << key.toString().toStdString();
    return nullptr;
}

// Fills the save window as a person does once it is up, then presses its Save button.
void FillSaveWindowWhenItOpens(std::function<void(App::SaveDialog&)> fill)
{
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [poll, fill = std::move(fill)] {
        auto* dialog = qobject_cast<App::SaveDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible())
            return;
        poll->deleteLater();
        poll->stop();
        fill(*dialog);
        QTest::mouseClick(dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Save), Qt::LeftButton);
    });
    poll->start(10);
}

TEST(EditorSaving, SaveOverTheFileThenSaveAsWithTheWindowThenAFailureThatSaysWhy)
{
    Support::Sandbox sandbox;
    ASSERT_TRUE(QDir(sandbox.Path()).mkdir(QStringLiteral("album")));
    const QString photo =
        sandbox.CopyTestData(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg"), QStringLiteral("album/photo.jpg"));
    const QSize size = QImage(photo).size();
    EditorHarness editor({1200, 800});
    App::MainWindow& window = editor.Window();
    ASSERT_TRUE(editor.Open(photo));
    EXPECT_FALSE(window.isWindowModified());
    QSignalSpy finished(&window, &App::MainWindow::saveFinished);

    // Ctrl+S over the open file; a second Ctrl+S while it runs starts nothing.
    editor.Key(Qt::Key_R, Qt::ControlModifier);
    ASSERT_TRUE(Support::WaitUntil([&] { return window.isWindowModified(); })) << "no edited mark in the title";
    QAction* save = Action(window, QKeySequence::Save);
    editor.Key(Qt::Key_S, Qt::ControlModifier);
    EXPECT_TRUE(window.GetController()->IsSaving());
    EXPECT_FALSE(save->isEnabled());
    editor.Key(Qt::Key_S, Qt::ControlModifier);
    ASSERT_TRUE(Support::WaitUntil([&] { return !finished.isEmpty(); }));
    QApplication::processEvents();
    ASSERT_EQ(finished.size(), 1);
    EXPECT_EQ(finished[0][0].toInt(), int(IO::SaveResultSuccess));
    EXPECT_EQ(QImage(photo).size(), size.transposed());
    EXPECT_FALSE(window.isWindowModified());
    EXPECT_TRUE(save->isEnabled());
    EXPECT_TRUE(Support::HasTagGroup(Support::ReadTagsWithExiv2(photo), "Exif.GPSInfo.")) << "nothing was chosen to be stripped";

    // Save As: the save window, filled in as a person does.
    const QString copy = sandbox.FilePath(QStringLiteral("album/copy.webp"));
    FillSaveWindowWhenItOpens([&](App::SaveDialog& dialog) {
        auto* name = dialog.findChild<QLineEdit*>(QStringLiteral("fileName"));
        name->selectAll();
        QTest::keyClicks(name, copy);
        dialog.findChild<QSpinBox*>(QStringLiteral("quality"))->setValue(70);
        QTest::keyClicks(dialog.findChild<QLineEdit*>(QStringLiteral("author")), QStringLiteral("Ann Lee"));
        auto* gps = dialog.findChild<QCheckBox*>(QStringLiteral("removeGps"));
        QTest::mouseClick(gps, Qt::LeftButton, {}, QPoint(8, gps->height() / 2));
    });
    editor.Key(Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_TRUE(Support::WaitUntil([&] { return finished.size() == 2; }));
    EXPECT_EQ(finished[1][0].toInt(), int(IO::SaveResultSuccess)) << finished[1][2].toString().toStdString();
    const auto tags = Support::ReadTagsWithExiv2(copy);
    EXPECT_EQ(tags.count("Exif.Image.Artist") ? tags.at("Exif.Image.Artist") : "", "Ann Lee");
    EXPECT_FALSE(Support::HasTagGroup(tags, "Exif.GPSInfo."));
    EXPECT_TRUE(window.windowTitle().startsWith(QStringLiteral("copy.webp"))) << window.windowTitle().toStdString();

    // The folder goes while the picture is open: Ctrl+S says why it cannot save, and the edit is
    // still there to be saved elsewhere.
    editor.Key(Qt::Key_L, Qt::ControlModifier);
    ASSERT_TRUE(Support::WaitUntil([&] { return window.isWindowModified(); }));
    ASSERT_TRUE(QDir(sandbox.FilePath(QStringLiteral("album"))).removeRecursively());
    editor.Key(Qt::Key_S, Qt::ControlModifier);
    ASSERT_TRUE(Support::WaitUntil([&] { return finished.size() == 3; }));
    EXPECT_EQ(finished[2][0].toInt(), int(IO::SaveResultNotWritable));
    EXPECT_TRUE(window.statusBar()->currentMessage().contains(QStringLiteral("does not exist")))
        << window.statusBar()->currentMessage().toStdString();
    EXPECT_TRUE(window.isWindowModified());
}

} // namespace
} // namespace Quelto::Lumindra

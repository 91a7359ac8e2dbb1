// The save window and the choices it hands to the open image: the format follows the file name
// and the other way round, a name that cannot be saved says why, and the choices stay with the
// image and become the defaults of the next.

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>

#include <gtest/gtest.h>

#include "LumindraWorkspace/WorkspaceController.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "LumindraWorkspace/WorkspaceMetadata.h"
#include "SaveChoices.h"
#include "SaveDialog.h"
#include "photocore/StatisticsEventHandler.h"
#include "support/TestSupport.h"
#include "util/Settings.h"

namespace Quelto::Lumindra::App {
namespace {

namespace Support = ::Quelto::Lumindra::Test;

template <class T>
T* Child(const QWidget& dialog, const char* name)
{
    T* child = dialog.findChild<T*>(QString::fromLatin1(name));
    EXPECT_TRUE(child) << name;
    return child;
}

// Types into the file name field as a person does: the field's text is replaced, key by key.
void TypeFileName(SaveDialog& dialog, const QString& text)
{
    QLineEdit* name = Child<QLineEdit>(dialog, "fileName");
    name->selectAll();
    QTest::keyClick(name, Qt::Key_Delete);
    QTest::keyClicks(name, text);
}

bool SaveEnabled(const SaveDialog& dialog)
{
    return dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Save)->isEnabled();
}

class SaveDialogTest : public ::testing::Test {
protected:
    SaveDialogTest()
    {
        for (const char* key : {"RemoveMetadata", "RemoveGPS", "Author", "Quality/jpeg", "Quality/webp"})
            Util::SettingsManager::Instance().Remove(Util::Settings::Name(Util::Settings::SAVE, key));
    }
    std::shared_ptr<IWorkspaceController> Open(const QString& name)
    {
        const QString path = sandbox_.CopyTestData(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg"), name);
        auto controller = WorkspaceController::Create(provider_, ioPath(path.toStdString()), {});
        EXPECT_TRUE(controller->GetLumindraDrawer()->WaitForIdle(Support::kDefaultWaitMs));
        return controller;
    }

    Support::Sandbox sandbox_;
    Support::ScopedEnv tempDir_ {"LUMINDRA_TEMP_DIR", QDir(sandbox_.Path()).filePath("tmp").toUtf8()};
    StatisticsEventHandler statistics_;
    WorkspaceControllerProvider provider_ {false, &statistics_, false};
};

TEST_F(SaveDialogTest, TheFormatFollowsTheNameAndTheNameTheFormat)
{
    SaveChoices initial;
    initial.fileName = sandbox_.FilePath(QStringLiteral("photo.jpg"));
    initial.quality = 77;
    SaveDialog dialog(initial, [](const QString&) { SaveChoices none; none.quality = 85; return none; }, QString());
    QComboBox* format = Child<QComboBox>(dialog, "format");
    QSpinBox* quality = Child<QSpinBox>(dialog, "quality");
    ASSERT_EQ(format->count(), SaveChoices::SaveExtensions().size());
    EXPECT_EQ(format->currentData().toString(), QStringLiteral("jpg"));
    EXPECT_EQ(quality->value(), 77);

    struct Case { const char* extension; bool quality, metadata; };
    for (const Case& c : {Case {"png", false, true}, Case {"tif", false, true}, Case {"webp", true, true},
                          Case {"heic", true, false}, Case {"avif", true, false}, Case {"jpg", true, true}}) {
        SCOPED_TRACE(c.extension);
        format->setCurrentIndex(format->findData(QString::fromLatin1(c.extension)));
        EXPECT_EQ(dialog.GetChoices().fileName, sandbox_.FilePath(QStringLiteral("photo.") + c.extension));
        EXPECT_EQ(quality->isVisibleTo(&dialog), c.quality);
        EXPECT_EQ(Child<QGroupBox>(dialog, "metadata")->isEnabled(), c.metadata);
        EXPECT_EQ(Child<QLabel>(dialog, "metadataNote")->isVisibleTo(&dialog), !c.metadata);
    }
    EXPECT_EQ(quality->value(), 77) << "the quality chosen for JPEG is kept while other formats are looked at";
    format->setCurrentIndex(format->findData(QStringLiteral("webp")));
    EXPECT_EQ(quality->value(), 85) << "WebP starts from the image's own";

    TypeFileName(dialog, sandbox_.FilePath(QStringLiteral("typed.tiff")));
    EXPECT_EQ(format->currentData().toString(), QStringLiteral("tif"));
    TypeFileName(dialog, sandbox_.FilePath(QStringLiteral("no-extension")));
    EXPECT_EQ(dialog.GetChoices().fileName, sandbox_.FilePath(QStringLiteral("no-extension.tif")));
    TypeFileName(dialog, sandbox_.FilePath(QStringLiteral("2024.06")));
    format->setCurrentIndex(format->findData(QStringLiteral("png")));
    EXPECT_EQ(dialog.GetChoices().fileName, sandbox_.FilePath(QStringLiteral("2024.06.png")));
}

TEST_F(SaveDialogTest, ANameThatCannotBeSavedSaysWhyAndCannotBeAccepted)
{
    ASSERT_TRUE(QDir(sandbox_.Path()).mkdir(QStringLiteral("album.jpg")));
    SaveChoices initial;
    initial.fileName = sandbox_.FilePath(QStringLiteral("photo.jpg"));
    SaveDialog dialog(initial, {}, QString());
    EXPECT_TRUE(dialog.GetProblem().isEmpty());
    EXPECT_TRUE(SaveEnabled(dialog));
    struct Case { QString name; const char* says; };
    for (const Case& c : {Case {sandbox_.FilePath(QStringLiteral("photo.xyz")), "“.xyz” files"},
                          Case {sandbox_.FilePath(QStringLiteral("photo.gif")), "“.gif” files"},
                          Case {sandbox_.FilePath(QStringLiteral("gone/photo.jpg")), "does not exist"},
                          Case {sandbox_.FilePath(QStringLiteral("album.jpg")), "is a folder"},
                          Case {QString(), "Enter a file name"}}) {
        SCOPED_TRACE(c.name.toStdString());
        TypeFileName(dialog, c.name);
        EXPECT_TRUE(dialog.GetProblem().contains(QString::fromUtf8(c.says))) << dialog.GetProblem().toStdString();
        EXPECT_TRUE(Child<QLabel>(dialog, "problem")->isVisibleTo(&dialog));
        EXPECT_FALSE(SaveEnabled(dialog));
        dialog.accept();
        EXPECT_EQ(dialog.result(), QDialog::Rejected);
    }
}

// The choices made for one image stay with it (also on a save over its file, which asks
// nothing); the last ones become the defaults of the next image, the author only as a proposal.
TEST_F(SaveDialogTest, ChoicesStayWithTheImageAndBecomeTheNextDefaults)
{
    auto first = Open(QStringLiteral("first.jpg"));
    const SaveChoices atOpen = SaveChoices::Of(*first, first->GetFileName());
    EXPECT_FALSE(atOpen.removeMetadata || atOpen.removeGps);
    EXPECT_GT(atOpen.quality, 0);

    SaveChoices chosen = atOpen;
    chosen.fileName = sandbox_.FilePath(QStringLiteral("first.webp"));
    chosen.quality = 61;
    chosen.author = QStringLiteral("Ann Lee");
    chosen.comment = QStringLiteral("Harbour");
    chosen.removeGps = true;
    chosen.ApplyTo(first->MetadataSettings());
    chosen.StoreAsDefaults();
    const SaveChoices remembered = SaveChoices::Of(*first, chosen.fileName);
    EXPECT_EQ(remembered.quality, 61);
    EXPECT_EQ(remembered.author, QStringLiteral("Ann Lee"));
    EXPECT_EQ(remembered.comment, QStringLiteral("Harbour"));
    EXPECT_TRUE(remembered.removeGps);
    EXPECT_FALSE(remembered.removeMetadata);
    EXPECT_EQ(SaveChoices::Of(*first, first->GetFileName()).quality, atOpen.quality) << "JPEG keeps its own";

    auto second = Open(QStringLiteral("second.jpg"));
    EXPECT_FALSE(SaveChoices::Of(*second, chosen.fileName).removeGps) << "defaults come only when applied";
    SaveChoices::ApplyDefaults(second->MetadataSettings());
    const SaveChoices defaults = SaveChoices::Of(*second, chosen.fileName);
    EXPECT_TRUE(defaults.removeGps);
    EXPECT_EQ(defaults.quality, 61);
    EXPECT_TRUE(defaults.author.isEmpty()) << "no author is written into a photo unasked";
    EXPECT_EQ(SaveChoices::DefaultAuthor(), QStringLiteral("Ann Lee"));
}

} // namespace
} // namespace Quelto::Lumindra::App

// The session side of a core: its folder, the write-out of its whole state and the restore
// from it, the description written when it is opened, and stored selections.

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include "CoreTestSupport.h"
#include "core/PhotoCoreException.h"
#include "photocore/CoreSessionState.h"
#include "photocore/PhotoCoreFactory.h"
#include "support/TestSupport.h"
#include "util/Paths.h"

namespace Quelto::Lumindra::PhotoCore {
namespace {

namespace T = ::Quelto::Lumindra::Test;
using Proc::EffectSettingsImpl;

// Every test keeps the application's temporary folder in its own sandbox.
class CoreSession : public ::testing::Test {
protected:
    T::Sandbox sandbox_;
    T::ScopedEnv temp_ {"LUMINDRA_TEMP_DIR", sandbox_.FilePath("temp").toUtf8()};

    void Apply(IPhotoCore& core, const Proc::SettingsBase& settings)
    {
        core.ApplyEffect(EffectSettingsImpl::Create(settings));
    }
};

TEST_F(CoreSession, SessionFolderIsTheTemporaryFolderAndTheSessionId)
{
    PhotoCorePtr a = PhotoCoreFactory::Create(ioPath(T::TestDataPathUtf8("exif-samples/jpg/Canon_40D.jpg")), "k");
    PhotoCorePtr b = PhotoCoreFactory::Create(ioPath(T::TestDataPathUtf8("exif-samples/jpg/Canon_40D.jpg")), "k");
    const IPhotoCoreIO& io = a->GetIOEngine();
    EXPECT_NE(io.GetSessionId(), b->GetIOEngine().GetSessionId());
    EXPECT_EQ(io.GetSessionFolder().utf8string(), Util::GetTempDirPath() + io.GetSessionId());
    EXPECT_FALSE(QFileInfo::exists(QString::fromStdString(io.GetSessionFolder().utf8string())))
        << "created only when first needed";

    a->GetIOEngine().MarkOpened();
    ASSERT_TRUE(a->WaitForIdle(T::kDefaultWaitMs)) << "the description is written on the core's thread";
    QFile description(QString::fromStdString((io.GetSessionFolder() / "session.json").utf8string()));
    ASSERT_TRUE(description.open(QIODevice::ReadOnly));
    const QByteArray text = description.readAll();
    EXPECT_TRUE(text.contains(QByteArray::fromStdString(io.GetSessionId())));
    EXPECT_TRUE(text.contains("Canon_40D.jpg"));
}

TEST_F(CoreSession, WriteOutAndRestoreGiveTheSamePixelsAndHistory)
{
    const QString path = sandbox_.CopyTestData("exif-samples/jpg/gps/DSCN0010.jpg");
    PhotoCorePtr core = PhotoCoreFactory::Create(ioPath(path.toStdString()), "variant");
    Apply(*core, Proc::SettingsRotate(1));
    Proc::SettingsAdjust adjust;
    adjust.saturation = -40.0;
    adjust.contrast = 20.0;
    Apply(*core, adjust);
    Apply(*core, Proc::SettingsCrop(5, 6, 200, 300));
    core->Undo(); // a redoable step is part of the state too
    const QImage edited = T::CurrentImage(*core);
    ASSERT_TRUE(core->GetSerializer()->WriteOut());

    PhotoCorePtr restored = PhotoCoreFactory::Restore(core->GetIOEngine().GetSessionFolder());
    EXPECT_EQ(T::MaxChannelDifference(T::CurrentImage(*restored), edited), 0);
    EXPECT_EQ(restored->GetHistory(), core->GetHistory());
    EXPECT_EQ(restored->GetRedoCount(), 1);
    EXPECT_EQ(restored->GetIOEngine().GetSessionId(), core->GetIOEngine().GetSessionId());
    EXPECT_EQ(restored->GetIOEngine().GetFilePath().utf8string(), path.toStdString());
    EXPECT_TRUE(restored->HasUnsavedChanges());
    restored->Redo();
    EXPECT_EQ(T::CurrentImage(*restored).size(), QSize(200, 300));
}

// A save over the picture's own file replaces what the restore would start from: the restored
// picture must still be the one on screen, and undoing past the save must reach the original -
// or, when the original could not be kept, the history must start from the saved file.
TEST_F(CoreSession, ASaveOverTheSourceIsNotAppliedTwiceByTheRestore)
{
    struct Case {
        const char* name;
        int savesOverSource;   // with an edit before each
        bool saveElsewhere;    // a Save As to another file after them
        bool writeOutAfter;    // an autosave after the last save (else the run ends before it)
        bool originalBlocked;  // the session folder cannot take the original
    };
    const Case cases[] = {
        {"one save over the source, edits after it", 1, false, true, false},
        {"two saves over the source", 2, false, true, false},
        {"killed before the autosave after the save", 1, false, false, false},
        {"saved over the source, then saved as another file", 1, true, true, false},
        {"saved as another file only", 0, true, true, false},
        {"the original cannot be kept", 1, false, true, true},
        {"the original cannot be kept, two saves", 2, false, true, true},
    };
    const QImage pristine = T::CurrentImage(
        *PhotoCoreFactory::Create(ioPath(T::TestDataPathUtf8("exif-samples/jpg/gps/DSCN0010.jpg")), "k"));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const int index = int(&c - cases);
        const QString path = sandbox_.CopyTestData("exif-samples/jpg/gps/DSCN0010.jpg", QStringLiteral("photo-%1.jpg").arg(index));
        PhotoCorePtr core = PhotoCoreFactory::Create(ioPath(path.toStdString()), "k");
        IPhotoCoreIO& io = core->GetIOEngine();
        ASSERT_TRUE(core->GetSerializer()->WriteOut()) << "an autosave before the first save";
        if (c.originalBlocked) {
            ASSERT_TRUE(QDir().mkpath(QString::fromStdString((io.GetSessionFolder() / "original.jpg").utf8string())));
        }
        Proc::SettingsAdjust adjust;
        adjust.exposure = 0.5;
        int heldByFile = 0;
        for (int i = 0; i < c.savesOverSource; ++i) {
            Apply(*core, i == 0 ? static_cast<const Proc::SettingsBase&>(Proc::SettingsRotate(1)) : adjust);
            SettingsSave settings = io.GetSaveSettings();
            settings.SetFileName(path.toStdString());
            ASSERT_EQ(io.Save(settings), IPhotoCoreIO::SaveResultSuccess);
            heldByFile = core->GetUndoCount();
        }
        if (c.saveElsewhere) {
            Apply(*core, Proc::SettingsFlip(true));
            SettingsSave settings = io.GetSaveSettings();
            settings.SetFileName(sandbox_.FilePathUtf8(QStringLiteral("elsewhere-%1.jpg").arg(index)));
            ASSERT_EQ(io.Save(settings), IPhotoCoreIO::SaveResultSuccess);
        }
        const int savedPosition = core->GetUndoCount();
        if (c.writeOutAfter) {
            Apply(*core, Proc::SettingsCrop(5, 6, 200, 150));
            ASSERT_TRUE(core->GetSerializer()->WriteOut());
        }
        const QImage edited = T::CurrentImage(*core);
        std::vector<std::string> history = core->GetHistory();
        const ioPath folder = io.GetSessionFolder();
        core.reset(); // the run ends without cleaning up
        // Without the original, the oldest state left is the saved file.
        const int dropped = c.originalBlocked ? heldByFile : 0;
        history.erase(history.begin(), history.begin() + dropped);
        const QImage oldest = c.originalBlocked ? T::CurrentImage(*PhotoCoreFactory::Create(ioPath(path.toStdString()), "k"))
                                                : pristine;

        PhotoCorePtr restored = PhotoCoreFactory::Restore(folder);
        ASSERT_TRUE(restored);
        if (c.originalBlocked) { // the saved file was encoded with loss
            EXPECT_GT(T::Psnr(T::CurrentImage(*restored), edited), 35.0);
        } else {
            EXPECT_EQ(T::MaxChannelDifference(T::CurrentImage(*restored), edited), 0);
        }
        EXPECT_EQ(restored->GetHistory(), history);
        EXPECT_EQ(restored->GetIOEngine().GetFilePath().utf8string(), path.toStdString()) << "still saves to its file";
        EXPECT_EQ(restored->HasUnsavedChanges(), c.writeOutAfter);
        while (restored->GetUndoCount() > savedPosition - dropped)
            restored->Undo();
        EXPECT_FALSE(restored->HasUnsavedChanges()) << "the saved state is where it was";
        while (restored->CanUndo())
            restored->Undo();
        EXPECT_EQ(T::MaxChannelDifference(T::CurrentImage(*restored), oldest), 0) << "undone to the oldest state";
    }
}

TEST_F(CoreSession, APictureWithoutFileIsWrittenOutWithItsPixels)
{
    QImage picture = T::MakeTestImage(90, 70).convertToFormat(QImage::Format_ARGB32);
    picture.setPixel(3, 3, qRgba(1, 2, 3, 4));
    PhotoCorePtr core = PhotoCoreFactory::Create(picture, ImageSourcePaste);
    Apply(*core, Proc::SettingsFlip(false));
    const QImage edited = T::CurrentImage(*core);
    ASSERT_TRUE(core->GetSerializer()->WriteOut());
    EXPECT_TRUE(QFileInfo::exists(QString::fromStdString((core->GetIOEngine().GetSessionFolder() / "picture.png").utf8string())));

    PhotoCorePtr restored = PhotoCoreFactory::Restore(core->GetIOEngine().GetSessionFolder());
    EXPECT_EQ(T::MaxChannelDifference(T::CurrentImage(*restored), edited), 0);
    EXPECT_TRUE(restored->GetIOEngine().GetFilePath().empty());
    restored->Undo();
    EXPECT_EQ(T::MaxChannelDifference(T::CurrentImage(*restored), picture), 0);
}

TEST_F(CoreSession, RestoreRefusesWhatCannotBeRestored)
{
    EXPECT_THROW(PhotoCoreFactory::Restore(ioPath(sandbox_.FilePathUtf8("nothing-here"))), PhotoCoreException);

    const QString broken = sandbox_.FilePath("broken");
    ASSERT_TRUE(QDir().mkpath(broken));
    QFile state(broken + "/core.json");
    ASSERT_TRUE(state.open(QIODevice::WriteOnly));
    state.write("{\"version\": 1, \"sessionId\": \"x\", \"history\": [{\"class\": \"Unknown.Edit\"}]}");
    state.close();
    try {
        PhotoCoreFactory::Restore(ioPath(broken.toStdString()));
        ADD_FAILURE() << "restored a state with an unknown edit";
    } catch (const PhotoCoreException& e) {
        EXPECT_NE(std::string(e.what()).find("Unknown.Edit"), std::string::npos) << e.what();
    }

    // The source file went away.
    const QString path = sandbox_.CopyTestData("exif-samples/jpg/Canon_40D.jpg");
    PhotoCorePtr core = PhotoCoreFactory::Create(ioPath(path.toStdString()), "k");
    ASSERT_TRUE(core->GetSerializer()->WriteOut());
    ASSERT_TRUE(QFile::remove(path));
    EXPECT_THROW(PhotoCoreFactory::Restore(core->GetIOEngine().GetSessionFolder()), PhotoCoreException);
}

TEST_F(CoreSession, SelectionsAreKeptInMemoryAndInTheSessionFolder)
{
    PhotoCorePtr core = PhotoCoreFactory::Create(ioPath(T::TestDataPathUtf8("exif-samples/jpg/Canon_40D.jpg")), "k");
    const Proc::DataVideoPtr mask = T::MakeSolidFrame(40, 30, QColor(255, 255, 255, 128));
    IPhotoCoreIO& io = core->GetIOEngine();
    io.StoreSelection(ioPath("sky"), mask);
    EXPECT_EQ(io.LoadSelection(ioPath("sky")), mask);
    EXPECT_FALSE(io.LoadSelection(ioPath("ground")));
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs)); // the file is written on the render thread
    ASSERT_TRUE(core->GetSerializer()->WriteOut());

    PhotoCorePtr restored = PhotoCoreFactory::Restore(io.GetSessionFolder());
    const Proc::DataVideoPtr again = restored->GetIOEngine().LoadSelection(ioPath("sky"));
    ASSERT_TRUE(again);
    EXPECT_EQ(T::MaxChannelDifference(T::FrameImage(again), T::FrameImage(mask)), 0);

    io.ReleaseSelection(ioPath("sky"));
    EXPECT_FALSE(io.LoadSelection(ioPath("sky")) == mask);
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    EXPECT_FALSE(io.LoadSelection(ioPath("sky")));
}

TEST_F(CoreSession, WriteOutFailsCleanlyWhenTheFolderCannotBeMade)
{
    // The temporary folder is a file: nothing can be created under it.
    QFile blocker(sandbox_.FilePath("blocked"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    T::ScopedEnv temp("LUMINDRA_TEMP_DIR", sandbox_.FilePath("blocked").toUtf8());
    PhotoCorePtr core = PhotoCoreFactory::Create(ioPath(T::TestDataPathUtf8("exif-samples/jpg/Canon_40D.jpg")), "k");
    T::LogCapture log;
    EXPECT_FALSE(core->GetSerializer()->WriteOut());
    const auto done = core->GetIOEngine().WaitForJob(core->GetIOEngine().SaveSession());
    EXPECT_FALSE(done.success);
    EXPECT_EQ(done.kind, ICoreEventHandler::CoreEventJobDone::JOB_SNAPSHOT);
    EXPECT_FALSE(done.reason.empty());
    EXPECT_GE(log.ProblemCount(), 2);
}

// The session write-out is a job: it returns at once, and one asked for just before the core is
// dropped (the window closes) still reaches the disk.
TEST_F(CoreSession, ASessionAskedForJustBeforeTheCoreIsDroppedIsStillWritten)
{
    QString state;
    {
        PhotoCorePtr core = PhotoCoreFactory::Create(ioPath(T::TestDataPathUtf8("exif-samples/jpg/Canon_40D.jpg")), "k");
        core->ApplyEffect(Proc::EffectSettingsImpl::Create(Proc::SettingsRotate(1)));
        state = QDir(QString::fromStdString(core->GetIOEngine().GetSessionFolder().utf8string()))
                    .filePath(QString::fromLatin1(CoreSessionState::kStateFile));
        QFile::remove(state);
        core->GetIOEngine().SaveSession();
    }
    EXPECT_TRUE(QFileInfo::exists(state));
}

} // namespace
} // namespace Quelto::Lumindra::PhotoCore

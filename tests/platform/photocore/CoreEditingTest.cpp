// Edits, history and previews of a core, and the events they raise.

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include "CoreTestSupport.h"
#include "core/PhotoCoreException.h"
#include "photocore/IStatisticsEventHandler.h"
#include "photocore/PhotoCoreFactory.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::PhotoCore {
namespace {

namespace T = ::Quelto::Lumindra::Test;
using Proc::EffectSettingsImpl;

constexpr const char* kPhoto = "exif-samples/jpg/gps/DSCN0010.jpg"; // 640x480

PhotoCorePtr OpenPhoto()
{
    PhotoCorePtr core = PhotoCoreFactory::Create(ioPath(T::TestDataPathUtf8(kPhoto)), "key");
    EXPECT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    return core;
}

void Apply(IPhotoCore& core, const Proc::SettingsBase& settings)
{
    core.ApplyEffect(EffectSettingsImpl::Create(settings));
}

Proc::SettingsAdjust Exposure(double stops)
{
    Proc::SettingsAdjust adjust;
    adjust.exposure = stops;
    return adjust;
}

// Registers a recorder for the test's life.
struct Listening {
    explicit Listening(IPhotoCore& core) : core(core)
    {
        core.GetEventSource().RegisterDrawerEventHandler(&recorder);
        core.GetEventSource().RegisterCoreEventHandler(&recorder);
    }
    ~Listening()
    {
        core.GetEventSource().UnregisterDrawerEventHandler(&recorder);
        core.GetEventSource().UnregisterCoreEventHandler(&recorder);
    }
    IPhotoCore& core;
    T::EventRecorder recorder;
};

TEST(CoreEditing, UndoGivesBackTheOriginalPixelsAndRedoTheEdits)
{
    PhotoCorePtr core = OpenPhoto();
    const QImage original = T::CurrentImage(*core);
    Apply(*core, Exposure(0.7));
    Apply(*core, Proc::SettingsRotate(1));
    Apply(*core, Proc::SettingsCrop(10, 20, 300, 200));
    EXPECT_EQ(core->GetUndoCount(), 3) << "the history is current as soon as the call returns";
    const QImage edited = T::CurrentImage(*core);
    EXPECT_EQ(edited.size(), QSize(300, 200));
    EXPECT_EQ(core->GetHistory(), (std::vector<std::string> {"Adjust", "Rotate", "Crop"}));
    std::map<std::string, std::string> statistics;
    core->GetTrackerEngine().UpdateStatisticsParameters(statistics);
    EXPECT_EQ(statistics[IStatisticsEventHandler::KEY_EDITS], "Adjust,Rotate,Crop");
    // Frame settings by step: the source, then after each edit; nothing past the last.
    for (auto [step, width] : {std::pair {0, 640}, {1, 640}, {2, 480}, {3, 300}})
        EXPECT_EQ(core->GetFrameSettings(step)->GetFrameInfo().width, width) << "step " << step;
    EXPECT_TRUE(core->GetFrameSettings(4)->GetFrameInfo().IsEmpty());

    core->Undo();
    core->Undo();
    core->Undo();
    EXPECT_FALSE(core->CanUndo());
    EXPECT_EQ(core->GetRedoCount(), 3);
    EXPECT_EQ(T::MaxChannelDifference(T::CurrentImage(*core), original), 0);
    EXPECT_EQ(core->GetVideo(), core->GetOriginalVideo()) << "fully undone, the original frame itself is shown";

    core->Redo();
    core->Redo();
    core->Redo();
    EXPECT_EQ(T::MaxChannelDifference(T::CurrentImage(*core), edited), 0);

    // A new edit after an undo drops what could have been redone.
    core->Undo();
    Apply(*core, Proc::SettingsFlip(true));
    EXPECT_EQ(core->GetRedoCount(), 0);
    EXPECT_EQ(core->GetHistory(), (std::vector<std::string> {"Adjust", "Rotate", "Flip horizontally"}));
}

TEST(CoreEditing, EditsRaiseFrameAndHistoryEventsInOrderOnTheRenderThread)
{
    PhotoCorePtr core = OpenPhoto();
    Listening listening(*core);
    Apply(*core, Exposure(0.5));
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    core->Undo();
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    core->Redo();
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    EXPECT_EQ(listening.recorder.Sequence(),
              "frame undo save state frame undo save state frame undo save state");
    const auto entries = listening.recorder.Entries();
    using Frame = IDrawerEventHandler::DrawerEventFrame;
    EXPECT_EQ(entries[0].value, Frame::REASON_EDIT);
    EXPECT_EQ(entries[1].value, 1);  // steps that can be undone
    EXPECT_EQ(entries[2].value, 1);  // unsaved
    EXPECT_EQ(entries[4].value, Frame::REASON_UNDO);
    EXPECT_EQ(entries[6].value, 0);  // back to the saved state
    EXPECT_EQ(entries[8].value, Frame::REASON_REDO);
    for (const auto& entry : entries)
        EXPECT_NE(entry.thread, std::this_thread::get_id());
}

TEST(CoreEditing, PreviewsShowTemporaryFramesAndLeaveTheHistoryAlone)
{
    PhotoCorePtr core = OpenPhoto();
    const Proc::DataVideoPtr before = core->GetVideo();
    Listening listening(*core);
    for (int i = 1; i <= 20; ++i)
        core->PreviewEffect(EffectSettingsImpl::Create(Exposure(i * 0.1)));
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    EXPECT_GE(listening.recorder.Count("temporary"), 1);
    EXPECT_EQ(core->GetUndoCount(), 0);
    EXPECT_EQ(core->GetVideo(), before);
    const auto last = listening.recorder.Entries().back();
    ASSERT_EQ(last.kind, "temporary");

    // Committing the last shown value gives exactly the frame that was previewed.
    Apply(*core, Exposure(2.0));
    EXPECT_EQ(T::MaxChannelDifference(T::CurrentImage(*core), T::FrameImage(last.frame)), 0);

    core->PreviewEffect(EffectSettingsImpl::Create(Proc::SettingsFlip(false)));
    core->CancelPreview();
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    const auto end = listening.recorder.Entries().back();
    EXPECT_EQ(end.kind, "frame");
    EXPECT_EQ(end.value, IDrawerEventHandler::DrawerEventFrame::REASON_PREVIEW_END);
    EXPECT_EQ(core->GetUndoCount(), 1);
}

TEST(CoreEditing, BadEditsAreRefusedWithoutTouchingTheHistory)
{
    PhotoCorePtr core = OpenPhoto();
    EXPECT_THROW(Apply(*core, Proc::SettingsResizer()), PhotoCoreException);
    EXPECT_THROW(Apply(*core, Proc::SettingsCrop(700, 0, 10, 10)), PhotoCoreException);
    EXPECT_THROW(core->ApplyEffect(nullptr), PhotoCoreException);
    EXPECT_EQ(core->GetUndoCount(), 0);
    EXPECT_FALSE(core->HasUnsavedChanges());
    core->Undo(); // nothing to undo: nothing happens
    EXPECT_EQ(core->GetRedoCount(), 0);
}

TEST(CoreEditing, FlatteningRemovesTheAlphaChannel)
{
    QImage picture(200, 100, QImage::Format_ARGB32);
    picture.fill(qRgba(0, 0, 255, 0));
    PhotoCorePtr core = PhotoCoreFactory::Create(picture, ImageSourceDrop);
    EXPECT_EQ(core->GetAlphaInfo().hasAlpha, 1);
    EXPECT_EQ(core->GetAlphaInfo().alpha, 0);
    Proc::SettingsColorspaceConverter flatten({Proc::PIX_FMT_RGB24, Proc::PIX_FMT_BGR24}, true);
    flatten.SetPadColor(255, 255, 255);
    Apply(*core, flatten);
    const QImage flat = T::CurrentImage(*core);
    EXPECT_EQ(flat.pixel(50, 50), qRgb(255, 255, 255));
    EXPECT_EQ(core->GetAlphaInfo().hasAlpha, 0);
    core->Undo();
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    EXPECT_EQ(core->GetAlphaInfo().hasAlpha, 1);
}

TEST(CoreEditing, MemorySizeCountsEveryDistinctFrameAndGrowsWithEdits)
{
    PhotoCorePtr core = OpenPhoto();
    const std::uint64_t opened = core->GetMemorySize();
    EXPECT_EQ(opened, core->GetVideo()->GetMemorySize()) << "original and current are one frame";
    Apply(*core, Proc::SettingsFlip(true));
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    const std::uint64_t edited = core->GetMemorySize();
    EXPECT_EQ(edited, core->GetVideo()->GetMemorySize() + core->GetOriginalVideo()->GetMemorySize());
    EXPECT_GT(edited, opened);
    core->Undo();
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    EXPECT_EQ(core->GetMemorySize(), opened);
}

// The provider's two questions: unsaved changes, and history or a file changed on disk.
TEST(CoreEditing, CheckQuestionsFollowEditsUndoAndTheFile)
{
    T::Sandbox sandbox;
    const QString path = sandbox.CopyTestData(kPhoto);
    PhotoCorePtr core = PhotoCoreFactory::Create(ioPath(path.toStdString()), "key");
    EXPECT_FALSE(core->HasUnsavedChanges());
    EXPECT_FALSE(core->HasHistoryOrFileChanged());

    Apply(*core, Proc::SettingsRotate(2));
    EXPECT_TRUE(core->HasUnsavedChanges());
    EXPECT_TRUE(core->HasHistoryOrFileChanged());
    EXPECT_FALSE(core->GetIOEngine().IsSaved());

    core->Undo();
    EXPECT_FALSE(core->HasUnsavedChanges()) << "back at the state of the file";
    EXPECT_TRUE(core->HasHistoryOrFileChanged()) << "the history is still there";

    PhotoCorePtr other = PhotoCoreFactory::Create(ioPath(path.toStdString()), "key");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::Append));
    file.write("x");
    file.close();
    EXPECT_FALSE(other->HasUnsavedChanges());
    EXPECT_TRUE(other->HasHistoryOrFileChanged()) << "the file changed since it was read";
}

// The core's destructor stops its thread: nothing runs, and nothing is raised, afterwards.
TEST(CoreEditing, DestroyingABusyCoreStopsItsThread)
{
    {
        // The shared pool that pixel work is split over keeps its threads: start them first.
        PhotoCorePtr warmUp = OpenPhoto();
        Apply(*warmUp, Proc::SettingsRotate(1));
        warmUp->WaitForIdle();
    }
    const int threads = T::ThreadCount();
    T::EventRecorder recorder;
    {
        PhotoCorePtr core = OpenPhoto();
        core->GetEventSource().RegisterDrawerEventHandler(&recorder);
        for (int i = 0; i < 10; ++i)
            Apply(*core, Proc::SettingsRotate(1));
    }
    // A joined thread may linger in the task list for a moment after the join returns.
    EXPECT_TRUE(T::WaitUntil([&] { return T::ThreadCount() <= threads; })) << T::ThreadCount() << " > " << threads << ": " << T::ThreadNames().toStdString();
    const std::size_t seen = recorder.Entries().size();
    EXPECT_FALSE(T::WaitUntil([&] { return recorder.Entries().size() != seen; }, 200)) << "an event after the end";
}

} // namespace
} // namespace Quelto::Lumindra::PhotoCore

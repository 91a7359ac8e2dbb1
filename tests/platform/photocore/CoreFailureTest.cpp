// Work of a core that fails or is cut short on its render thread: an edit that cannot be
// rendered, and a decode that the core's end interrupts.

#include <condition_variable>
#include <mutex>
#include <vector>

#include <gtest/gtest.h>

#include "CoreTestSupport.h"
#include "photocore/PhotoCoreFactory.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::PhotoCore {
namespace {

namespace T = ::Quelto::Lumindra::Test;

// A one-way latch between the test and the render thread.
class Latch {
public:
    void Open()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }
    bool Wait()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::milliseconds(T::kDefaultWaitMs), [this] { return open_; });
    }

private:
    std::mutex mutex_; // guards open_
    std::condition_variable changed_;
    bool open_ = false;
};

// Records the events and holds the render thread in the first temporary frame (the preview
// announced before the full decode) until released.
class HoldingRecorder : public T::EventRecorder {
public:
    void HandleFrameTemporary(const DrawerEventFrameTemporary& e) override
    {
        if (!held_) {
            held_ = true;
            release.Wait();
        }
        T::EventRecorder::HandleFrameTemporary(e);
    }
    Latch release;

private:
    bool held_ = false; // render thread only
};

Proc::SettingsAdjust Exposure(double stops)
{
    Proc::SettingsAdjust adjust;
    adjust.exposure = stops;
    return adjust;
}

// An edit that fails on the render thread leaves the history as if it had not been asked for:
// the edits around it stay, the picture is what they alone make, and the person is told which
// edit failed and why. The crop fits the size the file declares but not the frame decoded under
// the pixel limit, which is known only once the decode has run: the render thread is held before
// the decode so that the crop is accepted first.
TEST(CoreFailure, AnEditThatCannotRenderLeavesTheHistoryAndIsReported)
{
    T::Sandbox sandbox;
    const std::string path = T::WriteJpeg(sandbox.FilePath("large.jpg"), 4000, 3000).toStdString();
    CoreCreateOptions options;
    options.pixelLimit = 1'000'000; // decoded at a quarter: 1000x750
    const Proc::SettingsCrop tooFar(3000, 2000, 500, 500);
    const Proc::SettingsFlip flip(true);
    const Proc::SettingsAdjust brighter = Exposure(0.5);

    struct Case {
        const char* what;
        std::vector<const Proc::SettingsBase*> edits; // in the order they are asked for
        std::vector<const Proc::SettingsBase*> kept;
    };
    const std::vector<Case> cases = {
        {"alone", {&tooFar}, {}},
        {"after another edit", {&brighter, &tooFar}, {&brighter}},
        {"before another edit", {&tooFar, &flip}, {&flip}},
        {"between two edits", {&brighter, &tooFar, &flip}, {&brighter, &flip}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        HoldingRecorder recorder;
        CoreCreateOptions held = options;
        held.coreEventHandler = &recorder;
        held.drawerEventHandler = &recorder;
        PhotoCorePtr core = PhotoCoreFactory::Create(ioPath(path), "key", held);
        for (const Proc::SettingsBase* edit : c.edits)
            core->ApplyEffect(Proc::EffectSettingsImpl::Create(*edit));
        recorder.release.Open();
        ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));

        PhotoCorePtr reference = PhotoCoreFactory::Create(ioPath(path), "key", options);
        std::vector<std::string> keptNames;
        for (const Proc::SettingsBase* edit : c.kept) {
            reference->ApplyEffect(Proc::EffectSettingsImpl::Create(*edit));
            keptNames.push_back(edit->GetDisplayName());
        }
        ASSERT_TRUE(reference->WaitForIdle(T::kDefaultWaitMs));

        EXPECT_EQ(core->GetHistory(), keptNames);
        EXPECT_EQ(core->GetUndoCount(), int(c.kept.size()));
        EXPECT_EQ(core->GetRedoCount(), 0);
        EXPECT_EQ(core->HasUnsavedChanges(), !c.kept.empty());
        EXPECT_EQ(T::MaxChannelDifference(T::CurrentImage(*core), T::CurrentImage(*reference)), 0);

        int thrown = 0;
        int lastState = -1;
        for (const auto& entry : recorder.Entries()) {
            if (entry.kind == "throw") {
                ++thrown;
                EXPECT_NE(entry.text.find(tooFar.GetDisplayName()), std::string::npos) << entry.text;
                EXPECT_NE(entry.text.find("outside the picture"), std::string::npos) << entry.text;
            }
            if (entry.kind == "state")
                lastState = entry.value;
        }
        EXPECT_EQ(thrown, 1);
        EXPECT_EQ(lastState, int(c.kept.size())) << "the last history count announced";

        core->GetEventSource().UnregisterCoreEventHandler(&recorder);
        core->GetEventSource().UnregisterDrawerEventHandler(&recorder);
    }
}

// Reports the decode's progress and, at its first report, hands the moment to the test.
class WatchingProgress : public Core::ProgressController {
public:
    void SetProgress(double fraction) override
    {
        Core::ProgressController::SetProgress(fraction);
        std::lock_guard<std::mutex> lock(mutex_);
        fractions_.push_back(fraction);
        if (fractions_.size() == 1)
            underWay.Open();
    }
    std::vector<double> Fractions() const
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return fractions_;
    }
    Latch underWay;

private:
    mutable std::mutex mutex_; // guards fractions_
    std::vector<double> fractions_;
};

// Dropping a core while its full decode runs stops the decode where it is: the close does not
// wait for the rest of the picture. Both decoders: the libvips one (PNG) and the JPEG one.
TEST(CoreFailure, ClosingACoreInterruptsItsRunningDecode)
{
    T::Sandbox sandbox;
    struct Case { const char* file; const char* format; };
    for (const Case& c : {Case {"large.png", "PNG"}, Case {"large.jpg", "JPG"}}) {
        SCOPED_TRACE(c.file);
        const QString path = sandbox.FilePath(c.file);
        ASSERT_TRUE(T::MakeTestImage(5000, 4000).save(path, c.format, 90));
        boost::intrusive_ptr<WatchingProgress> progress(new WatchingProgress);
        CoreCreateOptions options;
        options.progress = progress;
        PhotoCorePtr core = PhotoCoreFactory::Create(ioPath(path.toStdString()), "key", options);
        ASSERT_TRUE(progress->underWay.Wait()) << "the decode reports its progress";
        core.reset();

        const std::vector<double> fractions = progress->Fractions();
        ASSERT_FALSE(fractions.empty());
        EXPECT_LT(fractions.back(), 1.0) << "the decode stopped before its end";
        EXPECT_FALSE(progress->IsActive()) << "and ended its progress";
    }
}

} // namespace
} // namespace Quelto::Lumindra::PhotoCore

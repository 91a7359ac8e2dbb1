// Where the original's pixels go: the geometry that the edits build must predict the pixels that
// the edits themselves produce, for every chain of turns, flips and crops.

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CoreTestSupport.h"
#include "photocore/FrameGeometry.h"
#include "photocore/FrameOps.h"
#include "photocore/PhotoCoreFactory.h"
#include "support/FrameTestSupport.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::PhotoCore {
namespace {

namespace T = ::Quelto::Lumindra::Test;
using Edits = std::vector<std::shared_ptr<const Proc::SettingsBase>>;

template <class S, class... A>
std::shared_ptr<const Proc::SettingsBase> Edit(A... args)
{
    return std::make_shared<S>(args...);
}

// Every pixel of the original that the geometry places inside the current picture has its value
// there, and every pixel of the current picture is reached exactly once.
void ExpectMapsPixels(const Proc::IDataVideo& original, const Proc::IDataVideo& current, const FrameGeometry& geometry)
{
    ASSERT_TRUE(geometry.IsValid());
    const int width = current.GetFrameInfo().width, height = current.GetFrameInfo().height;
    ASSERT_EQ(geometry.GetWidth(), width);
    ASSERT_EQ(geometry.GetHeight(), height);
    const auto [m11, m12, m21, m22, dx, dy] = geometry.GetAffine();
    std::vector<int> hits(std::size_t(width) * std::size_t(height), 0);
    int wrong = 0;
    for (int j = 0; j < original.GetFrameInfo().height; ++j) {
        for (int i = 0; i < original.GetFrameInfo().width; ++i) {
            const double x = i + 0.5, y = j + 0.5;
            const int ci = int(std::floor(m11 * x + m21 * y + dx)), cj = int(std::floor(m12 * x + m22 * y + dy));
            if (ci < 0 || cj < 0 || ci >= width || cj >= height)
                continue;
            ++hits[std::size_t(cj) * std::size_t(width) + std::size_t(ci)];
            if (T::ReadPixel(original, i, j) != T::ReadPixel(current, ci, cj) && ++wrong <= 3)
                ADD_FAILURE() << "original pixel " << i << "," << j << " is not at " << ci << "," << cj;
        }
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(std::count(hits.begin(), hits.end(), 1), std::ptrdiff_t(hits.size())) << "not a one-to-one placement";
}

struct Chain {
    const char* name;
    Edits edits;
    bool turned; // a turn or a mirror is left over
};

TEST(FrameGeometry, PredictsWhereEveryChainOfTurnsFlipsAndCropsPutsThePixels)
{
    auto adjust = std::make_shared<Proc::SettingsAdjust>();
    adjust->saturation = 0.0; // an edit that keeps the pixels where they are
    const Chain chains[] = {
        {"nothing", {}, false},
        {"quarter turn", {Edit<Proc::SettingsRotate>(1)}, true},
        {"half turn", {Edit<Proc::SettingsRotate>(2)}, true},
        {"three quarters", {Edit<Proc::SettingsRotate>(3)}, true},
        {"negative turn", {Edit<Proc::SettingsRotate>(-1)}, true},
        {"flip horizontally", {Edit<Proc::SettingsFlip>(true)}, true},
        {"flip vertically", {Edit<Proc::SettingsFlip>(false)}, true},
        {"crop", {Edit<Proc::SettingsCrop>(2, 1, 5, 4)}, false},
        {"crop clamped", {Edit<Proc::SettingsCrop>(-3, 2, 100, 3)}, false},
        {"turn then crop", {Edit<Proc::SettingsRotate>(1), Edit<Proc::SettingsCrop>(1, 3, 4, 6)}, true},
        {"crop, turn, flip", {Edit<Proc::SettingsCrop>(3, 1, 8, 5), Edit<Proc::SettingsRotate>(1),
                              Edit<Proc::SettingsFlip>(true)},
         true},
        {"flip, three quarters, crop, adjust",
         {Edit<Proc::SettingsFlip>(false), Edit<Proc::SettingsRotate>(3), Edit<Proc::SettingsCrop>(2, 2, 3, 9), adjust},
         true},
        {"both flips and a half turn give the original back",
         {Edit<Proc::SettingsFlip>(true), Edit<Proc::SettingsFlip>(false), Edit<Proc::SettingsRotate>(2)},
         false},
    };
    // Odd sizes, so that an off-by-one in a turn or a flip shows.
    const Proc::DataVideoPtr original = T::MakeNoiseFrame(Proc::PIX_FMT_BGRA32, 13, 7);
    for (const Chain& chain : chains) {
        SCOPED_TRACE(chain.name);
        Proc::DataVideoPtr current = original;
        FrameGeometry geometry(original->GetFrameInfo());
        for (const auto& edit : chain.edits) {
            current = FrameOps::Apply(current, *edit);
            geometry.Apply(*edit);
        }
        ExpectMapsPixels(*original, *current, geometry);
        EXPECT_EQ(geometry.IsTurned(), chain.turned) << "turned or mirrored exactly when a turn or flip is left over";
    }
}

TEST(FrameGeometry, EditsItCannotFollowLeaveItUnknown)
{
    const Conf::FrameInfo info {20, 10, 1.0};
    FrameGeometry outside(info);
    outside.Crop(30, 0, 5, 5);
    EXPECT_FALSE(outside.IsValid()) << "a crop that leaves nothing";

    FrameGeometry unregistered(info);
    unregistered.Apply(Proc::SettingsResizer()); // scales: not an edit the registry knows
    EXPECT_FALSE(unregistered.IsValid());

    FrameGeometry after(info);
    after.Invalidate();
    after.Apply(Proc::SettingsRotate(1));
    EXPECT_FALSE(after.IsValid()) << "once unknown, it stays unknown";
    EXPECT_FALSE(FrameGeometry().IsValid());
    EXPECT_FALSE(FrameGeometry(Conf::FrameInfo {}).IsValid());
}

TEST(FrameGeometry, TheCoreReportsItForTheCurrentStateAndEveryStepOfTheHistory)
{
    PhotoCorePtr core =
        PhotoCoreFactory::Create(ioPath(T::TestDataPathUtf8("exif-samples/jpg/gps/DSCN0010.jpg")), "key");
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    EXPECT_FALSE(core->GetFrameSettings(-1)->GetGeometry().IsTurned());
    for (const auto& edit : Edits {Edit<Proc::SettingsRotate>(1), Edit<Proc::SettingsCrop>(40, 30, 200, 300),
                                   Edit<Proc::SettingsFlip>(true)})
        core->ApplyEffect(Proc::EffectSettingsImpl::Create(*edit));
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));

    const FrameGeometry current = core->GetFrameSettings(-1)->GetGeometry();
    EXPECT_TRUE(current.IsTurned());
    ExpectMapsPixels(*core->GetOriginalVideo(), *core->GetVideo(), current);
    EXPECT_EQ(core->GetFrameSettings(3)->GetGeometry(), current);
    EXPECT_EQ(core->GetFrameSettings(1)->GetGeometry().GetWidth(), 480) << "after the turn alone";

    // Undone, the frame shows the original where it was.
    for (int i = 0; i < 3; ++i)
        core->Undo();
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    EXPECT_FALSE(core->GetFrameSettings(-1)->GetGeometry().IsTurned());
    ExpectMapsPixels(*core->GetOriginalVideo(), *core->GetVideo(), core->GetFrameSettings(-1)->GetGeometry());
}

} // namespace
} // namespace Quelto::Lumindra::PhotoCore

// The statistics handler and metadata settings of the core library.

#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "photocore/MetadataSettings.h"
#include "photocore/StatisticsEventHandler.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::PhotoCore {
namespace {

namespace T = ::Quelto::Lumindra::Test;

TEST(StatisticsEventHandler, KeepsEventsFromManyThreadsAndLogsThem)
{
    StatisticsEventHandler handler;
    T::LogCapture log(30);
    constexpr int kThreads = 4, kEach = 50;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < kEach; ++i)
                handler.HandleStatisticsEvent(IStatisticsEventHandler::NAME_SAVING_IMAGE,
                                              {{IStatisticsEventHandler::KEY_RESULT, std::to_string(t)}});
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(int(handler.GetEvents().size()), kThreads * kEach);
    EXPECT_TRUE(log.Contains("saving_image"));
    EXPECT_TRUE(log.Contains("result=3"));

    handler.OnControllerCreated();
    EXPECT_EQ(handler.GetControllersCreated(), 1);
    handler.close();
    EXPECT_TRUE(handler.IsClosed());
    handler.HandleStatisticsEvent("late", {});
    handler.OnControllerCreated();
    EXPECT_EQ(int(handler.GetEvents().size()), kThreads * kEach) << "closed: dropped";
    EXPECT_EQ(handler.GetControllersCreated(), 1);
}

TEST(MetadataSettings, CopiesAreDeepAndTheDateComesFromTheMetadata)
{
    using Meta = Proc::IImageMetadata;
    MetadataSettings settings;
    settings.SetMetadata(Proc::ReadImageMetadata(T::TestDataPathUtf8("exif-samples/jpg/Canon_40D.jpg")));
    EXPECT_EQ(settings.GetFileDateTime(), "2008:05:30 15:56:01");
    settings.SetFormatSettings({PhotoUtil::CreateFormatSettings("jpeg")});

    MetadataSettings copy = settings;
    copy.GetMetadata().SetTag(Meta::EXIF, Meta::BLOCK_IMAGE, Meta::TAG_ARTIST, "Copy");
    copy.GetFormatSettings()[0]->SetValue(PhotoUtil::IFormatSettings::QUALITY, 11);
    EXPECT_TRUE(settings.GetMetadata().GetTag(Meta::EXIF, Meta::BLOCK_IMAGE, Meta::TAG_ARTIST).IsEmpty());
    EXPECT_NE(settings.GetFormatSettings()[0]->GetValue(PhotoUtil::IFormatSettings::QUALITY, 0), 11);

    copy.ClearMetadata({"Exif.Image.Artist"});
    EXPECT_FALSE(copy.GetMetadata().GetTag(Meta::EXIF, Meta::BLOCK_IMAGE, Meta::TAG_ARTIST).IsEmpty());
    EXPECT_EQ(copy.GetFileDateTime(), "");
    settings.SetMetadata(nullptr);
    EXPECT_TRUE(settings.GetMetadata().IsEmpty());
}

} // namespace
} // namespace Quelto::Lumindra::PhotoCore

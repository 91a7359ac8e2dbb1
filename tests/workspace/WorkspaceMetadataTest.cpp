// The user's metadata choices on real camera files: what a save keeps when metadata or GPS data
// are stripped, the comment kept in two tags, and the statistics that describe the choices.

#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "LumindraWorkspace/WorkspaceMetadata.h"
#include "photocore/IStatisticsEventHandler.h"
#include "proc/IImageMetadata.h"
#include "CaseName.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;

using Proc::IImageMetadata;
using Stats = PhotoCore::IStatisticsEventHandler;

bool StartsWith(const std::string& text, const std::string& prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}

// The tags that stay whatever is stripped (they describe how the pixels are stored).
bool IsStorageKey(const std::string& key)
{
    static const std::set<std::string> keys = {
        "Exif.Image.NewSubfileType", "Exif.Image.ImageWidth", "Exif.Image.ImageLength", "Exif.Image.BitsPerSample",
        "Exif.Image.FillOrder", "Exif.Image.StripOffsets", "Exif.Image.SamplesPerPixel", "Exif.Image.RowsPerStrip",
        "Exif.Image.StripByteCounts", "Exif.Image.ColorMap", "Exif.Image.Orientation", "Exif.Image.XResolution",
        "Exif.Image.YResolution", "Exif.Image.ResolutionUnit", "Exif.Image.Compression",
        "Exif.Image.CompressedBitsPerPixel", "Exif.Image.PlanarConfiguration", "Exif.Image.ExtraSamples",
        "Exif.Image.SampleFormat", "Exif.Image.SMinSampleValue", "Exif.Image.SMaxSampleValue",
        "Exif.Image.TileWidth", "Exif.Image.TileLength", "Exif.Image.TileOffsets", "Exif.Image.TileByteCounts",
        "Exif.Image.Indexed", "Exif.Image.JPEGTables", "Exif.Image.JPEGProc", "Exif.Image.JPEGInterchangeFormat",
        "Exif.Image.JPEGInterchangeFormatLength", "Exif.Image.JPEGRestartInterval",
        "Exif.Image.JPEGLosslessPredictors", "Exif.Image.JPEGPointTransforms", "Exif.Image.JPEGQTables",
        "Exif.Image.JPEGDCTables", "Exif.Image.JPEGACTables", "Exif.Photo.ColorSpace", "Exif.Photo.PixelXDimension",
        "Exif.Photo.PixelYDimension"};
    return keys.count(key) || StartsWith(key, "Exif.Thumbnail.");
}

class WorkspaceMetadataTest : public ::testing::Test {
protected:
    static PhotoCore::MetadataSettings Read(const char* relative)
    {
        PhotoCore::MetadataSettings settings;
        settings.SetMetadata(Proc::ReadImageMetadata(TS::TestDataPathUtf8(QString::fromLatin1(relative))));
        return settings;
    }
    static std::vector<std::string> SavedKeys(const WorkspaceMetadata& metadata)
    {
        PhotoCore::SettingsSave save;
        save.SetFileExt("jpg");
        metadata.FillSaveSettings(save);
        const auto orientation = [](const IImageMetadata& tags) {
            return tags.GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ORIENTATION)
                .Get(IImageMetadata::TEXT_VALUE);
        };
        const Proc::ImageMetadataPtr upright = Proc::CreateImageMetadata();
        upright->SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ORIENTATION,
                        IImageMetadata::VAL_ORIENTATION_NORMAL);
        EXPECT_EQ(orientation(save.GetMetadataSettings().GetMetadata()), orientation(*upright))
            << "the pixels are written upright whatever is stripped";
        EXPECT_FALSE(save.GetFormatSettings().empty());
        return save.GetMetadataSettings().GetMetadata().GetKeys();
    }
    static bool HasGps(const std::vector<std::string>& keys)
    {
        return std::any_of(keys.begin(), keys.end(), [](const std::string& k) { return StartsWith(k, "Exif.GPSInfo."); });
    }
    static bool Has(const std::vector<std::string>& keys, const std::string& key)
    {
        return std::find(keys.begin(), keys.end(), key) != keys.end();
    }
};

struct StripCase {
    const char* what;
    bool removeMetadata, removeGps;
    const char* author;
    const char* comment;
};

class WorkspaceMetadataStripTest : public WorkspaceMetadataTest, public ::testing::WithParamInterface<StripCase> {};

TEST_P(WorkspaceMetadataStripTest, SaveKeepsWhatTheChoicesKeep)
{
    const StripCase& c = GetParam();
    PhotoCore::MetadataSettings settings = Read("exif-samples/jpg/gps/DSCN0010.jpg");
    const std::vector<std::string> original = settings.GetMetadata().GetKeys();
    ASSERT_TRUE(HasGps(original));
    ASSERT_TRUE(Has(original, "Exif.Image.Make"));

    WorkspaceMetadata metadata(settings);
    metadata.SetAuthor(QString::fromUtf8(c.author));
    metadata.SetComment(QString::fromUtf8(c.comment));
    metadata.SetRemoveMetadata(c.removeMetadata);
    metadata.SetRemoveGPS(c.removeGps);
    const std::vector<std::string> saved = SavedKeys(metadata);

    EXPECT_EQ(HasGps(saved), !c.removeGps) << c.what;
    EXPECT_EQ(Has(saved, "Exif.Image.Make"), !c.removeMetadata) << c.what;
    EXPECT_EQ(Has(saved, "Exif.Image.Artist"), *c.author != 0) << c.what;
    EXPECT_EQ(Has(saved, "Exif.Photo.UserComment"), *c.comment != 0) << c.what;
    EXPECT_EQ(Has(saved, "Exif.Image.ImageDescription"), *c.comment != 0) << c.what;
    if (c.removeMetadata) {
        for (const std::string& key : saved) {
            const bool chosen = key == "Exif.Image.Artist" || key == "Exif.Photo.UserComment" ||
                                key == "Exif.Image.ImageDescription";
            EXPECT_TRUE(IsStorageKey(key) || chosen || StartsWith(key, "Exif.GPSInfo.")) << c.what << ": " << key;
        }
    } else {
        for (const std::string& key : original) {
            if (!StartsWith(key, "Exif.GPSInfo.") && key != "Exif.Image.Artist" && key != "Exif.Photo.UserComment" &&
                key != "Exif.Image.ImageDescription") {
                EXPECT_TRUE(Has(saved, key)) << c.what << ": " << key;
            }
        }
    }
    // Saving works on a copy: the open image keeps its metadata.
    EXPECT_TRUE(HasGps(settings.GetMetadata().GetKeys())) << c.what;
}

INSTANTIATE_TEST_SUITE_P(
    Choices, WorkspaceMetadataStripTest,
    ::testing::Values(StripCase {"neither flag writes everything", false, false, "", ""},
                      StripCase {"GPS alone drops only the GPS block", false, true, "", ""},
                      StripCase {"metadata alone keeps storage tags and positions", true, false, "", ""},
                      StripCase {"both keep storage tags and the user's own texts", true, true, "Ann", "Harbour"},
                      StripCase {"author and comment survive stripping", true, false, "Ann", "Harbour"}),
    TS::CaseNamer());

TEST_F(WorkspaceMetadataTest, CommentLivesInTwoTagsAndIsReadFromTheFirstWithAValue)
{
    PhotoCore::MetadataSettings settings = Read("exif-samples/jpg/long_description.jpg");
    IImageMetadata& tags = settings.GetMetadata();
    ASSERT_TRUE(tags.GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_PHOTO, IImageMetadata::TAG_USER_COMMENT).IsEmpty());
    const std::string description =
        tags.GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_IMAGE_DESCRIPTION)
            .Get(IImageMetadata::TEXT_VALUE);
    ASSERT_FALSE(description.empty());

    WorkspaceMetadata metadata(settings);
    EXPECT_EQ(metadata.GetComment().toStdString(), description) << "a description alone is the comment";

    metadata.SetComment(QStringLiteral("Harbour at dawn"));
    EXPECT_EQ(metadata.GetComment(), QStringLiteral("Harbour at dawn"));
    EXPECT_EQ(tags.GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_IMAGE_DESCRIPTION)
                  .Get(IImageMetadata::TEXT_VALUE),
              "Harbour at dawn");

    metadata.SetComment(QString());
    EXPECT_TRUE(metadata.GetComment().isEmpty());
    EXPECT_TRUE(tags.GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_PHOTO, IImageMetadata::TAG_USER_COMMENT).IsEmpty());
    EXPECT_TRUE(
        tags.GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_IMAGE_DESCRIPTION).IsEmpty());

    metadata.SetAuthor(QStringLiteral("Ann"));
    EXPECT_EQ(WorkspaceMetadata::GetAuthor(settings), QStringLiteral("Ann"));
    metadata.SetAuthor(QString());
    EXPECT_TRUE(tags.GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ARTIST).IsEmpty());
}

struct StatisticsCase {
    const char* what;
    const char* authorAtOpen;
    const char* authorNow;
    bool removeMetadata, removeGps;
    const char* authorValue;
    const char* gpsValue; // null: the key is left out
};

class WorkspaceMetadataStatisticsTest : public WorkspaceMetadataTest,
                                        public ::testing::WithParamInterface<StatisticsCase> {};

TEST_P(WorkspaceMetadataStatisticsTest, DescribesTheChoices)
{
    const StatisticsCase& c = GetParam();
    PhotoCore::MetadataSettings settings;
    if (*c.authorAtOpen)
        settings.GetMetadata().SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ARTIST,
                                      c.authorAtOpen);
    WorkspaceMetadata metadata(settings);
    metadata.SetAuthor(QString::fromUtf8(c.authorNow));
    metadata.SetRemoveMetadata(c.removeMetadata);
    metadata.SetRemoveGPS(c.removeGps);
    metadata.SetStatisticsParameters({{"origin", "save window"}, {"shared", "mine"}});

    Stats::Parameters parameters {{"shared", "caller's"}};
    metadata.UpdateStatisticsParameters(parameters);
    EXPECT_EQ(parameters["origin"], "save window");
    EXPECT_EQ(parameters["shared"], "caller's") << "a key already there keeps its value";
    EXPECT_EQ(parameters[Stats::KEY_SAVING_IMAGE_AUTHOR_CHANGED], c.authorValue) << c.what;
    EXPECT_EQ(parameters[Stats::KEY_SAVING_IMAGE_DESCRIPTION_CHANGED], Stats::VAL_NO);
    EXPECT_EQ(parameters[Stats::KEY_SAVING_IMAGE_DEL_METADATA_CHHANGED], c.removeMetadata ? Stats::VAL_YES : Stats::VAL_NO);
    if (c.gpsValue)
        EXPECT_EQ(parameters[Stats::KEY_SAVING_IMAGE_DEL_GPS_DATA_CHANGED], c.gpsValue) << c.what;
    else
        EXPECT_EQ(parameters.count(Stats::KEY_SAVING_IMAGE_DEL_GPS_DATA_CHANGED), 0u) << c.what;
}

INSTANTIATE_TEST_SUITE_P(
    Choices, WorkspaceMetadataStatisticsTest,
    ::testing::Values(
        StatisticsCase {"unchanged", "Ann", "Ann", false, false, Stats::VAL_NO, Stats::VAL_NO},
        StatisticsCase {"added", "", "Ann", false, true, Stats::VAL_SAVING_IMAGE_METADATA_CHANGED_ADD, Stats::VAL_YES},
        StatisticsCase {"edited", "Ann", "Bo", false, false, Stats::VAL_SAVING_IMAGE_METADATA_CHANGED_EDIT, Stats::VAL_NO},
        StatisticsCase {"deleted; stripping all hides the GPS key", "Ann", "", true, true,
                        Stats::VAL_SAVING_IMAGE_METADATA_CHANGED_DELETE, nullptr}),
    TS::CaseNamer());

TEST_F(WorkspaceMetadataTest, CopiesShareTheImageSettingsAndOwnTheirChoices)
{
    PhotoCore::MetadataSettings settings;
    WorkspaceMetadata original(settings);
    WorkspaceMetadata copy(original);
    copy.SetAuthor(QStringLiteral("Ann"));
    EXPECT_EQ(original.GetAuthor(), QStringLiteral("Ann"));
    copy.SetRemoveGPS(true);
    EXPECT_FALSE(original.GetRemoveGPS());

    PhotoUtil::FormatSettingsList replace {PhotoUtil::CreateFormatSettings("jpeg")};
    replace[0]->SetValue(PhotoUtil::IFormatSettings::QUALITY, 42);
    copy.SetFormatReplaceSettings(replace);
    copy.SetFormatReplaceSettings(copy.GetFormatReplaceSettings());
    ASSERT_EQ(copy.GetFormatReplaceSettings().size(), 1u);
    PhotoCore::SettingsSave save;
    save.SetFileExt("jpg");
    copy.FillSaveSettings(save);
    bool found = false;
    for (const auto& format : save.GetFormatSettings())
        if (format->GetCodecId() == "jpeg") {
            found = true;
            EXPECT_EQ(format->GetValue(PhotoUtil::IFormatSettings::QUALITY, 0), 42);
        }
    EXPECT_TRUE(found);
}

} // namespace
} // namespace Quelto::Lumindra

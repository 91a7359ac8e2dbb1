// The user's metadata choices on real camera files: what a save keeps when metadata or GPS data
// are stripped, and the comment kept in two tags.

#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "LumindraWorkspace/WorkspaceMetadata.h"
#include "proc/IImageMetadata.h"
#include "CaseName.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;

using Proc::IImageMetadata;

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

} // namespace
} // namespace Quelto::Lumindra

// The user's metadata choices on a real camera file: what a save keeps when metadata or GPS data
// are stripped.

#include <algorithm>

#include <gtest/gtest.h>

#include "LumindraWorkspace/WorkspaceMetadata.h"
#include "proc/IImageMetadata.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

using Proc::IImageMetadata;
using Keys = std::vector<std::string>;

// Whether `keys` hold `key`, or any key of a group named with a trailing dot.
bool Has(const Keys& keys, const std::string& key)
{
    return std::any_of(keys.begin(), keys.end(),
                       [&](const std::string& k) { return key.back() == '.' ? k.rfind(key, 0) == 0 : k == key; });
}

TEST(WorkspaceMetadata, SaveKeepsWhatTheChoicesKeep)
{
    const auto read = [](const char* relative) {
        PhotoCore::MetadataSettings settings;
        settings.SetMetadata(Proc::ReadImageMetadata(::Quelto::Lumindra::Test::TestDataPathUtf8(QString::fromLatin1(relative))));
        return settings;
    };
    const auto orientation = [](const IImageMetadata& tags) {
        return tags.GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ORIENTATION)
            .Get(IImageMetadata::TEXT_VALUE);
    };
    const std::string upright = orientation(read("exif-samples/jpg/orientation/landscape_1.jpg").GetMetadata());
    struct Case { const char* what; bool removeMetadata, removeGps; const char* author; const char* comment; };
    for (const Case& c : {Case {"neither flag writes everything", false, false, "", ""},
                          Case {"GPS alone drops only the GPS block", false, true, "", ""},
                          Case {"metadata alone keeps storage tags and positions", true, false, "", ""},
                          Case {"both keep storage tags and the user's own texts", true, true, "Ann", "Harbour"}}) {
        SCOPED_TRACE(c.what);
        PhotoCore::MetadataSettings settings = read("exif-samples/jpg/gps/DSCN0010.jpg");
        settings.GetMetadata().SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ORIENTATION, "6");
        WorkspaceMetadata metadata(settings);
        metadata.SetAuthor(QString::fromUtf8(c.author));
        metadata.SetComment(QString::fromUtf8(c.comment));
        metadata.SetRemoveMetadata(c.removeMetadata);
        metadata.SetRemoveGPS(c.removeGps);
        PhotoCore::SettingsSave save;
        save.SetFileExt("jpg");
        metadata.FillSaveSettings(save);

        EXPECT_FALSE(save.GetFormatSettings().empty());
        EXPECT_EQ(orientation(save.GetMetadataSettings().GetMetadata()), upright) << "the pixels are written upright";
        const Keys keys = save.GetMetadataSettings().GetMetadata().GetKeys();
        EXPECT_EQ(Has(keys, "Exif.GPSInfo."), !c.removeGps);
        for (const char* key : {"Exif.Image.Make", "Exif.Image.Model", "Exif.Photo.DateTimeOriginal", "Exif.Photo.FNumber"})
            EXPECT_EQ(Has(keys, key), !c.removeMetadata) << key;
        for (const char* key : {"Exif.Image.XResolution", "Exif.Image.ResolutionUnit"})
            EXPECT_TRUE(Has(keys, key)) << key << " describes how the pixels are stored";
        EXPECT_EQ(Has(keys, "Exif.Image.Artist"), *c.author != 0);
        EXPECT_EQ(Has(keys, "Exif.Photo.UserComment"), *c.comment != 0);
        EXPECT_EQ(Has(keys, "Exif.Image.ImageDescription"), *c.comment != 0);
        EXPECT_TRUE(Has(settings.GetMetadata().GetKeys(), "Exif.GPSInfo.")) << "saving works on a copy";
    }
}

} // namespace
} // namespace Quelto::Lumindra

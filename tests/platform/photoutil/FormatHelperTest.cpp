#include <set>
#include <string>

#include <gtest/gtest.h>

#include "photoutil/FormatHelper.h"

namespace Quelto::Lumindra {
namespace {

using PhotoUtil::FormatHelper;
using PhotoUtil::FormatHelperQt;

struct LookupCase {
    const char* extension;
    const char* codec;   // empty: unknown
    const char* name;
    bool transparency;
    bool noOverwrite;
};

class FormatLookupTest : public ::testing::TestWithParam<LookupCase> {};

TEST_P(FormatLookupTest, FindsTheRecordInAnyCase)
{
    const LookupCase& c = GetParam();
    const auto [name, record] = FormatHelper::GetFormatDescriptionForExtension(c.extension, false);
    EXPECT_EQ(record.codecId, c.codec);
    EXPECT_EQ(name.toStdString(), c.name);
    EXPECT_EQ(FormatHelper::GetFormatNameForExtension(c.extension), c.name);
    if (*c.codec) {
        EXPECT_TRUE(record.readable);
        EXPECT_EQ(record.supportsTransparency, c.transparency);
        EXPECT_EQ(record.noOverwrite, c.noOverwrite);
    } else {
        EXPECT_TRUE(record.extensions.empty());
        EXPECT_FALSE(record.readable || record.writable);
    }
}

INSTANTIATE_TEST_SUITE_P(Extensions, FormatLookupTest,
                         ::testing::Values(LookupCase {"jpg", "jpeg", "JPEG", false, false},
                                           LookupCase {"JPEG", "jpeg", "JPEG", false, false},
                                           LookupCase {"Jpe", "jpeg", "JPEG", false, false},
                                           LookupCase {".png", "png", "PNG", true, false},
                                           LookupCase {"TIF", "tiff", "TIFF", true, false},
                                           LookupCase {"tiff", "tiff", "TIFF", true, false},
                                           LookupCase {"webp", "webp", "WebP", true, false},
                                           LookupCase {"HEIC", "heif", "HEIF", true, false},
                                           LookupCase {"heif", "heif", "HEIF", true, false},
                                           LookupCase {"gif", "gif", "GIF", true, true},
                                           LookupCase {"bmp", "", "", false, false},
                                           LookupCase {"jpgx", "", "", false, false},
                                           LookupCase {"", "", "", false, false},
                                           LookupCase {".", "", "", false, false}));

// A format that this build cannot write has no name in the writing direction, but keeps it
// for reading; one that it can write is named in both.
TEST(FormatHelperTest, WritingDirectionNamesOnlyWritableFormats)
{
    for (const PhotoUtil::FormatRecord& record : FormatHelper::GetFormats()) {
        SCOPED_TRACE(record.codecId);
        ASSERT_FALSE(record.extensions.empty());
        const auto reading = FormatHelper::GetFormatDescriptionForExtension(record.extensions.front(), false);
        const auto writing = FormatHelper::GetFormatDescriptionForExtension(record.extensions.front(), true);
        EXPECT_FALSE(reading.first.isEmpty());
        EXPECT_EQ(writing.first.isEmpty(), !record.writable);
        EXPECT_EQ(writing.second.codecId, record.codecId);
    }
    // The everyday formats must be writable with the libraries the project depends on.
    for (const char* ext : {"jpg", "png", "tif", "webp"})
        EXPECT_FALSE(FormatHelper::GetFormatDescriptionForExtension(ext, true).first.isEmpty()) << ext;
}

TEST(FormatHelperTest, OpenFilterListsReadableExtensions)
{
    const QString filter = FormatHelper::GetOpenFileFilter();
    for (const char* pattern : {"*.jpg", "*.jpeg", "*.png", "*.tif", "*.tiff", "*.webp", "*.gif"})
        EXPECT_TRUE(filter.contains(QLatin1String(pattern))) << pattern << " in " << filter.toStdString();
    EXPECT_FALSE(filter.contains(QLatin1String("*.bmp")));
}

TEST(FormatHelperTest, TransparencyListNamesWritableFormatsWithAlphaOnly)
{
    const QString list = FormatHelperQt::GetSupportsTransparencyFormats();
    EXPECT_TRUE(list.startsWith(QLatin1String("PNG, TIFF, WebP"))) << list.toStdString();
    EXPECT_FALSE(list.contains(QLatin1String("JPEG")));
}

TEST(FormatHelperTest, SaveSettingsTakeTheUsersChoiceOfTheExtensionsCodec)
{
    PhotoUtil::FormatSettingsPtr chosen = PhotoUtil::CreateFormatSettings("jpeg");
    chosen->SetValue(PhotoUtil::IFormatSettings::QUALITY, 70);

    const PhotoUtil::FormatSettingsList list = FormatHelperQt::SetSaveSettings("JPG", {nullptr, chosen});
    ASSERT_FALSE(list.empty());
    EXPECT_EQ(list.front()->GetCodecId(), "jpeg");
    EXPECT_EQ(list.front()->GetValue(PhotoUtil::IFormatSettings::QUALITY, 0), 70);

    // Later edits of the choice do not reach settings already handed to a save.
    chosen->SetValue(PhotoUtil::IFormatSettings::QUALITY, 10);
    EXPECT_EQ(list.front()->GetValue(PhotoUtil::IFormatSettings::QUALITY, 0), 70);

    std::set<std::string> codecs;
    for (const auto& settings : list) {
        ASSERT_TRUE(settings);
        EXPECT_TRUE(codecs.insert(settings->GetCodecId()).second) << "one entry per codec";
        if (settings->GetCodecId() == "png") {
            EXPECT_EQ(settings->GetValue(PhotoUtil::IFormatSettings::COMPRESSION, -1), 6);
        }
    }
    EXPECT_EQ(codecs.count("png"), 1u);
}

TEST(FormatHelperTest, SaveSettingsForAnUnknownExtensionAreTheDefaults)
{
    PhotoUtil::FormatSettingsList list;
    ASSERT_NO_THROW(list = FormatHelperQt::SetSaveSettings("xyz", {}));
    ASSERT_FALSE(list.empty());
    for (const auto& settings : list)
        EXPECT_EQ(settings->GetValues(), PhotoUtil::CreateFormatSettings(settings->GetCodecId())->GetValues());
}

} // namespace
} // namespace Quelto::Lumindra

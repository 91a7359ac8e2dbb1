#include <set>
#include <string>

#include <gtest/gtest.h>

#include "photoutil/FormatHelper.h"

namespace Quelto::Lumindra {
namespace {

using PhotoUtil::FormatHelper;
using PhotoUtil::FormatHelperQt;

TEST(FormatHelperTest, FindsTheRecordOfAnExtensionInAnyCaseWithOrWithoutTheDot)
{
    struct Case {
        const char* extension;
        const char* codec; // empty: unknown
        const char* name;
        bool transparency, noOverwrite;
    };
    for (const Case& c : {Case {"jpg", "jpeg", "JPEG", false, false}, Case {"Jpe", "jpeg", "JPEG", false, false},
                          Case {".png", "png", "PNG", true, false}, Case {"TIF", "tiff", "TIFF", true, false},
                          Case {"webp", "webp", "WebP", true, false}, Case {"HEIC", "heif", "HEIF", true, false},
                          Case {"gif", "gif", "GIF", true, true}, Case {"bmp", "", "", false, false},
                          Case {"jpgx", "", "", false, false}, Case {"", "", "", false, false}, Case {".", "", "", false, false}}) {
        SCOPED_TRACE(c.extension);
        const auto [name, record] = FormatHelper::GetFormatDescriptionForExtension(c.extension, false);
        EXPECT_EQ(record.codecId, c.codec);
        EXPECT_EQ(name.toStdString(), c.name);
        EXPECT_EQ(FormatHelper::GetFormatNameForExtension(c.extension), c.name);
        EXPECT_EQ(record.readable, *c.codec != '\0');
        EXPECT_EQ(record.extensions.empty(), *c.codec == '\0');
        EXPECT_EQ(record.supportsTransparency, c.transparency);
        EXPECT_EQ(record.noOverwrite, c.noOverwrite);
    }
}

TEST(FormatHelperTest, SaveSettingsTakeACopyOfTheUsersChoiceAndDefaultsForTheRest)
{
    PhotoUtil::FormatSettingsPtr chosen = PhotoUtil::CreateFormatSettings("jpeg");
    chosen->SetValue(PhotoUtil::IFormatSettings::QUALITY, 70);
    const PhotoUtil::FormatSettingsList list = FormatHelperQt::SetSaveSettings("JPG", {nullptr, chosen});
    ASSERT_FALSE(list.empty());
    EXPECT_EQ(list.front()->GetCodecId(), "jpeg");
    chosen->SetValue(PhotoUtil::IFormatSettings::QUALITY, 10);
    EXPECT_EQ(list.front()->GetValue(PhotoUtil::IFormatSettings::QUALITY, 0), 70) << "later edits do not reach a save";

    std::set<std::string> codecs;
    for (const auto& settings : list) {
        ASSERT_TRUE(settings);
        EXPECT_TRUE(codecs.insert(settings->GetCodecId()).second) << "one entry per codec";
    }
    EXPECT_EQ(codecs.count("png"), 1u);
    PhotoUtil::FormatSettingsList defaults;
    ASSERT_NO_THROW(defaults = FormatHelperQt::SetSaveSettings("xyz", {}));
    ASSERT_FALSE(defaults.empty());
    for (const auto& settings : defaults)
        EXPECT_EQ(settings->GetValues(), PhotoUtil::CreateFormatSettings(settings->GetCodecId())->GetValues());
}

} // namespace
} // namespace Quelto::Lumindra

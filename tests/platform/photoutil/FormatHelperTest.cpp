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
    };
    for (const Case& c : {Case {"jpg", "jpeg", "JPEG"}, Case {"Jpe", "jpeg", "JPEG"}, Case {".png", "png", "PNG"}, Case {"TIF", "tiff", "TIFF"},
                          Case {"webp", "webp", "WebP"}, Case {"HEIC", "heif", "HEIF"}, Case {"avif", "avif", "AVIF"}, Case {"gif", "gif", "GIF"}, Case {"bmp", "", ""},
                          Case {"jpgx", "", ""}, Case {"", "", ""}, Case {".", "", ""}}) {
        SCOPED_TRACE(c.extension);
        const auto [name, record] = FormatHelper::GetFormatDescriptionForExtension(c.extension, false);
        EXPECT_EQ(record.codecId, c.codec);
        EXPECT_EQ(name.toStdString(), c.name);
        EXPECT_EQ(FormatHelper::GetFormatNameForExtension(c.extension), c.name);
        EXPECT_EQ(record.readable, *c.codec != '\0');
        EXPECT_EQ(record.extensions.empty(), *c.codec == '\0');
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
    for (const auto& settings : list)
        codecs.insert(settings->GetCodecId());
    EXPECT_EQ(codecs.size(), list.size()) << "one entry per codec";
    EXPECT_EQ(codecs.count("png"), 1u);
    PhotoUtil::FormatSettingsList defaults;
    ASSERT_NO_THROW(defaults = FormatHelperQt::SetSaveSettings("xyz", {}));
    ASSERT_FALSE(defaults.empty());
    for (const auto& settings : defaults)
        EXPECT_EQ(settings->GetValues(), PhotoUtil::CreateFormatSettings(settings->GetCodecId())->GetValues());
}

} // namespace
} // namespace Quelto::Lumindra

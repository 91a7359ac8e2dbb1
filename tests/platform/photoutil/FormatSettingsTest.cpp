#include <map>
#include <string>

#include <gtest/gtest.h>

#include "core/Exception.h"
#include "photoutil/FormatSettings.h"

namespace Quelto::Lumindra {
namespace {

using PhotoUtil::IFormatSettings;

TEST(FormatSettingsTest, DefaultsPerCodec)
{
    const std::map<std::string, std::map<std::string, int>> expected {
        {"jpeg", {{IFormatSettings::QUALITY, 92}}},
        {"png", {{IFormatSettings::COMPRESSION, 6}}},
        {"webp", {{IFormatSettings::QUALITY, 90}, {IFormatSettings::LOSSLESS, 0}}},
        {"tiff", {{IFormatSettings::COMPRESSION, 1}}},
        {"heif", {{IFormatSettings::QUALITY, 85}}},
        {"gif", {}},
    };
    for (const auto& [codec, values] : expected) {
        PhotoUtil::FormatSettingsPtr settings = PhotoUtil::CreateFormatSettings(codec);
        EXPECT_EQ(settings->GetCodecId(), codec);
        EXPECT_EQ(settings->GetValues(), values) << codec;
    }
    EXPECT_THROW(PhotoUtil::CreateFormatSettings("bmp"), Core::Exception);
    EXPECT_THROW(PhotoUtil::CreateFormatSettings(""), Core::Exception);
}

TEST(FormatSettingsTest, OutOfRangeValuesAreRefusedAndChangeNothing)
{
    struct Case {
        const char* codec;
        const char* name;
        int low, high;
    };
    for (const Case& c : {Case {"jpeg", IFormatSettings::QUALITY, 1, 100}, Case {"png", IFormatSettings::COMPRESSION, 0, 9},
                          Case {"tiff", IFormatSettings::COMPRESSION, 0, 1}, Case {"webp", IFormatSettings::LOSSLESS, 0, 1}}) {
        SCOPED_TRACE(std::string(c.codec) + " " + c.name);
        PhotoUtil::FormatSettingsPtr settings = PhotoUtil::CreateFormatSettings(c.codec);
        const auto before = settings->GetValues();
        EXPECT_THROW(settings->SetValue(c.name, c.low - 1), Core::Exception);
        EXPECT_THROW(settings->SetValue(c.name, c.high + 1), Core::Exception);
        EXPECT_EQ(settings->GetValues(), before);
        settings->SetValue(c.name, c.low);
        EXPECT_EQ(settings->GetValue(c.name, -7), c.low);
        settings->SetValue(c.name, c.high);
        EXPECT_EQ(settings->GetValue(c.name, -7), c.high);
    }
}

TEST(FormatSettingsTest, CloneIsDeep)
{
    PhotoUtil::FormatSettingsPtr settings = PhotoUtil::CreateFormatSettings("webp");
    settings->SetValue("effort", 3); // names without a known range are kept as they are
    PhotoUtil::FormatSettingsPtr copy = settings->CloneSettings();
    copy->SetValue(IFormatSettings::QUALITY, 50);

    EXPECT_EQ(settings->GetValue(IFormatSettings::QUALITY, 0), 90);
    EXPECT_EQ(copy->GetValue(IFormatSettings::QUALITY, 0), 50);
    EXPECT_EQ(copy->GetValue("effort", 0), 3);
    EXPECT_EQ(copy->GetCodecId(), "webp");
    EXPECT_EQ(settings->GetValue("missing", 42), 42);
}

} // namespace
} // namespace Quelto::Lumindra

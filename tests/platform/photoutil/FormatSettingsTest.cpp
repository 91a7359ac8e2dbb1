#include <string>

#include <gtest/gtest.h>

#include "core/Exception.h"
#include "photoutil/FormatSettings.h"

namespace Quelto::Lumindra {
namespace {

using PhotoUtil::IFormatSettings;

TEST(FormatSettingsTest, OutOfRangeValuesAndUnknownCodecsAreRefused)
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
    EXPECT_THROW(PhotoUtil::CreateFormatSettings("bmp"), Core::Exception);
    EXPECT_THROW(PhotoUtil::CreateFormatSettings(""), Core::Exception);
}

} // namespace
} // namespace Quelto::Lumindra

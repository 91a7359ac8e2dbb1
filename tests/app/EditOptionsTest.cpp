// The edit words of the command line: what each gives, in which order, and the message a
// malformed one gets.

#include <memory>
#include <vector>

#include <QCommandLineParser>
#include <QStringList>

#include <gtest/gtest.h>

#include "EditOptions.h"
#include "photocore/EditRegistry.h"

namespace Quelto::Lumindra::App {
namespace {

struct Parsed {
    bool ok = false;
    EditOptions::Edits edits;
    QString error;
};

Parsed ParseWords(const QStringList& words)
{
    QCommandLineParser parser;
    EditOptions::AddTo(parser);
    Parsed parsed;
    if (!parser.parse(QStringList {QStringLiteral("lumindra")} + words)) {
        parsed.error = parser.errorText();
        return parsed;
    }
    parsed.ok = EditOptions::Read(parser, parsed.edits, parsed.error);
    return parsed;
}

TEST(EditOptions, WordsBecomeEditsInTheOrderOfTheCommandLine)
{
    const Parsed parsed = ParseWords({"--crop", "10,20,300,400", "--rotate", "90", "--flip", "h", "--rotate=270", "--flip", "V",
                               "photo.jpg", "--rotate", "180"});
    ASSERT_TRUE(parsed.ok) << parsed.error.toStdString();
    const std::vector<std::shared_ptr<const Proc::SettingsBase>> expected {
        std::make_shared<Proc::SettingsCrop>(10, 20, 300, 400), std::make_shared<Proc::SettingsRotate>(1),
        std::make_shared<Proc::SettingsFlip>(true),           std::make_shared<Proc::SettingsRotate>(3),
        std::make_shared<Proc::SettingsFlip>(false),          std::make_shared<Proc::SettingsRotate>(2)};
    ASSERT_EQ(parsed.edits.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_TRUE(PhotoCore::EditRegistry::Equal(*parsed.edits[i], *expected[i])) << "edit " << i;
    EXPECT_TRUE(ParseWords({"photo.jpg"}).edits.empty());
}

TEST(EditOptions, AMalformedWordIsRefusedWithWhatItExpects)
{
    const struct {
        QStringList words;
        const char* expected;
    } rows[] = {
        {{"--rotate", "45"}, "Invalid --rotate \"45\": expected 90, 180 or 270"},
        {{"--rotate", "-90"}, "expected 90, 180 or 270"},
        {{"--flip", "x"}, "Invalid --flip \"x\": expected h or v"},
        {{"--crop", "1,2,3"}, "Invalid --crop \"1,2,3\""},
        {{"--crop", "1,2,0,4"}, "W and H at least 1"},
        {{"--crop", "-1,0,5,5"}, "X and Y at least 0"},
        {{"--crop", "a,b,c,d"}, "Invalid --crop"},
        {{"--rotate", "90", "--crop", "1,2,3,x"}, "Invalid --crop \"1,2,3,x\""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.words.join(' ').toStdString());
        const Parsed parsed = ParseWords(row.words);
        EXPECT_FALSE(parsed.ok);
        EXPECT_TRUE(parsed.error.contains(QLatin1String(row.expected))) << parsed.error.toStdString();
    }
}

} // namespace
} // namespace Quelto::Lumindra::App

// Which catalog a person's languages choose.

#include <gtest/gtest.h>

#include "Translations.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::App {
namespace {

namespace Support = ::Quelto::Lumindra::Test;

TEST(Translations, TheFirstPreferredLanguageWithACatalogWinsAndEnglishEndsTheSearch)
{
    Support::Sandbox sandbox;
    for (const char* name : {"lumindra_de.qm", "lumindra_pt_BR.qm", "other_fr.qm"})
        sandbox.Touch(QString::fromLatin1(name));
    struct Case { QStringList languages; const char* catalog; };
    const Case cases[] = {
        {{QStringLiteral("de-DE")}, "lumindra_de.qm"},
        {{QStringLiteral("de-AT")}, "lumindra_de.qm"},
        {{QStringLiteral("de")}, "lumindra_de.qm"},
        {{QStringLiteral("fr-FR"), QStringLiteral("de-DE")}, "lumindra_de.qm"},
        {{QStringLiteral("pt-BR")}, "lumindra_pt_BR.qm"},
        {{QStringLiteral("pt-PT")}, ""},
        {{QStringLiteral("fr-FR")}, ""}, // another catalog's language is no help
        // The sources are English: someone who prefers English to German reads English.
        {{QStringLiteral("en-US"), QStringLiteral("de-DE")}, ""},
        {{QStringLiteral("en")}, ""},
        {{QStringLiteral("C")}, ""},
        {{}, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.languages.join(QLatin1Char(',')).toStdString());
        const QString found = Translations::FindCatalog(c.languages, QStringLiteral("lumindra"), sandbox.Path());
        EXPECT_EQ(found, *c.catalog ? sandbox.FilePath(QString::fromLatin1(c.catalog)) : QString());
    }
}

} // namespace
} // namespace Quelto::Lumindra::App

// The catalogs in translations/: every text translated, and nothing a translation may not change
// (placeholders, mnemonics, what the code strips or joins) changed.

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

namespace Quelto::Lumindra {
namespace {

struct Message {
    QString context;
    QString source;
    QString translation;
    QString type; // "unfinished", "vanished", "obsolete"; empty when done
};

std::vector<Message> ReadCatalog(const QString& path)
{
    std::vector<Message> messages;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        ADD_FAILURE() << "cannot read " << path.toStdString();
        return messages;
    }
    QXmlStreamReader xml(&file);
    QString context;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == QLatin1String("name")) {
            context = xml.readElementText();
        } else if (xml.name() == QLatin1String("message")) {
            messages.push_back({context, {}, {}, {}});
        } else if (xml.name() == QLatin1String("source") && !messages.empty()) {
            messages.back().source = xml.readElementText();
        } else if (xml.name() == QLatin1String("translation") && !messages.empty()) {
            messages.back().type = xml.attributes().value(QLatin1String("type")).toString();
            messages.back().translation = xml.readElementText();
        }
    }
    EXPECT_FALSE(xml.hasError()) << path.toStdString() << ": " << xml.errorString().toStdString();
    return messages;
}

QStringList Placeholders(const QString& text)
{
    QStringList found;
    auto it = QRegularExpression(QStringLiteral("%\\d+")).globalMatch(text);
    while (it.hasNext())
        found.push_back(it.next().captured());
    found.sort();
    return found;
}

int Mnemonics(QString text)
{
    return text.remove(QStringLiteral("&&")).count(QLatin1Char('&'));
}

TEST(Catalogs, EveryTextIsTranslatedKeepingPlaceholdersMnemonicsAndEdges)
{
    const QDir dir(QStringLiteral(LUMINDRA_SOURCE_DIR "/translations"));
    const QStringList catalogs = dir.entryList({QStringLiteral("*.ts")}, QDir::Files, QDir::Name);
    ASSERT_GE(catalogs.size(), 2) << "the editor's and the module's catalogs";
    for (const QString& name : catalogs) {
        const std::vector<Message> messages = ReadCatalog(dir.filePath(name));
        EXPECT_FALSE(messages.empty()) << name.toStdString();
        for (const Message& m : messages) {
            SCOPED_TRACE(name.toStdString() + " " + m.context.toStdString() + ": " + m.source.toStdString());
            EXPECT_TRUE(m.type.isEmpty()) << m.type.toStdString();
            ASSERT_FALSE(m.translation.isEmpty());
            EXPECT_EQ(Placeholders(m.translation), Placeholders(m.source));
            EXPECT_EQ(Mnemonics(m.translation), Mnemonics(m.source));
            // A text glued to another keeps its leading space; "..." is what the toolbar tips strip.
            EXPECT_EQ(m.translation.startsWith(QLatin1Char(' ')), m.source.startsWith(QLatin1Char(' ')));
            EXPECT_EQ(m.translation.endsWith(QLatin1String("...")), m.source.endsWith(QLatin1String("...")));
        }
    }
}

} // namespace
} // namespace Quelto::Lumindra

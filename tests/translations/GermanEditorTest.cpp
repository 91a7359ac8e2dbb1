// The editor as a person whose desktop speaks German starts it: ctest runs this program with
// LANG=de_DE.UTF-8 and LANGUAGE=de_DE, and the catalogs come from beside the program, where the
// installed editor finds them too.

#include <map>
#include <set>

#include <QPushButton>
#include <QAction>
#include <QDialogButtonBox>
#include <QLocale>
#include <QMenu>
#include <QMenuBar>
#include <QSignalSpy>
#include <QToolBar>

#include <gtest/gtest.h>

#include "Installation.h"
#include "LumindraWorkspace/WorkspaceController.h"
#include "LumindraWorkspace/WorkspaceControllerHelper.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "MainWindow.h"
#include "Translations.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::App {
namespace {

namespace Support = ::Quelto::Lumindra::Test;

// Every menu entry's text, menu titles first, keyed by the entry's place ("2/4": menu 2, entry 4).
std::map<QString, QString> MenuTexts(const MainWindow& window)
{
    std::map<QString, QString> texts;
    const QList<QAction*> menus = window.menuBar()->actions();
    for (int m = 0; m < menus.size(); ++m) {
        texts[QString::number(m)] = menus[m]->text();
        const QList<QAction*> entries = menus[m]->menu()->actions();
        for (int e = 0; e < entries.size(); ++e) {
            if (!entries[e]->isSeparator())
                texts[QStringLiteral("%1/%2").arg(m).arg(e)] = entries[e]->text();
        }
    }
    return texts;
}

// The letter after the single "&" of a text, lower case; null without one.
QChar Mnemonic(const QString& text)
{
    for (int i = 0; i + 1 < text.size(); ++i) {
        if (text[i] == QLatin1Char('&')) {
            if (text[i + 1] != QLatin1Char('&'))
                return text[i + 1].toLower();
            ++i;
        }
    }
    return QChar();
}

class GermanEditorTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(QLocale::system().uiLanguages().value(0).startsWith(QLatin1String("de")))
            << "run through ctest, which starts this program with LANG=de_DE.UTF-8";
    }
};

TEST_F(GermanEditorTest, EveryMenuEntryIsGermanWithItsOwnMnemonic)
{
    std::map<QString, QString> english;
    {
        MainWindow window; // before any catalog is installed
        english = MenuTexts(window);
    }
    const Translations translations(QLocale::system(), Installation::GetTranslationsDirectory());
    QStringList loaded;
    for (const QString& file : translations.GetLoaded())
        loaded.push_back(QFileInfo(file).fileName());
    EXPECT_EQ(loaded, (QStringList {QStringLiteral("lumindra_de.qm"), QStringLiteral("lumindraworkspace_de.qm"),
                                    QStringLiteral("qtbase_de.qm")}));
    MainWindow window;
    const std::map<QString, QString> german = MenuTexts(window);

    ASSERT_EQ(german.size(), english.size());
    for (const auto& [place, text] : german) {
        SCOPED_TRACE(english[place].toStdString());
        EXPECT_NE(text, english[place]) << "not translated";
    }
    for (const auto& [place, text] : std::map<QString, QString> {
             {QStringLiteral("0"), QStringLiteral("&Datei")},
             {QStringLiteral("1"), QStringLiteral("&Bearbeiten")},
             {QStringLiteral("2"), QStringLiteral("B&ild")},
             {QStringLiteral("3"), QStringLiteral("&Ansicht")},
             {QStringLiteral("0/0"), QStringLiteral("Ö&ffnen...")},
             {QStringLiteral("1/0"), QStringLiteral("&Rückgängig")},
             {QStringLiteral("2/0"), QStringLiteral("Nach &links drehen")},
             {QStringLiteral("3/0"), QStringLiteral("An Fenster &anpassen")}})
        EXPECT_EQ(german.at(place), text);

    // A mnemonic taken twice in one menu (or in the menu bar) opens the wrong entry.
    std::map<QString, std::set<QChar>> taken;
    for (const auto& [place, text] : german) {
        const QString menu = place.contains(QLatin1Char('/')) ? place.section(QLatin1Char('/'), 0, 0) : QStringLiteral("bar");
        const QChar letter = Mnemonic(text);
        SCOPED_TRACE(text.toStdString());
        ASSERT_FALSE(letter.isNull()) << "no mnemonic";
        EXPECT_TRUE(taken[menu].insert(letter).second) << "mnemonic used twice in menu " << menu.toStdString();
    }

    // The toolbar shows icons only; its tips carry the text and the key, both in German.
    const auto* tools = window.findChild<QToolBar*>(QStringLiteral("toolsBar"));
    ASSERT_TRUE(tools);
    QStringList tips;
    for (QAction* action : tools->actions()) {
        if (!action->isSeparator())
            tips.push_back(action->toolTip());
    }
    EXPECT_TRUE(tips.contains(QStringLiteral("Rückgängig (Strg+Z)"))) << tips.join(QLatin1String(" | ")).toStdString();
}

TEST_F(GermanEditorTest, TheModulesTextsAreGermanUnderTheContextsTheyAreLookedUpIn)
{
    const Translations translations(QLocale::system(), Installation::GetTranslationsDirectory());
    // Each text under the context its code looks it up in: a class's own tr() uses the
    // namespace-qualified class name, the memory alert the bare one.
    const std::pair<QString, QString> texts[] = {
        {QCoreApplication::translate("WorkspaceControllerProvider", "Due to memory limitation image was resized for processing"),
         QStringLiteral("Wegen begrenzten Arbeitsspeichers wurde das Bild für die Bearbeitung verkleinert")},
        {WorkspaceController::tr("Continue"), QStringLiteral("Fortfahren")},
        {WorkspaceController::tr("Your image will be saved with a white background, as %1 format does not support "
                                 "transparency. To retain transparent areas of the image, save the image to one of "
                                 "the following formats: %2.")
             .section(QLatin1Char(','), 0, 0),
         QStringLiteral("Ihr Bild wird mit weißem Hintergrund gespeichert")},
        {WorkspaceControllerHelper::tr("No file to open"), QStringLiteral("Keine Datei zum Öffnen angegeben")},
        {QDialogButtonBox(QDialogButtonBox::Cancel).button(QDialogButtonBox::Cancel)->text(),
         QStringLiteral("Abbrechen")}, // Qt's own catalog
    };
    for (const auto& [shown, expected] : texts)
        EXPECT_EQ(shown, expected);
}

TEST_F(GermanEditorTest, AFileThatCannotBeOpenedIsExplainedInGerman)
{
    const Translations translations(QLocale::system(), Installation::GetTranslationsDirectory());
    Support::Sandbox sandbox;
    MainWindow window;
    window.SetUnattended(true);
    QSignalSpy failed(&window, &MainWindow::openFailed);
    window.OpenFile(sandbox.FilePath(QStringLiteral("verloren.jpg")));
    ASSERT_TRUE(Support::WaitUntil([&] { return failed.count() > 0; }));
    const QString message = failed.front().front().toString();
    EXPECT_TRUE(message.startsWith(QStringLiteral("„verloren.jpg“ konnte nicht geöffnet werden."))) << message.toStdString();
    EXPECT_TRUE(message.contains(QStringLiteral("die Datei existiert nicht"))) << message.toStdString();
}

} // namespace
} // namespace Quelto::Lumindra::App

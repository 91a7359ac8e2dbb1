#pragma once

#include <memory>
#include <vector>

#include <QLocale>
#include <QString>
#include <QStringList>

class QTranslator;

namespace Quelto::Lumindra::App {

// The catalogs of one locale, installed in the application while this object lives: the
// editor's (lumindra_<lang>.qm), the module's (lumindraworkspace_<lang>.qm) and Qt's own
// (qtbase_<lang>.qm, where Qt's translations are installed). The locale's languages are tried in
// the person's order of preference; English, the language of the sources, ends the search, so
// someone who prefers English to German reads English. UI thread, after the QApplication exists;
// texts already shown keep their language.
class Translations {
public:
    static constexpr const char* kEditorCatalog = "lumindra";
    static constexpr const char* kModuleCatalog = "lumindraworkspace";
    static constexpr const char* kQtCatalog = "qtbase";

    // `directory` holds the editor's and the module's catalogs; Qt's come from Qt's own folder.
    Translations(const QLocale& locale, const QString& directory);
    ~Translations();
    Translations(const Translations&) = delete;
    Translations& operator=(const Translations&) = delete;

    // The catalog files installed, in the order of lookup.
    const QStringList& GetLoaded() const { return loaded_; }

    // The file of catalog `name` ("<directory>/<name>_<lang>.qm") for the first of `languages`
    // (QLocale::uiLanguages(), most preferred first) that has one; empty when English comes
    // first or no language has one.
    static QString FindCatalog(const QStringList& languages, const QString& name, const QString& directory);

private:
    void Install(const QString& file);

    std::vector<std::unique_ptr<QTranslator>> translators_;
    QStringList loaded_;
};

} // namespace Quelto::Lumindra::App

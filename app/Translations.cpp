#include "Translations.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QTranslator>

#include <glog/logging.h>

namespace Quelto::Lumindra::App {

Translations::Translations(const QLocale& locale, const QString& directory)
{
    const QStringList languages = locale.uiLanguages();
    Install(FindCatalog(languages, QString::fromLatin1(kEditorCatalog), directory));
    Install(FindCatalog(languages, QString::fromLatin1(kModuleCatalog), directory));
    Install(FindCatalog(languages, QString::fromLatin1(kQtCatalog), QLibraryInfo::location(QLibraryInfo::TranslationsPath)));
    VLOG(30) << "Language " << locale.name().toStdString() << ": " << loaded_.size() << " catalogs from "
             << directory.toStdString();
}

Translations::~Translations()
{
    for (const auto& translator : translators_)
        QCoreApplication::removeTranslator(translator.get());
}

QString Translations::FindCatalog(const QStringList& languages, const QString& name, const QString& directory)
{
    for (QString language : languages) {
        language.replace(QLatin1Char('-'), QLatin1Char('_'));
        const QString base = language.section(QLatin1Char('_'), 0, 0);
        if (base == QLatin1String("en") || base == QLatin1String("C"))
            return QString();
        // "de_AT" is served by "de" when there is no catalog of its own.
        for (const QString& candidate : {language, base}) {
            const QString file = directory + QLatin1Char('/') + name + QLatin1Char('_') + candidate + QStringLiteral(".qm");
            if (QFileInfo::exists(file))
                return file;
        }
    }
    return QString();
}

void Translations::Install(const QString& file)
{
    if (file.isEmpty())
        return;
    auto translator = std::make_unique<QTranslator>();
    if (!translator->load(file) || !QCoreApplication::installTranslator(translator.get())) {
        LOG(WARNING) << "Translation catalog " << file.toStdString() << " cannot be loaded";
        return;
    }
    translators_.push_back(std::move(translator));
    loaded_.push_back(file);
}

} // namespace Quelto::Lumindra::App

#include "util/LookAndFeelManager.h"

#include <QLocale>

#include "util/Settings.h"

namespace Quelto::Lumindra::Util {

namespace {

QString LanguageSetting()
{
    return Settings::Name(Settings::LOOK_AND_FEEL, Settings::LANGUAGE);
}

} // namespace

LookAndFeelManager& LookAndFeelManager::Instance()
{
    static LookAndFeelManager instance;
    return instance;
}

QString LookAndFeelManager::GetLanguage() const
{
    const QString stored = SettingsManager::Instance().Value(LanguageSetting()).toString().trimmed();
    if (!stored.isEmpty())
        return stored;
    // "en-US" -> "en": the interface is translated per language, not per region.
    return QLocale::system().bcp47Name().section(QLatin1Char('-'), 0, 0);
}

void LookAndFeelManager::SetLanguage(const QString& language)
{
    if (language.trimmed().isEmpty())
        SettingsManager::Instance().Remove(LanguageSetting());
    else
        SettingsManager::Instance().SetValue(LanguageSetting(), language.trimmed());
}

} // namespace Quelto::Lumindra::Util

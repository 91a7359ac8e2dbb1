#pragma once

#include <QString>
#include <QVariant>

namespace Quelto::Lumindra::Util {

// Names of application settings. A setting's full name is built from keys with Name().
namespace Settings {
inline constexpr const char* SESSION = "Session";
inline constexpr const char* ID = "Id";
inline constexpr const char* ID_LIST = "IdList";
inline constexpr const char* OPEN = "Open";
inline constexpr const char* SAVE = "Save";
inline constexpr const char* FILE = "File";
inline constexpr const char* FOLDER = "Folder";
inline constexpr const char* SHOW_LAST_SESSION = "ShowLastSession";
inline constexpr const char* CORE_CACHE_ENABLED = "CoreCacheEnabled";

// "Session/Id" style names: keys joined with '/', QSettings' group separator.
QString Name(const char* key);
QString Name(const char* group, const char* key);
} // namespace Settings

// The application's settings store over QSettings. Thread-safe (QSettings is reentrant and
// each call uses its own instance over the shared store). The store's organisation and
// application names come from QCoreApplication unless a test sets a file with SetStoreFile.
class SettingsManager {
public:
    static SettingsManager& Instance();

    QVariant Value(const QString& name, const QVariant& fallback = {}) const;
    void SetValue(const QString& name, const QVariant& value);
    void Remove(const QString& name);
    bool Contains(const QString& name) const;

    // Tests: keep the store in this INI file instead of the user's settings.
    void SetStoreFile(const QString& iniPath);

private:
    SettingsManager() = default;
    QString storeFile_;
};

// Product configuration (names a person sees).
class CustomizationManager {
public:
    static CustomizationManager& Instance();
    QString GetProductName() const;
    void SetProductName(const QString& name);

private:
    QString productName_ = QStringLiteral("Lumindra");
};

// Look and feel: the user-interface language.
class LookAndFeelManager {
public:
    static LookAndFeelManager& Instance();
    // BCP-47 style name ("en", "de"), from the settings store or the system locale.
    QString GetLanguage() const;
    void SetLanguage(const QString& language);
};

} // namespace Quelto::Lumindra::Util

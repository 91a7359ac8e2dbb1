#pragma once

#include <mutex>

#include <QString>
#include <QVariant>

namespace Quelto::Lumindra::Util {

// The application's settings store over QSettings. Thread-safe: each call uses its own QSettings
// over the shared store (QSettings is reentrant and shares one cache per file in the process).
// The store is the INI file given to SetStoreFile, else the application's default store (named
// after QCoreApplication's organisation and application). Writes are flushed at once; a store
// that cannot be written is logged as a warning and reported by SetValue's result.
class SettingsManager {
public:
    static SettingsManager& Instance();

    QVariant Value(const QString& name, const QVariant& fallback = {}) const;
    bool SetValue(const QString& name, const QVariant& value);
    void Remove(const QString& name);
    bool Contains(const QString& name) const;

    // Keep the store in this INI file instead of the user's settings (tests, portable set-ups).
    // An empty path returns to the default store.
    void SetStoreFile(const QString& iniPath);
    QString GetStoreFile() const;

private:
    SettingsManager() = default;

    mutable std::mutex mutex_; // guards storeFile_
    QString storeFile_;
};

} // namespace Quelto::Lumindra::Util

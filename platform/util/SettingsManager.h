#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include <QString>
#include <QVariant>

namespace Quelto::Lumindra::Util {

// The application's settings store over QSettings. Thread-safe.
//
// Reads see every write at once. A value is read from the store once and then kept in memory:
// opening the store waits for a process-wide lock of QSettings that a write to disk holds, and
// the UI thread reads settings while it opens every picture. Changes made to the store by
// another process are therefore seen after SetStoreFile or a restart. Writes land in memory first and a writer thread of the manager
// puts them into the store shortly after, so that no caller (the UI thread opening a picture)
// waits for the store's file to be synced to disk. Flush() waits until everything written so far
// is in the store; the manager flushes when the store changes and when the application object is
// destroyed (after that, changes are written directly). A store
// that cannot be written is reported by SetValue's result when that is known at once (its folder
// cannot be written) and is logged as a warning when the writer finds out.
//
// The store is the INI file given to SetStoreFile, else the application's default store (named
// after QCoreApplication's organisation and application).
class SettingsManager {
public:
    static SettingsManager& Instance();

    QVariant Value(const QString& name, const QVariant& fallback = {}) const;
    bool SetValue(const QString& name, const QVariant& value);
    void Remove(const QString& name);
    bool Contains(const QString& name) const;
    // Returns once every change made before the call is in the store; false when writing failed.
    bool Flush();

    // Keep the store in this INI file instead of the user's settings (tests, portable set-ups).
    // An empty path returns to the default store. Changes still pending go to the old store first.
    void SetStoreFile(const QString& iniPath);
    QString GetStoreFile() const;

    ~SettingsManager();

private:
    using Changes = std::map<QString, std::optional<QVariant>>;

    SettingsManager();
    void WriterLoop();
    // Ends the writer after a last flush. Runs when the application object goes, before Qt's
    // own globals that QSettings relies on are destroyed.
    void Stop();
    static bool WriteChanges(const QString& storeFile, const Changes& changes);
    // The pending, in-flight or known value of `name`, if any (mutex held).
    const std::optional<QVariant>* FindChange(const QString& name) const;
    // Reads `name` from the store (without the mutex) and remembers it.
    std::optional<QVariant> ReadAndKeep(const QString& name) const;
    bool IsStoreWritable(const QString& storeFile) const;

    mutable std::mutex mutex_;         // guards everything below
    std::condition_variable changed_;  // pending_ grew, or the writer should stop
    std::condition_variable written_;  // a batch reached the store
    QString storeFile_;
    // Changes not yet in the store, by name; an empty optional is a removal. `inFlight_` is the
    // batch the writer is putting into the store: reads consult both, newest first.
    Changes pending_;
    Changes inFlight_;
    // What the store holds as far as this process knows: values read from it, and batches the
    // writer put into it. An empty optional: the store has no such value.
    mutable Changes known_;
    unsigned long long submitted_ = 0; // batches handed to the writer
    unsigned long long stored_ = 0;    // batches the writer finished
    bool lastWriteOk_ = true;
    bool stopping_ = false;
    bool stopped_ = false; // the writer has ended; changes then go to the store directly
    std::thread writer_;
};

} // namespace Quelto::Lumindra::Util

#include "util/SettingsManager.h"

#include <memory>

#include <QCoreApplication>
#include <QFileInfo>
#include <QSettings>

#include <glog/logging.h>

#include "core/WorkerThread.h"

namespace Quelto::Lumindra::Util {

namespace {

std::unique_ptr<QSettings> OpenStore(const QString& storeFile)
{
    if (storeFile.isEmpty())
        return std::make_unique<QSettings>();
    return std::make_unique<QSettings>(storeFile, QSettings::IniFormat);
}

} // namespace

SettingsManager& SettingsManager::Instance()
{
    static SettingsManager instance;
    return instance;
}

SettingsManager::SettingsManager() : writer_([this] { WriterLoop(); })
{
    qAddPostRoutine([] { Instance().Stop(); });
}

SettingsManager::~SettingsManager()
{
    Stop();
}

void SettingsManager::Stop()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopped_)
            return;
        stopping_ = true;
    }
    changed_.notify_all();
    writer_.join();
    std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
}

bool SettingsManager::WriteChanges(const QString& storeFile, const Changes& changes)
{
    const auto store = OpenStore(storeFile);
    for (const auto& [name, value] : changes) {
        if (value)
            store->setValue(name, *value);
        else
            store->remove(name);
    }
    store->sync();
    if (store->status() == QSettings::NoError)
        return true;
    LOG(WARNING) << "Settings could not be stored in " << store->fileName().toStdString()
                 << (store->status() == QSettings::AccessError ? " (no access)" : " (bad format)");
    return false;
}

void SettingsManager::WriterLoop()
{
    // Each picture shown records itself; writing the store must not take turns with the window.
    Core::BecomeWorkerThread("lumindra-store");
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return stopping_ || !pending_.empty(); });
        if (pending_.empty())
            return; // stopping, and everything is written
        inFlight_ = std::move(pending_);
        pending_.clear();
        const QString storeFile = storeFile_;
        const unsigned long long batchNumber = submitted_;
        lock.unlock();
        const bool ok = WriteChanges(storeFile, inFlight_);
        lock.lock();
        if (storeFile == storeFile_) {
            for (auto& [name, value] : inFlight_)
                known_[name] = std::move(value);
        }
        inFlight_.clear();
        stored_ = batchNumber;
        lastWriteOk_ = ok;
        written_.notify_all();
    }
}

const std::optional<QVariant>* SettingsManager::FindChange(const QString& name) const
{
    for (const Changes* changes : {&pending_, &inFlight_, static_cast<const Changes*>(&known_)}) {
        const auto it = changes->find(name);
        if (it != changes->end())
            return &it->second;
    }
    return nullptr;
}

bool SettingsManager::IsStoreWritable(const QString& storeFile) const
{
    if (storeFile.isEmpty())
        return true; // the platform's own store; failures show when it is written
    const QFileInfo file(storeFile);
    if (file.exists())
        return file.isWritable();
    // QSettings creates missing folders; it fails where a path element is a file or read-only.
    QFileInfo folder(file.absolutePath());
    while (!folder.exists())
        folder = QFileInfo(folder.absolutePath());
    return folder.isDir() && folder.isWritable();
}

std::optional<QVariant> SettingsManager::ReadAndKeep(const QString& name) const
{
    QString storeFile;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (const auto* change = FindChange(name))
            return *change;
        storeFile = storeFile_;
    }
    const auto store = OpenStore(storeFile);
    std::optional<QVariant> value;
    if (store->contains(name))
        value = store->value(name);
    std::lock_guard<std::mutex> lock(mutex_);
    // A write or a change of store meanwhile wins over what was read.
    if (storeFile != storeFile_)
        return value;
    if (const auto* change = FindChange(name))
        return *change;
    known_[name] = value;
    return value;
}

QVariant SettingsManager::Value(const QString& name, const QVariant& fallback) const
{
    const std::optional<QVariant> value = ReadAndKeep(name);
    return value ? *value : fallback;
}

bool SettingsManager::Contains(const QString& name) const
{
    return ReadAndKeep(name).has_value();
}

bool SettingsManager::SetValue(const QString& name, const QVariant& value)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (!IsStoreWritable(storeFile_)) {
        LOG(WARNING) << "Setting " << name.toStdString() << " could not be stored in " << storeFile_.toStdString()
                     << " (no access)";
        return false;
    }
    if (stopped_) {
        known_[name] = value;
        return WriteChanges(storeFile_, Changes {{name, value}});
    }
    pending_[name] = value;
    ++submitted_;
    changed_.notify_one();
    return true;
}

void SettingsManager::Remove(const QString& name)
{
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopped_) {
        known_[name] = std::nullopt;
        WriteChanges(storeFile_, Changes {{name, std::nullopt}});
        return;
    }
    pending_[name] = std::nullopt;
    ++submitted_;
    changed_.notify_one();
}

bool SettingsManager::Flush()
{
    std::unique_lock<std::mutex> lock(mutex_);
    const unsigned long long target = submitted_;
    written_.wait(lock, [&] { return stored_ >= target; });
    return lastWriteOk_;
}

void SettingsManager::SetStoreFile(const QString& iniPath)
{
    Flush();
    std::lock_guard<std::mutex> lock(mutex_);
    storeFile_ = iniPath;
    known_.clear();
}

QString SettingsManager::GetStoreFile() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return storeFile_;
}

} // namespace Quelto::Lumindra::Util

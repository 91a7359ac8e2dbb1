#include "util/SettingsManager.h"

#include <memory>

#include <QSettings>

#include <glog/logging.h>

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

QVariant SettingsManager::Value(const QString& name, const QVariant& fallback) const
{
    return OpenStore(GetStoreFile())->value(name, fallback);
}

bool SettingsManager::SetValue(const QString& name, const QVariant& value)
{
    const auto store = OpenStore(GetStoreFile());
    store->setValue(name, value);
    store->sync();
    if (store->status() != QSettings::NoError) {
        LOG(WARNING) << "Setting " << name.toStdString() << " could not be stored in "
                     << store->fileName().toStdString()
                     << (store->status() == QSettings::AccessError ? " (no access)" : " (bad format)");
        return false;
    }
    return true;
}

void SettingsManager::Remove(const QString& name)
{
    const auto store = OpenStore(GetStoreFile());
    store->remove(name);
    store->sync();
    if (store->status() != QSettings::NoError)
        LOG(WARNING) << "Setting " << name.toStdString() << " could not be removed from "
                     << store->fileName().toStdString();
}

bool SettingsManager::Contains(const QString& name) const
{
    return OpenStore(GetStoreFile())->contains(name);
}

void SettingsManager::SetStoreFile(const QString& iniPath)
{
    std::lock_guard<std::mutex> lock(mutex_);
    storeFile_ = iniPath;
}

QString SettingsManager::GetStoreFile() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return storeFile_;
}

} // namespace Quelto::Lumindra::Util

#include "LumindraWorkspace/SessionStore.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <boost/property_tree/ptree.hpp>
#include <glog/logging.h>

#include "photocore/Settings.h"
#include "photoutil/Settings.h"
#include "util/Paths.h"
#include "util/Settings.h"

namespace Quelto::Lumindra {

using PhotoCore::PhotoCorePtr;

namespace {

// Name of the file that marks the current core's session folder as in use by this process; it
// holds the process id, so that a later run can tell a folder left by a crash.
const char* const kLockFileName = "workspace.lock";

// The folder name of a dumped core under the temporary directory.
std::string DumpFolderName(const PhotoCorePtr& core)
{
    const std::string folder = core->GetIOEngine().GetSessionFolder().utf8string();
    const std::string temp = Util::GetTempDirPath();
    if (!temp.empty() && folder.size() > temp.size() && folder.compare(0, temp.size(), temp) == 0) {
        std::string rest = folder.substr(temp.size());
        while (!rest.empty() && rest.back() == '/')
            rest.pop_back();
        if (!rest.empty())
            return rest;
    }
    return core->GetIOEngine().GetSessionId();
}

bool WriteOutCore(const std::string& name, const PhotoCorePtr& core)
{
    try {
        auto serializer = core->GetSerializer();
        if (serializer && serializer->WriteOut())
            return true;
        LOG(WARNING) << "Cannot write out the core of " << name;
    } catch (const std::exception& e) {
        LOG(WARNING) << "Cannot write out the core of " << name << ": " << e.what();
    }
    return false;
}

// Closed and removed outside the store's mutex: both touch the disk.
void RemoveLockFile(std::unique_ptr<QFile> file)
{
    if (!file)
        return;
    file->close();
    file->remove();
}

QString SessionListKey()
{
    return PhotoUtil::Settings::Name(PhotoCore::Settings::SESSION, PhotoCore::Settings::ID_LIST);
}

// A folder as the store compares it: absolute and clean, without a trailing separator.
QString FolderKey(const QString& folder)
{
    return QDir::cleanPath(QFileInfo(folder).absoluteFilePath());
}

} // namespace

SessionStore::SessionStore(bool sessionMode) : sessionMode_(sessionMode), keepDumps_(sessionMode)
{
    if (sessionMode_)
        RestoreDumpedList();
}

SessionStore::~SessionStore()
{
    ReleaseLockFile();
    RemoveFoldersOfThisRun();
}

void SessionStore::Track(const ioPath& sessionFolder)
{
    if (sessionFolder.empty())
        return;
    const std::string folder = FolderKey(QString::fromStdString(sessionFolder.utf8string())).toStdString();
    std::lock_guard<std::mutex> lock(mutex_);
    trackedFolders_.insert(folder);
}

void SessionStore::KeepNothingAfterRun()
{
    std::lock_guard<std::mutex> lock(mutex_);
    keepDumps_ = false;
}

void SessionStore::RemoveFoldersOfThisRun()
{
    std::set<QString> remove;
    bool forgetList = false;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        std::set<QString> dumped;
        for (const auto& [name, folder] : dumpFolders_)
            dumped.insert(FolderKey(QString::fromStdString(Util::GetTempDirPath() + folder)));
        for (const std::string& folder : trackedFolders_)
            if (!keepDumps_ || dumped.count(QString::fromStdString(folder)) == 0)
                remove.insert(QString::fromStdString(folder));
        if (!keepDumps_) {
            remove.insert(dumped.begin(), dumped.end());
            forgetList = sessionMode_ && !dumpFolders_.empty();
            dumpedNames_.clear();
            dumpFolders_.clear();
        }
    }
    for (const QString& folder : remove) {
        if (!QDir(folder).removeRecursively())
            LOG(WARNING) << "Cannot remove the session folder " << folder.toStdString();
    }
    if (forgetList)
        SaveDumpedList();
    VLOG(30) << "Session folders removed: " << remove.size();
}

void SessionStore::BeginWriteOut(const std::string& name)
{
    std::lock_guard<std::mutex> lock(mutex_);
    writingOut_.insert(name);
}

SessionStore::Outcome SessionStore::WriteOut(const std::vector<Leaving>& leaving, WriteOutWhen when,
                                             const KeepUnwritten& keep)
{
    Outcome outcome;
    std::vector<std::pair<std::string, std::string>> dumped; // name, folder
    for (const Leaving& core : leaving) {
        if (when == WriteOutWhen::IfEdited && !core.core->HasUnsavedChanges()
            && !core.core->HasHistoryOrFileChanged())
            continue;
        if (WriteOutCore(core.name, core.core)) {
            dumped.emplace_back(core.name, DumpFolderName(core.core));
            outcome.written.push_back(core.name);
            continue;
        }
        outcome.failed.push_back(core.name);
        // Before the wait for the name ends: a reopen under way must find the core in memory.
        if (keep)
            keep(core);
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (auto& [name, folder] : dumped) {
            if (std::find(dumpedNames_.begin(), dumpedNames_.end(), name) == dumpedNames_.end())
                dumpedNames_.push_back(name);
            dumpFolders_[name] = std::move(folder);
        }
        for (const Leaving& core : leaving) {
            auto it = writingOut_.find(core.name);
            if (it != writingOut_.end())
                writingOut_.erase(it);
        }
    }
    writtenOut_.notify_all();
    if (!dumped.empty())
        SaveDumpedList();
    return outcome;
}

void SessionStore::WaitForWriteOut(const std::string& name) const
{
    std::unique_lock<std::mutex> lock(mutex_);
    writtenOut_.wait(lock, [&] { return writingOut_.count(name) == 0; });
}

std::vector<std::string> SessionStore::GetDumpedNames() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return dumpedNames_;
}

std::string SessionStore::TakeDumpFolder(const std::string& name)
{
    std::string folder;
    {
        std::unique_lock<std::mutex> lock(mutex_);
        writtenOut_.wait(lock, [&] { return writingOut_.count(name) == 0; });
        auto it = dumpFolders_.find(name);
        if (it == dumpFolders_.end())
            return {};
        folder = Util::GetTempDirPath() + it->second;
        dumpFolders_.erase(it);
        dumpedNames_.erase(std::remove(dumpedNames_.begin(), dumpedNames_.end(), name), dumpedNames_.end());
    }
    SaveDumpedList();
    return folder;
}

void SessionStore::AdoptDump(const std::string& name, const std::string& folderName)
{
    if (name.empty() || folderName.empty())
        return;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (std::find(dumpedNames_.begin(), dumpedNames_.end(), name) == dumpedNames_.end())
            dumpedNames_.push_back(name);
        dumpFolders_[name] = folderName;
    }
    SaveDumpedList();
}

void SessionStore::LockCurrent(const ioPath& sessionFolder)
{
    std::unique_ptr<QFile> file;
    if (!sessionFolder.empty()) {
        const QString folder = QString::fromStdString(sessionFolder.utf8string());
        file = std::make_unique<QFile>(QDir(folder).filePath(LockFileName()));
        if (!QDir().mkpath(folder)) {
            LOG(WARNING) << "Cannot create folder " << folder.toStdString();
            file.reset();
        } else if (!file->open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            LOG(WARNING) << "Cannot create lock file " << file->fileName().toStdString() << ": "
                         << file->errorString().toStdString();
            file.reset();
        } else {
            file->write(QByteArray::number(QCoreApplication::applicationPid()));
            file->flush();
        }
    }
    {
        std::lock_guard<std::mutex> lock(mutex_);
        std::swap(file, lockFile_);
    }
    // The same folder locked again keeps its new file: only a different one is removed.
    if (file && lockFile_ && file->fileName() == lockFile_->fileName())
        file->close();
    else
        RemoveLockFile(std::move(file));
}

void SessionStore::ReleaseLockFile()
{
    std::unique_ptr<QFile> file;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        file = std::move(lockFile_);
    }
    RemoveLockFile(std::move(file));
}

QString SessionStore::LockFileName()
{
    return QString::fromLatin1(kLockFileName);
}

QString SessionStore::GetLockFilePath() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return lockFile_ ? lockFile_->fileName() : QString();
}

void SessionStore::Serialize(boost::property_tree::ptree& out) const
{
    boost::property_tree::ptree items;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const std::string& name : dumpedNames_) {
            auto folder = dumpFolders_.find(name);
            if (folder == dumpFolders_.end())
                continue;
            boost::property_tree::ptree item;
            item.put("sid", folder->second);
            item.put("name", name);
            items.push_back(std::make_pair(std::string(), item));
        }
    }
    out.put_child("items", items);
}

void SessionStore::Deserialize(const boost::property_tree::ptree& in)
{
    std::vector<std::string> names;
    std::map<std::string, std::string> folders;
    if (auto items = in.get_child_optional("items")) {
        const std::string temp = Util::GetTempDirPath();
        for (const auto& child : *items) {
            const std::string sid = child.second.get<std::string>("sid", std::string());
            const std::string name = child.second.get<std::string>("name", std::string());
            if (sid.empty() || name.empty() || folders.count(name))
                continue;
            // A folder is restored from and later removed: only one inside the temporary folder.
            const QString folder = QDir::cleanPath(QString::fromStdString(temp + sid));
            if (!folder.startsWith(QString::fromStdString(temp)) || !QFileInfo(folder).isDir())
                continue;
            names.push_back(name);
            folders[name] = sid;
        }
    }
    std::lock_guard<std::mutex> lock(mutex_);
    dumpedNames_ = std::move(names);
    dumpFolders_ = std::move(folders);
}

void SessionStore::SaveDumpedList() const
{
    if (!sessionMode_)
        return;
    std::lock_guard<std::mutex> save(saveMutex_);
    try {
        const std::string text = PhotoUtil::CreateStringSerializer()->SerializeToString(*this);
        Util::SettingsManager::Instance().SetValue(SessionListKey(), QString::fromStdString(text));
    } catch (const std::exception& e) {
        LOG(WARNING) << "Cannot save the list of cached cores: " << e.what();
    }
}

void SessionStore::RestoreDumpedList()
{
    try {
        const QString text = Util::SettingsManager::Instance().Value(SessionListKey()).toString();
        if (text.isEmpty())
            return;
        PhotoUtil::CreateStringSerializer()->DeserializeFromString(text.toStdString(), *this);
    } catch (const std::exception& e) {
        // A damaged list only costs the restore of the previous run's cores.
        LOG(WARNING) << "Cannot read the list of cached cores: " << e.what();
        std::lock_guard<std::mutex> lock(mutex_);
        dumpedNames_.clear();
        dumpFolders_.clear();
    }
}

} // namespace Quelto::Lumindra

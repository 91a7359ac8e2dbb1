#include "LumindraWorkspace/WorkspaceControllerProvider.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <boost/property_tree/ptree.hpp>
#include <glog/logging.h>

#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "core/PhotoCoreException.h"
#include "photocore/Settings.h"
#include "photoutil/Settings.h"
#include "util/AlertBox.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"
#include "util/Paths.h"
#include "util/ScreenInfo.h"
#include "util/Settings.h"

namespace Quelto::Lumindra {

using PhotoCore::PhotoCorePtr;

namespace {

// Name of the file that marks the current core's session folder as in use by this process.
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

bool WriteOut(const std::string& name, const PhotoCorePtr& core)
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

} // namespace

// ---------------------------------------------------------------------------------------------
// Cache

WorkspaceControllerProvider::Cache::Cache(bool sessionMode) : sessionMode_(sessionMode)
{
    if (sessionMode_)
        RestoreDumpedList();
}

WorkspaceControllerProvider::Cache::~Cache()
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    ReleaseLockFile();
}

PhotoCorePtr WorkspaceControllerProvider::Cache::Find(const std::string& name) const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    auto it = entries_.find(name);
    return it == entries_.end() ? PhotoCorePtr() : it->second;
}

void WorkspaceControllerProvider::Cache::Add(const std::string& name, const PhotoCorePtr& core)
{
    if (!core)
        return;
    PhotoCorePtr replaced;
    {
        std::lock_guard<std::mutex> lock(entriesMutex_);
        PhotoCorePtr& slot = entries_[name];
        replaced = std::move(slot);
        slot = core;
        {
            std::lock_guard<std::mutex> names(namesMutex_);
            knownNames_.insert(name);
        }
        const std::uint64_t size = core->GetMemorySize();
        std::lock_guard<std::mutex> sizes(sizesMutex_);
        sizes_[name] = size;
        largestSize_ = std::max(largestSize_, size);
    }
    // A replaced core dies here, outside the lock: its destructor joins its render thread.
}

bool WorkspaceControllerProvider::Cache::Erase(const std::string& name)
{
    PhotoCorePtr erased;
    {
        std::lock_guard<std::mutex> lock(entriesMutex_);
        auto it = entries_.find(name);
        if (it == entries_.end())
            return false;
        erased = std::move(it->second);
        entries_.erase(it);
        ForgetRemembered(name);
    }
    return true;
}

std::vector<std::string> WorkspaceControllerProvider::Cache::GetNames() const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    std::vector<std::string> names;
    for (const auto& entry : entries_)
        names.push_back(entry.first);
    return names;
}

std::size_t WorkspaceControllerProvider::Cache::GetSize() const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    return entries_.size();
}

std::uint64_t WorkspaceControllerProvider::Cache::CleanupCache(std::uint64_t extraSize,
                                                               const std::vector<std::string>& wanted)
{
    std::vector<PhotoCorePtr> released; // die after the lock is gone
    bool dumped = false;
    std::uint64_t total = 0;
    {
        std::lock_guard<std::mutex> lock(entriesMutex_);
        for (auto it = entries_.begin(); it != entries_.end();) {
            if (it->first == currentName_ || std::find(wanted.begin(), wanted.end(), it->first) != wanted.end()) {
                ++it;
                continue;
            }
            released.push_back(std::move(it->second));
            it = entries_.erase(it);
        }
        if (entries_.empty())
            return 0;

        // A core grows after it was cached (the full frame of a foreground open, its levels,
        // edits): count what it holds now.
        total = extraSize;
        {
            std::lock_guard<std::mutex> sizes(sizesMutex_);
            for (const auto& entry : entries_) {
                const std::uint64_t size = entry.second->GetMemorySize();
                sizes_[entry.first] = size;
                largestSize_ = std::max(largestSize_, size);
                if (entry.first != currentName_)
                    total += size;
            }
        }

        for (auto name = wanted.rbegin(); name != wanted.rend() && total > kCacheBoundBytes; ++name) {
            auto it = entries_.find(*name);
            if (it == entries_.end() || *name == currentName_)
                continue;
            const std::uint64_t size = it->second->GetMemorySize();
            total = total > size ? total - size : 0;
            VLOG(30) << *name << " removing from cache";
            dumped = Dispose(*name, it->second) || dumped;
            released.push_back(std::move(it->second));
            entries_.erase(it);
        }
    }
    if (dumped)
        SaveDumpedList();
    return total;
}

bool WorkspaceControllerProvider::Cache::Dispose(const std::string& name, const PhotoCorePtr& core)
{
    if (!sessionMode_) {
        ForgetRemembered(name);
        return false;
    }
    bool dumped = false;
    if (core->HasUnsavedChanges() || core->HasHistoryOrFileChanged()) {
        if (WriteOut(name, core)) {
            RememberDump(name, core);
            dumped = true;
        }
    }
    const std::uint64_t size = core->GetMemorySize();
    std::lock_guard<std::mutex> sizes(sizesMutex_);
    sizes_[name] = size;
    return dumped;
}

void WorkspaceControllerProvider::Cache::ForgetRemembered(const std::string& name)
{
    {
        std::lock_guard<std::mutex> names(namesMutex_);
        knownNames_.erase(name);
    }
    std::lock_guard<std::mutex> sizes(sizesMutex_);
    sizes_.erase(name);
}

void WorkspaceControllerProvider::Cache::RememberDump(const std::string& name, const PhotoCorePtr& core)
{
    if (std::find(dumpedNames_.begin(), dumpedNames_.end(), name) == dumpedNames_.end())
        dumpedNames_.push_back(name);
    dumpFolders_[name] = DumpFolderName(core);
}

void WorkspaceControllerProvider::Cache::SetCurrentName(const std::string& name)
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    currentName_ = name;
}

std::string WorkspaceControllerProvider::Cache::GetCurrentName() const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    return currentName_;
}

void WorkspaceControllerProvider::Cache::LockCurrent(const ioPath& sessionFolder)
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    ReleaseLockFile();
    if (sessionFolder.empty())
        return;
    const QString folder = QString::fromStdString(sessionFolder.utf8string());
    if (!QDir().mkpath(folder)) {
        LOG(WARNING) << "Cannot create folder " << folder.toStdString();
        return;
    }
    lockFile_.setFileName(QDir(folder).filePath(QString::fromLatin1(kLockFileName)));
    if (!lockFile_.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        LOG(WARNING) << "Cannot create lock file " << lockFile_.fileName().toStdString() << ": "
                     << lockFile_.errorString().toStdString();
        lockFile_.setFileName(QString());
        return;
    }
    lockFile_.write(QByteArray::number(QCoreApplication::applicationPid()));
    lockFile_.flush();
}

QString WorkspaceControllerProvider::Cache::GetLockFilePath() const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    return lockFile_.fileName();
}

void WorkspaceControllerProvider::Cache::ReleaseLockFile()
{
    if (lockFile_.fileName().isEmpty())
        return;
    lockFile_.close();
    lockFile_.remove();
    lockFile_.setFileName(QString());
}

bool WorkspaceControllerProvider::Cache::GetPreloadSize(const std::string& name, std::uint64_t* size) const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    if (entries_.count(name))
        return false;
    if (name == currentName_) {
        *size = 0;
        return true;
    }
    std::lock_guard<std::mutex> sizes(sizesMutex_);
    auto it = sizes_.find(name);
    *size = it != sizes_.end() ? it->second : largestSize_;
    return true;
}

std::uint64_t WorkspaceControllerProvider::Cache::GetRememberedSize(const std::string& name) const
{
    std::lock_guard<std::mutex> sizes(sizesMutex_);
    auto it = sizes_.find(name);
    return it != sizes_.end() ? it->second : 0;
}

bool WorkspaceControllerProvider::Cache::IsKnownName(const std::string& name) const
{
    std::lock_guard<std::mutex> names(namesMutex_);
    return knownNames_.count(name) != 0;
}

std::vector<std::string> WorkspaceControllerProvider::Cache::GetDumpedNames() const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    return dumpedNames_;
}

std::string WorkspaceControllerProvider::Cache::TakeDumpFolder(const std::string& name)
{
    std::string folder;
    {
        std::lock_guard<std::mutex> lock(entriesMutex_);
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

bool WorkspaceControllerProvider::Cache::IsAcceptAll() const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    return acceptAll_;
}

void WorkspaceControllerProvider::Cache::PushCurrent()
{
    PhotoCorePtr pushed;
    bool dumped = false;
    {
        std::lock_guard<std::mutex> lock(entriesMutex_);
        auto it = entries_.find(currentName_);
        if (it != entries_.end()) {
            pushed = std::move(it->second);
            entries_.erase(it);
            // Recorded as dumped so that reopening the file rebuilds the core with its edits.
            if (WriteOut(currentName_, pushed)) {
                RememberDump(currentName_, pushed);
                dumped = true;
            }
        }
        controllerStack_.push_back(currentName_);
        currentName_.clear();
        ReleaseLockFile();
    }
    if (dumped)
        SaveDumpedList();
}

std::string WorkspaceControllerProvider::Cache::PopController()
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    if (controllerStack_.empty()) {
        LOG(WARNING) << "Pop of a workspace controller that was never pushed";
        return {};
    }
    std::string name = std::move(controllerStack_.back());
    controllerStack_.pop_back();
    acceptAll_ = true;
    poppedName_ = name;
    return name;
}

void WorkspaceControllerProvider::Cache::OnHandedOut(const std::string& name)
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    if (acceptAll_ && name == poppedName_) {
        acceptAll_ = false;
        poppedName_.clear();
    }
}

std::vector<std::string> WorkspaceControllerProvider::Cache::GetControllerStack() const
{
    std::lock_guard<std::mutex> lock(entriesMutex_);
    return controllerStack_;
}

void WorkspaceControllerProvider::Cache::SetCurrentTools(int tools)
{
    currentTools_.store(tools);
}

int WorkspaceControllerProvider::Cache::GetCurrentTools() const
{
    return currentTools_.load();
}

void WorkspaceControllerProvider::Cache::Serialize(boost::property_tree::ptree& out) const
{
    boost::property_tree::ptree items;
    {
        std::lock_guard<std::mutex> lock(entriesMutex_);
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

void WorkspaceControllerProvider::Cache::Deserialize(const boost::property_tree::ptree& in)
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
            if (!QFileInfo(QString::fromStdString(temp + sid)).isDir())
                continue;
            names.push_back(name);
            folders[name] = sid;
        }
    }
    std::lock_guard<std::mutex> lock(entriesMutex_);
    dumpedNames_ = std::move(names);
    dumpFolders_ = std::move(folders);
}

void WorkspaceControllerProvider::Cache::SaveDumpedList() const
{
    if (!sessionMode_)
        return;
    try {
        const std::string text = PhotoUtil::CreateStringSerializer()->SerializeToString(*this);
        Util::SettingsManager::Instance().SetValue(
            PhotoUtil::Settings::Name(PhotoCore::Settings::SESSION, PhotoCore::Settings::ID_LIST),
            QString::fromStdString(text));
    } catch (const std::exception& e) {
        LOG(WARNING) << "Cannot save the list of cached cores: " << e.what();
    }
}

void WorkspaceControllerProvider::Cache::RestoreDumpedList()
{
    try {
        const QString text = Util::SettingsManager::Instance()
                                 .Value(PhotoUtil::Settings::Name(PhotoCore::Settings::SESSION,
                                                                  PhotoCore::Settings::ID_LIST))
                                 .toString();
        if (text.isEmpty())
            return;
        PhotoUtil::CreateStringSerializer()->DeserializeFromString(text.toStdString(), *this);
    } catch (const std::exception& e) {
        // A damaged list only costs the restore of the previous run's cores.
        LOG(WARNING) << "Cannot read the list of cached cores: " << e.what();
        std::lock_guard<std::mutex> lock(entriesMutex_);
        dumpedNames_.clear();
        dumpFolders_.clear();
    }
}

// ---------------------------------------------------------------------------------------------
// Lock table and request queue

std::mutex& WorkspaceControllerProvider::LockTable::Get(const std::string& name)
{
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& entry : locks_)
        if (entry.first == name)
            return *entry.second;
    locks_.emplace_back(name, std::make_unique<std::mutex>());
    return *locks_.back().second;
}

void WorkspaceControllerProvider::RequestQueue::Put(std::vector<std::string> names)
{
    std::lock_guard<std::mutex> lock(mutex_);
    names_.swap(names);
}

std::vector<std::string> WorkspaceControllerProvider::RequestQueue::Take()
{
    std::vector<std::string> names;
    std::lock_guard<std::mutex> lock(mutex_);
    names.swap(names_);
    return names;
}

bool WorkspaceControllerProvider::RequestQueue::HasRequest() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return !names_.empty();
}

// ---------------------------------------------------------------------------------------------
// Provider

WorkspaceControllerProvider::CoreFactory WorkspaceControllerProvider::DefaultCoreFactory()
{
    CoreFactory factory;
    factory.createFromFile = [](const ioPath& path, const std::string& key, const PhotoCore::CoreCreateOptions& options) {
        return PhotoCore::PhotoCoreFactory::Create(path, key, options);
    };
    factory.createFromImage = [](const QImage& image, PhotoCore::ImageSource source,
                                 const PhotoCore::CoreCreateOptions& options) {
        return PhotoCore::PhotoCoreFactory::Create(image, source, options);
    };
    factory.restore = [](const ioPath& folder, const PhotoCore::CoreCreateOptions& options) {
        return PhotoCore::PhotoCoreFactory::Restore(folder, options);
    };
    return factory;
}

WorkspaceControllerProvider::WorkspaceControllerProvider(bool sessionMode, PhotoCore::IStatisticsEventHandler* statistics,
                                                         bool preloadEnabled)
    : QObject(nullptr), sessionMode_(sessionMode), statistics_(statistics), preloadEnabled_(preloadEnabled),
      cache_(std::make_unique<Cache>(sessionMode)), queue_(std::make_unique<RequestQueue>()),
      locks_(std::make_unique<LockTable>()), factory_(DefaultCoreFactory())
{
    coreCacheEnabled_ = Util::SettingsManager::Instance()
                            .Value(Util::Settings::Name(Util::Settings::CORE_CACHE_ENABLED), true)
                            .toBool();
    running_.store(coreCacheEnabled_ && preloadEnabled_);

    std::future<void> started = started_.get_future();
    worker_ = std::thread([this] { UpdateThread(); });
    started.wait();

    using HostID = LumindraInt::IObjectsConnectorID;
    using ModuleID = Workspace::IObjectsConnectorID;
    Util::ObjectsConnector::registerEmitter(HostID::OPEN_FILE, this, QStringLiteral("2openFile(const QString&)"), 0);
    Util::ObjectsConnector::registerReceiver(ModuleID::FILE_PRELOAD_REQUEST, this,
                                             QStringLiteral("1OnFilePreloadRequest(const std::vector<std::string>&)"), 0);
    Util::ObjectsConnector::registerReceiver(ModuleID::PUSH_WORKSPACECONTROLLER, this,
                                             QStringLiteral("1OnPushWorkspaceController()"), 0);
    Util::ObjectsConnector::registerReceiver(ModuleID::POP_WORKSPACECONTROLLER, this,
                                             QStringLiteral("1OnPopWorkspaceController()"), 0);
    Util::ObjectsConnector::registerReceiver(ModuleID::RESET_WORKSPACECONTROLLER_CACHE, this,
                                             QStringLiteral("1OnResetWorkspaceControllerCache(const std::string&)"), 0);
    Util::ObjectsConnector::registerReceiver(HostID::ACTIVATE_TOOL_WIDGET, this,
                                             QStringLiteral("1OnCurrentToolsChanged(int)"), 0);

    if (coreCacheEnabled_)
        LOG(INFO) << "Core cache enabled";
    else
        LOG(WARNING) << "Core cache disabled";
}

WorkspaceControllerProvider::~WorkspaceControllerProvider()
{
    running_.store(false);
    {
        // Taking the worker's mutex orders the flag before its next check: no lost wake-up.
        std::lock_guard<std::mutex> lock(wakeUpMutex_);
    }
    wakeUp_.notify_all();
    if (worker_.joinable())
        worker_.join();
    locks_.reset();
    queue_.reset();
    cache_.reset();
}

std::string WorkspaceControllerProvider::CacheName(const ioPath& path)
{
    return Util::GetPlatformFileName(path.utf8string());
}

void WorkspaceControllerProvider::SetCoreFactory(CoreFactory factory)
{
    std::lock_guard<std::mutex> lock(factoryMutex_);
    factory_ = std::move(factory);
}

WorkspaceControllerProvider::CoreFactory WorkspaceControllerProvider::GetCoreFactory() const
{
    std::lock_guard<std::mutex> lock(factoryMutex_);
    return factory_;
}

PhotoCorePtr WorkspaceControllerProvider::GetCore(const ioPath& path, const std::string& key, const QPixmap& image,
                                                  PhotoCore::ImageSource source)
{
    // The file being opened is current from now on, so that a clean-up running meanwhile on the
    // worker neither evicts nor counts it.
    const std::string name = CacheName(path);
    const std::string previous = cache_->GetCurrentName();
    cache_->SetCurrentName(name);

    PhotoCorePtr core;
    try {
        try {
            core = GetCoreImpl(path, key, image, source);
        } catch (const std::exception& e) {
            LOG(WARNING) << "Cannot open " << path.utf8string() << ": " << e.what();
            VLOG(30) << "Trying to cleanup the cache and load again";
            cache_->CleanupCache(0, {});
            core = GetCoreImpl(path, key, image, source);
        }
    } catch (...) {
        // The open controller keeps its image, so its core stays protected.
        cache_->SetCurrentName(previous);
        throw;
    }

    cache_->LockCurrent(core->GetIOEngine().GetSessionFolder());
    cache_->OnHandedOut(name);

    if (core->GetProcessing().IsScaledForMemory()) {
        LumindraAlertBox box(LumindraAlertBox::Information,
                             tr("Due to memory limitation image was resized for processing"), QDialogButtonBox::Ok,
                             SpontaneousDialog::GetMainWindow(), Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
        box.Exec();
    }
    return core;
}

PhotoCorePtr WorkspaceControllerProvider::GetCoreImpl(const ioPath& path, const std::string& key,
                                                      const QPixmap& image, PhotoCore::ImageSource source)
{
    const std::string name = CacheName(path);
    std::lock_guard<std::mutex> fileLock(locks_->Get(name));

    std::string message = " would be created";
    // A dropped or pasted picture is new by nature: its invented name must never pick up the
    // core of a file that happens to carry that name.
    PhotoCorePtr core = source == PhotoCore::ImageSourceFile ? cache_->Find(name) : PhotoCorePtr();
    const bool wasCached = static_cast<bool>(core);
    if (core) {
        VLOG(30) << name << " already cached";
        if (CheckCachedCore(core, name)) {
            message.clear();
        } else {
            core.reset();
            message = " would be recreated";
        }
    }
    if (!message.empty())
        VLOG(30) << name << message;

    if (!core) {
        core = CreateCoreImpl(path, key, image, source, !wasCached);
        if (!name.empty())
            cache_->Add(name, core);
    }
    return core;
}

PhotoCorePtr WorkspaceControllerProvider::CreateCoreImpl(const ioPath& path, std::string key, const QPixmap& image,
                                                         PhotoCore::ImageSource source, bool fresh)
{
    const CoreFactory factory = GetCoreFactory();
    PhotoCore::CoreCreateOptions options;
    options.fresh = fresh;
    // A preloaded core must hold its full frame, or stepping to it would not be instant; a
    // foreground open returns with the preview and lets the core finish on its thread.
    options.waitForFullFrame = std::this_thread::get_id() == workerId_;

    const std::string name = CacheName(path);
    PhotoCorePtr core;
    const std::string dumpFolder = name.empty() ? std::string() : cache_->TakeDumpFolder(name);
    if (!dumpFolder.empty()) {
        try {
            core = factory.restore(ioPath(dumpFolder), options);
        } catch (const std::exception& e) {
            // The folder stays on disk; the file itself is opened instead.
            LOG(WARNING) << "Cannot restore " << name << " from " << dumpFolder << ": " << e.what();
        }
    }
    if (!core) {
        if (source == PhotoCore::ImageSourceFile)
            core = factory.createFromFile(path, key, options);
        else
            core = factory.createFromImage(image.toImage(), source, options);
    }
    if (!core)
        throw PhotoCore::PhotoCoreException("The editing core could not be created for " + path.utf8string());
    VLOG(30) << "Temporary folder:" << core->GetIOEngine().GetSessionFolder().utf8string();
    return core;
}

bool WorkspaceControllerProvider::CheckCachedCore(boost::intrusive_ptr<const PhotoCore::IPhotoCore> core,
                                                  const std::string& /*name*/) const
{
    if (sessionMode_)
        return true;
    if (cache_->IsAcceptAll())
        return true;
    if (core->HasUnsavedChanges())
        return false;
    return !core->HasHistoryOrFileChanged();
}

void WorkspaceControllerProvider::OnFilePreloadRequest(const std::vector<std::string>& names)
{
    if (names.empty())
        return;
    queue_->Put(names);
    {
        std::lock_guard<std::mutex> lock(wakeUpMutex_);
    }
    wakeUp_.notify_one();
}

void WorkspaceControllerProvider::OnPushWorkspaceController()
{
    cache_->PushCurrent();
}

void WorkspaceControllerProvider::OnPopWorkspaceController()
{
    const std::string name = cache_->PopController();
    if (!name.empty())
        Q_EMIT openFile(QString::fromStdString(name));
}

void WorkspaceControllerProvider::OnResetWorkspaceControllerCache(const std::string& path)
{
    cache_->Erase(CacheName(ioPath(path)));
}

void WorkspaceControllerProvider::OnCurrentToolsChanged(int tools)
{
    cache_->SetCurrentTools(tools);
}

void WorkspaceControllerProvider::UpdateThread()
{
    workerId_ = std::this_thread::get_id();
    started_.set_value();

    while (running_.load()) {
        {
            std::unique_lock<std::mutex> lock(wakeUpMutex_);
            wakeUp_.wait(lock, [this] { return !running_.load() || queue_->HasRequest(); });
        }
        if (!running_.load())
            break;

        std::vector<std::string> request = queue_->Take();
        std::vector<std::string> wanted;
        wanted.reserve(request.size());
        for (const std::string& file : request)
            wanted.push_back(CacheName(ioPath(file)));

        std::uint64_t total = cache_->CleanupCache(extraSize_, wanted);
        // The host opens the first two files itself; they are never preloaded.
        const std::size_t kSkipped = 2;
        for (std::size_t i = kSkipped; i < request.size() && running_.load(); ++i) {
            std::uint64_t size = 0;
            if (!cache_->GetPreloadSize(wanted[i], &size))
                continue;
            if (total + size > kCacheBoundBytes)
                break;
            if (queue_->HasRequest())
                break;
            try {
                PhotoCorePtr core = GetCoreImpl(ioPath(request[i]), std::string(), nullPixmap_,
                                                PhotoCore::ImageSourceFile);
                total += core->GetMemorySize();
            } catch (const std::exception& e) {
                LOG(WARNING) << "Backgrownd code loading failed: " << request[i] << ": " << e.what();
            } catch (...) {
                LOG(WARNING) << "Backgrownd code loading failed: " << request[i];
            }
        }
    }
}

} // namespace Quelto::Lumindra

#include "LumindraWorkspace/WorkspaceControllerProvider.h"

#include <QCoreApplication>

#include <exception>
#include <utility>

#include <QFileInfo>

#include <glog/logging.h>

#include "LumindraWorkspace/CoreBuildTable.h"
#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "LumindraWorkspace/PreloadWorker.h"
#include "core/PhotoCoreException.h"
#include "util/AlertBox.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"
#include "util/ScreenInfo.h"
#include "util/Settings.h"

namespace Quelto::Lumindra {

using PhotoCore::PhotoCorePtr;

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
      cache_(std::make_unique<Cache>(sessionMode)), builds_(std::make_unique<CoreBuildTable>()),
      factory_(DefaultCoreFactory())
{
    cache_->SetWriteOutListener([this](const std::string& name, bool written) {
        QMetaObject::invokeMethod(
            this, [this, name, written] { OnWriteOutDone(name, written); }, Qt::QueuedConnection);
    });
    coreCacheEnabled_ = Util::SettingsManager::Instance()
                            .Value(Util::Settings::Name(Util::Settings::CORE_CACHE_ENABLED), true)
                            .toBool();
    worker_ = std::make_unique<PreloadWorker>(
        *cache_,
        [this](const std::string& file, PhotoCore::ICoreEventHandler* loadWatcher, bool* built) {
            return GetCoreImpl(ioPath(file), std::string(), nullPixmap_, PhotoCore::ImageSourceFile, loadWatcher,
                               built);
        },
        coreCacheEnabled_ && preloadEnabled_);

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
    worker_.reset();
    builds_.reset();
    cache_.reset();
}

bool WorkspaceControllerProvider::IsPreloading() const
{
    return worker_->IsRunning();
}

std::string WorkspaceControllerProvider::CacheName(const ioPath& path)
{
    return CoreCache::NameOf(path);
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
    // Until it is open, the file is only pinned: the open picture stays current, so that the
    // retry's clean-up below (and one on the worker meanwhile) keeps that picture's core.
    const std::string name = CacheName(path);
    cache_->SetOpeningName(name);

    PhotoCorePtr core;
    try {
        try {
            core = GetCoreImpl(path, key, image, source);
        } catch (const std::exception& e) {
            LOG(WARNING) << "Cannot open " << path.utf8string() << ": " << e.what();
            VLOG(30) << "Trying to cleanup the cache and load again";
            cache_->SetOpeningName(std::string()); // a rejected core of the file goes too
            cache_->CleanupCache(0, {});
            cache_->SetOpeningName(name);
            core = GetCoreImpl(path, key, image, source);
        }
    } catch (...) {
        cache_->SetOpeningName(std::string());
        throw;
    }
    cache_->SetCurrentName(name);
    cache_->SetOpeningName(std::string());

    cache_->GetSessionStore().LockCurrent(core->GetIOEngine().GetSessionFolder());
    cache_->OnHandedOut(name);

    if (core->GetProcessing().IsScaledForMemory()) {
        LumindraAlertBox box(LumindraAlertBox::Information,
                             // The catalogs know the text under the class name without its namespace.
                             QCoreApplication::translate("WorkspaceControllerProvider",
                                                         "Due to memory limitation image was resized for processing"),
                             QDialogButtonBox::Ok,
                             SpontaneousDialog::GetMainWindow(), Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint);
        box.Exec();
    }
    return core;
}

void WorkspaceControllerProvider::OnWriteOutDone(const std::string& name, bool written)
{
    if (written) {
        writeOutFailureShown_ = false;
        return;
    }
    if (writeOutFailureShown_)
        return;
    writeOutFailureShown_ = true;
    const QString file = QFileInfo(QString::fromStdString(name)).fileName();
    Q_EMIT sessionWriteFailed(tr("The edits of “%1” could not be written to the temporary folder. They are kept in "
                                 "memory, but would be lost if the editor stopped unexpectedly.")
                                  .arg(file));
}

PhotoCorePtr WorkspaceControllerProvider::GetCoreImpl(const ioPath& path, const std::string& key,
                                                      const QPixmap& image, PhotoCore::ImageSource source)
{
    return GetCoreImpl(path, key, image, source, nullptr, nullptr);
}

PhotoCorePtr WorkspaceControllerProvider::GetCoreImpl(const ioPath& path, const std::string& key,
                                                      const QPixmap& image, PhotoCore::ImageSource source,
                                                      PhotoCore::ICoreEventHandler* loadWatcher, bool* built)
{
    const std::string name = CacheName(path);
    return builds_->Run(name, [&] {
        // A write-out of this name under way decides where its edits are: in its folder, or -
        // when it fails - in the core it puts back into the cache.
        cache_->GetSessionStore().WaitForWriteOut(name);
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
            core = CreateCoreImpl(path, key, image, source, !wasCached, loadWatcher);
            if (built)
                *built = true;
            if (!name.empty())
                cache_->Add(name, core);
        }
        return core;
    });
}

PhotoCorePtr WorkspaceControllerProvider::CreateCoreImpl(const ioPath& path, std::string key, const QPixmap& image,
                                                         PhotoCore::ImageSource source, bool fresh,
                                                         PhotoCore::ICoreEventHandler* loadWatcher)
{
    const CoreFactory factory = GetCoreFactory();
    PhotoCore::CoreCreateOptions options;
    options.fresh = fresh;
    // Every build returns with the preview, so that a foreground open waiting for a preload of
    // the same file gets the core at once; the worker waits for the full frame afterwards.
    options.coreEventHandler = loadWatcher;

    const std::string name = CacheName(path);
    PhotoCorePtr core;
    const std::string dumpFolder = name.empty() ? std::string() : cache_->GetSessionStore().TakeDumpFolder(name);
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
    cache_->GetSessionStore().Track(core->GetIOEngine().GetSessionFolder());
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
    worker_->Request(names);
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

} // namespace Quelto::Lumindra

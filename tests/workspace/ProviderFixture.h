#pragma once

// Shared set-up of the provider and controller tests: a sandbox for the photos and the cores'
// session folders, and a recorder of the cores the provider builds.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <QDir>

#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "core/PhotoCoreException.h"
#include "support/TestSupport.h"
#include "util/Paths.h"
#include "util/Settings.h"

namespace Quelto::Lumindra::Test {

// A small real photograph of the test data, copied under a name of the test's choice.
inline const char* const kPhoto = "exif-samples/jpg/Canon_40D.jpg";

// Records the cores the provider builds through the real factory; can fail chosen builds, lower
// the pixel limit, and hold the worker's next build until released.
class CoreRecorder {
public:
    struct Build {
        std::string name; // cache name of the file, or the folder of a restore
        bool fresh = true;
        bool waitForFullFrame = false;
        std::thread::id thread;
    };

    // Installs the recording factory; the recorder must outlive the provider's use of it.
    void Install(WorkspaceControllerProvider& provider)
    {
        auto factory = WorkspaceControllerProvider::DefaultCoreFactory();
        const auto real = factory;
        factory.createFromFile = [this, real](const ioPath& path, const std::string& key,
                                              const PhotoCore::CoreCreateOptions& options) {
            return real.createFromFile(path, key, Enter(WorkspaceControllerProvider::CacheName(path), options));
        };
        factory.restore = [this, real](const ioPath& folder, const PhotoCore::CoreCreateOptions& options) {
            return real.restore(folder, Enter(folder.utf8string(), options));
        };
        provider.SetCoreFactory(factory);
    }

    std::vector<Build> Builds() const
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return builds_;
    }
    std::vector<std::string> Names() const
    {
        std::vector<std::string> names;
        for (const auto& b : Builds())
            names.push_back(b.name);
        return names;
    }
    int Count(const std::string& name) const
    {
        const auto names = Names();
        return static_cast<int>(std::count(names.begin(), names.end(), name));
    }

    // The next `count` builds of `name` throw before building anything.
    void FailNext(const std::string& name, int count)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        failName_ = name;
        failCount_ = count;
    }
    void SetPixelLimit(std::uint64_t limit)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        pixelLimit_ = limit;
    }

    // Holds the worker's next build until Release(); WaitHeld() returns once it is held.
    void HoldNextWorkerBuild()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        holdNext_ = true;
    }
    bool WaitHeld()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::milliseconds(kDefaultWaitMs), [this] { return held_; });
    }
    void Release()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        released_ = true;
        changed_.notify_all();
    }

private:
    PhotoCore::CoreCreateOptions Enter(const std::string& name, PhotoCore::CoreCreateOptions options)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        builds_.push_back({name, options.fresh, options.waitForFullFrame, std::this_thread::get_id()});
        if (holdNext_ && options.waitForFullFrame) {
            holdNext_ = false;
            held_ = true;
            changed_.notify_all();
            changed_.wait(lock, [this] { return released_; });
        }
        if (failCount_ > 0 && name == failName_) {
            --failCount_;
            throw PhotoCore::PhotoCoreException("Test failure while opening " + name);
        }
        if (pixelLimit_ != 0)
            options.pixelLimit = pixelLimit_;
        return options;
    }

    mutable std::mutex mutex_; // guards everything below
    std::condition_variable changed_;
    std::vector<Build> builds_;
    std::string failName_;
    int failCount_ = 0;
    std::uint64_t pixelLimit_ = 0;
    bool holdNext_ = false, held_ = false, released_ = false;
};

class ProviderFixture : public ::testing::Test {
protected:
    ProviderFixture() : tempDir_("LUMINDRA_TEMP_DIR", QDir(sandbox_.Path()).filePath("tmp").toUtf8())
    {
        auto& settings = Util::SettingsManager::Instance();
        settings.Remove(Util::Settings::Name(Util::Settings::CORE_CACHE_ENABLED));
        settings.Remove(Util::Settings::Name(Util::Settings::SESSION, Util::Settings::ID_LIST));
        settings.SetValue(Util::Settings::Name(Util::Settings::SHOW_LAST_SESSION), false);
    }
    ~ProviderFixture() override
    {
        auto& settings = Util::SettingsManager::Instance();
        settings.Remove(Util::Settings::Name(Util::Settings::SESSION, Util::Settings::ID_LIST));
        settings.Remove(Util::Settings::Name(Util::Settings::SHOW_LAST_SESSION));
    }

    // A copy of the test photograph in the sandbox; returns its path (UTF-8).
    std::string Photo(const QString& name) { return sandbox_.CopyTestData(kPhoto, name).toStdString(); }
    static std::string Name(const std::string& path) { return WorkspaceControllerProvider::CacheName(ioPath(path)); }

    Sandbox sandbox_;
    ScopedEnv tempDir_;
};

} // namespace Quelto::Lumindra::Test

#pragma once

// Shared set-up of the provider, controller and helper tests: a sandbox for the photos and the
// cores' session folders, the provider's settings back at their defaults, and a host stand-in.

#include <string>

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "proc/EffectSettings.h"
#include "support/TestSupport.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"
#include "util/Settings.h"

namespace Quelto::Lumindra::Test {

// Sends what the host sends through the objects connector, and hears what it is sent.
class Host : public QObject {
    Q_OBJECT
public:
    Host()
    {
        using C = Util::ObjectsConnector;
        using ID = Workspace::IObjectsConnectorID;
        C::registerEmitter(ID::FILE_PRELOAD_REQUEST, this, "2preload(const std::vector<std::string>&)");
        C::registerEmitter(ID::PUSH_WORKSPACECONTROLLER, this, "2push()");
        C::registerEmitter(ID::POP_WORKSPACECONTROLLER, this, "2pop()");
        C::registerEmitter(ID::RESET_WORKSPACECONTROLLER_CACHE, this, "2reset(const std::string&)");
        C::registerReceiver(LumindraInt::IObjectsConnectorID::OPEN_FILE, this, "1AddFileToOpen(const QString&)");
    }
    QStringList opened;
public Q_SLOTS:
    void AddFileToOpen(const QString& path) { opened << path; }
Q_SIGNALS:
    void preload(const std::vector<std::string>& names);
    void push();
    void pop();
    void reset(const std::string& path);
};

class ProviderFixture : public ::testing::Test {
protected:
    ProviderFixture() : tempDir_("LUMINDRA_TEMP_DIR", QDir(sandbox_.Path()).filePath("tmp").toUtf8())
    {
        Reset();
        Util::SettingsManager::Instance().SetValue(Util::Settings::Name(Util::Settings::SHOW_LAST_SESSION), false);
    }
    ~ProviderFixture() override { Reset(); }
    void Reset()
    {
        for (const QString& key : {kIdList, Util::Settings::Name(Util::Settings::SHOW_LAST_SESSION),
                                   Util::Settings::Name(Util::Settings::SESSION, Util::Settings::AUTOSAVE_INTERVAL)})
            Util::SettingsManager::Instance().Remove(key);
    }

    // A copy of a small real photograph in the sandbox; returns its path (UTF-8).
    std::string Photo(const QString& name)
    {
        return sandbox_.CopyTestData(QStringLiteral("exif-samples/jpg/Canon_40D.jpg"), name).toStdString();
    }
    static std::string Name(const std::string& path) { return WorkspaceControllerProvider::CacheName(ioPath(path)); }
    // A text file that calls itself a JPEG.
    std::string NotAnImage(const QString& name)
    {
        QFile file(sandbox_.FilePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write("this is no picture\n") > 0);
        return file.fileName().toStdString();
    }
    static void Edit(PhotoCore::IPhotoCoreDrawer& drawer)
    {
        drawer.ApplyEffect(Proc::EffectSettingsImpl::Create(Proc::SettingsRotate(1)));
        ASSERT_TRUE(drawer.WaitForIdle(kDefaultWaitMs));
    }

    const QString kIdList = Util::Settings::Name(Util::Settings::SESSION, Util::Settings::ID_LIST);
    Sandbox sandbox_;
    ScopedEnv tempDir_;
};

} // namespace Quelto::Lumindra::Test

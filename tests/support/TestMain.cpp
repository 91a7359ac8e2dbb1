#include <algorithm>
#include <cstdlib>

#include <QApplication>

#include <glog/logging.h>
#include <gtest/gtest.h>

#include "core/HandOver.h"
#include "support/TestSupport.h"
#include "util/AlertBox.h"
#include "util/Logging.h"
#include "util/Settings.h"

#include <QTemporaryDir>

int main(int argc, char** argv)
{
    // Test discovery and CI run without a display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    Quelto::Lumindra::Util::InitLogging(argc, argv);
#ifdef LUMINDRA_THREAD_SANITIZER
    // glog's verbose level is a plain global that every thread reads: it is raised here, before
    // any thread starts, instead of by each LogCapture while workers run.
    FLAGS_v = std::max(FLAGS_v, Quelto::Lumindra::Test::kCapturedVerboseLevel);
#endif

    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("LumindraTests"));
    QApplication::setApplicationName(QStringLiteral("LumindraTests"));

    // No test touches the user's settings or waits for a person at an alert.
    QTemporaryDir settingsDir;
    Quelto::Lumindra::Util::SettingsManager::Instance().SetStoreFile(settingsDir.filePath("settings.ini"));
    Quelto::Lumindra::LumindraAlertBox::SetTestHook(
        [](Quelto::Lumindra::LumindraAlertBox&) { return QDialogButtonBox::Ok; });

    const int result = RUN_ALL_TESTS();
    // The settings folder goes with this function: write what is pending while it is there.
    Quelto::Lumindra::Util::SettingsManager::Instance().Flush();
    return result;
}

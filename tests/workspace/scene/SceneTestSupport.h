#pragma once

#include <QDir>
#include <QPixmap>

#include <gtest/gtest.h>

#include "LumindraWorkspace/WorkspaceController.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::Test {

// The real workspace controller over a real editing core opened on a pasted picture; the core's
// session files go to a sandbox.
struct TestController {
    explicit TestController(const QImage& picture)
        : controller(WorkspaceController::Create(provider, QPixmap::fromImage(picture), PhotoCore::ImageSourcePaste))
    {
        EXPECT_TRUE(Core().WaitForIdle(kDefaultWaitMs));
    }
    PhotoCore::IPhotoCoreDrawer& Core() const { return *controller->GetLumindraDrawer(); }

    Sandbox sandbox;
    ScopedEnv tempDir {"LUMINDRA_TEMP_DIR", QDir(sandbox.Path()).filePath("tmp").toUtf8()};
    WorkspaceControllerProvider provider {false, nullptr, false};
    std::shared_ptr<IWorkspaceController> controller;
};

} // namespace Quelto::Lumindra::Test

#pragma once

#include <memory>

#include "LumindraWorkspace/WorkspaceExport.h"

namespace Quelto::Lumindra {

class IWorkspaceController;

// Receives the current workspace controller (the window, the view, tools).
class LUMINDRA_WORKSPACE_EXPORT IWorkspaceControllerUser {
public:
    virtual ~IWorkspaceControllerUser() = default;
    virtual void SetWorkspaceController(const std::weak_ptr<IWorkspaceController>& controller) = 0;
};

// The host window that shows the workspace. UI thread.
class LUMINDRA_WORKSPACE_EXPORT IWorkspaceWindow {
public:
    virtual ~IWorkspaceWindow() = default;
    // Whether the current controller may be replaced now (the window may ask the user).
    virtual bool CanResetWorkspaceController() = 0;
    virtual IWorkspaceControllerUser& GetWorkspaceControllerUser() = 0;
};

} // namespace Quelto::Lumindra

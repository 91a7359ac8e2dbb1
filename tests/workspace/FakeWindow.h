#pragma once

// A host window stand-in for the helper's tests: records the controllers it is handed and can
// refuse a reset or run a hook (which may re-enter the helper) when asked whether it may reset.

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "LumindraWorkspace/IWorkspaceWindow.h"

namespace Quelto::Lumindra::Test {

class FakeWindow : public IWorkspaceWindow, public IWorkspaceControllerUser {
public:
    bool CanResetWorkspaceController() override
    {
        ++resetQuestions;
        if (onResetQuestion) // runs once: the hook may re-enter the helper
            std::exchange(onResetQuestion, nullptr)();
        return allowReset;
    }
    IWorkspaceControllerUser& GetWorkspaceControllerUser() override { return *this; }
    void SetWorkspaceController(const std::weak_ptr<IWorkspaceController>& c) override { handed.push_back(c.lock()); }

    bool allowReset = true;
    int resetQuestions = 0;
    std::function<void()> onResetQuestion;
    std::vector<std::shared_ptr<IWorkspaceController>> handed;
};

} // namespace Quelto::Lumindra::Test

#pragma once

// A host window stand-in for the helper's tests: records the controllers it is handed and can
// refuse a reset or run a hook (which may re-enter the helper) when asked whether it may reset;
// and a helper made for it as the host makes one.

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "LumindraWorkspace/IWorkspaceWindow.h"
#include "LumindraWorkspace/WorkspaceControllerHelper.h"
#include "photocore/StatisticsEventHandler.h"

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

// A helper as the host makes it, initialised with `window`.
inline std::unique_ptr<WorkspaceControllerHelper> MakeHelper(FakeWindow& window)
{
    WorkspaceControllerHelper::Initializer init;
    init.statistics = std::make_shared<StatisticsEventHandler>();
    auto helper = std::make_unique<WorkspaceControllerHelper>(init);
    helper->Initialize(&window);
    return helper;
}

} // namespace Quelto::Lumindra::Test

// The host glue's reset sequence against the real provider and editing core, with a window
// stand-in that records what it is told and can refuse or re-enter.

#include <functional>
#include <utility>

#include <QSignalSpy>

#include "LumindraWorkspace/OpenExceptionLumindra.h"
#include "LumindraWorkspace/WorkspaceControllerHelper.h"
#include "ProviderFixture.h"
#include "photocore/IToolsId.h"
#include "photocore/StatisticsEventHandler.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;
using Stats = PhotoCore::IStatisticsEventHandler;
using Handed = std::vector<std::shared_ptr<IWorkspaceController>>;

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
    Handed handed;
};

class HelperTest : public TS::ProviderFixture {
protected:
    void SetUp() override
    {
        WorkspaceControllerHelper::Initializer init;
        init.statistics = std::make_shared<StatisticsEventHandler>();
        helper = std::make_unique<WorkspaceControllerHelper>(init);
        helper->Initialize(&window);
        ASSERT_TRUE(OpenSync(Photo("first.jpg")));
        ASSERT_EQ(window.handed, Handed {helper->GetWorkspaceController()});
    }
    bool OpenSync(const std::string& path) { return helper->ResetWorkspaceController(ioPath(path), {}, true); }

    FakeWindow window;
    std::unique_ptr<WorkspaceControllerHelper> helper;
};

TEST_F(HelperTest, ARefusedResetEmitsNothingAndKeepsTheController)
{
    const auto before = helper->GetWorkspaceController();
    window.allowReset = false;
    QSignalSpy reset(helper.get(), &WorkspaceControllerHelper::beforeWorkspaceControllerReset);
    QSignalSpy empty(helper.get(), &WorkspaceControllerHelper::workspacecontrollerEmpty);
    QSignalSpy thrown(helper.get(), &WorkspaceControllerHelper::throwEvent);

    EXPECT_FALSE(OpenSync(Photo("second.jpg")));
    helper->CloseWorkspaceController();
    EXPECT_EQ(reset.count() + empty.count() + thrown.count(), 0);
    EXPECT_EQ(helper->GetWorkspaceController(), before);
}

TEST_F(HelperTest, AFailureEmitsOneOpenErrorAndKeepsTheOldController)
{
    const std::string broken = NotAnImage("not-a-picture.jpg");
    // A failed check comes before anything is announced or the window is asked.
    struct Case { const char* what; std::function<bool()> reset; int announced; std::string file; };
    for (const Case& c : {Case {"empty path", [&] { return helper->ResetWorkspaceController({}, {}, false); }, 0, ""},
                          Case {"null picture", [&] { return helper->ResetWorkspaceControllerWithImagePaste({}); }, 0, ""},
                          Case {"no picture in the file", [&] { return OpenSync(broken); }, 1, broken}}) {
        SCOPED_TRACE(c.what);
        const auto before = helper->GetWorkspaceController();
        const int questions = window.resetQuestions;
        QSignalSpy thrown(helper.get(), &WorkspaceControllerHelper::throwEvent);
        QSignalSpy reset(helper.get(), &WorkspaceControllerHelper::beforeWorkspaceControllerReset);

        EXPECT_FALSE(c.reset());
        ASSERT_EQ(thrown.count(), 1);
        EXPECT_EQ(reset.count(), c.announced);
        EXPECT_EQ(window.resetQuestions, questions + c.announced);
        EXPECT_EQ(helper->GetWorkspaceController(), before);
        const auto event = qvariant_cast<PhotoCore::ICoreEventHandler::ThrowEvent>(thrown.at(0).at(0));
        const auto* open = dynamic_cast<const OpenExceptionLumindra*>(event.exception.get());
        ASSERT_NE(open, nullptr);
        EXPECT_FALSE(event.text.empty());
        EXPECT_EQ(open->GetStatisticsEvent().name, Stats::NAME_FILE_OPEN_ERROR);
        EXPECT_EQ(open->GetStatisticsEvent().parameters.at(Stats::KEY_FILE_NAME), c.file);
    }
}

TEST_F(HelperTest, ClosingEitherWayEmptiesTheWorkspaceOnce)
{
    struct Case { const char* what; std::function<void()> close; };
    for (const Case& c : {Case {"close", [&] { helper->CloseWorkspaceController(); }},
                          Case {"save and reset", [&] { helper->SaveAndResetWorkspaceController(); }}}) {
        SCOPED_TRACE(c.what);
        ASSERT_TRUE(OpenSync(Photo(QString::fromLatin1(c.what) + QStringLiteral(".jpg"))));
        QSignalSpy reset(helper.get(), &WorkspaceControllerHelper::beforeWorkspaceControllerReset);
        QSignalSpy empty(helper.get(), &WorkspaceControllerHelper::workspacecontrollerEmpty);
        c.close();
        EXPECT_EQ(reset.count(), 1);
        EXPECT_EQ(empty.count(), 1);
        EXPECT_EQ(helper->GetWorkspaceController(), nullptr);
        EXPECT_EQ(window.handed.back(), nullptr);
    }
}

TEST_F(HelperTest, OnlyAKnownToolNameActivatesATool)
{
    QSignalSpy activate(helper.get(), &WorkspaceControllerHelper::activateToolById);
    helper->ActivateTool("no-such-tool");
    helper->ActivateTool("");
    EXPECT_EQ(activate.count(), 0);
    helper->ActivateTool("crop");
    EXPECT_EQ(activate, (QList<QVariantList> {{int(PhotoCore::IToolsId::TOOL_CROP), 0}}));
}

TEST_F(HelperTest, OverlappingOpensOpenOnlyTheLastRequestAfterTheFirst)
{
    const QString second = QString::fromStdString(Photo("second.jpg"));
    const QString third = QString::fromStdString(Photo("third.jpg"));
    // A nested event loop during an open would deliver more requests: ask for two more files
    // from inside the window's question.
    window.onResetQuestion = [&] {
        helper->AddFileToOpen(QString::fromStdString(Photo("skipped.jpg")));
        helper->AddFileToOpen(third);
    };
    helper->AddFileToOpen(second);
    ASSERT_TRUE(TS::WaitUntil([&] { return window.handed.size() >= 3; }));
    QCoreApplication::processEvents();
    ASSERT_EQ(window.handed.size(), 3u) << "the replaced request must not be opened";
    EXPECT_EQ(window.handed[1]->GetOriginalFileName(), second);
    EXPECT_EQ(window.handed[2]->GetOriginalFileName(), third);
}

} // namespace
} // namespace Quelto::Lumindra


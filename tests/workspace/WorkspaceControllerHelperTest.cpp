// The host glue's reset sequence against the real provider and editing core, with a window
// stand-in that records what it is told and can refuse or re-enter; and the module's wiring
// through the objects connector.

#include <functional>
#include <utility>

#include <QFileInfo>
#include <QSignalSpy>

#include "LumindraWorkspace/OpenExceptionLumindra.h"
#include "LumindraWorkspace/UI/CompareButton.h"
#include "LumindraWorkspace/WorkspaceControllerHelper.h"
#include "LumindraWorkspace/view/WorkspaceView.h"
#include "FakeWindow.h"
#include "ProviderFixture.h"
#include "photocore/IToolsId.h"
#include "photocore/StatisticsEventHandler.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;
using Stats = PhotoCore::IStatisticsEventHandler;
using Handed = std::vector<std::shared_ptr<IWorkspaceController>>;
using ModuleIds = Workspace::IObjectsConnectorID;
using HostIds = LumindraInt::IObjectsConnectorID;

using TS::FakeWindow;

// "Class prefix+signature", the signature written as the host's interface writes it.
QString Registration(const char* className, const char* signature)
{
    const QByteArray member(signature);
    return QStringLiteral("Quelto::Lumindra::") + QString::fromLatin1(className) + QLatin1Char(' ')
        + QString::fromLatin1(member.left(1) + QMetaObject::normalizedSignature(member.constData() + 1));
}

class HelperTest : public TS::ProviderFixture {
protected:
    void SetUp() override
    {
        helper = TS::MakeHelper(window);
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
        const QString lock = helper->GetProvider().GetCache().GetSessionStore().GetLockFilePath();
        ASSERT_TRUE(QFileInfo::exists(lock));
        QSignalSpy reset(helper.get(), &WorkspaceControllerHelper::beforeWorkspaceControllerReset);
        QSignalSpy empty(helper.get(), &WorkspaceControllerHelper::workspacecontrollerEmpty);
        c.close();
        EXPECT_EQ(reset.count(), 1);
        EXPECT_EQ(empty.count(), 1);
        EXPECT_EQ(helper->GetWorkspaceController(), nullptr);
        EXPECT_EQ(window.handed.back(), nullptr);
        EXPECT_FALSE(QFileInfo::exists(lock)) << "no picture is open: a crash now leaves nothing to offer";
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

// Whatever becomes of the open in progress (it succeeds, fails, is refused, or something
// escapes it), the latest request that arrived meanwhile is opened after it, and the next request
// opens at once rather than waiting behind a guard left taken.
TEST_F(HelperTest, TheLatestWaitingRequestIsOpenedWhateverBecameOfTheOpenBeforeIt)
{
    struct Case { const char* what; std::string first; std::function<void()> during; bool escapes; };
    const std::vector<Case> cases = {
        {"it opens", Photo("opens.jpg"), {}, false},
        {"it cannot be opened", NotAnImage("broken.jpg"), {}, false},
        {"the window refuses it", Photo("refused.jpg"), [&] { window.allowReset = false; }, false},
        {"something escapes it", Photo("escapes.jpg"), [] { throw 42; }, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const QString name = QString::fromLatin1(c.what).replace(QLatin1Char(' '), QLatin1Char('-'));
        const QString skipped = QString::fromStdString(Photo(name + QStringLiteral("-skipped.jpg")));
        const QString latest = QString::fromStdString(Photo(name + QStringLiteral("-latest.jpg")));
        const QString after = QString::fromStdString(Photo(name + QStringLiteral("-after.jpg")));
        window.onResetQuestion = [&] {
            helper->AddFileToOpen(skipped);
            helper->AddFileToOpen(latest);
            if (c.during)
                c.during();
        };
        const std::size_t before = window.handed.size();
        if (c.escapes)
            EXPECT_ANY_THROW(helper->AddFileToOpen(QString::fromStdString(c.first)));
        else
            helper->AddFileToOpen(QString::fromStdString(c.first));
        window.allowReset = true;
        ASSERT_TRUE(TS::WaitUntil([&] {
            return window.handed.size() > before && window.handed.back()
                && window.handed.back()->GetOriginalFileName() == latest;
        }));
        QCoreApplication::processEvents();
        for (std::size_t i = before; i < window.handed.size(); ++i)
            EXPECT_TRUE(!window.handed[i] || window.handed[i]->GetOriginalFileName() != skipped);

        const std::size_t opened = window.handed.size();
        helper->AddFileToOpen(after);
        ASSERT_EQ(window.handed.size(), opened + 1) << "the next request must open at once";
        EXPECT_EQ(window.handed.back()->GetOriginalFileName(), after);
    }
}

// Two hosts each have their own helper: one helper's open in progress does not defer the
// other's request, nor take it over.
TEST_F(HelperTest, AnOpenInOneHelperDoesNotHoldUpAnother)
{
    FakeWindow otherWindow;
    const auto other = TS::MakeHelper(otherWindow);
    const QString mine = QString::fromStdString(Photo("mine.jpg"));
    const QString theirs = QString::fromStdString(Photo("theirs.jpg"));
    window.onResetQuestion = [&] { other->AddFileToOpen(theirs); };

    helper->AddFileToOpen(mine);
    ASSERT_EQ(otherWindow.handed.size(), 1u) << "the other helper must open its file at once";
    EXPECT_EQ(otherWindow.handed[0]->GetOriginalFileName(), theirs);
    QCoreApplication::processEvents();
    EXPECT_EQ(window.handed.back()->GetOriginalFileName(), mine);
    EXPECT_EQ(window.handed.size(), 2u) << "nor is the other's request opened here";
}

// The module's side of the objects connector as one table: for each identifier, exactly the
// members that the host glue, provider, controller, scene, canvas, view and compare button
// register under it. A missing or misspelt registration is a silent break, so it is caught here.
TEST_F(HelperTest, EveryIdentifierCarriesExactlyTheMembersOfTheInterface)
{
    WorkspaceView view;
    CompareButton button;
    const auto R = Registration;
    const std::vector<std::pair<QString, QStringList>> table = {
        // Identifiers of the module.
        {ModuleIds::ADD_FILES_ASSISTANT_MODE, {}},
        {ModuleIds::ADD_FILES_EDITOR_MODE, {}},
        {ModuleIds::COPY_SCENE_ITEMS, {R("WorkspaceScene", "2copySceneItemsStarted(const std::string&)")}},
        {ModuleIds::DRAG_TIPS_ENABLED,
         {R("CompareButton", "2dragTipsEnabled(bool)"), R("WorkspaceView", "1EnableDragTip(bool)")}},
        {ModuleIds::FILE_PRELOAD_REQUEST,
         {R("WorkspaceControllerProvider", "1OnFilePreloadRequest(const std::vector<std::string>&)")}},
        {ModuleIds::FOLDER_EMPTY, {R("WorkspaceControllerHelper", "1SaveAndResetWorkspaceController()")}},
        {ModuleIds::GET_BAND_VISIBLE_CONTROLLER, {}},
        {ModuleIds::NEXT_FILE_ARROW, {R("WorkspaceView", "2nextFileArrow()")}},
        {ModuleIds::NEXT_FILE_PAGE, {R("WorkspaceView", "2nextFilePage()")}},
        {ModuleIds::OPEN_FILE_IMAGE_DROP,
         {R("WorkspaceControllerHelper", "1ResetWorkspaceControllerWithImageDrop(const QPixmap&)")}},
        {ModuleIds::OPEN_FILE_IMAGE_PASTE,
         {R("WorkspaceControllerHelper", "1ResetWorkspaceControllerWithImagePaste(const QPixmap&)")}},
        {ModuleIds::PASTE_SCENE_ITEMS,
         {R("WorkspaceScene", "1onPasteSelectedSceneItemsFromClipboard(const std::string&, const QPointF &)")}},
        {ModuleIds::POP_WORKSPACECONTROLLER, {R("WorkspaceControllerProvider", "1OnPopWorkspaceController()")}},
        {ModuleIds::PREVIOUS_FILE_ARROW, {R("WorkspaceView", "2prevFileArrow()")}},
        {ModuleIds::PREVIOUS_FILE_PAGE, {R("WorkspaceView", "2prevFilePage()")}},
        {ModuleIds::PUSH_WORKSPACECONTROLLER,
         {R("WorkspaceControllerHelper", "1CloseWorkspaceController()"),
          R("WorkspaceControllerProvider", "1OnPushWorkspaceController()")}},
        {ModuleIds::REQUEST_ASSISTANT_MODE, {}},
        {ModuleIds::REQUEST_EDITOR_MODE, {}},
        {ModuleIds::RESET_WORKSPACECONTROLLER_CACHE,
         {R("WorkspaceControllerProvider", "1OnResetWorkspaceControllerCache(const std::string&)")}},
        // The tool that emits the mode is not made here.
        {ModuleIds::SCENE_BACKGROUND_MODE_CHANGED, {R("WorkspaceScene", "1onSceneBgModeChanged(SceneBackgroundMode)")}},
        {ModuleIds::SELECT_FILE_ASSISTANT_MODE, {}},
        {ModuleIds::WORKSPACE_CHANGED, {}},
        // Identifiers of the host.
        {HostIds::OPEN_FILE,
         {R("WorkspaceControllerHelper", "1AddFileToOpen(const QString&)"),
          R("WorkspaceControllerProvider", "2openFile(const QString&)")}},
        {HostIds::THROW, {R("WorkspaceControllerHelper", "2throwEvent (const PhotoCore::ICoreEventHandler::ThrowEvent&)")}},
        {HostIds::BEFORE_RESET_WORKSPACECONTROLLER,
         {R("CompareButton", "1execute()"), R("WorkspaceControllerHelper", "2beforeWorkspaceControllerReset ()")}},
        {HostIds::WORKSPACECONTROLLER_EMPTY, {R("WorkspaceControllerHelper", "2workspacecontrollerEmpty ()")}},
        {HostIds::EMULATE_USERCLICK_TOOL, {R("WorkspaceControllerHelper", "2activateToolById (int, int)")}},
        {HostIds::GET_WORKSPACE_CONTROLLER,
         {R("WorkspaceControllerHelper", "1OnGetWorkspaceController(std::weak_ptr<IWorkspaceController>&)")}},
        {HostIds::ACTIVATE_TOOL_WIDGET,
         {R("WorkspaceControllerProvider", "1OnCurrentToolsChanged(int)"), R("WorkspaceView", "1OnCurrentToolsChanged(int)")}},
        {HostIds::RENDERING_STARTED,
         {R("WorkspaceController", "2renderingStarted(bool)"), R("WorkspaceScene", "2renderingStarted(bool)")}},
        {HostIds::LOCALE_CHANGED, {R("WorkspaceController", "1OnLocaleChanged()")}},
        {HostIds::RESET_FRAME, {R("CanvasItem", "1ResetFrame()")}},
        {HostIds::SHOW_IMAGE_WITH_MASK, {R("CanvasItem", "1OnShowVideoWithMaskChanged(bool, bool)")}},
        {HostIds::COMPARE_IS_ACTIVE,
         {R("CompareButton", "1OnCompareIsActivated(bool, Lumindra::CompareType)"),
          R("CompareButton", "2compareIsActivated(bool, Lumindra::CompareType)")}},
        {HostIds::COMPARE_TOOL_ERROR_CREATE, {R("CompareButton", "1OnErrorCreate()")}},
        {HostIds::HOTKEY_ACTIVATED, {R("CompareButton", "1OnOverlay(SpecialHotkeyHelper::HotkeyID, bool)")}},
        {HostIds::ABOUT_TO_SAVE_SESSION, {R("CompareButton", "1OnAboutToSaveSession()")}},
        {HostIds::UI_CONTROL_USED, {R("CompareButton", "1OnUiControlUsed()")}},
        {HostIds::SET_WORKSPACE_FOCUS, {R("CompareButton", "2setWorkspaceFocus(bool)"), R("WorkspaceView", "1SetFocus(bool)")}},
        {HostIds::BRUSH_SIZE_CHANGED, {R("WorkspaceView", "2changeBrushSize(bool)")}},
        {HostIds::SCALE_CANCHED, {R("ScalableViewEmitter", "2scaleChanged(double)")}},
        {HostIds::GUIDE_WIDGET_ACTIVATED, {R("WorkspaceView", "1OnGuideWidgetActivated(bool)")}},
        {HostIds::GET_INFOTIP_MANAGER, {R("WorkspaceView", "1OnGetInfoTipManager(ToolTipManager*&)")}},
        {HostIds::COPY_SELECTED_SCENE_ITEMS_TO_CLIPBOARD,
         {R("WorkspaceScene", "1onCopySelectedSceneItemsToClipboard()")}},
    };
    for (const auto& [id, expected] : table) {
        SCOPED_TRACE(id.toStdString());
        QStringList sorted = expected;
        sorted.sort();
        EXPECT_EQ(Util::ObjectsConnector::registrations(id).join(QLatin1String(" | ")).toStdString(),
                  sorted.join(QLatin1String(" | ")).toStdString());
    }
    // Pairs within the module are joined: the provider's reopen request reaches the helper, the
    // button hears itself.
    EXPECT_EQ(Util::ObjectsConnector::connectionCount(HostIds::OPEN_FILE), 1);
    EXPECT_EQ(Util::ObjectsConnector::connectionCount(HostIds::COMPARE_IS_ACTIVE), 1);
}

// A push reaches both receivers: the provider keeps the current core and the helper empties the
// workspace; the pop then reopens the file through the helper's normal open path.
TEST_F(HelperTest, PushEmptiesTheWorkspaceAndPopReopensTheFileThroughTheHelper)
{
    TS::Host host;
    const auto before = helper->GetWorkspaceController();
    const std::string path = before->GetOriginalFileName().toStdString();
    QSignalSpy empty(helper.get(), &WorkspaceControllerHelper::workspacecontrollerEmpty);
    emit host.push();
    EXPECT_EQ(empty.count(), 1);
    EXPECT_EQ(helper->GetWorkspaceController(), nullptr);

    emit host.pop();
    ASSERT_TRUE(TS::WaitUntil([&] { return helper->GetWorkspaceController() != nullptr; }));
    const auto reopened = helper->GetWorkspaceController();
    EXPECT_NE(reopened, before);
    EXPECT_EQ(QFileInfo(reopened->GetOriginalFileName()).canonicalFilePath(),
              QFileInfo(QString::fromStdString(path)).canonicalFilePath());
    EXPECT_EQ(host.opened, QStringList {QString::fromStdString(Name(path))}) << "and the host hears it too";
}

} // namespace
} // namespace Quelto::Lumindra


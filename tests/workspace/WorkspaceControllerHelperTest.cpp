// The host glue's reset sequence against the real provider and editing core, with a window
// stand-in that records what it is told and can refuse or re-enter.

#include <functional>
#include <memory>
#include <utility>

#include <QFile>
#include <QPixmap>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "LumindraWorkspace/OpenExceptionLumindra.h"
#include "LumindraWorkspace/WorkspaceControllerHelper.h"
#include "photocore/IToolsId.h"
#include "photocore/StatisticsEventHandler.h"
#include "support/TestSupport.h"
#include "util/ObjectsConnector.h"

namespace Quelto::Lumindra {
namespace {

// Inside a test body "Test" names the test base class; the project helpers go by this name.
namespace Support = ::Quelto::Lumindra::Test;

using Support::TestDataPath;

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
    void SetWorkspaceController(const std::weak_ptr<IWorkspaceController>& controller) override
    {
        handed.push_back(controller.lock());
        if (auto c = controller.lock())
            opened.push_back(c->GetOriginalFileName());
    }

    bool allowReset = true;
    int resetQuestions = 0;
    std::function<void()> onResetQuestion;
    std::vector<std::shared_ptr<IWorkspaceController>> handed;
    QStringList opened;
};

class HelperTest : public ::testing::Test {
protected:
    HelperTest()
    {
        WorkspaceControllerHelper::Initializer init;
        init.statistics = statistics;
        helper = std::make_unique<WorkspaceControllerHelper>(init);
        helper->Initialize(&window);
    }

    QString Photo(const char* name) const { return TestDataPath(QString::fromLatin1(name)); }
    bool OpenSync(const QString& path) { return helper->ResetWorkspaceController(ioPath(path.toStdString()), {}, true); }

    std::shared_ptr<StatisticsEventHandler> statistics = std::make_shared<StatisticsEventHandler>();
    FakeWindow window;
    std::unique_ptr<WorkspaceControllerHelper> helper;
};

TEST_F(HelperTest, OpensAFileAndHandsTheWindowTheNewController)
{
    QSignalSpy before(helper.get(), &WorkspaceControllerHelper::beforeWorkspaceControllerReset);
    QSignalSpy empty(helper.get(), &WorkspaceControllerHelper::workspacecontrollerEmpty);

    ASSERT_TRUE(OpenSync(Photo("exif-samples/jpg/gps/DSCN0010.jpg")));

    EXPECT_EQ(before.count(), 1);
    EXPECT_EQ(empty.count(), 0);
    ASSERT_EQ(window.handed.size(), 1u);
    EXPECT_EQ(window.handed[0], helper->GetWorkspaceController());
    std::weak_ptr<IWorkspaceController> asked;
    helper->OnGetWorkspaceController(asked);
    EXPECT_EQ(asked.lock(), helper->GetWorkspaceController());
}

TEST_F(HelperTest, ARefusedResetEmitsNothingAndKeepsTheController)
{
    ASSERT_TRUE(OpenSync(Photo("exif-samples/jpg/gps/DSCN0010.jpg")));
    const auto before = helper->GetWorkspaceController();
    window.allowReset = false;
    QSignalSpy reset(helper.get(), &WorkspaceControllerHelper::beforeWorkspaceControllerReset);
    QSignalSpy empty(helper.get(), &WorkspaceControllerHelper::workspacecontrollerEmpty);
    QSignalSpy thrown(helper.get(), &WorkspaceControllerHelper::throwEvent);

    EXPECT_FALSE(OpenSync(Photo("exif-samples/jpg/gps/DSCN0021.jpg")));
    helper->CloseWorkspaceController();

    EXPECT_EQ(reset.count() + empty.count() + thrown.count(), 0);
    EXPECT_EQ(helper->GetWorkspaceController(), before);
}

TEST_F(HelperTest, EmptyPathFailsTheCheckOnceAndKeepsTheOldController)
{
    ASSERT_TRUE(OpenSync(Photo("exif-samples/jpg/gps/DSCN0010.jpg")));
    const auto before = helper->GetWorkspaceController();
    const int questions = window.resetQuestions;
    QSignalSpy thrown(helper.get(), &WorkspaceControllerHelper::throwEvent);
    QSignalSpy reset(helper.get(), &WorkspaceControllerHelper::beforeWorkspaceControllerReset);

    helper->RestoreSession(ioPath(), std::string());

    EXPECT_EQ(thrown.count(), 1);
    EXPECT_EQ(reset.count(), 0) << "the check runs before anything is announced";
    EXPECT_EQ(window.resetQuestions, questions) << "the window is not asked when the check fails";
    EXPECT_EQ(helper->GetWorkspaceController(), before);
}

TEST_F(HelperTest, CloseEmptiesTheWorkspaceAndTellsTheWindowTwice)
{
    ASSERT_TRUE(OpenSync(Photo("exif-samples/jpg/gps/DSCN0010.jpg")));
    QSignalSpy empty(helper.get(), &WorkspaceControllerHelper::workspacecontrollerEmpty);
    window.handed.clear();

    helper->CloseWorkspaceController();

    EXPECT_EQ(empty.count(), 1);
    EXPECT_EQ(helper->GetWorkspaceController(), nullptr);
    ASSERT_EQ(window.handed.size(), 2u);
    EXPECT_EQ(window.handed[0], nullptr);
    EXPECT_EQ(window.handed[1], nullptr);
}

TEST_F(HelperTest, AFailedOpenEmitsOneOpenErrorWithItsStatisticsAndKeepsTheOldController)
{
    ASSERT_TRUE(OpenSync(Photo("exif-samples/jpg/gps/DSCN0010.jpg")));
    const auto before = helper->GetWorkspaceController();
    QSignalSpy thrown(helper.get(), &WorkspaceControllerHelper::throwEvent);
    QSignalSpy reset(helper.get(), &WorkspaceControllerHelper::beforeWorkspaceControllerReset);
    // A file with an image's name and no image in it.
    Support::Sandbox sandbox;
    const QString broken = sandbox.FilePath(QStringLiteral("not-a-picture.jpg"));
    QFile text(broken);
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("these are words, not pixels\n");
    text.close();

    EXPECT_FALSE(OpenSync(broken));

    ASSERT_EQ(thrown.count(), 1);
    EXPECT_EQ(reset.count(), 1) << "the failure comes from the create step, after the announcement";
    const auto event = qvariant_cast<PhotoCore::ICoreEventHandler::ThrowEvent>(thrown.at(0).at(0));
    EXPECT_FALSE(event.text.empty());
    const auto* open = dynamic_cast<const OpenExceptionLumindra*>(event.exception.get());
    ASSERT_NE(open, nullptr);
    EXPECT_EQ(open->GetStatisticsEvent().name, PhotoCore::IStatisticsEventHandler::NAME_FILE_OPEN_ERROR);
    EXPECT_EQ(open->GetStatisticsEvent().parameters.at(PhotoCore::IStatisticsEventHandler::KEY_FILE_NAME),
              broken.toStdString());
    EXPECT_EQ(helper->GetWorkspaceController(), before);
}

TEST_F(HelperTest, OverlappingOpensOpenOnlyTheLastRequestAfterTheFirst)
{
    const QString first = Photo("exif-samples/jpg/gps/DSCN0010.jpg");
    const QString second = Photo("exif-samples/jpg/gps/DSCN0021.jpg");
    const QString third = Photo("exif-samples/jpg/orientation/landscape_1.jpg");
    // The window is asked during the first open; a nested event loop there would deliver more
    // requests: simulate that by asking for two more files from inside the question.
    window.onResetQuestion = [&] {
        helper->AddFileToOpen(second);
        helper->AddFileToOpen(third);
    };

    helper->AddFileToOpen(first);
    ASSERT_EQ(window.opened.size(), 1);
    EXPECT_EQ(window.opened[0], first);

    ASSERT_TRUE(Support::WaitUntil([&] { return window.opened.size() >= 2; }));
    QCoreApplication::processEvents();
    ASSERT_EQ(window.opened.size(), 2) << "the replaced request must not be opened";
    EXPECT_EQ(window.opened[1], third);
}

TEST_F(HelperTest, AddFileToOpenDoesNothingBeforeInitialize)
{
    WorkspaceControllerHelper::Initializer init;
    init.statistics = statistics;
    WorkspaceControllerHelper uninitialized(init);
    QSignalSpy reset(&uninitialized, &WorkspaceControllerHelper::beforeWorkspaceControllerReset);
    uninitialized.AddFileToOpen(Photo("exif-samples/jpg/gps/DSCN0010.jpg"));
    EXPECT_EQ(reset.count(), 0);
    EXPECT_EQ(uninitialized.GetWorkspaceController(), nullptr);
}

TEST_F(HelperTest, PicturesOpenFromDropAndPasteButANullOneIsRefused)
{
    QPixmap picture(64, 48);
    picture.fill(Qt::darkCyan);
    ASSERT_TRUE(helper->ResetWorkspaceControllerWithImageDrop(picture));
    const auto dropped = helper->GetWorkspaceController();
    ASSERT_NE(dropped, nullptr);
    EXPECT_EQ(dropped->GetFrameInfo().GetFrameInfo().width, 64);

    QSignalSpy thrown(helper.get(), &WorkspaceControllerHelper::throwEvent);
    EXPECT_FALSE(helper->ResetWorkspaceControllerWithImagePaste(QPixmap()));
    EXPECT_EQ(thrown.count(), 1);
    EXPECT_EQ(helper->GetWorkspaceController(), dropped);

    ASSERT_TRUE(helper->ResetWorkspaceControllerWithImagePaste(picture));
    EXPECT_NE(helper->GetWorkspaceController(), dropped);
}

TEST_F(HelperTest, ActivateToolEmitsOnlyForKnownTools)
{
    QSignalSpy activated(helper.get(), &WorkspaceControllerHelper::activateToolById);
    helper->ActivateTool("no such tool");
    EXPECT_EQ(activated.count(), 0);
    helper->ActivateTool("crop");
    ASSERT_EQ(activated.count(), 1);
    EXPECT_EQ(activated.at(0).at(0).toInt(), PhotoCore::IToolsId::GetToolID("crop"));
    EXPECT_EQ(activated.at(0).at(1).toInt(), 0);
}

// A sender of the host's requests, wired through the connector as the host would.
class HostStandIn : public QObject {
    Q_OBJECT
Q_SIGNALS:
    void pictureDropped(const QPixmap& image);
    void folderEmpty();
};

TEST_F(HelperTest, ConnectorMessagesReachTheHelper)
{
    HostStandIn host;
    Util::ObjectsConnector::registerEmitter(Workspace::IObjectsConnectorID::OPEN_FILE_IMAGE_DROP, &host,
                                            "2pictureDropped(const QPixmap&)", 0);
    Util::ObjectsConnector::registerEmitter(Workspace::IObjectsConnectorID::FOLDER_EMPTY, &host, "2folderEmpty()", 0);
    QSignalSpy empty(helper.get(), &WorkspaceControllerHelper::workspacecontrollerEmpty);

    QPixmap picture(32, 32);
    picture.fill(Qt::red);
    Q_EMIT host.pictureDropped(picture);
    ASSERT_NE(helper->GetWorkspaceController(), nullptr);

    Q_EMIT host.folderEmpty();
    EXPECT_EQ(helper->GetWorkspaceController(), nullptr);
    EXPECT_EQ(empty.count(), 1);
}

} // namespace
} // namespace Quelto::Lumindra

#include "WorkspaceControllerHelperTest.moc"

// A session left unfinished by a run that did not end cleanly: found at start by its lock file,
// restored with its edits and history through the helper, or discarded.

#include <cstring>

#include <QCoreApplication>
#include <QDateTime>
#include <QProcess>

#include "LumindraWorkspace/UnfinishedSession.h"
#include "LumindraWorkspace/WorkspaceControllerHelper.h"
#include "ProviderFixture.h"
#include "photocore/CoreSessionState.h"
#include "photocore/StatisticsEventHandler.h"
#include "photoutil/Serializer.h"
#include "util/Paths.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;

class WindowStandIn : public IWorkspaceWindow, public IWorkspaceControllerUser {
public:
    bool CanResetWorkspaceController() override { return true; }
    IWorkspaceControllerUser& GetWorkspaceControllerUser() override { return *this; }
    void SetWorkspaceController(const std::weak_ptr<IWorkspaceController>&) override {}
};

class UnfinishedSessionTest : public TS::ProviderFixture {
protected:
    ~UnfinishedSessionTest() override
    {
        if (running_.state() != QProcess::NotRunning) {
            running_.kill();
            running_.waitForFinished();
        }
    }
    static QString Temp() { return QString::fromStdString(Util::GetTempDirPath()); }
    static QString Folder(const QString& name) { return Temp() + name; }
    static QString Lock(const QString& name) { return Folder(name) + QStringLiteral("/workspace.lock"); }

    // The id of a process that has ended: what a crashed run leaves in its lock file.
    static QByteArray DeadPid()
    {
        QProcess process;
        process.start(QStringLiteral("true"), QStringList());
        EXPECT_TRUE(process.waitForStarted());
        const QByteArray pid = QByteArray::number(process.processId());
        EXPECT_TRUE(process.waitForFinished());
        return pid;
    }
    // The id of a process that runs: another window of the editor.
    QByteArray LivePid()
    {
        running_.start(QStringLiteral("sleep"), {QStringLiteral("60")});
        EXPECT_TRUE(running_.waitForStarted());
        return QByteArray::number(running_.processId());
    }
    // A session folder as a run leaves it: the autosaved state of `source` (none when empty
    // and `state` is false) and a lock holding `lock` (none when null).
    static void MakeSession(const QString& name, const QByteArray& lock, bool state, const std::string& source)
    {
        ASSERT_TRUE(QDir().mkpath(Folder(name)));
        if (state) {
            PhotoCore::CoreSessionState written;
            written.sessionId = name.toStdString();
            written.sourcePath = source;
            QFile file(Folder(name) + QStringLiteral("/core.json"));
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(QByteArray::fromStdString(PhotoUtil::CreateStringSerializer()->SerializeToString(written)));
        }
        if (!lock.isNull()) {
            QFile file(Lock(name));
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(lock);
        }
    }

    QProcess running_;
};

TEST_F(UnfinishedSessionTest, OnlyAnAutosaveWhoseRunIsGoneIsFoundAndEachStaleLockIsReportedOnce)
{
    const std::string photo = Photo("a.jpg");
    struct Case { const char* what; QByteArray lock; bool state; std::string source; bool found, lockStays; };
    for (const Case& c : {Case {"a crash after an autosave", DeadPid(), true, photo, true, true},
                          Case {"a lock nobody can read", QByteArray("not a pid"), true, photo, true, true},
                          Case {"a running editor", LivePid(), true, photo, false, true},
                          Case {"a clean end", QByteArray(), true, photo, false, false},
                          Case {"a crash before any autosave", DeadPid(), false, photo, false, false},
                          Case {"a picture without a file", DeadPid(), true, std::string(), false, false}}) {
        SCOPED_TRACE(c.what);
        MakeSession(QStringLiteral("s"), c.lock, c.state, c.source);
        const auto found = UnfinishedSession::Find();
        ASSERT_EQ(found.has_value(), c.found);
        if (found) {
            EXPECT_EQ(found->GetFolder(), Folder(QStringLiteral("s")));
            EXPECT_EQ(found->GetFolderName(), "s");
            EXPECT_EQ(found->GetSessionId(), "s");
            EXPECT_EQ(found->GetSourcePath().utf8string(), photo);
            EXPECT_EQ(found->GetDisplayName(), QStringLiteral("a.jpg"));
        }
        EXPECT_EQ(QFileInfo::exists(Lock(QStringLiteral("s"))), c.lockStays);
        EXPECT_TRUE(QFileInfo(Folder(QStringLiteral("s"))).isDir()) << "finding removes no folder";
        ASSERT_TRUE(QDir(Folder(QStringLiteral("s"))).removeRecursively());
    }

    // Of two crashes the newer is offered; the older one's lock goes, its folder stays.
    MakeSession(QStringLiteral("older"), DeadPid(), true, photo);
    MakeSession(QStringLiteral("newer"), DeadPid(), true, photo);
    QFile older(Folder(QStringLiteral("older")) + QStringLiteral("/core.json"));
    ASSERT_TRUE(older.open(QIODevice::ReadWrite));
    ASSERT_TRUE(older.setFileTime(QDateTime::currentDateTime().addSecs(-3600), QFileDevice::FileModificationTime));
    older.close();
    const auto found = UnfinishedSession::Find();
    ASSERT_TRUE(found);
    EXPECT_EQ(found->GetFolderName(), "newer");
    EXPECT_FALSE(QFileInfo::exists(Lock(QStringLiteral("older"))));
    EXPECT_TRUE(QFileInfo::exists(Folder(QStringLiteral("older")) + QStringLiteral("/core.json")));

    EXPECT_TRUE(found->Discard());
    EXPECT_FALSE(QFileInfo::exists(found->GetFolder()));
    EXPECT_FALSE(UnfinishedSession::Find()) << "discarded, and the older one was already reported";
}

// The run that crashed edited, undid one step and autosaved; the next run restores the picture
// with the same pixels and the same history, redoable step included, and takes the folder over.
TEST_F(UnfinishedSessionTest, RestoringBringsBackThePictureWithItsEditsAndHistory)
{
    WindowStandIn window;
    WorkspaceControllerHelper::Initializer init;
    init.sessionMode = true;
    const std::string photo = Photo("a.jpg");
    Proc::DataVideoPtr edited;
    std::string folderName;
    {
        WorkspaceControllerHelper crashing(init);
        crashing.Initialize(&window);
        crashing.AddFileToOpen(QString::fromStdString(photo));
        const auto controller = crashing.GetWorkspaceController();
        ASSERT_TRUE(controller);
        auto drawer = controller->GetLumindraDrawer();
        drawer->ApplyEffect(Proc::EffectSettingsImpl::Create(Proc::SettingsRotate(1)));
        drawer->ApplyEffect(Proc::EffectSettingsImpl::Create(Proc::SettingsFlip(true)));
        drawer->ApplyEffect(Proc::EffectSettingsImpl::Create(Proc::SettingsRotate(1)));
        controller->GetUndoEngine()->Undo();
        ASSERT_TRUE(drawer->WaitForIdle(TS::kDefaultWaitMs));
        edited = drawer->GetVideo();
        controller->SaveSession();
        const QString state = QString::fromStdString(controller->GetIOEngine().GetSessionFolder().utf8string())
                            + QStringLiteral("/core.json");
        ASSERT_TRUE(TS::WaitUntil([&] { return QFileInfo::exists(state); }));
        folderName = controller->GetIOEngine().GetSessionId();
    }
    // A clean end removed the lock; a crash would have left it with its dead process's id.
    EXPECT_FALSE(UnfinishedSession::Find());
    MakeSession(QString::fromStdString(folderName), DeadPid(), false, {});

    WorkspaceControllerHelper restarted(init);
    restarted.Initialize(&window);
    const auto session = UnfinishedSession::Find();
    ASSERT_TRUE(session);
    ASSERT_TRUE(restarted.RestoreUnfinishedSession(*session));
    const auto controller = restarted.GetWorkspaceController();
    EXPECT_EQ(controller->GetOriginalFileName().toStdString(), photo);
    EXPECT_EQ(controller->GetUndoEngine()->GetUndoCount(), 2);
    EXPECT_EQ(controller->GetUndoEngine()->GetRedoCount(), 1);
    auto drawer = controller->GetLumindraDrawer();
    ASSERT_TRUE(drawer->WaitForIdle(TS::kDefaultWaitMs));
    const Proc::DataVideoPtr restored = drawer->GetVideo();
    ASSERT_TRUE(edited && restored);
    const Conf::FrameInfo& a = edited->GetFrameInfo();
    const Conf::FrameInfo& b = restored->GetFrameInfo();
    ASSERT_EQ(std::make_pair(a.width, a.height), std::make_pair(b.width, b.height));
    ASSERT_EQ(edited->GetPixFmt(), restored->GetPixFmt());
    const std::size_t row = std::size_t(a.width) * Proc::BytesPerPixel(edited->GetPixFmt());
    for (int y = 0; y < a.height; ++y)
        ASSERT_EQ(std::memcmp(edited->GetData() + std::size_t(y) * edited->GetStride(),
                              restored->GetData() + std::size_t(y) * restored->GetStride(), row),
                  0)
            << "row " << y;
    EXPECT_TRUE(QFileInfo::exists(Lock(QString::fromStdString(folderName))))
        << "the restored picture's folder is this run's now";
    EXPECT_FALSE(UnfinishedSession::Find());
}

} // namespace
} // namespace Quelto::Lumindra

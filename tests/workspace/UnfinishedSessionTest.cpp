// A session left unfinished by a run that did not end cleanly: found at start by its lock file, or
// discarded. (Restoring it is tested with a real crash in tests/app.)

#include <sys/wait.h>
#include <unistd.h>

#include <QDateTime>
#include <QProcess>

#include "LumindraWorkspace/UnfinishedSession.h"
#include "ProviderFixture.h"
#include "photocore/CoreSessionState.h"
#include "photoutil/Serializer.h"
#include "proc/EffectSettings.h"
#include "util/Paths.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;

class UnfinishedSessionTest : public TS::ProviderFixture {
protected:
    ~UnfinishedSessionTest() override
    {
        if (running_.state() != QProcess::NotRunning) {
            running_.kill();
            running_.waitForFinished();
        }
        if (zombie_ > 0)
            ::waitpid(zombie_, nullptr, 0);
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
    // The id of a process that has ended but that its parent has not reaped yet.
    QByteArray ZombiePid()
    {
        zombie_ = ::fork();
        if (zombie_ == 0)
            ::_exit(0);
        EXPECT_TRUE(TS::WaitUntil([&] {
            QFile stat(QStringLiteral("/proc/%1/stat").arg(zombie_));
            return stat.open(QIODevice::ReadOnly) && stat.readAll().contains(") Z ");
        }));
        return QByteArray::number(zombie_);
    }
    // The id of a process that runs: another window of the editor.
    QByteArray LivePid()
    {
        running_.start(QStringLiteral("sleep"), {QStringLiteral("60")});
        EXPECT_TRUE(running_.waitForStarted());
        return QByteArray::number(running_.processId());
    }
    // A session folder as a run leaves it: the autosaved state of `source` with one edit (none
    // when `state` is false; saved to the file when `saved`) and a lock holding `lock` (none when
    // null).
    static void MakeSession(const QString& name, const QByteArray& lock, bool state, const std::string& source,
                            bool saved = false)
    {
        ASSERT_TRUE(QDir().mkpath(Folder(name)));
        if (state) {
            PhotoCore::CoreSessionState written;
            written.sessionId = name.toStdString();
            written.sourcePath = source;
            written.history.steps.push_back(std::make_shared<Proc::SettingsRotate>(1));
            written.history.position = 1;
            written.history.savedPosition = saved ? 1 : 0;
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
    pid_t zombie_ = 0;
};

TEST_F(UnfinishedSessionTest, OnlyAnAutosaveWhoseRunIsGoneIsFoundAndEachStaleLockIsReportedOnce)
{
    const std::string photo = Photo("a.jpg");
    struct Case { const char* what; QByteArray lock; bool state; std::string source; bool saved, found, lockStays; };
    for (const Case& c : {Case {"a crash after an autosave", DeadPid(), true, photo, false, true, true},
                          Case {"a crash its parent has not reaped yet", ZombiePid(), true, photo, false, true, true},
                          Case {"a lock nobody can read", QByteArray("not a pid"), true, photo, false, true, true},
                          Case {"a running editor", LivePid(), true, photo, false, false, true},
                          Case {"a clean end", QByteArray(), true, photo, false, false, false},
                          Case {"a crash before any autosave", DeadPid(), false, photo, false, false, false},
                          Case {"a crash after the edits were saved", DeadPid(), true, photo, true, false, false},
                          Case {"a picture without a file", DeadPid(), true, std::string(), false, false, false}}) {
        SCOPED_TRACE(c.what);
        MakeSession(QStringLiteral("s"), c.lock, c.state, c.source, c.saved);
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

} // namespace
} // namespace Quelto::Lumindra

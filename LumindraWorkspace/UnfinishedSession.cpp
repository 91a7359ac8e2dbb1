#include "LumindraWorkspace/UnfinishedSession.h"

#include <cerrno>
#include <exception>
#include <vector>

#include <signal.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <glog/logging.h>

#include "LumindraWorkspace/IWorkspaceController.h"
#include "LumindraWorkspace/SessionStore.h"
#include "photocore/CoreSessionState.h"
#include "photoutil/Serializer.h"
#include "util/Paths.h"

namespace Quelto::Lumindra {

namespace {

QString FromUtf8(const std::string& text)
{
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

// Whether the process still runs. Signal 0 only asks whether it exists (EPERM: it does, under
// another user); one that ended but was not yet reaped by its parent (a zombie, state Z in its
// stat line) has ended all the same.
bool IsRunning(qint64 pid)
{
    if (::kill(static_cast<pid_t>(pid), 0) != 0 && errno != EPERM)
        return false;
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return true;
    const QByteArray line = stat.readAll();
    const int nameEnd = line.lastIndexOf(')'); // the state follows the name in parentheses
    return nameEnd < 0 || line.size() <= nameEnd + 2 || line.at(nameEnd + 2) != 'Z';
}

// Whether the process that wrote the lock file still runs. An unreadable lock counts as left
// behind: whoever wrote it cannot be asked.
bool IsLockHeld(const QString& lockPath)
{
    QFile lock(lockPath);
    if (!lock.open(QIODevice::ReadOnly))
        return false;
    bool ok = false;
    const qint64 pid = lock.readAll().trimmed().toLongLong(&ok);
    if (!ok || pid <= 0)
        return false;
    return pid == QCoreApplication::applicationPid() || IsRunning(pid);
}

void RemoveStaleLock(const QString& lockPath)
{
    if (!QFile::remove(lockPath))
        LOG(WARNING) << "Cannot remove the stale lock file " << lockPath.toStdString();
}

} // namespace

std::optional<UnfinishedSession> UnfinishedSession::Read(const QString& folder)
{
    const QString stateFile = QDir(folder).filePath(QString::fromLatin1(PhotoCore::CoreSessionState::kStateFile));
    QFile file(stateFile);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    PhotoCore::CoreSessionState state;
    try {
        PhotoUtil::CreateStringSerializer()->DeserializeFromString(file.readAll().toStdString(), state);
    } catch (const std::exception& e) {
        LOG(WARNING) << "The session in " << folder.toStdString() << " cannot be read: " << e.what();
        return std::nullopt;
    }
    if (state.sourcePath.empty())
        return std::nullopt; // a dropped or pasted picture: reopened only through its file name
    if (state.history.position == state.history.savedPosition)
        return std::nullopt; // nothing that its file does not hold
    UnfinishedSession session;
    session.folder_ = QDir::cleanPath(folder);
    session.sessionId_ = state.sessionId;
    session.sourcePath_ = state.sourcePath;
    session.key_ = state.key;
    session.fileName_ = state.fileName;
    session.savedAt_ = QFileInfo(stateFile).lastModified();
    return session;
}

std::optional<UnfinishedSession> UnfinishedSession::Find()
{
    const QDir temp(FromUtf8(Util::GetTempDirPath()));
    std::vector<UnfinishedSession> found;
    for (const QFileInfo& folder : temp.entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString lock = QDir(folder.absoluteFilePath()).filePath(SessionStore::LockFileName());
        if (!QFileInfo::exists(lock) || IsLockHeld(lock))
            continue;
        if (auto session = Read(folder.absoluteFilePath())) {
            found.push_back(std::move(*session));
            continue;
        }
        VLOG(30) << "Nothing to restore in " << folder.absoluteFilePath().toStdString();
        RemoveStaleLock(lock);
    }
    if (found.empty())
        return std::nullopt;
    std::size_t newest = 0;
    for (std::size_t i = 1; i < found.size(); ++i)
        if (found[i].savedAt_ > found[newest].savedAt_)
            newest = i;
    // The older ones were offered when their run ended; their folders stay for the saved list.
    for (std::size_t i = 0; i < found.size(); ++i)
        if (i != newest)
            RemoveStaleLock(QDir(found[i].folder_).filePath(SessionStore::LockFileName()));
    VLOG(30) << "Unfinished session found in " << found[newest].folder_.toStdString();
    return found[newest];
}

std::string UnfinishedSession::GetFolderName() const
{
    const QString temp = QDir::cleanPath(FromUtf8(Util::GetTempDirPath()));
    return QDir(temp).relativeFilePath(folder_).toUtf8().toStdString();
}

QString UnfinishedSession::GetDisplayName() const
{
    return QFileInfo(FromUtf8(fileName_.empty() ? sourcePath_ : fileName_)).fileName();
}

QString UnfinishedSession::GetPreviewPath() const
{
    return QDir(folder_).filePath(IWorkspaceController::PREVIEW_NAME);
}

bool UnfinishedSession::Discard() const
{
    if (QDir(folder_).removeRecursively())
        return true;
    LOG(WARNING) << "Cannot remove the session folder " << folder_.toStdString();
    return false;
}

} // namespace Quelto::Lumindra

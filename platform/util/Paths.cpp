#include "util/Paths.h"

#include <mutex>

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <QThread>

#include <glog/logging.h>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

#include "core/PhotoCoreException.h"
#include "util/Settings.h"

namespace Quelto::Lumindra::Util {

namespace {

constexpr const char* kTempDirVariable = "LUMINDRA_TEMP_DIR";
// The EXIF date form "YYYY:MM:DD HH:MM:SS"; anything after it (sub-seconds, padding) is ignored.
constexpr const char* kExifDateFormat = "yyyy:MM:dd HH:mm:ss";
constexpr int kExifDateLength = 19;

QString FromUtf8(const std::string& s)
{
    return QString::fromUtf8(s.data(), int(s.size()));
}

std::string ToUtf8(const QString& s)
{
    return s.toUtf8().toStdString();
}

// Per user, so that two people on one machine do not share (or fight over) one folder.
QString ApplicationTempFolderName()
{
#ifdef Q_OS_UNIX
    return QStringLiteral("lumindra-%1").arg(::getuid());
#else
    return QStringLiteral("Lumindra");
#endif
}

bool IsGuiThread()
{
    auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    return app && QThread::currentThread() == app->thread();
}

} // namespace

std::string GetPlatformFileName(const std::string& utf8Path)
{
    if (utf8Path.empty())
        return {};
    const QString path = QDir::fromNativeSeparators(FromUtf8(utf8Path));
    return ToUtf8(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
}

std::string GetTempDirPath()
{
    const QString configured = qEnvironmentVariable(kTempDirVariable);
    const QString folder = configured.isEmpty()
                               ? QDir(QDir::tempPath()).filePath(ApplicationTempFolderName())
                               : QDir::cleanPath(QFileInfo(QDir::fromNativeSeparators(configured)).absoluteFilePath());
    if (!QFileInfo(folder).isDir() && !QDir().mkpath(folder))
        LOG(WARNING) << "Temporary folder " << ToUtf8(folder) << " could not be created";
    return ToUtf8(QDir::fromNativeSeparators(folder) + QLatin1Char('/'));
}

void CheckTempDirPath()
{
    const QString folder = FromUtf8(GetTempDirPath());
    if (!QFileInfo(folder).isDir())
        throw PhotoCore::PhotoCoreException("The temporary folder " + ToUtf8(folder) +
                                            " does not exist and could not be created");
    QTemporaryFile probe(folder + QStringLiteral("write-check-XXXXXX"));
    if (!probe.open())
        throw PhotoCore::PhotoCoreException("The temporary folder " + ToUtf8(folder) +
                                            " cannot be written: " + ToUtf8(probe.errorString()));
}

QString GetDefaultSaveFolder(const QString& kind)
{
    const QString name = Settings::Name(kind.isEmpty() ? QString::fromUtf8(Settings::SAVE) : kind,
                                        QString::fromUtf8(Settings::FOLDER));
    const QString stored = SettingsManager::Instance().Value(name).toString();
    if (!stored.isEmpty() && QFileInfo(stored).isDir())
        return stored;
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    if (!pictures.isEmpty() && QFileInfo(pictures).isDir())
        return pictures;
    return QDir::homePath();
}

void SaveDirPath(const std::string& folderUtf8, const char* kind)
{
    if (folderUtf8.empty())
        return;
    SettingsManager::Instance().SetValue(Settings::Name(kind ? kind : Settings::SAVE, Settings::FOLDER),
                                         QDir::fromNativeSeparators(FromUtf8(folderUtf8)));
}

bool SetFileDateTimeCreate(const std::string& utf8Path, const std::string& dateTime)
{
    const QString path = FromUtf8(utf8Path);
    // EXIF strings are fixed-size fields and often come with NUL padding.
    QString text = FromUtf8(dateTime);
    const int padding = text.indexOf(QChar(0));
    if (padding >= 0)
        text.truncate(padding);
    text = text.trimmed();
    const QDateTime when = QDateTime::fromString(text.left(kExifDateLength), QString::fromLatin1(kExifDateFormat));
    if (!when.isValid()) {
        LOG(WARNING) << "Date \"" << ToUtf8(text) << "\" for " << utf8Path << " is not a YYYY:MM:DD HH:MM:SS date";
        return false;
    }
    if (!QFileInfo(path).isFile()) {
        LOG(WARNING) << "Cannot set the date of " << utf8Path << ": no such file";
        return false;
    }
    QFile file(path);
    // Append never truncates, for a file that may be written but not read.
    if (!file.open(QIODevice::ReadOnly) && !file.open(QIODevice::WriteOnly | QIODevice::Append)) {
        LOG(WARNING) << "Cannot set the date of " << utf8Path << ": " << ToUtf8(file.errorString());
        return false;
    }
    if (file.setFileTime(when, QFileDevice::FileBirthTime) || file.setFileTime(when, QFileDevice::FileModificationTime))
        return true;
    LOG(WARNING) << "Cannot set the date of " << utf8Path << ": " << ToUtf8(file.errorString());
    return false;
}

int LoadFontsFromFolder(const QString& folder)
{
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        return 0;
    if (!IsGuiThread()) {
        LOG(WARNING) << "Fonts of " << ToUtf8(folder) << " not loaded: needs the GUI thread of a QGuiApplication";
        return 0;
    }
    static std::mutex mutex;
    static QSet<QString> tried; // guarded by mutex; files never to be added twice
    const QStringList patterns {QStringLiteral("*.ttf"), QStringLiteral("*.otf"), QStringLiteral("*.ttc"),
                                QStringLiteral("*.otc")};
    int added = 0;
    for (const QFileInfo& font : QDir(folder).entryInfoList(patterns, QDir::Files | QDir::Readable, QDir::Name)) {
        const QString path = font.absoluteFilePath();
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (tried.contains(path))
                continue;
            tried.insert(path);
        }
        if (QFontDatabase::addApplicationFont(path) < 0)
            LOG(WARNING) << "Font " << ToUtf8(path) << " could not be loaded";
        else
            ++added;
    }
    return added;
}

void LoadPathForFonts()
{
    QStringList folders {QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("fonts"))};
    for (const QString& data : QStandardPaths::standardLocations(QStandardPaths::AppDataLocation))
        folders << QDir(data).filePath(QStringLiteral("fonts"));
    int added = 0;
    for (const QString& folder : folders)
        added += LoadFontsFromFolder(folder);
    VLOG(30) << "Fonts loaded for the session: " << added;
}

} // namespace Quelto::Lumindra::Util

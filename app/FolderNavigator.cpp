#include "FolderNavigator.h"

#include <algorithm>

#include <QDir>
#include <QFileInfo>

#include "photoutil/FormatHelper.h"

namespace Quelto::Lumindra::App {

bool FolderNavigator::NaturalLess(const QString& a, const QString& b)
{
    // Digit runs compare by value ("p9" < "p10"), the rest case-insensitively; QCollator's
    // numeric mode depends on the system locale and does nothing in the C locale.
    int i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (a[i].isDigit() && b[j].isDigit()) {
            int ei = i, ej = j;
            while (ei < a.size() && a[ei].isDigit())
                ++ei;
            while (ej < b.size() && b[ej].isDigit())
                ++ej;
            // Leading zeros do not count, but keep the last digit of a run of zeros.
            while (i < ei - 1 && a[i] == QLatin1Char('0'))
                ++i;
            while (j < ej - 1 && b[j] == QLatin1Char('0'))
                ++j;
            if (ei - i != ej - j)
                return ei - i < ej - j;
            const int order = QStringRef(&a, i, ei - i).compare(QStringRef(&b, j, ej - j));
            if (order != 0)
                return order < 0;
            i = ei;
            j = ej;
            continue;
        }
        const QChar ca = a[i].toCaseFolded(), cb = b[j].toCaseFolded();
        if (ca != cb)
            return ca < cb;
        ++i;
        ++j;
    }
    if ((a.size() - i) != (b.size() - j))
        return (a.size() - i) < (b.size() - j);
    return a < b;
}

bool FolderNavigator::IsImageFile(const QString& path)
{
    const std::string ext = QFileInfo(path).suffix().toLower().toStdString();
    if (ext.empty())
        return false;
    return !PhotoUtil::FormatHelper::GetFormatDescriptionForExtension(ext, false).first.isEmpty();
}

void FolderNavigator::Clear()
{
    current_.clear();
    files_.clear();
    listedFolder_.clear();
    index_ = -1;
}

void FolderNavigator::SetChosenFiles(const QStringList& files)
{
    chosen_ = files.size() > 1 ? files : QStringList();
}

void FolderNavigator::SetCurrentFile(const QString& file)
{
    const QString previousFolder = listedFolder_;
    const QStringList previousFiles = files_;
    Clear();
    if (file.isEmpty())
        return;
    const QFileInfo info(file);
    current_ = info.absoluteFilePath();
    if (chosen_.contains(current_)) {
        files_ = chosen_;
        index_ = files_.indexOf(current_);
        return;
    }
    chosen_.clear();
    // A step within an unchanged folder keeps its listing: reading and sorting a folder of
    // thousands of photographs at every step would hold up the window.
    const QDir dir = info.absoluteDir();
    const QDateTime folderTime = QFileInfo(dir.absolutePath()).lastModified();
    if (!previousFiles.isEmpty() && previousFolder == dir.absolutePath() && folderTime == folderTime_
        && previousFiles.contains(current_)) {
        files_ = previousFiles;
        listedFolder_ = previousFolder;
        index_ = files_.indexOf(current_);
        return;
    }
    listedFolder_ = dir.absolutePath();
    folderTime_ = folderTime;
    std::vector<std::pair<QString, QString>> named; // file name, path
    for (const QFileInfo& entry : dir.entryInfoList(QDir::Files | QDir::Readable)) {
        if (IsImageFile(entry.fileName()) || entry.absoluteFilePath() == current_)
            named.emplace_back(entry.fileName(), entry.absoluteFilePath());
    }
    std::sort(named.begin(), named.end(), [](const auto& a, const auto& b) { return NaturalLess(a.first, b.first); });
    for (const auto& entry : named)
        files_.push_back(entry.second);
    index_ = files_.indexOf(current_);
}

QString FolderNavigator::GetNeighbour(int step) const
{
    const int i = index_ + step;
    if (index_ < 0 || i < 0 || i >= files_.size())
        return QString();
    return files_[i];
}

std::vector<std::string> FolderNavigator::GetPreloadRequest(int direction) const
{
    std::vector<std::string> names;
    if (index_ < 0)
        return names;
    auto add = [&](const QString& path) {
        if (path.isEmpty())
            return;
        const std::string utf8 = path.toUtf8().toStdString();
        if (std::find(names.begin(), names.end(), utf8) == names.end())
            names.push_back(utf8);
    };
    const int ahead = direction < 0 ? -1 : 1;
    add(current_);
    // Second place: the file just left (cached already; the preloader skips the first two
    // names). At the start of a folder there is none, and the current file stands there again,
    // so that the file ahead still gets the third place and is preloaded.
    const QString behind = GetNeighbour(-ahead);
    names.push_back(behind.isEmpty() ? names.front() : behind.toUtf8().toStdString());
    for (int distance = 1; distance <= kPreloadReach; ++distance) {
        add(GetNeighbour(ahead * distance));
        add(GetNeighbour(-ahead * (distance + 1)));
    }
    return names;
}

} // namespace Quelto::Lumindra::App

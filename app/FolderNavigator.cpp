#include "FolderNavigator.h"

#include <algorithm>

#include <QRegularExpression>
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
            const QStringRef na = a.midRef(i, ei - i), nb = b.midRef(j, ej - j);
            const QString ta = na.toString().remove(QRegularExpression(QStringLiteral("^0+(?=\\d)")));
            const QString tb = nb.toString().remove(QRegularExpression(QStringLiteral("^0+(?=\\d)")));
            if (ta.size() != tb.size())
                return ta.size() < tb.size();
            if (ta != tb)
                return ta < tb;
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
    index_ = -1;
}

void FolderNavigator::SetChosenFiles(const QStringList& files)
{
    chosen_ = files.size() > 1 ? files : QStringList();
}

void FolderNavigator::SetCurrentFile(const QString& file)
{
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
    const QDir dir = info.absoluteDir();
    for (const QFileInfo& entry : dir.entryInfoList(QDir::Files | QDir::Readable)) {
        if (IsImageFile(entry.fileName()) || entry.absoluteFilePath() == current_)
            files_.push_back(entry.absoluteFilePath());
    }
    std::sort(files_.begin(), files_.end(), [](const QString& a, const QString& b) {
        return NaturalLess(QFileInfo(a).fileName(), QFileInfo(b).fileName());
    });
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

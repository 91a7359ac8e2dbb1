#pragma once

#include <string>
#include <vector>

#include <QDateTime>
#include <QString>
#include <QStringList>

namespace Quelto::Lumindra::App {

// The images of the open file's folder, in the order a person sees them (natural sort by name),
// and which file comes next in either direction. Pictures chosen together (several files on the
// command line) are stepped through instead, in the order given, while the open file is one of
// them. Also orders the preload request: the files a person will most likely open next come
// first. UI thread.
class FolderNavigator {
public:
    // How many neighbours on each side are worth keeping ready.
    static constexpr int kPreloadReach = 3;

    // Lists the folder of `file`; the file itself is part of the list even when its extension is
    // not one the editor reads.
    void SetCurrentFile(const QString& file);
    void Clear();
    // Absolute paths; fewer than two leave the folder in charge. Takes effect at the next
    // SetCurrentFile; a file outside the choice ends it.
    void SetChosenFiles(const QStringList& files);

    QString GetCurrentFile() const { return current_; }
    int GetCurrentIndex() const { return index_; }
    const QStringList& GetFiles() const { return files_; }

    // The file `step` places away (positive: forward), or empty at the ends (no wrap-around).
    QString GetNeighbour(int step) const;

    // The preload request after moving in `direction` (+1 forward, -1 back, 0 for a fresh open):
    // the current file, the file just left (both normally cached: the preloader skips the first
    // two names; without a file behind, the current file again), then alternately the files
    // ahead and behind, ahead first, up to kPreloadReach on each side. Paths as UTF-8.
    std::vector<std::string> GetPreloadRequest(int direction) const;

    static bool IsImageFile(const QString& path);
    // Order of file names as a person expects it: "p2" before "p10", case ignored.
    static bool NaturalLess(const QString& a, const QString& b);

private:
    QString current_;
    QStringList files_;
    QStringList chosen_;
    int index_ = -1;
    QString listedFolder_; // whose listing files_ holds; empty while chosen files are stepped
    QDateTime folderTime_; // of that folder when listed, to notice files added or removed
};

} // namespace Quelto::Lumindra::App

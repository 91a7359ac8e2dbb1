#pragma once

#include <string>

#include <QString>

namespace Quelto::Lumindra::Util {

// The file name used to key per-file state: absolute (relative names against the current
// folder), cleaned of "." and "..", with '/' separators, UTF-8. Two spellings of one file give
// one name; links are not resolved (the file need not exist). An empty name stays empty.
std::string GetPlatformFileName(const std::string& utf8Path);

// The application's temporary folder, with a trailing '/', created on first use: the folder
// named by LUMINDRA_TEMP_DIR when set, else a per-user folder of the application under the
// system temporary folder. A folder that cannot be created is logged; CheckTempDirPath reports it.
std::string GetTempDirPath();

// Checks that the temporary folder exists and that a file can be created in it; throws
// PhotoCore::PhotoCoreException with a readable message when it cannot.
void CheckTempDirPath();

// Last folder remembered for `kind` (a Settings key such as Settings::OPEN; empty means
// Settings::SAVE) when it still exists, else the user's pictures folder, else the home folder.
QString GetDefaultSaveFolder(const QString& kind = QString());
// Remembers `folderUtf8` as the last folder of `kind` (Settings::OPEN, Settings::SAVE; null
// means Settings::SAVE). An empty folder is ignored.
void SaveDirPath(const std::string& folderUtf8, const char* kind);

// Sets the file's creation (birth) time where the platform allows it, else its modification
// time; `dateTime` in the EXIF form "YYYY:MM:DD HH:MM:SS", local time. Returns false (logged)
// for a missing file or an unreadable date.
bool SetFileDateTimeCreate(const std::string& utf8Path, const std::string& dateTime);

// Makes the fonts that text items of a restored session need available to the application:
// adds the fonts of a "fonts" folder next to the executable and in the application's data
// folders (LoadFontsFromFolder). A no-op when there are none. UI thread, with a QGuiApplication.
void LoadPathForFonts();
// Adds every font file (.ttf, .otf, .ttc, .otc) of the folder to the application's font
// database, once per file per process. Returns how many were added now; 0 for a missing folder.
int LoadFontsFromFolder(const QString& folder);

} // namespace Quelto::Lumindra::Util

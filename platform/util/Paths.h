#pragma once

#include <string>

#include <QString>

namespace Quelto::Lumindra::Util {

// The file name used to key per-file state: absolute, cleaned, with '/' separators, UTF-8.
// Two spellings of one file give one name. An empty name stays empty.
std::string GetPlatformFileName(const std::string& utf8Path);

// The application's temporary folder, with a trailing '/', created on first use
// (under the system temporary folder, or LUMINDRA_TEMP_DIR when set).
std::string GetTempDirPath();

// Checks that the temporary folder exists and can be written; throws
// PhotoCore::PhotoCoreException with a readable message when it cannot.
void CheckTempDirPath();

// Last folder used for saving (or `kind`, a Settings key such as Settings::OPEN, when given),
// falling back to the user's pictures folder.
QString GetDefaultSaveFolder(const QString& kind = QString());
// Remembers `folderUtf8` as the last folder of `kind` (Settings::OPEN, Settings::SAVE).
void SaveDirPath(const std::string& folderUtf8, const char* kind);

// Sets the file's creation (birth) time where the platform allows it, else its modification
// time; `dateTime` in the EXIF form "YYYY:MM:DD HH:MM:SS". Returns false when it could not.
bool SetFileDateTimeCreate(const std::string& utf8Path, const std::string& dateTime);

// Makes the fonts that text items of a restored session need available to the application.
void LoadPathForFonts();

} // namespace Quelto::Lumindra::Util

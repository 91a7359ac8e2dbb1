#pragma once

#include <QString>

#include "util/CustomizationManager.h"
#include "util/LookAndFeelManager.h"
#include "util/SettingsManager.h"

namespace Quelto::Lumindra::Util {

// Names of application settings. A setting's full name is built from keys with Name().
// Defaults live with the readers (CoreCacheEnabled and ShowLastSession default to true there).
namespace Settings {
inline constexpr const char* SESSION = "Session";
inline constexpr const char* ID = "Id";
inline constexpr const char* ID_LIST = "IdList";
inline constexpr const char* OPEN = "Open";
inline constexpr const char* SAVE = "Save";
inline constexpr const char* FILE = "File";
inline constexpr const char* FOLDER = "Folder";
inline constexpr const char* SHOW_LAST_SESSION = "ShowLastSession";
// Session/AutosaveInterval: milliseconds between autosaves of the open picture's session; absent
// or not positive means the product's own interval.
inline constexpr const char* AUTOSAVE_INTERVAL = "AutosaveInterval";
inline constexpr const char* CORE_CACHE_ENABLED = "CoreCacheEnabled";
inline constexpr const char* LOOK_AND_FEEL = "LookAndFeel";
inline constexpr const char* LANGUAGE = "Language";

// "Session/Id" style names: keys joined with '/', QSettings' group separator. An empty or null
// group gives the key alone.
QString Name(const char* key);
QString Name(const char* group, const char* key);
QString Name(const QString& group, const QString& key);
} // namespace Settings

} // namespace Quelto::Lumindra::Util

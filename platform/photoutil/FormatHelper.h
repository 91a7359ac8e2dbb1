#pragma once

#include <string>
#include <utility>
#include <vector>

#include <QString>

#include "photoutil/IFormatSettings.h"

namespace Quelto::Lumindra::PhotoUtil {

// What the application knows of one file format.
struct FormatRecord {
    std::string codecId;                 // "jpeg", "png", "tiff", "webp", "heif", "avif", "gif"; empty = unknown
    std::vector<std::string> extensions; // lower case, without the dot; the first is the usual one
    bool readable = false;
    bool writable = false;
    bool supportsTransparency = false;   // the format keeps an alpha channel
    bool noOverwrite = false;            // not to be written over the open file (lossy or limited)
};

class FormatHelper {
public:
    // Display name and record for an extension (any case, without the dot). `forWriting`
    // asks for the writing direction: a format that cannot be written gives an empty name
    // then. Unknown extensions give an empty name and an empty record.
    static std::pair<QString, FormatRecord> GetFormatDescriptionForExtension(const std::string& extension,
                                                                              bool forWriting);
    // Short format name ("JPEG", "PNG"); empty when unknown.
    static std::string GetFormatNameForExtension(const std::string& extension);
    static const std::vector<FormatRecord>& GetFormats();
    // Filter string for file dialogs ("Images (*.jpg *.jpeg ...)").
    static QString GetOpenFileFilter();
};

class FormatHelperQt {
public:
    // The writable formats that keep transparency, for a user message ("PNG, TIFF, WebP").
    static QString GetSupportsTransparencyFormats();
    // The encoder settings to save with: the replacement settings of the extension's codec
    // when the user chose some, else the codec's defaults; one entry per codec.
    static FormatSettingsList SetSaveSettings(const std::string& extension, const FormatSettingsList& replaceSettings);
};

} // namespace Quelto::Lumindra::PhotoUtil

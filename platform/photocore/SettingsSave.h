#pragma once

#include <string>

#include "photocore/MetadataSettings.h"
#include "photoutil/IFormatSettings.h"

namespace Quelto::Lumindra::PhotoCore {

// What to write and how: the target file, its format and encoder settings, and the metadata to
// write with it. A value type.
class SettingsSave {
public:
    const std::string& GetFileName() const { return fileName_; } // UTF-8
    void SetFileName(std::string name) { fileName_ = std::move(name); }
    // With force-suffix the file name gets the format's usual extension when it lacks one.
    bool GetForceSuffix() const { return forceSuffix_; }
    void SetForceSuffix(bool force) { forceSuffix_ = force; }
    const std::string& GetFileExt() const { return fileExt_; } // without the dot
    void SetFileExt(std::string ext) { fileExt_ = std::move(ext); }
    const std::string& GetCodecID() const { return codecId_; }
    void SetCodecID(std::string codec) { codecId_ = std::move(codec); }
    const PhotoUtil::FormatSettingsList& GetFormatSettings() const { return formatSettings_; }
    void SetFormatSettings(const PhotoUtil::FormatSettingsList& list) { formatSettings_ = list; }
    const MetadataSettings& GetMetadataSettings() const { return metadata_; }
    MetadataSettings& MetadataSettingsRef() { return metadata_; }
    void SetMetadataSettings(const MetadataSettings& metadata) { metadata_ = metadata; }
    // Encode mode: the pixels are encoded anew (as opposed to copying the source file through).
    bool IsEncodeMode() const { return encodeMode_; }
    void SetEncodeMode(bool encode) { encodeMode_ = encode; }

private:
    std::string fileName_;
    bool forceSuffix_ = true;
    std::string fileExt_;
    std::string codecId_;
    PhotoUtil::FormatSettingsList formatSettings_;
    MetadataSettings metadata_;
    bool encodeMode_ = true;
};

} // namespace Quelto::Lumindra::PhotoCore

#pragma once

#include <string>
#include <vector>

#include "core/Property.h"
#include "photoutil/IFormatSettings.h"
#include "proc/IImageMetadata.h"

namespace Quelto::Lumindra::PhotoCore {

// The metadata of an open image and the encoder settings it was read with. Copying makes a deep
// copy of the metadata and of the format settings, so a copy can be changed for one save
// without touching the image's own settings. Not thread-safe.
class MetadataSettings {
public:
    MetadataSettings();
    MetadataSettings(const MetadataSettings& other);
    MetadataSettings& operator=(const MetadataSettings& other);
    ~MetadataSettings();

    Proc::IImageMetadata& GetMetadata() { return *metadata_; }
    const Proc::IImageMetadata& GetMetadata() const { return *metadata_; }
    void SetMetadata(Proc::ImageMetadataPtr metadata);

    // Removes every tag except the listed keys (tags or whole groups).
    void ClearMetadata(const std::vector<std::string>& keysToKeep);

    const PhotoUtil::FormatSettingsList& GetFormatSettings() const { return formatSettings_; }
    void SetFormatSettings(const PhotoUtil::FormatSettingsList& settings);

    // Facts of the source file: "path", "size" (bytes), "modified" (ISO date), "format".
    const Core::Property& GetFileInfo() const { return fileInfo_; }
    void SetFileInfo(const Core::Property& info) { fileInfo_ = info; }

    // The date the picture was taken ("YYYY:MM:DD HH:MM:SS"), from the metadata; empty if none.
    std::string GetFileDateTime() const;

private:
    Proc::ImageMetadataPtr metadata_;
    PhotoUtil::FormatSettingsList formatSettings_;
    Core::Property fileInfo_;
};

} // namespace Quelto::Lumindra::PhotoCore

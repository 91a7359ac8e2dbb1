#pragma once

#include <map>
#include <string>
#include <vector>

#include <QString>

#include "LumindraWorkspace/WorkspaceExport.h"
#include "photocore/MetadataSettings.h"
#include "photocore/SettingsSave.h"
#include "photoutil/IFormatSettings.h"

namespace Quelto::Lumindra {

// What the user chose, in the save window, about the metadata of the file to be written:
// author and comment, whether to strip metadata and GPS positions, per-format encoder settings.
// One per workspace controller, built from the open image's metadata settings (which it does
// not own and which must outlive it). Author, comment and software tag act at once on those
// settings; the remove flags, the format replace settings and the statistics parameters act
// only when FillSaveSettings runs. UI thread. A copy shares the metadata settings.
class LUMINDRA_WORKSPACE_EXPORT WorkspaceMetadata {
public:
    using StatisticsParameters = std::map<std::string, std::string>;

    explicit WorkspaceMetadata(PhotoCore::MetadataSettings& settings);

    static QString GetAuthor(const PhotoCore::MetadataSettings& settings);
    static QString GetComment(const PhotoCore::MetadataSettings& settings);
    QString GetAuthor() const;
    QString GetComment() const;
    // An empty text removes the tag. The comment is kept in two tags (user comment and image
    // description) and read from the first that has a value.
    void SetAuthor(const QString& author);
    void SetComment(const QString& comment);

    void SetRemoveMetadata(bool remove) { removeMetadata_ = remove; }
    void SetRemoveGPS(bool remove) { removeGPS_ = remove; }
    bool GetRemoveMetadata() const { return removeMetadata_; }
    bool GetRemoveGPS() const { return removeGPS_; }

    void SetFormatReplaceSettings(const PhotoUtil::FormatSettingsList& settings);
    const PhotoUtil::FormatSettingsList& GetFormatReplaceSettings() const { return formatReplaceSettings_; }
    // The encoder settings that the image's metadata settings carry.
    const PhotoUtil::FormatSettingsList& GetFormatSettings() const;

    void SetStatisticsParameters(const StatisticsParameters& parameters) { statisticsParameters_ = parameters; }
    // Adds this object's entries to a save statistics event (keys present already are kept).
    void UpdateStatisticsParameters(StatisticsParameters& parameters) const;

    // Turns the choices into the save settings: encoder settings for the extension already set
    // on `save`, and a copy of the metadata with GPS and other tags stripped as chosen and the
    // orientation set to normal (the pixels are written upright). The image's own metadata
    // settings are not changed.
    void FillSaveSettings(PhotoCore::SettingsSave& save) const;

    // Writes the product name into the software tag.
    void WriteQueltoSoftware();

private:
    PhotoCore::MetadataSettings* settings_; // never null
    PhotoUtil::FormatSettingsList formatReplaceSettings_;
    QString authorAtOpen_;
    QString commentAtOpen_;
    bool removeMetadata_ = false;
    bool removeGPS_ = false;
    StatisticsParameters statisticsParameters_;
};

} // namespace Quelto::Lumindra

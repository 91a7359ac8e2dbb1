#include "LumindraWorkspace/WorkspaceMetadata.h"

#include "photocore/IStatisticsEventHandler.h"
#include "photoutil/FormatHelper.h"
#include "proc/IImageMetadata.h"
#include "util/Settings.h"

namespace Quelto::Lumindra {

using Proc::IImageMetadata;
using Stats = PhotoCore::IStatisticsEventHandler;

namespace {

// Tags that describe the pixel data and its storage rather than the picture's content: kept
// even when the user strips the metadata, so the file stays correctly decodable.
const char* const kStorageKeys[] = {
    "Exif.Image.NewSubfileType", "Exif.Image.ImageWidth", "Exif.Image.ImageLength", "Exif.Image.BitsPerSample",
    "Exif.Image.FillOrder", "Exif.Image.StripOffsets", "Exif.Image.SamplesPerPixel", "Exif.Image.RowsPerStrip",
    "Exif.Image.StripByteCounts", "Exif.Image.ColorMap", "Exif.Image.Orientation", "Exif.Image.XResolution",
    "Exif.Image.YResolution", "Exif.Image.ResolutionUnit", "Exif.Image.Compression",
    "Exif.Image.CompressedBitsPerPixel", "Exif.Image.PlanarConfiguration", "Exif.Image.ExtraSamples",
    "Exif.Image.SampleFormat", "Exif.Image.SMinSampleValue", "Exif.Image.SMaxSampleValue", "Exif.Image.TileWidth",
    "Exif.Image.TileLength", "Exif.Image.TileOffsets", "Exif.Image.TileByteCounts", "Exif.Image.Indexed",
    "Exif.Image.JPEGTables", "Exif.Image.JPEGProc", "Exif.Image.JPEGInterchangeFormat",
    "Exif.Image.JPEGInterchangeFormatLength", "Exif.Image.JPEGRestartInterval", "Exif.Image.JPEGLosslessPredictors",
    "Exif.Image.JPEGPointTransforms", "Exif.Image.JPEGQTables", "Exif.Image.JPEGDCTables", "Exif.Image.JPEGACTables",
    "Exif.Photo.ColorSpace", "Exif.Photo.PixelXDimension", "Exif.Photo.PixelYDimension", "Exif.Thumbnail",
};

QString TagText(const PhotoCore::MetadataSettings& settings, const char* block, const char* tag)
{
    const Core::Property property = settings.GetMetadata().GetTag(IImageMetadata::EXIF, block, tag);
    if (property.IsEmpty())
        return QString();
    return QString::fromStdString(property.Get(IImageMetadata::TEXT_VALUE));
}

const char* ChangeValue(const QString& atOpen, const QString& now)
{
    if (atOpen == now)
        return Stats::VAL_NO;
    if (atOpen.isEmpty())
        return Stats::VAL_SAVING_IMAGE_METADATA_CHANGED_ADD;
    if (now.isEmpty())
        return Stats::VAL_SAVING_IMAGE_METADATA_CHANGED_DELETE;
    return Stats::VAL_SAVING_IMAGE_METADATA_CHANGED_EDIT;
}

} // namespace

WorkspaceMetadata::WorkspaceMetadata(PhotoCore::MetadataSettings& settings)
    : settings_(&settings), authorAtOpen_(GetAuthor(settings)), commentAtOpen_(GetComment(settings))
{
    for (const auto& format : settings.GetFormatSettings())
        if (format)
            formatReplaceSettings_.push_back(format->CloneSettings());
}

QString WorkspaceMetadata::GetAuthor(const PhotoCore::MetadataSettings& settings)
{
    return TagText(settings, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ARTIST);
}

QString WorkspaceMetadata::GetComment(const PhotoCore::MetadataSettings& settings)
{
    const Core::Property comment =
        settings.GetMetadata().GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_PHOTO, IImageMetadata::TAG_USER_COMMENT);
    if (!comment.IsEmpty())
        return QString::fromStdString(comment.Get(IImageMetadata::TEXT_VALUE));
    return TagText(settings, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_IMAGE_DESCRIPTION);
}

QString WorkspaceMetadata::GetAuthor() const
{
    return GetAuthor(*settings_);
}

QString WorkspaceMetadata::GetComment() const
{
    return GetComment(*settings_);
}

void WorkspaceMetadata::SetAuthor(const QString& author)
{
    IImageMetadata& metadata = settings_->GetMetadata();
    if (author.isEmpty())
        metadata.RemoveTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ARTIST);
    else
        metadata.SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ARTIST,
                        author.toStdString());
}

void WorkspaceMetadata::SetComment(const QString& comment)
{
    IImageMetadata& metadata = settings_->GetMetadata();
    if (comment.isEmpty()) {
        metadata.RemoveTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_PHOTO, IImageMetadata::TAG_USER_COMMENT);
        metadata.RemoveTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_IMAGE_DESCRIPTION);
        return;
    }
    const std::string text = comment.toStdString();
    metadata.SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_PHOTO, IImageMetadata::TAG_USER_COMMENT, text);
    metadata.SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_IMAGE_DESCRIPTION, text);
}

void WorkspaceMetadata::SetFormatReplaceSettings(const PhotoUtil::FormatSettingsList& settings)
{
    if (&settings != &formatReplaceSettings_)
        formatReplaceSettings_ = settings;
}

const PhotoUtil::FormatSettingsList& WorkspaceMetadata::GetFormatSettings() const
{
    return settings_->GetFormatSettings();
}

void WorkspaceMetadata::UpdateStatisticsParameters(StatisticsParameters& parameters) const
{
    for (const auto& entry : statisticsParameters_)
        parameters.insert(entry); // keeps a value that is there already

    parameters[Stats::KEY_SAVING_IMAGE_DEL_METADATA_CHHANGED] = removeMetadata_ ? Stats::VAL_YES : Stats::VAL_NO;
    if (!removeMetadata_)
        parameters[Stats::KEY_SAVING_IMAGE_DEL_GPS_DATA_CHANGED] = removeGPS_ ? Stats::VAL_YES : Stats::VAL_NO;
    parameters[Stats::KEY_SAVING_IMAGE_AUTHOR_CHANGED] = ChangeValue(authorAtOpen_, GetAuthor());
    parameters[Stats::KEY_SAVING_IMAGE_DESCRIPTION_CHANGED] = ChangeValue(commentAtOpen_, GetComment());
}

void WorkspaceMetadata::FillSaveSettings(PhotoCore::SettingsSave& save) const
{
    save.SetFormatSettings(PhotoUtil::FormatHelperQt::SetSaveSettings(save.GetFileExt(), formatReplaceSettings_));

    PhotoCore::MetadataSettings copy(*settings_);
    if (removeGPS_)
        copy.GetMetadata().RemoveTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_GPS, std::string());
    if (removeMetadata_) {
        std::vector<std::string> keep(std::begin(kStorageKeys), std::end(kStorageKeys));
        if (!GetAuthor(*settings_).isEmpty())
            keep.emplace_back("Exif.Image.Artist");
        if (!GetComment(*settings_).isEmpty()) {
            keep.emplace_back("Exif.Photo.UserComment");
            keep.emplace_back("Exif.Image.ImageDescription");
        }
        if (!removeGPS_)
            keep.emplace_back("Exif.GPSInfo");
        copy.ClearMetadata(keep);
    }
    copy.GetMetadata().SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ORIENTATION,
                              IImageMetadata::VAL_ORIENTATION_NORMAL);
    save.SetMetadataSettings(copy);
}

void WorkspaceMetadata::WriteQueltoSoftware()
{
    settings_->GetMetadata().SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_SOFTWARE,
                                    Util::CustomizationManager::Instance().GetProductName().toStdString());
}

} // namespace Quelto::Lumindra

#include "photocore/MetadataSettings.h"

namespace Quelto::Lumindra::PhotoCore {

namespace {

PhotoUtil::FormatSettingsList CloneList(const PhotoUtil::FormatSettingsList& list)
{
    PhotoUtil::FormatSettingsList copy;
    copy.reserve(list.size());
    for (const auto& settings : list)
        if (settings)
            copy.push_back(settings->CloneSettings());
    return copy;
}

} // namespace

MetadataSettings::MetadataSettings() : metadata_(Proc::CreateImageMetadata()) {}

MetadataSettings::MetadataSettings(const MetadataSettings& other)
    : metadata_(other.metadata_->Clone()), formatSettings_(CloneList(other.formatSettings_)),
      fileInfo_(other.fileInfo_)
{
}

MetadataSettings& MetadataSettings::operator=(const MetadataSettings& other)
{
    if (this != &other) {
        metadata_ = other.metadata_->Clone();
        formatSettings_ = CloneList(other.formatSettings_);
        fileInfo_ = other.fileInfo_;
    }
    return *this;
}

MetadataSettings::~MetadataSettings() = default;

void MetadataSettings::SetMetadata(Proc::ImageMetadataPtr metadata)
{
    metadata_ = metadata ? std::move(metadata) : Proc::CreateImageMetadata();
}

void MetadataSettings::ClearMetadata(const std::vector<std::string>& keysToKeep)
{
    metadata_->Clear(keysToKeep);
}

void MetadataSettings::SetFormatSettings(const PhotoUtil::FormatSettingsList& settings)
{
    formatSettings_ = CloneList(settings);
}

std::string MetadataSettings::GetFileDateTime() const
{
    using Meta = Proc::IImageMetadata;
    // The moment the picture was taken wins over the moment the file was last written.
    for (const auto& [block, tag] : {std::pair<const char*, const char*>(Meta::BLOCK_PHOTO, Meta::TAG_DATE_TIME_ORIGINAL),
                                     std::pair<const char*, const char*>(Meta::BLOCK_IMAGE, "DateTime")}) {
        const Core::Property property = metadata_->GetTag(Meta::EXIF, block, tag);
        if (!property.IsEmpty()) {
            const std::string text = property.Get(Meta::TEXT_VALUE);
            if (!text.empty())
                return text;
        }
    }
    return {};
}

} // namespace Quelto::Lumindra::PhotoCore

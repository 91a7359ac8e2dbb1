#include "SaveChoices.h"

#include <QFileInfo>

#include "LumindraWorkspace/IWorkspaceController.h"
#include "LumindraWorkspace/WorkspaceMetadata.h"
#include "photoutil/FormatHelper.h"
#include "util/Settings.h"

namespace Quelto::Lumindra::App {

namespace {

namespace Settings = Util::Settings;
using PhotoUtil::IFormatSettings;

// The formats a person saves photos in; GIF keeps too few colours to be offered.
const char* const kOffered[] = {"jpeg", "png", "tiff", "webp", "heif", "avif"};

std::string CodecOf(const QString& extension)
{
    return PhotoUtil::FormatHelper::GetFormatDescriptionForExtension(extension.toStdString(), true).second.codecId;
}

QString Key(const char* key)
{
    return Settings::Name(Settings::SAVE, key);
}

QString QualityKey(const std::string& codec)
{
    return Settings::Name(QString::fromLatin1(Settings::SAVE), QStringLiteral("Quality/") + QString::fromStdString(codec));
}

// The replacement settings with the quality of `codec` set, the others as they were.
PhotoUtil::FormatSettingsList WithQuality(const PhotoUtil::FormatSettingsList& list, const std::string& codec,
                                          int quality)
{
    PhotoUtil::FormatSettingsList result;
    PhotoUtil::FormatSettingsPtr chosen;
    for (const auto& settings : list) {
        if (settings && settings->GetCodecId() == codec && !chosen) {
            chosen = settings->CloneSettings();
            result.push_back(chosen);
        } else {
            result.push_back(settings);
        }
    }
    if (!chosen) {
        chosen = PhotoUtil::CreateFormatSettings(codec);
        result.push_back(chosen);
    }
    chosen->SetValue(IFormatSettings::QUALITY, quality);
    return result;
}

} // namespace

QStringList SaveChoices::SaveExtensions()
{
    QStringList extensions;
    for (const char* codec : kOffered) {
        for (const PhotoUtil::FormatRecord& record : PhotoUtil::FormatHelper::GetFormats())
            if (record.codecId == codec && record.writable && !record.extensions.empty())
                extensions << QString::fromStdString(record.extensions.front());
    }
    return extensions;
}

bool SaveChoices::HasQuality(const QString& extension)
{
    const std::string codec = CodecOf(extension);
    return !codec.empty() && PhotoUtil::CreateFormatSettings(codec)->GetValue(IFormatSettings::QUALITY, 0) > 0;
}

bool SaveChoices::KeepsMetadata(const QString& extension)
{
    const std::string codec = CodecOf(extension);
    return codec != "heif" && codec != "avif";
}

bool SaveChoices::IsWritable(const QString& extension)
{
    return !PhotoUtil::FormatHelper::GetFormatDescriptionForExtension(extension.toStdString(), true).first.isEmpty();
}

SaveChoices SaveChoices::Of(const IWorkspaceController& controller, const QString& fileName)
{
    const WorkspaceMetadata& metadata = controller.GetMetadataSettings();
    SaveChoices choices;
    choices.fileName = fileName;
    choices.author = metadata.GetAuthor();
    choices.comment = metadata.GetComment();
    choices.removeMetadata = metadata.GetRemoveMetadata();
    choices.removeGps = metadata.GetRemoveGPS();
    const std::string codec = CodecOf(QFileInfo(fileName).suffix());
    if (HasQuality(QFileInfo(fileName).suffix())) {
        choices.quality = PhotoUtil::CreateFormatSettings(codec)->GetValue(IFormatSettings::QUALITY, 0);
        for (const auto& settings : metadata.GetFormatReplaceSettings())
            if (settings && settings->GetCodecId() == codec)
                choices.quality = settings->GetValue(IFormatSettings::QUALITY, choices.quality);
    }
    return choices;
}

void SaveChoices::ApplyTo(WorkspaceMetadata& metadata) const
{
    if (author != metadata.GetAuthor())
        metadata.SetAuthor(author);
    if (comment != metadata.GetComment())
        metadata.SetComment(comment);
    metadata.SetRemoveMetadata(removeMetadata);
    metadata.SetRemoveGPS(removeGps);
    const QString extension = QFileInfo(fileName).suffix();
    if (quality > 0 && HasQuality(extension))
        metadata.SetFormatReplaceSettings(WithQuality(metadata.GetFormatReplaceSettings(), CodecOf(extension), quality));
}

void SaveChoices::ApplyDefaults(WorkspaceMetadata& metadata)
{
    const Util::SettingsManager& store = Util::SettingsManager::Instance();
    metadata.SetRemoveMetadata(store.Value(Key("RemoveMetadata"), false).toBool());
    metadata.SetRemoveGPS(store.Value(Key("RemoveGPS"), false).toBool());
    PhotoUtil::FormatSettingsList list = metadata.GetFormatReplaceSettings();
    for (const QString& extension : SaveExtensions()) {
        const std::string codec = CodecOf(extension);
        const int quality = store.Value(QualityKey(codec), 0).toInt();
        if (quality >= 1 && quality <= 100)
            list = WithQuality(list, codec, quality);
    }
    metadata.SetFormatReplaceSettings(list);
}

QString SaveChoices::DefaultAuthor()
{
    return Util::SettingsManager::Instance().Value(Key("Author")).toString();
}

void SaveChoices::StoreAsDefaults() const
{
    Util::SettingsManager& store = Util::SettingsManager::Instance();
    store.SetValue(Key("RemoveMetadata"), removeMetadata);
    store.SetValue(Key("RemoveGPS"), removeGps);
    if (!author.isEmpty())
        store.SetValue(Key("Author"), author);
    const QString extension = QFileInfo(fileName).suffix();
    if (quality > 0 && HasQuality(extension))
        store.SetValue(QualityKey(CodecOf(extension)), quality);
}

} // namespace Quelto::Lumindra::App

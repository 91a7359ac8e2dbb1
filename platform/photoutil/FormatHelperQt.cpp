#include "photoutil/FormatHelper.h"

#include <QStringList>

namespace Quelto::Lumindra::PhotoUtil {

QString FormatHelperQt::GetSupportsTransparencyFormats()
{
    QStringList names;
    for (const FormatRecord& record : FormatHelper::GetFormats()) {
        if (record.writable && record.supportsTransparency)
            names << FormatHelper::GetFormatDescriptionForExtension(record.extensions.front(), true).first;
    }
    return names.join(QStringLiteral(", "));
}

FormatSettingsList FormatHelperQt::SetSaveSettings(const std::string& extension, const FormatSettingsList& replaceSettings)
{
    const std::string ownCodec = FormatHelper::GetFormatDescriptionForExtension(extension, true).second.codecId;
    auto settingsFor = [&](const std::string& codec) {
        for (const FormatSettingsPtr& replacement : replaceSettings) {
            if (replacement && replacement->GetCodecId() == codec)
                return replacement->CloneSettings(); // the save must not change with later edits of the choice
        }
        return CreateFormatSettings(codec);
    };
    FormatSettingsList list;
    if (!ownCodec.empty())
        list.push_back(settingsFor(ownCodec));
    for (const FormatRecord& record : FormatHelper::GetFormats()) {
        if (record.writable && record.codecId != ownCodec)
            list.push_back(settingsFor(record.codecId));
    }
    return list;
}

} // namespace Quelto::Lumindra::PhotoUtil

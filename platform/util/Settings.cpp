#include "util/Settings.h"

namespace Quelto::Lumindra::Util::Settings {

QString Name(const char* key)
{
    return QString::fromUtf8(key ? key : "");
}

QString Name(const char* group, const char* key)
{
    return Name(Name(group), Name(key));
}

QString Name(const QString& group, const QString& key)
{
    if (group.isEmpty())
        return key;
    return group + QLatin1Char('/') + key;
}

} // namespace Quelto::Lumindra::Util::Settings

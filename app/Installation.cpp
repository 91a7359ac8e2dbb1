#include "Installation.h"

#include <QCoreApplication>
#include <QDir>

namespace Quelto::Lumindra::App {

QString Installation::GetDataDirectory()
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/" LUMINDRA_DATA_FROM_BIN));
}

QString Installation::GetTranslationsDirectory()
{
    return GetDataDirectory() + QStringLiteral("/lumindra/translations");
}

QString Installation::GetIconsDirectory()
{
    return GetDataDirectory() + QStringLiteral("/icons");
}

} // namespace Quelto::Lumindra::App

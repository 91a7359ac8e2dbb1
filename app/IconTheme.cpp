#include "IconTheme.h"

#include <QGuiApplication>
#include <QStringList>

#include <glog/logging.h>

#include "Installation.h"

namespace Quelto::Lumindra::App {

void IconTheme::SetUp()
{
    QStringList paths = QIcon::themeSearchPaths();
    const QString own = Installation::GetIconsDirectory();
    if (!paths.contains(own))
        paths.append(own); // after the system's folders: an installed theme's own copy wins
    QIcon::setThemeSearchPaths(paths);
    QIcon::setFallbackThemeName(QString::fromLatin1(kFallbackTheme));
    // "hicolor" is what Qt reports when no desktop names a theme; it has no action icons.
    const QString desktopTheme = QIcon::themeName();
    if (desktopTheme.isEmpty() || desktopTheme == QLatin1String("hicolor"))
        QIcon::setThemeName(QString::fromLatin1(kFallbackTheme));
    VLOG(30) << "Icon theme " << QIcon::themeName().toStdString() << " (desktop: " << desktopTheme.toStdString()
             << ")";
    QGuiApplication::setWindowIcon(Find({kApplicationIcon}));
}

QIcon IconTheme::Find(std::initializer_list<const char*> names)
{
    for (const char* name : names) {
        const QString themeName = QString::fromLatin1(name);
        if (QIcon::hasThemeIcon(themeName))
            return QIcon::fromTheme(themeName);
    }
    return QIcon();
}

} // namespace Quelto::Lumindra::App

#include "util/ScreenInfo.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

namespace Quelto::Lumindra {

namespace {

constexpr double kNoScreenRatio = 1.0;

} // namespace

double GetWidgetScreenPixelRatio(const QWidget* widget)
{
    if (!widget)
        return GetMainWindowScreenPixelRatio();
    return widget->devicePixelRatioF();
}

double GetMainWindowScreenPixelRatio()
{
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return kNoScreenRatio;
    if (const QWidget* main = SpontaneousDialog::GetMainWindow())
        return main->devicePixelRatioF();
    const QScreen* screen = QGuiApplication::primaryScreen();
    return screen ? screen->devicePixelRatio() : kNoScreenRatio;
}

} // namespace Quelto::Lumindra

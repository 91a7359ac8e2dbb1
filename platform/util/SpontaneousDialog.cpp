#include "util/SpontaneousDialog.h"

#include <QApplication>
#include <QMainWindow>

namespace Quelto::Lumindra {

QPointer<QWidget>& SpontaneousDialog::Registered()
{
    static QPointer<QWidget> window;
    return window;
}

QWidget* SpontaneousDialog::GetMainWindow()
{
    if (QWidget* registered = Registered().data())
        return registered;
    if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
        return nullptr;
    QWidget* hidden = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (!qobject_cast<QMainWindow*>(widget))
            continue;
        if (widget->isVisible())
            return widget;
        if (!hidden)
            hidden = widget;
    }
    return hidden ? hidden : QApplication::activeWindow();
}

void SpontaneousDialog::SetMainWindow(QWidget* window)
{
    Registered() = window;
}

} // namespace Quelto::Lumindra

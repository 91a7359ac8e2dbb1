#pragma once

#include "util/SpontaneousDialog.h"
#include "util/StyleProvider.h"
#include "util/UIDefaultValue.h"

class QWidget;

namespace Quelto::Lumindra {

// Device pixel ratios, for sizing pixmaps in device pixels. UI thread.
// The ratio of the screen that shows the widget; a null widget gives the main window's ratio.
double GetWidgetScreenPixelRatio(const QWidget* widget);
// The ratio of the screen of the application's main window, else of the primary screen; 1.0
// without a QGuiApplication or a screen.
double GetMainWindowScreenPixelRatio();

} // namespace Quelto::Lumindra

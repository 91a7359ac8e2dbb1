#pragma once

#include <QSizeF>

class QWidget;

namespace Quelto::Lumindra {

// Device pixel ratio of the screen that shows the widget (1.0 without one).
double GetWidgetScreenPixelRatio(const QWidget* widget);
// Device pixel ratio of the screen of the application's main window (or the primary screen).
double GetMainWindowScreenPixelRatio();

// Finds the application's main window: the one registered with SetMainWindow, else the first
// top-level QMainWindow, else the active window.
class SpontaneousDialog {
public:
    static QWidget* GetMainWindow();
    static void SetMainWindow(QWidget* window);
};

// Sizes and options of the application's style.
class StyleProvider {
public:
    // Size of a session preview on the start page, in logical pixels.
    static QSizeF StartPagePreviewSize();
};

namespace UIDefaultValue::ZValue {
// Stacking order of scene content: the picture at Default, tool items above it.
inline constexpr double Default = 0.0;
inline constexpr double ToolItems = 10.0;
} // namespace UIDefaultValue::ZValue

} // namespace Quelto::Lumindra

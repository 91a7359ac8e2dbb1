#pragma once

#include <QPointer>
#include <QWidget>

namespace Quelto::Lumindra {

// Finds the parent for dialogs that come up on their own (not from a click in some window):
// the application's main window. UI thread.
class SpontaneousDialog {
public:
    // The window registered with SetMainWindow while it lives, else the first visible top-level
    // QMainWindow, else any top-level QMainWindow, else the active window; null without any.
    static QWidget* GetMainWindow();
    // The host registers its main window; null forgets it.
    static void SetMainWindow(QWidget* window);

private:
    static QPointer<QWidget>& Registered();
};

} // namespace Quelto::Lumindra

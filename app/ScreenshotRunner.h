#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QString>

#include "EditOptions.h"

namespace Quelto::Lumindra::App {

class MainWindow;

// What the screenshot shows besides the picture as opened.
struct ScreenshotOptions {
    EditOptions::Edits edits;
    bool compare = false; // the original beside the edited picture
};

// Drives `lumindra --screenshot`: waits until the open picture's full-resolution frame is on
// the canvas at fit zoom, applies the edits of the command line (in their order) and waits for
// their result, switches the before/after comparison on when asked, writes a picture of the
// window and quits with 0. Quits with 2 when the picture cannot be opened, and with 3 when it
// never appears, an edit cannot be applied to it, the comparison cannot be shown or the
// screenshot cannot be written; nothing is written then.
class ScreenshotRunner : public QObject {
    Q_OBJECT
public:
    // How long a picture may take to appear before the run gives up.
    static constexpr int kTimeoutMs = 120000;

    ScreenshotRunner(MainWindow& window, QString output, ScreenshotOptions options = {});
    void Start();

private:
    void Poll();
    // Whether the picture, with every edit rendered, is on screen and fitted.
    bool IsPictureShown() const;
    // Applies the edits; false when one cannot be (the run has ended then).
    bool ApplyEdits();
    void Finish(int code, const QString& message);

    MainWindow& window_;
    QString output_;
    ScreenshotOptions options_;
    QElapsedTimer clock_;
    bool editsApplied_ = false;
    bool compareShown_ = false;
    bool done_ = false;
};

} // namespace Quelto::Lumindra::App

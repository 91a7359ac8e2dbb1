#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QString>

namespace Quelto::Lumindra::App {

class MainWindow;

// Drives `lumindra --screenshot`: waits until the open picture's full-resolution frame is on
// the canvas at fit zoom, writes a picture of the window and quits with 0; quits with 2 when the
// picture cannot be opened and 3 when it never appears or the screenshot cannot be written.
class ScreenshotRunner : public QObject {
    Q_OBJECT
public:
    // How long a picture may take to appear before the run gives up.
    static constexpr int kTimeoutMs = 120000;

    ScreenshotRunner(MainWindow& window, QString output);
    void Start();

private:
    void Poll();
    void Finish(int code, const QString& message);

    MainWindow& window_;
    QString output_;
    QElapsedTimer clock_;
    bool done_ = false;
};

} // namespace Quelto::Lumindra::App

#include "ScreenshotRunner.h"

#include <cstdio>

#include <QApplication>
#include <QPixmap>
#include <QTimer>

#include "LumindraWorkspace/view/WorkspaceView.h"
#include "MainWindow.h"

namespace Quelto::Lumindra::App {

namespace {
constexpr int kPollMs = 50;
}

ScreenshotRunner::ScreenshotRunner(MainWindow& window, QString output)
    : QObject(&window), window_(window), output_(std::move(output))
{
}

void ScreenshotRunner::Start()
{
    clock_.start();
    connect(&window_, &MainWindow::openFailed, this, [this](const QString& message) { Finish(2, message); });
    QTimer::singleShot(kPollMs, this, &ScreenshotRunner::Poll);
}

void ScreenshotRunner::Poll()
{
    if (done_)
        return;
    if (window_.IsFullFrameShown() && window_.GetView()->IsFitToView()) {
        // One more turn so that the last repaint is done before the window is grabbed.
        QApplication::processEvents();
        const QPixmap shot = window_.grab();
        // The grab's paint may have asked for the picture's copy at the on-screen size, which
        // is made on a pool thread; the window is grabbed again once it is in place.
        if (window_.IsScaledCopyPending() && clock_.elapsed() <= kTimeoutMs) {
            QTimer::singleShot(kPollMs, this, &ScreenshotRunner::Poll);
            return;
        }
        if (shot.isNull() || !shot.save(output_))
            Finish(3, QStringLiteral("Cannot write the screenshot to %1").arg(output_));
        else
            Finish(0, QString());
        return;
    }
    if (clock_.elapsed() > kTimeoutMs) {
        Finish(3, QStringLiteral("The picture did not appear within %1 s").arg(kTimeoutMs / 1000));
        return;
    }
    QTimer::singleShot(kPollMs, this, &ScreenshotRunner::Poll);
}

void ScreenshotRunner::Finish(int code, const QString& message)
{
    if (done_)
        return;
    done_ = true;
    if (!message.isEmpty())
        std::fprintf(stderr, "%s\n", message.toLocal8Bit().constData());
    QApplication::exit(code);
}

} // namespace Quelto::Lumindra::App

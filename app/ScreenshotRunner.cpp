#include "ScreenshotRunner.h"

#include <cstdio>
#include <exception>

#include <QApplication>
#include <QFileInfo>
#include <QPixmap>
#include <QSaveFile>
#include <QTimer>

#include "LumindraWorkspace/UI/CompareButton.h"
#include "LumindraWorkspace/view/WorkspaceView.h"
#include "MainWindow.h"
#include "photocore/IPhotoCoreDrawer.h"

namespace Quelto::Lumindra::App {

namespace {
constexpr int kPollMs = 50;
}

ScreenshotRunner::ScreenshotRunner(MainWindow& window, QString output, ScreenshotOptions options)
    : QObject(&window), window_(window), output_(std::move(output)), options_(std::move(options))
{
}

void ScreenshotRunner::Start()
{
    clock_.start();
    connect(&window_, &MainWindow::openFailed, this, [this](const QString& message) { Finish(2, message); });
    QTimer::singleShot(kPollMs, this, &ScreenshotRunner::Poll);
}

bool ScreenshotRunner::IsPictureShown() const
{
    const auto controller = window_.GetController();
    return controller && window_.IsFullFrameShown() && controller->GetLumindraDrawer()->WaitForIdle(0)
        && window_.GetView()->IsFitToView();
}

bool ScreenshotRunner::ApplyEdits()
{
    editsApplied_ = true;
    const auto controller = window_.GetController();
    for (const auto& edit : options_.edits) {
        try {
            controller->GetLumindraDrawer()->ApplyEffect(Proc::EffectSettingsImpl::Create(*edit));
        } catch (const std::exception& e) {
            Finish(3, QStringLiteral("\"%1\" cannot be applied: %2")
                          .arg(QString::fromStdString(edit->GetDisplayName()), QString::fromLocal8Bit(e.what())));
            return false;
        }
    }
    return true;
}

void ScreenshotRunner::Poll()
{
    if (done_)
        return;
    if (IsPictureShown()) {
        if (!editsApplied_ && !options_.edits.empty()) {
            if (ApplyEdits())
                QTimer::singleShot(kPollMs, this, &ScreenshotRunner::Poll);
            return;
        }
        if (options_.compare && !compareShown_) {
            compareShown_ = true;
            if (!window_.GetCompareButton()->SetActive(true))
                Finish(3, QStringLiteral("The comparison with the original could not be shown"));
            else
                QTimer::singleShot(0, this, &ScreenshotRunner::Poll);
            return;
        }
        // One more turn so that the last repaint is done before the window is grabbed.
        QApplication::processEvents();
        const QPixmap shot = window_.grab();
        // The grab's paint may have asked for the picture's copy at the on-screen size, which
        // is made on a pool thread; the window is grabbed again once it is in place.
        if (window_.IsScaledCopyPending() && clock_.elapsed() <= kTimeoutMs) {
            QTimer::singleShot(kPollMs, this, &ScreenshotRunner::Poll);
            return;
        }
        // Written aside and renamed: a file already there is replaced whole or not at all.
        QSaveFile file(output_);
        const QByteArray format = QFileInfo(output_).suffix().toLatin1();
        if (shot.isNull() || !file.open(QIODevice::WriteOnly)
            || !shot.save(&file, format.isEmpty() ? "PNG" : format.constData()) || !file.commit())
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

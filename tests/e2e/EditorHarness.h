#pragma once

#include <memory>

#include <QImage>
#include <QRect>
#include <QSize>
#include <QString>
#include <QStringList>

#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "MainWindow.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::Test {

// The real editor window (module, provider, cores and all) on screen, driven with key and mouse
// input as a person drives it. Waits process events and fail the calling test when they time
// out. UI thread.
class EditorHarness {
public:
    // Long enough for a 24-megapixel decode on a loaded 2-core machine.
    static constexpr int kFrameWaitMs = 60000;

    explicit EditorHarness(QSize windowSize);
    ~EditorHarness();

    App::MainWindow& Window() { return *window_; }
    WorkspaceView& View() { return *window_->GetView(); }
    WorkspaceControllerProvider& Provider();

    // Opens the file as File > Open does and waits for its full-resolution frame on screen.
    bool Open(const QString& path);
    // Waits until `path` is the open picture with its full-resolution frame shown.
    bool WaitForFullFrame(const QString& path, int timeoutMs = kFrameWaitMs);
    // A key press and release, delivered where the window's focus is (shortcuts included).
    void Key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    // One wheel notch over the viewport point, up (zoom in) or down.
    void Wheel(const QPoint& viewportPoint, bool up);
    // Press at `from`, drag to `to`, release: viewport coordinates.
    void Drag(const QPoint& from, const QPoint& to);
    void Resize(QSize windowSize);

    // Whether the cache holds a core for the file.
    bool IsCached(const QString& path);
    // The picture's place in the viewport (clipped to it) and what the viewport shows.
    QRect PictureOnScreen();
    QImage Screen();

private:
    std::unique_ptr<App::MainWindow> window_;
};

// How well the shown picture matches the file decoded at the shown size (PSNR, dB).
double ShownPictureMatch(const QImage& screen, const QRect& picture, const QString& file);
// Peak resident memory of this process since the last reset, in bytes (0 when unknown); the
// reset works on Linux kernels that support it and returns whether it did.
std::uint64_t PeakResidentBytes();
bool ResetPeakResident();

// Photo-like JPEGs made from the test photographs: `count` files of `size` in `folder`, named so
// that they sort in order, neighbours made from different photographs. Returns the paths.
QStringList MakePhotoFolder(const QString& folder, int count, QSize size);
// A JPEG of the given size from a test photograph (stretched to the shape).
QString MakePhoto(const QString& path, QSize size, int variant = 0);

} // namespace Quelto::Lumindra::Test

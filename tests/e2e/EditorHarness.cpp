#include "EditorHarness.h"

#include <fstream>
#include <string>

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QMouseEvent>
#include <QTest>
#include <QWheelEvent>

#include <gtest/gtest.h>

#include "LumindraWorkspace/WorkspaceControllerHelper.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "LumindraWorkspace/view/WorkspaceView.h"
#include "proc/Vips.h"

namespace Quelto::Lumindra::Test {

namespace {

// Real camera photographs; consecutive variants come from different ones.
const char* const kSources[] = {"exif-samples/jpg/gps/DSCN0010.jpg", "exif-samples/jpg/gps/DSCN0021.jpg",
                                "exif-samples/jpg/orientation/landscape_1.jpg"};

vips::VImage Stretched(const QString& source, QSize size)
{
    return vips::VImage::thumbnail(source.toUtf8().constData(), size.width(),
                                   vips::VImage::option()->set("height", size.height())->set("size", VIPS_SIZE_FORCE));
}

// A photograph stretched to the size with a fine texture on top, so that it decodes like a
// camera file and not like a blur; `variant` also shifts the brightness a little.
vips::VImage PhotoLike(const vips::VImage& base, int variant)
{
    const vips::VImage noise = vips::VImage::gaussnoise(base.width(), base.height(),
                                                        vips::VImage::option()->set("sigma", 6.0));
    const double gain = 0.85 + 0.02 * (variant % 8);
    return (base * gain + noise).cast(VIPS_FORMAT_UCHAR);
}

void Save(const vips::VImage& image, const QString& path)
{
    image.jpegsave(path.toUtf8().constData(), vips::VImage::option()->set("Q", 90)->set("strip", true));
}

QImage ToQImage(const vips::VImage& rgb)
{
    const vips::VImage image = rgb.bands() == 3 ? rgb : rgb.extract_band(0, vips::VImage::option()->set("n", 3));
    size_t length = 0;
    void* data = image.write_to_memory(&length);
    QImage wrapped(static_cast<const uchar*>(data), image.width(), image.height(), image.width() * 3,
                   QImage::Format_RGB888);
    QImage copy = wrapped.convertToFormat(QImage::Format_RGB32);
    g_free(data);
    return copy;
}

} // namespace

EditorHarness::EditorHarness(QSize windowSize) : window_(std::make_unique<App::MainWindow>())
{
    window_->SetUnattended(true);
    window_->resize(windowSize);
    window_->show();
    QApplication::setActiveWindow(window_.get());
    EXPECT_TRUE(QTest::qWaitForWindowExposed(window_.get()));
}

EditorHarness::~EditorHarness()
{
    window_.reset();
    QApplication::processEvents();
}

WorkspaceControllerProvider& EditorHarness::Provider()
{
    return window_->GetHelper()->GetProvider();
}

bool EditorHarness::Open(const QString& path)
{
    window_->OpenFile(path);
    return WaitForFullFrame(path);
}

bool EditorHarness::WaitForFullFrame(const QString& path, int timeoutMs)
{
    const QString wanted = QFileInfo(path).absoluteFilePath();
    const bool shown = WaitUntil(
        [&] {
            const auto controller = window_->GetController();
            return controller && QFileInfo(controller->GetOriginalFileName()).absoluteFilePath() == wanted
                && window_->IsFullFrameShown();
        },
        timeoutMs);
    // Let the layout and the paint that follow the new frame happen.
    QApplication::processEvents();
    EXPECT_TRUE(shown) << "the full frame of " << path.toStdString() << " was not shown";
    return shown;
}

void EditorHarness::Key(int key, Qt::KeyboardModifiers modifiers)
{
    QWidget* target = QApplication::focusWidget();
    QTest::keyClick(target ? target : window_.get(), Qt::Key(key), modifiers);
}

void EditorHarness::Wheel(const QPoint& viewportPoint, bool up)
{
    QWidget* viewport = View().viewport();
    QWheelEvent wheel(viewportPoint, viewport->mapToGlobal(viewportPoint), QPoint(), QPoint(0, up ? 120 : -120),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(viewport, &wheel);
}

void EditorHarness::Drag(const QPoint& from, const QPoint& to)
{
    // Sent, not posted: nothing else (a new frame from the core) runs in between.
    QWidget* viewport = View().viewport();
    auto send = [viewport](QEvent::Type type, const QPoint& at, Qt::MouseButton button, Qt::MouseButtons held) {
        QMouseEvent event(type, at, viewport->mapToGlobal(at), button, held, Qt::NoModifier);
        QApplication::sendEvent(viewport, &event);
    };
    send(QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
    send(QEvent::MouseMove, (from + to) / 2, Qt::NoButton, Qt::LeftButton);
    send(QEvent::MouseMove, to, Qt::NoButton, Qt::LeftButton);
    send(QEvent::MouseButtonRelease, to, Qt::LeftButton, Qt::NoButton);
}

void EditorHarness::Resize(QSize windowSize)
{
    window_->resize(windowSize);
    WaitUntil([&] { return window_->size() == windowSize; }, 2000);
    QApplication::processEvents();
}

bool EditorHarness::IsCached(const QString& path)
{
    const ioPath file(QFileInfo(path).absoluteFilePath().toStdString());
    return bool(Provider().GetCache().Find(WorkspaceControllerProvider::CacheName(file)));
}

QRect EditorHarness::PictureOnScreen()
{
    const QRectF scene = View().sceneRect();
    const QPointF topLeft = View().mapFromScene(scene.topLeft());
    const QPointF bottomRight = View().mapFromScene(scene.bottomRight());
    return QRectF(topLeft, bottomRight).toAlignedRect().intersected(View().viewport()->rect());
}

QImage EditorHarness::Screen()
{
    // What a person sees once the canvas's copy at the on-screen size, which the first paint
    // at a new size asks a pool thread for, is in place.
    QImage screen = View().viewport()->grab().toImage();
    if (Window().IsScaledCopyPending()) {
        EXPECT_TRUE(WaitUntil([&] { return !Window().IsScaledCopyPending(); }));
        screen = View().viewport()->grab().toImage();
    }
    return screen.convertToFormat(QImage::Format_RGB32);
}

double ShownPictureMatch(const QImage& screen, const QRect& picture, const QString& file)
{
    Proc::EnsureVipsStarted();
    const vips::VImage reference = Stretched(file, picture.size()).colourspace(VIPS_INTERPRETATION_sRGB);
    return Psnr(screen.copy(picture).convertToFormat(QImage::Format_RGB32), ToQImage(reference));
}

bool ResetPeakResident()
{
    std::ofstream clear("/proc/self/clear_refs");
    clear << "5";
    clear.flush();
    return bool(clear);
}

std::uint64_t PeakResidentBytes()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmHWM:", 0) == 0)
            return std::stoull(line.substr(6)) * 1024; // the kernel gives kB
    }
    return 0;
}

QStringList MakePhotoFolder(const QString& folder, int count, QSize size)
{
    Proc::EnsureVipsStarted();
    QDir().mkpath(folder);
    std::vector<vips::VImage> bases;
    for (const char* source : kSources)
        bases.push_back(Stretched(TestDataPath(QString::fromLatin1(source)), size).copy_memory());
    QStringList paths;
    for (int i = 0; i < count; ++i) {
        paths << QDir(folder).filePath(QStringLiteral("photo-%1.jpg").arg(i, 3, 10, QLatin1Char('0')));
        Save(PhotoLike(bases[std::size_t(i) % bases.size()], i / int(bases.size())), paths.back());
    }
    return paths;
}

QString MakePhoto(const QString& path, QSize size, int variant)
{
    Proc::EnsureVipsStarted();
    const QString source = TestDataPath(QString::fromLatin1(kSources[variant % 3]));
    Save(PhotoLike(Stretched(source, size), variant), path);
    return path;
}

} // namespace Quelto::Lumindra::Test

// The editor used as a person uses it: the real window, module, provider and cores, driven with
// keys, wheel and mouse; what is checked is what the screen shows and what gets saved.

#include <cstdio>

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include "EditorHarness.h"
#include "support/CompareScreen.h"
#include "LumindraWorkspace/IWorkspaceController.h"
#include "LumindraWorkspace/UI/CompareButton.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "LumindraWorkspace/view/WorkspaceView.h"
#include "photocore/IPhotoCoreIO.h"
#include "proc/Vips.h"

namespace Quelto::Lumindra {
namespace {

namespace Support = ::Quelto::Lumindra::Test;
using Support::EditorHarness;

// The provider's bound on the cores it keeps, and one full-resolution 24 MP frame as the window
// holds it (BGRA).
constexpr double kCacheBoundBytes = 700'000'000.0;
constexpr double kShownFrameBytes = 6000.0 * 4000.0 * 4.0;

std::string Cached(const QString& file)
{
    return QFileInfo(file).fileName().toStdString() + " already cached";
}

// The picture on screen, not clipped to the viewport.
QRectF PictureRect(WorkspaceView& view)
{
    return QRectF(view.mapFromScene(view.sceneRect().topLeft()), view.mapFromScene(view.sceneRect().bottomRight()));
}

TEST(EditorBrowsing, AFolderForwardBackAndByJumpShowsEachPhotoWithTheNeighbourAheadPreloaded)
{
    constexpr int kFiles = 30;
    Support::Sandbox sandbox;
    const QStringList files = Support::MakePhotoFolder(sandbox.FilePath(QStringLiteral("folder")), kFiles, {6000, 4000});
    EditorHarness editor({1600, 1000});
    Support::LogCapture log(30);
    const bool peakReset = Support::ResetPeakResident();
    ASSERT_TRUE(editor.Open(files.first()));

    // The right photo: it matches its own file at the shown size, and clearly better than the
    // photo next to it in the folder (made from another photograph).
    auto expectShown = [&](int index) {
        const QImage screen = editor.Screen();
        const QRect picture = editor.PictureOnScreen();
        const double own = Support::ShownPictureMatch(screen, picture, files[index]);
        const double other = Support::ShownPictureMatch(screen, picture, files[index == 0 ? 1 : index - 1]);
        EXPECT_GT(own, 28.0) << "photo " << index;
        EXPECT_GT(own, other + 6.0) << "photo " << index;
    };
    // One step as a person takes it, pausing on each photo; from the second step of a run on,
    // the photo stepped onto must come from the preloader.
    auto step = [&](int from, int to, bool preloaded) {
        SCOPED_TRACE("step " + std::to_string(from) + " -> " + std::to_string(to));
        if (preloaded) {
            EXPECT_TRUE(Support::WaitUntil([&] { return editor.IsCached(files[to]); }, EditorHarness::kFrameWaitMs))
                << "the neighbour ahead was never preloaded";
        }
        const int before = log.Count(Cached(files[to]));
        editor.Key(to > from ? Qt::Key_Right : Qt::Key_Left, Qt::AltModifier);
        ASSERT_TRUE(editor.WaitForFullFrame(files[to]));
        if (preloaded) {
            EXPECT_EQ(log.Count(Cached(files[to])), before + 1);
        }
        expectShown(to);
    };

    expectShown(0);
    for (int i = 1; i < kFiles; ++i)
        step(i - 1, i, i > 1);
    for (int i = kFiles - 2; i >= 0; --i)
        step(i + 1, i, i < kFiles - 2);
    // A jump (File > Open on a photo far away) opens it cold; stepping on is preloaded again.
    ASSERT_TRUE(editor.Open(files[kFiles / 2]));
    expectShown(kFiles / 2);
    step(kFiles / 2, kFiles / 2 + 1, true);

    // Memory: the cached cores within their bound, plus the frames on screen, plus a margin for
    // the program, the core being built and the decoder's buffers. The suite runs two programs
    // at once, and with every core busy the peak runs higher than the benchmark's on a free
    // machine: the canvas's copies wait longer for the lowered pool (1.56 of the bound was seen
    // while a waiting copy still held the frame of a picture already left; 1.29 since).
    constexpr double kMargin = 1.75;
    const double peak = double(Support::PeakResidentBytes());
    const double allowed = kMargin * (kCacheBoundBytes + 2 * kShownFrameBytes);
    std::printf("browse peak resident memory: %.0f MB (%s), %.2f of the cache bound plus two shown frames\n",
                peak / 1e6, peakReset ? "since the folder was made" : "whole run", peak / (allowed / kMargin));
    RecordProperty("peak_resident_mb", int(peak / 1e6));
#if defined(__SANITIZE_ADDRESS__)
    // The sanitizer's shadow memory and its quarantine of freed blocks count as resident too.
    const bool comparable = false;
#else
    const bool comparable = true;
#endif
    if (peakReset && comparable) {
        EXPECT_LT(peak, allowed);
    }
}

// A damaged photo in the middle of a folder: stepping onto it says it cannot be opened and
// leaves the photo on show; the next step in the same direction goes past it, both ways.
TEST(EditorBrowsing, ADamagedPhotoIsReportedAndTheNextStepGoesPastIt)
{
    Support::Sandbox sandbox;
    const QStringList files = Support::MakePhotoFolder(sandbox.FilePath(QStringLiteral("folder")), 4, {1200, 800});
    QFile damaged(files[1]);
    ASSERT_TRUE(damaged.open(QIODevice::ReadWrite));
    ASSERT_TRUE(damaged.resize(damaged.size() / 3));
    damaged.close();
    EditorHarness editor({1200, 800});
    ASSERT_TRUE(editor.Open(files[0]));
    QSignalSpy failures(&editor.Window(), &App::MainWindow::openFailed);
    struct Step { int key; int refused; int shown; };
    for (const Step& step : {Step {Qt::Key_Right, 1, 0}, Step {Qt::Key_Right, -1, 2}, Step {Qt::Key_Left, 1, 2},
                             Step {Qt::Key_Left, -1, 0}}) {
        SCOPED_TRACE("towards " + std::to_string(step.refused >= 0 ? step.refused : step.shown));
        const int before = failures.count();
        editor.Key(step.key, Qt::AltModifier);
        ASSERT_TRUE(editor.WaitForFullFrame(files[step.shown]));
        ASSERT_EQ(failures.count(), before + (step.refused >= 0 ? 1 : 0));
        if (step.refused >= 0) {
            EXPECT_TRUE(failures.last().at(0).toString().contains(QFileInfo(files[1]).fileName()))
                << failures.last().at(0).toString().toStdString();
        }
    }
}

TEST(EditorShapes, EveryShapeAtEveryWindowSizeFitsCentredAndSurvivesZoomAndResize)
{
    // From 1:8 to 8:1, tiny to huge, and the two camera shapes that once crashed the window.
    const QSize shapes[] = {{1, 1}, {64, 512}, {512, 64}, {4608, 1976}, {6000, 4080}, {2000, 16000}, {16000, 2000}};
    const QSize windows[] = {{320, 240}, {800, 600}, {900, 700}, {1600, 1000}, {2560, 1440}};
    Support::Sandbox sandbox;
    EditorHarness editor(windows[0]);
    int variant = 0;
    for (const QSize& shape : shapes) {
        const QString file = Support::MakePhoto(
            sandbox.FilePath(QStringLiteral("shape-%1x%2.jpg").arg(shape.width()).arg(shape.height())), shape, variant++);
        ASSERT_TRUE(editor.Open(file));
        for (const QSize& window : windows) {
            SCOPED_TRACE(QStringLiteral("%1x%2 picture in a %3x%4 window")
                             .arg(shape.width()).arg(shape.height()).arg(window.width()).arg(window.height())
                             .toStdString());
            editor.Resize(window);
            WorkspaceView& view = editor.View();
            auto expectFittedAndCentred = [&] {
                const QRect viewport = view.viewport()->rect();
                ASSERT_TRUE(view.IsFitToView());
                const QRectF picture = PictureRect(view);
                EXPECT_NEAR(picture.center().x(), QRectF(viewport).center().x(), 1.5);
                EXPECT_NEAR(picture.center().y(), QRectF(viewport).center().y(), 1.5);
                // Inside the viewport and filling it one way, unless a zoom limit stops the fit
                // first (a tiny picture, or a long panorama in a window a few dozen pixels wide).
                const double zoom = view.GetCurrentScalePercent();
                if (zoom > App::MainWindow::kMinZoomPercent + 1e-6 && zoom < App::MainWindow::kMaxZoomPercent - 1e-6) {
                    EXPECT_LE(picture.width(), viewport.width() + 1.5);
                    EXPECT_LE(picture.height(), viewport.height() + 1.5);
                    EXPECT_TRUE(std::abs(picture.width() - viewport.width()) <= 1.5
                                || std::abs(picture.height() - viewport.height()) <= 1.5);
                }
                EXPECT_EQ(view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
                EXPECT_EQ(view.verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
            };
            expectFittedAndCentred();

            editor.Key(Qt::Key_1, Qt::ControlModifier);
            EXPECT_NEAR(view.GetCurrentScalePercent(), 100.0, 1e-6);
            // Scroll bars exactly where the picture overflows.
            const bool wide = view.sceneRect().width() > view.viewport()->width();
            EXPECT_EQ(view.horizontalScrollBarPolicy() == Qt::ScrollBarAlwaysOn, wide);
            for (bool up : {true, true, true, false, false})
                editor.Wheel(view.viewport()->rect().center(), up);
            EXPECT_NEAR(view.GetCurrentScalePercent(), 100.0 * 1.15 * 1.15 * 1.15 * 0.85 * 0.85, 0.01);
            // A resize while zoomed in keeps the zoom; fitting afterwards centres again.
            editor.Resize(window + QSize(37, 23));
            EXPECT_NEAR(view.GetCurrentScalePercent(), 100.0 * 1.15 * 1.15 * 1.15 * 0.85 * 0.85, 0.01);
            editor.Key(Qt::Key_0, Qt::ControlModifier);
            QApplication::processEvents();
            expectFittedAndCentred();
            editor.Resize(window);
            expectFittedAndCentred();
            if (HasFatalFailure())
                return;
        }
    }
}

// Draws a crop as a person does (C, a drag over the picture, Enter) from and to fractions of the
// picture on screen; returns the region in the pixels of a photo of `full` size.
QRect DrawCrop(EditorHarness& editor, QPointF from, QPointF to, QSize full)
{
    WorkspaceView& view = editor.View();
    const QRectF picture = PictureRect(view);
    auto at = [&](QPointF f) {
        return QPoint(qRound(picture.x() + f.x() * picture.width()), qRound(picture.y() + f.y() * picture.height()));
    };
    const QRectF scene = view.sceneRect();
    const QPointF a = view.mapToScene(at(from)), b = view.mapToScene(at(to));
    editor.Key(Qt::Key_C);
    editor.Drag(at(from), at(to));
    editor.Key(Qt::Key_Return);
    return QRect(QPoint(qRound(a.x() / scene.width() * full.width()), qRound(a.y() / scene.height() * full.height())),
                 QPoint(qRound(b.x() / scene.width() * full.width()) - 1,
                        qRound(b.y() / scene.height() * full.height()) - 1));
}

// Waits until the full frame of an edited picture of `size` is on the canvas.
void WaitForPicture(EditorHarness& editor, QSize size)
{
    WorkspaceView& view = editor.View();
    EXPECT_TRUE(Support::WaitUntil(
        [&] {
            return editor.Window().IsFullFrameShown() && std::abs(view.sceneRect().width() - size.width()) <= 1
                && std::abs(view.sceneRect().height() - size.height()) <= 1;
        },
        EditorHarness::kFrameWaitMs))
        << "shown " << view.sceneRect().width() << "x" << view.sceneRect().height() << ", expected " << size.width()
        << "x" << size.height();
}

// Source pixels of `region`, a quarter turn clockwise when `rotated`, as a small picture.
QImage Expected(const QString& file, const QRect& region, bool rotated, QSize size, const QString& out)
{
    Proc::EnsureVipsStarted();
    vips::VImage image = vips::VImage::new_from_file(file.toUtf8().constData())
                             .crop(region.x(), region.y(), region.width(), region.height());
    if (rotated)
        image = image.rot90();
    image.pngsave(out.toUtf8().constData());
    return QImage(out).scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation).convertToFormat(QImage::Format_RGB32);
}

double SavedMatch(const std::shared_ptr<IWorkspaceController>& controller, const QString& path, const QString& source,
                  const QRect& region, bool rotated)
{
    IWorkspaceController::SaveSettings settings;
    settings.fileName = path;
    EXPECT_EQ(controller->Save(settings), PhotoCore::IPhotoCoreIO::SaveResultSuccess);
    const QImage saved(path);
    const QSize expectedSize = rotated ? region.size().transposed() : region.size();
    EXPECT_LE(std::abs(saved.width() - expectedSize.width()), 1) << "saved " << saved.width() << "x" << saved.height();
    EXPECT_LE(std::abs(saved.height() - expectedSize.height()), 1) << "expected " << expectedSize.width() << "x"
                                                                    << expectedSize.height();
    const QSize small(400, 400 * saved.height() / std::max(1, saved.width()));
    return Support::Psnr(saved.scaled(small, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                             .convertToFormat(QImage::Format_RGB32),
                         Expected(source, region, rotated, small, path + QStringLiteral(".expected.png")));
}

TEST(EditorEditing, CropOnThePreviewAndOnTheFullFrameThenRotateUndoRedoAndStepAwayAndBack)
{
    constexpr int kWidth = 8000, kHeight = 6000; // long enough to decode that the preview shows first
    Support::Sandbox sandbox;
    const QString photo = Support::MakePhoto(sandbox.FilePath(QStringLiteral("a-big.jpg")), {kWidth, kHeight}, 0);
    const QString other = Support::MakePhoto(sandbox.FilePath(QStringLiteral("b-next.jpg")), {1200, 800}, 1);
    EditorHarness editor({1400, 900});
    WorkspaceView& view = editor.View();

    auto drawCrop = [&](QPointF from, QPointF to) {
        return DrawCrop(editor, from, to,
                        editor.Window().IsFullFrameShown() ? view.sceneRect().size().toSize() : QSize(kWidth, kHeight));
    };
    auto waitForPicture = [&](QSize size) { WaitForPicture(editor, size); };

    // On the preview: nothing else runs between seeing it and pressing Enter.
    editor.Window().OpenFile(photo);
    ASSERT_TRUE(Support::WaitUntil(
        [&] { return editor.Window().GetController() && view.sceneRect().width() > 0; }, EditorHarness::kFrameWaitMs));
    ASSERT_FALSE(editor.Window().IsFullFrameShown()) << "the full frame came before the preview could be used";
    ASSERT_LT(view.sceneRect().width(), kWidth);
    const QRect onPreview = drawCrop({0.25, 0.2}, {0.7, 0.65});
    waitForPicture(onPreview.size());
    EXPECT_GT(SavedMatch(editor.Window().GetController(), sandbox.FilePath(QStringLiteral("preview-crop.png")), photo,
                         onPreview, false),
              30.0);

    // On the full frame, after undoing the first crop.
    editor.Key(Qt::Key_Z, Qt::ControlModifier);
    waitForPicture({kWidth, kHeight});
    const QRect onFull = drawCrop({0.1, 0.5}, {0.45, 0.9});
    waitForPicture(onFull.size());

    // Rotate, undo, redo: the saved photo is the crop turned a quarter clockwise.
    editor.Key(Qt::Key_R, Qt::ControlModifier);
    waitForPicture(onFull.size().transposed());
    editor.Key(Qt::Key_Z, Qt::ControlModifier);
    waitForPicture(onFull.size());
    editor.Key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    waitForPicture(onFull.size().transposed());
    EXPECT_GT(SavedMatch(editor.Window().GetController(), sandbox.FilePath(QStringLiteral("full-crop.png")), photo,
                         onFull, true),
              30.0);

    // Stepping away from edits that were saved elsewhere discards them (the window asks first;
    // unattended it agrees): back on the photo, the file itself is shown, whole.
    editor.Key(Qt::Key_Right, Qt::AltModifier);
    ASSERT_TRUE(editor.WaitForFullFrame(other));
    editor.Key(Qt::Key_Left, Qt::AltModifier);
    ASSERT_TRUE(editor.WaitForFullFrame(photo));
    waitForPicture({kWidth, kHeight});
    EXPECT_GT(Support::ShownPictureMatch(editor.Screen(), editor.PictureOnScreen(), photo), 28.0);
}

// How well a place on screen shows the expected picture; a pixel of margin is left out, where the
// pictures meet the workspace.
double Match(const QImage& screen, const QRect& place, const QString& file, const QRect& region, const QString& out)
{
    const QRect inner = place.adjusted(1, 1, -1, -1);
    return Support::Psnr(screen.copy(inner), Expected(file, region, true, inner.size(), out));
}

TEST(EditorCompare, BackslashAndTheToolbarButtonShowTheOriginalBesideTheEditedPhotoThroughZoomAndScroll)
{
    constexpr int kWidth = 3000, kHeight = 2000;
    Support::Sandbox sandbox;
    const QString photo = Support::MakePhoto(sandbox.FilePath(QStringLiteral("photo.jpg")), {kWidth, kHeight}, 2);
    EditorHarness editor({1400, 900});
    WorkspaceView& view = editor.View();
    CompareButton& button = *editor.Window().GetCompareButton();
    ASSERT_TRUE(editor.Open(photo));

    // Edited: cropped, then turned a quarter clockwise; the original is compared upright too.
    const QRect region = DrawCrop(editor, {0.3, 0.25}, {0.75, 0.8}, {kWidth, kHeight});
    WaitForPicture(editor, region.size());
    editor.Key(Qt::Key_R, Qt::ControlModifier);
    WaitForPicture(editor, region.size().transposed());
    const QRect whole(0, 0, kWidth, kHeight);

    // The window lets a release of the key wait a moment (it may be the key repeating).
    QSignalSpy hotkeys(&editor.Window(), &App::MainWindow::hotkeyActivated);
    editor.Key(Qt::Key_Backslash);
    ASSERT_TRUE(Support::WaitUntil([&] { return hotkeys.size() == 2; })) << "the press and the release";
    ASSERT_TRUE(button.IsActive()) << "a tap of the key switches the comparison on";
    QApplication::processEvents();
    QImage screen = editor.Screen();
    Support::ComparisonOnScreen seen = Support::ReadComparison(screen);
    ASSERT_FALSE(seen.original.isEmpty() || seen.edited.isEmpty()) << "two pictures side by side";
    EXPECT_GT(Match(screen, seen.original, photo, whole, sandbox.FilePath("o.png")), 26.0) << "the original on the left";
    EXPECT_GT(Match(screen, seen.edited, photo, region, sandbox.FilePath("e.png")), 26.0) << "the edited on the right";
    EXPECT_LT(Match(screen, seen.original, photo, region, sandbox.FilePath("x.png")), 20.0) << "and not the other way";
    EXPECT_NEAR(double(seen.original.width()) / seen.original.height(), double(kHeight) / kWidth, 0.02);
    EXPECT_GT(seen.separator, seen.original.right());
    EXPECT_LT(seen.separator, seen.edited.left());

    // The separator runs from the top of the view to the bottom, also zoomed in and scrolled.
    auto expectSeparatorSpans = [&](const char* when) {
        SCOPED_TRACE(when);
        QApplication::processEvents();
        screen = editor.Screen();
        seen = Support::ReadComparison(screen);
        ASSERT_GE(seen.separator, 0) << "no separator across the middle";
        EXPECT_TRUE(Support::IsSeparatorColour(screen.pixelColor(seen.separator, 0)));
        EXPECT_TRUE(Support::IsSeparatorColour(screen.pixelColor(seen.separator, screen.height() - 1)));
    };
    expectSeparatorSpans("at the fit zoom");
    for (int notch = 0; notch < 4; ++notch)
        editor.Wheel(QPoint(seen.separator, view.viewport()->height() / 2), true);
    ASSERT_GT(view.verticalScrollBar()->maximum(), 0) << "zoomed in far enough to scroll";
    expectSeparatorSpans("zoomed in with the wheel");
    for (int i = 0; i < 12; ++i)
        editor.Key(Qt::Key_Down);
    EXPECT_GT(view.verticalScrollBar()->value(), 0);
    expectSeparatorSpans("scrolled down");

    // The toolbar button switches back: the edited photo alone, fitted as before.
    QTest::mouseClick(&button, Qt::LeftButton, Qt::NoModifier, QPoint(4, button.height() / 2));
    EXPECT_FALSE(button.IsActive());
    EXPECT_TRUE(view.IsFitToView());
    QApplication::processEvents();
    screen = editor.Screen();
    EXPECT_GT(Match(screen, editor.PictureOnScreen(), photo, region, sandbox.FilePath("back.png")), 26.0);

    // Held, the key shows the comparison only while it is down.
    button.SetHoldTime(0);
    QWidget* focus = QApplication::focusWidget() ? QApplication::focusWidget() : &editor.Window();
    QTest::keyPress(focus, Qt::Key_Backslash);
    EXPECT_TRUE(button.IsActive());
    // The key repeating while held (a release and at once a press) does not count as letting go.
    QTest::keyRelease(focus, Qt::Key_Backslash);
    QTest::keyPress(focus, Qt::Key_Backslash);
    QApplication::processEvents();
    EXPECT_TRUE(button.IsActive());
    QTest::keyRelease(focus, Qt::Key_Backslash);
    EXPECT_TRUE(Support::WaitUntil([&] { return !button.IsActive(); }));
}

TEST(EditorCompare, AComparisonMadeOnThePreviewShowsTheFullPicturesOnceTheyAreDecoded)
{
    constexpr int kWidth = 8000, kHeight = 6000; // long enough to decode that the preview shows first
    Support::Sandbox sandbox;
    const QString photo = Support::MakePhoto(sandbox.FilePath(QStringLiteral("big.jpg")), {kWidth, kHeight}, 1);
    EditorHarness editor({1200, 800});
    WorkspaceView& view = editor.View();
    CompareButton& button = *editor.Window().GetCompareButton();
    editor.Window().OpenFile(photo);
    ASSERT_TRUE(Support::WaitUntil(
        [&] { return editor.Window().GetController() && view.sceneRect().width() > 0; }, EditorHarness::kFrameWaitMs));
    ASSERT_FALSE(editor.Window().IsFullFrameShown()) << "the full frame came before the preview could be used";

    ASSERT_TRUE(button.SetActive(true));
    EXPECT_LT(view.sceneRect().width(), 2 * kWidth) << "the pair of previews";
    ASSERT_TRUE(editor.WaitForFullFrame(photo));
    EXPECT_TRUE(Support::WaitUntil([&] { return view.sceneRect().width() > 2 * kWidth; }))
        << "the pair at full resolution: " << view.sceneRect().width();
    EXPECT_TRUE(button.IsActive());
    EXPECT_TRUE(view.IsFitToView());
}

} // namespace
} // namespace Quelto::Lumindra

#pragma once

// A shown view over the scene of a real workspace controller (a real editing core opened from a
// flat picture), configured as the host configures it, and a drawing tool that records its input.

#include <memory>
#include <string>
#include <vector>

#include <QCursor>
#include <QDir>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QTest>
#include <QWheelEvent>

#include "LumindraWorkspace/WorkspaceController.h"
#include "LumindraWorkspace/WorkspaceControllerProvider.h"
#include "LumindraWorkspace/scene/WorkspaceScene.h"
#include "LumindraWorkspace/tools/IDrawingTool.h"
#include "LumindraWorkspace/view/WorkspaceView.h"
#include "sharedui/ScalableViewEmitter.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::Test {

class RecordingTool : public IDrawingTool {
public:
    bool consumeMouse = true;
    bool consumeKeys = false;
    std::vector<std::string> calls;

    bool KeyPress(QKeyEvent* e) override { return Add("key " + std::to_string(e->key()), consumeKeys); }
    bool KeyRelease(QKeyEvent* e) override { return Add("keyUp " + std::to_string(e->key()), consumeKeys); }
    bool Cancel() override { return Add("cancel", true); }
    bool Leave(QEvent*) override { return Add("leave", false); }
    bool MousePress(QMouseEvent* e) override { return Add(At("press", e->pos()), consumeMouse); }
    bool MouseMove(QMouseEvent* e) override { return Add(At("move", e->pos()), consumeMouse); }
    bool MouseRelease(QMouseEvent* e) override { return Add(At("release", e->pos()), consumeMouse); }
    bool MouseDoubleClick(QMouseEvent* e) override { return Add(At("double", e->pos()), consumeMouse); }
    void HandModeEnded() override { calls.push_back("handModeEnded"); }

    static std::string At(const char* what, QPoint p)
    {
        return std::string(what) + " " + std::to_string(p.x()) + "," + std::to_string(p.y());
    }

private:
    bool Add(std::string call, bool result)
    {
        calls.push_back(std::move(call));
        return result;
    }
};

inline void MoveCursorAway()
{
    QCursor::setPos(-5000, -5000);
    QCoreApplication::processEvents();
}

class ViewHarness {
public:
    static constexpr double kMinPercent = 10.0;
    static constexpr double kMaxPercent = 1600.0;
    static constexpr double kStepPercent = 10.0;
    static constexpr int kNotch = 120; // one notch of a common wheel, in eighths of a degree

    ViewHarness(QSize pictureSize, QSize viewSize)
        : tempDir_("LUMINDRA_TEMP_DIR", QDir(sandbox_.Path()).filePath("tmp").toUtf8())
    {
        MoveCursorAway();
        QImage picture(pictureSize, QImage::Format_RGB32);
        picture.fill(QColor(120, 140, 160));
        controller = WorkspaceController::Create(provider_, QPixmap::fromImage(picture), PhotoCore::ImageSourcePaste);
        QObject::connect(view.GetEmitter(), &ScalableViewEmitter::activateDragMode, &view, &WorkspaceView::SetDragMode);
        view.SetRestrictionForScale(IScalableView::ScaleUp, kMaxPercent);
        view.SetRestrictionForScale(IScalableView::ScaleDown, kMinPercent);
        view.SetScaleStep(kStepPercent);
        view.SetWorkspaceController(controller);
        view.resize(viewSize);
        view.show();
        exposed = QTest::qWaitForWindowExposed(&view);
        // Frames of the opening land now, not in the middle of a test.
        controller->GetLumindraDrawer()->WaitForIdle(kDefaultWaitMs);
        QCoreApplication::processEvents();
    }

    WorkspaceScene& Scene() { return static_cast<WorkspaceScene&>(*controller->GetScene()); }
    QPoint Global(QPoint p) { return view.viewport()->mapToGlobal(p); }
    // Puts the cursor over the viewport and waits until the view knows it is under the mouse.
    bool PutCursorAt(QPoint p)
    {
        QCursor::setPos(Global(p));
        return WaitUntil([this] { return view.testAttribute(Qt::WA_UnderMouse); });
    }
    bool Wheel(QPoint p, int delta = kNotch)
    {
        QWheelEvent e(QPointF(p), QPointF(Global(p)), QPoint(), QPoint(0, delta), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
        e.ignore();
        QCoreApplication::sendEvent(view.viewport(), &e);
        return e.isAccepted();
    }
    void Mouse(QEvent::Type type, QPoint p, Qt::MouseButton button, Qt::MouseButtons buttons)
    {
        QMouseEvent e(type, p, Global(p), button, buttons, Qt::NoModifier);
        QCoreApplication::sendEvent(view.viewport(), &e);
    }
    void Key(QEvent::Type type, int key, bool autoRepeat = false)
    {
        QKeyEvent e(type, key, Qt::NoModifier, key == Qt::Key_Space ? QStringLiteral(" ") : QString(), autoRepeat);
        QCoreApplication::sendEvent(&view, &e);
    }

private:
    Sandbox sandbox_;
    ScopedEnv tempDir_; // the cores' session folders go to the sandbox
    WorkspaceControllerProvider provider_ {false, nullptr, false};

public:
    std::shared_ptr<IWorkspaceController> controller;
    WorkspaceView view; // dies first, unregistering from the live controller
    bool exposed = false;
};

} // namespace Quelto::Lumindra::Test

#pragma once

// Doubles and helpers for the view tests: an editing core's drawer that shows one flat frame, a
// workspace controller over it that owns a real WorkspaceScene, a drawing tool that records
// what it is given, and a harness with a shown view configured as the host configures it.

#include <algorithm>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include <QCoreApplication>
#include <QCursor>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QTest>
#include <QWheelEvent>

#include "LumindraWorkspace/IWorkspaceController.h"
#include "LumindraWorkspace/scene/WorkspaceScene.h"
#include "LumindraWorkspace/tools/IDrawingTool.h"
#include "LumindraWorkspace/view/WorkspaceView.h"
#include "core/RefCounted.h"
#include "photocore/IPhotoCoreDrawer.h"
#include "sharedui/ScalableViewEmitter.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::Test {

// A drawer whose current frame is one flat picture of a given size.
class FakeDrawer : public Core::RefCounted, public PhotoCore::IPhotoCoreDrawer {
public:
    explicit FakeDrawer(QSize size) { SetSize(size); }

    void SetSize(QSize size)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        frame_ = MakeSolidFrame(size.width(), size.height(), QColor(120, 140, 160));
        settings_.SetFrameInfo(frame_->GetFrameInfo());
    }
    Proc::DataVideoPtr GetVideo() const override { return Frame(); }
    Proc::DataVideoPtr GetVideoWithMask() const override { return Frame(); }
    Proc::DataVideoPtr GetOriginalVideo() const override { return Frame(); }
    const PhotoCore::SettingsCore& GetFrameSettings(int) const override { return settings_; }
    PhotoCore::IDebug* GetDebugEngine() const override { return nullptr; }
    void ApplyEffect(const boost::intrusive_ptr<Proc::IEffectSettings>&) override {}
    void PreviewEffect(const boost::intrusive_ptr<Proc::IEffectSettings>&) override {}
    void CancelPreview() override {}
    AlphaInfo GetAlphaInfo() const override { return {}; }
    void SetDrawable(PhotoCore::IDrawable*) override {}
    bool MayRenderCanvas() const override { return true; }
    Proc::DataVideoPtr GetVideoForRendering() const override { return Frame(); }
    bool HasLayerOfKind(int) const override { return false; }
    bool WaitForIdle(int) const override { return true; }

private:
    Proc::DataVideoPtr Frame() const
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return frame_;
    }

    mutable std::mutex mutex_; // guards frame_ (a worker thread may ask for it)
    Proc::DataVideoPtr frame_;
    PhotoCore::SettingsCore settings_;
};

// A controller with a real WorkspaceScene over a FakeDrawer. Only what the scene and the view use
// is answered; the rest fails loudly.
class FakeController : public IWorkspaceController {
public:
    explicit FakeController(QSize pictureSize)
        : drawer_(new FakeDrawer(pictureSize))
    {
        scene_ = std::make_unique<WorkspaceScene>(imageUtils_, this, nullptr);
    }
    ~FakeController() override { scene_.reset(); }

    FakeDrawer& Drawer() { return *drawer_; }
    WorkspaceScene& Scene() { return *scene_; }
    // Raises a new-frame drawer event to every handler, on the calling thread, as the core does.
    void RaiseFrame()
    {
        for (PhotoCore::IDrawerEventHandler* handler : Handlers())
            handler->HandleFrame(PhotoCore::IDrawerEventHandler::DrawerEventFrame("frame", "", -1, 0));
    }
    std::vector<PhotoCore::IDrawerEventHandler*> Handlers() const
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return handlers_;
    }

    IScalableView* GetView() const override { return nullptr; }
    IScene* GetScene() const override { return scene_.get(); }
    boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> GetLumindraDrawer() override { return drawer_; }
    void RegisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* handler) override
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (std::find(handlers_.begin(), handlers_.end(), handler) == handlers_.end())
            handlers_.push_back(handler);
    }
    void UnregisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* handler) override
    {
        std::lock_guard<std::mutex> lock(mutex_);
        handlers_.erase(std::remove(handlers_.begin(), handlers_.end(), handler), handlers_.end());
    }
    QString GetFileName() override { return QStringLiteral("fake.jpg"); }
    QString GetOriginalFileName() override { return GetFileName(); }
    const Util::ImageUtils& GetImageUtils() const override { return imageUtils_; }

    boost::intrusive_ptr<PhotoCore::IPhotoCoreUndoBase> GetUndoEngine() override { return nullptr; }
    boost::intrusive_ptr<PhotoUtil::ISerializer> GetSerializeEngine() override { return nullptr; }
    void RegisterCoreEventHandler(PhotoCore::ICoreEventHandler*) override {}
    void UnregisterCoreEventHandler(PhotoCore::ICoreEventHandler*) override {}
    bool HasChanged() const override { return false; }
    PhotoCore::IPhotoCoreIO::SaveResult SaveOverwrite() override { return Unused<PhotoCore::IPhotoCoreIO::SaveResult>(); }
    PhotoCore::IPhotoCoreIO::SaveResult Save(const SaveSettings&, PhotoCore::SettingsSave&) override
    {
        return Unused<PhotoCore::IPhotoCoreIO::SaveResult>();
    }
    PhotoCore::IPhotoCoreIO::SaveResult Save(const SaveSettings&) override
    {
        return Unused<PhotoCore::IPhotoCoreIO::SaveResult>();
    }
    void SendSaveStatistics(const SaveSettings::StatisticsSettings&) override {}
    void SaveSession() override {}
    void SetProgressController(const boost::intrusive_ptr<Core::IProgressController>&) override {}
    void SetDragAndDrop(IDragAndDrop*) override {}
    ioPath GenerateTemporaryFilePath() override { return Unused<ioPath>(); }
    Proc::DataVideoPtr LoadSelection(const std::string&, bool) override { return nullptr; }
    void SaveSelection(const std::string&, const Proc::DataVideoPtr&) override {}
    const PhotoCore::SettingsCore& GetFrameInfo() const override { return drawer_->GetFrameSettings(-1); }
    QImage GetSnapshot() override { return {}; }
    Core::Property GetFileInfo() override { return Unused<Core::Property>(); }
    PhotoCore::IStatisticsEventHandler* GetStatisticsEventHandler() const override { return nullptr; }
    PhotoCore::IDebug* GetDebugEngine() const override { return nullptr; }
    const PhotoCore::IPhotoCoreIO& GetIOEngine() const override { return Unused<const PhotoCore::IPhotoCoreIO&>(); }
    PhotoCore::IPhotoCoreIO& GetIOEngine() override { return Unused<PhotoCore::IPhotoCoreIO&>(); }
    const WorkspaceMetadata& GetMetadataSettings() const override { return Unused<const WorkspaceMetadata&>(); }
    WorkspaceMetadata& MetadataSettings() override { return Unused<WorkspaceMetadata&>(); }
    PhotoCore::IPhotoCoreTracker& GetTrackerEngine() override { return Unused<PhotoCore::IPhotoCoreTracker&>(); }

private:
    template <class T>
    static T Unused()
    {
        throw std::logic_error("not used by the view tests");
    }

    Util::ImageUtils imageUtils_;
    boost::intrusive_ptr<FakeDrawer> drawer_;
    mutable std::mutex mutex_; // guards handlers_ (events may be raised from a worker thread)
    std::vector<PhotoCore::IDrawerEventHandler*> handlers_;
    std::unique_ptr<WorkspaceScene> scene_; // last: dies first, while the handler list still lives
};

// A tool that records the input it is offered, as one line per call.
class RecordingTool : public IDrawingTool {
public:
    bool consumeMouse = true;
    bool consumeKeys = false;
    std::vector<std::string> calls;

    bool KeyPress(QKeyEvent* event) override { return Record("keyPress", event->key(), consumeKeys); }
    bool KeyRelease(QKeyEvent* event) override { return Record("keyRelease", event->key(), consumeKeys); }
    bool Cancel() override { return Record("cancel", 0, true); }
    bool Leave(QEvent*) override { return Record("leave", 0, false); }
    bool MousePress(QMouseEvent* event) override { return RecordMouse("press", event); }
    bool MouseMove(QMouseEvent* event) override { return RecordMouse("move", event); }
    bool MouseRelease(QMouseEvent* event) override { return RecordMouse("release", event); }
    bool MouseDoubleClick(QMouseEvent* event) override { return RecordMouse("doubleClick", event); }
    void HandModeEnded() override { calls.push_back("handModeEnded"); }

    static std::string At(const char* what, QPoint pos)
    {
        return std::string(what) + " " + std::to_string(pos.x()) + "," + std::to_string(pos.y());
    }

private:
    bool Record(const char* what, int key, bool result)
    {
        calls.push_back(std::string(what) + (key ? " " + std::to_string(key) : std::string()));
        return result;
    }
    bool RecordMouse(const char* what, QMouseEvent* event)
    {
        calls.push_back(At(what, event->pos()));
        return consumeMouse;
    }
};

// The cursor far from every window, so that no view is under the mouse.
inline void MoveCursorAway()
{
    QCursor::setPos(-5000, -5000);
    QCoreApplication::processEvents();
}

// A shown view over a FakeController's scene, with the limits, the step and the answer to
// activateDragMode that the host gives it.
class ViewHarness {
public:
    ViewHarness(QSize pictureSize, QSize viewSize)
        : controller(std::make_shared<FakeController>(pictureSize))
    {
        MoveCursorAway();
        QObject::connect(view.GetEmitter(), &ScalableViewEmitter::activateDragMode, &view, &WorkspaceView::SetDragMode);
        view.SetRestrictionForScale(IScalableView::ScaleUp, kMaxPercent);
        view.SetRestrictionForScale(IScalableView::ScaleDown, kMinPercent);
        view.SetScaleStep(kStepPercent);
        view.SetWorkspaceController(controller);
        view.resize(viewSize);
        view.show();
        exposed = QTest::qWaitForWindowExposed(&view);
    }

    QWidget* Viewport() { return view.viewport(); }
    QPoint Global(QPoint viewportPos) { return view.viewport()->mapToGlobal(viewportPos); }
    // Puts the cursor over the viewport and waits until the view knows it is under the mouse.
    bool PutCursorAt(QPoint viewportPos)
    {
        QCursor::setPos(Global(viewportPos));
        return WaitUntil([this] { return view.testAttribute(Qt::WA_UnderMouse); });
    }
    // One wheel notch (or `delta`) at a viewport position; returns whether the event was accepted.
    bool Wheel(QPoint viewportPos, int delta = kNotch)
    {
        QWheelEvent event(QPointF(viewportPos), QPointF(Global(viewportPos)), QPoint(), QPoint(0, delta), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        event.ignore();
        QCoreApplication::sendEvent(view.viewport(), &event);
        return event.isAccepted();
    }
    void Mouse(QEvent::Type type, QPoint viewportPos, Qt::MouseButton button, Qt::MouseButtons buttons)
    {
        QMouseEvent event(type, viewportPos, Global(viewportPos), button, buttons, Qt::NoModifier);
        QCoreApplication::sendEvent(view.viewport(), &event);
    }
    void Key(QEvent::Type type, int key, bool autoRepeat = false, const QString& text = QString())
    {
        QKeyEvent event(type, key, Qt::NoModifier, text, autoRepeat);
        QCoreApplication::sendEvent(&view, &event);
    }

    static constexpr double kMinPercent = 10.0;
    static constexpr double kMaxPercent = 1600.0;
    static constexpr double kStepPercent = 10.0;
    static constexpr int kNotch = 120; // one notch of a common mouse wheel, in eighths of a degree

    std::shared_ptr<FakeController> controller; // outlives the view, which unregisters from it
    WorkspaceView view;
    bool exposed = false;
};

} // namespace Quelto::Lumindra::Test

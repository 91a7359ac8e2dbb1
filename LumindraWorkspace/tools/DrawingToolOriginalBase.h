#pragma once

#include <optional>
#include <vector>

#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QRectF>
#include <QSizeF>
#include <QTransform>

#include <boost/intrusive_ptr.hpp>

#include "LumindraWorkspace/WorkspaceExport.h"
#include "LumindraWorkspace/scene/SceneBackgroundMode.h"
#include "LumindraWorkspace/tools/IDrawingTool.h"
#include "photocore/IPhotoCoreDrawer.h"
#include "proc/IDataVideo.h"
#include "util/ImageUtils.h"

class QGraphicsItem;
class QGraphicsScene;
class QGraphicsView;

namespace Quelto::Lumindra {

class IScalableView;

// The base of the tools that show the image as opened together with the edited one. A tool works
// in one view, on the scene that view shows when the tool is made, and reads the editing core's
// frames through its drawer.
//
// Taking the scene over (ApplyChangesToScene) hides what the document shows (its canvas and the
// scene items), makes the scene rectangle the tool's content, sets the tool's background mode
// and fits the view. Destroying the tool removes its items and gives everything back: what was
// visible, the scene rectangle (that of the canvas's frame, should a new frame have come
// meanwhile), the background mode, and the zoom with the part of the picture in view (or fit
// mode). A reset of the workspace controller deletes the scene first: the tool then has
// nothing to give back and stays inert; every operation checks that the view and the scene are
// still there.
//
// As the view's drawing tool it consumes no input except Escape, which asks to leave the tool
// (cancelRequested). UI thread only.
class LUMINDRA_WORKSPACE_EXPORT DrawingToolOriginalBase : public QObject, public IDrawingTool {
    Q_OBJECT
public:
    DrawingToolOriginalBase(QGraphicsView& view, boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> drawer);
    ~DrawingToolOriginalBase() override;

    // IDrawingTool
    bool KeyPress(QKeyEvent* event) override;
    bool KeyRelease(QKeyEvent* event) override;
    bool Cancel() override;
    bool Leave(QEvent* event) override;
    bool MousePress(QMouseEvent* event) override;
    bool MouseMove(QMouseEvent* event) override;
    bool MouseRelease(QMouseEvent* event) override;
    bool MouseDoubleClick(QMouseEvent* event) override;
    void HandModeEnded() override;

    // Whether the tool shows something (it was built and its scene is still there).
    bool IsShown() const;

Q_SIGNALS:
    // The tool could not be built: the original or the current frame is not there. Emitted from
    // the constructor of the tool (registered with the objects connector there); the tool then
    // adds nothing.
    void errorCreate();
    // Escape was pressed: the person wants to leave the tool.
    void cancelRequested();
    // To the workspace scenes (through the objects connector): how to paint the background.
    void sceneBgModeChanged(SceneBackgroundMode mode);

protected:
    QGraphicsView* GetView() const { return view_.data(); }
    // Null once the scene is gone.
    QGraphicsScene* GetScene() const { return scene_.data(); }
    // Null when the view is not zoomable.
    IScalableView* GetScalableView() const;
    const boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer>& GetDrawer() const { return drawer_; }
    const Util::ImageUtils& GetImageUtils() const { return imageUtils_; }

    // The item transform that turns `original` (the image as opened) to the orientation of the
    // current state, its top-left corner at the origin, so that a turned or mirrored edit is
    // compared upright. The identity when the edits did not turn it or are not known.
    QTransform AdjustRotationToCurrent(const Proc::DataVideoPtr& original) const;
    // The item transform that lays `original` exactly under `current`, pixel on pixel (turned,
    // mirrored and shifted by the crop). None when where the edits moved the pixels is unknown.
    std::optional<QTransform> MapOriginalOntoCurrent(const Proc::DataVideoPtr& original,
                                                     const Proc::DataVideoPtr& current) const;

    // The image as opened and the current picture, when both are there and the view shows a
    // scene to put them in; otherwise false, after FailCreate.
    bool TakeFrames(Proc::DataVideoPtr& original, Proc::DataVideoPtr& current);
    // The tool cannot be built: logs why and emits errorCreate().
    void FailCreate(const char* reason);

    // Adds a top-level item of the tool to the scene; the tool owns it from now on.
    void AddToScene(QGraphicsItem* item);
    // Removes and deletes an item added with AddToScene.
    void DeleteFromScene(QGraphicsItem* item);
    // Takes the scene over for a content of `size` (scene units, from the origin) painted with
    // `mode`, and fits the view to it. The first call remembers what to give back.
    void ApplyChangesToScene(const QSizeF& size, SceneBackgroundMode mode);
    // Deletes the tool's items and gives the scene and the zoom back; once. A tool calls it in its
    // own destructor, while its slots may still be called by what the restoring sets off (a
    // zoom); the base's destructor calls it for tools that did not.
    void RestoreScene();

private:
    // What ApplyChangesToScene changed, to be given back.
    struct Saved {
        QRectF sceneRect;
        SceneBackgroundMode mode = SceneBackgroundMode::Canvas;
        std::vector<QGraphicsItem*> hidden; // compared with live items only, never dereferenced blind
        bool fitToView = false;
        double percent = 100.0;
        QPoint scroll; // the scroll bars' values: exact where the scene rectangle is the same again
    };

    QPointer<QGraphicsView> view_;
    QPointer<QGraphicsScene> scene_;
    boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> drawer_;
    Util::ImageUtils imageUtils_;
    std::vector<QGraphicsItem*> items_; // top-level items of the tool; the scene deletes them if it goes first
    std::optional<Saved> saved_;
};

} // namespace Quelto::Lumindra

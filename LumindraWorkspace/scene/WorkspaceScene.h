#pragma once

#include <string>

#include <QColor>
#include <QPointer>
#include <QRectF>

#include <boost/intrusive_ptr.hpp>

#include "LumindraWorkspace/WorkspaceExport.h"
#include "LumindraWorkspace/scene/CanvasItem.h"
#include "LumindraWorkspace/scene/IScene.h"
#include "LumindraWorkspace/scene/SceneBackgroundMode.h"
#include "photocore/IDrawable.h"
#include "photocore/IPhotoCoreDrawer.h"
#include "proc/CropInfo.h"
#include "proc/IDataVideo.h"
#include "util/ImageUtils.h"

namespace Quelto::Lumindra {

namespace LumindraSceneItem {
class BorderDashItem;
}

class IDragAndDrop;
class IWorkspaceController;

// The graphics scene of one open document. It owns the document's CanvasItem (marked as the
// main canvas) and a dashed-outline item, and holds the scene items that tools place (shapes,
// text). It paints the workspace colour around the picture, and under the parts of scene items
// that reach beyond the picture the background colour those items ask for. For the editing
// core it is the IDrawable that renders the scene items as an image (GetVideo).
//
// Threads: the UI thread only, except GetVideo, which the core may call on its rendering thread:
// such a call renders on the UI thread and blocks until it is done, so the UI thread must not
// wait for the calling thread meanwhile.
class LUMINDRA_WORKSPACE_EXPORT WorkspaceScene : public IScene, private PhotoCore::IDrawable {
    Q_OBJECT
public:
    // `controller` may be null (a scene with an empty canvas and no drawer).
    WorkspaceScene(const Util::ImageUtils& imageUtils, IWorkspaceController* controller, QObject* parent);
    // Resets the first view to 100 % (without its drag tip) and detaches from the drawer.
    ~WorkspaceScene() override;

    // The main canvas of `scene` (the topmost item marked so), or null.
    static QGraphicsItem* GetMainCanvas(QGraphicsScene* scene);
    static bool IsMainCanvas(const QGraphicsItem* item);

    // The workspace colour; it is painted by drawBackground, the scene's own brush stays
    // transparent.
    // Misspelt on purpose: callers outside the module use this name.
    void SetBackgroungColor(const QColor& color);
    const QColor& GetSceneColor() const { return sceneColor_; }
    // The receiver of external data dropped where no scene item takes it; not owned; may be null.
    void SetDragAndDrop(IDragAndDrop* dragAndDrop);
    // Shows the drawer's current frame on the canvas.
    void Update() const;
    CanvasItem* GetCanvas() const { return canvas_.data(); }
    SceneBackgroundMode GetBackgroundMode() const { return backgroundMode_; }

    // The picture's rectangle (or, in TopItem mode, the topmost item's), extended by the scene
    // items that reach beyond it; scene coordinates.
    QRectF GetBackgroundRect() override;
    // The scene items (and the canvas, unless the drawer gives a frame to draw in its place)
    // over a transparent ground, for the background rectangle less `crop`; null when that is
    // empty.
    boost::intrusive_ptr<Proc::IDataVideo> GetVideo(const Proc::CropInfo& crop) override;
    // Whether a visible scene item would be drawn over the picture.
    bool HasOverlayItems() const override;
    // The margins between the background rectangle and the canvas (the picture), in whole pixels.
    Proc::CropInfo GetPictureCrop() override;

public Q_SLOTS:
    // Takes effect at the next paint.
    void onSceneBgModeChanged(SceneBackgroundMode mode);
    // Emits copySceneItemsStarted with the selected scene items as text; nothing when none is
    // selected.
    void onCopySelectedSceneItemsToClipboard();
    // Adds the items described by `text` (as copySceneItemsStarted gives it), selected, with
    // the top-left corner of their joint bounding rectangle at `position`. Damaged text is
    // refused as a whole with a warning.
    void onPasteSelectedSceneItemsFromClipboard(const std::string& text, const QPointF& position);

Q_SIGNALS:
    // true before and false after GetVideo renders the scene.
    void renderingStarted(bool started);
    void copySceneItemsStarted(const std::string& text);

protected:
    void dragEnterEvent(QGraphicsSceneDragDropEvent* event) override;
    void dragMoveEvent(QGraphicsSceneDragDropEvent* event) override;
    void dropEvent(QGraphicsSceneDragDropEvent* event) override;
    void drawBackground(QPainter* painter, const QRectF& rect) override;
    void drawForeground(QPainter* painter, const QRectF& rect) override;

private:
    // Extends `rect` by the visible items that reach beyond the picture, refreshes the dashed
    // outline, stores the result as the background rect (one full update when it changed) and
    // returns the background colour those items ask for (transparent when none).
    QColor RecalculateBackground(QRectF rect);
    QRectF TopItemRect() const;
    boost::intrusive_ptr<Proc::IDataVideo> GetVideoFromOtherThread(const Proc::CropInfo& crop);
    bool SceneItemTakesDrops(const QPointF& scenePos) const;

    const Util::ImageUtils& imageUtils_;
    boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> drawer_;
    QPointer<CanvasItem> canvas_;                      // owned by the scene as an item
    LumindraSceneItem::BorderDashItem* borderDashItem_; // owned by the scene as an item
    SceneBackgroundMode backgroundMode_ = SceneBackgroundMode::Canvas;
    QRectF backgroundRect_; // the last computed background rect, scene coordinates
    bool rendering_ = false; // set while GetVideo renders: no background or foreground of our own
    QColor sceneColor_;
    IDragAndDrop* dragAndDrop_ = nullptr; // not owned
};

} // namespace Quelto::Lumindra

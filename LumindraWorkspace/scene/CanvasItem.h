#pragma once

#include <QGraphicsPixmapItem>
#include <QObject>
#include <QPixmap>

#include <memory>

#include <boost/intrusive_ptr.hpp>

#include "LumindraWorkspace/WorkspaceExport.h"
#include "LumindraWorkspace/scene/DrawerEventHandlerUI.h"
#include "photocore/IPhotoCoreDrawer.h"
#include "proc/FrameInfo.h"
#include "proc/IDataVideo.h"
#include "proc/IEffect.h"
#include "util/ImageUtils.h"

class QGraphicsScene;

namespace Quelto::Lumindra {

class IWorkspaceController;

// The graphics item that shows the open document's picture: the editing core's latest frame.
//
// The displayed pixmap is the full-resolution frame. At any zoom other than 100 % (and unless
// the view is zoomed in on a picture that overflows the viewport both ways) paint() draws
// instead a copy that the core's resizer scaled to exactly the on-screen size in device
// pixels, drawn 1:1; that copy is cached and rebuilt only when the on-screen size or the frame
// changes. A null frame is never shown: the previous picture stays.
//
// Resizing a large frame takes tens of milliseconds, so it runs on a pool thread, one resize
// at a time per item, the newest wish winning; until it arrives, paint() draws a stand-in (the
// previous copy, or the nearest larger reduced level) scaled by the painter, and the item
// repaints itself when the copy is ready. Small frames are resized at once.
//
// Threads: everything but the resize itself runs on the UI thread. The core's threads reach
// the item only through the DrawerEventHandlerUI part, which copies each drawer event and
// re-issues it here. While a resize runs, the resizer belongs to it: swap it (GetResizer())
// only when HasPendingResize() is false.
class LUMINDRA_WORKSPACE_EXPORT CanvasItem : public QObject, public QGraphicsPixmapItem, public DrawerEventHandlerUI {
    Q_OBJECT
public:
    // Shows one fixed frame and belongs to no document (previews): no drawer events, no
    // objects-connector receivers, no z-value.
    CanvasItem(const Util::ImageUtils& imageUtils, const boost::intrusive_ptr<Proc::IDataVideo>& frame,
               QObject* parent);
    // The document's canvas: follows the controller's drawer (drawer events and the
    // RESET_FRAME / SHOW_IMAGE_WITH_MASK messages) from construction to destruction.
    CanvasItem(const Util::ImageUtils& imageUtils, IWorkspaceController* controller, QObject* parent);
    ~CanvasItem() override;

    const boost::intrusive_ptr<Proc::IDataVideo>& GetFrame() const { return frame_; }
    const boost::intrusive_ptr<Proc::IDataVideo>& GetFrameView() const { return frameView_; }
    const QPixmap& GetPixmapView() const { return pixmapView_; }
    const boost::intrusive_ptr<Proc::IOneInputEffectVideo>& GetResizer() const { return resizer_; }
    // Lets the owner swap the scaling effect (for example one that counts or logs its work).
    boost::intrusive_ptr<Proc::IOneInputEffectVideo>& GetResizer() { return resizer_; }
    const Util::ImageUtils& GetImageUtils() const { return imageUtils_; }
    // Whether a resize runs on a pool thread; the item repaints itself when it ends.
    bool HasPendingResize() const { return running_.frame || next_.frame; }
    IWorkspaceController* GetWorkspaceController() const { return workspaceController_; }

    // Only stores the pointer: no re-registration, no new drawer.
    void SetWorkspaceController(IWorkspaceController* controller) { workspaceController_ = controller; }
    // Tools that size the scene themselves switch the adaptation off.
    void SetAdaptSceneToFrameChange(bool adapt) { adaptSceneToFrameChange_ = adapt; }

    static void SetSceneRect(QGraphicsScene* scene, const Conf::FrameInfo& info);

    // Shows the drawer's current frame (with or without the mask overlay, as set).
    void Update();

    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

protected:
    void HandleFrameInternal(const PhotoCore::IDrawerEventHandler::DrawerEventFrame& event) override;
    void HandleFrameTemporaryInternal(const PhotoCore::IDrawerEventHandler::DrawerEventFrameTemporary& event) override;

    // The copy of the frame scaled to `target` with device pixel ratio `ratio`: the cached one
    // when it has that size; else a small frame is resized now, a large one on a pool thread
    // while a stand-in is returned (see DrawResized). Null when the resizer failed.
    const QPixmap& ScaledPixmap(const Conf::FrameInfo& target, double ratio);
    // Painting into an image (a snapshot at another scale than the view's): the nearest larger
    // reduced level, scaled by the painter; the view's cached copy is left alone.
    void PaintFromLevels(QPainter* painter);
    // Zoom factors this close to 1 count as 100 %: the full pixmap is drawn as it is.
    static bool IsUnitScale(double scale);
    // The copy for an on-screen size of `width` x `height` view pixels at zoom `scale`, in the
    // device pixels of `widget`'s screen, or its stand-in. Null when Qt's own painting should
    // draw instead: zoomed in on a picture that overflows `viewport` (if any) both ways.
    const QPixmap* ResizedPixmap(double width, double height, double scale, const QWidget* viewport,
                                 QWidget* widget);
    // Draws what ResizedPixmap returned at the painter's origin, `width` x `height` view pixels:
    // the copy pixel for pixel, a stand-in scaled without smoothing.
    static void DrawResized(QPainter* painter, const QPixmap& pixmap, double width, double height);

private Q_SLOTS:
    void ResetFrame();
    void OnShowVideoWithMaskChanged(bool showVideoWithMask, bool force);

private:
    struct ResizeMailbox;
    // One resize request: the frame and the device-pixel size wanted for it.
    struct ResizeWish {
        boost::intrusive_ptr<Proc::IDataVideo> frame;
        Conf::FrameInfo target;
        double ratio = 1.0;
    };

    void SetFrame(const boost::intrusive_ptr<Proc::IDataVideo>& frame);
    // The nearest reduced level of the frame that is at least `width` x `height` (the frame
    // itself when none is).
    boost::intrusive_ptr<const Proc::IDataVideo> NearestLevel(double width, double height) const;
    // What to draw while the copy for `target` is being made.
    const QPixmap& StandIn(const Conf::FrameInfo& target);
    // The resizer, reset first if the frame format changed while it was busy.
    Proc::IOneInputEffectVideo& ReadyResizer();
    void StartResize();
    void ResizeDone(const ResizeWish& wish, const boost::intrusive_ptr<Proc::IDataVideo>& scaled);
    void InstallView(const ResizeWish& wish, const boost::intrusive_ptr<Proc::IDataVideo>& scaled);

    const Util::ImageUtils& imageUtils_;
    IWorkspaceController* workspaceController_ = nullptr; // not owned
    boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> drawer_;
    boost::intrusive_ptr<Proc::IDataVideo> frame_; // the full-resolution frame shown
    bool showVideoWithMask_ = true;
    bool adaptSceneToFrameChange_ = true;
    boost::intrusive_ptr<Proc::IOneInputEffectVideo> resizer_;
    int lastFrameFormat_ = -1; // a change resets the resizer, so no state of another format is reused
    boost::intrusive_ptr<Proc::IDataVideo> frameView_; // frame_ scaled to the on-screen size
    QPixmap pixmapView_;                               // frameView_ as a pixmap, device pixel ratio set
    ResizeWish running_;        // what a pool thread is resizing (it owns the resizer); frame null if idle
    ResizeWish next_;           // the newest copy asked for while one runs; frame null if none
    bool resizerStale_ = false; // reset the resizer before its next use (the format changed meanwhile)
    QPixmap standIn_;            // the reduced level drawn while the first copy of a frame is made
    std::shared_ptr<ResizeMailbox> mailbox_; // how a finished resize finds this item, if alive
};

} // namespace Quelto::Lumindra

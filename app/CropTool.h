#pragma once

#include <functional>

#include <QPointF>
#include <QRectF>

#include "LumindraWorkspace/tools/IDrawingTool.h"

class QGraphicsRectItem;
class QGraphicsView;

namespace Quelto::Lumindra::App {

// Crop by dragging a rectangle over the picture: press and drag draws it (clamped to the
// picture), Enter applies it, Escape cancels. Takes the view's input while active. UI thread.
//
// The selection is kept as fractions of the picture, because the picture on the scene changes
// size under the tool when the full frame replaces the preview: the region drawn on either is
// the same region of the photo.
class CropTool : public IDrawingTool {
public:
    // Receives the selection as fractions of the picture's width and height.
    using ApplyFn = std::function<void(const QRectF& relative)>;
    using FinishedFn = std::function<void()>;

    CropTool(QGraphicsView& view, const QRectF& picture, ApplyFn apply, FinishedFn finished);
    ~CropTool() override;

    bool KeyPress(QKeyEvent* event) override;
    bool KeyRelease(QKeyEvent* event) override;
    bool Cancel() override;
    bool Leave(QEvent* event) override;
    bool MousePress(QMouseEvent* event) override;
    bool MouseMove(QMouseEvent* event) override;
    bool MouseRelease(QMouseEvent* event) override;
    bool MouseDoubleClick(QMouseEvent* event) override;
    void HandModeEnded() override;

    // The picture's new place on the scene (a frame of another size is shown); the selection
    // follows it.
    void SetPicture(const QRectF& picture);
    // The rectangle chosen so far, in the scene units of the picture shown (empty before a drag).
    QRect GetSelection() const;
    // The same as fractions of the picture (empty before a drag).
    QRectF GetRelativeSelection() const;

    // `relative` in the pixels of a picture of `size`, kept inside it.
    static QRect ToPixels(const QRectF& relative, const QSize& size);

private:
    QPointF ToRelative(const QPoint& viewPos) const;
    void UpdateItem();

    QGraphicsView& view_;
    QRectF picture_;
    ApplyFn apply_;
    FinishedFn finished_;
    QGraphicsRectItem* item_ = nullptr;
    QPointF anchor_; // fractions of the picture
    QPointF corner_;
    bool dragging_ = false;
};

} // namespace Quelto::Lumindra::App

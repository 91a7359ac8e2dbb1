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
class CropTool : public IDrawingTool {
public:
    using ApplyFn = std::function<void(const QRect& rect)>;
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

    // The rectangle chosen so far, in picture pixels (empty before a drag).
    QRect GetSelection() const;

private:
    QPointF ToPicture(const QPoint& viewPos) const;
    void UpdateItem(const QPointF& to);

    QGraphicsView& view_;
    QRectF picture_;
    ApplyFn apply_;
    FinishedFn finished_;
    QGraphicsRectItem* item_ = nullptr;
    QPointF anchor_;
    bool dragging_ = false;
};

} // namespace Quelto::Lumindra::App

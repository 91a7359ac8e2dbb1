#pragma once

#include "LumindraWorkspace/WorkspaceExport.h"
#include "LumindraWorkspace/tools/DrawingToolOriginalBase.h"

class QGraphicsItemGroup;
class QGraphicsLineItem;
class QGraphicsRectItem;

namespace Quelto::Lumindra {

// The before/after comparison over one picture: the edited picture where it is, and over its left
// part, up to a vertical divider, the image as opened laid pixel on pixel under it (turned,
// mirrored and cut as the edits did). A left press anywhere moves the divider to the pointer and
// drags it; it starts in the middle. The scene is the picture's own size, so zoom and scrolling
// work as on the picture itself.
//
// A missing frame, or edits whose geometry is unknown (the original cannot be aligned), emit
// errorCreate() from the constructor and leave the scene untouched. UI thread only.
class LUMINDRA_WORKSPACE_EXPORT DrawingToolCompareSplit : public DrawingToolOriginalBase {
    Q_OBJECT
public:
    // The divider's item data under key 0.
    static const char* const DIVIDER_KEY;

    DrawingToolCompareSplit(QGraphicsView& view, boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> drawer);
    ~DrawingToolCompareSplit() override;

    // Where the divider stands, in scene units from the picture's left edge.
    double GetDividerPosition() const { return divider_; }
    // Moves the divider, clamped to the picture.
    void SetDividerPosition(double x);

    bool MousePress(QMouseEvent* event) override;
    bool MouseMove(QMouseEvent* event) override;
    bool MouseRelease(QMouseEvent* event) override;
    bool Leave(QEvent* event) override;

private:
    // Whether a viewport point is close enough to the divider to grab it.
    bool IsNearDivider(const QPoint& viewportPoint) const;

    double width_ = 0.0;
    double height_ = 0.0;
    double divider_ = 0.0;
    bool dragging_ = false;
    // Owned by the group, which the scene owns; valid while the scene is there.
    QGraphicsRectItem* clip_ = nullptr;
    QGraphicsLineItem* line_ = nullptr;
    QGraphicsItemGroup* group_ = nullptr;
};

} // namespace Quelto::Lumindra

#pragma once

#include <QPointer>

#include "LumindraWorkspace/WorkspaceExport.h"
#include "LumindraWorkspace/tools/DrawingToolOriginalBase.h"

class QGraphicsItemGroup;
class QGraphicsLineItem;

namespace Quelto::Lumindra {

class CanvasItem;

// The before/after comparison side by side: the image as opened on the left (turned as the
// edits turned it), the edited picture on the right, both centred on the taller one, and a thin
// dark separator between them that always runs through the whole visible height of the view.
// The gap on each side of the separator is 24 screen pixels at the zoom that fits both pictures
// (never less than 3.4 scene units for tiny pictures), and the same gap is the margin left and
// right. The layout is made once, in the constructor; afterwards only the separator's length
// follows zoom, resize and vertical scrolling.
//
// A missing original or current frame emits errorCreate() from the constructor and leaves the
// scene untouched. UI thread only.
class LUMINDRA_WORKSPACE_EXPORT DrawingToolCompareImages : public DrawingToolOriginalBase {
    Q_OBJECT
public:
    // The separator's item data under key 0, by which other code recognises it.
    static const char* const SEPARATOR_KEY;

    DrawingToolCompareImages(QGraphicsView& view, boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> drawer);
    ~DrawingToolCompareImages() override;

private Q_SLOTS:
    // Stretches the separator over the visible height of the view.
    void UpdateSeparatorLine();

private:
    void LayoutImages(const Proc::DataVideoPtr& original, const Proc::DataVideoPtr& current);

    // Owned by the group, which the scene owns; valid while the scene is there.
    CanvasItem* left_ = nullptr;
    CanvasItem* right_ = nullptr;
    QGraphicsLineItem* separator_ = nullptr;
    QGraphicsItemGroup* group_ = nullptr;
};

} // namespace Quelto::Lumindra

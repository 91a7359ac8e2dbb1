#pragma once

#include "LumindraWorkspace/WorkspaceExport.h"
#include "LumindraWorkspace/scene/CanvasItem.h"

namespace Quelto::Lumindra {

// A canvas item that may itself be scaled and rotated (tools that lay pictures out, such as a
// side-by-side comparison). It differs from CanvasItem only in paint(): the zoom factor is the
// length of the first row of the transform the item is drawn with (its own scale and rotation
// and the view's zoom together), and the resized copy is drawn with that scale divided out, so
// the rotation is kept. UI thread only, like CanvasItem.
class LUMINDRA_WORKSPACE_EXPORT TransformableCanvasItem : public CanvasItem {
    Q_OBJECT
public:
    TransformableCanvasItem(const Util::ImageUtils& imageUtils, const boost::intrusive_ptr<Proc::IDataVideo>& frame,
                            QObject* parent);
    TransformableCanvasItem(const Util::ImageUtils& imageUtils, IWorkspaceController* controller, QObject* parent);

    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;
};

} // namespace Quelto::Lumindra

#pragma once

#include <QGraphicsScene>
#include <QRectF>

#include "LumindraWorkspace/WorkspaceExport.h"

namespace Quelto::Lumindra {

// The graphics scene of one open document.
class LUMINDRA_WORKSPACE_EXPORT IScene : public QGraphicsScene {
    Q_OBJECT
public:
    using QGraphicsScene::QGraphicsScene;
    // The rectangle, in scene coordinates, whose surroundings are painted in the workspace colour:
    // the picture, extended by the items that reach beyond it.
    virtual QRectF GetBackgroundRect() = 0;
};

} // namespace Quelto::Lumindra

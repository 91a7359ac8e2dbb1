#include "LumindraWorkspace/scene/WorkspaceScenePropertyHelper.h"

#include <QStyle>

namespace Quelto::Lumindra {

WorkspaceScenePropertyHelper::WorkspaceScenePropertyHelper(QWidget* parent)
    : QWidget(parent, Qt::WindowFlags())
{
}

void WorkspaceScenePropertyHelper::PrepareHelper()
{
    style()->unpolish(this);
    style()->polish(this);
    hide();
}

} // namespace Quelto::Lumindra

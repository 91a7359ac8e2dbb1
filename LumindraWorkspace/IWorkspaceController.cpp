#include "LumindraWorkspace/IWorkspaceController.h"

namespace Quelto::Lumindra {

// JPEG keeps the start page's previews small; the start page reads any format Qt can.
const QString IWorkspaceController::PREVIEW_NAME = QStringLiteral("preview.jpg");

} // namespace Quelto::Lumindra

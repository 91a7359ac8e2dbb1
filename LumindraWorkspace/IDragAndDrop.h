#pragma once

#include "LumindraWorkspace/WorkspaceExport.h"

class QMimeData;

namespace Quelto::Lumindra {

// Receives external data dropped on the workspace (files, pictures). Set by the host.
class LUMINDRA_WORKSPACE_EXPORT IDragAndDrop {
public:
    virtual ~IDragAndDrop() = default;
    virtual bool CanAccept(const QMimeData* data) const = 0;
    // Takes the data; true when it was used.
    virtual bool Drop(const QMimeData* data) = 0;
};

} // namespace Quelto::Lumindra

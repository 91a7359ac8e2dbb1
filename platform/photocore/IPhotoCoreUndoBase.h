#pragma once

#include <string>
#include <vector>

#include <boost/intrusive_ptr.hpp>

#include "core/RefCounted.h"

namespace Quelto::Lumindra::PhotoCore {

// The edit history of a core. Thread-safe; Undo and Redo queue a render and return at once.
class IPhotoCoreUndoBase : public virtual Core::IRefCounted {
public:
    virtual bool CanUndo() const = 0;
    virtual bool CanRedo() const = 0;
    virtual void Undo() = 0;
    virtual void Redo() = 0;
    virtual int GetUndoCount() const = 0;
    virtual int GetRedoCount() const = 0;
    // Display names of the steps, oldest first.
    virtual std::vector<std::string> GetHistory() const = 0;
};

} // namespace Quelto::Lumindra::PhotoCore

#pragma once

#include <memory>
#include <string>

#include "core/Exception.h"

namespace Quelto::Lumindra::PhotoCore {

// Receives the editing core's state events. Called on the core's own threads (or on the thread
// that publishes), never assume the UI thread. Default bodies do nothing.
class ICoreEventHandler {
public:
    // An error to show to the user.
    struct ThrowEvent {
        ThrowEvent() = default;
        explicit ThrowEvent(std::shared_ptr<const Core::Exception> exception, std::string fileName = {})
            : text(exception ? exception->GetDescription() : std::string()),
              fileName(std::move(fileName)), code(exception ? exception->GetCode() : 0),
              exception(std::move(exception))
        {
        }
        std::string text;     // readable description
        std::string fileName; // the file concerned (UTF-8), may be empty
        int code = 0;
        std::shared_ptr<const Core::Exception> exception; // the original, for its dynamic type
    };

    // Loading progressed: stage LOAD_PREVIEW when the reduced preview is ready, LOAD_FULL when
    // the full-resolution frame is, LOAD_FAILED when the full decode failed after the preview.
    struct CoreEventLoaded {
        enum Stage { LOAD_PREVIEW = 0, LOAD_FULL = 1, LOAD_FAILED = 2 };
        std::string text;
        std::string fileName;
        int stage = LOAD_PREVIEW;
    };

    // The saved state or the history changed (after an edit, an undo, a save).
    struct CoreEventStateChanged {
        std::string text;
        std::string description;
        bool saved = true;
        int undoCount = 0;
        int redoCount = 0;
    };

    virtual ~ICoreEventHandler() = default;
    virtual void HandleThrow(const ThrowEvent&) {}
    virtual void HandleLoaded(const CoreEventLoaded&) {}
    virtual void HandleStateChanged(const CoreEventStateChanged&) {}
};

} // namespace Quelto::Lumindra::PhotoCore

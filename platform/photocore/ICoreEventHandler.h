#pragma once

#include <cstdint>
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

    // A job of the core ended: opening (the full decode), rendering the history, a snapshot of
    // the session, or a save. `success` false comes with a reason a person can read.
    struct CoreEventJobDone {
        enum Kind { JOB_OPEN = 0, JOB_RENDER = 1, JOB_SNAPSHOT = 2, JOB_SAVE = 3 };
        std::uint64_t id = 0;
        int kind = JOB_OPEN;
        bool success = true;
        int code = 0;         // the job's own result code (a save's SaveResult)
        std::string text;     // what was done, for logs and status lines
        std::string reason;   // why it failed; empty on success
        std::string fileName; // the file concerned (UTF-8), may be empty
    };

    virtual ~ICoreEventHandler() = default;
    virtual void HandleThrow(const ThrowEvent&) {}
    virtual void HandleLoaded(const CoreEventLoaded&) {}
    virtual void HandleStateChanged(const CoreEventStateChanged&) {}
    virtual void HandleJobDone(const CoreEventJobDone&) {}
};

} // namespace Quelto::Lumindra::PhotoCore

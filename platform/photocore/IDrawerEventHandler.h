#pragma once

#include <string>
#include <utility>

#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoCore {

// Receives what the core's drawer did. Called on the core's render threads; handlers that
// touch the UI must hop to the UI thread themselves. Each event holds two texts (what happened,
// and a detail) and an integer field; the callbacks stand in a fixed order that UI dispatchers
// mirror. Default bodies do nothing.
class IDrawerEventHandler {
public:
    // The history changed; `value` is the number of steps that can be undone.
    struct DrawerEventUndo {
        DrawerEventUndo() = default;
        DrawerEventUndo(std::string text, std::string detail, int value)
            : text(std::move(text)), detail(std::move(detail)), value(value) {}
        std::string text, detail;
        int value = 0;
    };
    // A final frame is ready: `frameIndex` (-1 the current frame) and `reason` (FrameReason).
    struct DrawerEventFrame {
        enum FrameReason { REASON_EDIT = 0, REASON_LOADED = 1, REASON_UNDO = 2, REASON_REDO = 3,
                           REASON_PREVIEW_END = 4, REASON_SIZE = 5, REASON_RESET = 6 };
        DrawerEventFrame() = default;
        DrawerEventFrame(std::string text, std::string detail, int frameIndex, int reason)
            : text(std::move(text)), detail(std::move(detail)), frameIndex(frameIndex), reason(reason) {}
        std::string text, detail;
        int frameIndex = -1;
        int reason = 0;
    };
    // The image became saved (value 0) or unsaved (value 1).
    struct DrawerEventChangeToSave {
        DrawerEventChangeToSave() = default;
        DrawerEventChangeToSave(std::string text, std::string detail, int value)
            : text(std::move(text)), detail(std::move(detail)), value(value) {}
        std::string text, detail;
        int value = 0;
    };
    // An intermediate frame (loading preview, a value being dragged); the frame travels along.
    struct DrawerEventFrameTemporary {
        DrawerEventFrameTemporary() = default;
        DrawerEventFrameTemporary(std::string text, std::string detail, int value, Proc::DataVideoPtr frame)
            : text(std::move(text)), detail(std::move(detail)), value(value), frame(std::move(frame)) {}
        std::string text, detail;
        int value = 0;
        Proc::DataVideoPtr frame;
    };
    // The foreground (mask overlay) changed.
    struct DrawerEventForeground {
        DrawerEventForeground() = default;
        DrawerEventForeground(std::string text, std::string detail, int value)
            : text(std::move(text)), detail(std::move(detail)), value(value) {}
        std::string text, detail;
        int value = 0;
    };
    // The active tool of the core changed to `value`.
    struct DrawerEventToolIdChange {
        DrawerEventToolIdChange() = default;
        DrawerEventToolIdChange(std::string text, std::string detail, int value)
            : text(std::move(text)), detail(std::move(detail)), value(value) {}
        std::string text, detail;
        int value = 0;
    };
    // A shape item of the core was added, changed or removed.
    struct DrawerEventShapeItem {
        DrawerEventShapeItem() = default;
        DrawerEventShapeItem(std::string text, std::string detail, int value)
            : text(std::move(text)), detail(std::move(detail)), value(value) {}
        std::string text, detail;
        int value = 0;
    };

    virtual ~IDrawerEventHandler() = default;
    virtual void HandleUndo(const DrawerEventUndo&) {}
    virtual void HandleFrame(const DrawerEventFrame&) {}
    virtual void HandleChangeToSave(const DrawerEventChangeToSave&) {}
    virtual void HandleFrameTemporary(const DrawerEventFrameTemporary&) {}
    virtual void HandleForeground(const DrawerEventForeground&) {}
    virtual void HandleToolIdChange(const DrawerEventToolIdChange&) {}
    virtual void HandleShapeItem(const DrawerEventShapeItem&) {}
};

} // namespace Quelto::Lumindra::PhotoCore

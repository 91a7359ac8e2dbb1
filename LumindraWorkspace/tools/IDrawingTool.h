#pragma once

#include "LumindraWorkspace/WorkspaceExport.h"

class QKeyEvent;
class QMouseEvent;
class QEvent;

namespace Quelto::Lumindra {

// A tool that draws over the workspace and takes the view's input first. Each handler returns
// true when it consumed the event. UI thread only.
class LUMINDRA_WORKSPACE_EXPORT IDrawingTool {
public:
    virtual ~IDrawingTool() = default;
    virtual bool KeyPress(QKeyEvent* event) = 0;
    virtual bool KeyRelease(QKeyEvent* event) = 0;
    virtual bool Cancel() = 0;
    virtual bool Leave(QEvent* event) = 0;
    virtual bool MousePress(QMouseEvent* event) = 0;
    virtual bool MouseMove(QMouseEvent* event) = 0;
    virtual bool MouseRelease(QMouseEvent* event) = 0;
    virtual bool MouseDoubleClick(QMouseEvent* event) = 0;
    // Hand (drag) mode has ended.
    virtual void HandModeEnded() = 0;
};

} // namespace Quelto::Lumindra

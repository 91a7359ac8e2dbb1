#pragma once

#include <QString>

namespace Quelto::Lumindra::LumindraInt {

// Identifiers that the host application defines and the workspace module registers with.
struct IObjectsConnectorID {
    static const QString OPEN_FILE;
    static const QString THROW;
    static const QString BEFORE_RESET_WORKSPACECONTROLLER;
    static const QString WORKSPACECONTROLLER_EMPTY;
    static const QString EMULATE_USERCLICK_TOOL;
    static const QString GET_WORKSPACE_CONTROLLER;
    static const QString ACTIVATE_TOOL_WIDGET;
    static const QString RENDERING_STARTED;
    static const QString LOCALE_CHANGED;
    static const QString RESET_FRAME;
    static const QString SHOW_IMAGE_WITH_MASK;
    static const QString COMPARE_IS_ACTIVE;
    static const QString COMPARE_TOOL_ERROR_CREATE;
    static const QString HOTKEY_ACTIVATED;
    static const QString ABOUT_TO_SAVE_SESSION;
    static const QString UI_CONTROL_USED;
    static const QString SET_WORKSPACE_FOCUS;
    static const QString BRUSH_SIZE_CHANGED;
    static const QString SCALE_CANCHED; // misspelt on purpose: the host's interface fixes this name
    static const QString GUIDE_WIDGET_ACTIVATED;
    static const QString GET_INFOTIP_MANAGER;
    static const QString COPY_SELECTED_SCENE_ITEMS_TO_CLIPBOARD;
};

} // namespace Quelto::Lumindra::LumindraInt

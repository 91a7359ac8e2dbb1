#pragma once

#include <QString>

#include "LumindraWorkspace/WorkspaceExport.h"
#include "util/HostObjectsConnectorID.h"

namespace Quelto::Lumindra::Workspace {

// The objects-connector identifiers that the workspace module defines; each value equals its name.
struct LUMINDRA_WORKSPACE_EXPORT IObjectsConnectorID {
    static const QString ADD_FILES_ASSISTANT_MODE;
    static const QString ADD_FILES_EDITOR_MODE;
    static const QString COPY_SCENE_ITEMS;
    static const QString DRAG_TIPS_ENABLED;
    static const QString FILE_PRELOAD_REQUEST;
    static const QString FOLDER_EMPTY;
    static const QString GET_BAND_VISIBLE_CONTROLLER;
    static const QString NEXT_FILE_ARROW;
    static const QString NEXT_FILE_PAGE;
    static const QString OPEN_FILE_IMAGE_DROP;
    static const QString OPEN_FILE_IMAGE_PASTE;
    static const QString PASTE_SCENE_ITEMS;
    static const QString POP_WORKSPACECONTROLLER;
    static const QString PREVIOUS_FILE_ARROW;
    static const QString PREVIOUS_FILE_PAGE;
    static const QString PUSH_WORKSPACECONTROLLER;
    static const QString REQUEST_ASSISTANT_MODE;
    static const QString REQUEST_EDITOR_MODE;
    static const QString RESET_WORKSPACECONTROLLER_CACHE;
    static const QString SCENE_BACKGROUND_MODE_CHANGED;
    static const QString SELECT_FILE_ASSISTANT_MODE;
    static const QString WORKSPACE_CHANGED;
};

} // namespace Quelto::Lumindra::Workspace

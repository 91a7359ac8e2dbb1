#pragma once

#include <string>

namespace Quelto::Lumindra::PhotoCore {

// Identifiers of the editor's tools.
class IToolsId {
public:
    enum ToolId { TOOL_NONE = -1, TOOL_CROP = 1, TOOL_ROTATE = 2, TOOL_ADJUST = 3, TOOL_COMPARE = 4, TOOL_TEXT = 5,
                  TOOL_SHAPE = 6 };
    // -1 for an unknown name. Names: "crop", "rotate", "adjust", "compare", "text", "shape".
    static int GetToolID(const std::string& name);
};

} // namespace Quelto::Lumindra::PhotoCore

#include "photocore/IToolsId.h"

#include <map>

namespace Quelto::Lumindra::PhotoCore {

int IToolsId::GetToolID(const std::string& name)
{
    static const std::map<std::string, int> ids = {
        {"crop", TOOL_CROP},       {"rotate", TOOL_ROTATE}, {"adjust", TOOL_ADJUST},
        {"compare", TOOL_COMPARE}, {"text", TOOL_TEXT},     {"shape", TOOL_SHAPE},
    };
    const auto it = ids.find(name);
    return it == ids.end() ? TOOL_NONE : it->second;
}

} // namespace Quelto::Lumindra::PhotoCore

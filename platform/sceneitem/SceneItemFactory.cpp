#include "sceneitem/SceneItemFactory.h"

#include <boost/property_tree/ptree.hpp>

#include "core/Exception.h"
#include "sceneitem/ShapeItem.h"
#include "sceneitem/TextItem.h"

namespace Quelto::Lumindra::LumindraSceneItem {

std::unique_ptr<ISceneItem> SceneItemFactory::Create(const boost::property_tree::ptree& description)
{
    const std::string kind = description.get("kind", std::string());
    if (kind == ShapeItem::KIND_RECTANGLE || kind == ShapeItem::KIND_ELLIPSE)
        return ShapeItem::Deserialize(description);
    if (kind == TextItem::KIND_TEXT)
        return TextItem::Deserialize(description);
    if (kind.empty())
        throw Core::Exception("The scene item description names no kind of item");
    throw Core::Exception("Unknown kind of scene item \"" + kind + "\"");
}

} // namespace Quelto::Lumindra::LumindraSceneItem

#pragma once

#include <memory>

#include <boost/property_tree/ptree_fwd.hpp>

#include "sceneitem/ISceneItem.h"

namespace Quelto::Lumindra::LumindraSceneItem {

// Makes scene items from their descriptions (ISceneItem::Serialize), whatever their kind.
class SceneItemFactory {
public:
    // Throws Core::Exception, naming the fault, for an unknown kind or a damaged description.
    static std::unique_ptr<ISceneItem> Create(const boost::property_tree::ptree& description);
};

} // namespace Quelto::Lumindra::LumindraSceneItem

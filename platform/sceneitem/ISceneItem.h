#pragma once

#include <string>

#include <boost/property_tree/ptree_fwd.hpp>

class QGraphicsItem;

namespace Quelto::Lumindra::LumindraSceneItem {

// An item that a person places on the workspace with a tool (a shape, a text). Items are
// QGraphicsItems; this interface gives the graphics item and what the workspace needs to know
// of it. UI thread only.
class ISceneItem {
public:
    virtual ~ISceneItem() = default;

    virtual QGraphicsItem* GetGraphicsItem() = 0;
    virtual const QGraphicsItem* GetGraphicsItem() const = 0;
    // Whether the item takes drops of external data itself.
    virtual bool AcceptsDrops() const = 0;
    // Items with one key are serialised together when copied ("shape", "text").
    virtual std::string GetGroupKey() const = 0;
    // The item's description (geometry, colours, text), for copying and for the core.
    virtual void Serialize(boost::property_tree::ptree& out) const = 0;
};

} // namespace Quelto::Lumindra::LumindraSceneItem

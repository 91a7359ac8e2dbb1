#pragma once

#include <string>

#include <boost/intrusive_ptr.hpp>
#include <boost/property_tree/ptree_fwd.hpp>

#include "core/RefCounted.h"

namespace Quelto::Lumindra::PhotoUtil {

class ISerializableBase {
public:
    virtual ~ISerializableBase() = default;
};

// Something that can be written to and read from a property tree.
class ISerializable : public virtual ISerializableBase {
public:
    virtual void Serialize(boost::property_tree::ptree& out) const = 0;
    // Throws Core::Exception on malformed input.
    virtual void Deserialize(const boost::property_tree::ptree& in) = 0;
};

// Turns serializable objects into text and back (JSON), and writes its owner's whole state
// out to the owner's folder (the editing core's session folder).
class ISerializer : public virtual Core::IRefCounted {
public:
    virtual std::string SerializeToString(const ISerializable& object) const = 0;
    // Throws Core::Exception on malformed text.
    virtual void DeserializeFromString(const std::string& text, ISerializable& object) const = 0;
    // Writes the owner's state so that it can be restored later; false when it could not.
    // Owners without state to write answer false.
    virtual bool WriteOut() = 0;
};

// A serializer with the text conversions and no owner.
boost::intrusive_ptr<ISerializer> CreateStringSerializer();

} // namespace Quelto::Lumindra::PhotoUtil

#pragma once

#include "core/RefCounted.h"
#include "photoutil/Serializer.h"

namespace Quelto::Lumindra::PhotoUtil {

// The JSON text form of serializable objects, with no owner to write out. Stateless, so one
// instance may be used from several threads at once.
class StringSerializer : public Core::RefCounted, public ISerializer {
public:
    std::string SerializeToString(const ISerializable& object) const override;
    void DeserializeFromString(const std::string& text, ISerializable& object) const override;
    bool WriteOut() override { return false; }
};

} // namespace Quelto::Lumindra::PhotoUtil

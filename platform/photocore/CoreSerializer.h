#pragma once

#include <memory>

#include "core/RefCounted.h"
#include "photoutil/Serializer.h"

namespace Quelto::Lumindra::PhotoCore {

class CoreEngine;

// The serializer of one core: text conversions through the photo utilities' JSON serializer,
// and the write-out of the core's whole state to its session folder (the state file and, for a
// picture without a file, the picture itself as PNG), from which PhotoCoreFactory::Restore
// rebuilds the core. Thread-safe; a write-out waits for pending renders. Once the core is gone,
// WriteOut answers false.
class CoreSerializer : public Core::RefCounted, public PhotoUtil::ISerializer {
public:
    explicit CoreSerializer(std::weak_ptr<CoreEngine> engine);

    std::string SerializeToString(const PhotoUtil::ISerializable& object) const override;
    void DeserializeFromString(const std::string& text, PhotoUtil::ISerializable& object) const override;
    bool WriteOut() override;

private:
    std::weak_ptr<CoreEngine> engine_;
    boost::intrusive_ptr<PhotoUtil::ISerializer> text_;
};

} // namespace Quelto::Lumindra::PhotoCore

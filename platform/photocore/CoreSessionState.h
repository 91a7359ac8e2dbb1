#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "photocore/CoreEngine.h"
#include "photoutil/Serializer.h"

namespace Quelto::Lumindra::PhotoCore {

// Everything a core writes out to its session folder to be rebuilt later: where the picture came
// from, the state of its file then, and the edit history. A value type; serialized as JSON
// through the photo utilities' serializer.
class CoreSessionState : public PhotoUtil::ISerializable {
public:
    // Version of the written layout; a reader refuses newer ones.
    static constexpr int kVersion = 1;
    // File names inside the session folder.
    static constexpr const char* kStateFile = "core.json";
    static constexpr const char* kPictureFile = "picture.png";
    static constexpr const char* kDescriptionFile = "session.json";

    std::string sessionId;
    std::string sourcePath; // UTF-8; empty for pictures without a file
    std::string key;
    int imageSource = 0;
    std::string fileName;   // the file last saved to or opened
    std::uint64_t fileSize = 0;
    std::int64_t fileModifiedMs = 0;
    // The source file as the core read it, kept in the session folder (its name there) once a
    // save replaced the file; empty while the file still holds it.
    std::string originalFile;
    HistoryState history;

    // The name the original of `sourcePath` is kept under in the session folder.
    static std::string OriginalFileName(const std::string& sourcePath);

    void Serialize(boost::property_tree::ptree& out) const override;
    void Deserialize(const boost::property_tree::ptree& in) override;
};

} // namespace Quelto::Lumindra::PhotoCore

#include "photocore/CoreSessionState.h"

#include <algorithm>

#include <boost/property_tree/ptree.hpp>

#include "core/Exception.h"
#include "photocore/SettingsCodec.h"

namespace Quelto::Lumindra::PhotoCore {

namespace pt = boost::property_tree;

namespace {

// The id names the core's folder under the temporary folder, where its autosaves are written:
// a stored id that is a path ("../..") would send them anywhere.
bool IsFolderName(const std::string& id)
{
    return std::all_of(id.begin(), id.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    });
}

} // namespace

void CoreSessionState::Serialize(pt::ptree& out) const
{
    out.put("version", kVersion);
    out.put("sessionId", sessionId);
    out.put("source", sourcePath);
    out.put("key", key);
    out.put("imageSource", imageSource);
    out.put("fileName", fileName);
    out.put("fileSize", fileSize);
    out.put("fileModified", fileModifiedMs);
    out.put("position", history.position);
    out.put("savedPosition", history.savedPosition);
    pt::ptree steps;
    for (const auto& settings : history.steps)
        steps.push_back({"", SettingsCodec::ToTree(*settings)});
    out.add_child("history", steps);
}

void CoreSessionState::Deserialize(const pt::ptree& in)
{
    try {
        const int version = in.get<int>("version");
        if (version > kVersion)
            throw Core::Exception("The session was written by a newer version (" + std::to_string(version) + ")");
        sessionId = in.get<std::string>("sessionId");
        sourcePath = in.get<std::string>("source", "");
        key = in.get<std::string>("key", "");
        imageSource = in.get<int>("imageSource", 0);
        fileName = in.get<std::string>("fileName", "");
        fileSize = in.get<std::uint64_t>("fileSize", 0);
        fileModifiedMs = in.get<std::int64_t>("fileModified", 0);
        history = HistoryState {};
        history.position = in.get<int>("position", 0);
        history.savedPosition = in.get<int>("savedPosition", 0);
        if (const auto steps = in.get_child_optional("history"))
            for (const auto& step : *steps)
                history.steps.push_back(std::shared_ptr<const Proc::SettingsBase>(SettingsCodec::FromTree(step.second)));
    } catch (const pt::ptree_error& e) {
        throw Core::Exception(std::string("The session state is malformed: ") + e.what());
    }
    if (sessionId.empty())
        throw Core::Exception("The session state has no session id");
    if (!IsFolderName(sessionId))
        throw Core::Exception("The session state's session id \"" + sessionId + "\" is not a folder name");
    if (history.position < 0 || history.position > int(history.steps.size()))
        throw Core::Exception("The session state's history position is out of range");
}

} // namespace Quelto::Lumindra::PhotoCore

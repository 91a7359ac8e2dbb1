#include "photocore/CoreSessionState.h"

#include <algorithm>

#include <QFileInfo>

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
    out.put("original", originalFile);
    out.put("position", history.position);
    out.put("savedPosition", history.savedPosition);
    out.put("sourcePosition", history.sourcePosition);
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
        originalFile = in.get<std::string>("original", "");
        history = HistoryState {};
        history.position = in.get<int>("position", 0);
        history.savedPosition = in.get<int>("savedPosition", 0);
        history.sourcePosition = in.get<int>("sourcePosition", 0);
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
    if (history.sourcePosition > int(history.steps.size()))
        throw Core::Exception("The session state's source position is out of range");
    if (originalFile.find('/') != std::string::npos || originalFile == "." || originalFile == "..")
        throw Core::Exception("The session state names an original outside its folder");
}

std::string CoreSessionState::OriginalFileName(const std::string& sourcePath)
{
    const std::string suffix = QFileInfo(QString::fromUtf8(sourcePath.data(), int(sourcePath.size()))).suffix().toStdString();
    return suffix.empty() ? std::string("original") : "original." + suffix;
}

} // namespace Quelto::Lumindra::PhotoCore

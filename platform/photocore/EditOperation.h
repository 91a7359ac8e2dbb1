#pragma once

#include <memory>

#include <boost/property_tree/ptree_fwd.hpp>

#include "proc/EffectSettings.h"
#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::PhotoCore {

class FrameGeometry;

// Everything the editing core needs to know about one kind of edit (one settings class),
// registered once in EditRegistry. Every method takes settings of the entry's own class
// (EditRegistry::Get guarantees it) and is stateless and thread-safe.
class EditOperation {
public:
    virtual ~EditOperation() = default;

    // The settings class this entry handles (Proc::Settings*::CLASS_ID).
    virtual const char* GetClassId() const = 0;
    // The size the edit gives a frame of size `info`, without touching pixels. Throws
    // Core::Exception when the edit cannot apply to such a frame (a crop outside it).
    virtual Conf::FrameInfo ResultInfo(const Conf::FrameInfo& info, const Proc::SettingsBase& settings) const = 0;
    // The edited frame: a new frame, or `source` itself when the edit changes nothing. Its size
    // is ResultInfo(source's info). Throws Core::Exception.
    virtual Proc::DataVideoPtr Apply(const Proc::DataVideoPtr& source, const Proc::SettingsBase& settings) const = 0;
    // Adds the settings' values to `tree` (which already names the class), in the text form of
    // saved sessions: keys and their order are part of that format.
    virtual void Encode(const Proc::SettingsBase& settings, boost::property_tree::ptree& tree) const = 0;
    // Settings read back from Encode's form. Throws Core::Exception for missing or malformed values.
    virtual std::unique_ptr<Proc::SettingsBase> Decode(const boost::property_tree::ptree& tree) const = 0;
    // Whether both settings describe the same edit.
    virtual bool Equal(const Proc::SettingsBase& a, const Proc::SettingsBase& b) const = 0;
    // Whether the edit leaves the picture without an alpha channel.
    virtual bool RemovesAlpha(const Proc::SettingsBase& settings) const = 0;
    // Moves `geometry` as the edit moves pixels (most edits keep them where they are).
    virtual void MapGeometry(FrameGeometry& geometry, const Proc::SettingsBase& settings) const = 0;
};

} // namespace Quelto::Lumindra::PhotoCore

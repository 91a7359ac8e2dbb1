#pragma once

#include <memory>

#include <boost/property_tree/ptree_fwd.hpp>

#include "proc/EffectSettings.h"

namespace Quelto::Lumindra::PhotoCore {

// Writes the settings of the edits the core knows (those in EditRegistry) to a property tree and
// reads them back, for the history the core writes out. Stateless and thread-safe.
class SettingsCodec {
public:
    // Throws Core::Exception for settings of another class.
    static boost::property_tree::ptree ToTree(const Proc::SettingsBase& settings);
    // Throws Core::Exception for an unknown class or malformed values.
    static std::unique_ptr<Proc::SettingsBase> FromTree(const boost::property_tree::ptree& tree);
    // Whether two settings objects describe the same edit.
    static bool Equal(const Proc::SettingsBase& a, const Proc::SettingsBase& b);
};

} // namespace Quelto::Lumindra::PhotoCore

#pragma once

#include <memory>
#include <string>
#include <vector>

#include <boost/property_tree/ptree_fwd.hpp>

#include "photocore/EditOperation.h"

namespace Quelto::Lumindra::PhotoCore {

// The edits the editing core knows, one EditOperation per settings class: the only place where
// a settings class id is told apart from another. A fixed table filled at first use; every
// method is static and thread-safe. FrameOps (apply, result size) and SettingsCodec (saved form,
// equality) look their work up here.
//
// The saved form of an edit is a property tree with the class id under "class" followed by the
// entry's own values; sessions written before keep reading back the same.
class EditRegistry {
public:
    // Every registered entry, in a fixed order.
    static const std::vector<const EditOperation*>& GetOperations();
    // The entry of `classId`, or null.
    static const EditOperation* Find(const std::string& classId);
    // The entry of the settings' class. Throws Core::Exception naming the edit when unknown.
    static const EditOperation& Get(const Proc::SettingsBase& settings);

    // Settings in their saved form. Throws Core::Exception for an unregistered class.
    static boost::property_tree::ptree Encode(const Proc::SettingsBase& settings);
    // Settings from their saved form. Throws Core::Exception for an unknown class or malformed values.
    static std::unique_ptr<Proc::SettingsBase> Decode(const boost::property_tree::ptree& tree);
    // Whether two settings describe the same edit (false for different or unregistered classes).
    static bool Equal(const Proc::SettingsBase& a, const Proc::SettingsBase& b);
    // Whether applying the settings leaves the picture without alpha (false for unregistered ones).
    static bool RemovesAlpha(const Proc::SettingsBase& settings);
};

} // namespace Quelto::Lumindra::PhotoCore

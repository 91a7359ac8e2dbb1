#include "photocore/SettingsCodec.h"

#include <boost/property_tree/ptree.hpp>

#include "photocore/EditRegistry.h"

namespace Quelto::Lumindra::PhotoCore {

boost::property_tree::ptree SettingsCodec::ToTree(const Proc::SettingsBase& settings)
{
    return EditRegistry::Encode(settings);
}

std::unique_ptr<Proc::SettingsBase> SettingsCodec::FromTree(const boost::property_tree::ptree& tree)
{
    return EditRegistry::Decode(tree);
}

bool SettingsCodec::Equal(const Proc::SettingsBase& a, const Proc::SettingsBase& b)
{
    return EditRegistry::Equal(a, b);
}

} // namespace Quelto::Lumindra::PhotoCore

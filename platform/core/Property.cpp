#include "core/Property.h"

namespace Quelto::Lumindra::Core {

std::string Property::Get(const std::string& key, const std::string& fallback) const
{
    auto it = values_.find(key);
    return it == values_.end() ? fallback : it->second;
}

} // namespace Quelto::Lumindra::Core

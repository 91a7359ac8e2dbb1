#include "core/IoPath.h"

namespace Quelto::Lumindra {

ioPath ioPath::operator/(const std::string& child) const
{
    if (utf8_.empty())
        return ioPath(child);
    if (utf8_.back() == '/')
        return ioPath(utf8_ + child);
    return ioPath(utf8_ + "/" + child);
}

} // namespace Quelto::Lumindra

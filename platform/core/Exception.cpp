#include "core/Exception.h"

#include <utility>

namespace Quelto::Lumindra::Core {

Exception::Exception(std::string description, int code)
    : description_(std::move(description)), code_(code)
{
}

// Out of line so that the type's vtable and typeinfo live in this library: exceptions thrown in
// one shared library are caught by type in another.
Exception::~Exception() = default;

} // namespace Quelto::Lumindra::Core

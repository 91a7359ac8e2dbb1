#pragma once

#include "core/Exception.h"

namespace Quelto::Lumindra::PhotoCore {

// Failures of the editing core and of the platform services it relies on (unreadable image,
// unusable temporary folder). Lives with the other exception types so that services below the
// core can raise it.
class PhotoCoreException : public Core::Exception {
public:
    using Core::Exception::Exception;
};

} // namespace Quelto::Lumindra::PhotoCore

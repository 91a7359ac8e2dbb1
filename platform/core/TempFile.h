#pragma once

#include <string>

namespace Quelto::Lumindra::Core {

// A unique, not yet existing file path in the system temporary folder, as UTF-8.
// Unique within the process and, through a random part, across processes. An empty extension
// gives a name without one. Throws Core::Exception when the system temporary folder is unusable.
std::string GenerateTempFileName(const std::string& extension = "tmp");

} // namespace Quelto::Lumindra::Core

#pragma once

#include <string>

namespace Quelto::Lumindra::Core {

// A unique, not yet existing file path in the system temporary folder, as UTF-8.
// Unique within the process and, through a random part, across processes.
std::string GenerateTempFileName(const std::string& extension = "tmp");

} // namespace Quelto::Lumindra::Core

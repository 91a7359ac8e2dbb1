#include "core/TempFile.h"

#include <atomic>
#include <filesystem>
#include <random>
#include <sstream>
#include <system_error>

#include <unistd.h>

#include "core/Exception.h"

namespace Quelto::Lumindra::Core {

namespace {

// Names are unique by construction (pid, per-process salt, counter); a clash means another
// program picked the same name on purpose or by a freak chance, and a few retries settle it.
constexpr int kMaxNameAttempts = 1000;

std::filesystem::path SystemTempDir()
{
    std::error_code error;
    std::filesystem::path dir = std::filesystem::temp_directory_path(error);
    if (error)
        throw Exception("The system temporary folder is not usable: " + error.message());
    return dir;
}

} // namespace

std::string GenerateTempFileName(const std::string& extension)
{
    static std::atomic<unsigned> counter {0};
    static const unsigned long long salt = std::random_device {}();
    namespace fs = std::filesystem;
    const fs::path dir = SystemTempDir();
    for (int attempt = 0; attempt < kMaxNameAttempts; ++attempt) {
        std::ostringstream name;
        name << "lumindra-" << ::getpid() << '-' << std::hex << salt << '-' << std::dec << counter.fetch_add(1);
        if (!extension.empty())
            name << '.' << extension;
        const fs::path candidate = dir / name.str();
        std::error_code error;
        if (!fs::exists(candidate, error) && !error)
            return candidate.string();
    }
    throw Exception("Could not find a free temporary file name in " + dir.string());
}

} // namespace Quelto::Lumindra::Core

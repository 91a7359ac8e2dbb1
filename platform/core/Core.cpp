#include "core/Exception.h"
#include "core/IoPath.h"
#include "core/Property.h"
#include "core/TempFile.h"

#include <atomic>
#include <filesystem>
#include <random>
#include <sstream>

#include <unistd.h>

namespace Quelto::Lumindra {

ioPath ioPath::operator/(const std::string& child) const
{
    if (utf8_.empty())
        return ioPath(child);
    if (utf8_.back() == '/')
        return ioPath(utf8_ + child);
    return ioPath(utf8_ + "/" + child);
}

namespace Core {

Exception::Exception(std::string description, int code)
    : description_(std::move(description)), code_(code)
{
}

Exception::~Exception() = default;

std::string Property::Get(const std::string& key, const std::string& fallback) const
{
    auto it = values_.find(key);
    return it == values_.end() ? fallback : it->second;
}

std::string GenerateTempFileName(const std::string& extension)
{
    static std::atomic<unsigned> counter {0};
    static const unsigned long long salt = std::random_device {}();
    namespace fs = std::filesystem;
    const fs::path dir = fs::temp_directory_path();
    for (;;) {
        std::ostringstream name;
        name << "lumindra-" << ::getpid() << '-' << std::hex << salt << '-' << std::dec
             << counter.fetch_add(1) << '.' << extension;
        fs::path candidate = dir / name.str();
        if (!fs::exists(candidate))
            return candidate.string();
    }
}

} // namespace Core
} // namespace Quelto::Lumindra

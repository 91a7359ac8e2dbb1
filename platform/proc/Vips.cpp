#include "proc/Vips.h"

#include <mutex>

#include "core/Exception.h"

namespace Quelto::Lumindra::Proc {

void EnsureVipsStarted()
{
    static std::once_flag once;
    static bool ok = false;
    std::call_once(once, [] { ok = VIPS_INIT("lumindra") == 0; });
    if (!ok)
        throw Core::Exception("The image library could not start");
}

std::string TakeVipsError(const vips::VError& error)
{
    std::string message = error.what();
    vips_error_clear();
    return message;
}

} // namespace Quelto::Lumindra::Proc

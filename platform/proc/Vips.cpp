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

} // namespace Quelto::Lumindra::Proc

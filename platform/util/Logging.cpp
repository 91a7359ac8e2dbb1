#include "util/Logging.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include <glog/logging.h>

namespace Quelto::Lumindra::Util {

namespace {

constexpr const char* kDefaultProgramName = "lumindra";

// The value of "--v=N" or "--v N" (also with one dash), or -1 when there is none or it is not a
// number.
int VerboseArgument(int argc, char** argv)
{
    for (int i = 1; i < argc && argv[i]; ++i) {
        const char* arg = argv[i];
        const char* value = nullptr;
        if (std::strncmp(arg, "--v=", 4) == 0)
            value = arg + 4;
        else if (std::strncmp(arg, "-v=", 3) == 0)
            value = arg + 3;
        else if ((std::strcmp(arg, "--v") == 0 || std::strcmp(arg, "-v") == 0) && i + 1 < argc)
            value = argv[i + 1];
        if (!value)
            continue;
        char* end = nullptr;
        const long level = std::strtol(value, &end, 10);
        if (end != value && *end == '\0' && level >= 0)
            return int(level);
    }
    return -1;
}

} // namespace

void InitLogging(int argc, char** argv)
{
    static std::once_flag once;
    std::call_once(once, [argc, argv] {
        if (!std::getenv("GLOG_logtostderr"))
            FLAGS_logtostderr = true;
        const int verbose = VerboseArgument(argc, argv);
        if (verbose >= 0)
            FLAGS_v = verbose;
        if (!google::IsGoogleLoggingInitialized())
            google::InitGoogleLogging(argc > 0 && argv && argv[0] ? argv[0] : kDefaultProgramName);
    });
}

void InitLogging(const char* argv0)
{
    char* argv[] = {const_cast<char*>(argv0 ? argv0 : kDefaultProgramName), nullptr};
    InitLogging(1, argv);
}

} // namespace Quelto::Lumindra::Util

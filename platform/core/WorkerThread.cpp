#include "core/WorkerThread.h"

#include <cerrno>
#include <cstring>

#include <glog/logging.h>

#ifdef __linux__
#include <pthread.h>
#include <sys/resource.h>
#endif

namespace Quelto::Lumindra::Core {

void BecomeWorkerThread(const char* name)
{
#ifdef __linux__
    char shortName[16] = {};
    std::strncpy(shortName, name, sizeof shortName - 1);
    pthread_setname_np(pthread_self(), shortName);
    // On Linux the niceness belongs to the thread (the target 0 is the calling thread). A
    // process started nicer than a worker keeps its own niceness.
    errno = 0;
    const int inherited = getpriority(PRIO_PROCESS, 0);
    if (errno == 0 && inherited >= kWorkerThreadNice)
        return;
    if (setpriority(PRIO_PROCESS, 0, kWorkerThreadNice) != 0)
        LOG(WARNING) << "Cannot lower the priority of thread " << name << ": " << std::strerror(errno);
#else
    (void)name;
#endif
}

} // namespace Quelto::Lumindra::Core

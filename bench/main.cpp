// lumindra-bench: prints one line per figure, "<figure-name> <value> <unit>".
// Usage: lumindra-bench [GROUP...]   (default: every group)

#include <cstdio>
#include <cstring>

#include <QApplication>

#include "Bench.h"
#include "proc/Vips.h"
#include "util/Logging.h"

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    Quelto::Lumindra::Util::InitLogging(argv[0]);
    QApplication app(argc, argv);
    Quelto::Lumindra::Proc::EnsureVipsStarted();
    vips_cache_set_max(0); // repeated operations must really run

    int ran = 0;
    for (const auto& group : Quelto::Lumindra::Bench::Registry()) {
        bool wanted = argc < 2;
        for (int i = 1; i < argc; ++i)
            wanted = wanted || group.name == argv[i];
        if (!wanted)
            continue;
        group.run();
        ++ran;
    }
    if (ran == 0) {
        std::fprintf(stderr, "no such group; groups:");
        for (const auto& group : Quelto::Lumindra::Bench::Registry())
            std::fprintf(stderr, " %s", group.name.c_str());
        std::fprintf(stderr, "\n");
        return 2;
    }
    return 0;
}

// One fuzzing program per target of FuzzHarness; LUMINDRA_FUZZ_TARGET names the target.

#include <cstdio>
#include <cstdlib>

#include <QCoreApplication>
#include <QSettings>
#include <QTemporaryDir>

#include <glog/logging.h>

#include "FuzzHarness.h"

using Quelto::Lumindra::Test::FuzzHarness;

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    // Cores post their events to this thread's loop; the harness delivers them after each input.
    static QCoreApplication application(*argc, *argv);
    FLAGS_logtostderr = true;
    // A refused input logs a warning, and the fuzzer tries thousands a second.
    FLAGS_minloglevel = google::GLOG_ERROR;
    google::InitGoogleLogging((*argv)[0]);
    // libFuzzer ends with exit(), and statics go in the reverse order of their making. A settings
    // store used here first makes Qt's settings statics before the settings manager exists, so
    // that the manager writes its last changes before they go.
    {
        QTemporaryDir folder;
        QSettings probe(folder.filePath(QStringLiteral("probe.ini")), QSettings::IniFormat);
        probe.setValue(QStringLiteral("probe"), 1);
        probe.sync();
    }
    FuzzHarness::Init();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const FuzzHarness::Outcome outcome = FuzzHarness::Run(FuzzHarness::Target::LUMINDRA_FUZZ_TARGET, data, size);
    if (!outcome.violation.empty()) {
        std::fprintf(stderr, "Broken promise: %s\n", outcome.violation.c_str());
        std::abort();
    }
    return 0;
}

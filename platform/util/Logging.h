#pragma once

namespace Quelto::Lumindra::Util {

// Sets up glog once per process: messages to stderr, the verbose level from GLOG_v (or `--v`).
// Safe to call more than once.
void InitLogging(const char* argv0);

} // namespace Quelto::Lumindra::Util

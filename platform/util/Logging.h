#pragma once

namespace Quelto::Lumindra::Util {

// Sets up glog once per process: messages to stderr (unless GLOG_logtostderr says otherwise),
// the verbose level from GLOG_v, or from a "--v=N" / "--v N" argument when argv is given (the
// argument is left in place for other parsers). Safe to call more than once and from any thread;
// only the first call counts.
void InitLogging(const char* argv0);
void InitLogging(int argc, char** argv);

} // namespace Quelto::Lumindra::Util

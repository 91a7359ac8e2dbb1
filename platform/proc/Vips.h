#pragma once

// The one way to include libvips in this project. glib's gio headers, which vips pulls in, use
// `signals` as an identifier, which Qt defines as a keyword macro.
#pragma push_macro("signals")
#undef signals
#include <vips/vips8>
#pragma pop_macro("signals")

#include <string>

namespace Quelto::Lumindra::Proc {

// Starts libvips once per process (thread-safe, idempotent). Throws Core::Exception when it
// cannot start.
void EnsureVipsStarted();

// The message of a libvips failure, with libvips' error buffer emptied: the buffer is one for the
// whole process and only ever grows, so each later failure would repeat every earlier message.
std::string TakeVipsError(const vips::VError& error);

} // namespace Quelto::Lumindra::Proc

#pragma once

#include "util/Settings.h"

namespace Quelto::Lumindra::PhotoCore {
// The editing core's setting keys are the application's.
namespace Settings = Util::Settings;
} // namespace Quelto::Lumindra::PhotoCore

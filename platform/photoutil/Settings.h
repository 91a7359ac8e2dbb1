#pragma once

#include "util/Settings.h"

namespace Quelto::Lumindra::PhotoUtil {
// The setting-name builder of the photo utilities is the application's.
namespace Settings = Util::Settings;
} // namespace Quelto::Lumindra::PhotoUtil

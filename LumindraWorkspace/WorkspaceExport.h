#pragma once

// The module is built with hidden symbols (-fvisibility=hidden); what its users may touch is
// marked with this macro.
#define LUMINDRA_WORKSPACE_EXPORT __attribute__((visibility("default")))

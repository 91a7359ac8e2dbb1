#pragma once

#include <string>

namespace Quelto::Lumindra::PhotoCore {

// Diagnostics of a core: render timings and state, for developers.
class IDebug {
public:
    virtual ~IDebug() = default;
    virtual std::string GetDebugInfo() const = 0;
    virtual double GetLastRenderMilliseconds() const = 0;
    virtual int GetRenderCount() const = 0;
};

} // namespace Quelto::Lumindra::PhotoCore

#pragma once

#include <functional>
#include <map>
#include <string>

#include "proc/IEffect.h"

namespace Quelto::Lumindra::Proc {

// The process-wide effect factory behind GetEffectFactory(): a fixed table from settings class
// id to a maker, filled once at first use. Thread-safe, since the table never changes after.
class EffectFactory : public IEffectFactory {
public:
    EffectFactory();
    boost::intrusive_ptr<IEffect> Create(const std::string& classId, const std::string& implName) override;

private:
    std::map<std::string, std::function<boost::intrusive_ptr<IEffect>()>> makers_;
};

} // namespace Quelto::Lumindra::Proc

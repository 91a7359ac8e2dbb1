#pragma once

#include <string>

#include <boost/intrusive_ptr.hpp>

#include "core/RefCounted.h"
#include "proc/EffectSettings.h"
#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::Proc {

// An effect instance. Not thread-safe: one instance is used by one thread at a time.
class IEffect : public virtual Core::IRefCounted {
public:
    // Forgets any state kept from earlier frames (caches, buffers for another format).
    virtual void Reset() = 0;
    // Throws Core::Exception when the settings are of another effect class.
    virtual void SetSettings(const SettingsBase& settings) = 0;
};

class IOneInputEffectVideo : public IEffect {
public:
    // Processes one frame: `frame` is replaced by the result (the input frame itself is not
    // written, since it may be shared). Returns false, and leaves `frame` null, on failure.
    virtual bool Process(DataVideoPtr& frame) = 0;
};

namespace ImplNames {
inline constexpr const char* DEFAULT = "default";
}

// Makes effects by settings class id. Process-wide; thread-safe.
class IEffectFactory {
public:
    virtual ~IEffectFactory() = default;
    // Null when the class id or the implementation name is unknown.
    virtual boost::intrusive_ptr<IEffect> Create(const std::string& classId, const std::string& implName) = 0;
};

IEffectFactory& GetEffectFactory();

} // namespace Quelto::Lumindra::Proc

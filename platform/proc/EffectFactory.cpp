#include "proc/EffectFactory.h"

#include <glog/logging.h>

#include "proc/ColorspaceConverter.h"
#include "proc/Resizer.h"

namespace Quelto::Lumindra::Proc {

EffectFactory::EffectFactory()
{
    makers_[SettingsResizer::CLASS_ID] = [] { return boost::intrusive_ptr<IEffect>(new Resizer()); };
    makers_[SettingsColorspaceConverter::CLASS_ID] = [] {
        return boost::intrusive_ptr<IEffect>(new ColorspaceConverter());
    };
}

boost::intrusive_ptr<IEffect> EffectFactory::Create(const std::string& classId, const std::string& implName)
{
    if (implName != ImplNames::DEFAULT) {
        LOG(WARNING) << "Effect factory: no implementation \"" << implName << "\" of " << classId;
        return nullptr;
    }
    auto it = makers_.find(classId);
    if (it == makers_.end()) {
        LOG(WARNING) << "Effect factory: no effect for settings \"" << classId << "\"";
        return nullptr;
    }
    return it->second();
}

IEffectFactory& GetEffectFactory()
{
    static EffectFactory factory;
    return factory;
}

} // namespace Quelto::Lumindra::Proc

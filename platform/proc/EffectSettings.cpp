#include "proc/EffectSettings.h"

namespace Quelto::Lumindra::Proc {

namespace {

class EffectSettingsHolder : public Core::RefCounted, public IEffectSettings {
public:
    explicit EffectSettingsHolder(std::unique_ptr<SettingsBase> settings) : settings_(std::move(settings)) {}
    const SettingsBase& GetSettings() const override { return *settings_; }

private:
    std::unique_ptr<SettingsBase> settings_;
};

} // namespace

boost::intrusive_ptr<IEffectSettings> EffectSettingsImpl::Create(const SettingsBase& settings)
{
    return boost::intrusive_ptr<IEffectSettings>(new EffectSettingsHolder(settings.Clone()));
}

} // namespace Quelto::Lumindra::Proc

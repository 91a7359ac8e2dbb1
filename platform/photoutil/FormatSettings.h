#pragma once

#include <map>
#include <string>

#include "core/RefCounted.h"
#include "photoutil/IFormatSettings.h"

namespace Quelto::Lumindra::PhotoUtil {

// Encoder settings of one codec as named integers, starting from the codec's defaults.
// Values with a known name are range-checked. Not thread-safe: a settings object belongs to
// one owner; CloneSettings gives another owner its own copy.
class FormatSettings : public Core::RefCounted, public IFormatSettings {
public:
    // Throws Core::Exception for a codec the application does not know.
    explicit FormatSettings(const std::string& codecId);

    const std::string& GetCodecId() const override { return codecId_; }
    int GetValue(const std::string& name, int fallback) const override;
    // Throws Core::Exception when a known value is out of its range; nothing changes then.
    void SetValue(const std::string& name, int value) override;
    std::map<std::string, int> GetValues() const override { return values_; }
    FormatSettingsPtr CloneSettings() const override;

private:
    std::string codecId_;
    std::map<std::string, int> values_;
};

} // namespace Quelto::Lumindra::PhotoUtil

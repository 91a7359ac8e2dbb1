#pragma once

#include <map>
#include <string>
#include <vector>

#include <boost/intrusive_ptr.hpp>

#include "core/RefCounted.h"

namespace Quelto::Lumindra::PhotoUtil {

// Encoder settings of one file format (quality, compression, ...), as named integer values.
class IFormatSettings : public virtual Core::IRefCounted {
public:
    static constexpr const char* QUALITY = "quality";         // 1..100 (JPEG, WebP, HEIF, AVIF)
    static constexpr const char* COMPRESSION = "compression"; // 0..9 (PNG), 0/1 deflate (TIFF)
    static constexpr const char* LOSSLESS = "lossless";       // 0/1 (WebP)

    // The codec identifier of the format these settings are for ("jpeg", "png", ...).
    virtual const std::string& GetCodecId() const = 0;
    virtual int GetValue(const std::string& name, int fallback) const = 0;
    virtual void SetValue(const std::string& name, int value) = 0;
    virtual std::map<std::string, int> GetValues() const = 0;
    virtual boost::intrusive_ptr<IFormatSettings> CloneSettings() const = 0;
};

using FormatSettingsPtr = boost::intrusive_ptr<IFormatSettings>;
using FormatSettingsList = std::vector<FormatSettingsPtr>;

// Default settings of the codec.
FormatSettingsPtr CreateFormatSettings(const std::string& codecId);

} // namespace Quelto::Lumindra::PhotoUtil

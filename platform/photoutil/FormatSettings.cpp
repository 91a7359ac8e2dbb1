#include "photoutil/FormatSettings.h"

#include <utility>

#include "core/Exception.h"

namespace Quelto::Lumindra::PhotoUtil {

namespace {

// Defaults: what a person expects from a photo editor (visually lossless JPEG at 92, zlib's
// balanced PNG level 6, deflate on for TIFF) and what keeps WebP and HEIF close to JPEG 92.
constexpr int kJpegQuality = 92;
constexpr int kPngCompression = 6;
constexpr int kWebpQuality = 90;
constexpr int kTiffDeflate = 1;
constexpr int kHeifQuality = 85;

std::map<std::string, int> DefaultsOf(const std::string& codecId)
{
    if (codecId == "jpeg")
        return {{IFormatSettings::QUALITY, kJpegQuality}};
    if (codecId == "png")
        return {{IFormatSettings::COMPRESSION, kPngCompression}};
    if (codecId == "webp")
        return {{IFormatSettings::QUALITY, kWebpQuality}, {IFormatSettings::LOSSLESS, 0}};
    if (codecId == "tiff")
        return {{IFormatSettings::COMPRESSION, kTiffDeflate}};
    if (codecId == "heif" || codecId == "avif")
        return {{IFormatSettings::QUALITY, kHeifQuality}};
    if (codecId == "gif")
        return {};
    throw Core::Exception("Unknown image format \"" + codecId + "\": no encoder settings for it");
}

// The allowed range of a known value; false for names without one.
bool RangeOf(const std::string& codecId, const std::string& name, int& low, int& high)
{
    if (name == IFormatSettings::QUALITY) {
        low = 1;
        high = 100;
    } else if (name == IFormatSettings::LOSSLESS) {
        low = 0;
        high = 1;
    } else if (name == IFormatSettings::COMPRESSION) {
        low = 0;
        high = codecId == "tiff" ? 1 : 9;
    } else {
        return false;
    }
    return true;
}

} // namespace

FormatSettings::FormatSettings(const std::string& codecId) : codecId_(codecId), values_(DefaultsOf(codecId)) {}

int FormatSettings::GetValue(const std::string& name, int fallback) const
{
    auto it = values_.find(name);
    return it == values_.end() ? fallback : it->second;
}

void FormatSettings::SetValue(const std::string& name, int value)
{
    int low = 0, high = 0;
    if (RangeOf(codecId_, name, low, high) && (value < low || value > high))
        throw Core::Exception("The " + name + " of " + codecId_ + " must be between " + std::to_string(low) + " and "
                              + std::to_string(high) + ", not " + std::to_string(value));
    values_[name] = value;
}

FormatSettingsPtr FormatSettings::CloneSettings() const
{
    return FormatSettingsPtr(new FormatSettings(*this));
}

FormatSettingsPtr CreateFormatSettings(const std::string& codecId)
{
    return FormatSettingsPtr(new FormatSettings(codecId));
}

} // namespace Quelto::Lumindra::PhotoUtil

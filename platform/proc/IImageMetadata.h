#pragma once

#include <string>
#include <vector>

#include <boost/intrusive_ptr.hpp>

#include "core/Property.h"
#include "core/RefCounted.h"

namespace Quelto::Lumindra::Proc {

// The metadata of one image (EXIF, XMP, IPTC). Tags are addressed by standard, block and tag;
// together they form the metadata library's dotted key ("Exif.Image.Artist"): the standard gives
// the family, the block the group and the tag the tag name. Not thread-safe.
class IImageMetadata : public virtual Core::IRefCounted {
public:
    enum Standard { EXIF = 0, XMP = 1, IPTC = 2 };

    static constexpr const char* BLOCK_IMAGE = "Image";
    static constexpr const char* BLOCK_PHOTO = "Photo";
    static constexpr const char* BLOCK_GPS = "GPSInfo";

    static constexpr const char* TAG_ARTIST = "Artist";
    static constexpr const char* TAG_USER_COMMENT = "UserComment";
    static constexpr const char* TAG_IMAGE_DESCRIPTION = "ImageDescription";
    static constexpr const char* TAG_ORIENTATION = "Orientation";
    static constexpr const char* TAG_SOFTWARE = "Software";
    static constexpr const char* TAG_DATE_TIME_ORIGINAL = "DateTimeOriginal";

    static constexpr const char* VAL_ORIENTATION_NORMAL = "1";

    // Property keys of a tag read with GetTag.
    static constexpr const char* TEXT_VALUE = "text"; // the value as text a person can read
    static constexpr const char* KEY = "key";         // the dotted key
    static constexpr const char* TYPE = "type";       // the metadata library's type name

    // Empty when the tag is absent.
    virtual Core::Property GetTag(Standard standard, const std::string& block, const std::string& tag) const = 0;
    virtual void SetTag(Standard standard, const std::string& block, const std::string& tag, const std::string& text) = 0;
    // An empty tag removes every tag of the block.
    virtual void RemoveTag(Standard standard, const std::string& block, const std::string& tag) = 0;
    // Removes everything except the listed keys. A key names one tag ("Exif.Image.Artist") or a
    // whole group ("Exif.GPSInfo", "Exif.Thumbnail").
    virtual void Clear(const std::vector<std::string>& keysToKeep) = 0;

    virtual bool IsEmpty() const = 0;
    virtual std::vector<std::string> GetKeys() const = 0;
    virtual boost::intrusive_ptr<IImageMetadata> Clone() const = 0;

    // Writes this metadata into an existing image file (replacing what it holds). Throws
    // Core::Exception with a readable message when the file cannot be written.
    virtual void WriteToFile(const std::string& utf8Path) const = 0;
};

using ImageMetadataPtr = boost::intrusive_ptr<IImageMetadata>;

ImageMetadataPtr CreateImageMetadata();
// Reads the metadata of an image file. Metadata that cannot be parsed gives empty metadata and
// a warning in the log; the image stays readable.
ImageMetadataPtr ReadImageMetadata(const std::string& utf8Path);

} // namespace Quelto::Lumindra::Proc

#include "proc/IImageMetadata.h"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <system_error>

#include <glog/logging.h>

// exiv2 0.27 hands out std::auto_ptr, deprecated in C++17 but still shipped by libstdc++.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>

#include "core/Exception.h"
#include "core/RefCounted.h"
#include "core/TempFile.h"

namespace Quelto::Lumindra::Proc {

namespace {

const char* FamilyOf(IImageMetadata::Standard standard)
{
    switch (standard) {
    case IImageMetadata::EXIF:
        return "Exif";
    case IImageMetadata::XMP:
        return "Xmp";
    case IImageMetadata::IPTC:
        return "Iptc";
    }
    throw Core::Exception("Unknown metadata standard " + std::to_string(int(standard)));
}

std::string MakeKey(IImageMetadata::Standard standard, const std::string& block, const std::string& tag)
{
    return std::string(FamilyOf(standard)) + "." + block + "." + tag;
}

// Cameras pad text tags with spaces or NULs to a fixed length; a person wants the text.
std::string TrimTrailing(std::string text)
{
    const auto end = text.find_last_not_of(std::string(" \t\r\n\0", 5));
    text.erase(end == std::string::npos ? 0 : end + 1);
    return text;
}

bool IsAscii(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Keeps `key` when the list names it or one of its groups ("Exif.GPSInfo" keeps "Exif.GPSInfo.*").
bool IsKept(const std::string& key, const std::vector<std::string>& keysToKeep)
{
    for (const std::string& keep : keysToKeep) {
        if (keep.empty())
            continue;
        if (key == keep)
            return true;
        if (key.size() > keep.size() && key.compare(0, keep.size(), keep) == 0 && key[keep.size()] == '.')
            return true;
    }
    return false;
}

template <class Data, class Pred>
void EraseIf(Data& data, Pred pred)
{
    for (auto it = data.begin(); it != data.end();) {
        if (pred(*it))
            it = data.erase(it);
        else
            ++it;
    }
}

template <class Data>
typename Data::const_iterator FindByKey(const Data& data, const std::string& key)
{
    return std::find_if(data.begin(), data.end(), [&](const auto& datum) { return datum.key() == key; });
}

std::mutex& XmpToolkitMutex()
{
    static std::mutex mutex; // serialises the XMP toolkit, which is not thread-safe by itself
    return mutex;
}

void LockXmpToolkit(void* data, bool lock)
{
    auto* mutex = static_cast<std::mutex*>(data);
    if (lock)
        mutex->lock();
    else
        mutex->unlock();
}

void RouteExiv2Message(int level, const char* text)
{
    std::string message = TrimTrailing(text ? text : "");
    if (level >= Exiv2::LogMsg::warn)
        LOG(WARNING) << "Image metadata: " << message;
    else
        VLOG(30) << "Image metadata: " << message;
}

void EnsureExiv2Started()
{
    static std::once_flag once;
    std::call_once(once, [] {
        Exiv2::LogMsg::setHandler(&RouteExiv2Message);
        // Off by default in this exiv2: HEIF and AVIF would be read as QuickTime video and get
        // made-up "Xmp.video" tags (file name, size) that a save would then write out.
        Exiv2::enableBMFF(true);
        if (!Exiv2::XmpParser::initialize(&LockXmpToolkit, &XmpToolkitMutex()))
            LOG(ERROR) << "Image metadata: the XMP toolkit could not start; XMP will not be read";
    });
}

std::string Describe(const Exiv2::AnyError& error)
{
    return std::string(error.what()) + " (metadata library error " + std::to_string(error.code()) + ")";
}

// The metadata of one image as the three containers of the metadata library.
class ImageMetadata : public Core::RefCounted, public IImageMetadata {
public:
    ImageMetadata() = default;
    ImageMetadata(Exiv2::ExifData exif, Exiv2::XmpData xmp, Exiv2::IptcData iptc)
        : exif_(std::move(exif)), xmp_(std::move(xmp)), iptc_(std::move(iptc))
    {
    }

    Core::Property GetTag(Standard standard, const std::string& block, const std::string& tag) const override
    {
        Core::Property property;
        const std::string key = MakeKey(standard, block, tag);
        try {
            switch (standard) {
            case EXIF: {
                auto it = FindByKey(exif_, key);
                if (it != exif_.end())
                    Fill(property, key, it->typeName(), ExifText(*it));
                break;
            }
            case XMP: {
                auto it = FindByKey(xmp_, key);
                if (it != xmp_.end())
                    Fill(property, key, it->typeName(), XmpText(*it));
                break;
            }
            case IPTC: {
                auto it = FindByKey(iptc_, key);
                if (it != iptc_.end())
                    Fill(property, key, it->typeName(), it->toString());
                break;
            }
            }
        } catch (const Exiv2::AnyError& error) {
            LOG(WARNING) << "Image metadata: cannot read " << key << ": " << Describe(error);
            return Core::Property();
        } catch (const std::exception& error) {
            LOG(WARNING) << "Image metadata: cannot read " << key << ": " << error.what();
            return Core::Property();
        }
        return property;
    }

    void SetTag(Standard standard, const std::string& block, const std::string& tag, const std::string& text) override
    {
        const std::string key = MakeKey(standard, block, tag);
        try {
            switch (standard) {
            case EXIF:
                SetExif(key, text);
                break;
            case XMP:
                xmp_[key] = text;
                break;
            case IPTC:
                SetIptc(key, text);
                break;
            }
        } catch (const Exiv2::AnyError& error) {
            throw Core::Exception("Cannot set the metadata tag " + key + ": " + Describe(error));
        }
    }

    void RemoveTag(Standard standard, const std::string& block, const std::string& tag) override
    {
        const std::string family = FamilyOf(standard);
        auto matches = [&](const Exiv2::Metadatum& datum) {
            return datum.groupName() == block && (tag.empty() || datum.tagName() == tag);
        };
        switch (standard) {
        case EXIF:
            EraseIf(exif_, matches);
            break;
        case XMP:
            EraseIf(xmp_, matches);
            break;
        case IPTC:
            EraseIf(iptc_, matches);
            break;
        }
    }

    void Clear(const std::vector<std::string>& keysToKeep) override
    {
        auto drop = [&](const Exiv2::Metadatum& datum) { return !IsKept(datum.key(), keysToKeep); };
        EraseIf(exif_, drop);
        EraseIf(xmp_, drop);
        EraseIf(iptc_, drop);
    }

    bool IsEmpty() const override { return exif_.empty() && xmp_.empty() && iptc_.empty(); }

    std::vector<std::string> GetKeys() const override
    {
        std::vector<std::string> keys;
        keys.reserve(std::size_t(exif_.count() + xmp_.count() + iptc_.count()));
        for (const auto& datum : exif_)
            keys.push_back(datum.key());
        for (const auto& datum : xmp_)
            keys.push_back(datum.key());
        for (const auto& datum : iptc_)
            keys.push_back(datum.key());
        return keys;
    }

    boost::intrusive_ptr<IImageMetadata> Clone() const override
    {
        return boost::intrusive_ptr<IImageMetadata>(new ImageMetadata(exif_, xmp_, iptc_));
    }

    // Writes into a copy next to the file and renames it over the file, so that a failure
    // half-way leaves the original as it was.
    void WriteToFile(const std::string& utf8Path) const override
    {
        namespace fs = std::filesystem;
        const fs::path target = fs::u8path(utf8Path);
        std::error_code ec;
        if (!fs::is_regular_file(target, ec))
            throw Core::Exception("Cannot write metadata: " + utf8Path + " is not an existing file");
        const fs::path temp = target.parent_path()
            / fs::u8path("." + target.filename().u8string() + "." + fs::path(Core::GenerateTempFileName("tmp")).filename().u8string());
        if (!fs::copy_file(target, temp, fs::copy_options::overwrite_existing, ec)) {
            std::error_code ignored;
            fs::remove(temp, ignored); // a copy cut short (a full disk) leaves a part behind
            throw Core::Exception("Cannot write metadata to " + utf8Path + ": " + ec.message());
        }
        try {
            Exiv2::Image::AutoPtr image = Exiv2::ImageFactory::open(temp.string());
            image->readMetadata(); // keeps what is not ours to change (ICC profile, file comment)
            image->setExifData(exif_);
            image->setXmpData(xmp_);
            image->setIptcData(iptc_);
            image->writeMetadata();
        } catch (const Exiv2::AnyError& error) {
            fs::remove(temp, ec);
            throw Core::Exception("Cannot write metadata to " + utf8Path + ": " + Describe(error));
        }
        fs::rename(temp, target, ec);
        if (ec) {
            std::error_code ignored;
            fs::remove(temp, ignored);
            throw Core::Exception("Cannot write metadata to " + utf8Path + ": " + ec.message());
        }
    }

private:
    static void Fill(Core::Property& property, const std::string& key, const char* type, const std::string& text)
    {
        property.Set(KEY, key);
        property.Set(TYPE, type ? type : "");
        property.Set(TEXT_VALUE, TrimTrailing(text));
    }

    std::string ExifText(const Exiv2::Exifdatum& datum) const
    {
        // A comment value reads back with its "charset=..." prefix otherwise.
        if (const auto* comment = dynamic_cast<const Exiv2::CommentValue*>(&datum.value()))
            return comment->comment();
        return datum.print(&exif_);
    }

    static std::string XmpText(const Exiv2::Xmpdatum& datum)
    {
        if (const auto* langAlt = dynamic_cast<const Exiv2::LangAltValue*>(&datum.value())) {
            const std::string text = langAlt->toString("x-default");
            if (!text.empty() || langAlt->value_.empty())
                return text;
            return langAlt->value_.begin()->second;
        }
        return datum.toString();
    }

    // The value is parsed before the tag is touched, so a bad text leaves the metadata as it was.
    void SetExif(const std::string& key, const std::string& text)
    {
        const Exiv2::ExifKey exifKey(key);
        Exiv2::Value::AutoPtr value = Exiv2::Value::create(exifKey.defaultTypeId());
        std::string input = text;
        if (exifKey.defaultTypeId() == Exiv2::comment) // Unicode keeps any text; ASCII stays readable everywhere
            input = (IsAscii(text) ? "charset=Ascii " : "charset=Unicode ") + text;
        if (value->read(input) != 0)
            throw Core::Exception("Cannot set the metadata tag " + key + ": \"" + text + "\" is not a valid value");
        exif_[key].setValue(value.get());
    }

    void SetIptc(const std::string& key, const std::string& text)
    {
        const Exiv2::IptcKey iptcKey(key);
        Exiv2::Value::AutoPtr value
            = Exiv2::Value::create(Exiv2::IptcDataSets::dataSetType(iptcKey.tag(), iptcKey.record()));
        if (value->read(text) != 0)
            throw Core::Exception("Cannot set the metadata tag " + key + ": \"" + text + "\" is not a valid value");
        iptc_[key].setValue(value.get());
    }

    Exiv2::ExifData exif_;
    Exiv2::XmpData xmp_;
    Exiv2::IptcData iptc_;
};

} // namespace

ImageMetadataPtr CreateImageMetadata()
{
    EnsureExiv2Started();
    return ImageMetadataPtr(new ImageMetadata());
}

ImageMetadataPtr ReadImageMetadata(const std::string& utf8Path)
{
    EnsureExiv2Started();
    try {
        Exiv2::Image::AutoPtr image = Exiv2::ImageFactory::open(utf8Path);
        image->readMetadata();
        return ImageMetadataPtr(new ImageMetadata(image->exifData(), image->xmpData(), image->iptcData()));
    } catch (const Exiv2::AnyError& error) {
        LOG(WARNING) << "Image metadata of " << utf8Path << " cannot be read, going on without it: " << Describe(error);
    } catch (const std::exception& error) {
        LOG(WARNING) << "Image metadata of " << utf8Path << " cannot be read, going on without it: " << error.what();
    }
    return ImageMetadataPtr(new ImageMetadata());
}

} // namespace Quelto::Lumindra::Proc

#pragma GCC diagnostic pop

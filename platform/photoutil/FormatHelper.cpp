#include "photoutil/FormatHelper.h"

#include <algorithm>
#include <cctype>

#include <QCoreApplication>
#include <QStringList>

#include <glog/logging.h>

#include "proc/Vips.h"

namespace Quelto::Lumindra::PhotoUtil {

namespace {

struct KnownFormat {
    FormatRecord record;
    QString displayName;
};

std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return text;
}

// Accepts "JPG", "jpg" and ".jpg" alike.
std::string NormalizeExtension(const std::string& extension)
{
    std::string ext = Lower(extension);
    if (!ext.empty() && ext.front() == '.')
        ext.erase(0, 1);
    return ext;
}

bool HasOperation(const char* name)
{
    return vips_type_find("VipsOperation", name) != 0;
}

bool CanSave(const std::string& extension)
{
    const std::string name = "probe." + extension;
    const bool found = vips_foreign_find_save(name.c_str()) != nullptr;
    vips_error_clear(); // a miss leaves a message in vips' error buffer
    return found;
}

// What this build of the image library can read and write decides the flags, so that no
// format is offered that would fail later.
std::vector<KnownFormat> BuildFormats()
{
    bool vipsReady = true;
    try {
        Proc::EnsureVipsStarted();
    } catch (const std::exception& error) {
        LOG(ERROR) << "Image formats: " << error.what() << "; no format can be read or written";
        vipsReady = false;
    }
    auto make = [&](std::string codec, std::vector<std::string> extensions, const char* loader, bool alpha,
                    bool noOverwrite, const char* name) {
        KnownFormat format;
        format.record.codecId = std::move(codec);
        format.record.readable = vipsReady && HasOperation(loader);
        format.record.writable = vipsReady && CanSave(extensions.front());
        format.record.extensions = std::move(extensions);
        format.record.supportsTransparency = alpha;
        format.record.noOverwrite = noOverwrite;
        format.displayName = QString::fromLatin1(name);
        return format;
    };
    // GIF keeps only 256 colours: writing it over the open file would lose the photo's colours.
    // AVIF shares HEIF's container and loader but holds AV1 instead of HEVC: a format of its own,
    // so that its codec travels with the record rather than with a file name.
    return {
        make("jpeg", {"jpg", "jpeg", "jpe"}, "jpegload", false, false, "JPEG"),
        make("png", {"png"}, "pngload", true, false, "PNG"),
        make("tiff", {"tif", "tiff"}, "tiffload", true, false, "TIFF"),
        make("webp", {"webp"}, "webpload", true, false, "WebP"),
        make("heif", {"heic", "heif"}, "heifload", true, false, "HEIF"),
        make("avif", {"avif"}, "heifload", true, false, "AVIF"),
        make("gif", {"gif"}, "gifload", true, true, "GIF"),
    };
}

const std::vector<KnownFormat>& KnownFormats()
{
    static const std::vector<KnownFormat> formats = BuildFormats();
    return formats;
}

const KnownFormat* FindByExtension(const std::string& extension)
{
    const std::string ext = NormalizeExtension(extension);
    if (ext.empty())
        return nullptr;
    for (const KnownFormat& format : KnownFormats()) {
        const auto& exts = format.record.extensions;
        if (std::find(exts.begin(), exts.end(), ext) != exts.end())
            return &format;
    }
    return nullptr;
}

} // namespace

std::pair<QString, FormatRecord> FormatHelper::GetFormatDescriptionForExtension(const std::string& extension,
                                                                                bool forWriting)
{
    const KnownFormat* format = FindByExtension(extension);
    if (!format)
        return {QString(), FormatRecord()};
    const bool usable = forWriting ? format->record.writable : format->record.readable;
    return {usable ? format->displayName : QString(), format->record};
}

std::string FormatHelper::GetFormatNameForExtension(const std::string& extension)
{
    const KnownFormat* format = FindByExtension(extension);
    return format ? format->displayName.toStdString() : std::string();
}

const std::vector<FormatRecord>& FormatHelper::GetFormats()
{
    static const std::vector<FormatRecord> records = [] {
        std::vector<FormatRecord> list;
        for (const KnownFormat& format : KnownFormats())
            list.push_back(format.record);
        return list;
    }();
    return records;
}

QString FormatHelper::GetOpenFileFilter()
{
    QStringList patterns;
    for (const KnownFormat& format : KnownFormats()) {
        if (!format.record.readable)
            continue;
        for (const std::string& ext : format.record.extensions)
            patterns << QStringLiteral("*.") + QString::fromStdString(ext);
    }
    return QCoreApplication::translate("FormatHelper", "Images (%1)").arg(patterns.join(QLatin1Char(' ')));
}

} // namespace Quelto::Lumindra::PhotoUtil

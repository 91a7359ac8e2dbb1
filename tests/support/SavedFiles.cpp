#include "support/SavedFiles.h"

#include <algorithm>

#include <QDir>
#include <QFile>

#include <exiv2/exiv2.hpp>
#include <gtest/gtest.h>

namespace Quelto::Lumindra::Test {

Tags ReadTagsWithExiv2(const QString& path)
{
    Tags tags;
    try {
        auto image = Exiv2::ImageFactory::open(path.toStdString());
        image->readMetadata();
        for (const auto& datum : image->exifData())
            tags[datum.key()] = datum.toString();
        for (const auto& datum : image->xmpData())
            tags[datum.key()] = datum.toString();
        for (const auto& datum : image->iptcData())
            tags[datum.key()] = datum.toString();
    } catch (const Exiv2::AnyError& e) {
        ADD_FAILURE() << path.toStdString() << ": " << e.what();
    }
    return tags;
}

bool HasTagGroup(const Tags& tags, const std::string& prefix)
{
    return std::any_of(tags.begin(), tags.end(), [&](const auto& tag) { return tag.first.rfind(prefix, 0) == 0; });
}

QByteArray FileContents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList TemporaryFilesIn(const QString& folder)
{
    // The core's ".name.id.part" and the metadata library's ".name.tmp..." copies.
    return QDir(folder).entryList({QStringLiteral("*.part"), QStringLiteral(".*tmp*")}, QDir::Files | QDir::Hidden);
}

} // namespace Quelto::Lumindra::Test

#pragma once

#include <map>
#include <string>

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace Quelto::Lumindra::Test {

// What tests of saving read back from the files a save wrote, or left alone.
using Tags = std::map<std::string, std::string>;

// Every EXIF, XMP and IPTC entry of a file as the metadata library itself reads it, key to
// text; fails the calling test (and gives what it has) when the file cannot be read.
Tags ReadTagsWithExiv2(const QString& path);
// Whether `tags` hold a key that begins with `prefix` ("Exif.GPSInfo.").
bool HasTagGroup(const Tags& tags, const std::string& prefix);
// The bytes of a file; empty when it cannot be read.
QByteArray FileContents(const QString& path);
// The temporary files a save writes beside its target (and removes, done or failed) in `folder`.
QStringList TemporaryFilesIn(const QString& folder);

} // namespace Quelto::Lumindra::Test

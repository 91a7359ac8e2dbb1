#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <QFile>
#include <QImage>

#include <gtest/gtest.h>

#include "core/Exception.h"
#include "proc/IImageMetadata.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

using M = Proc::IImageMetadata;
namespace support = ::Quelto::Lumindra::Test;

const QString kGpsPhoto = QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg");
const QString kDescriptionOnly = QStringLiteral("exif-samples/jpg/long_description.jpg");

Proc::ImageMetadataPtr Read(const QString& testData)
{
    return Proc::ReadImageMetadata(support::TestDataPathUtf8(testData));
}

// The tag's text; empty when the tag is missing.
std::string Text(const M& metadata, const char* block, const char* tag, M::Standard family = M::EXIF)
{
    return metadata.GetTag(family, block, tag).Get(M::TEXT_VALUE);
}

std::vector<std::string> KeysStartingWith(const M& metadata, const std::string& prefix)
{
    std::vector<std::string> keys = metadata.GetKeys();
    keys.erase(std::remove_if(keys.begin(), keys.end(), [&](const std::string& key) { return key.rfind(prefix, 0) != 0; }),
               keys.end());
    return keys;
}

QString WriteFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    return path;
}

TEST(ImageMetadataTest, ReadsGpsTagsAsText)
{
    Proc::ImageMetadataPtr gps = Read(kGpsPhoto);
    const Core::Property latitude = gps->GetTag(M::EXIF, M::BLOCK_GPS, "GPSLatitude");
    EXPECT_EQ(latitude.Get(M::KEY), "Exif.GPSInfo.GPSLatitude");
    EXPECT_EQ(latitude.Get(M::TEXT_VALUE).rfind("43deg 28'", 0), 0u) << latitude.Get(M::TEXT_VALUE);
    EXPECT_EQ(Text(*gps, M::BLOCK_GPS, "GPSMapDatum"), "WGS-84") << "fixed-length text without its padding";
    EXPECT_TRUE(gps->GetTag(M::EXIF, M::BLOCK_GPS, "GPSAreaInformation").IsEmpty());
    EXPECT_TRUE(Read(kDescriptionOnly)->GetTag(M::EXIF, M::BLOCK_PHOTO, M::TAG_USER_COMMENT).IsEmpty())
        << "a description is not a comment";
}

// Both byte orders of camera files: the Unicode comment must be re-encoded to the file's.
TEST(ImageMetadataTest, AuthorAndCommentSurviveAWriteWithTheOtherTags)
{
    const support::Sandbox sandbox;
    const std::string author = "Zoë Ångström", comment = "Grüße aus Tōkyō, 東京 — by the river";
    for (const QString& source : {kGpsPhoto, QStringLiteral("exif-samples/jpg/Canon_40D.jpg")}) {
        SCOPED_TRACE(source.toStdString());
        const std::string path = sandbox.CopyTestData(source).toStdString();
        Proc::ImageMetadataPtr metadata = Proc::ReadImageMetadata(path);
        metadata->SetTag(M::EXIF, M::BLOCK_IMAGE, M::TAG_ARTIST, author);
        metadata->SetTag(M::EXIF, M::BLOCK_PHOTO, M::TAG_USER_COMMENT, comment);
        metadata->SetTag(M::EXIF, M::BLOCK_IMAGE, M::TAG_ORIENTATION, M::VAL_ORIENTATION_NORMAL);
        metadata->WriteToFile(path);

        Proc::ImageMetadataPtr reread = Proc::ReadImageMetadata(path);
        EXPECT_EQ(Text(*reread, M::BLOCK_IMAGE, M::TAG_ARTIST), author);
        EXPECT_EQ(Text(*reread, M::BLOCK_PHOTO, M::TAG_USER_COMMENT), comment);
        EXPECT_EQ(Text(*reread, M::BLOCK_IMAGE, M::TAG_ORIENTATION), "top, left");
        EXPECT_EQ(KeysStartingWith(*reread, "Exif.GPSInfo."), KeysStartingWith(*metadata, "Exif.GPSInfo."));
        EXPECT_EQ(KeysStartingWith(*reread, "Xmp."), KeysStartingWith(*metadata, "Xmp."));
        EXPECT_EQ(Text(*reread, M::BLOCK_IMAGE, "Model"), Text(*metadata, M::BLOCK_IMAGE, "Model"));
        EXPECT_FALSE(QImage(QString::fromStdString(path)).isNull()) << "the image must stay decodable";
    }
}

TEST(ImageMetadataTest, FailedWriteLeavesTheFileAsItWas)
{
    const support::Sandbox sandbox;
    Proc::ImageMetadataPtr metadata = Read(kGpsPhoto);
    EXPECT_THROW(metadata->WriteToFile(sandbox.FilePathUtf8(QStringLiteral("missing.jpg"))), Core::Exception);
    const QByteArray notes("these are notes, not a picture\n");
    QFile file(WriteFile(sandbox.FilePath(QStringLiteral("notes.jpg")), notes));
    EXPECT_THROW(metadata->WriteToFile(file.fileName().toStdString()), Core::Exception);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), notes);
    EXPECT_EQ(QDir(sandbox.Path()).entryList(QDir::Files | QDir::Hidden), QStringList {QStringLiteral("notes.jpg")})
        << "no temporary file may be left behind";
}

TEST(ImageMetadataTest, BadTagsAndValuesAreRejectedWithoutChange)
{
    Proc::ImageMetadataPtr metadata = Read(kGpsPhoto);
    const std::vector<std::string> before = metadata->GetKeys();
    EXPECT_THROW(metadata->SetTag(M::EXIF, M::BLOCK_IMAGE, "NoSuchTag", "x"), Core::Exception);
    EXPECT_THROW(metadata->SetTag(M::EXIF, "NoSuchBlock", M::TAG_ARTIST, "x"), Core::Exception);
    EXPECT_THROW(metadata->SetTag(M::XMP, "nosuchprefix", "title", "x"), Core::Exception);
    EXPECT_THROW(metadata->SetTag(M::EXIF, M::BLOCK_IMAGE, M::TAG_ORIENTATION, "upside down"), Core::Exception);
    EXPECT_THROW(metadata->SetTag(M::EXIF, M::BLOCK_IMAGE, "XResolution", "wide"), Core::Exception);
    EXPECT_EQ(metadata->GetKeys(), before);
    EXPECT_EQ(Text(*metadata, M::BLOCK_IMAGE, M::TAG_ORIENTATION), "top, left");
}

// Files whose metadata cannot be parsed: empty metadata and a warning naming the file, never an
// exception.
TEST(ImageMetadataTest, UnreadableFilesGiveEmptyMetadataAndAWarning)
{
    const support::Sandbox sandbox;
    const QString truncated = sandbox.CopyTestData(kGpsPhoto, QStringLiteral("truncated.jpg"));
    ASSERT_TRUE(QFile(truncated).resize(300)); // ends inside the EXIF block
    for (const QString& path : {sandbox.FilePath(QStringLiteral("missing.jpg")), WriteFile(sandbox.FilePath(QStringLiteral("empty.jpg")), {}),
                                WriteFile(sandbox.FilePath(QStringLiteral("text.jpg")), "plain text with an image extension\n"),
                                truncated}) {
        SCOPED_TRACE(path.toStdString());
        support::LogCapture log;
        Proc::ImageMetadataPtr metadata;
        EXPECT_NO_THROW(metadata = Proc::ReadImageMetadata(path.toStdString()));
        ASSERT_TRUE(metadata);
        EXPECT_TRUE(metadata->IsEmpty());
        EXPECT_GE(log.ProblemCount(), 1);
        EXPECT_TRUE(log.Contains(path.toStdString()));
    }
}

// The sample filed as broken decodes and carries a well-formed XMP packet (no EXIF); HEIF is an
// image container, not a video, so no tags may be made up from the file itself.
TEST(ImageMetadataTest, FilesWithoutExifAreReadAsTheyAre)
{
    Proc::ImageMetadataPtr metadata;
    ASSERT_NO_THROW(metadata = Read("exif-samples/jpg/invalid/image01088.jpg"));
    EXPECT_TRUE(KeysStartingWith(*metadata, "Exif.").empty());
    EXPECT_EQ(Text(*metadata, "xmp", "CreatorTool", M::XMP).rfind("Adobe", 0), 0u);
    EXPECT_TRUE(KeysStartingWith(*Read("exif-samples/heic/samplefilehub.heif"), "Xmp.video.").empty());
}

// XMP parsing goes through a toolkit that is not thread-safe by itself.
TEST(ImageMetadataTest, ConcurrentReadsAgree)
{
    const std::vector<std::string> expected = Read(kDescriptionOnly)->GetKeys();
    std::atomic<int> mismatches {0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20; ++i)
                mismatches += Read(kDescriptionOnly)->GetKeys() != expected ? 1 : 0;
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches, 0);
}

} // namespace
} // namespace Quelto::Lumindra

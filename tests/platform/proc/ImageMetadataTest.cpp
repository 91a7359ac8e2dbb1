#include <algorithm>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <QFile>
#include <QImage>

#include <glog/logging.h>
#include <gtest/gtest.h>

#include "core/Exception.h"
#include "proc/IImageMetadata.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra {
namespace {

using Proc::IImageMetadata;
namespace support = ::Quelto::Lumindra::Test;

const QString kGpsPhoto = QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg");
const QString kDescriptionOnly = QStringLiteral("exif-samples/jpg/long_description.jpg");

// Collects warnings so that a test can check that a problem was reported, not only survived.
class WarningCapture : public google::LogSink {
public:
    WarningCapture() { google::AddLogSink(this); }
    ~WarningCapture() override { google::RemoveLogSink(this); }
    void send(google::LogSeverity severity, const char*, const char*, int, const struct ::tm*, const char* message,
              size_t length) override
    {
        if (severity < google::GLOG_WARNING)
            return;
        std::lock_guard<std::mutex> lock(mutex_);
        warnings_.emplace_back(message, length);
    }
    bool Contains(const std::string& part) const
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return std::any_of(warnings_.begin(), warnings_.end(),
                           [&](const std::string& w) { return w.find(part) != std::string::npos; });
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> warnings_;
};

std::string Text(const IImageMetadata& metadata, const char* block, const char* tag)
{
    return metadata.GetTag(IImageMetadata::EXIF, block, tag).Get(IImageMetadata::TEXT_VALUE);
}

std::vector<std::string> KeysStartingWith(const IImageMetadata& metadata, const std::string& prefix)
{
    std::vector<std::string> keys;
    for (const std::string& key : metadata.GetKeys()) {
        if (key.compare(0, prefix.size(), prefix) == 0)
            keys.push_back(key);
    }
    return keys;
}

TEST(ImageMetadataTest, ReadsGpsTagsOfACameraFile)
{
    Proc::ImageMetadataPtr metadata = Proc::ReadImageMetadata(support::TestDataPathUtf8(kGpsPhoto));
    ASSERT_FALSE(metadata->IsEmpty());

    const Core::Property latitude = metadata->GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_GPS, "GPSLatitude");
    ASSERT_FALSE(latitude.IsEmpty());
    EXPECT_EQ(latitude.Get(IImageMetadata::KEY), "Exif.GPSInfo.GPSLatitude");
    EXPECT_EQ(latitude.Get(IImageMetadata::TYPE), "Rational");
    EXPECT_EQ(latitude.Get(IImageMetadata::TEXT_VALUE).rfind("43deg 28'", 0), 0u) << latitude.Get(IImageMetadata::TEXT_VALUE);
    EXPECT_EQ(Text(*metadata, IImageMetadata::BLOCK_GPS, "GPSLatitudeRef"), "North");
    EXPECT_EQ(Text(*metadata, IImageMetadata::BLOCK_GPS, "GPSLongitudeRef"), "East");
    // Fixed-length camera text comes back without its padding.
    EXPECT_EQ(Text(*metadata, IImageMetadata::BLOCK_GPS, "GPSMapDatum"), "WGS-84");
    EXPECT_TRUE(metadata->GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_GPS, "GPSAreaInformation").IsEmpty());
    EXPECT_GE(KeysStartingWith(*metadata, "Exif.GPSInfo.").size(), 8u);
}

TEST(ImageMetadataTest, DescriptionOnlyFileHasNoUserComment)
{
    Proc::ImageMetadataPtr metadata = Proc::ReadImageMetadata(support::TestDataPathUtf8(kDescriptionOnly));
    EXPECT_TRUE(metadata->GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_PHOTO, IImageMetadata::TAG_USER_COMMENT)
                    .IsEmpty());
    const std::string description = Text(*metadata, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_IMAGE_DESCRIPTION);
    EXPECT_EQ(description.rfind("Operation Mountain Viper", 0), 0u) << description;
    EXPECT_GT(description.size(), 200u);
    EXPECT_EQ(Text(*metadata, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ARTIST), "SSG KYLE DAVIS");
}

TEST(ImageMetadataTest, AuthorAndCommentSurviveAWriteAndCanBeRemoved)
{
    const support::Sandbox sandbox;
    // Both byte orders of camera files: the Unicode comment must be re-encoded to the file's.
    for (const QString& source : {kGpsPhoto, QStringLiteral("exif-samples/jpg/Canon_40D.jpg")}) {
        SCOPED_TRACE(source.toStdString());
        const std::string path = sandbox.CopyTestData(source).toStdString();
        const std::string author = "Zoë Ångström";
        const std::string comment = "Grüße aus Tōkyō, 東京 — by the river";

        Proc::ImageMetadataPtr metadata = Proc::ReadImageMetadata(path);
        metadata->SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ARTIST, author);
        metadata->SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_PHOTO, IImageMetadata::TAG_USER_COMMENT, comment);
        EXPECT_EQ(Text(*metadata, IImageMetadata::BLOCK_PHOTO, IImageMetadata::TAG_USER_COMMENT), comment);
        metadata->WriteToFile(path);

        Proc::ImageMetadataPtr reread = Proc::ReadImageMetadata(path);
        EXPECT_EQ(Text(*reread, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ARTIST), author);
        EXPECT_EQ(Text(*reread, IImageMetadata::BLOCK_PHOTO, IImageMetadata::TAG_USER_COMMENT), comment);
        const QImage pixels(QString::fromStdString(path));
        EXPECT_FALSE(pixels.isNull()) << "the image must stay decodable after a metadata write";

        reread->RemoveTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ARTIST);
        reread->RemoveTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_PHOTO, IImageMetadata::TAG_USER_COMMENT);
        reread->WriteToFile(path);
        Proc::ImageMetadataPtr removed = Proc::ReadImageMetadata(path);
        EXPECT_TRUE(removed->GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ARTIST).IsEmpty());
        EXPECT_TRUE(
            removed->GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_PHOTO, IImageMetadata::TAG_USER_COMMENT).IsEmpty());
    }
}

TEST(ImageMetadataTest, WriteKeepsGpsAndOtherTags)
{
    const support::Sandbox sandbox;
    const std::string path = sandbox.CopyTestData(kGpsPhoto).toStdString();
    Proc::ImageMetadataPtr metadata = Proc::ReadImageMetadata(path);
    metadata->SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ORIENTATION,
                     IImageMetadata::VAL_ORIENTATION_NORMAL);
    metadata->WriteToFile(path);

    Proc::ImageMetadataPtr reread = Proc::ReadImageMetadata(path);
    EXPECT_EQ(KeysStartingWith(*reread, "Exif.GPSInfo."), KeysStartingWith(*metadata, "Exif.GPSInfo."));
    EXPECT_EQ(Text(*reread, IImageMetadata::BLOCK_GPS, "GPSLatitude"), Text(*metadata, IImageMetadata::BLOCK_GPS, "GPSLatitude"));
    EXPECT_EQ(Text(*reread, IImageMetadata::BLOCK_IMAGE, "Model"), "COOLPIX P6000");
    EXPECT_EQ(reread->GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ORIENTATION)
                  .Get(IImageMetadata::TEXT_VALUE),
              "top, left");
    EXPECT_FALSE(KeysStartingWith(*reread, "Xmp.").empty());
}

// The formats the editor saves with metadata, written by another encoder first.
TEST(ImageMetadataTest, WritesIntoEveryFormatThatCarriesMetadata)
{
    const support::Sandbox sandbox;
    QImage picture(64, 48, QImage::Format_RGB32);
    picture.fill(QColor(30, 120, 200));
    for (const char* extension : {"jpg", "png", "tif", "webp"}) {
        SCOPED_TRACE(extension);
        const QString path = sandbox.FilePath(QStringLiteral("picture.") + QLatin1String(extension));
        if (!picture.save(path)) {
            ADD_FAILURE() << "the test picture cannot be written";
            continue;
        }
        Proc::ImageMetadataPtr metadata = Proc::ReadImageMetadata(path.toStdString());
        metadata->SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ARTIST, "Ana Lima");
        metadata->SetTag(IImageMetadata::XMP, "dc", "title", "Blue");
        ASSERT_NO_THROW(metadata->WriteToFile(path.toStdString()));
        Proc::ImageMetadataPtr reread = Proc::ReadImageMetadata(path.toStdString());
        EXPECT_EQ(Text(*reread, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ARTIST), "Ana Lima");
        EXPECT_EQ(reread->GetTag(IImageMetadata::XMP, "dc", "title").Get(IImageMetadata::TEXT_VALUE), "Blue");
        EXPECT_EQ(QImage(path).size(), picture.size());
    }
}

TEST(ImageMetadataTest, FailedWriteLeavesTheFileAsItWas)
{
    const support::Sandbox sandbox;
    Proc::ImageMetadataPtr metadata = Proc::ReadImageMetadata(support::TestDataPathUtf8(kGpsPhoto));

    EXPECT_THROW(metadata->WriteToFile(sandbox.FilePathUtf8(QStringLiteral("missing.jpg"))), Core::Exception);

    const QString notImage = sandbox.FilePath(QStringLiteral("notes.jpg"));
    {
        QFile file(notImage);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("these are notes, not a picture\n");
    }
    EXPECT_THROW(metadata->WriteToFile(notImage.toStdString()), Core::Exception);
    QFile file(notImage);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), QByteArray("these are notes, not a picture\n"));
    EXPECT_EQ(QDir(sandbox.Path()).entryList(QDir::Files | QDir::Hidden), QStringList {QStringLiteral("notes.jpg")})
        << "no temporary file may be left behind";
}

TEST(ImageMetadataTest, ClearKeepsListedTagsAndWholeGroups)
{
    Proc::ImageMetadataPtr metadata = Proc::ReadImageMetadata(support::TestDataPathUtf8(kGpsPhoto));
    const auto gpsBefore = KeysStartingWith(*metadata, "Exif.GPSInfo.");
    const auto thumbnailBefore = KeysStartingWith(*metadata, "Exif.Thumbnail.");
    ASSERT_FALSE(thumbnailBefore.empty());

    metadata->Clear({"Exif.Image.Orientation", "Exif.GPSInfo", "Exif.Thumbnail", "Exif.Image.Artist"});

    EXPECT_EQ(KeysStartingWith(*metadata, "Exif.GPSInfo."), gpsBefore);
    EXPECT_EQ(KeysStartingWith(*metadata, "Exif.Thumbnail."), thumbnailBefore);
    EXPECT_FALSE(metadata->GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ORIENTATION).IsEmpty());
    for (const std::string& key : metadata->GetKeys()) {
        const bool allowed = key == "Exif.Image.Orientation" || key.rfind("Exif.GPSInfo.", 0) == 0
            || key.rfind("Exif.Thumbnail.", 0) == 0;
        EXPECT_TRUE(allowed) << key << " should have been cleared";
    }

    // A key that only begins like a group name is not that group.
    metadata->Clear({"Exif.GPS", "Exif.Thumb"});
    EXPECT_TRUE(metadata->IsEmpty());
}

TEST(ImageMetadataTest, RemovingABlockWithAnEmptyTagKeepsTheRest)
{
    Proc::ImageMetadataPtr metadata = Proc::ReadImageMetadata(support::TestDataPathUtf8(kGpsPhoto));
    const std::size_t total = metadata->GetKeys().size();
    const std::size_t gps = KeysStartingWith(*metadata, "Exif.GPSInfo.").size();
    ASSERT_GT(gps, 0u);

    metadata->RemoveTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_GPS, "");

    EXPECT_TRUE(KeysStartingWith(*metadata, "Exif.GPSInfo.").empty());
    EXPECT_EQ(metadata->GetKeys().size(), total - gps);
    EXPECT_EQ(Text(*metadata, IImageMetadata::BLOCK_IMAGE, "Make"), "NIKON");
}

TEST(ImageMetadataTest, BadTagsAndValuesAreRejectedWithoutChange)
{
    Proc::ImageMetadataPtr metadata = Proc::ReadImageMetadata(support::TestDataPathUtf8(kGpsPhoto));
    const std::vector<std::string> before = metadata->GetKeys();

    EXPECT_THROW(metadata->SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, "NoSuchTag", "x"), Core::Exception);
    EXPECT_THROW(metadata->SetTag(IImageMetadata::EXIF, "NoSuchBlock", IImageMetadata::TAG_ARTIST, "x"), Core::Exception);
    EXPECT_THROW(metadata->SetTag(IImageMetadata::XMP, "nosuchprefix", "title", "x"), Core::Exception);
    EXPECT_THROW(metadata->SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ORIENTATION,
                                  "upside down"),
                 Core::Exception);
    EXPECT_THROW(metadata->SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, "XResolution", "wide"),
                 Core::Exception);

    EXPECT_EQ(metadata->GetKeys(), before);
    EXPECT_EQ(metadata->GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ORIENTATION)
                  .Get(IImageMetadata::TEXT_VALUE),
              "top, left");
    EXPECT_TRUE(metadata->GetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, "NoSuchTag").IsEmpty());
}

TEST(ImageMetadataTest, XmpAndIptcTagsUseTheirOwnFamilies)
{
    Proc::ImageMetadataPtr metadata = Proc::CreateImageMetadata();
    ASSERT_TRUE(metadata->IsEmpty());
    metadata->SetTag(IImageMetadata::XMP, "xmp", "Rating", "4");
    metadata->SetTag(IImageMetadata::IPTC, "Application2", "Caption", "A caption");

    const Core::Property rating = metadata->GetTag(IImageMetadata::XMP, "xmp", "Rating");
    EXPECT_EQ(rating.Get(IImageMetadata::KEY), "Xmp.xmp.Rating");
    EXPECT_EQ(rating.Get(IImageMetadata::TEXT_VALUE), "4");
    const Core::Property caption = metadata->GetTag(IImageMetadata::IPTC, "Application2", "Caption");
    EXPECT_EQ(caption.Get(IImageMetadata::KEY), "Iptc.Application2.Caption");
    EXPECT_EQ(caption.Get(IImageMetadata::TEXT_VALUE), "A caption");
    EXPECT_TRUE(metadata->GetTag(IImageMetadata::EXIF, "xmp", "Rating").IsEmpty());

    metadata->RemoveTag(IImageMetadata::IPTC, "Application2", "");
    EXPECT_EQ(metadata->GetKeys(), std::vector<std::string> {"Xmp.xmp.Rating"});
}

TEST(ImageMetadataTest, CloneIsIndependent)
{
    Proc::ImageMetadataPtr original = Proc::ReadImageMetadata(support::TestDataPathUtf8(kDescriptionOnly));
    Proc::ImageMetadataPtr copy = original->Clone();
    copy->SetTag(IImageMetadata::EXIF, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ARTIST, "Someone Else");
    copy->Clear({});

    EXPECT_TRUE(copy->IsEmpty());
    EXPECT_EQ(Text(*original, IImageMetadata::BLOCK_IMAGE, IImageMetadata::TAG_ARTIST), "SSG KYLE DAVIS");
    EXPECT_FALSE(KeysStartingWith(*original, "Xmp.photoshop.").empty());
}

// Files whose metadata cannot be parsed: empty metadata and a warning, never an exception.
TEST(ImageMetadataTest, UnreadableFilesGiveEmptyMetadataAndAWarning)
{
    const support::Sandbox sandbox;
    const QString empty = sandbox.FilePath(QStringLiteral("empty.jpg"));
    QFile(empty).open(QIODevice::WriteOnly);
    const QString text = sandbox.FilePath(QStringLiteral("text.jpg"));
    {
        QFile file(text);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("plain text with an image extension\n");
    }
    const QString truncated = sandbox.CopyTestData(kGpsPhoto, QStringLiteral("truncated.jpg"));
    ASSERT_TRUE(QFile(truncated).resize(300)); // ends inside the EXIF block

    for (const QString& path : {sandbox.FilePath(QStringLiteral("missing.jpg")), empty, text, truncated}) {
        SCOPED_TRACE(path.toStdString());
        WarningCapture warnings;
        Proc::ImageMetadataPtr metadata;
        EXPECT_NO_THROW(metadata = Proc::ReadImageMetadata(path.toStdString()));
        ASSERT_TRUE(metadata);
        EXPECT_TRUE(metadata->IsEmpty());
        EXPECT_TRUE(warnings.Contains(path.toStdString()));
    }
}

// The sample filed as broken decodes and carries a well-formed XMP packet (no EXIF): its
// metadata is read as it is, without an exception.
TEST(ImageMetadataTest, SampleFiledAsBrokenIsReadWithoutThrowing)
{
    Proc::ImageMetadataPtr metadata;
    ASSERT_NO_THROW(metadata = Proc::ReadImageMetadata(support::TestDataPathUtf8("exif-samples/jpg/invalid/image01088.jpg")));
    EXPECT_TRUE(KeysStartingWith(*metadata, "Exif.").empty());
    EXPECT_EQ(metadata->GetTag(IImageMetadata::XMP, "xmp", "CreatorTool").Get(IImageMetadata::TEXT_VALUE).rfind("Adobe", 0), 0u);
}

// HEIF is an image container, not a video: no tags may be made up from the file itself.
TEST(ImageMetadataTest, HeifIsReadAsAnImage)
{
    Proc::ImageMetadataPtr metadata = Proc::ReadImageMetadata(support::TestDataPathUtf8("exif-samples/heic/samplefilehub.heif"));
    EXPECT_TRUE(KeysStartingWith(*metadata, "Xmp.video.").empty());
}

// XMP parsing goes through a toolkit that is not thread-safe by itself.
TEST(ImageMetadataTest, ConcurrentReadsAgree)
{
    const std::string path = support::TestDataPathUtf8(kDescriptionOnly);
    const std::vector<std::string> expected = Proc::ReadImageMetadata(path)->GetKeys();
    constexpr int kThreads = 4;
    constexpr int kRounds = 20;
    std::vector<int> mismatches(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRounds; ++i) {
                if (Proc::ReadImageMetadata(path)->GetKeys() != expected)
                    ++mismatches[std::size_t(t)];
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(std::count(mismatches.begin(), mismatches.end(), 0), kThreads);
}

} // namespace
} // namespace Quelto::Lumindra

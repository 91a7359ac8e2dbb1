// Damaged and hostile files opened as the editor opens them (the host's open request through
// the helper, the provider and the core): each is refused with one open error that names the
// file and says why, the picture on show stays, and the cache keeps nothing of it. Files that
// are only odd (a misleading extension, absurd metadata) open whole.

#include <unistd.h>

#include <functional>
#include <random>

#include <boost/crc.hpp>

#include <QBuffer>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>

#include "FakeWindow.h"
#include "LumindraWorkspace/WorkspaceControllerHelper.h"
#include "ProviderFixture.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;
using ThrowEvent = PhotoCore::ICoreEventHandler::ThrowEvent;

constexpr const char* kPhoto = "exif-samples/jpg/Canon_40D.jpg";

QByteArray Read(const QString& path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

QString Write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size()) << path.toStdString();
    return path;
}

void PutBigEndian(QByteArray& bytes, int at, quint32 value, int size)
{
    for (int i = 0; i < size; ++i)
        bytes[at + i] = char(value >> (8 * (size - 1 - i)));
}

// A JPEG whose frame header declares another size; its scan data stays what it was.
QByteArray JpegDeclaring(QByteArray jpeg, int width, int height)
{
    for (int at = 2; at + 9 < jpeg.size();) {
        const auto marker = quint8(jpeg[at + 1]);
        const int length = quint8(jpeg[at + 2]) << 8 | quint8(jpeg[at + 3]);
        if (marker >= 0xC0 && marker <= 0xC2) {
            PutBigEndian(jpeg, at + 5, quint32(height), 2);
            PutBigEndian(jpeg, at + 7, quint32(width), 2);
            return jpeg;
        }
        at += 2 + length;
    }
    ADD_FAILURE() << "no frame header";
    return jpeg;
}

// A PNG whose header chunk declares another size, with its checksum made right again.
QByteArray PngDeclaring(QByteArray png, quint32 width, quint32 height)
{
    constexpr int kIhdrType = 12, kIhdrData = 16, kIhdrCrc = 29; // fixed by the format
    PutBigEndian(png, kIhdrData, width, 4);
    PutBigEndian(png, kIhdrData + 4, height, 4);
    boost::crc_32_type crc;
    crc.process_bytes(png.constData() + kIhdrType, kIhdrCrc - kIhdrType);
    PutBigEndian(png, kIhdrCrc, crc.checksum(), 4);
    return png;
}

// The EXIF block of a JPEG with its first directory made absurd: `entryCount` entries, or the
// first entry claiming `valueCount` values.
QByteArray JpegWithAbsurdExif(QByteArray jpeg, quint16 entryCount, quint32 valueCount)
{
    const int tiff = jpeg.indexOf("Exif\0\0", 0) + 6;
    EXPECT_GT(tiff, 6);
    const bool little = jpeg.mid(tiff, 2) == "II";
    auto put = [&](int at, quint32 value, int size) {
        for (int i = 0; i < size; ++i)
            jpeg[at + i] = char(value >> (8 * (little ? i : size - 1 - i)));
    };
    auto get32 = [&](int at) {
        quint32 value = 0;
        for (int i = 0; i < 4; ++i)
            value |= quint32(quint8(jpeg[at + i])) << (8 * (little ? i : 3 - i));
        return value;
    };
    const int ifd = tiff + int(get32(tiff + 4));
    if (valueCount)
        put(ifd + 2 + 4, valueCount, 4); // tag (2), type (2), then the count
    if (entryCount)
        put(ifd, entryCount, 2);
    return jpeg;
}

class BadInputTest : public TS::ProviderFixture {
protected:
    void SetUp() override
    {
        helper = TS::MakeHelper(window);
        helper->AddFileToOpen(QString::fromStdString(Photo("on-show.jpg")));
        ASSERT_NE(helper->GetWorkspaceController(), nullptr);
    }

    // Opens `path` as the host does. An empty `reason`: it must open; otherwise it must be
    // refused with one open error naming the file and containing the reason, and the same error
    // when tried again: nothing of an earlier failure piles up in the message.
    void ExpectOpen(const QString& path, const std::string& reason)
    {
        const std::string text = ExpectOpenOnce(path, reason);
        if (!reason.empty()) {
            EXPECT_EQ(ExpectOpenOnce(path, reason), text) << "tried again";
        }
    }

    // The error's text, or nothing when the file opened.
    std::string ExpectOpenOnce(const QString& path, const std::string& reason)
    {
        const auto before = helper->GetWorkspaceController();
        QSignalSpy thrown(helper.get(), &WorkspaceControllerHelper::throwEvent);
        helper->AddFileToOpen(path);
        QCoreApplication::processEvents();
        if (reason.empty()) {
            EXPECT_EQ(thrown.count(), 0);
            EXPECT_NE(helper->GetWorkspaceController(), before);
            if (helper->GetWorkspaceController()) {
                EXPECT_EQ(helper->GetWorkspaceController()->GetOriginalFileName(), path);
            }
            return {};
        }
        if (thrown.count() != 1) {
            ADD_FAILURE() << thrown.count() << " errors";
            return {};
        }
        const auto event = qvariant_cast<ThrowEvent>(thrown.at(0).at(0));
        EXPECT_EQ(event.fileName, path.toStdString());
        EXPECT_NE(event.text.find(QFileInfo(path).fileName().toStdString()), std::string::npos) << event.text;
        EXPECT_NE(event.text.find(reason), std::string::npos) << event.text;
        EXPECT_EQ(helper->GetWorkspaceController(), before) << "the picture on show stays";
        EXPECT_FALSE(helper->GetProvider().GetCache().Find(Name(path.toStdString()))) << "nothing of it is kept";
        return event.text;
    }

    TS::FakeWindow window;
    std::unique_ptr<WorkspaceControllerHelper> helper;
};

// Every test image cut at each tenth of its length (the first tenth: nothing left).
TEST_F(BadInputTest, EveryTestImageCutShortIsRefused)
{
    QDirIterator files(TS::TestDataPath(QStringLiteral("exif-samples")), QDir::Files, QDirIterator::Subdirectories);
    int count = 0;
    while (files.hasNext()) {
        const QFileInfo source(files.next());
        const QByteArray whole = Read(source.filePath());
        for (int tenth = 0; tenth < 10; ++tenth) {
            const QString name = source.completeBaseName() + QStringLiteral("-cut%1.").arg(tenth) + source.suffix();
            SCOPED_TRACE(name.toStdString());
            const QString path = Write(sandbox_.FilePath(name), whole.left(whole.size() * tenth / 10));
            ExpectOpen(path, tenth == 0 ? "the file is empty" : "Cannot open");
            ++count;
        }
    }
    EXPECT_GE(count, 100) << "the test images were not found";
}

TEST_F(BadInputTest, HostileAndOddFilesGetOneClearErrorOrOpenWhole)
{
    const QByteArray jpeg = Read(TS::TestDataPath(QString::fromLatin1(kPhoto)));
    QByteArray png;
    {
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        ASSERT_TRUE(TS::MakeTestImage(64, 48).save(&buffer, "PNG"));
    }
    std::mt19937 random(16); // fixed: the same noise every run
    QByteArray noise(64 * 1024, '\0');
    for (char& c : noise)
        c = char(random());
    auto file = [&](const char* name, const QByteArray& bytes) {
        return [&, name, bytes] { return Write(sandbox_.FilePath(name), bytes); };
    };
    // Removed or replaced between the request and the open: while the window is asked.
    auto changedWhileOpening = [&](const char* name, std::function<void(const QString&)> change) {
        return [&, name, change] {
            const QString path = Write(sandbox_.FilePath(name), jpeg);
            window.onResetQuestion = [path, change] { change(path); };
            return path;
        };
    };

    struct Case { const char* what; std::function<QString()> make; std::string reason; };
    const std::vector<Case> cases = {
        {"random bytes as a JPEG", file("noise.jpg", noise), "not an image this application can read"},
        {"random bytes as a PNG", file("noise.png", noise), "not an image this application can read"},
        {"random bytes after a JPEG signature", file("signed-noise.jpg", jpeg.left(4) + noise), "Cannot open"},
        {"a JPEG declaring 65000x65000", file("bomb.jpg", JpegDeclaring(jpeg, 65000, 65000)), "65000x65000"},
        {"a PNG declaring 100000x100000", file("bomb.png", PngDeclaring(png, 100000, 100000)),
         "100000x100000"},
        {"a JPEG named as a PNG", file("jpeg-inside.png", jpeg), ""},
        {"a JPEG named as text", file("picture.txt", jpeg), "not supported"},
        {"a JPEG without an extension", file("picture", jpeg), "no extension"},
        {"a folder named like an image",
         [&] {
             QDir(sandbox_.Path()).mkdir(QStringLiteral("folder.jpg"));
             return sandbox_.FilePath(QStringLiteral("folder.jpg"));
         },
         "it is a folder"},
        {"a file that is not there", [&] { return sandbox_.FilePath(QStringLiteral("missing.jpg")); }, "does not exist"},
        {"deleted while opening", changedWhileOpening("deleted.jpg", [](const QString& p) { QFile::remove(p); }),
         "does not exist"},
        {"replaced by text while opening",
         changedWhileOpening("replaced.jpg", [](const QString& p) { Write(p, "no longer a picture\n"); }),
         "not an image this application can read"},
        {"an EXIF directory of 65535 entries", file("many-entries.jpg", JpegWithAbsurdExif(jpeg, 0xFFFF, 0)), ""},
        {"an EXIF entry of 2^31 values", file("many-values.jpg", JpegWithAbsurdExif(jpeg, 0, 0x7FFFFFFF)), ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ExpectOpen(c.make(), c.reason);
        window.onResetQuestion = nullptr;
    }
}

// The owner's permission bits do not bind root, so the case only runs for ordinary users.
TEST_F(BadInputTest, AFileWithoutReadPermissionIsRefused)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "root reads every file";
    const QString path = QString::fromStdString(Photo("locked.jpg"));
    ASSERT_TRUE(QFile::setPermissions(path, QFileDevice::WriteOwner));
    ExpectOpen(path, "no permission");
}

} // namespace
} // namespace Quelto::Lumindra

// Saving through the IO engine: what is written, and that a failure leaves the target alone.

#include <algorithm>
#include <mutex>
#include <vector>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QTimer>

#include <gtest/gtest.h>

#include "CoreTestSupport.h"
#include "photocore/PhotoCoreFactory.h"
#include "proc/Vips.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::PhotoCore {
namespace {

namespace T = ::Quelto::Lumindra::Test;
using Meta = Proc::IImageMetadata;

SettingsSave SaveAs(const IPhotoCore& core, const QString& path)
{
    SettingsSave settings = core.GetIOEngine().GetSaveSettings();
    settings.SetFileName(path.toStdString());
    settings.SetFileExt(QFileInfo(path).suffix().toStdString());
    settings.SetCodecID({});
    return settings;
}

QStringList PartFiles(const QString& folder)
{
    return QDir(folder).entryList({"*.part"}, QDir::Files | QDir::Hidden);
}

// An image stored turned (EXIF orientation 6) is written upright with orientation 1, with its
// other metadata kept, and the core counts as saved under the new name.
TEST(CoreSave, WritesTheUprightPictureWithOrientationOneAndItsMetadata)
{
    T::Sandbox sandbox;
    PhotoCorePtr core = PhotoCoreFactory::Create(
        ioPath(T::TestDataPathUtf8("exif-samples/jpg/orientation/landscape_6.jpg")), "k");
    core->ApplyEffect(Proc::EffectSettingsImpl::Create(Proc::SettingsFlip(true)));
    const QImage shown = T::CurrentImage(*core);
    SettingsSave settings = SaveAs(*core, sandbox.FilePath("out.jpg"));
    settings.MetadataSettingsRef().GetMetadata().SetTag(Meta::EXIF, Meta::BLOCK_IMAGE, Meta::TAG_ARTIST, "Someone");
    ASSERT_EQ(core->GetIOEngine().Save(settings), IPhotoCoreIO::SaveResultSuccess);
    EXPECT_TRUE(core->GetIOEngine().IsSaved());
    EXPECT_EQ(core->GetFrameSettings(-1)->GetGeneral().GetFileName(), sandbox.FilePathUtf8("out.jpg"));
    EXPECT_TRUE(PartFiles(sandbox.Path()).isEmpty());

    PhotoCorePtr reopened = PhotoCoreFactory::Create(ioPath(sandbox.FilePathUtf8("out.jpg")), "k");
    const Meta& meta = reopened->GetIOEngine().GetMetadataSettings().GetMetadata();
    PhotoCorePtr upright = PhotoCoreFactory::Create(
        ioPath(T::TestDataPathUtf8("exif-samples/jpg/orientation/landscape_1.jpg")), "k");
    const auto orientation = [](const IPhotoCore& c) {
        return c.GetIOEngine().GetMetadataSettings().GetMetadata().GetTag(Meta::EXIF, Meta::BLOCK_IMAGE,
                                                                           Meta::TAG_ORIENTATION);
    };
    EXPECT_EQ(orientation(*reopened), orientation(*upright));
    EXPECT_EQ(meta.GetTag(Meta::EXIF, Meta::BLOCK_IMAGE, Meta::TAG_ARTIST).Get(Meta::TEXT_VALUE), "Someone");
    const QImage written = T::CurrentImage(*reopened);
    ASSERT_EQ(written.size(), shown.size());
    EXPECT_GT(T::Psnr(written, shown), 30.0);
}

// A failed save returns a failure and leaves the previous file exactly as it was.
TEST(CoreSave, FailuresLeaveTheTargetUntouched)
{
    T::Sandbox sandbox;
    PhotoCorePtr core = PhotoCoreFactory::Create(ioPath(T::TestDataPathUtf8("exif-samples/jpg/Canon_40D.jpg")), "k");
    IPhotoCoreIO& io = core->GetIOEngine();

    EXPECT_EQ(io.Save(SaveAs(*core, sandbox.FilePath("picture.bmpx"))), IPhotoCoreIO::SaveResultFormatRefused);
    EXPECT_EQ(io.Save(SaveAs(*core, sandbox.FilePath("no/such/folder/x.jpg"))), IPhotoCoreIO::SaveResultNotWritable);

    ASSERT_TRUE(QDir(sandbox.Path()).mkdir("folder.jpg"));
    EXPECT_EQ(io.Save(SaveAs(*core, sandbox.FilePath("folder.jpg"))), IPhotoCoreIO::SaveResultNotWritable);

    // A name so long that the temporary file beside it cannot be made: the encoder fails.
    const QString target = sandbox.FilePath(QString(240, QLatin1Char('k')) + ".jpg");
    QFile previous(target);
    ASSERT_TRUE(previous.open(QIODevice::WriteOnly));
    previous.write("the previous contents");
    previous.close();
    EXPECT_EQ(io.Save(SaveAs(*core, target)), IPhotoCoreIO::SaveResultFailed);
    EXPECT_FALSE(io.IsSaved() && io.GetSaveSettings().GetFileName() == target.toStdString());

    // A codec the encoder does not have is refused before anything is written.
    SettingsSave odd = SaveAs(*core, target);
    odd.SetCodecID("bmp");
    EXPECT_EQ(io.Save(odd), IPhotoCoreIO::SaveResultFormatRefused);

    ASSERT_TRUE(previous.open(QIODevice::ReadOnly));
    EXPECT_EQ(previous.readAll(), QByteArray("the previous contents"));
    EXPECT_TRUE(PartFiles(sandbox.Path()).isEmpty());
}

// Records the job-done events, which arrive on the core's thread.
class JobRecorder : public ICoreEventHandler {
public:
    void HandleJobDone(const CoreEventJobDone& event) override
    {
        std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(event);
    }
    std::vector<CoreEventJobDone> Events() const
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return events_;
    }

private:
    mutable std::mutex mutex_; // guards events_
    std::vector<CoreEventJobDone> events_;
};

// A save is a job: StartSave returns its id, and its one job-done event carries the result code
// and, on failure, a reason a person can read.
TEST(CoreSave, ASaveEndsWithOneEventCarryingItsResultAndReason)
{
    T::Sandbox sandbox;
    PhotoCorePtr core = PhotoCoreFactory::Create(ioPath(T::TestDataPathUtf8("exif-samples/jpg/Canon_40D.jpg")), "k");
    JobRecorder recorder;
    core->GetEventSource().RegisterCoreEventHandler(&recorder);
    IPhotoCoreIO& io = core->GetIOEngine();
    struct Case {
        QString target;
        IPhotoCoreIO::SaveResult result;
    };
    const Case cases[] = {
        {sandbox.FilePath("out.jpg"), IPhotoCoreIO::SaveResultSuccess},
        {sandbox.FilePath("out.bmpx"), IPhotoCoreIO::SaveResultFormatRefused},
        {sandbox.FilePath("no/such/folder/x.png"), IPhotoCoreIO::SaveResultNotWritable},
    };
    for (const Case& c : cases) {
        const std::uint64_t id = io.StartSave(SaveAs(*core, c.target));
        const auto done = io.WaitForJob(id);
        EXPECT_EQ(done.id, id);
        EXPECT_EQ(done.kind, ICoreEventHandler::CoreEventJobDone::JOB_SAVE);
        EXPECT_EQ(done.code, int(c.result)) << c.target.toStdString();
        EXPECT_EQ(done.success, c.result == IPhotoCoreIO::SaveResultSuccess);
        EXPECT_EQ(done.reason.empty(), done.success) << done.reason;
        EXPECT_EQ(QFileInfo::exists(c.target), done.success);
        ASSERT_TRUE(T::WaitUntil([&] {
            const auto events = recorder.Events();
            return std::count_if(events.begin(), events.end(), [&](const auto& e) { return e.id == id; }) == 1;
        }));
    }
    core->GetEventSource().UnregisterCoreEventHandler(&recorder);
}

// While Save waits for its job on the UI thread, the window's timers keep running.
TEST(CoreSave, WaitingForASaveKeepsTheEventLoopRunning)
{
    T::Sandbox sandbox;
    QImage picture(4000, 3000, QImage::Format_RGB32);
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            picture.setPixel(x, y, qRgb(x * 7, y * 13, (x ^ y) & 0xff));
    PhotoCorePtr core = PhotoCoreFactory::Create(picture, ImageSourcePaste);
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    int ticks = 0;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] { ++ticks; });
    timer.start(1);
    EXPECT_EQ(core->GetIOEngine().Save(SaveAs(*core, sandbox.FilePath("big.png"))), IPhotoCoreIO::SaveResultSuccess);
    EXPECT_GT(ticks, 0) << "the timer never ran while the picture was encoded";
}

// Every writable format reads back, in Qt and in the core (WebP and GIF have no sample of their
// own), with the author where the format carries metadata.
TEST(CoreSave, EveryFormatWritesAFileThatReadsBack)
{
    T::Sandbox sandbox;
    PhotoCorePtr core = PhotoCoreFactory::Create(T::MakeTestImage(64, 48), ImageSourcePaste);
    for (auto [extension, qtFormat] : {std::pair {"jpg", "jpeg"}, {"png", "png"}, {"tif", "tiff"}, {"webp", "webp"}, {"gif", "gif"}}) {
        SCOPED_TRACE(extension);
        const QString path = sandbox.FilePath(QStringLiteral("out.") + extension);
        SettingsSave settings = SaveAs(*core, path);
        settings.MetadataSettingsRef().GetMetadata().SetTag(Meta::EXIF, Meta::BLOCK_IMAGE, Meta::TAG_ARTIST, "Ana Lima");
        ASSERT_EQ(core->GetIOEngine().Save(settings), IPhotoCoreIO::SaveResultSuccess);
        QImageReader reader(path);
        EXPECT_EQ(reader.format(), QByteArray(qtFormat));
        EXPECT_EQ(reader.size(), QSize(64, 48));
        PhotoCorePtr reopened = PhotoCoreFactory::Create(ioPath(path.toStdString()), "k");
        EXPECT_EQ(T::CurrentImage(*reopened).size(), QSize(64, 48));
        const Meta& meta = reopened->GetIOEngine().GetMetadataSettings().GetMetadata();
        EXPECT_EQ(meta.GetTag(Meta::EXIF, Meta::BLOCK_IMAGE, Meta::TAG_ARTIST).Get(Meta::TEXT_VALUE),
                  std::string(extension) == "gif" ? "" : "Ana Lima");
    }
}

// JPEG is written from the display format straight; a deep or a transparent picture is made
// 8-bit and opaque first (white where it was clear), and the resolution goes into the header.
TEST(CoreSave, JpegOfDeepAndTransparentPicturesShowsWhatTheScreenShows)
{
    T::Sandbox sandbox;
    QImage deep(48, 32, QImage::Format_RGBA64);
    deep.fill(QColor::fromRgba64(1000, 20000, 50000, 65535));
    QImage clear(48, 32, QImage::Format_ARGB32);
    clear.fill(QColor(200, 30, 30, 0));
    struct Case { const char* what; QImage picture; QColor expected; };
    for (const Case& c : {Case {"deep", deep, QColor(4, 78, 195)}, Case {"transparent", clear, QColor(255, 255, 255)}}) {
        SCOPED_TRACE(c.what);
        PhotoCorePtr core = PhotoCoreFactory::Create(c.picture, ImageSourceDrop);
        ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
        const QString path = sandbox.FilePath(QString::fromLatin1(c.what) + ".jpg");
        ASSERT_EQ(core->GetIOEngine().Save(SaveAs(*core, path)), IPhotoCoreIO::SaveResultSuccess);
        const QImage written(path);
        ASSERT_EQ(written.size(), c.picture.size());
        const QColor mean = T::MeanColor(written, written.rect());
        EXPECT_LE(std::abs(mean.red() - c.expected.red()) + std::abs(mean.green() - c.expected.green())
                      + std::abs(mean.blue() - c.expected.blue()),
                  6)
            << mean.name().toStdString();
        const double dpi = core->GetFrameSettings(-1)->GetPassThrough().GetResolution();
        EXPECT_NEAR(written.dotsPerMeterX() * 0.0254, dpi, 1.0);
    }
}

// HEIF and AVIF share a container: what is inside must follow the format, not the name of the
// temporary file the core writes first. A reopened AVIF file is written back as AV1 by default.
TEST(CoreSave, HeicHoldsHevcAndAvifHoldsAv1)
{
    T::Sandbox sandbox;
    Proc::EnsureVipsStarted();
    const auto compression = [](const QString& path) {
        const vips::VImage image = vips::VImage::new_from_file(path.toUtf8().constData());
        return image.get_typeof("heif-compression") ? std::string(image.get_string("heif-compression")) : "";
    };
    PhotoCorePtr core = PhotoCoreFactory::Create(T::MakeTestImage(64, 48), ImageSourcePaste);
    for (auto [extension, codec] : {std::pair {"heic", "hevc"}, {"avif", "av1"}}) {
        SCOPED_TRACE(extension);
        const QString path = sandbox.FilePath(QStringLiteral("out.") + extension);
        ASSERT_EQ(core->GetIOEngine().Save(SaveAs(*core, path)), IPhotoCoreIO::SaveResultSuccess);
        EXPECT_EQ(compression(path), codec);
    }
    PhotoCorePtr reopened = PhotoCoreFactory::Create(ioPath(sandbox.FilePathUtf8("out.avif")), "k");
    ASSERT_TRUE(reopened->WaitForIdle(T::kDefaultWaitMs));
    SettingsSave again = reopened->GetIOEngine().GetSaveSettings();
    again.SetFileName(sandbox.FilePathUtf8("again.avif"));
    ASSERT_EQ(reopened->GetIOEngine().Save(again), IPhotoCoreIO::SaveResultSuccess);
    EXPECT_EQ(compression(sandbox.FilePath("again.avif")), "av1");
}

// Saving over the file the core came from: the file changed, but the core made the change.
TEST(CoreSave, SavingOverTheSourceKeepsTheCoreCurrent)
{
    T::Sandbox sandbox;
    const QString path = sandbox.CopyTestData("exif-samples/jpg/Canon_40D.jpg");
    PhotoCorePtr core = PhotoCoreFactory::Create(ioPath(path.toStdString()), "k");
    QImage deep(32, 16, QImage::Format_RGBA64);
    deep.fill(QColor::fromRgba64(1000, 2000, 30000, 65535));
    PhotoCorePtr deepCore = PhotoCoreFactory::Create(deep, ImageSourceDrop);

    ASSERT_EQ(core->GetIOEngine().Save(SaveAs(*core, path)), IPhotoCoreIO::SaveResultSuccess);
    EXPECT_FALSE(core->HasHistoryOrFileChanged());
    EXPECT_FALSE(core->HasUnsavedChanges());

    // A 16-bit picture stays 16-bit in PNG.
    const QString png = sandbox.FilePath("deep.png");
    ASSERT_EQ(deepCore->GetIOEngine().Save(SaveAs(*deepCore, png)), IPhotoCoreIO::SaveResultSuccess);
    PhotoCorePtr reopened = PhotoCoreFactory::Create(ioPath(png.toStdString()), "k");
    ASSERT_TRUE(reopened->WaitForIdle(T::kDefaultWaitMs));
    EXPECT_EQ(reopened->GetFrameSettings(-1)->GetPixFmt(), Proc::PIX_FMT_RGBA64);
}

} // namespace
} // namespace Quelto::Lumindra::PhotoCore

// Opening images: what the factory makes of real files, of pictures, and of bad input.

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include "CoreTestSupport.h"
#include "core/PhotoCoreException.h"
#include "photocore/PhotoCoreFactory.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::PhotoCore {
namespace {

namespace T = ::Quelto::Lumindra::Test;
using T::EventRecorder;

PhotoCorePtr Open(const QString& path, CoreCreateOptions options = {})
{
    return PhotoCoreFactory::Create(ioPath(path.toStdString()), "key", options);
}

// A large JPEG gets a reduced preview first, as a temporary frame on the core's thread, then
// the full frame; both are opaque display frames.
TEST(PhotoCoreFactory, LargeJpegShowsPreviewThenFullFrameFromTheRenderThread)
{
    T::Sandbox sandbox;
    const QString path = T::WriteJpeg(sandbox.FilePath("big.jpg"), 4000, 3000);
    EventRecorder recorder;
    CoreCreateOptions options;
    options.drawerEventHandler = &recorder;
    options.coreEventHandler = &recorder;
    PhotoCorePtr core = Open(path, options);

    // Create returned with the preview as the current frame: long side >= 1500, reduced.
    const Proc::DataVideoPtr first = core->GetVideo();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->GetPixFmt(), Proc::PIX_FMT_BGRA32);
    EXPECT_EQ(first->GetFrameInfo().width, 2000);
    EXPECT_EQ(first->GetFrameInfo().height, 1500);

    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    EXPECT_TRUE(core->GetProcessing().IsFullFrameReady());
    EXPECT_FALSE(core->GetProcessing().IsScaledForMemory());
    const Proc::DataVideoPtr full = core->GetVideo();
    ASSERT_TRUE(full);
    EXPECT_EQ(full->GetFrameInfo().width, 4000);
    EXPECT_EQ(full->GetFrameInfo().height, 3000);
    EXPECT_TRUE(full->IsOpaque());
    EXPECT_GT(full->GetLevelCount(), 1) << "levels are built after the full frame";
    EXPECT_EQ(core->GetFrameSettings(-1)->GetFrameInfo().width, 4000);

    EXPECT_EQ(recorder.Sequence(), "temporary loaded frame loaded");
    const auto entries = recorder.Entries();
    EXPECT_EQ(entries[0].frame, first);
    EXPECT_EQ(entries[1].value, ICoreEventHandler::CoreEventLoaded::LOAD_PREVIEW);
    EXPECT_EQ(entries[2].value, IDrawerEventHandler::DrawerEventFrame::REASON_LOADED);
    EXPECT_EQ(entries[3].value, ICoreEventHandler::CoreEventLoaded::LOAD_FULL);
    for (const auto& entry : entries)
        EXPECT_NE(entry.thread, std::this_thread::get_id()) << entry.kind;
    core->GetEventSource().UnregisterDrawerEventHandler(&recorder);
    core->GetEventSource().UnregisterCoreEventHandler(&recorder);

    CoreCreateOptions waiting;
    waiting.waitForFullFrame = true;
    PhotoCorePtr waited = Open(path, waiting);
    EXPECT_TRUE(waited->GetProcessing().IsFullFrameReady()) << "waiting returns with the full frame";
    EXPECT_EQ(waited->GetVideo()->GetFrameInfo().width, 4000);
}

// The eight EXIF orientations of one photograph all show the same upright picture.
class Orientation : public ::testing::TestWithParam<int> {};

TEST_P(Orientation, GivesTheUprightPicture)
{
    const auto load = [](int n) {
        const QString path = T::TestDataPath(QStringLiteral("exif-samples/jpg/orientation/landscape_%1.jpg").arg(n));
        PhotoCorePtr core = Open(path);
        return T::CurrentImage(*core);
    };
    const QImage reference = load(1);
    const QImage image = load(GetParam());
    ASSERT_EQ(image.size(), reference.size());
    // Each sample carries its own number (and mirrored labels) in the middle: compare the mean
    // colours of the eight outer cells of a 3x3 grid, which a wrong turn or mirror swaps.
    const int cw = image.width() / 3, ch = image.height() / 3;
    for (int cell = 0; cell < 9; ++cell) {
        if (cell == 4)
            continue;
        const QRect rect((cell % 3) * cw, (cell / 3) * ch, cw, ch);
        const QColor a = T::MeanColor(image, rect), b = T::MeanColor(reference, rect);
        EXPECT_NEAR(a.red(), b.red(), 16) << "cell " << cell;
        EXPECT_NEAR(a.green(), b.green(), 16) << "cell " << cell;
        EXPECT_NEAR(a.blue(), b.blue(), 16) << "cell " << cell;
    }
}

INSTANTIATE_TEST_SUITE_P(PhotoCoreFactory, Orientation, ::testing::Range(1, 9));

TEST(PhotoCoreFactory, ReadsTheMetadataTagsOfTheFile)
{
    using Meta = Proc::IImageMetadata;
    PhotoCorePtr gps = Open(T::TestDataPath("exif-samples/jpg/gps/DSCN0010.jpg"));
    const Meta& gpsMeta = gps->GetIOEngine().GetMetadataSettings().GetMetadata();
    EXPECT_FALSE(gpsMeta.GetTag(Meta::EXIF, Meta::BLOCK_GPS, "GPSLatitude").IsEmpty());

    PhotoCorePtr described = Open(T::TestDataPath("exif-samples/jpg/long_description.jpg"));
    const Meta& meta = described->GetIOEngine().GetMetadataSettings().GetMetadata();
    EXPECT_EQ(meta.GetTag(Meta::EXIF, Meta::BLOCK_IMAGE, Meta::TAG_ARTIST).Get(Meta::TEXT_VALUE), "SSG KYLE DAVIS");
    EXPECT_NE(meta.GetTag(Meta::EXIF, Meta::BLOCK_IMAGE, Meta::TAG_IMAGE_DESCRIPTION).Get(Meta::TEXT_VALUE)
                  .find("Operation Mountain Viper"),
              std::string::npos);

    const Core::Property info = described->GetIOEngine().GetMetadataSettings().GetFileInfo();
    EXPECT_EQ(info.Get("size"), std::to_string(QFileInfo(T::TestDataPath("exif-samples/jpg/long_description.jpg")).size()));
    EXPECT_FALSE(info.Get("modified").empty());
    EXPECT_EQ(described->GetIOEngine().GetSaveSettings().GetCodecID(), "jpeg");
    EXPECT_DOUBLE_EQ(described->GetFrameSettings(-1)->GetPassThrough().GetResolution(), 72.0);
}

// Metadata the metadata library cannot parse costs the metadata, not the picture.
TEST(PhotoCoreFactory, DamagedMetadataLeavesThePictureReadable)
{
    T::Sandbox sandbox;
    QFile source(T::TestDataPath("exif-samples/jpg/Canon_40D.jpg"));
    ASSERT_TRUE(source.open(QIODevice::ReadOnly));
    QByteArray bytes = source.readAll();
    const int tiff = bytes.indexOf(QByteArray("Exif\0\0II*\0", 10)) + 6;
    ASSERT_GT(tiff, 6);
    bytes.replace(tiff, 2, "QQ"); // no byte order the EXIF block can be read in
    QFile damaged(sandbox.FilePath("damaged.jpg"));
    ASSERT_TRUE(damaged.open(QIODevice::WriteOnly));
    damaged.write(bytes);
    damaged.close();

    T::LogCapture log;
    PhotoCorePtr core = Open(damaged.fileName());
    EXPECT_EQ(T::CurrentImage(*core).size(), QSize(100, 68));
    const Proc::IImageMetadata& meta = core->GetIOEngine().GetMetadataSettings().GetMetadata();
    EXPECT_TRUE(meta.GetTag(Proc::IImageMetadata::EXIF, Proc::IImageMetadata::BLOCK_IMAGE, "Model").IsEmpty());
    EXPECT_GE(log.ProblemCount(), 1) << "the loss is logged";
}

// Regression: libvips caches random-access loads by file name, so a picture saved over and
// opened again came back as it was before.
TEST(PhotoCoreFactory, AFileRewrittenSinceItWasOpenedIsReadAnew)
{
    T::Sandbox sandbox;
    const QString path = sandbox.FilePath("changing.png");
    ASSERT_TRUE(T::MakeTestImage(80, 60).save(path));
    EXPECT_EQ(T::CurrentImage(*Open(path)).size(), QSize(80, 60));
    ASSERT_TRUE(T::MakeTestImage(50, 40).save(path));
    EXPECT_EQ(T::CurrentImage(*Open(path)).size(), QSize(50, 40));
    EXPECT_EQ(Open(path)->GetProcessing().GetSourceFrameInfo().width, 50);
}

TEST(PhotoCoreFactory, OpensTheOtherFormats)
{
    struct Case {
        const char* file;
        int width, height;
    };
    for (const Case& c : {Case {"exif-samples/heic/samplefilehub.heif", 640, 426}, Case {"exif-samples/tiff/BSG1.tiff", 635, 348},
                          Case {"exif-samples/jpg/xmp/BlueSquare.jpg", 360, 216},
                          // Filed among the invalid samples for EXIF readers: its only metadata is
                          // XMP, and its picture data is whole.
                          Case {"exif-samples/jpg/invalid/image01088.jpg", 425, 120}}) {
        SCOPED_TRACE(c.file);
        PhotoCorePtr core = Open(T::TestDataPath(c.file));
        EXPECT_EQ(T::CurrentImage(*core).size(), QSize(c.width, c.height));
        EXPECT_TRUE(core->GetProcessing().IsFullFrameReady());
    }
}

// A 16-bit source keeps its depth in the working format, and is shown as 8-bit BGRA.
TEST(PhotoCoreFactory, SixteenBitPngStaysSixteenBitAndDisplaysAsBgra)
{
    T::Sandbox sandbox;
    QImage deep(64, 32, QImage::Format_RGBA64);
    for (int y = 0; y < deep.height(); ++y)
        for (int x = 0; x < deep.width(); ++x)
            deep.setPixelColor(x, y, QColor::fromRgba64(QRgba64::fromRgba64(quint16(x * 1000 + 7), 40000, 300, 65535)));
    const QString path = sandbox.FilePath("deep.png");
    ASSERT_TRUE(deep.save(path, "PNG"));

    PhotoCorePtr core = Open(path);
    ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
    EXPECT_EQ(core->GetFrameSettings(-1)->GetPixFmt(), Proc::PIX_FMT_RGBA64);
    const Proc::DataVideoPtr shown = core->GetVideo();
    ASSERT_TRUE(shown);
    EXPECT_EQ(shown->GetPixFmt(), Proc::PIX_FMT_BGRA32);
    const QImage image = T::FrameImage(shown);
    EXPECT_EQ(qRed(image.pixel(10, 5)), (10 * 1000 + 7 + 128) / 257);
    EXPECT_EQ(qGreen(image.pixel(10, 5)), 156); // 40000 / 257 rounded
}

TEST(PhotoCoreFactory, ReducesImagesAboveThePixelLimitAndSaysSo)
{
    T::Sandbox sandbox;
    const QImage picture = T::MakeTestImage(2400, 1600);
    // A pasted picture has no file: the pasted one is reduced by the core's load job.
    for (const char* name : {"big.jpg", "big.png", "pasted"}) {
        SCOPED_TRACE(name);
        const bool pasted = std::string(name) == "pasted";
        const QString path = sandbox.FilePath(name);
        ASSERT_TRUE(pasted || picture.save(path));
        const auto make = [&](const CoreCreateOptions& options) {
            return pasted ? PhotoCoreFactory::Create(picture, ImageSourcePaste, options) : Open(path, options);
        };
        CoreCreateOptions options;
        options.pixelLimit = 1'000'000;
        PhotoCorePtr core = make(options);
        ASSERT_TRUE(core->WaitForIdle(T::kDefaultWaitMs));
        EXPECT_TRUE(core->GetProcessing().IsScaledForMemory());
        const Conf::FrameInfo info = core->GetVideo()->GetFrameInfo();
        EXPECT_LE(std::uint64_t(info.width) * info.height, options.pixelLimit);
        EXPECT_GE(info.width, 2400 / 4) << "the largest reduction under the limit";
        EXPECT_EQ(core->GetProcessing().GetSourceFrameInfo().width, 2400);

        options.pixelLimit = 4'000'000;
        PhotoCorePtr roomy = make(options);
        ASSERT_TRUE(roomy->WaitForIdle(T::kDefaultWaitMs));
        EXPECT_FALSE(roomy->GetProcessing().IsScaledForMemory());
    }
}

TEST(PhotoCoreFactory, PicturesBecomeCoresWithoutFile)
{
    QImage picture(120, 80, QImage::Format_ARGB32);
    picture.fill(qRgba(10, 200, 30, 128));
    PhotoCorePtr core = PhotoCoreFactory::Create(picture, ImageSourcePaste);
    EXPECT_TRUE(core->GetIOEngine().GetFilePath().empty());
    const IPhotoCoreDrawer::AlphaInfo alpha = core->GetAlphaInfo();
    EXPECT_EQ(alpha.hasAlpha, 1);
    EXPECT_EQ(alpha.alpha, 128);
    const QImage shown = T::CurrentImage(*core);
    EXPECT_EQ(shown.pixel(5, 5), qRgba(10, 200, 30, 128));
    picture.fill(Qt::black); // the core holds its own pixels
    EXPECT_EQ(T::CurrentImage(*core).pixel(5, 5), qRgba(10, 200, 30, 128));

    EXPECT_THROW(PhotoCoreFactory::Create(QImage(), ImageSourceDrop), PhotoCoreException);
}

QString WriteBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    return path;
}

// Bad input: a clear exception naming the file and the problem, and nothing left running.
TEST(PhotoCoreFactory, BadInputsThrowAClearErrorAndLeaveNoThread)
{
    T::Sandbox sandbox;
    QFile photo(T::TestDataPath("exif-samples/jpg/gps/DSCN0010.jpg"));
    ASSERT_TRUE(photo.open(QIODevice::ReadOnly));
    const QByteArray bytes = photo.readAll();
    const int threads = T::ThreadCount();
    for (auto [path, reason] : {std::pair {sandbox.FilePath("missing.jpg"), "does not exist"},
                                {WriteBytes(sandbox.FilePath("empty.jpg"), {}), "empty"},
                                {WriteBytes(sandbox.FilePath("truncated.jpg"), bytes.left(bytes.size() / 2)), "Premature end"},
                                {WriteBytes(sandbox.FilePath("notes.jpg"), "These are notes, not a photograph.\n"), "not an image"},
                                {sandbox.CopyTestData("exif-samples/jpg/Canon_40D.jpg", "photo.xyz"), "not supported"},
                                {sandbox.Path(), "folder"}}) {
        for (const bool wait : {false, true}) {
            SCOPED_TRACE(path.toStdString() + (wait ? ", waiting" : ""));
            CoreCreateOptions options;
            options.waitForFullFrame = wait;
            try {
                Open(path, options);
                ADD_FAILURE() << "no exception";
            } catch (const PhotoCoreException& e) {
                const std::string message = e.what();
                EXPECT_NE(message.find(QFileInfo(path).fileName().toStdString()), std::string::npos) << message;
                EXPECT_NE(message.find(reason), std::string::npos) << message;
            }
        }
    }
    // A joined thread may linger in the task list for a moment after the join returns.
    EXPECT_TRUE(T::WaitUntil([&] { return T::ThreadCount() <= threads; })) << T::ThreadCount() << " > " << threads << ": " << T::ThreadNames().toStdString();
}

} // namespace
} // namespace Quelto::Lumindra::PhotoCore

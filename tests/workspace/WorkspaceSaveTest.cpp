// Saving through the workspace controller as the editor and the export do it: the metadata
// choices read back with the metadata library itself, transparency, items over the picture, the
// statistics, saves that run as jobs, and targets that cannot be written.

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include <QDir>
#include <QGuiApplication>
#include <QFile>
#include <QFileInfo>
#include <QImage>

#include "LumindraWorkspace/WorkspaceController.h"
#include "LumindraWorkspace/scene/WorkspaceScene.h"
#include "ProviderFixture.h"
#include "photocore/StatisticsEventHandler.h"
#include "sceneitem/ShapeItem.h"
#include "support/SavedFiles.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;
using PhotoCore::IPhotoCoreIO;
using Stats = PhotoCore::IStatisticsEventHandler;
using TS::FileContents;
using TS::HasTagGroup;
using TS::ReadTagsWithExiv2;
using TS::Tags;

// Limits the size of files this process writes for its life, as a full disk would; writes
// beyond it fail with an error instead of the signal that would end the process.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        previousHandler_ = signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &previous_);
        rlimit limit = previous_;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &previous_);
        signal(SIGXFSZ, previousHandler_);
    }

private:
    rlimit previous_ {};
    sighandler_t previousHandler_ = SIG_DFL;
};

class WorkspaceSaveTest : public TS::ProviderFixture {
protected:
    std::shared_ptr<IWorkspaceController> Open(const QString& path)
    {
        auto controller = WorkspaceController::Create(provider_, ioPath(path.toStdString()), {});
        EXPECT_TRUE(controller->GetLumindraDrawer()->WaitForIdle(TS::kDefaultWaitMs));
        return controller;
    }
    static IPhotoCoreIO::SaveResult SaveAs(IWorkspaceController& controller, const QString& path)
    {
        IWorkspaceController::SaveSettings settings;
        settings.fileName = path;
        return controller.Save(settings);
    }
    std::vector<StatisticsEventHandler::Event> SaveEvents() const
    {
        std::vector<StatisticsEventHandler::Event> saves;
        for (const auto& event : statistics_.GetEvents())
            if (event.first == Stats::NAME_SAVING_IMAGE)
                saves.push_back(event);
        return saves;
    }

    StatisticsEventHandler statistics_;
    WorkspaceControllerProvider provider_ {false, &statistics_, false};
};

// The tags that describe how the pixels are stored survive stripping; the metadata library adds
// the pointers to its own directories when it writes.
const std::set<std::string> kStorageTags = {
    "Exif.Image.NewSubfileType", "Exif.Image.ImageWidth", "Exif.Image.ImageLength", "Exif.Image.BitsPerSample",
    "Exif.Image.Orientation", "Exif.Image.XResolution", "Exif.Image.YResolution", "Exif.Image.ResolutionUnit",
    "Exif.Image.Compression", "Exif.Photo.ColorSpace", "Exif.Photo.PixelXDimension", "Exif.Photo.PixelYDimension",
    "Exif.Image.ExifTag", "Exif.Image.GPSTag", "Exif.Image.YCbCrPositioning"};

TEST_F(WorkspaceSaveTest, MetadataChoicesAreWhatTheMetadataLibraryReadsBack)
{
    struct Case {
        const char* what;
        bool removeMetadata, removeGps;
        const char* author;
        const char* comment;
    };
    const Tags source = ReadTagsWithExiv2(TS::TestDataPath(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg")));
    ASSERT_TRUE(HasTagGroup(source, "Exif.GPSInfo.") && source.count("Exif.Image.Make")) << "the sample lost its tags";
    int index = 0;
    for (const Case& c : {Case {"neither: everything, author and comment added", false, false, "Ann Lee", "Harbour"},
                          Case {"GPS alone drops only the positions", false, true, "", ""},
                          Case {"strip keeps storage tags and the positions", true, false, "", ""},
                          Case {"strip with GPS keeps storage tags and the person's texts", true, true, "Ann Lee",
                                "Harbour at dawn"}}) {
        SCOPED_TRACE(c.what);
        auto controller = Open(sandbox_.CopyTestData(QStringLiteral("exif-samples/jpg/gps/DSCN0010.jpg"),
                                                     QStringLiteral("source-%1.jpg").arg(index)));
        WorkspaceMetadata& metadata = controller->MetadataSettings();
        metadata.SetAuthor(QString::fromUtf8(c.author));
        metadata.SetComment(QString::fromUtf8(c.comment));
        metadata.SetRemoveMetadata(c.removeMetadata);
        metadata.SetRemoveGPS(c.removeGps);
        const QString target = sandbox_.FilePath(QStringLiteral("saved-%1.jpg").arg(index++));
        ASSERT_EQ(SaveAs(*controller, target), IPhotoCoreIO::SaveResultSuccess);

        const Tags saved = ReadTagsWithExiv2(target);
        EXPECT_EQ(HasTagGroup(saved, "Exif.GPSInfo."), !c.removeGps);
        if (*c.author) {
            EXPECT_EQ(saved.count("Exif.Image.Artist") ? saved.at("Exif.Image.Artist") : "", c.author);
        }
        if (*c.comment) {
            ASSERT_TRUE(saved.count("Exif.Photo.UserComment"));
            EXPECT_NE(saved.at("Exif.Photo.UserComment").find(c.comment), std::string::npos);
            EXPECT_EQ(saved.count("Exif.Image.ImageDescription") ? saved.at("Exif.Image.ImageDescription") : "",
                      c.comment);
        }
        EXPECT_EQ(saved.count("Exif.Image.Orientation") ? saved.at("Exif.Image.Orientation") : "", "1");
        for (const char* tag : {"Exif.Image.Make", "Exif.Image.Model", "Exif.Photo.DateTimeOriginal", "Exif.Photo.FNumber"})
            EXPECT_EQ(saved.count(tag), c.removeMetadata ? 0u : 1u) << tag;
        if (!c.removeMetadata)
            continue;
        for (const auto& [key, value] : saved) {
            const bool kept = kStorageTags.count(key) || key.rfind("Exif.Thumbnail.", 0) == 0
                || (!c.removeGps && key.rfind("Exif.GPSInfo.", 0) == 0)
                || (*c.author && key == "Exif.Image.Artist")
                || (*c.comment && (key == "Exif.Photo.UserComment" || key == "Exif.Image.ImageDescription"));
            EXPECT_TRUE(kept) << key << " = " << value << " survived stripping";
        }
    }
}

// A photo stored turned (orientation 6) is written upright: orientation 1 and the pixels of the
// same photo stored upright.
TEST_F(WorkspaceSaveTest, ATurnedPhotoIsWrittenUprightWithOrientationOne)
{
    auto controller = Open(sandbox_.CopyTestData(QStringLiteral("exif-samples/jpg/orientation/landscape_6.jpg")));
    const QString target = sandbox_.FilePath(QStringLiteral("upright.jpg"));
    ASSERT_EQ(SaveAs(*controller, target), IPhotoCoreIO::SaveResultSuccess);
    const Tags saved = ReadTagsWithExiv2(target);
    ASSERT_TRUE(saved.count("Exif.Image.Orientation"));
    EXPECT_EQ(saved.at("Exif.Image.Orientation"), "1");
    // The two samples were encoded apart: the upright one must match clearly better than any
    // mirrored or half-turned reading of it.
    const QImage written = QImage(target).convertToFormat(QImage::Format_RGB32);
    const QImage upright = QImage(TS::TestDataPath(QStringLiteral("exif-samples/jpg/orientation/landscape_1.jpg")))
                               .convertToFormat(QImage::Format_RGB32);
    ASSERT_EQ(written.size(), upright.size());
    const double match = TS::Psnr(written, upright);
    for (const auto& [horizontal, vertical] : {std::pair {true, false}, {false, true}, {true, true}})
        EXPECT_GT(match, TS::Psnr(written, upright.mirrored(horizontal, vertical)) + 5.0) << horizontal << vertical;
}

// A PNG with a transparent half, saved as JPEG: Continue writes white where it was transparent;
// declining writes nothing at all.
TEST_F(WorkspaceSaveTest, TransparencyBecomesWhiteOnlyAfterContinue)
{
    QImage picture(120, 80, QImage::Format_ARGB32);
    picture.fill(QColor(30, 60, 200));
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 60; x < picture.width(); ++x)
            picture.setPixelColor(x, y, QColor(250, 0, 0, 0));
    const QString source = sandbox_.FilePath(QStringLiteral("half-clear.png"));
    ASSERT_TRUE(picture.save(source));
    for (const auto answer : {QDialogButtonBox::Cancel, QDialogButtonBox::Ok}) {
        SCOPED_TRACE(answer == QDialogButtonBox::Ok ? "Continue" : "Cancel");
        auto controller = Open(source);
        const QString target = sandbox_.FilePath(QStringLiteral("flat.jpg"));
        QFile::remove(target);
        QFile old(target);
        ASSERT_TRUE(old.open(QIODevice::WriteOnly) && old.write("the person's old file") > 0);
        old.close();
        TS::ScopedAlertAnswer alert(answer);
        const auto result = SaveAs(*controller, target);
        ASSERT_EQ(alert.Count(), 1);
        EXPECT_TRUE(alert.Texts().front().contains(QStringLiteral("JPEG")));
        if (answer == QDialogButtonBox::Cancel) {
            EXPECT_EQ(result, IPhotoCoreIO::SaveResultCancelled);
            EXPECT_EQ(FileContents(target), QByteArray("the person's old file"));
            continue;
        }
        ASSERT_EQ(result, IPhotoCoreIO::SaveResultSuccess);
        const QImage written(target);
        ASSERT_EQ(written.size(), picture.size());
        const QColor clear = TS::MeanColor(written, QRect(70, 10, 40, 60));
        const QColor kept = TS::MeanColor(written, QRect(10, 10, 40, 60));
        EXPECT_GE(std::min({clear.red(), clear.green(), clear.blue()}), 250) << clear.name().toStdString();
        EXPECT_LE(std::abs(kept.blue() - 200) + std::abs(kept.red() - 30), 12) << kept.name().toStdString();
    }
    EXPECT_TRUE(TS::TemporaryFilesIn(sandbox_.Path()).isEmpty());
}

// A shape that reaches 50 pixels left of the picture: the part on the picture is in the saved
// pixels, where it was drawn, and the file keeps the picture's size.
TEST_F(WorkspaceSaveTest, AnItemHalfOutsideThePictureIsSavedWhereItCoversIt)
{
    QImage picture(200, 100, QImage::Format_RGB32);
    picture.fill(QColor(0, 160, 0));
    const QString source = sandbox_.FilePath(QStringLiteral("green.png"));
    ASSERT_TRUE(picture.save(source));
    auto controller = Open(source);
    auto* shape = new LumindraSceneItem::ShapeItem(LumindraSceneItem::ShapeItem::Rectangle, QRectF(-50, 20, 100, 30));
    shape->setPen(Qt::NoPen);
    shape->setBrush(QColor(220, 20, 20));
    controller->GetScene()->addItem(shape);

    const QString target = sandbox_.FilePath(QStringLiteral("with-shape.png"));
    ASSERT_EQ(SaveAs(*controller, target), IPhotoCoreIO::SaveResultSuccess);
    const QImage written = QImage(target).convertToFormat(QImage::Format_RGB32);
    ASSERT_EQ(written.size(), picture.size());
    EXPECT_EQ(TS::MeanColor(written, QRect(2, 24, 44, 22)), QColor(220, 20, 20)) << "the part on the picture";
    EXPECT_EQ(TS::MeanColor(written, QRect(54, 22, 40, 26)), QColor(0, 160, 0)) << "right of the shape";
    EXPECT_EQ(TS::MeanColor(written, QRect(2, 55, 40, 40)), QColor(0, 160, 0)) << "below the shape";
}

TEST_F(WorkspaceSaveTest, StatisticsDescribeTheSaveAndARefusedOverwritePublishesNone)
{
    auto controller = Open(QString::fromStdString(Photo(QStringLiteral("photo.jpg"))));
    struct Case { std::int64_t bytes; const char* kibibytes; };
    for (const Case& c : {Case {1536, "2"}, Case {1535, "1"}, Case {0, nullptr}}) {
        IWorkspaceController::SaveSettings::StatisticsSettings statistics;
        statistics.fileSize = c.bytes;
        statistics.extension = "png";
        controller->SendSaveStatistics(statistics);
        const auto parameters = SaveEvents().back().second; // a copy: SaveEvents returns a temporary
        EXPECT_EQ(parameters.count(Stats::KEY_SIZE) ? parameters.at(Stats::KEY_SIZE) : "(none)",
                  c.kibibytes ? c.kibibytes : "(none)") << c.bytes;
        EXPECT_EQ(parameters.at(Stats::KEY_SAVING_IMAGE_OUTPUT_FORMAT), "PNG");
        EXPECT_EQ(parameters.at(Stats::KEY_SAVING_IMAGE_SAVING_TYPE), Stats::VAL_TYPE_OTHER);
    }

    // An open file whose extension no format claims (the core wrote JPEG under that name), and
    // one whose format may not be written over it.
    for (const char* name : {"photo.xyz", "photo.gif"}) {
        PhotoCore::SettingsSave save = controller->GetIOEngine().GetSaveSettings();
        save.SetFileName(sandbox_.FilePathUtf8(QString::fromLatin1(name)));
        save.SetFileExt(std::string(name) == "photo.xyz" ? "jpg" : "gif");
        save.SetCodecID({});
        ASSERT_EQ(controller->GetIOEngine().Save(save), IPhotoCoreIO::SaveResultSuccess) << name;
        const std::size_t before = SaveEvents().size();
        EXPECT_EQ(controller->SaveOverwrite(), IPhotoCoreIO::SaveResultFormatRefused) << name;
        EXPECT_EQ(SaveEvents().size(), before) << name;
    }

    const QString target = sandbox_.FilePath(QStringLiteral("out.webp"));
    ASSERT_EQ(SaveAs(*controller, target), IPhotoCoreIO::SaveResultSuccess);
    const auto saved = SaveEvents().back().second;
    EXPECT_EQ(saved.at(Stats::KEY_RESULT), Stats::VAL_RESULT_SUCCESS);
    EXPECT_EQ(saved.at(Stats::KEY_SAVING_IMAGE_OUTPUT_FORMAT), "WebP");
    EXPECT_EQ(saved.at(Stats::KEY_SIZE), std::to_string(std::llround(QFileInfo(target).size() / 1024.0)));
}

// A save that runs as a job: its outcome comes once, from the event loop, with the reason when
// it failed; a second save of the image is refused meanwhile; a waiting save goes after it.
TEST_F(WorkspaceSaveTest, ASaveJobEndsOnceWithItsOutcomeAndNeverInterleaves)
{
    auto controller = Open(QString::fromStdString(Photo(QStringLiteral("photo.jpg"))));
    std::vector<IWorkspaceController::SaveOutcome> outcomes;
    const auto record = [&](const IWorkspaceController::SaveOutcome& outcome) { outcomes.push_back(outcome); };

    IWorkspaceController::SaveSettings first;
    first.fileName = sandbox_.FilePath(QStringLiteral("first.png"));
    ASSERT_TRUE(controller->StartSave(first, record));
    EXPECT_TRUE(outcomes.empty()) << "an outcome arrived inside the call";
    EXPECT_TRUE(controller->IsSaving());
    IWorkspaceController::SaveSettings second;
    second.fileName = sandbox_.FilePath(QStringLiteral("second.png"));
    EXPECT_FALSE(controller->StartSave(second, record));
    EXPECT_FALSE(controller->StartSaveOverwrite(record));
    // A plain Save waits for the running one and then writes its own file.
    EXPECT_EQ(controller->Save(second), IPhotoCoreIO::SaveResultSuccess);
    ASSERT_EQ(outcomes.size(), 1u);
    EXPECT_EQ(outcomes[0].result, IPhotoCoreIO::SaveResultSuccess);
    EXPECT_EQ(outcomes[0].fileName, first.fileName);
    EXPECT_FALSE(controller->IsSaving());
    EXPECT_TRUE(QFileInfo::exists(first.fileName) && QFileInfo::exists(second.fileName));

    ASSERT_TRUE(QDir(sandbox_.Path()).mkdir(QStringLiteral("folder.jpg")));
    IWorkspaceController::SaveSettings folder;
    folder.fileName = sandbox_.FilePath(QStringLiteral("folder.jpg"));
    ASSERT_TRUE(controller->StartSave(folder, record));
    ASSERT_TRUE(TS::WaitUntil([&] { return outcomes.size() == 2; }));
    EXPECT_EQ(outcomes[1].result, IPhotoCoreIO::SaveResultNotWritable);
    EXPECT_TRUE(outcomes[1].reason.contains(QStringLiteral("is a folder"))) << outcomes[1].reason.toStdString();
    EXPECT_EQ(SaveEvents().back().second.at(Stats::KEY_RESULT), Stats::VAL_RESULT_FAILURE);

    // The controller goes while its save runs: the file is still written, nothing is called.
    IWorkspaceController::SaveSettings last;
    last.fileName = sandbox_.FilePath(QStringLiteral("last.png"));
    ASSERT_TRUE(controller->StartSave(last, record));
    PhotoCore::PhotoCorePtr core = provider_.GetCache().Find(provider_.GetCache().GetCurrentName());
    controller.reset();
    ASSERT_TRUE(core && core->WaitForIdle(TS::kDefaultWaitMs));
    QCoreApplication::processEvents();
    EXPECT_EQ(outcomes.size(), 2u);
    EXPECT_TRUE(QFileInfo::exists(last.fileName));
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
}

// Targets that cannot be written: each says why, the old file stays byte for byte, and no
// temporary file is left behind.
TEST_F(WorkspaceSaveTest, ATargetThatCannotBeWrittenSaysWhyAndLeavesTheOldFile)
{
    auto controller = Open(QString::fromStdString(Photo(QStringLiteral("photo.jpg"))));
    const QString old = sandbox_.FilePath(QStringLiteral("old.jpg"));
    ASSERT_TRUE(QFile::copy(QString::fromStdString(Photo(QStringLiteral("other.jpg"))), old));
    const QByteArray before = FileContents(old);
    ASSERT_TRUE(QDir(sandbox_.Path()).mkdir(QStringLiteral("a folder.png")));
    // Noise compresses badly: the encoded picture is far beyond the limit.
    QImage noise(1500, 1000, QImage::Format_RGB32);
    for (int y = 0; y < noise.height(); ++y)
        for (int x = 0; x < noise.width(); ++x)
            noise.setPixel(x, y, qRgb((x * 7919 + y * 104729) & 0xff, (x * y * 31) & 0xff, (x ^ (y * 13)) & 0xff));
    const QString noisy = sandbox_.FilePath(QStringLiteral("noise.png"));
    ASSERT_TRUE(noise.save(noisy));
    auto large = Open(noisy);

    struct Case {
        const char* what;
        IWorkspaceController* controller;
        QString target;
        rlim_t sizeLimit; // 0: none
        IPhotoCoreIO::SaveResult result;
        const char* reason;
    };
    for (const Case& c :
         {Case {"a folder as target", controller.get(), sandbox_.FilePath(QStringLiteral("a folder.png")), 0,
                IPhotoCoreIO::SaveResultNotWritable, "is a folder"},
          Case {"an unknown extension", controller.get(), sandbox_.FilePath(QStringLiteral("old.jpg.xyz")), 0,
                IPhotoCoreIO::SaveResultFormatRefused, "“.xyz” is not a format"},
          Case {"a folder that is gone", controller.get(), sandbox_.FilePath(QStringLiteral("gone/old.jpg")), 0,
                IPhotoCoreIO::SaveResultNotWritable, "does not exist"},
          Case {"a full disk", large.get(), old, 200 * 1024, IPhotoCoreIO::SaveResultFailed, "File too large"}}) {
        SCOPED_TRACE(c.what);
        std::vector<IWorkspaceController::SaveOutcome> outcomes;
        IWorkspaceController::SaveSettings settings;
        settings.fileName = c.target;
        {
            std::unique_ptr<FileSizeLimit> limit(c.sizeLimit ? new FileSizeLimit(c.sizeLimit) : nullptr);
            ASSERT_TRUE(c.controller->StartSave(settings, [&](const auto& outcome) { outcomes.push_back(outcome); }));
            c.controller->WaitForSave();
        }
        ASSERT_EQ(outcomes.size(), 1u);
        EXPECT_EQ(outcomes[0].result, c.result);
        EXPECT_TRUE(outcomes[0].reason.contains(QString::fromUtf8(c.reason))) << outcomes[0].reason.toStdString();
        EXPECT_EQ(FileContents(old), before);
        EXPECT_TRUE(TS::TemporaryFilesIn(sandbox_.Path()).isEmpty()) << TS::TemporaryFilesIn(sandbox_.Path()).join(' ').toStdString();
    }
}

// The open file is deleted: Save writes it anew, nothing is lost. Its folder is deleted: Save
// says so.
TEST_F(WorkspaceSaveTest, SavingOverADeletedSourceWritesItAgainOrSaysItsFolderIsGone)
{
    ASSERT_TRUE(QDir(sandbox_.Path()).mkdir(QStringLiteral("album")));
    const QString source = sandbox_.CopyTestData(QStringLiteral("exif-samples/jpg/Canon_40D.jpg"),
                                                 QStringLiteral("album/photo.jpg"));
    auto controller = Open(source);
    Edit(*controller->GetLumindraDrawer());
    ASSERT_TRUE(QFile::remove(source));
    EXPECT_EQ(controller->SaveOverwrite(), IPhotoCoreIO::SaveResultSuccess);
    EXPECT_EQ(QImage(source).size(), QSize(68, 100)) << "written anew, turned";

    Edit(*controller->GetLumindraDrawer());
    ASSERT_TRUE(QDir(sandbox_.FilePath(QStringLiteral("album"))).removeRecursively());
    std::vector<IWorkspaceController::SaveOutcome> outcomes;
    ASSERT_TRUE(controller->StartSaveOverwrite([&](const auto& outcome) { outcomes.push_back(outcome); }));
    ASSERT_TRUE(TS::WaitUntil([&] { return !outcomes.empty(); }));
    EXPECT_EQ(outcomes[0].result, IPhotoCoreIO::SaveResultNotWritable);
    EXPECT_TRUE(outcomes[0].reason.contains(QStringLiteral("does not exist"))) << outcomes[0].reason.toStdString();
    EXPECT_TRUE(controller->HasChanged()) << "the edits are still there to be saved elsewhere";
}

} // namespace
} // namespace Quelto::Lumindra

// Saving through the controller: the transparency question and what each answer does, the
// refusal of formats that cannot be written over the open file, the statistics event that
// describes every save, and the session save with its preview.

#include <QFile>
#include <QGuiApplication>

#include "LumindraWorkspace/WorkspaceController.h"
#include "ProviderFixture.h"
#include "CaseName.h"
#include "TestCore.h"
#include "photocore/StatisticsEventHandler.h"

namespace Quelto::Lumindra {
namespace {

namespace TS = ::Quelto::Lumindra::Test;

using PhotoCore::IPhotoCoreIO;
using Stats = PhotoCore::IStatisticsEventHandler;

class ControllerSaveTest : public TS::ProviderFixture {
protected:
    std::shared_ptr<IWorkspaceController> OpenPicture(bool transparent)
    {
        QImage image(64, 48, QImage::Format_ARGB32);
        image.fill(transparent ? QColor(200, 20, 20, 0) : QColor(200, 20, 20));
        return WorkspaceController::Create(provider_, QPixmap::fromImage(image), PhotoCore::ImageSourcePaste);
    }
    // A controller over a test core whose current frame carries `fileName`.
    std::shared_ptr<IWorkspaceController> OpenTestCore(const std::string& fileName)
    {
        auto factory = WorkspaceControllerProvider::DefaultCoreFactory();
        factory.createFromFile = [fileName](const ioPath&, const std::string&, const PhotoCore::CoreCreateOptions&) {
            boost::intrusive_ptr<TS::TestCore> core(new TS::TestCore(1));
            core->frameSettings.GetGeneral().SetFileName(fileName);
            core->filePath = ioPath("/photos/opened.jpg");
            core->frameSettings.SetFrameInfo({640, 480, 1.0});
            core->frameSettings.GetPassThrough().SetResolution(299.6);
            return PhotoCore::PhotoCorePtr(core);
        };
        provider_.SetCoreFactory(factory);
        return WorkspaceController::Create(provider_, ioPath(sandbox_.FilePathUtf8("test.jpg")), std::string());
    }
    std::vector<StatisticsEventHandler::Event> SaveEvents() const
    {
        std::vector<StatisticsEventHandler::Event> events;
        for (const auto& e : statistics_.GetEvents())
            if (e.first == Stats::NAME_SAVING_IMAGE)
                events.push_back(e);
        return events;
    }
    static IWorkspaceController::SaveSettings To(const QString& fileName)
    {
        IWorkspaceController::SaveSettings settings;
        settings.fileName = fileName;
        settings.statistics.fromSaveWindow = 1;
        return settings;
    }

    StatisticsEventHandler statistics_;
    WorkspaceControllerProvider provider_ {false, &statistics_, false};
};

TEST_F(ControllerSaveTest, DecliningTheTransparencyQuestionWritesAndChangesNothing)
{
    auto controller = OpenPicture(true);
    ASSERT_TRUE(controller->GetLumindraDrawer()->WaitForIdle(TS::kDefaultWaitMs));
    const QString target = sandbox_.FilePath(QStringLiteral("kept.jpg"));
    {
        QFile file(target);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("the user's previous file");
    }
    const int undo = controller->GetUndoEngine()->GetUndoCount();

    TS::ScopedAlertAnswer answer(QDialogButtonBox::Cancel);
    EXPECT_EQ(controller->Save(To(target)), IPhotoCoreIO::SaveResultCancelled);
    ASSERT_EQ(answer.Count(), 1);
    EXPECT_TRUE(answer.Texts()[0].contains(QStringLiteral("white background")));
    EXPECT_EQ(controller->GetUndoEngine()->GetUndoCount(), undo);
    QFile file(target);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), QByteArray("the user's previous file"));

    const auto events = SaveEvents();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].second.at(Stats::KEY_RESULT), Stats::VAL_RESULT_CANCEL);
    EXPECT_EQ(events[0].second.at(Stats::KEY_SAVING_IMAGE_SAVING_TYPE), Stats::VAL_SAVING_IMAGE_SAVING_TYPE_WINDOW);
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
}

TEST_F(ControllerSaveTest, QuestionIsAskedOnlyWhenTransparencyWouldBeLost)
{
    struct Case {
        const char* what;
        bool transparent;
        const char* target;
        int questions;
    };
    for (const Case& c : {Case {"opaque to JPEG", false, "opaque.jpg", 0},
                          Case {"transparent to PNG", true, "kept.png", 0},
                          Case {"transparent to JPEG", true, "flat.jpg", 1}}) {
        auto controller = OpenPicture(c.transparent);
        ASSERT_TRUE(controller->GetLumindraDrawer()->WaitForIdle(TS::kDefaultWaitMs));
        const int undo = controller->GetUndoEngine()->GetUndoCount();
        TS::ScopedAlertAnswer answer(QDialogButtonBox::Ok);
        EXPECT_EQ(controller->Save(To(sandbox_.FilePath(QString::fromLatin1(c.target)))),
                  IPhotoCoreIO::SaveResultSuccess)
            << c.what;
        EXPECT_EQ(answer.Count(), c.questions) << c.what;
        // Continuing flattens the picture onto white as one undoable step.
        EXPECT_EQ(controller->GetUndoEngine()->GetUndoCount(), undo + c.questions) << c.what;
        EXPECT_TRUE(QFile::exists(sandbox_.FilePath(QString::fromLatin1(c.target)))) << c.what;
    }
}

TEST_F(ControllerSaveTest, SaveOverwriteRefusesFormatsItCannotWriteBack)
{
    for (const char* name : {"/photos/picture.unknownext", "/photos/no-extension"}) {
        auto controller = OpenTestCore(name);
        EXPECT_EQ(controller->SaveOverwrite(), IPhotoCoreIO::SaveResultFormatRefused) << name;
    }
    EXPECT_TRUE(SaveEvents().empty()) << "a refused overwrite is no save";
}

struct StatisticsCase {
    const char* what;
    std::uint32_t result;
    std::int64_t size;
    const char* codec;
    const char* extension;
    const char* resultValue;
    const char* sizeValue;    // null: left out
    const char* outputFormat; // null: left out
};

class ControllerStatisticsTest : public ControllerSaveTest, public ::testing::WithParamInterface<StatisticsCase> {};

TEST_P(ControllerStatisticsTest, DescribeTheSave)
{
    const StatisticsCase& c = GetParam();
    auto controller = OpenTestCore("/photos/test.jpg");
    IWorkspaceController::SaveSettings::StatisticsSettings statistics;
    statistics.result = c.result;
    statistics.fileSize = c.size;
    statistics.codec = c.codec;
    statistics.extension = c.extension;
    controller->SendSaveStatistics(statistics);

    const auto events = SaveEvents();
    ASSERT_EQ(events.size(), 1u);
    const Stats::Parameters& p = events[0].second;
    EXPECT_EQ(p.at(Stats::KEY_RESULT), c.resultValue);
    EXPECT_EQ(p.at(Stats::KEY_SAVING_IMAGE_SAVING_TYPE), Stats::VAL_TYPE_OTHER);
    EXPECT_EQ(p.at(Stats::KEY_WIDTH), "640");
    EXPECT_EQ(p.at(Stats::KEY_HEIGHT), "480");
    EXPECT_EQ(p.at(Stats::KEY_RESOLUTION), "300");
    EXPECT_EQ(p.at(Stats::KEY_INPUT_FORMAT), "JPEG") << "the format of the file last opened";
    EXPECT_TRUE(p.count(Stats::KEY_SAVING_IMAGE_DEL_METADATA_CHHANGED)) << "the metadata adds its part";
    if (c.sizeValue)
        EXPECT_EQ(p.at(Stats::KEY_SIZE), c.sizeValue);
    else
        EXPECT_EQ(p.count(Stats::KEY_SIZE), 0u);
    if (c.outputFormat)
        EXPECT_EQ(p.at(Stats::KEY_SAVING_IMAGE_OUTPUT_FORMAT), c.outputFormat);
    else
        EXPECT_EQ(p.count(Stats::KEY_SAVING_IMAGE_OUTPUT_FORMAT), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Values, ControllerStatisticsTest,
    ::testing::Values(
        StatisticsCase {"success, one and a half KiB round up", 0, 1536, "png", "png", Stats::VAL_RESULT_SUCCESS, "2", "PNG"},
        StatisticsCase {"cancel, just under rounds down", 1, 1535, "jpeg", "jpg", Stats::VAL_RESULT_CANCEL, "1", "JPEG"},
        StatisticsCase {"failure without size or format", 2, 0, "", "", Stats::VAL_RESULT_FAILURE, nullptr, nullptr},
        StatisticsCase {"refused with extension only", 3, 0, "", "tif", Stats::VAL_RESULT_FAILURE, nullptr, "TIFF"}),
    TS::CaseNamer());

TEST_F(ControllerSaveTest, SessionSaveWritesThePreviewOnlyWhenSessionsAreShown)
{
    for (bool shown : {false, true}) {
        Util::SettingsManager::Instance().SetValue(Util::Settings::Name(Util::Settings::SHOW_LAST_SESSION), shown);
        auto controller = WorkspaceController::Create(provider_, ioPath(Photo("a.jpg")), std::string());
        const QString folder = QString::fromStdString(controller->GetIOEngine().GetSessionFolder().utf8string());
        QDir(folder).removeRecursively(); // a missing folder is made for the preview
        controller->SaveSession();
        EXPECT_EQ(QFile::exists(QDir(folder).filePath(IWorkspaceController::PREVIEW_NAME)), shown);
        EXPECT_TRUE(QDir(folder).exists()) << "the core saves its session in both cases";
        EXPECT_EQ(QString::fromStdString(controller->GenerateTemporaryFilePath().utf8string()).section('/', 0, -2),
                  QDir::cleanPath(folder));
    }
}

} // namespace
} // namespace Quelto::Lumindra

#include <set>

#include <QFile>

#include <gtest/gtest.h>

#include "FolderNavigator.h"
#include "support/TestSupport.h"

namespace Quelto::Lumindra::App {
namespace {

// Inside a test body "Test" names the test base class; the project helpers go by this name.
namespace Support = ::Quelto::Lumindra::Test;

// A folder of ten pictures (p1 .. p10, named so that only a natural sort orders them right)
// and two files the editor does not read.
class FolderNavigatorTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (int i = 1; i <= 10; ++i)
            Touch(QStringLiteral("p%1.jpg").arg(i));
        Touch(QStringLiteral("notes.txt"));
        Touch(QStringLiteral("raw.xyz"));
    }
    void Touch(const QString& name) const { sandbox.Touch(name); }
    std::string Utf8(const QString& name) const { return sandbox.FilePathUtf8(name); }
    QString Path(int i) const { return sandbox.FilePath(QStringLiteral("p%1.jpg").arg(i)); }

    Support::Sandbox sandbox;
    FolderNavigator nav;
};

TEST_F(FolderNavigatorTest, ListsOnlyPicturesInNaturalOrder)
{
    nav.SetCurrentFile(Path(2));
    ASSERT_EQ(nav.GetFiles().size(), 10);
    EXPECT_EQ(nav.GetFiles().front(), Path(1));
    EXPECT_EQ(nav.GetFiles()[9], Path(10)) << "p10 comes after p9, not after p1";
    EXPECT_EQ(nav.GetCurrentIndex(), 1);
}

TEST(FolderNavigatorOrder, NamesCompareAsAPersonReadsThem)
{
    struct Case { const char* a; const char* b; bool less; };
    for (const Case& c : {Case {"p9", "p10", true}, Case {"p10", "p9", false}, Case {"P2", "p10", true},
                          Case {"p007", "p8", true}, Case {"p08", "p7", false}, Case {"p00", "p0", false},
                          Case {"p0", "p00", true}, Case {"a", "B", true}, Case {"b1c", "b01d", true},
                          Case {"img", "img1", true}, Case {"x99999999999999999999", "x100000000000000000000", true}}) {
        SCOPED_TRACE(std::string(c.a) + " < " + c.b);
        EXPECT_EQ(FolderNavigator::NaturalLess(QString::fromLatin1(c.a), QString::fromLatin1(c.b)), c.less);
    }
}

TEST_F(FolderNavigatorTest, AStepSeesPicturesAddedOrRemovedMeanwhile)
{
    nav.SetCurrentFile(Path(2));
    nav.SetCurrentFile(Path(3));
    ASSERT_EQ(nav.GetFiles().size(), 10);
    Touch(QStringLiteral("p11.jpg"));
    ASSERT_TRUE(QFile::remove(Path(1)));
    nav.SetCurrentFile(Path(4));
    EXPECT_EQ(nav.GetFiles().size(), 10);
    EXPECT_EQ(nav.GetFiles().front(), Path(2));
    EXPECT_EQ(nav.GetFiles().back(), Path(11));
    EXPECT_EQ(nav.GetCurrentIndex(), 2);
}

TEST_F(FolderNavigatorTest, NeighboursStopAtTheEnds)
{
    nav.SetCurrentFile(Path(1));
    EXPECT_TRUE(nav.GetNeighbour(-1).isEmpty());
    EXPECT_EQ(nav.GetNeighbour(1), Path(2));
    nav.SetCurrentFile(Path(10));
    EXPECT_TRUE(nav.GetNeighbour(1).isEmpty());
    EXPECT_EQ(nav.GetNeighbour(-9), Path(1));
}

TEST_F(FolderNavigatorTest, PreloadRequestPutsTheNextFilesOfTheTravelDirectionFromTheThirdPlace)
{
    // Stepping forward from p4 to p5: p5 and the p4 just left lead (the preloader skips them),
    // then ahead and behind alternate, ahead first.
    nav.SetCurrentFile(Path(5));
    const auto forward = nav.GetPreloadRequest(+1);
    const std::vector<std::string> expectedForward {Utf8("p5.jpg"), Utf8("p4.jpg"), Utf8("p6.jpg"), Utf8("p3.jpg"),
                                                    Utf8("p7.jpg"), Utf8("p2.jpg"), Utf8("p8.jpg"), Utf8("p1.jpg")};
    EXPECT_EQ(forward, expectedForward);

    const auto backward = nav.GetPreloadRequest(-1);
    ASSERT_GE(backward.size(), 3u);
    EXPECT_EQ(backward[1], Utf8("p6.jpg"));
    EXPECT_EQ(backward[2], Utf8("p4.jpg")) << "going back, the file before is preloaded first";
}

TEST_F(FolderNavigatorTest, PreloadRequestAtTheStartOfTheFolderStillPreloadsTheNextFile)
{
    // Nothing lies behind p1: the current file fills the second place, so that p2, the file a
    // person opens next, stands third and is preloaded.
    nav.SetCurrentFile(Path(1));
    const auto names = nav.GetPreloadRequest(0);
    ASSERT_GE(names.size(), 3u);
    EXPECT_EQ(names[0], Utf8("p1.jpg"));
    EXPECT_EQ(names[1], Utf8("p1.jpg"));
    EXPECT_EQ(names[2], Utf8("p2.jpg"));
    const std::set<std::string> rest(names.begin() + 1, names.end());
    EXPECT_EQ(rest.size(), names.size() - 1) << "no file twice beyond the second place";
}

TEST_F(FolderNavigatorTest, AFileOfAnUnknownKindIsStillItsOwnPlace)
{
    nav.SetCurrentFile(sandbox.FilePath(QStringLiteral("raw.xyz")));
    EXPECT_GE(nav.GetCurrentIndex(), 0);
    EXPECT_EQ(nav.GetFiles().size(), 11);
}

TEST_F(FolderNavigatorTest, FilesChosenTogetherAreSteppedInTheirOwnOrderUntilAnotherFileOpens)
{
    const QStringList chosen {Path(7), Path(2), Path(9)};
    struct Step { QString open; QStringList files; int index; };
    nav.SetChosenFiles(chosen);
    for (const Step& s : {Step {Path(7), chosen, 0}, Step {Path(9), chosen, 2},
                          // Leaving the choice returns to the folder, for good.
                          Step {Path(4), {}, 3}, Step {Path(2), {}, 1}}) {
        SCOPED_TRACE(s.open.toStdString());
        nav.SetCurrentFile(s.open);
        EXPECT_EQ(nav.GetCurrentIndex(), s.index);
        if (!s.files.isEmpty())
            EXPECT_EQ(nav.GetFiles(), s.files);
        else
            EXPECT_EQ(nav.GetFiles().size(), 10);
    }
    nav.SetChosenFiles(chosen);
    nav.SetCurrentFile(Path(2));
    EXPECT_EQ(nav.GetNeighbour(+1), Path(9));
    EXPECT_EQ(nav.GetNeighbour(-1), Path(7));
    EXPECT_TRUE(nav.GetNeighbour(+2).isEmpty());

    nav.SetChosenFiles({Path(7)}); // one file: its folder
    nav.SetCurrentFile(Path(7));
    EXPECT_EQ(nav.GetFiles().size(), 10);
}

} // namespace
} // namespace Quelto::Lumindra::App

// The compare button in a real workspace: clicks, the compare hotkey tapped and held, buttons in
// step through the objects connector, the messages that end a comparison, and a tool that cannot
// be built.

#include <functional>
#include <memory>
#include <utility>

#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include "LumindraWorkspace/UI/CompareButton.h"
#include "LumindraWorkspace/tools/DrawingToolCompareImages.h"
#include "LumindraWorkspace/tools/DrawingToolCompareSplit.h"
#include "workspace/tools/ToolTestSupport.h"

namespace Quelto::Lumindra {
namespace {

namespace Support = ::Quelto::Lumindra::Test;

// A button's own click area (not its menu arrow).
void Click(CompareButton& button)
{
    QTest::mouseClick(&button, Qt::LeftButton, Qt::NoModifier, QPoint(4, button.height() / 2));
}

class CompareButtonTest : public ::testing::Test {
protected:
    CompareButtonTest()
    {
        for (CompareButton* button : {&button, &other}) {
            button->SetView(&workspace.view);
            button->SetWorkspaceController(workspace.controller.controller);
            button->show();
        }
    }
    ~CompareButtonTest() override
    {
        button.SetWorkspaceController({});
        other.SetWorkspaceController({});
    }
    bool Compared() { return Support::FindSeparator(workspace.view.scene()) != nullptr; }

    Support::CompareHost host;
    Support::Workspace workspace {Support::Quadrants(300, 200), QSize(600, 400)};
    CompareButton button;
    CompareButton other; // a second compare button of the host, kept in step
};

TEST_F(CompareButtonTest, AClickSwitchesTheComparisonOnAndTheNextOffInEitherType)
{
    for (CompareType type : {CompareType::SideBySide, CompareType::Split}) {
        SCOPED_TRACE(int(type));
        button.SetCompareType(type);
        QSignalSpy activated(&button, &CompareButton::compareIsActivated);
        QSignalSpy focus(&button, &CompareButton::setWorkspaceFocus);
        QSignalSpy tips(&button, &CompareButton::dragTipsEnabled);

        Click(button);
        ASSERT_TRUE(button.IsActive());
        EXPECT_TRUE(button.isChecked());
        ASSERT_NE(button.GetTool(), nullptr);
        EXPECT_EQ(workspace.view.GetDrawingTool(), button.GetTool()) << "the comparison takes the view's input";
        EXPECT_EQ(dynamic_cast<DrawingToolCompareSplit*>(button.GetTool()) != nullptr, type == CompareType::Split);
        ASSERT_EQ(activated.size(), 1);
        EXPECT_EQ(activated[0][0].toBool(), true);
        EXPECT_EQ(activated[0][1].value<CompareType>(), type);
        EXPECT_FALSE(tips.isEmpty() || tips.last()[0].toBool()) << "no drag tips while comparing";
        EXPECT_TRUE(other.IsActive() && other.isChecked()) << "the other button follows";
        EXPECT_EQ(other.GetTool(), nullptr);
        EXPECT_EQ(other.GetCompareType(), type);

        Click(button);
        EXPECT_FALSE(button.IsActive() || button.isChecked() || other.IsActive());
        EXPECT_EQ(button.GetTool(), nullptr);
        EXPECT_EQ(workspace.view.GetDrawingTool(), nullptr);
        EXPECT_TRUE(workspace.view.scene()->items().size() == 2) << "the canvas and its outline only";
        ASSERT_EQ(activated.size(), 2);
        EXPECT_FALSE(activated[1][0].toBool());
        EXPECT_TRUE(tips.last()[0].toBool());
        EXPECT_EQ(focus.size(), 2) << "each click gives the keyboard back to the workspace";
    }
}

TEST_F(CompareButtonTest, TheOtherButtonEndsAComparisonThatThisOneMadeAndATypeChangeRebuildsIt)
{
    Click(button);
    ASSERT_TRUE(Compared());
    other.SetCompareType(CompareType::Split);
    EXPECT_EQ(button.GetTool(), nullptr) << "one comparison at a time";
    ASSERT_NE(other.GetTool(), nullptr);
    EXPECT_NE(dynamic_cast<DrawingToolCompareSplit*>(other.GetTool()), nullptr);
    EXPECT_TRUE(button.IsActive());
    EXPECT_EQ(button.GetCompareType(), CompareType::Split);

    Click(button);
    EXPECT_FALSE(button.IsActive() || other.IsActive());
    EXPECT_EQ(other.GetTool(), nullptr);
    EXPECT_TRUE(workspace.view.scene()->items().size() == 2);
}

TEST_F(CompareButtonTest, TheHotkeyTappedTogglesAndHeldShowsTheComparisonUntilReleased)
{
    auto key = [&](bool pressed) { Q_EMIT host.hotkeyActivated(SpecialHotkeyHelper::ToggleCompare, pressed); };
    key(true);
    key(false);
    EXPECT_TRUE(button.IsActive() && Compared()) << "a tap switches on, and two buttons toggle once";
    key(true);
    key(false);
    EXPECT_FALSE(button.IsActive() || other.IsActive() || Compared()) << "the next tap switches off";

    button.SetHoldTime(0);
    other.SetHoldTime(0);
    key(true);
    EXPECT_TRUE(button.IsActive() && Compared()) << "shown while held";
    key(false);
    EXPECT_FALSE(button.IsActive() || Compared()) << "released after the hold time: back to the edited picture";

    Q_EMIT host.hotkeyActivated(SpecialHotkeyHelper::ShowOriginal, true);
    EXPECT_FALSE(button.IsActive()) << "other hotkeys are not the compare key";
    Q_EMIT host.hotkeyActivated(SpecialHotkeyHelper::ShowOriginal, false);
}

TEST_F(CompareButtonTest, TheHostsMessagesAndEscapeEndTheComparison)
{
    const std::pair<const char*, std::function<void()>> enders[] = {
        {"controller about to be reset", [&] { Q_EMIT host.beforeWorkspaceControllerReset(); }},
        {"a control used", [&] { Q_EMIT host.uiControlUsed(); }},
        {"a session about to be saved", [&] { Q_EMIT host.aboutToSaveSession(); }},
        {"Escape in the view", [&] { QTest::keyClick(&workspace.view, Qt::Key_Escape); }},
        {"another controller", [&] { button.SetWorkspaceController(workspace.controller.controller); }},
    };
    for (const auto& [name, end] : enders) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(button.SetActive(true));
        ASSERT_TRUE(Compared());
        end();
        EXPECT_TRUE(Support::WaitUntil([&] { return !button.IsActive() && !Compared(); }));
        EXPECT_FALSE(other.IsActive());
        EXPECT_TRUE(workspace.view.IsFitToView()) << "the zoom the picture had";
    }
}

TEST_F(CompareButtonTest, AToolThatCannotBeBuiltLeavesTheButtonOffAndTellsTheHost)
{
    // A view that shows no picture: the tool has nowhere to lay the pictures out.
    WorkspaceView empty;
    button.SetView(&empty);
    QSignalSpy activated(&button, &CompareButton::compareIsActivated);
    QSignalSpy tips(&button, &CompareButton::dragTipsEnabled);

    Click(button);
    EXPECT_FALSE(button.IsActive() || button.isChecked() || other.IsActive());
    EXPECT_EQ(button.GetTool(), nullptr);
    EXPECT_EQ(host.errors, 1);
    EXPECT_TRUE(activated.isEmpty()) << "nothing to announce";
    EXPECT_TRUE(tips.isEmpty() || tips.last()[0].toBool()) << "drag tips are back on";
    EXPECT_EQ(empty.GetDrawingTool(), nullptr);
    EXPECT_EQ(workspace.view.GetDrawingTool(), nullptr);
}

TEST(CompareButton, WithoutAControllerItIsDisabledAndCannotSwitchOn)
{
    CompareButton button;
    EXPECT_FALSE(button.isEnabled());
    EXPECT_FALSE(button.SetActive(true));
    EXPECT_FALSE(button.isChecked());
}

} // namespace
} // namespace Quelto::Lumindra

// The host's hotkey hook: what reaches the handler and what the view learns back.

#include <stdexcept>
#include <string>
#include <vector>

#include <QKeyEvent>

#include <gtest/gtest.h>

#include "sharedui/SpecialHotkeyHelper.h"

namespace Quelto::Lumindra {
namespace {

class SpecialHotkeyHelperTest : public ::testing::Test {
protected:
    ~SpecialHotkeyHelperTest() override { SpecialHotkeyHelper::SetHandler(nullptr); }

    QKeyEvent press {QEvent::KeyPress, Qt::Key_F5, Qt::NoModifier};
    QKeyEvent release {QEvent::KeyRelease, Qt::Key_F5, Qt::NoModifier};
};

TEST_F(SpecialHotkeyHelperTest, WithoutAHandlerNothingIsTaken)
{
    press.ignore();
    EXPECT_FALSE(SpecialHotkeyHelper::HasHandler());
    EXPECT_FALSE(SpecialHotkeyHelper::HandlePressEvent(&press));
    EXPECT_FALSE(SpecialHotkeyHelper::HandleReleaseEvent(&release));
    EXPECT_FALSE(SpecialHotkeyHelper::HandlePressEvent(nullptr));
    EXPECT_FALSE(press.isAccepted());
}

TEST_F(SpecialHotkeyHelperTest, HandlerDecidesAndLearnsPressOrRelease)
{
    std::vector<std::string> seen;
    SpecialHotkeyHelper::SetHandler([&](QKeyEvent* event, bool isPress) {
        seen.push_back((isPress ? "press " : "release ") + std::to_string(event->key()));
        return isPress;
    });
    press.ignore();
    release.ignore();

    EXPECT_TRUE(SpecialHotkeyHelper::HandlePressEvent(&press));
    EXPECT_TRUE(press.isAccepted());
    EXPECT_FALSE(SpecialHotkeyHelper::HandleReleaseEvent(&release));
    EXPECT_FALSE(release.isAccepted()) << "a key the handler left is left as it was";
    EXPECT_FALSE(SpecialHotkeyHelper::HandlePressEvent(nullptr));
    const std::vector<std::string> expected {"press " + std::to_string(Qt::Key_F5),
                                             "release " + std::to_string(Qt::Key_F5)};
    EXPECT_EQ(seen, expected);

    SpecialHotkeyHelper::SetHandler(nullptr);
    EXPECT_FALSE(SpecialHotkeyHelper::HandlePressEvent(&press));
}

TEST_F(SpecialHotkeyHelperTest, HandlerMayReplaceItselfWhileRunning)
{
    int firstCalls = 0, secondCalls = 0;
    SpecialHotkeyHelper::SetHandler([&](QKeyEvent*, bool) {
        ++firstCalls;
        // The captures of this lambda die here; the call must still finish safely.
        SpecialHotkeyHelper::SetHandler([&](QKeyEvent*, bool) { return ++secondCalls > 0; });
        return firstCalls > 0;
    });
    EXPECT_TRUE(SpecialHotkeyHelper::HandlePressEvent(&press));
    EXPECT_TRUE(SpecialHotkeyHelper::HandlePressEvent(&press));
    EXPECT_EQ(firstCalls, 1);
    EXPECT_EQ(secondCalls, 1);
}

TEST_F(SpecialHotkeyHelperTest, ThrowingHandlerTakesNothing)
{
    SpecialHotkeyHelper::SetHandler([](QKeyEvent*, bool) -> bool { throw std::runtime_error("broken hotkey table"); });
    press.ignore();
    EXPECT_FALSE(SpecialHotkeyHelper::HandlePressEvent(&press));
    EXPECT_FALSE(press.isAccepted());
}

TEST(SpecialHotkeyId, TravelsThroughQueuedConnections)
{
    const int type = QMetaType::type("SpecialHotkeyHelper::HotkeyID");
    EXPECT_NE(type, QMetaType::UnknownType);
    EXPECT_EQ(type, qMetaTypeId<SpecialHotkeyHelper::HotkeyID>());
}

} // namespace
} // namespace Quelto::Lumindra

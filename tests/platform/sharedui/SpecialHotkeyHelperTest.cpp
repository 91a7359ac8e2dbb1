// The host's hotkey hook: what reaches the handler and what the caller learns back.

#include <stdexcept>
#include <string>
#include <vector>

#include <QKeyEvent>

#include <gtest/gtest.h>

#include "sharedui/SpecialHotkeyHelper.h"

namespace Quelto::Lumindra {
namespace {

TEST(SpecialHotkeyHelper, HandlerDecidesAndOnlyTakenKeysAreAccepted)
{
    QKeyEvent press(QEvent::KeyPress, Qt::Key_F5, Qt::NoModifier);
    QKeyEvent release(QEvent::KeyRelease, Qt::Key_F5, Qt::NoModifier);
    press.ignore();
    EXPECT_FALSE(SpecialHotkeyHelper::HandlePressEvent(&press)) << "no handler installed";

    std::vector<bool> seen;
    SpecialHotkeyHelper::SetHandler([&](QKeyEvent*, bool isPress) {
        seen.push_back(isPress);
        return isPress;
    });
    release.ignore();
    EXPECT_TRUE(SpecialHotkeyHelper::HandlePressEvent(&press));
    EXPECT_TRUE(press.isAccepted());
    EXPECT_FALSE(SpecialHotkeyHelper::HandleReleaseEvent(&release));
    EXPECT_FALSE(release.isAccepted());
    EXPECT_FALSE(SpecialHotkeyHelper::HandlePressEvent(nullptr));
    EXPECT_EQ(seen, (std::vector<bool> {true, false}));

    SpecialHotkeyHelper::SetHandler([](QKeyEvent*, bool) -> bool { throw std::runtime_error("broken table"); });
    press.ignore();
    EXPECT_FALSE(SpecialHotkeyHelper::HandlePressEvent(&press));
    EXPECT_FALSE(press.isAccepted());
    SpecialHotkeyHelper::SetHandler(nullptr);
}

TEST(SpecialHotkeyHelper, HandlerMayReplaceItselfWhileRunning)
{
    QKeyEvent press(QEvent::KeyPress, Qt::Key_F5, Qt::NoModifier);
    int first = 0, second = 0;
    SpecialHotkeyHelper::SetHandler([&](QKeyEvent*, bool) {
        // This lambda dies here; the call must still finish with it.
        SpecialHotkeyHelper::SetHandler([&](QKeyEvent*, bool) { return ++second > 0; });
        return ++first > 0;
    });
    EXPECT_TRUE(SpecialHotkeyHelper::HandlePressEvent(&press));
    EXPECT_TRUE(SpecialHotkeyHelper::HandlePressEvent(&press));
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);
    SpecialHotkeyHelper::SetHandler(nullptr);
}

} // namespace
} // namespace Quelto::Lumindra

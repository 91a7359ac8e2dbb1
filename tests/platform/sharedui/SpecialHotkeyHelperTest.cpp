// The host's hotkey hook: what reaches the handler and what the caller learns back.

#include <stdexcept>

#include <QKeyEvent>

#include <gtest/gtest.h>

#include "sharedui/SpecialHotkeyHelper.h"

namespace Quelto::Lumindra {
namespace {

TEST(SpecialHotkeyHelper, HandlerDecidesOnlyTakenKeysAreAcceptedAndAFailingOrReplacedHandlerIsSafe)
{
    QKeyEvent press(QEvent::KeyPress, Qt::Key_F5, Qt::NoModifier), release(QEvent::KeyRelease, Qt::Key_F5, Qt::NoModifier);
    press.ignore();
    EXPECT_FALSE(SpecialHotkeyHelper::HandlePressEvent(&press)) << "no handler installed";
    SpecialHotkeyHelper::SetHandler([](QKeyEvent*, bool isPress) { return isPress; });
    release.ignore();
    EXPECT_TRUE(SpecialHotkeyHelper::HandlePressEvent(&press));
    EXPECT_TRUE(press.isAccepted());
    EXPECT_FALSE(SpecialHotkeyHelper::HandleReleaseEvent(&release));
    EXPECT_FALSE(release.isAccepted());
    EXPECT_FALSE(SpecialHotkeyHelper::HandlePressEvent(nullptr));

    SpecialHotkeyHelper::SetHandler([](QKeyEvent*, bool) -> bool { throw std::runtime_error("broken table"); });
    press.ignore();
    EXPECT_FALSE(SpecialHotkeyHelper::HandlePressEvent(&press));
    EXPECT_FALSE(press.isAccepted());

    int first = 0, second = 0;
    SpecialHotkeyHelper::SetHandler([&](QKeyEvent*, bool) {
        // This lambda dies here; the call must still finish with it.
        SpecialHotkeyHelper::SetHandler([&](QKeyEvent*, bool) { return ++second > 0; });
        return ++first > 0;
    });
    EXPECT_TRUE(SpecialHotkeyHelper::HandlePressEvent(&press));
    EXPECT_TRUE(SpecialHotkeyHelper::HandlePressEvent(&press));
    EXPECT_EQ(std::make_pair(first, second), std::make_pair(1, 1));
    SpecialHotkeyHelper::SetHandler(nullptr);
}

} // namespace
} // namespace Quelto::Lumindra

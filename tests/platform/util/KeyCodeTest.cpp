#include <QKeyEvent>

#include <gtest/gtest.h>

#include "util/KeyCode.h"

namespace Quelto::Lumindra::Util {
namespace {

struct KeyCase {
    const char* name;
    int qtKey;
    unsigned nativeVirtualKey; // X11 keysym on this platform
    int expected;
    friend void PrintTo(const KeyCase& c, std::ostream* os) { *os << c.name; }
};

class KeyCodeMapping : public ::testing::TestWithParam<KeyCase> {};

TEST_P(KeyCodeMapping, BracketKeysComeFromTheNativeKey)
{
    const KeyCase& c = GetParam();
    EXPECT_EQ(GetKeyCode(c.qtKey, c.nativeVirtualKey), c.expected);
    const QKeyEvent event(QEvent::KeyPress, c.qtKey, Qt::NoModifier, 0, c.nativeVirtualKey, 0);
    EXPECT_EQ(GetKeyCode(event), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    KeyCode, KeyCodeMapping,
    ::testing::Values(KeyCase {"LeftBracketWithShiftedQtKey", Qt::Key_BraceLeft, 0x5b, Qt::Key_BracketLeft},
                      KeyCase {"RightBracketWithShiftedQtKey", Qt::Key_BraceRight, 0x5d, Qt::Key_BracketRight},
                      KeyCase {"OtherKeyKeepsItsQtKey", Qt::Key_A, 0x61, Qt::Key_A},
                      KeyCase {"NoNativeKey", Qt::Key_BracketRight, 0, Qt::Key_BracketRight}),
    [](const ::testing::TestParamInfo<KeyCase>& info) { return std::string(info.param.name); });

} // namespace
} // namespace Quelto::Lumindra::Util

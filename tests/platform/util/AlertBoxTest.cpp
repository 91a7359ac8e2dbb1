#include <functional>

#include <QPushButton>
#include <QTimer>
#include <QtTest/QTest>

#include <gtest/gtest.h>

#include "util/AlertBox.h"

namespace Quelto::Lumindra {
namespace {

// Shows the real dialog, with the test main's answering hook off, and applies `act` to it once it
// is on screen.
QDialogButtonBox::StandardButton ExecShown(LumindraAlertBox& box, const std::function<void()>& act)
{
    const LumindraAlertBox::TestHook previous = LumindraAlertBox::GetTestHook();
    LumindraAlertBox::SetTestHook({});
    QTimer::singleShot(0, &box, [&] {
        EXPECT_TRUE(box.isModal() && box.isVisible());
        act();
    });
    const QDialogButtonBox::StandardButton answer = box.Exec();
    LumindraAlertBox::SetTestHook(previous);
    return answer;
}

TEST(LumindraAlertBox, ModalDialogReturnsTheStandardButtonThatClosedIt)
{
    LumindraAlertBox box(LumindraAlertBox::Warning, QStringLiteral("Replace the file?"),
                         QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    auto* openFolder = new QPushButton(QStringLiteral("Open folder"));
    StyleAlertBox(box, {nullptr, openFolder});
    EXPECT_EQ(ExecShown(box, [&] { box.GetButton(QDialogButtonBox::Cancel)->click(); }), QDialogButtonBox::Cancel);
    EXPECT_EQ(ExecShown(box, [&] { QTest::keyClick(&box, Qt::Key_Escape); }), QDialogButtonBox::NoButton);
    EXPECT_EQ(box.GetClickedButton(), nullptr);
    EXPECT_EQ(ExecShown(box, [&] { openFolder->click(); }), QDialogButtonBox::NoButton);
    EXPECT_EQ(box.GetClickedButton(), openFolder);
}

} // namespace
} // namespace Quelto::Lumindra

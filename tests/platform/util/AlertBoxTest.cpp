#include <functional>

#include <QApplication>
#include <QPushButton>
#include <QTimer>
#include <QtTest/QTest>

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "util/AlertBox.h"

namespace Quelto::Lumindra {
namespace {

class AlertBoxAnswer : public ::testing::TestWithParam<QDialogButtonBox::StandardButton> {};

TEST_P(AlertBoxAnswer, HookAnswersWithoutShowingAndExecReturnsTheAnswer)
{
    Lumindra::Test::ScopedAlertAnswer answer(GetParam());
    LumindraAlertBox box(LumindraAlertBox::Warning, QStringLiteral("Replace the file?"),
                         QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    EXPECT_EQ(box.Exec(), GetParam());
    EXPECT_EQ(box.GetClickedButton(), box.GetButton(GetParam()));
    EXPECT_FALSE(box.isVisible());
    EXPECT_EQ(answer.Texts(), QStringList {"Replace the file?"});
    EXPECT_EQ(answer.Levels(), std::vector<int> {LumindraAlertBox::Warning});
}

INSTANTIATE_TEST_SUITE_P(LumindraAlertBox, AlertBoxAnswer,
                         ::testing::Values(QDialogButtonBox::Ok, QDialogButtonBox::Cancel));

// Shows real dialogs: the hook is off while it lives, and `act` is applied to the modal box
// as soon as it is on screen.
class RealDialog {
public:
    explicit RealDialog(std::function<void(LumindraAlertBox&)> act)
        : previous_(LumindraAlertBox::GetTestHook()), act_(std::move(act))
    {
        LumindraAlertBox::SetTestHook({});
        QObject::connect(&poll_, &QTimer::timeout, [this] {
            auto* box = qobject_cast<LumindraAlertBox*>(QApplication::activeModalWidget());
            if (!box)
                return;
            poll_.stop();
            wasModal_ = box->isModal() && box->isVisible();
            act_(*box);
        });
        poll_.start(kPollMs);
    }
    ~RealDialog() { LumindraAlertBox::SetTestHook(previous_); }
    bool WasModal() const { return wasModal_; }

private:
    static constexpr int kPollMs = 5;
    LumindraAlertBox::TestHook previous_;
    std::function<void(LumindraAlertBox&)> act_;
    QTimer poll_;
    bool wasModal_ = false;
};

TEST(LumindraAlertBox, RealDialogIsModalAndReturnsTheClickedButton)
{
    LumindraAlertBox box(LumindraAlertBox::Information, QStringLiteral("<b>Saved</b> with a white background"),
                         QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    box.GetButton(QDialogButtonBox::Ok)->setText(QStringLiteral("Continue"));
    RealDialog dialog([](LumindraAlertBox& shown) { shown.GetButton(QDialogButtonBox::Cancel)->click(); });
    EXPECT_EQ(box.Exec(), QDialogButtonBox::Cancel);
    EXPECT_TRUE(dialog.WasModal());
    EXPECT_FALSE(box.isVisible());
}

TEST(LumindraAlertBox, EscapeClosesWithNoButton)
{
    LumindraAlertBox box(LumindraAlertBox::Critical, QStringLiteral("Failed"), QDialogButtonBox::Ok);
    RealDialog dialog([](LumindraAlertBox& shown) { QTest::keyClick(&shown, Qt::Key_Escape); });
    EXPECT_EQ(box.Exec(), QDialogButtonBox::NoButton);
    EXPECT_EQ(box.GetClickedButton(), nullptr);
}

TEST(LumindraAlertBox, StyledExtraButtonClosesTheDialogAndIsReported)
{
    LumindraAlertBox box(LumindraAlertBox::Information, QStringLiteral("Saved"), QDialogButtonBox::Ok);
    auto* openFolder = new QPushButton(QStringLiteral("Open folder"));
    StyleAlertBox(box, {nullptr, openFolder});
    EXPECT_EQ(box.GetButtonBox()->buttons().size(), 2);
    EXPECT_EQ(openFolder->parentWidget() != nullptr, true) << "the box owns the extra button";
    RealDialog dialog([openFolder](LumindraAlertBox&) { openFolder->click(); });
    EXPECT_EQ(box.Exec(), QDialogButtonBox::NoButton);
    EXPECT_EQ(box.GetClickedButton(), openFolder);
}

} // namespace
} // namespace Quelto::Lumindra

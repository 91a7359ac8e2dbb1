#include <memory>

#include <QMainWindow>
#include <QWidget>

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "util/ScreenInfo.h"

namespace Quelto::Lumindra {
namespace {

TEST(SpontaneousDialog, PrefersTheRegisteredThenTheVisibleMainWindow)
{
    auto hidden = std::make_unique<QMainWindow>();
    EXPECT_EQ(SpontaneousDialog::GetMainWindow(), hidden.get());
    auto shown = std::make_unique<QMainWindow>();
    shown->show();
    EXPECT_EQ(SpontaneousDialog::GetMainWindow(), shown.get());

    auto registered = std::make_unique<QWidget>();
    SpontaneousDialog::SetMainWindow(registered.get());
    EXPECT_EQ(SpontaneousDialog::GetMainWindow(), registered.get());
    registered.reset(); // a registered window that dies is forgotten
    EXPECT_EQ(SpontaneousDialog::GetMainWindow(), shown.get());
}

} // namespace
} // namespace Quelto::Lumindra

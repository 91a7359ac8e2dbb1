#include <stdexcept>
#include <thread>

#include <QCursor>
#include <QGuiApplication>

#include <gtest/gtest.h>

#include "support/TestSupport.h"
#include "util/CursorGuard.h"

namespace Quelto::Lumindra {
namespace {

Qt::CursorShape OverrideShape()
{
    const QCursor* cursor = QGuiApplication::overrideCursor();
    return cursor ? cursor->shape() : Qt::BitmapCursor; // Bitmap stands for "no override"
}

constexpr Qt::CursorShape kNoOverride = Qt::BitmapCursor;

TEST(CusrsorGuardBlank, RestoresTheCursorWhenAnExceptionLeavesTheScope)
{
    ASSERT_EQ(OverrideShape(), kNoOverride);
    try {
        CusrsorGuardBlank guard;
        EXPECT_EQ(OverrideShape(), Qt::BusyCursor);
        throw std::runtime_error("open failed");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(OverrideShape(), kNoOverride);
}

TEST(CusrsorGuardBlank, NestedGuardsRestoreInReverseOrder)
{
    {
        CusrsorGuardBlank outer;
        {
            CusrsorGuardBlank inner(Qt::WaitCursor);
            EXPECT_EQ(OverrideShape(), Qt::WaitCursor);
        }
        EXPECT_EQ(OverrideShape(), Qt::BusyCursor);
    }
    EXPECT_EQ(OverrideShape(), kNoOverride);
}

TEST(CusrsorGuardBlank, OutsideTheUiThreadLeavesTheCursorAlone)
{
    Lumindra::Test::LogCapture log;
    std::thread worker([] { CusrsorGuardBlank guard; });
    worker.join();
    EXPECT_EQ(OverrideShape(), kNoOverride);
    EXPECT_TRUE(log.Contains("outside the UI thread"));
}

} // namespace
} // namespace Quelto::Lumindra

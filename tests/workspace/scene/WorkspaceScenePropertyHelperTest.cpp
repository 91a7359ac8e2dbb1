// The workspace colour from the application's style sheet: announced once per change, never for
// a repeat.

#include <QApplication>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include "LumindraWorkspace/scene/WorkspaceScenePropertyHelper.h"

namespace Quelto::Lumindra {
namespace {

TEST(WorkspaceScenePropertyHelper, StyleSheetColourIsAnnouncedOncePerChange)
{
    QApplication::style(); // as in the running program, the style exists before any sheet
    WorkspaceScenePropertyHelper helper(nullptr);
    QSignalSpy announced(&helper, &WorkspaceScenePropertyHelper::sceneColorSet);
    const QString rule = "Quelto--Lumindra--WorkspaceScenePropertyHelper { qproperty-sceneColor: %1; }";
    // The style engine sets the property again at every polish: the same text is no change.
    const std::pair<QString, int> steps[] = {
        {rule.arg("\"#336699\""), 1},
        {rule.arg("\"#336699\"") + " QLabel { color: red; }", 1},
        {rule.arg("white"), 2},
        {"QWidget { background: black; }", 2},
    };
    for (const auto& [sheet, announcements] : steps) {
        qApp->setStyleSheet(sheet);
        helper.PrepareHelper();
        EXPECT_EQ(announced.count(), announcements) << sheet.toStdString();
    }
    EXPECT_EQ(helper.getSceneColor(), QStringLiteral("white"));
    qApp->setStyleSheet(QString()); // the other tests run without one
}

} // namespace
} // namespace Quelto::Lumindra

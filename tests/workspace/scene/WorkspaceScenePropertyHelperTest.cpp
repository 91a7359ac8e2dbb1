// The workspace colour from the style sheet: announced once per change, never for a repeat.

#include <QSignalSpy>

#include <gtest/gtest.h>

#include "LumindraWorkspace/scene/WorkspaceScenePropertyHelper.h"

namespace Quelto::Lumindra {
namespace {

QString Rule(const QString& colour)
{
    return QStringLiteral("Quelto--Lumindra--WorkspaceScenePropertyHelper { qproperty-sceneColor: \"%1\"; }").arg(colour);
}

TEST(WorkspaceScenePropertyHelper, StyleSheetColourIsAnnouncedOncePerChange)
{
    QWidget host;
    auto* helper = new WorkspaceScenePropertyHelper(&host);
    QSignalSpy announced(helper, &WorkspaceScenePropertyHelper::sceneColorSet);
    // A window on screen is polished: later style sheet changes re-polish it and its children.
    host.ensurePolished();

    host.setStyleSheet(Rule(QStringLiteral("#336699")));
    helper->PrepareHelper();
    EXPECT_EQ(helper->getSceneColor(), QStringLiteral("#336699"));
    EXPECT_EQ(announced.count(), 1);
    EXPECT_TRUE(helper->isHidden());

    // The style engine sets the property again at every polish: same text, no announcement.
    helper->PrepareHelper();
    host.setStyleSheet(Rule(QStringLiteral("#336699")) + QStringLiteral(" QLabel { color: red; }"));
    helper->PrepareHelper();
    EXPECT_EQ(announced.count(), 1);

    host.setStyleSheet(Rule(QStringLiteral("white")));
    helper->PrepareHelper();
    EXPECT_EQ(helper->getSceneColor(), QStringLiteral("white"));
    EXPECT_EQ(announced.count(), 2);

    // The text is passed on as written; telling valid from invalid is for QColor.
    host.setStyleSheet(Rule(QStringLiteral("no-such-colour")));
    helper->PrepareHelper();
    EXPECT_EQ(announced.count(), 3);
    QColor colour;
    colour.setNamedColor(helper->getSceneColor());
    EXPECT_FALSE(colour.isValid());
}

TEST(WorkspaceScenePropertyHelper, StyleSheetWithoutThePropertyLeavesItEmpty)
{
    QWidget host;
    host.setStyleSheet(QStringLiteral("QWidget { background: black; }"));
    auto* helper = new WorkspaceScenePropertyHelper(&host);
    QSignalSpy announced(helper, &WorkspaceScenePropertyHelper::sceneColorSet);
    helper->PrepareHelper();
    EXPECT_TRUE(helper->getSceneColor().isEmpty());
    EXPECT_EQ(announced.count(), 0);

    EXPECT_TRUE(helper->setProperty("sceneColor", QStringLiteral("#102030")));
    EXPECT_EQ(announced.count(), 1);
    EXPECT_TRUE(helper->setProperty("sceneColor", QStringLiteral("#102030")));
    EXPECT_EQ(announced.count(), 1);
}

} // namespace
} // namespace Quelto::Lumindra

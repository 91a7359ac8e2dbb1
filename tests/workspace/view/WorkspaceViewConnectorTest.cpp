// The view's wiring through the objects connector: the host reaches it and hears it only under
// the agreed identifiers and signatures, so a misspelt signature shows up here.

#include <QMenu>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "sharedui/DragTipController.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"
#include "workspace/view/ViewTestSupport.h"

namespace Quelto::Lumindra {

// Stands in for the host: listens to what the view announces and sends what the host sends.
class HostProbe : public QObject {
    Q_OBJECT
public:
    HostProbe()
    {
        using Util::ObjectsConnector;
        using HostIds = LumindraInt::IObjectsConnectorID;
        using Ids = Workspace::IObjectsConnectorID;
        ObjectsConnector::registerReceiver(HostIds::SCALE_CANCHED, this, QStringLiteral("1OnScaleChanged(double)"));
        ObjectsConnector::registerReceiver(HostIds::BRUSH_SIZE_CHANGED, this, QStringLiteral("1OnBrush(bool)"));
        ObjectsConnector::registerReceiver(Ids::NEXT_FILE_ARROW, this, QStringLiteral("1OnNavigation()"));
        ObjectsConnector::registerReceiver(Ids::PREVIOUS_FILE_ARROW, this, QStringLiteral("1OnNavigation()"));
        ObjectsConnector::registerReceiver(Ids::NEXT_FILE_PAGE, this, QStringLiteral("1OnNavigation()"));
        ObjectsConnector::registerReceiver(Ids::PREVIOUS_FILE_PAGE, this, QStringLiteral("1OnNavigation()"));
        ObjectsConnector::registerEmitter(Ids::DRAG_TIPS_ENABLED, this, QStringLiteral("2dragTipsEnabled(bool)"));
        ObjectsConnector::registerEmitter(HostIds::SET_WORKSPACE_FOCUS, this, QStringLiteral("2setWorkspaceFocus(bool)"));
        ObjectsConnector::registerEmitter(HostIds::GUIDE_WIDGET_ACTIVATED, this,
                                          QStringLiteral("2guideWidgetActivated(bool)"));
        ObjectsConnector::registerEmitter(HostIds::ACTIVATE_TOOL_WIDGET, this, QStringLiteral("2currentToolsChanged(int)"));
        ObjectsConnector::registerEmitter(HostIds::GET_INFOTIP_MANAGER, this,
                                          QStringLiteral("2getInfoTipManager(ToolTipManager*&)"));
    }

    std::vector<double> scales;
    std::vector<bool> brushes;
    int navigations = 0;

public slots:
    void OnScaleChanged(double percent) { scales.push_back(percent); }
    void OnBrush(bool increase) { brushes.push_back(increase); }
    void OnNavigation() { ++navigations; }

signals:
    void dragTipsEnabled(bool enable);
    void setWorkspaceFocus(bool focus);
    void guideWidgetActivated(bool active);
    void currentToolsChanged(int toolsId);
    void getInfoTipManager(ToolTipManager*& manager);
};

namespace {

using Test::WaitUntil;

using Test::ViewHarness;

TEST(WorkspaceViewConnector, HostHearsZoomBrushAndNavigation)
{
    ViewHarness harness(QSize(400, 300), QSize(800, 600));
    HostProbe host;

    harness.view.ScaleToPercent(150.0);
    QTest::keyClick(&harness.view, Qt::Key_BracketRight);
    QTest::keyClick(&harness.view, Qt::Key_Right);
    QTest::keyClick(&harness.view, Qt::Key_Left);
    QTest::keyClick(&harness.view, Qt::Key_PageDown);
    QTest::keyClick(&harness.view, Qt::Key_PageUp);

    EXPECT_EQ(host.scales, std::vector<double> {150.0});
    EXPECT_EQ(host.brushes, std::vector<bool> {true});
    EXPECT_EQ(host.navigations, 4);
}

TEST(WorkspaceViewConnector, HostControlsTipsFocusGuideAndTools)
{
    ViewHarness harness(QSize(3000, 1000), QSize(800, 600));
    ASSERT_TRUE(harness.exposed);
    HostProbe host;

    emit host.dragTipsEnabled(false);
    EXPECT_FALSE(harness.view.GetDragTipController()->IsEnabled());
    emit host.dragTipsEnabled(true);
    EXPECT_TRUE(harness.view.GetDragTipController()->IsEnabled());

    harness.view.activateWindow();
    emit host.setWorkspaceFocus(true);
    EXPECT_TRUE(WaitUntil([&] { return harness.view.hasFocus(); }));
    emit host.setWorkspaceFocus(false);
    EXPECT_TRUE(WaitUntil([&] { return !harness.view.hasFocus(); }));

    ASSERT_EQ(harness.view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
    emit host.guideWidgetActivated(true);
    EXPECT_EQ(harness.view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    emit host.guideWidgetActivated(false);
    EXPECT_EQ(harness.view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);

    harness.view.GetContextMenu()->addAction(QStringLiteral("Paste"));
    harness.Mouse(QEvent::MouseButtonPress, QPoint(10, 10), Qt::RightButton, Qt::RightButton);
    ASSERT_TRUE(harness.view.IsContextMenuPending());
    emit host.currentToolsChanged(3);
    EXPECT_FALSE(harness.view.IsContextMenuPending());

    ToolTipManager* manager = nullptr;
    emit host.getInfoTipManager(manager);
    EXPECT_EQ(manager, harness.view.GetToolTipManager());
}

} // namespace
} // namespace Quelto::Lumindra

#include "WorkspaceViewConnectorTest.moc"

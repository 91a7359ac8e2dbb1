// The view's wiring through the objects connector: the host hears it and reaches it only under
// the agreed identifiers and signatures, so a misspelt one shows up here.

#include <QMenu>

#include <gtest/gtest.h>

#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "sharedui/DragTipController.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"
#include "workspace/view/ViewTestSupport.h"

namespace Quelto::Lumindra {

class HostProbe : public QObject {
    Q_OBJECT
public:
    HostProbe()
    {
        using C = Util::ObjectsConnector;
        using Host = LumindraInt::IObjectsConnectorID;
        using Ids = Workspace::IObjectsConnectorID;
        C::registerReceiver(Host::SCALE_CANCHED, this, QStringLiteral("1OnScaleChanged(double)"));
        C::registerReceiver(Host::BRUSH_SIZE_CHANGED, this, QStringLiteral("1OnBrush(bool)"));
        for (const QString& id : {Ids::NEXT_FILE_ARROW, Ids::PREVIOUS_FILE_ARROW, Ids::NEXT_FILE_PAGE, Ids::PREVIOUS_FILE_PAGE})
            C::registerReceiver(id, this, QStringLiteral("1OnNavigation()"));
        C::registerEmitter(Ids::DRAG_TIPS_ENABLED, this, QStringLiteral("2dragTipsEnabled(bool)"));
        C::registerEmitter(Host::SET_WORKSPACE_FOCUS, this, QStringLiteral("2setWorkspaceFocus(bool)"));
        C::registerEmitter(Host::GUIDE_WIDGET_ACTIVATED, this, QStringLiteral("2guideWidgetActivated(bool)"));
        C::registerEmitter(Host::ACTIVATE_TOOL_WIDGET, this, QStringLiteral("2currentToolsChanged(int)"));
        C::registerEmitter(Host::GET_INFOTIP_MANAGER, this, QStringLiteral("2getInfoTipManager(ToolTipManager*&)"));
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

using Test::ViewHarness;
using Test::WaitUntil;

TEST(WorkspaceViewConnector, HostHearsTheViewAndControlsIt)
{
    ViewHarness harness(QSize(3000, 1000), QSize(800, 600));
    ASSERT_TRUE(harness.exposed);
    WorkspaceView& view = harness.view;
    HostProbe host;

    view.ScaleToPercent(150.0);
    QTest::keyClick(&view, Qt::Key_BracketLeft);
    QTest::keyClick(&view, Qt::Key_BracketRight);
    QTest::keyClick(&view, Qt::Key_PageDown);
    EXPECT_EQ(host.scales, std::vector<double> {150.0});
    EXPECT_EQ(host.brushes, (std::vector<bool> {false, true}));
    EXPECT_EQ(host.navigations, 1);

    emit host.dragTipsEnabled(false);
    EXPECT_FALSE(view.GetDragTipController()->IsEnabled());
    view.activateWindow();
    emit host.setWorkspaceFocus(true);
    EXPECT_TRUE(WaitUntil([&] { return view.hasFocus(); }));
    emit host.guideWidgetActivated(true);
    EXPECT_EQ(view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    view.ScaleToPercent(200.0);
    EXPECT_EQ(view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff) << "frozen while the guide is shown";
    emit host.guideWidgetActivated(false);
    EXPECT_EQ(view.horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);

    view.GetContextMenu()->addAction(QStringLiteral("Paste"));
    harness.Mouse(QEvent::MouseButtonPress, QPoint(10, 10), Qt::RightButton, Qt::RightButton);
    ASSERT_TRUE(view.IsContextMenuPending());
    emit host.currentToolsChanged(3);
    EXPECT_FALSE(view.IsContextMenuPending());
    ToolTipManager* manager = nullptr;
    emit host.getInfoTipManager(manager);
    EXPECT_EQ(manager, view.GetToolTipManager());
}

} // namespace
} // namespace Quelto::Lumindra

#include "WorkspaceViewConnectorTest.moc"

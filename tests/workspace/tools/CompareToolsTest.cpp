// The comparison tools over a real controller and core in a real workspace view: where the
// pictures and the separator go, what is shown after turns, flips and crops, what a missing frame
// does, and that the scene and the zoom come back as they were.

#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QGraphicsItemGroup>
#include <QGraphicsLineItem>
#include <QScrollBar>
#include <QWheelEvent>

#include <gtest/gtest.h>

#include "LumindraWorkspace/scene/TransformableCanvasItem.h"
#include "LumindraWorkspace/scene/WorkspaceScene.h"
#include "LumindraWorkspace/tools/CompareType.h"
#include "LumindraWorkspace/tools/DrawingToolCompareImages.h"
#include "LumindraWorkspace/tools/DrawingToolCompareSplit.h"
#include "ToolTestSupport.h"
#include "support/ViewSupport.h"

namespace Quelto::Lumindra {
namespace {

namespace Support = ::Quelto::Lumindra::Test;
using Support::Workspace;

using Edits = std::vector<std::shared_ptr<const Proc::SettingsBase>>;

template <class S, class... A>
std::shared_ptr<const Proc::SettingsBase> Edit(A... args)
{
    return std::make_shared<S>(args...);
}

std::shared_ptr<const Proc::SettingsBase> Brighter()
{
    auto adjust = std::make_shared<Proc::SettingsAdjust>();
    adjust->exposure = 1.0;
    return adjust;
}

QImage Flat(QSize size)
{
    return Util::ImageUtils().FrameToImage(Support::MakeSolidFrame(size.width(), size.height(), QColor(90, 140, 60)));
}

// The pieces of a side-by-side layout, read back from the scene.
struct Layout {
    double gap = 0.0;          // margin left of the original, and the space on each side of the separator
    QPointF left, right;       // scene positions of the two pictures
    QSizeF leftSize, rightSize;
    double separatorX = 0.0;
};

Layout ReadLayout(QGraphicsScene* scene)
{
    Layout layout;
    QGraphicsLineItem* separator = Support::FindSeparator(scene);
    if (!separator || !separator->parentItem()) {
        ADD_FAILURE() << "no separator in its group";
        return layout;
    }
    for (QGraphicsItem* item : separator->parentItem()->childItems()) {
        if (item == separator)
            continue;
        const QRectF rect = item->sceneBoundingRect();
        if (dynamic_cast<TransformableCanvasItem*>(item)) {
            layout.left = rect.topLeft();
            layout.leftSize = rect.size();
        } else {
            layout.right = rect.topLeft();
            layout.rightSize = rect.size();
        }
    }
    layout.gap = layout.left.x();
    layout.separatorX = separator->scenePos().x();
    return layout;
}

TEST(DrawingToolCompareImages, LayoutCentresThePairAndSetsTheGapByTheFitZoom)
{
    struct Row {
        const char* name;
        QSize picture;
        Edits edits;
        QSize viewport;
        double gap;
        double tolerance;
        double rightLower; // how much lower than the original the edited picture starts
    };
    const Row rows[] = {
        // Measured about 2002x800: fit ratio 1200/2002 = 0.599, gap 24/0.599 + 1.
        {"two 1000x800 pictures", {1000, 800}, {}, {1200, 700}, 41.04, 0.1, 0.0},
        {"after a crop to 1000x600", {1000, 800}, {Edit<Proc::SettingsCrop>(0, 100, 1000, 600)}, {1200, 700}, 41.04,
         0.1, 100.0},
        {"a 20x20 pair fits at ratio 10 at most", {20, 20}, {}, {1200, 700}, 3.4, 1e-9, 0.0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Workspace workspace(Flat(row.picture), row.viewport);
        for (const auto& edit : row.edits)
            workspace.Apply(*edit);
        ASSERT_EQ(workspace.view.viewport()->size(), row.viewport);
        DrawingToolCompareImages tool(workspace.view, workspace.controller.controller->GetLumindraDrawer());
        const Layout layout = ReadLayout(workspace.view.scene());
        const double gap = layout.gap;

        EXPECT_NEAR(gap, row.gap, row.tolerance);
        EXPECT_EQ(layout.leftSize, QSizeF(row.picture));
        EXPECT_NEAR(layout.separatorX - (layout.left.x() + layout.leftSize.width()), gap, 1e-9);
        EXPECT_NEAR(layout.right.x() - layout.separatorX, gap, 1e-9);
        EXPECT_NEAR(layout.right.y() - layout.left.y(), row.rightLower, 1e-9);
        EXPECT_DOUBLE_EQ(layout.left.y(), 0.0) << "the taller picture is at the top";
        // The scene holds the pair with a margin of one gap on each side, and the view fits it.
        const QRectF scene = workspace.view.sceneRect();
        EXPECT_NEAR(scene.width(), layout.right.x() + layout.rightSize.width() + gap, 2.0);
        EXPECT_NEAR(scene.height(), row.picture.height(), 2.0);
        EXPECT_TRUE(workspace.view.IsFitToView());
        auto* workspaceScene = static_cast<WorkspaceScene*>(workspace.view.scene());
        EXPECT_EQ(workspaceScene->GetBackgroundMode(), SceneBackgroundMode::Fill);
        EXPECT_FALSE(workspaceScene->GetCanvas()->isVisible()) << "the document's canvas gives way";
    }
}

TEST(DrawingToolCompareImages, SeparatorSpansTheViewAfterZoomScrollAndResize)
{
    Workspace workspace(Flat({1000, 800}), {900, 600});
    DrawingToolCompareImages tool(workspace.view, workspace.controller.controller->GetLumindraDrawer());
    WorkspaceView& view = workspace.view;
    QGraphicsLineItem* separator = Support::FindSeparator(view.scene());
    ASSERT_NE(separator, nullptr);
    auto spansView = [&] {
        const QPointF from = separator->mapToScene(separator->line().p1());
        const QPointF to = separator->mapToScene(separator->line().p2());
        const double top = view.mapToScene(QPoint(0, 0)).y();
        const double bottom = view.mapToScene(QPoint(0, view.viewport()->height())).y();
        return std::min(from.y(), to.y()) <= top + 0.5 && std::max(from.y(), to.y()) >= bottom - 0.5;
    };
    EXPECT_TRUE(spansView()) << "at the fit zoom";

    const std::pair<const char*, std::function<void()>> steps[] = {
        {"zoomed in to 400 %", [&] { view.ScaleToPercent(400.0); }},
        {"scrolled to the bottom", [&] {
             EXPECT_GT(view.verticalScrollBar()->maximum(), 0) << "the zoom made the view scroll at all";
             view.verticalScrollBar()->setValue(view.verticalScrollBar()->maximum());
         }},
        {"scrolled to the top", [&] { view.verticalScrollBar()->setValue(0); }},
        {"zoomed by the wheel", [&] {
             const QPoint at = view.viewport()->rect().center();
             QWheelEvent wheel(at, view.viewport()->mapToGlobal(at), QPoint(), QPoint(0, 120), Qt::NoButton,
                               Qt::NoModifier, Qt::NoScrollPhase, false);
             QCoreApplication::sendEvent(view.viewport(), &wheel);
         }},
        {"resized taller", [&] { view.resize(900, 1100); }},
        {"zoomed out below the fit", [&] { view.ScaleToPercent(20.0); }},
    };
    for (const auto& [name, step] : steps) {
        SCOPED_TRACE(name);
        step();
        // The scroll bar's update is queued behind the view's own scrolling.
        EXPECT_TRUE(Support::WaitUntil(spansView, Support::kDefaultWaitMs));
    }
}

TEST(CompareTools, AMissingFrameEmitsErrorCreateAndLeavesTheSceneAsItWas)
{
    struct Row {
        const char* name;
        CompareType type;
        bool original;
        bool current;
        bool geometryKnown;
    };
    const Row rows[] = {
        {"side by side without the original", CompareType::SideBySide, false, true, true},
        {"side by side without the edited picture", CompareType::SideBySide, true, false, true},
        {"split without the original", CompareType::Split, false, true, true},
        {"split without the edited picture", CompareType::Split, true, false, true},
        {"split over edits that cannot be followed", CompareType::Split, true, true, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Support::CompareHost host;
        Support::BareView view(QSize(400, 300));
        QGraphicsRectItem* picture = view.own.addRect(0, 0, 200, 100);
        view.own.setSceneRect(0, 0, 200, 100);
        const Proc::DataVideoPtr frame = Support::MakeSolidFrame(200, 100, Qt::red);
        boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> drawer(new Support::FrameDrawer(
            row.original ? frame : nullptr, row.current ? frame : nullptr,
            row.geometryKnown ? PhotoCore::FrameGeometry(frame->GetFrameInfo()) : PhotoCore::FrameGeometry()));

        std::unique_ptr<DrawingToolOriginalBase> tool;
        if (row.type == CompareType::Split)
            tool = std::make_unique<DrawingToolCompareSplit>(view, drawer);
        else
            tool = std::make_unique<DrawingToolCompareImages>(view, drawer);
        EXPECT_EQ(host.errors, 1);
        EXPECT_FALSE(tool->IsShown());
        EXPECT_EQ(view.own.items().size(), 1) << "nothing added";
        EXPECT_TRUE(picture->isVisible());
        EXPECT_EQ(view.own.sceneRect(), QRectF(0, 0, 200, 100));
        tool.reset();
        EXPECT_TRUE(picture->isVisible()) << "and nothing to give back";
    }
}

// What a person sees: each picture's quadrant colours at its own relative positions.
std::vector<QColor> QuadrantColours(WorkspaceView& view, const QImage& screen, const QRectF& picture)
{
    std::vector<QColor> colours;
    for (const QPointF f : {QPointF(0.25, 0.25), QPointF(0.75, 0.25), QPointF(0.25, 0.75), QPointF(0.75, 0.75)})
        colours.push_back(screen.pixelColor(
            view.mapFromScene(picture.topLeft() + QPointF(f.x() * picture.width(), f.y() * picture.height()))));
    return colours;
}

TEST(DrawingToolCompareImages, ATurnedOrMirroredEditIsComparedUpright)
{
    const Edits chains[] = {
        {Edit<Proc::SettingsRotate>(1)},
        {Edit<Proc::SettingsRotate>(2)},
        {Edit<Proc::SettingsRotate>(3)},
        {Edit<Proc::SettingsFlip>(true)},
        {Edit<Proc::SettingsRotate>(1), Edit<Proc::SettingsFlip>(false)},
    };
    for (const Edits& chain : chains) {
        SCOPED_TRACE(chain.size() == 1 ? chain[0]->GetDisplayName() : "turn and flip");
        Workspace workspace(Support::Quadrants(240, 120), {1000, 600});
        for (const auto& edit : chain)
            workspace.Apply(*edit);
        DrawingToolCompareImages tool(workspace.view, workspace.controller.controller->GetLumindraDrawer());
        const Layout layout = ReadLayout(workspace.view.scene());
        EXPECT_EQ(layout.leftSize, layout.rightSize) << "the original takes the edited picture's shape";
        const QImage screen = workspace.Screen();
        const auto left = QuadrantColours(workspace.view, screen, QRectF(layout.left, layout.leftSize));
        const auto right = QuadrantColours(workspace.view, screen, QRectF(layout.right, layout.rightSize));
        for (std::size_t i = 0; i < 4; ++i)
            EXPECT_TRUE(Support::Near(left[i], right[i])) << "quadrant " << i << ": " << left[i].name().toStdString()
                                                          << " beside " << right[i].name().toStdString();
    }
}

TEST(DrawingToolCompareSplit, TheOriginalLiesUnderTheEditedPicturePixelOnPixelLeftOfTheDivider)
{
    const Edits chains[] = {
        {},
        {Edit<Proc::SettingsRotate>(1)},
        {Edit<Proc::SettingsFlip>(true), Edit<Proc::SettingsCrop>(30, 10, 150, 90)},
        {Edit<Proc::SettingsCrop>(100, 0, 140, 120), Edit<Proc::SettingsRotate>(3)},
    };
    for (const Edits& chain : chains) {
        SCOPED_TRACE(std::to_string(chain.size()) + " edits");
        Workspace workspace(Support::Quadrants(240, 120), {800, 600});
        for (const auto& edit : chain)
            workspace.Apply(*edit);
        // The geometric edits alone, as the person sees them: the original must look like this.
        const QImage before = workspace.Screen();
        // Then a brightness edit, so that the edited side differs from the original.
        workspace.Apply(*Brighter());
        DrawingToolCompareSplit tool(workspace.view, workspace.controller.controller->GetLumindraDrawer());
        ASSERT_TRUE(tool.IsShown());
        EXPECT_TRUE(workspace.view.IsFitToView());
        const QRectF picture = workspace.view.sceneRect();
        EXPECT_DOUBLE_EQ(tool.GetDividerPosition(), picture.width() / 2) << "the divider starts in the middle";

        for (const double divider : {picture.width() / 2, picture.width() * 0.9}) {
            tool.SetDividerPosition(divider);
            const QImage split = workspace.Screen();
            for (const double fx : {0.1, 0.3, 0.6, 0.8}) {
                for (const double fy : {0.2, 0.8}) {
                    const QPointF at(fx * picture.width(), fy * picture.height());
                    if (std::abs(at.x() - divider) < 4)
                        continue;
                    const QPoint pixel = workspace.view.mapFromScene(at);
                    if (!Support::IsFlatAround(before, pixel, 3))
                        continue; // a quadrant's edge: resampling decides, not the alignment
                    const bool original = at.x() < divider;
                    EXPECT_EQ(Support::Near(split.pixelColor(pixel), before.pixelColor(pixel)), original)
                        << "at " << fx << "," << fy << " with the divider at " << divider;
                }
            }
        }
    }
}

TEST(DrawingToolCompareSplit, APressAnywhereMovesTheDividerAndADragFollowsThePointer)
{
    Workspace workspace(Support::Quadrants(400, 200), {800, 500});
    DrawingToolCompareSplit tool(workspace.view, workspace.controller.controller->GetLumindraDrawer());
    workspace.view.SetDrawingTool(&tool);
    QWidget* viewport = workspace.view.viewport();
    auto send = [&](QEvent::Type type, double sceneX, Qt::MouseButtons held) {
        const QPoint at = workspace.view.mapFromScene(QPointF(sceneX, 100));
        QMouseEvent event(type, at, viewport->mapToGlobal(at), Qt::LeftButton, held, Qt::NoModifier);
        QCoreApplication::sendEvent(viewport, &event);
    };
    send(QEvent::MouseButtonPress, 100, Qt::LeftButton);
    EXPECT_NEAR(tool.GetDividerPosition(), 100, 1.0);
    send(QEvent::MouseMove, 300, Qt::LeftButton);
    EXPECT_NEAR(tool.GetDividerPosition(), 300, 1.0);
    send(QEvent::MouseMove, 900, Qt::LeftButton);
    EXPECT_DOUBLE_EQ(tool.GetDividerPosition(), 400) << "kept on the picture";
    send(QEvent::MouseButtonRelease, 900, Qt::NoButton);
    send(QEvent::MouseMove, 50, Qt::NoButton);
    EXPECT_DOUBLE_EQ(tool.GetDividerPosition(), 400) << "released, the divider stays";
    workspace.view.SetDrawingTool(nullptr);
}

TEST(CompareTools, SwitchingOffGivesBackTheSceneAndTheZoom)
{
    struct Row {
        const char* name;
        CompareType type;
        bool fitted;
    };
    const Row rows[] = {
        {"side by side from 150 %", CompareType::SideBySide, false},
        {"side by side from the fit", CompareType::SideBySide, true},
        {"split from 150 %", CompareType::Split, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Workspace workspace(Support::Quadrants(600, 400), {500, 400});
        WorkspaceView& view = workspace.view;
        auto& scene = static_cast<WorkspaceScene&>(*view.scene());
        if (!row.fitted) {
            view.ScaleToPercent(150.0);
            view.centerOn(420, 130);
        }
        const QPointF centre = view.mapToScene(view.viewport()->rect().center());
        const QRectF sceneRect = scene.sceneRect();
        const int items = scene.items().size();
        {
            std::unique_ptr<DrawingToolOriginalBase> tool;
            if (row.type == CompareType::Split)
                tool = std::make_unique<DrawingToolCompareSplit>(view, workspace.controller.controller->GetLumindraDrawer());
            else
                tool = std::make_unique<DrawingToolCompareImages>(view, workspace.controller.controller->GetLumindraDrawer());
            ASSERT_TRUE(tool->IsShown());
            EXPECT_FALSE(scene.GetCanvas()->isVisible());
            EXPECT_NE(scene.GetBackgroundMode(), SceneBackgroundMode::Canvas);
            EXPECT_TRUE(view.IsFitToView());
            EXPECT_GT(scene.items().size(), items);
        }
        EXPECT_TRUE(scene.GetCanvas()->isVisible());
        EXPECT_EQ(scene.GetBackgroundMode(), SceneBackgroundMode::Canvas);
        EXPECT_EQ(scene.sceneRect(), sceneRect);
        EXPECT_EQ(scene.items().size(), items) << "the tool's items are gone";
        EXPECT_EQ(view.IsFitToView(), row.fitted);
        if (!row.fitted) {
            EXPECT_NEAR(view.GetCurrentScalePercent(), 150.0, 1e-6);
            const QPointF now = view.mapToScene(view.viewport()->rect().center());
            EXPECT_NEAR(now.x(), centre.x(), 1.0);
            EXPECT_NEAR(now.y(), centre.y(), 1.0);
        }
    }
}

TEST(CompareTools, AResetOfTheControllerWhileComparingLeavesNothingToGiveBack)
{
    auto workspace = std::make_unique<Workspace>(Support::Quadrants(300, 200), QSize(500, 400));
    DrawingToolCompareImages tool(workspace->view, workspace->controller.controller->GetLumindraDrawer());
    ASSERT_TRUE(tool.IsShown());
    // The controller goes, and its scene with the tool's items in it.
    workspace.reset();
    EXPECT_FALSE(tool.IsShown());
    // Leaving the scope destroys the tool with its scene and view already gone.
}

} // namespace
} // namespace Quelto::Lumindra

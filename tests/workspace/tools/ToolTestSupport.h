#pragma once

#include <memory>
#include <utility>

#include <QColor>
#include <QGraphicsView>
#include <QImage>
#include <QObject>
#include <QPainter>

#include <gtest/gtest.h>

#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "LumindraWorkspace/IWorkspaceController.h"
#include "LumindraWorkspace/scene/WorkspaceScene.h"
#include "LumindraWorkspace/tools/DrawingToolCompareImages.h"
#include "LumindraWorkspace/view/WorkspaceView.h"
#include "core/RefCounted.h"
#include "photocore/IPhotoCoreDrawer.h"
#include "sharedui/SpecialHotkeyHelper.h"
#include "support/TestSupport.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"
#include "workspace/scene/SceneTestSupport.h"

namespace Quelto::Lumindra::Test {

// Zoom limits and step of the editor's window.
inline void ConfigureZoom(WorkspaceView& view)
{
    view.SetRestrictionForScale(IScalableView::ScaleUp, 1600.0);
    view.SetRestrictionForScale(IScalableView::ScaleDown, 1.0);
    view.SetScaleStep(15.0);
}

// A real controller over a real core opened on `picture`, shown fitted in a workspace view whose
// viewport is `viewport` pixels.
struct Workspace {
    Workspace(const QImage& picture, QSize viewport) : controller(picture)
    {
        ConfigureZoom(view);
        view.resize(viewport);
        view.show();
        view.SetWorkspaceController(controller.controller);
        view.ScaleToFit(true);
    }
    ~Workspace() { view.SetWorkspaceController({}); }

    PhotoCore::IPhotoCoreDrawer& Core() { return controller.Core(); }
    // Applies an edit and waits until the canvas shows its frame.
    void Apply(const Proc::SettingsBase& settings)
    {
        Core().ApplyEffect(Proc::EffectSettingsImpl::Create(settings));
        EXPECT_TRUE(Core().WaitForIdle(kDefaultWaitMs));
        auto* scene = static_cast<WorkspaceScene*>(controller.controller->GetScene());
        EXPECT_TRUE(WaitUntil([&] { return scene->GetCanvas()->GetFrame() == Core().GetVideoWithMask(); }));
    }
    QImage Screen() { return view.viewport()->grab().toImage().convertToFormat(QImage::Format_RGB32); }

    TestController controller;
    WorkspaceView view;
};

// The separator of a side-by-side comparison in `scene`, or null.
inline QGraphicsLineItem* FindSeparator(QGraphicsScene* scene)
{
    for (QGraphicsItem* item : scene->items()) {
        if (item->data(0).toString() == QLatin1String(DrawingToolCompareImages::SEPARATOR_KEY))
            return dynamic_cast<QGraphicsLineItem*>(item);
    }
    return nullptr;
}

// A picture of four flat quadrants of different mid tones (so that a brighter edit shows too):
// any turn or mirror shows.
inline QImage Quadrants(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.fillRect(0, 0, width / 2, height / 2, QColor(120, 30, 30));
    painter.fillRect(width / 2, 0, width - width / 2, height / 2, QColor(30, 120, 30));
    painter.fillRect(0, height / 2, width / 2, height - height / 2, QColor(30, 30, 120));
    painter.fillRect(width / 2, height / 2, width - width / 2, height - height / 2, QColor(100, 100, 100));
    return image;
}

// Whether two colours are the same up to resampling noise.
inline bool Near(const QColor& a, const QColor& b, int tolerance = 8)
{
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance
        && std::abs(a.blue() - b.blue()) <= tolerance;
}

// Whether the pixels within `radius` of `at` all have its colour.
inline bool IsFlatAround(const QImage& image, const QPoint& at, int radius)
{
    for (int dy = -radius; dy <= radius; ++dy)
        for (int dx = -radius; dx <= radius; ++dx)
            if (!image.rect().contains(at + QPoint(dx, dy))
                || !Near(image.pixelColor(at + QPoint(dx, dy)), image.pixelColor(at), 2))
                return false;
    return true;
}

// A drawer that hands out the frames it is given (either may be null), with the geometry given.
class FrameDrawer : public Core::RefCounted, public PhotoCore::IPhotoCoreDrawer {
public:
    FrameDrawer(Proc::DataVideoPtr original, Proc::DataVideoPtr current, PhotoCore::FrameGeometry geometry)
        : original_(std::move(original)), current_(std::move(current))
    {
        settings_.SetGeometry(geometry);
    }
    Proc::DataVideoPtr GetVideo() const override { return current_; }
    Proc::DataVideoPtr GetVideoWithMask() const override { return current_; }
    Proc::DataVideoPtr GetOriginalVideo() const override { return original_; }
    std::shared_ptr<const PhotoCore::SettingsCore> GetFrameSettings(int) const override
    {
        return std::make_shared<PhotoCore::SettingsCore>(settings_);
    }
    PhotoCore::IDebug* GetDebugEngine() const override { return nullptr; }
    void ApplyEffect(const boost::intrusive_ptr<Proc::IEffectSettings>&) override {}
    void PreviewEffect(const boost::intrusive_ptr<Proc::IEffectSettings>&) override {}
    void CancelPreview() override {}
    AlphaInfo GetAlphaInfo() const override { return {}; }
    void SetDrawable(PhotoCore::IDrawable*) override {}
    bool MayRenderCanvas() const override { return true; }
    Proc::DataVideoPtr GetVideoForRendering() const override { return current_; }
    bool HasLayerOfKind(int) const override { return false; }
    bool WaitForIdle(int) const override { return true; }

private:
    Proc::DataVideoPtr original_;
    Proc::DataVideoPtr current_;
    PhotoCore::SettingsCore settings_;
};

// The host's side of the compare messages: counts the tools' errors and sends what the host sends.
class CompareHost : public QObject {
    Q_OBJECT
public:
    CompareHost()
    {
        using HostIds = LumindraInt::IObjectsConnectorID;
        using Util::ObjectsConnector;
        ObjectsConnector::registerReceiver(HostIds::COMPARE_TOOL_ERROR_CREATE, this, QStringLiteral("1OnErrorCreate()"));
        ObjectsConnector::registerEmitter(HostIds::HOTKEY_ACTIVATED, this,
                                          QStringLiteral("2hotkeyActivated(SpecialHotkeyHelper::HotkeyID, bool)"));
        ObjectsConnector::registerEmitter(HostIds::BEFORE_RESET_WORKSPACECONTROLLER, this,
                                          QStringLiteral("2beforeWorkspaceControllerReset ()"));
        ObjectsConnector::registerEmitter(HostIds::UI_CONTROL_USED, this, QStringLiteral("2uiControlUsed()"));
        ObjectsConnector::registerEmitter(HostIds::ABOUT_TO_SAVE_SESSION, this, QStringLiteral("2aboutToSaveSession()"));
    }
    int errors = 0;

public Q_SLOTS:
    void OnErrorCreate() { ++errors; }

Q_SIGNALS:
    void hotkeyActivated(SpecialHotkeyHelper::HotkeyID id, bool pressed);
    void beforeWorkspaceControllerReset();
    void uiControlUsed();
    void aboutToSaveSession();
};

} // namespace Quelto::Lumindra::Test

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
#include "LumindraWorkspace/WorkspaceMetadata.h"
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

// A real controller seen through another drawer: everything else is the controller's own.
class DrawerSwap : public IWorkspaceController {
public:
    DrawerSwap(std::shared_ptr<IWorkspaceController> inner, boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> drawer)
        : inner_(std::move(inner)), drawer_(std::move(drawer))
    {
    }
    boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> GetLumindraDrawer() override { return drawer_; }

    IScalableView* GetView() const override { return inner_->GetView(); }
    IScene* GetScene() const override { return inner_->GetScene(); }
    boost::intrusive_ptr<PhotoCore::IPhotoCoreUndoBase> GetUndoEngine() override { return inner_->GetUndoEngine(); }
    boost::intrusive_ptr<PhotoUtil::ISerializer> GetSerializeEngine() override { return inner_->GetSerializeEngine(); }
    void RegisterCoreEventHandler(PhotoCore::ICoreEventHandler* h) override { inner_->RegisterCoreEventHandler(h); }
    void UnregisterCoreEventHandler(PhotoCore::ICoreEventHandler* h) override { inner_->UnregisterCoreEventHandler(h); }
    void RegisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* h) override { inner_->RegisterDrawerEventHandler(h); }
    void UnregisterDrawerEventHandler(PhotoCore::IDrawerEventHandler* h) override
    {
        inner_->UnregisterDrawerEventHandler(h);
    }
    QString GetFileName() override { return inner_->GetFileName(); }
    QString GetOriginalFileName() override { return inner_->GetOriginalFileName(); }
    bool HasChanged() const override { return inner_->HasChanged(); }
    PhotoCore::IPhotoCoreIO::SaveResult SaveOverwrite() override { return inner_->SaveOverwrite(); }
    PhotoCore::IPhotoCoreIO::SaveResult Save(const SaveSettings& s, PhotoCore::SettingsSave& save) override
    {
        return inner_->Save(s, save);
    }
    PhotoCore::IPhotoCoreIO::SaveResult Save(const SaveSettings& s) override { return inner_->Save(s); }
    void SendSaveStatistics(const SaveSettings::StatisticsSettings& s) override { inner_->SendSaveStatistics(s); }
    void SaveSession() override { inner_->SaveSession(); }
    void SetProgressController(const boost::intrusive_ptr<Core::IProgressController>& p) override
    {
        inner_->SetProgressController(p);
    }
    void SetDragAndDrop(IDragAndDrop* d) override { inner_->SetDragAndDrop(d); }
    ioPath GenerateTemporaryFilePath() override { return inner_->GenerateTemporaryFilePath(); }
    Proc::DataVideoPtr LoadSelection(const std::string& key, bool useOnly) override
    {
        return inner_->LoadSelection(key, useOnly);
    }
    void SaveSelection(const std::string& key, const Proc::DataVideoPtr& d) override { inner_->SaveSelection(key, d); }
    const Util::ImageUtils& GetImageUtils() const override { return inner_->GetImageUtils(); }
    const PhotoCore::SettingsCore& GetFrameInfo() const override { return inner_->GetFrameInfo(); }
    QImage GetSnapshot() override { return inner_->GetSnapshot(); }
    Core::Property GetFileInfo() override { return inner_->GetFileInfo(); }
    PhotoCore::IStatisticsEventHandler* GetStatisticsEventHandler() const override
    {
        return inner_->GetStatisticsEventHandler();
    }
    PhotoCore::IDebug* GetDebugEngine() const override { return inner_->GetDebugEngine(); }
    const PhotoCore::IPhotoCoreIO& GetIOEngine() const override
    {
        return static_cast<const IWorkspaceController&>(*inner_).GetIOEngine();
    }
    PhotoCore::IPhotoCoreIO& GetIOEngine() override { return inner_->GetIOEngine(); }
    const WorkspaceMetadata& GetMetadataSettings() const override { return inner_->GetMetadataSettings(); }
    WorkspaceMetadata& MetadataSettings() override { return inner_->MetadataSettings(); }
    PhotoCore::IPhotoCoreTracker& GetTrackerEngine() override { return inner_->GetTrackerEngine(); }

private:
    std::shared_ptr<IWorkspaceController> inner_;
    boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer> drawer_;
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

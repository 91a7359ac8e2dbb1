#include "LumindraWorkspace/UI/CompareButton.h"

#include <QAction>
#include <QActionGroup>
#include <QGraphicsView>
#include <QMenu>
#include <QTimer>

#include <glog/logging.h>

#include "LumindraWorkspace/IObjectsConnectorID.h"
#include "LumindraWorkspace/IWorkspaceController.h"
#include "LumindraWorkspace/tools/DrawingToolCompareImages.h"
#include "LumindraWorkspace/tools/DrawingToolCompareSplit.h"
#include "LumindraWorkspace/view/WorkspaceView.h"
#include "util/HostObjectsConnectorID.h"
#include "util/ObjectsConnector.h"

namespace Quelto::Lumindra {

namespace {

using HostIds = LumindraInt::IObjectsConnectorID;
using WorkspaceIds = Workspace::IObjectsConnectorID;

// The compare hotkey is reported to every compare button: the first one that sees a press
// handles it and the others, seeing the key already down, leave it. One keyboard, one state.
bool compareKeyDown = false;

std::unique_ptr<DrawingToolOriginalBase> MakeTool(CompareType type, QGraphicsView& view,
                                                  const boost::intrusive_ptr<PhotoCore::IPhotoCoreDrawer>& drawer)
{
    if (type == CompareType::Split)
        return std::make_unique<DrawingToolCompareSplit>(view, drawer);
    return std::make_unique<DrawingToolCompareImages>(view, drawer);
}

} // namespace

CompareButton::CompareButton(QWidget* parent) : QToolButton(parent)
{
    qRegisterMetaType<CompareType>("Lumindra::CompareType");
    setObjectName(QStringLiteral("compareButton"));
    setText(tr("Compare"));
    setToolTip(tr("Compare the edited picture with the original"));
    setCheckable(true);
    setEnabled(false);
    setPopupMode(QToolButton::MenuButtonPopup);

    typeMenu_ = new QMenu(tr("Compare &Mode"), this);
    auto* group = new QActionGroup(typeMenu_);
    sideBySide_ = typeMenu_->addAction(tr("&Side by Side"));
    split_ = typeMenu_->addAction(tr("S&plit"));
    for (QAction* action : {sideBySide_, split_}) {
        action->setCheckable(true);
        group->addAction(action);
    }
    sideBySide_->setChecked(true);
    connect(sideBySide_, &QAction::triggered, this, [this] { SetCompareType(CompareType::SideBySide); });
    connect(split_, &QAction::triggered, this, [this] { SetCompareType(CompareType::Split); });
    setMenu(typeMenu_);

    connect(this, &QToolButton::clicked, this, [this](bool checked) {
        SetActive(checked);
        Q_EMIT setWorkspaceFocus(true);
    });

    using Util::ObjectsConnector;
    ObjectsConnector::registerEmitter(HostIds::COMPARE_IS_ACTIVE, this,
                                      QStringLiteral("2compareIsActivated(bool, Lumindra::CompareType)"), 0);
    ObjectsConnector::registerReceiver(HostIds::COMPARE_IS_ACTIVE, this,
                                       QStringLiteral("1OnCompareIsActivated(bool, Lumindra::CompareType)"), 0);
    ObjectsConnector::registerReceiver(HostIds::COMPARE_TOOL_ERROR_CREATE, this, QStringLiteral("1OnErrorCreate()"), 0);
    ObjectsConnector::registerReceiver(HostIds::BEFORE_RESET_WORKSPACECONTROLLER, this, QStringLiteral("1execute()"), 0);
    ObjectsConnector::registerReceiver(HostIds::HOTKEY_ACTIVATED, this,
                                       QStringLiteral("1OnOverlay(SpecialHotkeyHelper::HotkeyID, bool)"), 0);
    ObjectsConnector::registerReceiver(HostIds::ABOUT_TO_SAVE_SESSION, this, QStringLiteral("1OnAboutToSaveSession()"),
                                       0);
    ObjectsConnector::registerReceiver(HostIds::UI_CONTROL_USED, this, QStringLiteral("1OnUiControlUsed()"), 0);
    ObjectsConnector::registerEmitter(HostIds::SET_WORKSPACE_FOCUS, this, QStringLiteral("2setWorkspaceFocus(bool)"), 0);
    ObjectsConnector::registerEmitter(WorkspaceIds::DRAG_TIPS_ENABLED, this, QStringLiteral("2dragTipsEnabled(bool)"),
                                      0);
}

CompareButton::~CompareButton()
{
    // The scene and the zoom go back as they were; nobody is left to tell.
    if (tool_)
        Deactivate(false);
}

void CompareButton::SetView(QGraphicsView* view)
{
    if (view == view_)
        return;
    if (active_)
        Deactivate(true);
    view_ = view;
}

void CompareButton::SetWorkspaceController(const std::weak_ptr<IWorkspaceController>& controller)
{
    if (active_)
        Deactivate(true);
    controller_ = controller;
    setEnabled(!controller.expired());
}

void CompareButton::SetCompareType(CompareType type)
{
    ShowType(type);
    if (type == type_)
        return;
    type_ = type;
    if (active_) {
        // A comparison that another button made ends there first: one comparison at a time.
        Deactivate(!tool_);
        if (!Activate())
            Q_EMIT compareIsActivated(false, type_);
    }
}

bool CompareButton::SetActive(bool active)
{
    if (active && !active_)
        Activate();
    else if (!active && active_)
        Deactivate(true);
    // A click has toggled the check mark already; it shows the state that came out.
    setChecked(active_);
    return active_;
}

bool CompareButton::Activate()
{
    const auto controller = controller_.lock();
    QGraphicsView* view = view_.data();
    if (!controller || !view) {
        setChecked(false);
        return false;
    }
    Q_EMIT dragTipsEnabled(false);
    creating_ = true;
    creationFailed_ = false;
    std::unique_ptr<DrawingToolOriginalBase> tool = MakeTool(type_, *view, controller->GetLumindraDrawer());
    creating_ = false;
    if (creationFailed_ || !tool->IsShown()) {
        LOG(WARNING) << "The comparison could not be shown";
        tool.reset();
        Q_EMIT dragTipsEnabled(true);
        setChecked(false);
        return false;
    }
    tool_ = std::move(tool);
    // Escape comes from inside the view's key handling, which still uses the tool: end it after.
    connect(tool_.get(), &DrawingToolOriginalBase::cancelRequested, this, [this] { SetActive(false); },
            Qt::QueuedConnection);
    if (auto* workspaceView = qobject_cast<WorkspaceView*>(view))
        workspaceView->SetDrawingTool(tool_.get());
    active_ = true;
    setChecked(true);
    VLOG(30) << "Comparison on";
    Q_EMIT compareIsActivated(true, type_);
    return true;
}

void CompareButton::Deactivate(bool announce)
{
    activatedByKey_ = false;
    active_ = false;
    if (tool_) {
        if (auto* workspaceView = qobject_cast<WorkspaceView*>(view_.data());
            workspaceView && workspaceView->GetDrawingTool() == tool_.get())
            workspaceView->SetDrawingTool(nullptr);
        tool_.reset();
        Q_EMIT dragTipsEnabled(true);
        VLOG(30) << "Comparison off";
    }
    setChecked(false);
    if (announce)
        Q_EMIT compareIsActivated(false, type_);
}

void CompareButton::ShowType(CompareType type)
{
    (type == CompareType::Split ? split_ : sideBySide_)->setChecked(true);
}

void CompareButton::execute()
{
    compareKeyDown = false;
    if (active_)
        Deactivate(true);
}

void CompareButton::OnCompareIsActivated(bool active, Lumindra::CompareType type)
{
    if (sender() == this)
        return;
    // Another button made or ended the comparison: one comparison at a time.
    if (tool_)
        Deactivate(false);
    type_ = type;
    ShowType(type);
    active_ = active;
    setChecked(active);
}

void CompareButton::OnOverlay(SpecialHotkeyHelper::HotkeyID id, bool pressed)
{
    if (id != SpecialHotkeyHelper::ToggleCompare || !isEnabled() || pressed == compareKeyDown)
        return;
    compareKeyDown = pressed;
    if (pressed) {
        const bool wasActive = active_;
        SetActive(!wasActive);
        activatedByKey_ = !wasActive && active_;
        shownSince_.start();
        return;
    }
    if (activatedByKey_ && shownSince_.elapsed() >= holdMs_)
        SetActive(false);
    activatedByKey_ = false;
}

void CompareButton::OnErrorCreate()
{
    if (creating_) {
        creationFailed_ = true;
        return;
    }
    // A tool of ours that fails later is ended once its own call has returned.
    if (tool_ && sender() == tool_.get())
        QTimer::singleShot(0, this, [this] { SetActive(false); });
}

void CompareButton::OnAboutToSaveSession()
{
    SetActive(false);
}

void CompareButton::OnUiControlUsed()
{
    SetActive(false);
}

} // namespace Quelto::Lumindra

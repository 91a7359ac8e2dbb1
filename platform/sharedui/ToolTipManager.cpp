#include "sharedui/ToolTipManager.h"

#include <algorithm>

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QWidget>

namespace Quelto::Lumindra {

namespace {
const char* const kTipObjectName = "lumindraToolTip";
// Dark and slightly see-through, so that the picture under the tip stays recognisable.
const char* const kTipStyle =
    "QFrame#lumindraToolTip { background-color: rgba(28, 28, 28, 225); border-radius: 8px; }"
    "QFrame#lumindraToolTip QLabel { color: #f0f0f0; background: transparent; }";
// Room between the icon, the text and the rounded edge.
constexpr int kTipPaddingPx = 8;
constexpr int kTipSpacingPx = 8;
} // namespace

ToolTipManager::ToolTipManager(QObject* parent)
    : QObject(parent)
{
    hideTimer.setSingleShot(true);
    connect(&hideTimer, &QTimer::timeout, this, &ToolTipManager::HideTip);
}

ToolTipManager::~ToolTipManager()
{
    // The tip belongs to its widget; take it along only when the widget still lives.
    if (tip) {
        disconnect(tip, nullptr, this, nullptr);
        delete tip.data();
    }
}

bool ToolTipManager::ShowTip(QWidget* widget, const QString& html, const QPixmap& icon, const QPoint& anchor,
                             int durationMs)
{
    if (!widget || html.isEmpty())
        return false;
    if (tip && tip->parentWidget() != widget) {
        HideTip();
        delete tip.data();
    }
    if (!tip) {
        tip = new QFrame(widget);
        tip->setObjectName(QString::fromLatin1(kTipObjectName));
        tip->setStyleSheet(QString::fromLatin1(kTipStyle));
        tip->setAttribute(Qt::WA_TransparentForMouseEvents);
        tip->setFocusPolicy(Qt::NoFocus);
        // The widget may die with its tip on show; listeners still learn that it is gone.
        connect(tip, &QObject::destroyed, this, [this] {
            hideTimer.stop();
            if (shown) {
                shown = false;
                emit tipHidden();
            }
        });
        auto* layout = new QHBoxLayout(tip);
        layout->setContentsMargins(kTipPaddingPx, kTipPaddingPx, kTipPaddingPx, kTipPaddingPx);
        layout->setSpacing(kTipSpacingPx);
        iconLabel = new QLabel(tip);
        textLabel = new QLabel(tip);
        textLabel->setTextFormat(Qt::RichText);
        layout->addWidget(iconLabel);
        layout->addWidget(textLabel);
    } else if (shown) {
        emit tipHidden();
    }
    iconLabel->setPixmap(icon);
    iconLabel->setVisible(!icon.isNull());
    textLabel->setText(html);
    Place(anchor);
    tip->show();
    tip->raise();
    shown = true;
    if (durationMs > 0)
        hideTimer.start(durationMs);
    else
        hideTimer.stop();
    emit tipShown();
    return true;
}

void ToolTipManager::MoveTip(const QPoint& anchor)
{
    if (IsTipVisible())
        Place(anchor);
}

void ToolTipManager::HideTip()
{
    hideTimer.stop();
    if (!shown)
        return;
    shown = false;
    if (tip)
        tip->hide();
    emit tipHidden();
}

bool ToolTipManager::IsTipVisible() const
{
    return shown && tip;
}

QWidget* ToolTipManager::GetTipWidget() const
{
    return IsTipVisible() ? tip->parentWidget() : nullptr;
}

QString ToolTipManager::GetTipHtml() const
{
    return IsTipVisible() ? textLabel->text() : QString();
}

QRect ToolTipManager::GetTipGeometry() const
{
    return IsTipVisible() ? tip->geometry() : QRect();
}

void ToolTipManager::Place(const QPoint& anchor)
{
    const QSize room = tip->parentWidget()->size();
    // One line where it fits; wrapped to the widget's width where it does not.
    textLabel->setWordWrap(false);
    tip->adjustSize();
    if (tip->width() > room.width() && room.width() > 0) {
        textLabel->setWordWrap(true);
        const int height = tip->heightForWidth(room.width());
        tip->resize(room.width(), height > 0 ? height : tip->sizeHint().height());
    }
    const QSize size = tip->size();
    // Kept inside where it fits; a tip larger than its widget keeps its top-left corner in
    // view, where the text begins.
    const int x = std::max(0, std::min(anchor.x() - size.width() / 2, room.width() - size.width()));
    const int y = std::max(0, std::min(anchor.y() - size.height(), room.height() - size.height()));
    tip->move(x, y);
}

} // namespace Quelto::Lumindra

#include "util/AlertBox.h"

#include <mutex>

#include <QAbstractButton>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

#include <glog/logging.h>

#include "util/CustomizationManager.h"

namespace Quelto::Lumindra {

namespace {

// Icon size of the message-box icons in logical pixels, as the platform's own message boxes use.
constexpr int kIconExtent = 32;
// Text wider than this wraps, so long messages make a tall box rather than a screen-wide one.
constexpr int kMaxTextWidth = 480;
// Buttons are at least this wide so that short labels ("Ok") are easy to hit.
constexpr int kMinButtonWidth = 88;

std::mutex& HookMutex()
{
    static std::mutex mutex;
    return mutex;
}

LumindraAlertBox::TestHook& Hook() // guarded by HookMutex()
{
    static LumindraAlertBox::TestHook hook;
    return hook;
}

QStyle::StandardPixmap IconFor(int level)
{
    switch (level) {
    case LumindraAlertBox::Warning:
        return QStyle::SP_MessageBoxWarning;
    case LumindraAlertBox::Critical:
        return QStyle::SP_MessageBoxCritical;
    default:
        return QStyle::SP_MessageBoxInformation;
    }
}

} // namespace

LumindraAlertBox::LumindraAlertBox(int level, const QString& text, QDialogButtonBox::StandardButtons buttons,
                                   QWidget* parent, Qt::WindowFlags flags)
    : QDialog(parent, flags),
      level_(level >= Information && level <= Critical ? level : Information)
{
    auto* icon = new QLabel(this);
    icon->setObjectName(QStringLiteral("alertIcon"));
    icon->setPixmap(style()->standardIcon(IconFor(level_), nullptr, this).pixmap(kIconExtent, kIconExtent));
    icon->setAlignment(Qt::AlignTop);

    text_ = new QLabel(text, this);
    text_->setObjectName(QStringLiteral("alertText"));
    text_->setTextFormat(Qt::AutoText);
    text_->setWordWrap(true);
    text_->setMaximumWidth(kMaxTextWidth);
    text_->setTextInteractionFlags(Qt::TextBrowserInteraction);
    text_->setOpenExternalLinks(true);

    buttons_ = new QDialogButtonBox(buttons, Qt::Horizontal, this);
    connect(buttons_, &QDialogButtonBox::clicked, this, &LumindraAlertBox::OnClicked);

    auto* content = new QHBoxLayout;
    content->addWidget(icon);
    content->addWidget(text_, 1);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(content);
    layout->addWidget(buttons_);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

QString LumindraAlertBox::GetText() const
{
    return text_->text();
}

QAbstractButton* LumindraAlertBox::GetButton(QDialogButtonBox::StandardButton which) const
{
    return buttons_->button(which);
}

QDialogButtonBox::StandardButton LumindraAlertBox::Exec()
{
    TestHook hook = GetTestHook();
    if (hook) {
        const QDialogButtonBox::StandardButton answer = hook(*this);
        clicked_ = answer;
        clickedButton_ = buttons_->button(answer);
        return answer;
    }
    clicked_ = QDialogButtonBox::NoButton;
    clickedButton_ = nullptr;
    setModal(true);
    exec();
    return clicked_;
}

void LumindraAlertBox::OnClicked(QAbstractButton* button)
{
    clickedButton_ = button;
    clicked_ = buttons_->standardButton(button);
    const QDialogButtonBox::ButtonRole role = buttons_->buttonRole(button);
    done(role == QDialogButtonBox::RejectRole || role == QDialogButtonBox::NoRole ? QDialog::Rejected
                                                                                    : QDialog::Accepted);
}

void LumindraAlertBox::SetTestHook(TestHook hook)
{
    std::lock_guard<std::mutex> lock(HookMutex());
    Hook() = std::move(hook);
}

LumindraAlertBox::TestHook LumindraAlertBox::GetTestHook()
{
    std::lock_guard<std::mutex> lock(HookMutex());
    return Hook();
}

void StyleAlertBox(LumindraAlertBox& box, const QList<QAbstractButton*>& extraButtons)
{
    box.setObjectName(QStringLiteral("LumindraAlertBox"));
    box.setWindowTitle(Util::CustomizationManager::Instance().GetProductName());
    box.setSizeGripEnabled(false);
    QDialogButtonBox* buttonBox = box.GetButtonBox();
    buttonBox->setObjectName(QStringLiteral("alertButtons"));
    buttonBox->setCenterButtons(false);
    for (QAbstractButton* extra : extraButtons) {
        if (extra)
            buttonBox->addButton(extra, QDialogButtonBox::ActionRole);
    }
    for (QAbstractButton* button : buttonBox->buttons()) {
        const QDialogButtonBox::StandardButton which = buttonBox->standardButton(button);
        if (button->objectName().isEmpty())
            button->setObjectName(which == QDialogButtonBox::NoButton
                                      ? QStringLiteral("alertExtraButton")
                                      : QStringLiteral("alertButton%1").arg(int(which), 0, 16));
        button->setMinimumWidth(kMinButtonWidth);
    }
}

} // namespace Quelto::Lumindra

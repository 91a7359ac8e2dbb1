#include "RestoreOffer.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QImageReader>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

#include "util/Settings.h"

namespace Quelto::Lumindra::App {

RestoreOffer::RestoreOffer(const UnfinishedSession& session, QWidget* parent) : QDialog(parent), session_(session)
{
    const QString product = Util::CustomizationManager::Instance().GetProductName();
    setWindowTitle(tr("Restore Session – %1").arg(product));

    preview_ = new QLabel(this);
    preview_->setObjectName(QStringLiteral("sessionPreview"));
    preview_->setAlignment(Qt::AlignCenter);
    QImageReader reader(session.GetPreviewPath());
    const QImage picture = reader.read();
    if (picture.isNull())
        preview_->setText(tr("No preview"));
    else
        preview_->setPixmap(QPixmap::fromImage(picture));

    auto* text = new QLabel(tr("%1 did not close properly the last time.\n\n“%2”, autosaved on %3, has edits "
                               "that were not saved to its file.\n\nRestore it with its edits and their history?")
                                .arg(product, session.GetDisplayName(),
                                     QLocale().toString(session.GetSavedAt(), QLocale::ShortFormat)),
                            this);
    text->setWordWrap(true);

    auto* buttons = new QDialogButtonBox(this);
    restore_ = buttons->addButton(tr("&Restore"), QDialogButtonBox::AcceptRole);
    discard_ = buttons->addButton(tr("&Discard"), QDialogButtonBox::DestructiveRole);
    restore_->setDefault(true);
    // The choice is told before the dialog finishes, so that whoever waits for the end sees it
    // carried out; hidden first, so that a long restore does not show a stale question.
    connect(restore_, &QPushButton::clicked, this, [this] {
        hide();
        Q_EMIT restoreRequested();
        accept();
    });
    connect(discard_, &QPushButton::clicked, this, [this] {
        hide();
        Q_EMIT discardRequested();
        accept();
    });

    auto* row = new QHBoxLayout;
    row->addWidget(preview_);
    row->addWidget(text, 1);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(row);
    layout->addWidget(buttons);
}

QPixmap RestoreOffer::GetShownPreview() const
{
    return preview_->pixmap(Qt::ReturnByValue);
}

} // namespace Quelto::Lumindra::App

#pragma once

#include <QDialog>

#include "LumindraWorkspace/UnfinishedSession.h"

class QLabel;
class QPushButton;

namespace Quelto::Lumindra::App {

// Offers, at start, to restore the session that the last run left unfinished: shows its preview
// picture, the picture's name and when it was autosaved, and lets the person restore it or
// discard it. Closing the offer otherwise decides nothing: the session is offered again at the
// next start. Not modal to the application's event loop (it is shown with open()); UI thread.
class RestoreOffer : public QDialog {
    Q_OBJECT
public:
    RestoreOffer(const UnfinishedSession& session, QWidget* parent);

    const UnfinishedSession& GetSession() const { return session_; }
    // What the offer shows of the session's preview picture; null when it has none.
    QPixmap GetShownPreview() const;
    QPushButton* GetRestoreButton() const { return restore_; }
    QPushButton* GetDiscardButton() const { return discard_; }

Q_SIGNALS:
    // The person's answer, told before the dialog finishes (QDialog::finished).
    void restoreRequested();
    void discardRequested();

private:
    UnfinishedSession session_;
    QLabel* preview_ = nullptr;
    QPushButton* restore_ = nullptr;
    QPushButton* discard_ = nullptr;
};

} // namespace Quelto::Lumindra::App

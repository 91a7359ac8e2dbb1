#pragma once

#include <functional>

#include <QDialog>
#include <QDialogButtonBox>
#include <QString>

class QLabel;

namespace Quelto::Lumindra {

// The application's standard alert dialog: an icon for the level, a text and buttons.
// Exec() is modal. Tests answer every alert through SetTestHook, so none waits for a person.
class LumindraAlertBox : public QDialog {
    Q_OBJECT
public:
    enum Level { Information = 0, Warning = 1, Critical = 2 };

    LumindraAlertBox(int level, const QString& text, QDialogButtonBox::StandardButtons buttons,
                     QWidget* parent = nullptr, Qt::WindowFlags flags = Qt::Dialog);

    QString GetText() const;
    int GetLevel() const { return level_; }
    QDialogButtonBox* GetButtonBox() const { return buttons_; }
    QAbstractButton* GetButton(QDialogButtonBox::StandardButton which) const;

    // Shows the dialog modally and returns the standard button that closed it
    // (QDialogButtonBox::NoButton when closed otherwise).
    QDialogButtonBox::StandardButton Exec();

    // Process-wide: while set, Exec() does not show the dialog and returns what the hook answers.
    using TestHook = std::function<QDialogButtonBox::StandardButton(LumindraAlertBox&)>;
    static void SetTestHook(TestHook hook);

private:
    int level_ = 0;
    QLabel* text_ = nullptr;
    QDialogButtonBox* buttons_ = nullptr;
    QDialogButtonBox::StandardButton clicked_ = QDialogButtonBox::NoButton;
};

// Applies the application's alert styling; `extraButtons` are added after the standard ones.
void StyleAlertBox(LumindraAlertBox& box, const QList<QAbstractButton*>& extraButtons = {});

} // namespace Quelto::Lumindra

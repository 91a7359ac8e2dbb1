#pragma once

#include <functional>

#include <QDialog>
#include <QDialogButtonBox>
#include <QList>
#include <QString>

class QAbstractButton;
class QLabel;

namespace Quelto::Lumindra {

// The application's standard alert dialog: an icon for the level, a word-wrapped text (rich
// text when it looks like it) and buttons. UI thread only. Exec() is modal. Tests answer every
// alert through SetTestHook, so none waits for a person.
class LumindraAlertBox : public QDialog {
    Q_OBJECT
public:
    // Levels outside this range are shown as Information.
    enum Level { Information = 0, Warning = 1, Critical = 2 };

    LumindraAlertBox(int level, const QString& text, QDialogButtonBox::StandardButtons buttons,
                     QWidget* parent = nullptr, Qt::WindowFlags flags = Qt::Dialog);

    QString GetText() const;
    int GetLevel() const { return level_; }
    QDialogButtonBox* GetButtonBox() const { return buttons_; }
    // The standard button, or null when the box does not have it.
    QAbstractButton* GetButton(QDialogButtonBox::StandardButton which) const;

    // Shows the dialog modally and returns the standard button that closed it
    // (QDialogButtonBox::NoButton when it was closed otherwise or by an extra button).
    QDialogButtonBox::StandardButton Exec();
    // The button that closed the dialog last (standard or extra), or null.
    QAbstractButton* GetClickedButton() const { return clickedButton_; }

    // Process-wide: while set, Exec() does not show the dialog and returns what the hook answers.
    // Set and read from the UI thread; an empty hook shows dialogs again.
    using TestHook = std::function<QDialogButtonBox::StandardButton(LumindraAlertBox&)>;
    static void SetTestHook(TestHook hook);
    static TestHook GetTestHook();

private:
    void OnClicked(QAbstractButton* button);

    int level_ = Information;
    QLabel* text_ = nullptr;
    QDialogButtonBox* buttons_ = nullptr;
    QAbstractButton* clickedButton_ = nullptr;
    QDialogButtonBox::StandardButton clicked_ = QDialogButtonBox::NoButton;
};

// Applies the application's alert styling (object names, window title, button sizes) to the box;
// `extraButtons` are added after the standard ones and close the dialog when clicked (the box
// takes ownership). Null entries are skipped.
void StyleAlertBox(LumindraAlertBox& box, const QList<QAbstractButton*>& extraButtons = {});

} // namespace Quelto::Lumindra

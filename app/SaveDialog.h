#pragma once

#include <functional>
#include <map>

#include <QDialog>

#include "SaveChoices.h"

class QCheckBox;
class QComboBox;
class QDialogButtonBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QSlider;
class QSpinBox;
class QWidget;

namespace Quelto::Lumindra::App {

// The save window: where the picture goes (file name, format), how well it is kept (quality,
// where the format has one) and what it tells about itself (author, comment, keep or remove the
// metadata and the GPS positions). The format follows the file name's extension and the other
// way round; a name whose extension no format claims cannot be saved, and the window says why.
// Saving over an existing file other than the open one asks first. UI thread.
class SaveDialog : public QDialog {
    Q_OBJECT
public:
    // The choices the image holds for a file name (its quality for that file's format).
    using ChoicesFor = std::function<SaveChoices(const QString& fileName)>;

    // `openFile` is the file the picture is open from, which may be replaced without asking.
    SaveDialog(const SaveChoices& initial, ChoicesFor choicesFor, const QString& openFile, QWidget* parent = nullptr);

    SaveChoices GetChoices() const;
    // Why the choices cannot be saved now; empty when they can.
    QString GetProblem() const;

public Q_SLOTS:
    void accept() override;

private:
    void OnFormatChosen();
    void OnFileNameEdited();
    void Browse();
    void Refresh();
    // The file name with the chosen format's extension (replacing one no format claims).
    QString WithExtension(const QString& fileName, const QString& extension) const;
    QString ChosenExtension() const;
    // The format entry of an extension (any of its format's extensions); -1 when none is offered.
    int IndexOf(const QString& extension) const;

    ChoicesFor choicesFor_;
    QString openFile_;
    std::map<QString, int> qualities_; // per extension, as the person left them in this window
    QString qualityExtension_;         // the extension the quality slider shows now
    bool syncing_ = false;             // the name and the format are being matched to each other

    QLineEdit* fileName_ = nullptr;
    QComboBox* format_ = nullptr;
    QWidget* qualityRow_ = nullptr;
    QLabel* qualityLabel_ = nullptr;
    QSlider* qualitySlider_ = nullptr;
    QSpinBox* quality_ = nullptr;
    QGroupBox* metadataBox_ = nullptr;
    QLineEdit* author_ = nullptr;
    QLineEdit* comment_ = nullptr;
    QCheckBox* removeMetadata_ = nullptr;
    QCheckBox* removeGps_ = nullptr;
    QLabel* metadataNote_ = nullptr;
    QLabel* problem_ = nullptr;
    QDialogButtonBox* buttons_ = nullptr;
};

} // namespace Quelto::Lumindra::App

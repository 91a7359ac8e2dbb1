#include "SaveDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>

#include "photoutil/FormatHelper.h"

namespace Quelto::Lumindra::App {

namespace {

QString FormatName(const QString& extension)
{
    return PhotoUtil::FormatHelper::GetFormatDescriptionForExtension(extension.toStdString(), true).first;
}

std::string CodecOf(const QString& extension)
{
    return PhotoUtil::FormatHelper::GetFormatDescriptionForExtension(extension.toLower().toStdString(), true)
        .second.codecId;
}

QString Dotted(const QStringList& extensions)
{
    QStringList dotted;
    for (const QString& extension : extensions)
        dotted << QLatin1Char('.') + extension;
    return dotted.join(QStringLiteral(", "));
}

} // namespace

SaveDialog::SaveDialog(const SaveChoices& initial, ChoicesFor choicesFor, const QString& openFile, QWidget* parent)
    : QDialog(parent), choicesFor_(std::move(choicesFor)), openFile_(openFile)
{
    setWindowTitle(tr("Save Picture As"));
    setObjectName(QStringLiteral("saveDialog"));

    fileName_ = new QLineEdit(QDir::toNativeSeparators(initial.fileName), this);
    fileName_->setObjectName(QStringLiteral("fileName"));
    fileName_->setMinimumWidth(380);
    auto* browse = new QPushButton(tr("&Browse..."), this);
    browse->setObjectName(QStringLiteral("browse"));
    auto* fileRow = new QHBoxLayout;
    fileRow->addWidget(fileName_, 1);
    fileRow->addWidget(browse);

    format_ = new QComboBox(this);
    format_->setObjectName(QStringLiteral("format"));
    for (const QString& extension : SaveChoices::SaveExtensions())
        format_->addItem(tr("%1 (.%2)").arg(FormatName(extension), extension), extension);

    qualityRow_ = new QWidget(this);
    qualitySlider_ = new QSlider(Qt::Horizontal, qualityRow_);
    qualitySlider_->setRange(1, 100);
    quality_ = new QSpinBox(qualityRow_);
    quality_->setObjectName(QStringLiteral("quality"));
    quality_->setRange(1, 100);
    auto* qualityLayout = new QHBoxLayout(qualityRow_);
    qualityLayout->setContentsMargins(0, 0, 0, 0);
    qualityLayout->addWidget(qualitySlider_, 1);
    qualityLayout->addWidget(quality_);
    connect(qualitySlider_, &QSlider::valueChanged, quality_, &QSpinBox::setValue);
    connect(quality_, QOverload<int>::of(&QSpinBox::valueChanged), qualitySlider_, &QSlider::setValue);
    connect(quality_, QOverload<int>::of(&QSpinBox::valueChanged), this,
            [this](int value) { qualities_[qualityExtension_] = value; });

    auto* form = new QFormLayout;
    auto* fileLabel = new QLabel(tr("File &name:"), this);
    fileLabel->setBuddy(fileName_);
    form->addRow(fileLabel, fileRow);
    form->addRow(tr("&Format:"), format_);
    qualityLabel_ = new QLabel(tr("&Quality:"), this);
    qualityLabel_->setBuddy(quality_);
    form->addRow(qualityLabel_, qualityRow_);

    metadataBox_ = new QGroupBox(tr("Metadata"), this);
    metadataBox_->setObjectName(QStringLiteral("metadata"));
    author_ = new QLineEdit(initial.author, metadataBox_);
    author_->setObjectName(QStringLiteral("author"));
    comment_ = new QLineEdit(initial.comment, metadataBox_);
    comment_->setObjectName(QStringLiteral("comment"));
    removeMetadata_ = new QCheckBox(tr("&Remove metadata (camera, date, settings); author and comment stay"),
                                    metadataBox_);
    removeMetadata_->setObjectName(QStringLiteral("removeMetadata"));
    removeMetadata_->setChecked(initial.removeMetadata);
    removeGps_ = new QCheckBox(tr("Remove &GPS location"), metadataBox_);
    removeGps_->setObjectName(QStringLiteral("removeGps"));
    removeGps_->setChecked(initial.removeGps);
    auto* metadataForm = new QFormLayout(metadataBox_);
    metadataForm->addRow(tr("&Author:"), author_);
    metadataForm->addRow(tr("&Comment:"), comment_);
    metadataForm->addRow(removeMetadata_);
    metadataForm->addRow(removeGps_);
    metadataNote_ = new QLabel(tr("HEIF and AVIF files are saved without metadata."), this);
    metadataNote_->setObjectName(QStringLiteral("metadataNote"));

    problem_ = new QLabel(this);
    problem_->setObjectName(QStringLiteral("problem"));
    problem_->setWordWrap(true);
    problem_->setStyleSheet(QStringLiteral("color: #c0392b;"));

    buttons_ = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel, this);
    connect(buttons_, &QDialogButtonBox::accepted, this, &SaveDialog::accept);
    connect(buttons_, &QDialogButtonBox::rejected, this, &SaveDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(metadataBox_);
    layout->addWidget(metadataNote_);
    layout->addWidget(problem_);
    layout->addStretch(1);
    layout->addWidget(buttons_);

    const int index = IndexOf(QFileInfo(initial.fileName).suffix());
    format_->setCurrentIndex(index >= 0 ? index : 0);
    qualityExtension_ = ChosenExtension();
    if (initial.quality > 0)
        qualities_[qualityExtension_] = initial.quality;
    quality_->setValue(initial.quality > 0 ? initial.quality : 90);
    connect(format_, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &SaveDialog::OnFormatChosen);
    connect(fileName_, &QLineEdit::textEdited, this, &SaveDialog::OnFileNameEdited);
    connect(browse, &QPushButton::clicked, this, &SaveDialog::Browse);
    // A picture opened from a format not offered here (GIF) is offered as the first format.
    if (index < 0)
        OnFormatChosen();
    Refresh();
    fileName_->setFocus();
    // The base name selected, so that typing renames and keeps the extension.
    fileName_->setSelection(fileName_->text().lastIndexOf(QDir::separator()) + 1,
                            QFileInfo(fileName_->text()).completeBaseName().size());
}

int SaveDialog::IndexOf(const QString& extension) const
{
    const std::string codec = CodecOf(extension);
    for (int i = 0; !codec.empty() && i < format_->count(); ++i)
        if (CodecOf(format_->itemData(i).toString()) == codec)
            return i;
    return -1;
}

QString SaveDialog::ChosenExtension() const
{
    return format_->currentData().toString();
}

QString SaveDialog::WithExtension(const QString& fileName, const QString& extension) const
{
    const QFileInfo info(fileName);
    if (fileName.trimmed().isEmpty())
        return fileName;
    // An extension no format claims stays part of the name ("2024.06" becomes "2024.06.jpg").
    const bool replace = !info.suffix().isEmpty() && !CodecOf(info.suffix()).empty();
    const QString base = replace ? fileName.left(fileName.size() - info.suffix().size() - 1) : fileName;
    return base + QLatin1Char('.') + extension;
}

void SaveDialog::OnFormatChosen()
{
    if (syncing_)
        return;
    syncing_ = true;
    fileName_->setText(WithExtension(fileName_->text(), ChosenExtension()));
    syncing_ = false;
    Refresh();
}

void SaveDialog::OnFileNameEdited()
{
    const int index = IndexOf(QFileInfo(fileName_->text()).suffix());
    if (index >= 0 && index != format_->currentIndex()) {
        syncing_ = true;
        format_->setCurrentIndex(index);
        syncing_ = false;
    }
    Refresh();
}

void SaveDialog::Browse()
{
    const QString extension = ChosenExtension();
    const QString filter = tr("%1 pictures (*.%2)").arg(FormatName(extension), extension);
    // The window asks before replacing a file, once, when the person saves.
    const QString chosen = QFileDialog::getSaveFileName(this, tr("Save Picture As"), fileName_->text(), filter, nullptr,
                                                        QFileDialog::DontConfirmOverwrite);
    if (chosen.isEmpty())
        return;
    fileName_->setText(QDir::toNativeSeparators(QFileInfo(chosen).suffix().isEmpty()
                                                    ? WithExtension(chosen, extension)
                                                    : chosen));
    OnFileNameEdited();
}

void SaveDialog::Refresh()
{
    const QString extension = ChosenExtension();
    const bool hasQuality = SaveChoices::HasQuality(extension);
    if (hasQuality && extension != qualityExtension_) {
        if (!qualities_.count(extension))
            qualities_[extension] = choicesFor_ ? choicesFor_(WithExtension(fileName_->text(), extension)).quality : 0;
        qualityExtension_ = extension;
        const int value = qualities_[extension] > 0 ? qualities_[extension] : quality_->value();
        quality_->setValue(value);
    }
    qualityLabel_->setVisible(hasQuality);
    qualityRow_->setVisible(hasQuality);
    const bool keepsMetadata = SaveChoices::KeepsMetadata(extension);
    metadataBox_->setEnabled(keepsMetadata);
    metadataNote_->setVisible(!keepsMetadata);

    const QString problem = GetProblem();
    problem_->setText(problem);
    problem_->setVisible(!problem.isEmpty());
    buttons_->button(QDialogButtonBox::Save)->setEnabled(problem.isEmpty());
}

QString SaveDialog::GetProblem() const
{
    const QFileInfo info(fileName_->text().trimmed());
    if (info.fileName().isEmpty())
        return tr("Enter a file name.");
    const QString suffix = info.suffix().toLower();
    if (!suffix.isEmpty() && IndexOf(suffix) < 0)
        return tr("Pictures cannot be saved as “.%1” files. Choose a format, or end the name with one of %2.")
            .arg(suffix, Dotted(SaveChoices::SaveExtensions()));
    if (!info.absoluteDir().exists())
        return tr("The folder “%1” does not exist.").arg(QDir::toNativeSeparators(info.absolutePath()));
    if (info.isDir())
        return tr("“%1” is a folder.").arg(info.fileName());
    return QString();
}

SaveChoices SaveDialog::GetChoices() const
{
    SaveChoices choices;
    const QString typed = QDir::fromNativeSeparators(fileName_->text().trimmed());
    // A name without an extension gets the chosen format's.
    choices.fileName = QFileInfo(typed).suffix().isEmpty() ? WithExtension(typed, ChosenExtension()) : typed;
    choices.fileName = QFileInfo(choices.fileName).absoluteFilePath();
    choices.quality = SaveChoices::HasQuality(ChosenExtension()) ? quality_->value() : 0;
    choices.author = author_->text().trimmed();
    choices.comment = comment_->text().trimmed();
    choices.removeMetadata = removeMetadata_->isChecked();
    choices.removeGps = removeGps_->isChecked();
    return choices;
}

void SaveDialog::accept()
{
    if (!GetProblem().isEmpty())
        return;
    const QFileInfo target(GetChoices().fileName);
    if (target.exists() && target != QFileInfo(openFile_)) {
        const auto answer = QMessageBox::question(
            this, windowTitle(), tr("“%1” already exists. Replace it?").arg(target.fileName()),
            QMessageBox::Yes | QMessageBox::No, QMessageBox::No);
        if (answer != QMessageBox::Yes)
            return;
    }
    QDialog::accept();
}

} // namespace Quelto::Lumindra::App

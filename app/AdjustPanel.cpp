#include "AdjustPanel.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>
#include <QTimer>

namespace Quelto::Lumindra::App {

namespace {
constexpr int kKeyboardCommitDelayMs = 500; // a burst of arrow-key steps becomes one undo step
constexpr int kSliderMinWidth = 220;        // about a pixel per step of exposure: fine control
}

AdjustPanel::AdjustPanel(PreviewFn preview, ApplyFn apply, QWidget* parent)
    : QWidget(parent), preview_(std::move(preview)), apply_(std::move(apply))
{
    auto* layout = new QFormLayout(this);
    exposure_ = AddSlider(tr("Exposure"), -300, 300, exposureValue_);
    contrast_ = AddSlider(tr("Contrast"), -100, 100, contrastValue_);
    saturation_ = AddSlider(tr("Saturation"), -100, 100, saturationValue_);
    for (auto [slider, label, name] : {std::tuple {exposure_, exposureValue_, tr("Exposure")},
                                       std::tuple {contrast_, contrastValue_, tr("Contrast")},
                                       std::tuple {saturation_, saturationValue_, tr("Saturation")}}) {
        auto* row = new QHBoxLayout;
        row->addWidget(slider, 1);
        row->addWidget(label);
        layout->addRow(name, row);
    }
    commitTimer_ = new QTimer(this);
    commitTimer_->setSingleShot(true);
    commitTimer_->setInterval(kKeyboardCommitDelayMs);
    connect(commitTimer_, &QTimer::timeout, this, &AdjustPanel::Commit);
}

QSlider* AdjustPanel::AddSlider(const QString& name, int min, int max, QLabel*& valueLabel)
{
    auto* slider = new QSlider(Qt::Horizontal, this);
    slider->setObjectName(name);
    slider->setRange(min, max);
    slider->setValue(0);
    slider->setMinimumWidth(kSliderMinWidth);
    valueLabel = new QLabel(QStringLiteral("0"), this);
    valueLabel->setMinimumWidth(fontMetrics().horizontalAdvance(QStringLiteral("-3.00")));
    connect(slider, &QSlider::valueChanged, this, &AdjustPanel::OnValueChanged);
    connect(slider, &QSlider::sliderReleased, this, &AdjustPanel::Commit);
    return slider;
}

Proc::SettingsAdjust AdjustPanel::GetSettings() const
{
    Proc::SettingsAdjust settings;
    settings.exposure = exposure_->value() / 100.0;
    settings.contrast = contrast_->value();
    settings.saturation = saturation_->value();
    return settings;
}

void AdjustPanel::ResetSliders()
{
    resetting_ = true;
    for (QSlider* slider : {exposure_, contrast_, saturation_})
        slider->setValue(0);
    resetting_ = false;
    UpdateLabels();
}

void AdjustPanel::UpdateLabels()
{
    exposureValue_->setText(QString::number(exposure_->value() / 100.0, 'f', 2));
    contrastValue_->setText(QString::number(contrast_->value()));
    saturationValue_->setText(QString::number(saturation_->value()));
}

void AdjustPanel::OnValueChanged()
{
    UpdateLabels();
    if (resetting_)
        return;
    preview_(GetSettings());
    const bool dragging = exposure_->isSliderDown() || contrast_->isSliderDown() || saturation_->isSliderDown();
    if (!dragging)
        commitTimer_->start();
}

void AdjustPanel::Commit()
{
    commitTimer_->stop();
    const Proc::SettingsAdjust settings = GetSettings();
    if (!settings.IsIdentity())
        apply_(settings);
    ResetSliders();
}

} // namespace Quelto::Lumindra::App

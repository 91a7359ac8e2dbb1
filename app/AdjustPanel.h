#pragma once

#include <functional>

#include <QWidget>

#include "proc/EffectSettings.h"

class QLabel;
class QSlider;
class QTimer;

namespace Quelto::Lumindra::App {

// Exposure, contrast and saturation sliders. While a slider is dragged the edit is previewed;
// on release (or shortly after a keyboard change) it is applied as one undoable step and the
// sliders return to zero, since each step works on the image as it stands. UI thread.
class AdjustPanel : public QWidget {
    Q_OBJECT
public:
    using PreviewFn = std::function<void(const Proc::SettingsAdjust&)>;
    using ApplyFn = std::function<void(const Proc::SettingsAdjust&)>;

    AdjustPanel(PreviewFn preview, ApplyFn apply, QWidget* parent = nullptr);

    Proc::SettingsAdjust GetSettings() const;
    void ResetSliders();

private:
    QSlider* AddSlider(const QString& name, int min, int max, QLabel*& valueLabel);
    void OnValueChanged();
    void UpdateLabels();
    void Commit();

    PreviewFn preview_;
    ApplyFn apply_;
    QSlider* exposure_ = nullptr;   // hundredths of a stop
    QSlider* contrast_ = nullptr;
    QSlider* saturation_ = nullptr;
    QLabel* exposureValue_ = nullptr;
    QLabel* contrastValue_ = nullptr;
    QLabel* saturationValue_ = nullptr;
    QTimer* commitTimer_ = nullptr;
    bool resetting_ = false;
};

} // namespace Quelto::Lumindra::App

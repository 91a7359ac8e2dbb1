#pragma once

#include <QRect>
#include <QRectF>

#include "LumindraWorkspace/WorkspaceExport.h"

class QWheelEvent;

namespace Quelto::Lumindra {

class ScalableViewEmitter;

// The zoom interface of the workspace view. UI thread only.
class LUMINDRA_WORKSPACE_EXPORT IScalableView {
public:
    enum ScalePolicy : int {
        ScaleNone = 0,
        ScaleUp = 1,
        ScaleDown = 2,
    };

    virtual void ScaleToFit(bool enable) = 0;
    virtual void ScaleToPercent(double percent) = 0;
    virtual double GetCurrentScalePercent() const = 0;
    virtual ScalePolicy CanScale() = 0;
    virtual bool SetRestrictionForScale(ScalePolicy policy, double percent) = 0;
    virtual double GetRestrictionForScale(ScalePolicy policy) const = 0;
    virtual void SetScaleStep(double percent) = 0;
    virtual double GetScaleStep() const = 0;
    virtual void SetDragMode(bool enable) = 0;
    virtual void EnableDragTip(bool enable) = 0;
    virtual ScalableViewEmitter* GetEmitter() const = 0;
    virtual QRectF GetSceneRect() = 0;
    virtual QRect GetViewRect() = 0;
    virtual ~IScalableView() = default;
    virtual void HandleWheelEvent(QWheelEvent* event) = 0;
};

} // namespace Quelto::Lumindra

#pragma once

#include <QObject>

namespace Quelto::Lumindra {

// The notifications of a zoomable view, on an object of their own so that listeners (the host,
// drawing tools, the drag tip) can connect without knowing the view's class. The view creates
// it with itself as parent and is the only one that emits; every signal is emitted on the UI
// thread, synchronously from the view's zoom, resize and input handling.
class ScalableViewEmitter : public QObject {
    Q_OBJECT
public:
    explicit ScalableViewEmitter(QObject* parent = nullptr);
    ~ScalableViewEmitter() override;

signals:
    // After every zoom that was not refused, with the new zoom in percent.
    void scaleChanged(double percent);
    // After a wheel notch was turned into a zoom step.
    void scaledByWheel();
    // After a pinch update was turned into a zoom step.
    void scaledByGesture();
    // On every resize of the view's viewport, before the view reacts to it.
    void viewResized();
    // The picture became larger than the viewport (it can be dragged) or no longer is.
    void enableDragMode(bool available);
    // The view asks the host to switch hand (drag) mode on or off.
    void activateDragMode(bool activate);
};

} // namespace Quelto::Lumindra

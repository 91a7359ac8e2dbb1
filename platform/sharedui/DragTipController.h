#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

class QAbstractScrollArea;

namespace Quelto::Lumindra {

class ScalableViewEmitter;
class ToolTipManager;

// The hint that tells a person the picture can now be dragged: a small rounded label with a
// hand icon and a line of text near the bottom of the view's viewport. It is shown when the
// view reports that dragging became available (ScalableViewEmitter::enableDragMode(true)) while
// the controller is enabled; the view enables it only around changes that a zoom caused, so a
// resize never shows it. The hint hides itself after a few seconds, on the next mouse press,
// wheel turn or key press in the view, and when dragging stops being available. Disabling only
// stops new hints; a hint already on screen runs its course. UI thread only.
class DragTipController : public QObject {
    Q_OBJECT
public:
    // `view` shows the hint on its viewport, `emitter` is its notification object and `tips`
    // draws the hint; all three normally outlive the controller (it is a child of the view),
    // and one that dies first only stops the hints.
    DragTipController(QAbstractScrollArea* view, ScalableViewEmitter* emitter, ToolTipManager* tips,
                      QObject* parent = nullptr);
    ~DragTipController() override;

    void SetEnabled(bool enable);
    bool IsEnabled() const;

    bool IsTipVisible() const;
    // How long a hint stays on screen, in milliseconds (> 0).
    void SetTipDuration(int ms);
    int GetTipDuration() const;
    // The hint's rich text (translated).
    static QString GetTipText();

public slots:
    void OnDragModeAvailable(bool available);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QPoint TipAnchor() const;
    void HideOwnTip();

    QPointer<QAbstractScrollArea> view;
    QPointer<ToolTipManager> tips;
    bool enabled = true;
    // Whether the tip on screen is ours (the manager is shared with other tips).
    bool tipShown = false;
    int tipDurationMs;
};

} // namespace Quelto::Lumindra

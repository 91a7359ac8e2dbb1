#pragma once

#include <QObject>
#include <QPixmap>
#include <QPoint>
#include <QPointer>
#include <QRect>
#include <QString>
#include <QTimer>

class QFrame;
class QLabel;
class QWidget;

namespace Quelto::Lumindra {

// Shows one rich tool tip at a time over a widget: a small rounded label with an optional icon
// and HTML text. The tip is a child of the widget rather than a window of its own, so it moves
// and dies with the widget, works without a window manager and never takes the focus; mouse
// events pass through it to the widget below. UI thread only.
class ToolTipManager : public QObject {
    Q_OBJECT
public:
    explicit ToolTipManager(QObject* parent = nullptr);
    ~ToolTipManager() override;

    // Shows `html` (rich text) with `icon` (may be null) on its left inside `widget`, the tip's
    // bottom centre at `anchor` in the widget's coordinates, moved inside the widget where it
    // would stick out. Replaces a tip shown before, on any widget. `durationMs` > 0 hides the
    // tip after that time, 0 keeps it until HideTip. Returns false, showing nothing, for a null
    // widget or an empty text.
    bool ShowTip(QWidget* widget, const QString& html, const QPixmap& icon, const QPoint& anchor, int durationMs);
    // Moves a shown tip so that its bottom centre is at `anchor`, kept inside its widget.
    void MoveTip(const QPoint& anchor);
    void HideTip();

    bool IsTipVisible() const;
    // The widget the tip is shown on, null when none is shown.
    QWidget* GetTipWidget() const;
    QString GetTipHtml() const;
    // Geometry of the shown tip in its widget's coordinates; null when none is shown.
    QRect GetTipGeometry() const;

signals:
    void tipShown();
    // A tip was hidden: by HideTip, by its timeout or because another replaced it.
    void tipHidden();

private:
    void Place(const QPoint& anchor);

    QPointer<QFrame> tip;
    QPointer<QLabel> iconLabel;
    QPointer<QLabel> textLabel;
    QTimer hideTimer;
    bool shown = false;
};

} // namespace Quelto::Lumindra

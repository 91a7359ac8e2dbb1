#pragma once

#include <QString>
#include <QWidget>

#include "LumindraWorkspace/WorkspaceExport.h"

namespace Quelto::Lumindra {

// Carries the workspace colour from the application's style sheet to the scene. A style sheet
// can only set properties of widgets, so this hidden widget receives it as the property
// `sceneColor` (any text QColor::setNamedColor reads, such as "#1a1a1a") and announces each
// change with sceneColorSet(); setting the same text again announces nothing. The controller
// listens and passes the colour to WorkspaceScene::SetBackgroungColor. UI thread only.
class LUMINDRA_WORKSPACE_EXPORT WorkspaceScenePropertyHelper : public QWidget {
    Q_OBJECT
    Q_PROPERTY(QString sceneColor READ getSceneColor MEMBER sceneColor_ NOTIFY sceneColorSet)
public:
    explicit WorkspaceScenePropertyHelper(QWidget* parent);

    const QString& getSceneColor() const { return sceneColor_; }
    // Makes the style engine apply the style sheet's value now, then hides the widget.
    void PrepareHelper();

Q_SIGNALS:
    void sceneColorSet();

private:
    QString sceneColor_;
};

} // namespace Quelto::Lumindra

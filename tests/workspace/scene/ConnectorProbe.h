#pragma once

#include <string>
#include <vector>

#include <QObject>
#include <QPointF>

#include "LumindraWorkspace/scene/SceneBackgroundMode.h"

namespace Quelto::Lumindra::Test {

// Stands in for the host and the tools on the objects connector: its signals are registered as
// emitters, its slots as receivers, as the partners of the scene and the canvas would be.
class ConnectorProbe : public QObject {
    Q_OBJECT
public:
    std::vector<std::string> copiedTexts;
    std::vector<bool> renderingStates;

Q_SIGNALS:
    void resetFrame();
    void showImageWithMask(bool showVideoWithMask, bool force);
    void sceneBgModeChanged(SceneBackgroundMode mode);
    void copySelectedSceneItemsToClipboard();
    void pasteSceneItems(const std::string& text, const QPointF& position);

public Q_SLOTS:
    void OnSceneItemsCopied(const std::string& text) { copiedTexts.push_back(text); }
    void OnRenderingStarted(bool started) { renderingStates.push_back(started); }
};

} // namespace Quelto::Lumindra::Test

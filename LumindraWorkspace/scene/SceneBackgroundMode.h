#pragma once

#include <QMetaType>

namespace Quelto::Lumindra {

// How the workspace scene paints the area around the picture.
enum SceneBackgroundMode : int {
    Canvas = 0,    // around the canvas item
    SceneRect = 1, // around the view's scene rectangle
    TopItem = 2,   // around the topmost scene item
    Fill = 3,      // the whole viewport in the scene colour
};

} // namespace Quelto::Lumindra

Q_DECLARE_METATYPE(Quelto::Lumindra::SceneBackgroundMode)

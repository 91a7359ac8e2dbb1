#pragma once

#include <QColor>
#include <QImage>
#include <QRect>

namespace Quelto::Lumindra::Test {

// What a before/after comparison side by side shows on a screen of the workspace (the workspace
// colour around): the two pictures, each its whole place on screen, and the column of the
// separator between them across the middle row. Empty rectangles (and separator -1) when the
// screen shows something else.
struct ComparisonOnScreen {
    QRect original, edited;
    int separator = -1;
};

ComparisonOnScreen ReadComparison(const QImage& screen);
// The separator's colour, up to antialiasing.
bool IsSeparatorColour(const QColor& colour);

} // namespace Quelto::Lumindra::Test

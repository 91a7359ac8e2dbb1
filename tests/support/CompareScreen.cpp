#include "support/CompareScreen.h"

#include <cstdlib>
#include <vector>

namespace Quelto::Lumindra::Test {

namespace {

const QColor kWorkspace(0x1a, 0x1a, 0x1a);
const QColor kSeparator(0x33, 0x33, 0x33);

bool Near(const QColor& a, const QColor& b, int tolerance)
{
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance
        && std::abs(a.blue() - b.blue()) <= tolerance;
}

// A run of a screen row or column that is not the workspace colour.
struct Span {
    int from = 0, to = 0; // [from, to)
    int Length() const { return to - from; }
    int Middle() const { return (from + to) / 2; }
};

// The runs of row (or column) `at`; gaps of a few pixels (a dark pixel of a photo) do not split
// a run.
std::vector<Span> Spans(const QImage& screen, bool row, int at)
{
    constexpr int kMaxGap = 8;
    const int length = row ? screen.width() : screen.height();
    std::vector<Span> spans;
    for (int i = 0; i < length; ++i) {
        if (Near(screen.pixelColor(row ? i : at, row ? at : i), kWorkspace, 4))
            continue;
        if (!spans.empty() && i - spans.back().to < kMaxGap)
            spans.back().to = i + 1;
        else
            spans.push_back({i, i + 1});
    }
    return spans;
}

} // namespace

bool IsSeparatorColour(const QColor& colour)
{
    return Near(colour, kSeparator, 6);
}

ComparisonOnScreen ReadComparison(const QImage& screen)
{
    // Pictures are hundreds of pixels wide, the separator a few.
    constexpr int kSeparatorMax = 5;
    ComparisonOnScreen seen;
    std::vector<Span> pictures;
    for (const Span& span : Spans(screen, true, screen.height() / 2)) {
        if (span.Length() <= kSeparatorMax)
            seen.separator = span.Middle();
        else
            pictures.push_back(span);
    }
    if (pictures.size() != 2)
        return seen;
    auto place = [&](const Span& columns) {
        const std::vector<Span> down = Spans(screen, false, columns.Middle());
        return down.empty() ? QRect()
                            : QRect(columns.from, down.front().from, columns.Length(), down.back().to - down.front().from);
    };
    seen.original = place(pictures[0]);
    seen.edited = place(pictures[1]);
    return seen;
}

} // namespace Quelto::Lumindra::Test

#include "util/StyleProvider.h"

namespace Quelto::Lumindra {

namespace {

// The start page lays previews out in a grid of 4:3 tiles (the shape of most camera photos);
// this width keeps four of them in a row on a 1280-pixel-wide window.
constexpr double kPreviewWidth = 256.0;
constexpr double kPreviewHeight = kPreviewWidth * 3.0 / 4.0;

} // namespace

QSizeF StyleProvider::StartPagePreviewSize()
{
    return QSizeF(kPreviewWidth, kPreviewHeight);
}

} // namespace Quelto::Lumindra

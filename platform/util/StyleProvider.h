#pragma once

#include <QSizeF>

namespace Quelto::Lumindra {

// Sizes and options of the application's style.
class StyleProvider {
public:
    // Size of a session preview on the start page, in logical pixels (4:3).
    static QSizeF StartPagePreviewSize();
};

} // namespace Quelto::Lumindra

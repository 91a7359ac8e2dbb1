#pragma once

#include <initializer_list>

#include <QIcon>

namespace Quelto::Lumindra::App {

// Icons of actions come from the desktop's icon theme by their freedesktop names. Without a
// desktop theme (a bare X server, a minimal window manager) the theme that the set-up script
// installs stands in; the editor's own icons (its application icon, actions that common themes
// lack) lie in the hicolor theme beside the program, which every theme falls back to. UI thread.
class IconTheme {
public:
    // Installed by scripts/install-deps.sh; its icons need no SVG support.
    static constexpr const char* kFallbackTheme = "Adwaita";
    static constexpr const char* kApplicationIcon = "lumindra";

    // Once, after the QApplication exists and before the first icon is made.
    static void SetUp();
    // The first of `names` that the theme has; a null icon when it has none of them.
    static QIcon Find(std::initializer_list<const char*> names);
};

} // namespace Quelto::Lumindra::App

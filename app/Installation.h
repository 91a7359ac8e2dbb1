#pragma once

#include <QString>

namespace Quelto::Lumindra::App {

// Where the editor's data lies: the folder an install puts under share/, found relative to the
// running program. The build tree mirrors the installed layout (build/bin, build/share), so the
// build, /usr and a prefix moved after installing all work alike. Needs the QCoreApplication.
class Installation {
public:
    // The data root, "<prefix>/share".
    static QString GetDataDirectory();
    // The .qm catalogs: "<prefix>/share/lumindra/translations".
    static QString GetTranslationsDirectory();
    // Icon themes with the editor's own icons: "<prefix>/share/icons".
    static QString GetIconsDirectory();
};

} // namespace Quelto::Lumindra::App

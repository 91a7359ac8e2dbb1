#pragma once

#include <QString>
#include <QStringList>

namespace Quelto::Lumindra::App {

// The pictures named on the editor's command line, as a person types them or as a desktop
// entry's %U passes them: paths (relative ones against the working folder) and file:// URLs.
// Other URLs (http, sftp, ...) cannot be opened; each becomes a problem a person can read.
class CommandLineFiles {
public:
    struct Result {
        QStringList files;    // absolute paths, in the order given, each once
        QStringList problems; // one sentence per argument that cannot be opened
    };

    static Result Parse(const QStringList& arguments);
};

} // namespace Quelto::Lumindra::App

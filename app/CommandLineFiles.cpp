#include "CommandLineFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QUrl>

namespace Quelto::Lumindra::App {

CommandLineFiles::Result CommandLineFiles::Parse(const QStringList& arguments)
{
    Result result;
    for (const QString& argument : arguments) {
        QString path = argument;
        // A file whose name merely looks like a URL ("notes:1.jpg") is still that file.
        if (!QFileInfo::exists(argument)) {
            const QUrl url(argument, QUrl::StrictMode);
            if (url.isLocalFile()) {
                path = url.toLocalFile();
            } else if (url.isValid() && url.scheme().size() > 1) {
                result.problems.push_back(
                    QCoreApplication::translate("CommandLineFiles",
                                                "“%1” is not a file on this computer; only local files can be opened.")
                        .arg(argument));
                continue;
            }
        }
        if (path.isEmpty())
            continue;
        const QString absolute = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
        if (!result.files.contains(absolute))
            result.files.push_back(absolute);
    }
    return result;
}

} // namespace Quelto::Lumindra::App

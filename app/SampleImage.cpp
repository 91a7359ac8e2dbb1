#include "SampleImage.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <glog/logging.h>

namespace Quelto::Lumindra::App {

QString ExtractSampleImage()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::TempLocation) + QStringLiteral("/lumindra-sample");
    const QString target = folder + QStringLiteral("/sample.jpg");
    QFile source(QStringLiteral(":/sample.jpg"));
    if (QFileInfo(target).size() == source.size())
        return target;
    if (!QDir().mkpath(folder) || (QFile::exists(target) && !QFile::remove(target)) || !source.copy(target)) {
        LOG(WARNING) << "Cannot write the sample picture to " << target.toStdString();
        return QString();
    }
    QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    return target;
}

} // namespace Quelto::Lumindra::App

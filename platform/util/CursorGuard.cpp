#include "util/CursorGuard.h"

#include <QCursor>
#include <QGuiApplication>
#include <QThread>

#include <glog/logging.h>

namespace Quelto::Lumindra {

CusrsorGuardBlank::CusrsorGuardBlank(Qt::CursorShape shape)
{
    auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    if (!app)
        return;
    if (QThread::currentThread() != app->thread()) {
        LOG(WARNING) << "Cursor guard used outside the UI thread; cursor left as it is";
        return;
    }
    QGuiApplication::setOverrideCursor(QCursor(shape));
    active_ = true;
}

CusrsorGuardBlank::~CusrsorGuardBlank()
{
    if (active_)
        QGuiApplication::restoreOverrideCursor();
}

} // namespace Quelto::Lumindra

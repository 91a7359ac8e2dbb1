#pragma once

#include <Qt>

namespace Quelto::Lumindra {

// Shows an application override cursor (the busy cursor by default) for the guard's life and
// restores the previous cursor on every exit, exceptions included. UI thread only; does
// nothing without a QGuiApplication.
// The misspelt name is deliberate: tool plug-ins use the class under this name.
class CusrsorGuardBlank {
public:
    explicit CusrsorGuardBlank(Qt::CursorShape shape = Qt::BusyCursor);
    ~CusrsorGuardBlank();
    CusrsorGuardBlank(const CusrsorGuardBlank&) = delete;
    CusrsorGuardBlank& operator=(const CusrsorGuardBlank&) = delete;

private:
    bool active_ = false;
};

} // namespace Quelto::Lumindra

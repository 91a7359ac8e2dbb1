#include "util/KeyCode.h"

#include <QKeyEvent>

namespace Quelto::Lumindra::Util {

namespace {

#if defined(Q_OS_WIN)
constexpr unsigned kNativeBracketLeft = 0xDB;  // VK_OEM_4
constexpr unsigned kNativeBracketRight = 0xDD; // VK_OEM_6
#elif defined(Q_OS_MACOS)
constexpr unsigned kNativeBracketLeft = 0x21;  // kVK_ANSI_LeftBracket
constexpr unsigned kNativeBracketRight = 0x1E; // kVK_ANSI_RightBracket
#else
constexpr unsigned kNativeBracketLeft = 0x5B;  // XK_bracketleft
constexpr unsigned kNativeBracketRight = 0x5D; // XK_bracketright
#endif

} // namespace

int GetKeyCode(int qtKey, unsigned nativeVirtualKey)
{
    switch (nativeVirtualKey) {
    case kNativeBracketLeft:
        return Qt::Key_BracketLeft;
    case kNativeBracketRight:
        return Qt::Key_BracketRight;
    default:
        return qtKey;
    }
}

int GetKeyCode(const QKeyEvent& event)
{
    return GetKeyCode(event.key(), event.nativeVirtualKey());
}

} // namespace Quelto::Lumindra::Util

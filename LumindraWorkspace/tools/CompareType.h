#pragma once

#include <QMetaType>

namespace Quelto::Lumindra {

// How the before/after comparison shows the two pictures. Values are stable (they travel in
// messages and settings); new ones are added at the end.
enum class CompareType : int {
    SideBySide = 0, // the original whole on the left, the edited picture whole on the right
    Split = 1,      // one picture: the original left of a divider that can be dragged, the edited right
};

} // namespace Quelto::Lumindra

Q_DECLARE_METATYPE(Quelto::Lumindra::CompareType)

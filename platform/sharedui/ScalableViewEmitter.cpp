#include "sharedui/ScalableViewEmitter.h"

namespace Quelto::Lumindra {

ScalableViewEmitter::ScalableViewEmitter(QObject* parent)
    : QObject(parent)
{
}

ScalableViewEmitter::~ScalableViewEmitter() = default;

} // namespace Quelto::Lumindra

#pragma once

#include <QString>

namespace Quelto::Lumindra::App {

// The photograph shipped with the editor, written out of the resources into the user's
// temporary folder (the core opens files). Empty when it cannot be written.
QString ExtractSampleImage();

} // namespace Quelto::Lumindra::App

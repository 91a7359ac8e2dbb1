#pragma once

namespace Quelto::Lumindra::PhotoCore {

// Where a picture came from.
enum ImageSource : int {
    ImageSourceFile = 0,
    ImageSourceDrop = 1,  // dropped on the workspace
    ImageSourcePaste = 2, // pasted from the clipboard
};

} // namespace Quelto::Lumindra::PhotoCore

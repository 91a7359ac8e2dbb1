#pragma once

namespace Quelto::Lumindra::Proc {

// Margins cut from each side, in pixels.
struct CropInfo {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
};

} // namespace Quelto::Lumindra::Proc

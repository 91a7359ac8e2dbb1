#pragma once

namespace Quelto::Lumindra::Proc {

// Pixel formats of frames. The numbers are part of the library's contract (hosts store them).
enum PixFmt : int {
    PIX_FMT_NONE = -1,
    PIX_FMT_RGB24 = 2,    // R, G, B; 8 bits each
    PIX_FMT_BGR24 = 3,    // B, G, R; 8 bits each
    PIX_FMT_BGRA32 = 28,  // B, G, R, A; 8 bits each, straight alpha: QImage::Format_ARGB32 on little-endian
    PIX_FMT_RGBA64 = 123, // R, G, B, A; 16 bits each (native endian), straight alpha: QImage::Format_RGBA64
};

int BytesPerPixel(int pixFmt);   // 0 for unknown formats
bool HasAlphaChannel(int pixFmt);
bool IsKnownPixFmt(int pixFmt);

} // namespace Quelto::Lumindra::Proc

#include "proc/PixFmt.h"

namespace Quelto::Lumindra::Proc {

int BytesPerPixel(int pixFmt)
{
    switch (pixFmt) {
    case PIX_FMT_RGB24:
    case PIX_FMT_BGR24:
        return 3;
    case PIX_FMT_BGRA32:
        return 4;
    case PIX_FMT_RGBA64:
        return 8;
    default:
        return 0;
    }
}

bool HasAlphaChannel(int pixFmt)
{
    return pixFmt == PIX_FMT_BGRA32 || pixFmt == PIX_FMT_RGBA64;
}

bool IsKnownPixFmt(int pixFmt)
{
    return BytesPerPixel(pixFmt) != 0;
}

} // namespace Quelto::Lumindra::Proc

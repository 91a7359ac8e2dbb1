#include "photocore/JpegEncoder.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include <QCoreApplication>

// jpeglib.h needs size_t and FILE declared before it.
#include <jerror.h>
#include <jpeglib.h>

#include "core/Exception.h"
#include "proc/PixFmt.h"

namespace Quelto::Lumindra::PhotoCore {

namespace {

// Few large writes: the encoder's output goes to the disk in these pieces.
constexpr std::size_t kOutputBufferSize = 1u << 20;
constexpr int kRowsPerWrite = 16;
constexpr double kMaxDensity = 65535.0; // the JFIF header's field is 16 bits

// Everything an encode keeps across libjpeg's longjmp lives here, in the caller's frame, so its
// values stay defined after a jump.
struct EncodeContext {
    jpeg_compress_struct cinfo;
    struct {
        jpeg_error_mgr pub;
        std::jmp_buf jump;
        char message[JMSG_LENGTH_MAX];
    } err;
    jpeg_destination_mgr destination;
    std::FILE* file = nullptr;
    std::vector<JOCTET> buffer;
    int writeError = 0; // errno of a failed write; 0 when none failed
};

EncodeContext& ContextOf(j_compress_ptr cinfo)
{
    return *static_cast<EncodeContext*>(cinfo->client_data);
}

[[noreturn]] void OnError(j_common_ptr cinfo)
{
    auto& ctx = *static_cast<EncodeContext*>(cinfo->client_data);
    (*cinfo->err->format_message)(cinfo, ctx.err.message);
    std::longjmp(ctx.err.jump, 1);
}

void Put(j_compress_ptr cinfo, std::size_t count)
{
    EncodeContext& ctx = ContextOf(cinfo);
    if (count > 0 && std::fwrite(ctx.buffer.data(), 1, count, ctx.file) != count) {
        ctx.writeError = errno;
        ERREXIT(cinfo, JERR_FILE_WRITE);
    }
}

void InitDestination(j_compress_ptr cinfo)
{
    EncodeContext& ctx = ContextOf(cinfo);
    ctx.destination.next_output_byte = ctx.buffer.data();
    ctx.destination.free_in_buffer = ctx.buffer.size();
}

boolean EmptyOutputBuffer(j_compress_ptr cinfo)
{
    Put(cinfo, ContextOf(cinfo).buffer.size());
    InitDestination(cinfo);
    return TRUE;
}

void TermDestination(j_compress_ptr cinfo)
{
    EncodeContext& ctx = ContextOf(cinfo);
    Put(cinfo, ctx.buffer.size() - ctx.destination.free_in_buffer);
    if (std::fflush(ctx.file) != 0) {
        ctx.writeError = errno;
        ERREXIT(cinfo, JERR_FILE_WRITE);
    }
}

// Returns false on a libjpeg error (message in ctx.err, errno in ctx.writeError).
bool RunEncode(EncodeContext& ctx, const Proc::IDataVideo& frame, int quality, double dpi)
{
    if (setjmp(ctx.err.jump))
        return false;
    jpeg_create_compress(&ctx.cinfo);
    ctx.cinfo.dest = &ctx.destination;
    const Conf::FrameInfo& info = frame.GetFrameInfo();
    ctx.cinfo.image_width = JDIMENSION(info.width);
    ctx.cinfo.image_height = JDIMENSION(info.height);
    ctx.cinfo.input_components = 4;
    ctx.cinfo.in_color_space = JCS_EXT_BGRX;
    jpeg_set_defaults(&ctx.cinfo);
    jpeg_set_quality(&ctx.cinfo, std::clamp(quality, 1, 100), TRUE);
    if (quality >= JpegEncoder::kFullColourQuality) {
        ctx.cinfo.comp_info[0].h_samp_factor = 1;
        ctx.cinfo.comp_info[0].v_samp_factor = 1;
    }
    ctx.cinfo.density_unit = 1; // dots per inch
    ctx.cinfo.X_density = ctx.cinfo.Y_density = UINT16(std::clamp(std::lround(dpi), 1L, long(kMaxDensity)));
    jpeg_start_compress(&ctx.cinfo, TRUE);

    const std::uint8_t* base = frame.GetData();
    const std::size_t stride = std::size_t(frame.GetStride());
    while (ctx.cinfo.next_scanline < ctx.cinfo.image_height) {
        JSAMPROW rows[kRowsPerWrite];
        const unsigned first = ctx.cinfo.next_scanline;
        const unsigned count = std::min<unsigned>(kRowsPerWrite, ctx.cinfo.image_height - first);
        for (unsigned i = 0; i < count; ++i)
            rows[i] = const_cast<JSAMPROW>(base + (first + i) * stride);
        jpeg_write_scanlines(&ctx.cinfo, rows, count);
    }
    jpeg_finish_compress(&ctx.cinfo);
    return true;
}

Core::Exception WriteFailure(int error)
{
    return Core::Exception(QCoreApplication::translate("PhotoCore", "the file could not be written: %1")
                               .arg(QString::fromLocal8Bit(std::strerror(error)))
                               .toStdString());
}

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

} // namespace

void JpegEncoder::Write(const Proc::IDataVideo& frame, int quality, double dpi, const std::string& utf8Path)
{
    if (frame.GetPixFmt() != Proc::PIX_FMT_BGRA32 || !frame.IsOpaque())
        throw Core::Exception("Only opaque BGRA frames are written as JPEG here");
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(utf8Path.c_str(), "wb"));
    if (!file)
        throw WriteFailure(errno);
    auto ctx = std::make_unique<EncodeContext>();
    ctx->cinfo.client_data = ctx.get();
    ctx->cinfo.err = jpeg_std_error(&ctx->err.pub);
    ctx->err.pub.error_exit = &OnError;
    ctx->err.message[0] = '\0';
    ctx->buffer.resize(kOutputBufferSize);
    ctx->file = file.get();
    ctx->destination.init_destination = &InitDestination;
    ctx->destination.empty_output_buffer = &EmptyOutputBuffer;
    ctx->destination.term_destination = &TermDestination;
    const bool done = RunEncode(*ctx, frame, quality, dpi);
    jpeg_destroy_compress(&ctx->cinfo);
    if (!done && ctx->writeError != 0)
        throw WriteFailure(ctx->writeError);
    if (!done)
        throw Core::Exception(QCoreApplication::translate("PhotoCore", "the picture could not be encoded: %1")
                                  .arg(QString::fromLocal8Bit(ctx->err.message))
                                  .toStdString());
    if (std::fclose(file.release()) != 0)
        throw WriteFailure(errno);
}

} // namespace Quelto::Lumindra::PhotoCore

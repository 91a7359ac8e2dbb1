#include "photocore/JpegDecoder.h"

#include <algorithm>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

// jpeglib.h needs size_t and FILE declared before it.
#include <jerror.h>
#include <jpeglib.h>

#include "core/Exception.h"

namespace Quelto::Lumindra::PhotoCore {

namespace {

// Large reads keep libjpeg-turbo on its fast Huffman path, which needs a few KB of input
// buffered ahead of each MCU.
constexpr std::size_t kInputBufferSize = 64 * 1024;
constexpr int kRowsPerRead = 16;
// How often (in output rows) a decode looks at its cancel flag.
constexpr int kCancelCheckRows = 128;

struct ErrorManager {
    jpeg_error_mgr pub;
    std::jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
};

[[noreturn]] void OnError(j_common_ptr cinfo)
{
    auto* err = reinterpret_cast<ErrorManager*>(cinfo->err);
    (*cinfo->err->format_message)(cinfo, err->message);
    std::longjmp(err->jump, 1);
}

// libjpeg reports damaged data as warnings and fills the rest with grey; a photo editor must
// not open such a file as if it were whole.
void OnMessage(j_common_ptr cinfo, int level)
{
    if (level >= 0)
        return;
    switch (cinfo->err->msg_code) {
    case JWRN_JPEG_EOF:
    case JWRN_HIT_MARKER:
    case JWRN_HUFF_BAD_CODE:
    case JWRN_MUST_RESYNC:
    case JWRN_BOGUS_PROGRESSION:
    case JWRN_NOT_SEQUENTIAL:
        OnError(cinfo);
    default:
        break; // extraneous bytes between markers, a bad ICC marker: the picture is intact
    }
}

struct FileSource {
    jpeg_source_mgr pub;
    std::FILE* file = nullptr;
    JOCTET* buffer = nullptr;
    bool atStart = true;
};

void InitSource(j_decompress_ptr) {}
void TermSource(j_decompress_ptr) {}

boolean FillInputBuffer(j_decompress_ptr cinfo)
{
    auto* src = reinterpret_cast<FileSource*>(cinfo->src);
    std::size_t n = std::fread(src->buffer, 1, kInputBufferSize, src->file);
    if (n == 0) {
        if (src->atStart)
            ERREXIT(cinfo, JERR_INPUT_EMPTY);
        WARNMS(cinfo, JWRN_JPEG_EOF); // fatal through OnMessage
        static const JOCTET fakeEoi[2] = {0xFF, JPEG_EOI};
        src->pub.next_input_byte = fakeEoi;
        src->pub.bytes_in_buffer = 2;
        return TRUE;
    }
    src->pub.next_input_byte = src->buffer;
    src->pub.bytes_in_buffer = n;
    src->atStart = false;
    return TRUE;
}

void SkipInputData(j_decompress_ptr cinfo, long count)
{
    auto* src = reinterpret_cast<FileSource*>(cinfo->src);
    while (count > long(src->pub.bytes_in_buffer)) {
        count -= long(src->pub.bytes_in_buffer);
        FillInputBuffer(cinfo);
    }
    if (count > 0) {
        src->pub.next_input_byte += count;
        src->pub.bytes_in_buffer -= std::size_t(count);
    }
}

// Everything a decode keeps across libjpeg's longjmp lives here, in the caller's frame, so its
// values stay defined after a jump.
struct DecodeContext {
    jpeg_decompress_struct cinfo;
    ErrorManager err;
    FileSource source;
    std::vector<JOCTET> buffer;
    Proc::DataVideoPtr frame;
    std::thread prefault;
    bool cancelled = false;
};

// Maps the frame's pages on a second core while the first decodes: a fresh 100 MB buffer costs
// tens of milliseconds of page faults that would otherwise sit in the decode loop. The kernel
// only populates pages; it never changes their contents, so racing the decoder is harmless.
void StartPrefault(DecodeContext& ctx)
{
#ifdef MADV_POPULATE_WRITE
    const long page = ::sysconf(_SC_PAGESIZE);
    const auto begin = reinterpret_cast<std::uintptr_t>(ctx.frame->GetMutableData());
    const std::uintptr_t end = begin + std::uintptr_t(ctx.frame->GetStride()) * ctx.frame->GetFrameInfo().height;
    const std::uintptr_t first = (begin + page - 1) / page * page, last = end / page * page;
    constexpr std::uintptr_t kWorthIt = 4u << 20; // below a few MB the thread costs more than it saves
    if (page <= 0 || last <= first || last - first < kWorthIt)
        return;
    ctx.prefault = std::thread([first, last] {
        ::madvise(reinterpret_cast<void*>(first), last - first, MADV_POPULATE_WRITE); // best effort
    });
#else
    (void)ctx;
#endif
}

void SetUp(DecodeContext& ctx, std::FILE* file)
{
    ctx.cinfo.err = jpeg_std_error(&ctx.err.pub);
    ctx.err.pub.error_exit = &OnError;
    ctx.err.pub.emit_message = &OnMessage;
    ctx.err.message[0] = '\0';
    ctx.buffer.resize(kInputBufferSize);
    ctx.source.file = file;
    ctx.source.buffer = ctx.buffer.data();
    ctx.source.pub.init_source = &InitSource;
    ctx.source.pub.fill_input_buffer = &FillInputBuffer;
    ctx.source.pub.skip_input_data = &SkipInputData;
    ctx.source.pub.resync_to_restart = &jpeg_resync_to_restart;
    ctx.source.pub.term_source = &TermSource;
    ctx.source.pub.bytes_in_buffer = 0;
    ctx.source.pub.next_input_byte = nullptr;
}

bool Decodable(const jpeg_decompress_struct& cinfo)
{
    return cinfo.data_precision == 8
        && ((cinfo.num_components == 1 && cinfo.jpeg_color_space == JCS_GRAYSCALE)
            || (cinfo.num_components == 3 && (cinfo.jpeg_color_space == JCS_YCbCr || cinfo.jpeg_color_space == JCS_RGB)));
}

// Returns false on a libjpeg error (message in ctx.err) or when cancelled.
bool RunHeader(DecodeContext& ctx, bool* decodable)
{
    if (setjmp(ctx.err.jump))
        return false;
    jpeg_create_decompress(&ctx.cinfo);
    ctx.cinfo.src = &ctx.source.pub;
    jpeg_read_header(&ctx.cinfo, TRUE);
    *decodable = Decodable(ctx.cinfo);
    return true;
}

bool RunDecode(DecodeContext& ctx, int denominator, const std::atomic<bool>* cancel,
               const std::function<void(double)>& progress)
{
    if (setjmp(ctx.err.jump))
        return false;
    jpeg_create_decompress(&ctx.cinfo);
    ctx.cinfo.src = &ctx.source.pub;
    jpeg_read_header(&ctx.cinfo, TRUE);
    if (!Decodable(ctx.cinfo)) {
        std::snprintf(ctx.err.message, sizeof ctx.err.message, "unsupported JPEG colour layout");
        return false;
    }
    ctx.cinfo.out_color_space = JCS_EXT_BGRA;
    ctx.cinfo.scale_num = 1;
    ctx.cinfo.scale_denom = unsigned(denominator);
    jpeg_start_decompress(&ctx.cinfo);

    Conf::FrameInfo info;
    info.width = int(ctx.cinfo.output_width);
    info.height = int(ctx.cinfo.output_height);
    ctx.frame = Proc::CreateDataVideo(info, Proc::PIX_FMT_BGRA32);
    StartPrefault(ctx);
    std::uint8_t* base = ctx.frame->GetMutableData();
    const std::size_t stride = std::size_t(ctx.frame->GetStride());
    int sinceCheck = 0;
    while (ctx.cinfo.output_scanline < ctx.cinfo.output_height) {
        JSAMPROW rows[kRowsPerRead];
        const unsigned first = ctx.cinfo.output_scanline;
        const unsigned count = std::min<unsigned>(kRowsPerRead, ctx.cinfo.output_height - first);
        for (unsigned i = 0; i < count; ++i)
            rows[i] = base + (first + i) * stride;
        const unsigned read = jpeg_read_scanlines(&ctx.cinfo, rows, count);
        sinceCheck += int(read);
        if (sinceCheck >= kCancelCheckRows) {
            sinceCheck = 0;
            if (progress)
                progress(double(ctx.cinfo.output_scanline) / double(ctx.cinfo.output_height));
            if (cancel && cancel->load(std::memory_order_relaxed)) {
                ctx.cancelled = true;
                return false;
            }
        }
    }
    jpeg_finish_decompress(&ctx.cinfo);
    ctx.frame->SetOpaque(true);
    return true;
}

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

std::unique_ptr<std::FILE, FileCloser> OpenFile(const std::string& utf8Path)
{
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(utf8Path.c_str(), "rb"));
    if (!file)
        throw Core::Exception("the file cannot be read");
    return file;
}

} // namespace

bool JpegDecoder::CanDecode(const std::string& utf8Path)
{
    auto file = OpenFile(utf8Path);
    auto ctx = std::make_unique<DecodeContext>();
    SetUp(*ctx, file.get());
    bool decodable = false;
    const bool ok = RunHeader(*ctx, &decodable);
    jpeg_destroy_decompress(&ctx->cinfo);
    if (!ok)
        throw Core::Exception(ctx->err.message);
    return decodable;
}

Proc::DataVideoPtr JpegDecoder::Decode(const std::string& utf8Path, int denominator,
                                       const std::atomic<bool>* cancel,
                                       const std::function<void(double)>& progress)
{
    if (denominator != 1 && denominator != 2 && denominator != 4 && denominator != 8)
        throw Core::Exception("unsupported JPEG scale 1/" + std::to_string(denominator));
    auto file = OpenFile(utf8Path);
    auto ctx = std::make_unique<DecodeContext>();
    SetUp(*ctx, file.get());
    const bool ok = RunDecode(*ctx, denominator, cancel, progress);
    jpeg_destroy_decompress(&ctx->cinfo);
    if (ctx->prefault.joinable())
        ctx->prefault.join();
    if (ctx->cancelled)
        throw Core::Exception("decoding was cancelled");
    if (!ok)
        throw Core::Exception(ctx->err.message);
    return std::move(ctx->frame);
}

} // namespace Quelto::Lumindra::PhotoCore

// Display resizing: our resizer against Qt's smooth scaling of the same pixels, the one-off
// cost of the reduced levels, and the quality of both against a floating-point Lanczos-3
// reference computed here from the full-size pixels.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include <QImage>

#include "Bench.h"
#include "ImageQuality.h"
#include "proc/IEffect.h"
#include "proc/Vips.h"

namespace Quelto::Lumindra::Bench {

namespace {

constexpr int kTargetWidth = 1920;
constexpr int kRuns = 15;

// The decoded photograph as an opaque BGRA frame (the layout the editing core shows).
Proc::DataVideoPtr DecodeBgra(const QString& path)
{
    vips::VImage image = vips::VImage::new_from_file(path.toUtf8().constData(),
                                                     vips::VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL));
    image = image.colourspace(VIPS_INTERPRETATION_sRGB).cast(VIPS_FORMAT_UCHAR);
    if (image.bands() == 3)
        image = image.bandjoin_const({255});
    size_t size = 0;
    auto* rgba = static_cast<std::uint8_t*>(image.write_to_memory(&size));
    const int width = image.width(), height = image.height();
    Proc::DataVideoPtr frame = Proc::CreateDataVideo(Conf::FrameInfo {width, height, 1.0}, Proc::PIX_FMT_BGRA32);
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* s = rgba + std::size_t(y) * width * 4;
        std::uint8_t* d = frame->GetMutableData() + std::size_t(y) * frame->GetStride();
        for (int x = 0; x < width; ++x) {
            d[4 * x + 0] = s[4 * x + 2];
            d[4 * x + 1] = s[4 * x + 1];
            d[4 * x + 2] = s[4 * x + 0];
            d[4 * x + 3] = 255;
        }
    }
    g_free(rgba);
    frame->SetOpaque(true);
    return frame;
}

} // namespace

LUMINDRA_BENCH_GROUP(resize)
{
    const Proc::DataVideoPtr photo = DecodeBgra(PhotoJpeg24MP());
    const Conf::FrameInfo& info = photo->GetFrameInfo();
    const int targetWidth = kTargetWidth;
    const int targetHeight = int(std::lround(double(info.height) * targetWidth / info.width));

    photo->BuildLevels();
    auto resizer = boost::dynamic_pointer_cast<Proc::IOneInputEffectVideo>(
        Proc::GetEffectFactory().Create(Proc::SettingsResizer::CLASS_ID, Proc::ImplNames::DEFAULT));
    Proc::SettingsResizer settings;
    Conf::FrameInfo target = info;
    target.width = targetWidth;
    target.height = targetHeight;
    settings.SetCustomMode(1, target);
    settings.useLevels = true;
    settings.keepAspect = true;
    settings.mode = Proc::SettingsResizer::MODE_LANCZOS3;
    resizer->SetSettings(settings);

    // Opaque pixels are the same bytes premultiplied or not: Qt's fast path sees our frame as it is.
    const QImage qtImage(photo->GetData(), info.width, info.height, photo->GetStride(),
                         QImage::Format_ARGB32_Premultiplied);
    QImage qtResult;
    Proc::DataVideoPtr ours;
    // Alternating the two keeps a changing load on the machine from favouring either.
    std::vector<double> qtTimes, ourTimes, levelTimes;
    for (int run = 0; run <= kRuns; ++run) {
        auto start = std::chrono::steady_clock::now();
        qtResult = qtImage.scaled(targetWidth, targetHeight, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        const double qt = ElapsedMs(start);
        start = std::chrono::steady_clock::now();
        ours = photo;
        resizer->Process(ours);
        const double mine = ElapsedMs(start);
        const Proc::DataVideoPtr fresh = Proc::CloneDataVideo(*photo);
        start = std::chrono::steady_clock::now();
        fresh->BuildLevels();
        const double levels = ElapsedMs(start);
        if (run == 0)
            continue; // warm-up: first touches of memory and caches
        qtTimes.push_back(qt);
        ourTimes.push_back(mine);
        levelTimes.push_back(levels);
    }
    auto median = [](std::vector<double> v) {
        std::sort(v.begin(), v.end());
        return v[v.size() / 2];
    };
    const double qtMs = median(qtTimes), oursMs = median(ourTimes), levelsMs = median(levelTimes);

    // The image library's own Lanczos-3 reduction of the same level, for the choice of loop.
    const boost::intrusive_ptr<const Proc::IDataVideo> level = photo->GetLevel(1);
    const Conf::FrameInfo& levelInfo = level->GetFrameInfo();
    const double vipsMs = MedianMs(kRuns, [&] {
        vips::VImage in = vips::VImage::new_from_memory(const_cast<std::uint8_t*>(level->GetData()),
                                                        std::size_t(level->GetStride()) * levelInfo.height,
                                                        level->GetStride() / 4, levelInfo.height, 4, VIPS_FORMAT_UCHAR);
        if (level->GetStride() / 4 != levelInfo.width)
            in = in.extract_area(0, 0, levelInfo.width, levelInfo.height);
        vips::VImage out = in.resize(double(targetWidth) / levelInfo.width,
                                     vips::VImage::option()
                                         ->set("vscale", double(targetHeight) / levelInfo.height)
                                         ->set("kernel", VIPS_KERNEL_LANCZOS3));
        size_t bytes = 0;
        g_free(out.write_to_memory(&bytes));
    });

    Report("resize_vs_qt_smooth", oursMs / qtMs, "ratio");
    Report("levels_build_vs_qt_smooth", levelsMs / qtMs, "ratio");
    Report("resize_vips_reduce_vs_qt_smooth", vipsMs / qtMs, "ratio");

    const QImage reference = LanczosReference(*photo, targetWidth, targetHeight);
    const QImage oursImage(ours->GetData(), targetWidth, targetHeight, ours->GetStride(), QImage::Format_RGB32);
    Report("resize_psnr_db", Psnr(oursImage, reference), "dB");
    Report("qt_smooth_psnr_db", Psnr(qtResult, reference), "dB");
    std::fprintf(stderr, "resize: qt %.2f ms, ours %.2f ms, levels %.2f ms, vips %.2f ms\n", qtMs, oursMs,
                 levelsMs, vipsMs);
}

} // namespace Quelto::Lumindra::Bench

#include "ImageQuality.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace Quelto::Lumindra::Bench {

namespace {

constexpr double kPi = 3.14159265358979323846;

double LanczosReferenceKernel(double x)
{
    x = std::fabs(x);
    if (x >= 3.0)
        return 0.0;
    if (x < 1e-12)
        return 1.0;
    return 3.0 * std::sin(kPi * x) * std::sin(kPi * x / 3.0) / (kPi * kPi * x * x);
}

// One axis of a textbook Lanczos-3 resampling in double precision: the kernel widened by the
// reduction factor, windows cut at the borders and renormalised.
struct AxisTaps {
    std::vector<int> first;
    std::vector<std::vector<double>> weights;
};

AxisTaps ReferenceAxis(int from, int to)
{
    AxisTaps axis;
    const double scale = double(from) / to, widen = std::max(1.0, scale), support = 3.0 * widen;
    for (int i = 0; i < to; ++i) {
        const double center = (i + 0.5) * scale;
        const int lo = std::max(0, int(std::ceil(center - support - 0.5)));
        const int hi = std::min(from - 1, int(std::floor(center + support - 0.5)));
        std::vector<double> w;
        double sum = 0.0;
        for (int s = lo; s <= hi; ++s) {
            w.push_back(LanczosReferenceKernel((s + 0.5 - center) / widen));
            sum += w.back();
        }
        for (double& v : w)
            v /= sum;
        axis.first.push_back(lo);
        axis.weights.push_back(std::move(w));
    }
    return axis;
}

} // namespace

QImage LanczosReference(const Proc::IDataVideo& source, int width, int height)
{
    const int sw = source.GetFrameInfo().width, sh = source.GetFrameInfo().height;
    const AxisTaps ax = ReferenceAxis(sw, width), ay = ReferenceAxis(sh, height);
    std::vector<double> mid(std::size_t(width) * sh * 3);
    for (int y = 0; y < sh; ++y) {
        const std::uint8_t* row = source.GetData() + std::size_t(y) * source.GetStride();
        for (int x = 0; x < width; ++x) {
            double acc[3] = {0, 0, 0};
            for (std::size_t k = 0; k < ax.weights[x].size(); ++k) {
                const std::uint8_t* p = row + 4 * std::size_t(ax.first[x] + int(k));
                for (int c = 0; c < 3; ++c)
                    acc[c] += ax.weights[x][k] * p[c];
            }
            for (int c = 0; c < 3; ++c)
                mid[(std::size_t(y) * width + x) * 3 + c] = acc[c];
        }
    }
    QImage out(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        QRgb* line = reinterpret_cast<QRgb*>(out.scanLine(y));
        for (int x = 0; x < width; ++x) {
            double acc[3] = {0, 0, 0};
            for (std::size_t k = 0; k < ay.weights[y].size(); ++k) {
                const double* p = &mid[(std::size_t(ay.first[y] + int(k)) * width + x) * 3];
                for (int c = 0; c < 3; ++c)
                    acc[c] += ay.weights[y][k] * p[c];
            }
            auto channel = [&](int c) { return int(std::clamp(std::lround(acc[c]), 0L, 255L)); };
            line[x] = qRgb(channel(2), channel(1), channel(0)); // the frame's bytes are B, G, R
        }
    }
    return out;
}

double Psnr(const QImage& a, const QImage& b)
{
    const QImage x = a.convertToFormat(QImage::Format_RGB32);
    const QImage y = b.convertToFormat(QImage::Format_RGB32);
    if (x.size() != y.size() || x.isNull())
        return 0.0;
    double sum = 0.0;
    for (int row = 0; row < x.height(); ++row) {
        const QRgb* p = reinterpret_cast<const QRgb*>(x.constScanLine(row));
        const QRgb* q = reinterpret_cast<const QRgb*>(y.constScanLine(row));
        for (int col = 0; col < x.width(); ++col) {
            const double dr = qRed(p[col]) - qRed(q[col]);
            const double dg = qGreen(p[col]) - qGreen(q[col]);
            const double db = qBlue(p[col]) - qBlue(q[col]);
            sum += dr * dr + dg * dg + db * db;
        }
    }
    const double mse = sum / (3.0 * x.width() * x.height());
    return mse <= 0.0 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 / mse);
}

} // namespace Quelto::Lumindra::Bench

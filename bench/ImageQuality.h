#pragma once

#include <QImage>

#include "proc/IDataVideo.h"

namespace Quelto::Lumindra::Bench {

// A textbook Lanczos-3 resampling of an 8-bit BGRA frame to width x height in double precision
// (the kernel widened by the reduction factor, windows cut at the borders and renormalised),
// rounded to 8 bits: the quality reference of the resize and paint figures. RGB32.
QImage LanczosReference(const Proc::IDataVideo& source, int width, int height);

// Peak signal-to-noise ratio of two images of one size over R, G and B, in dB (99 when equal).
double Psnr(const QImage& a, const QImage& b);

} // namespace Quelto::Lumindra::Bench

// SPDX-License-Identifier: Apache-2.0
/// Filters and grey-level operations on images. Each returns a code of Utils::ReturnCode and prints its message, if it
/// has one, on standard output. Two-image operations give the destination the source's geometry; its buffer must hold
/// that.
#pragma once

#include <norvane/image.h>

#include <cstdint>
#include <functional>
#include <span>

namespace Norvane::Filter {

/// One of the platform's fixed kernels, 0 to 10 (2 and 3: Sobel for vertical and horizontal edges).
int ConvolveFixed(const Image* src, Image* dst, unsigned filter);
/// Mean of nCols x nRows pixels whose cell (anchorX, anchorY) lies on the pixel. Zeros lie outside the image.
int Blur(const Image* src, Image* dst, int nCols, int nRows, int anchorX, int anchorY);

// In place:
int MultiplySFP(Image* image, float factor);  ///< float images
int Threshold(Image* image, int threshold);   ///< the depth's largest value from the threshold on, else 0
int MultiplyS(Image* image, int factor);      ///< saturating
/// Looks each sample up: v in firstKey + [i, i + 1) * keyStep becomes values[i]. 8- and 16-bit unsigned images.
int ContrastStretch(Image* image, int firstKey, int keyStep, int* values, int intervals);

// Read only:
int Norm(Image* image, double* norm);                      ///< largest absolute sample, padding columns included
int ComputeHisto(Image* image, int* histogram, int bins);  ///< counts of `bins` equal parts of the grey scale

/// Scales `src` into `dst` (same format and bits, size chosen by the caller) by about `factor`: bilinear, after a box
/// blur of `decimationBlur` pixels where it reduces (0: none). Sets pixel size and offsets of `dst`.
int Resample(const Image* src, Image* dst, float factor, unsigned decimationBlur);

/// What a row of 16-bit samples is read as: (row, result of the same length).
using RowMap = std::function<void(std::span<const std::uint16_t>, std::span<std::uint16_t>)>;
/// The same of an unsigned 16-bit image whose rows are read through a map. Reduces only, and blurs by at least a pixel.
int Resample(const Image* src, Image* dst, float factor, unsigned decimationBlur, const RowMap& row_map);

}  // namespace Norvane::Filter

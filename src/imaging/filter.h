// SPDX-License-Identifier: Apache-2.0
/// Filters and grey-level operations on images. Each returns a code of Utils::ReturnCode. If there is a message, it is
/// printed to standard output. Operations on two images give the destination the geometry of the source; its buffer
/// must be large enough.
#pragma once

#include <norvane/image.h>

#include <cstdint>
#include <functional>
#include <span>

namespace Norvane::Filter {

/// One of the platform's fixed kernels, 0 to 10 (2 and 3: vertical and horizontal edges [sobel1968]).
int ConvolveFixed(const Image* src, Image* dst, unsigned filter);
/// The mean of a box of nCols x nRows pixels whose cell (anchorX, anchorY) lies on the pixel. Outside the image are
/// zeros.
int Blur(const Image* src, Image* dst, int nCols, int nRows, int anchorX, int anchorY);

// In place:
int MultiplySFP(Image* image, float factor);  ///< float images
int Threshold(Image* image, int threshold);   ///< largest value of the depth if sample >= threshold, else 0
int MultiplyS(Image* image, int factor);      ///< saturating
/// Looks each sample up: v in firstKey + [i, i + 1) * keyStep becomes values[i]. 8- and 16-bit unsigned images.
int ContrastStretch(Image* image, int firstKey, int keyStep, int* values, int intervals);

// Read only:
int Norm(Image* image, double* norm);                      ///< largest absolute sample, padding columns included
int ComputeHisto(Image* image, int* histogram, int bins);  ///< counts of `bins` equal parts of the grey scale

/// Scales `src` into `dst` by about `factor`, bilinearly. `dst` has the same format and bits, and the caller chooses
/// its size. If it reduces, a box blur of `decimationBlur` pixels (0: none) comes first. Sets pixel size and offsets of
/// `dst`.
int Resample(const Image* src, Image* dst, float factor, unsigned decimationBlur);

/// Maps a row of 16-bit samples while it is read: (row, result of the same length).
using RowMap = std::function<void(std::span<const std::uint16_t>, std::span<std::uint16_t>)>;
/// The same for an unsigned 16-bit image whose rows are read through a map. It can only reduce, and blurs by at least
/// one pixel.
int Resample(const Image* src, Image* dst, float factor, unsigned decimationBlur, const RowMap& row_map);

}  // namespace Norvane::Filter

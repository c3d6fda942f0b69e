// SPDX-License-Identifier: Apache-2.0
/// The image layer under the filters: whole single-channel rasters, described by headers that never own pixels.
///
/// Every call sets the error status of the calling thread and reports failures only through it. Calls are reentrant:
/// they share nothing except that status, so they need no lock. If a call is refused, it writes nothing.
///
/// A call sees every column of its header. The bridge passes the row pitch of an Image as the width, so padding columns
/// are pixels like any others. Integer results are exact, rounded half up after a division, and saturated to the depth.
/// Float results are computed in double and rounded to float once; they are never clamped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace Norvane {

/// Values of the error status.
inline constexpr int kIplOk = 0;
inline constexpr int kIplOutOfMemory = -4;
inline constexpr int kIplBadArgument = -5;  ///< null, no data, sizes or depths that do not agree, an invalid number
inline constexpr int kIplUnsupported = -6;  ///< not offered for the depth

/// Depths: the bits of a sample, and a sign bit.
inline constexpr int kIplSign = static_cast<int>(0x80000000U);
inline constexpr int kIplDepth1U = 1;
inline constexpr int kIplDepth8U = 8;
inline constexpr int kIplDepth16U = 16;
inline constexpr int kIplDepth8S = kIplSign | 8;
inline constexpr int kIplDepth16S = kIplSign | 16;
inline constexpr int kIplDepth32S = kIplSign | 32;
inline constexpr int kIplDepth32F = 32;

/// Describes pixels that belong to somebody else. Rows follow each other without gaps; a 1-bit row begins at a byte,
/// its leftmost pixel in the most significant bit.
struct IplHeader {
    int depth = kIplDepth8U;
    unsigned width = 0;          ///< pixels
    unsigned height = 0;         ///< rows
    std::size_t image_size = 0;  ///< bytes behind `data`, at least what width, height and depth need
    unsigned char* data = nullptr;
};

/// Boundaries and values of a lookup: the interval i is key[i] <= v < key[i + 1].
struct IplLookupTable {
    int num = 0;           ///< keys, one more than intervals
    int* key = nullptr;    ///< num boundaries
    int* value = nullptr;  ///< num - 1 values
    int* factor = nullptr;
    int interpolate = 0;  ///< 0: plain lookup; nothing else is offered
};

/// Maps a row of unsigned 16-bit samples while it is read: (row, result of the same length).
using IplRowMap = std::function<void(std::span<const std::uint16_t>, std::span<std::uint16_t>)>;

/// Makes a header without data, or returns null. It has one channel, no alpha channel, pixel interleaving (0), the
/// origin at the top left (0), rows aligned to 4 bytes, and no region, mask, id or tile record. The arguments for these
/// exist for other layers.
[[nodiscard]] IplHeader* iplCreateImageHeader(int channels, int alpha_channel, int depth, const char* colour_model,
                                              const char* channel_sequence, int data_order, int origin, int align,
                                              unsigned width, unsigned height, const void* roi, const void* mask,
                                              const void* image_id, const void* tile_info);
/// Releases a header (mode 1: only the header). The error status of the last operation stays.
void iplDeallocate(IplHeader* header, int mode);
/// The error status of the last call of this thread. Each thread has its own.
[[nodiscard]] int iplGetErrStatus();

// Neighbourhoods. Outside the image are zeros, the constant border of a new header. This is needed because a mask is
// eroded through the image of its exact bounding box, and the outside must count as background.

/// Convolution with the predefined kernel 0 .. 10; filter 2 gives left minus right, filter 3 below minus above. All
/// depths but 1-bit.
void iplFixedFilter(const IplHeader* src, const IplHeader* dst, int filter);
/// Mean of the cols x rows box whose cell (anchor_x, anchor_y), counted from its top-left cell, lies on the pixel. The
/// sum is always divided by cols * rows. An anchor outside the box is allowed. 8 and 16 bits of both signs, float.
void iplBlur(const IplHeader* src, const IplHeader* dst, int cols, int rows, int anchor_x, int anchor_y);
/// `iterations` times the 3 x 3 maximum or minimum. Unsigned 1, 8 and 16 bits.
void iplDilate(const IplHeader* src, const IplHeader* dst, int iterations);
void iplErode(const IplHeader* src, const IplHeader* dst, int iterations);

// Sample by sample; source and destination may be one header.

/// The largest value of the depth for every sample >= threshold, else 0. 8 and 16 bits of both signs.
void iplThreshold(const IplHeader* src, const IplHeader* dst, int threshold);
/// The largest absolute sample (norm type 1, no second image). NaNs are ignored. All depths.
double iplNorm(const IplHeader* a, const IplHeader* b, int norm_type);
/// Saturating product. All integer depths from 8 bits up.
void iplMultiplyS(const IplHeader* src, const IplHeader* dst, int factor);
/// Float product. Float.
void iplMultiplySFP(const IplHeader* src, const IplHeader* dst, float factor);

/// Replaces v by the low bits of the value of its interval; a v outside all keys stays. Low bits are used instead of
/// saturation because, for an inverted 12-bit image, k * (65535 - v) modulo 65536 is exactly k * (4095 - v). Unsigned 8
/// and 16 bits.
void iplContrastStretch(const IplHeader* src, const IplHeader* dst, IplLookupTable** table);
/// Sets value[i] to the number of samples in interval i. Unsigned 8 and 16 bits.
void iplComputeHisto(const IplHeader* src, IplLookupTable** table);

// Scaling. Destination pixel (x, y) is interpolated at the source position (x * x_src / x_dst, y * y_src / y_dst),
// bilinearly (interpolation 1) between its four neighbours; pixel centres have integer coordinates. The outermost row
// and column repeat outwards, because zeros would darken the border of every scaled image. 8 and 16 bits of both signs,
// float.

void iplZoom(const IplHeader* src, const IplHeader* dst, int x_dst, int x_src, int y_dst, int y_src, int interpolation);
void iplDecimate(const IplHeader* src, const IplHeader* dst, int x_dst, int x_src, int y_dst, int y_src,
                 int interpolation);
/// The same on the source after a blur with an x_mask x y_mask box whose anchor is (x_mask / 2, y_mask / 2). The box
/// means are not rounded before the interpolation. A mask size below 1 counts as 1. If there is a row map, each source
/// row is mapped through it first; unsigned 16 bits only.
void iplDecimateBlur(const IplHeader* src, const IplHeader* dst, int x_dst, int x_src, int y_dst, int y_src,
                     int interpolation, int x_mask, int y_mask, const IplRowMap* row_map = nullptr);

}  // namespace Norvane

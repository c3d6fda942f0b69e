// SPDX-License-Identifier: Apache-2.0
/// The library in one header: preparation of an acquired mammogram and the four mask operations.
///
/// A host prepares each mammogram once with PrepareImage(), fills in Masking::Params and calls one of the NvGenerate...
/// functions. The host owns every object that it passes or receives. Any number of threads may call at once, each with
/// its own objects.
///
/// Worth knowing:
/// - NvGenerateFullMask() with a second mask and `fullContour` false leaves the second mask empty, or with the pectoral
///   rows alone where a line joins, and the cut-tissue check runs on that; an empty one answers MASK_NO_MASK. Without a
///   second mask the check runs on the pectoral mask where a line joins, else on the full mask. With `singleContour`
///   the second mask gets no pixel size. A host that wants the check to look at the breast passes a second mask, sets
///   `fullContour` and leaves `singleContour` false.
/// - Where a field has no frame on the side away from the chest wall, 2 cm are taken from it: a host whose breast comes
///   close to that border pads the image first.
/// - Padding columns are pixels to the filters. At an odd width a padding column left 0 becomes 32768 in the shift of
///   images that use 16 bits, is then often the largest value, and the prepared image stays dark. Fill it with a copy
///   of the last column.
/// - That shift leaves the padding values alone: with 16 used bits, pass them already shifted.
/// - No mask operation clears `full` or `pect` before it joins or clips into them: pass empty masks.
/// - Masks that an operation reads keep their pixels, but their target pixel size may change.
///
/// Side and view may be numbers outside their lists. SIDE_UNDEFINED answers MASK_NO_SIDE everywhere; any other unknown
/// side gives a frame mask, but no breast (MASK_NO_SIDE). An unknown view is neither that of a muscle nor that without:
/// NvGenerateFullMask() seeks no muscle, NvGeneratePectMask() does.
///
/// On standard output the library says, in one line each: that an image is missing (breast and full mask), that a mask
/// is missing, that the frame search failed, and why a filter refuses an image. Nothing else is printed.
#pragma once

#include <norvane/export.h>
#include <norvane/garbage_list.h>
#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>
#include <norvane/pect_detect.h>
#include <norvane/version.h>

namespace Norvane {

/// Makes the working image of a mammogram: 16-bit grey levels over the full range, bright tissue on a dark background,
/// at Masking::c_lowres_pixelsize micrometres.
///
/// @param image  acquired image of 16-bit grey levels. With `resampleFirst` false and an owned buffer, and not shifted,
///               its pixels are changed in place; it is never freed. With 16 used bits the samples are taken as signed:
///               32768 is added modulo 65536 (not with a `resampler`).
/// @param scale  receives the resampling factor, pixel size / 228.
/// @param bgNoise  noise class; BG_FIXED_MID raises the result to at least 10000.
/// @param resampleFirst  resample before the grey-level steps, with `resampler` if given; otherwise after them, always
///               with the built-in resampler.
/// @param resampler  null, or a replacement that returns a new image at the working pixel size and sets the factor.
/// @param paddingValue, paddingRangeLimit  null, or grey values of the input that are carried to the prepared scale.
/// @return a new image, owned by the caller; null when `image` is null, has no buffer, is not of 16 bits, or has a
///         pixel size above 228 or not above 0.
NORVANE_API Image* PrepareImage(Image* image, float& scale, BG_NOISE bgNoise, bool resampleFirst,
                                Image* (*resampler)(Image*, float&), unsigned short* paddingValue,
                                unsigned short* paddingRangeLimit);

/// The exposed field of `image`, without collimation frame or pixel padding, into `frame`, which is cleared first.
///
/// MASK_OK, also for a null `frame`, which is reported on standard output ("Frame masking fails: 8") and stays null.
/// MASK_NO_IMAGE, MASK_NO_SIDE and MASK_BAD_PIXEL_SIZE leave the mask alone. A field whose bounds cross is empty.
NORVANE_API Masking::MASK_STATUS NvGenerateFrameMask(Image* image, Masking::Params params, Mask*& frame);

/// The breast of `image` into `breast`. An empty or null `frame` is searched first (and filled when given). `frameBox`,
/// null or four values: first and last column, first and last row of the frame. With `contourOutput` and a `contour` of
/// 1440 values the outline is returned as points; the breast mask then stays empty unless `pectContour` joins a muscle.
///
/// BG_GIVEN_LEVEL traces the boundary instead: it writes the points into `contour`, the pixel size into `breast` and no
/// pixel, and answers MASK_BOUNDARY_TRACING whether it found a breast or not (MASK_TOO_SMALL if its points, asked for
/// with `contourOutput`, bound less than 1/60 of the image). A `contour` of another size is emptied.
///
/// Otherwise MASK_OK, MASK_TOO_SMALL, MASK_BAD_SHAPE, or MASK_CHEST_WALL, which only warns: the mask is written.
/// Refused with MASK_NO_MASK (a null `breast`), MASK_NO_SIDE, MASK_BAD_PIXEL_SIZE, MASK_NO_IMAGE.
NORVANE_API Masking::MASK_STATUS NvGenerateBreastMask(Image* image, Masking::Params params, Mask* frame, Mask* breast,
                                                      int* frameBox);

/// Breast and upper pectoral muscle of `image` into `full`, the muscle into `pect`, the outer contour into `second`
/// (null allowed; see above). An empty or null `frame` is searched first (and filled when given). `full` may not be
/// null (MASK_NO_MASK); a null `pect` leaves the muscle in `full` alone.
///
/// The statuses of NvGenerateBreastMask() without the tracing, then those of what follows, the last of which wins:
/// MASK_PECT_FAILED if no muscle was found, MASK_BG_NOISE, and of a mask that is good so far MASK_CUT_TISSUE, or
/// MASK_NO_MASK if the mask that is looked at is empty.
NORVANE_API Masking::MASK_STATUS NvGenerateFullMask(Image* image, Masking::Params params, Mask* frame, Mask* full,
                                                    Mask* pect, Mask* second);

/// The pectoral muscle of `image` into `pect`, for a `breast` that is known. An empty or null `frame` is searched first
/// (and filled when given). Pixels are added to those that `pect` holds.
///
/// MASK_OK; MASK_PECT_REJECTED if the contrast across the line is low (`pect` then holds the rejected muscle);
/// MASK_PECT_FAILED if there is no line, or image or masks cannot be searched; MASK_PECT_NOT_APPLICABLE for
/// VIEW_NO_PECT; MASK_NO_MASK if the frame was to be searched and could not be.
NORVANE_API Masking::MASK_STATUS NvGeneratePectMask(Image* image, Masking::Params params, Mask* frame, Mask* breast,
                                                    Mask* pect);

/// A sentence for the user of a host, in English; the text lives as long as the process.
[[nodiscard]] NORVANE_API const char* StatusSentence(Masking::MASK_STATUS status);

}  // namespace Norvane

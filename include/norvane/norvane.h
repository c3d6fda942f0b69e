// SPDX-License-Identifier: Apache-2.0
/// The library in one header: the preparation of an acquired mammogram, and the four mask operations.
///
/// A host prepares each mammogram once with PrepareImage(), fills in Masking::Params and calls one of the NvGenerate...
/// functions. The host owns every object that it passes or receives. Any number of threads may call the library at the
/// same time if each uses its own objects.
///
/// Worth knowing:
/// - The cut-tissue check of NvGenerateFullMask() looks at the second mask. If `fullContour` is false, the second mask
///   stays empty, or holds only the pectoral rows if a line joins; if it is empty, the check returns MASK_NO_MASK. If
///   there is no second mask, the check looks at the pectoral mask if a line joins, otherwise at the full mask. If
///   `singleContour` is true, the second mask gets no pixel size. To let the check look at the breast, pass a second
///   mask, set `fullContour` and leave `singleContour` false.
/// - If a field has no frame on the side away from the chest wall, 2 cm are cut off there. If the breast may come close
///   to that border, pad the image first.
/// - The filters treat padding columns as pixels. If the image uses 16 bits and its width is odd, a padding column of 0
///   becomes 32768 in the shift. This is then often the largest value, and the prepared image stays dark. Fill the
///   padding column with a copy of the last column.
/// - That shift does not change the padding values. If the image uses 16 bits, pass them already shifted.
/// - No mask operation clears `full` or `pect` before it adds to them. Pass empty masks.
/// - Masks that an operation reads keep their pixels, but their target pixel size may change.
///
/// Side and view may be numbers outside their lists. SIDE_UNDEFINED gives MASK_NO_SIDE everywhere. Any other unknown
/// side gives a frame mask but no breast (MASK_NO_SIDE). An unknown view counts neither as a view with muscle nor as
/// one without: NvGenerateFullMask() does not search for the muscle, but NvGeneratePectMask() does.
///
/// The library prints a line to standard output if an image is missing (breast and full mask), if a mask is missing, if
/// the frame search failed, and if a filter refuses an image (with the reason). It prints nothing else.
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
/// @param image  acquired image of 16-bit grey levels. If it owns its buffer, `resampleFirst` is false and no shift is
///               needed, its pixels are changed in place. It is never freed. If it has 16 used bits, the samples are
///               taken as signed: 32768 is added modulo 65536 (unless there is a `resampler`).
/// @param scale  receives the resampling factor, pixel size / 228.
/// @param bgNoise  noise class; BG_FIXED_MID raises the result to at least 10000.
/// @param resampleFirst  true: resample before the grey-level steps, with `resampler` if one is given. False: resample
///               after them, always with the built-in resampler.
/// @param resampler  null, or a replacement that returns a new image at the working pixel size and sets the factor.
/// @param paddingValue, paddingRangeLimit  null, or grey values of the input that are converted to the prepared scale.
/// @return a new image, owned by the caller. Null if `image` is null, has no buffer, does not have 16 bits, or has a
///         pixel size that is above 228 or not above 0.
NORVANE_API Image* PrepareImage(Image* image, float& scale, BG_NOISE bgNoise, bool resampleFirst,
                                Image* (*resampler)(Image*, float&), unsigned short* paddingValue,
                                unsigned short* paddingRangeLimit);

/// Writes the exposed field of `image`, without collimation frame or pixel padding, into `frame`, which is cleared
/// first.
///
/// Returns MASK_OK, also if `frame` is null; then it stays null, and "Frame masking fails: 8" is printed to standard
/// output. With MASK_NO_IMAGE, MASK_NO_SIDE and MASK_BAD_PIXEL_SIZE, the mask is not changed. A field whose bounds
/// cross is empty.
NORVANE_API Masking::MASK_STATUS NvGenerateFrameMask(Image* image, Masking::Params params, Mask*& frame);

/// Writes the breast of `image` into `breast`. If `frame` is null or empty, the frame is found first, and an empty one
/// is filled. `frameBox` is null or takes four values: first and last column, first and last row of the frame. If
/// `contourOutput` is set and `contour` has 1440 values, the outline is returned as points; the breast mask then stays
/// empty unless `pectContour` joins a muscle.
///
/// BG_GIVEN_LEVEL traces the boundary instead. It writes the points into `contour` and the pixel size into `breast`,
/// but no pixel. It returns MASK_BOUNDARY_TRACING whether it found a breast or not, or MASK_TOO_SMALL if points were
/// asked for with `contourOutput` and bound less than 1/60 of the image. A `contour` of another size is emptied.
///
/// All other classes return MASK_OK, MASK_TOO_SMALL, MASK_BAD_SHAPE, or MASK_CHEST_WALL, which is only a warning: the
/// mask is written. A call is refused with MASK_NO_MASK (`breast` is null), MASK_NO_SIDE, MASK_BAD_PIXEL_SIZE or
/// MASK_NO_IMAGE.
NORVANE_API Masking::MASK_STATUS NvGenerateBreastMask(Image* image, Masking::Params params, Mask* frame, Mask* breast,
                                                      int* frameBox);

/// Writes breast and upper pectoral muscle of `image` into `full`, the muscle into `pect`, and the outer contour into
/// `second`, which may be null (see above). If `frame` is null or empty, the frame is found first, and an empty one is
/// filled. `full` must not be null (MASK_NO_MASK). If `pect` is null, the muscle is only written into `full`.
///
/// Returns the statuses of NvGenerateBreastMask() without the tracing, or one of a later step; the last one wins. These
/// are MASK_PECT_FAILED if no muscle was found, and MASK_BG_NOISE. If the mask is good so far, MASK_CUT_TISSUE may
/// follow, or MASK_NO_MASK if the mask that the check looks at is empty.
NORVANE_API Masking::MASK_STATUS NvGenerateFullMask(Image* image, Masking::Params params, Mask* frame, Mask* full,
                                                    Mask* pect, Mask* second);

/// Adds the pectoral muscle of `image` to the pixels of `pect`, for a known `breast`. If `frame` is null or empty, the
/// frame is found first, and an empty one is filled.
///
/// Returns MASK_OK; MASK_PECT_REJECTED if the contrast across the line is low (`pect` then holds the rejected muscle);
/// MASK_PECT_FAILED if there is no line, or if image or masks cannot be searched; MASK_PECT_NOT_APPLICABLE for
/// VIEW_NO_PECT; MASK_NO_MASK if the frame had to be found and could not be.
NORVANE_API Masking::MASK_STATUS NvGeneratePectMask(Image* image, Masking::Params params, Mask* frame, Mask* breast,
                                                    Mask* pect);

/// All masks of one image, and how the search for each ended.
struct AllMasks {
    Mask frame;   ///< the exposed field
    Mask breast;  ///< without the pixels that the muscle adds
    Mask pect;    ///< the muscle; after MASK_PECT_REJECTED, the rejected one
    Mask full;    ///< breast and upper muscle
    Mask outer;   ///< the region inside the outer contour; it has no status of its own
    Masking::MASK_STATUS frameStatus = Masking::MASK_NO_MASK;
    Masking::MASK_STATUS breastStatus = Masking::MASK_NO_MASK;
    Masking::MASK_STATUS pectStatus = Masking::MASK_NO_MASK;
    Masking::MASK_STATUS fullStatus = Masking::MASK_NO_MASK;
    Masking::MASK_STATUS contourStatus = Masking::MASK_NO_MASK;  ///< changes only if a contour is asked for
};

/// Makes all masks of `image`. Masks and statuses equal those of one call after another: NvGenerateFrameMask(),
/// NvGenerateFullMask() with the outer contour as second mask, NvGenerateBreastMask() and NvGeneratePectMask(), all
/// with the same frame. This call takes less than half of their time, because it searches for breast and muscle once;
/// with `maskingSpeed`, it takes as long as they do.
///
/// In all these calls, `fullContour` counts as true, and `singleContour` and `pectContour` as false. With
/// `contourOutput`, `contour` receives the outline that NvGenerateBreastMask() gives for `params` as they are, and the
/// breast mask is filled nevertheless. With BG_GIVEN_LEVEL, the breast is the mask that NvGenerateFullMask() gives for
/// VIEW_NO_PECT, because NvGenerateBreastMask() leaves it empty. `masks` may hold earlier results; they are replaced.
NORVANE_API void NvGenerateAllMasks(Image* image, Masking::Params params, AllMasks& masks);

/// Describes a status in an English sentence for the user of a host. The text lives as long as the process.
[[nodiscard]] NORVANE_API const char* StatusSentence(Masking::MASK_STATUS status);

}  // namespace Norvane

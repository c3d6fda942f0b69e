// SPDX-License-Identifier: Apache-2.0
/// The library for C (C99), and for every language that can call C.
///
/// A host prepares each mammogram once with norvane_prepare(), fills in norvane_params and calls one of the four mask
/// operations. Images and masks are handles. Whoever receives a handle frees it. No call changes a picture, an image or
/// a mask that it only reads (const), so any number of threads may read the same ones at the same time.
///
/// Every function that can fail returns a norvane_result and writes its answers through pointers. If the result is not
/// NORVANE_DONE, nothing was written, and norvane_last_error() says in a sentence what was wrong. How far the masks can
/// be trusted is another thing: that is the status of an operation, one of the NORVANE_MASK_ constants, for which
/// norvane_status_sentence() has a sentence. No C++ exception leaves a function.
///
/// Structs begin with their size, so that a later version can add members at the end: a host that was compiled before
/// continues to run. The host tells its size of a struct to the initialising function, which writes no more than that.
///
/// In a few cases the library prints a line to standard output; norvane.h lists them.
#pragma once

#include <norvane/export.h>

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// What a call returns.
enum {
    NORVANE_DONE = 0,
    NORVANE_BAD_ARGUMENT = 1,  ///< an argument is missing or wrong
    NORVANE_NO_MEMORY = 2,
};
typedef int32_t norvane_result;

/// Where the chest wall is.
enum { NORVANE_SIDE_UNDEFINED = -1, NORVANE_SIDE_RIGHT = 0, NORVANE_SIDE_LEFT = 1 };
/// Whether the view shows the pectoral muscle.
enum { NORVANE_VIEW_UNDEFINED = -1, NORVANE_VIEW_MUSCLE = 0, NORVANE_VIEW_NO_MUSCLE = 1 };
/// The noise class of the background; BG_NOISE in masking.h describes them.
enum {
    NORVANE_NOISE_AUTO_COARSE = 0,
    NORVANE_NOISE_MG = 1,
    NORVANE_NOISE_MG_RAW = 2,
    NORVANE_NOISE_GIVEN_LEVEL = 3,
    NORVANE_NOISE_AUTO = 4,
    NORVANE_NOISE_FIXED_MID = 5,
    NORVANE_NOISE_FIXED_HIGH = 6,
    NORVANE_NOISE_MG_RAW_2 = 7,
    NORVANE_NOISE_MG_RAW_3 = 8,
    NORVANE_NOISE_AUTO_MEDIUM = 9,
};
/// The status of an operation; MASK_STATUS in masking.h describes them.
enum {
    NORVANE_MASK_OK = 0,
    NORVANE_MASK_TOO_SMALL = 1,
    NORVANE_MASK_BAD_SHAPE = 2,
    NORVANE_MASK_CUT_TISSUE = 3,
    NORVANE_MASK_CHEST_WALL = 4,
    NORVANE_MASK_BG_NOISE = 5,
    NORVANE_MASK_BAD_PIXEL_SIZE = 6,
    NORVANE_MASK_NO_IMAGE = 7,
    NORVANE_MASK_NO_MASK = 8,
    NORVANE_MASK_NO_SIDE = 9,
    NORVANE_MASK_PECT_FAILED = 11,
    NORVANE_MASK_PECT_REJECTED = 12,
    NORVANE_MASK_PECT_NOT_APPLICABLE = 13,
    NORVANE_MASK_BOUNDARY_TRACING = 14,
};

/// Number of points of an outline.
enum { NORVANE_OUTLINE_POINTS = 720 };

/// An acquired mammogram in the caller's memory.
typedef struct norvane_picture {
    size_t struct_size;       ///< set by norvane_init_picture()
    const uint16_t* samples;  ///< grey values 0 .. 2^used_bits - 1, row by row; higher bits are cut off
    size_t row_stride;        ///< samples from row to row; 0 stands for the width
    uint32_t width;
    uint32_t height;
    uint32_t used_bits;      ///< 1 to 16
    int32_t inverted;        ///< not 0: tissue is dark on a bright background
    double pixel_size;       ///< micrometres, above 0 and at most 228
    int32_t noise_class;     ///< NORVANE_NOISE_FIXED_MID raises dark levels; all other classes prepare alike
    int32_t resample_first;  ///< not 0: resample before the grey-level steps instead of after them; results differ
    int32_t has_padding;     ///< not 0: padding_low and padding_high are the grey values of the padding
    uint16_t padding_low;
    uint16_t padding_high;
} norvane_picture;

/// The parameters of an operation; Masking::Params in masking.h has the same ones. Truth values are true if not 0.
typedef struct norvane_params {
    size_t struct_size;      ///< set by norvane_init_params()
    int32_t side;            ///< NORVANE_SIDE_...
    int32_t view;            ///< NORVANE_VIEW_...
    int32_t noise_class;     ///< NORVANE_NOISE_...
    uint16_t noise_level;    ///< for NORVANE_NOISE_GIVEN_LEVEL: one end of the padding values, on the prepared scale
    uint16_t padding_limit;  ///< the other end
    int32_t full_contour;    ///< also search the outer contour, which the check for cut tissue needs
    int32_t single_contour;  ///< do not write the outer contour into a mask
    int32_t smooth_contour;  ///< smooth the outer contour of the fast search
    int32_t contour_offset;  ///< pixels that are added to the radii of the outer contour
    int32_t check_cut_tissue;
    int32_t fast;            ///< use the fast search; results differ
    int32_t muscle_outline;  ///< norvane_outline() surrounds breast and upper muscle
} norvane_params;

/// The columns first .. last (both included) of a row.
typedef struct norvane_run {
    uint32_t row;
    uint32_t first;
    uint32_t last;
} norvane_run;

typedef struct norvane_image norvane_image;  ///< a working image: 16 bits, 228 micrometres. It never changes.
typedef struct norvane_mask norvane_mask;    ///< a set of pixels of a working image. It never changes.

/// The version of the library that is loaded, such as "1.0.0".
NORVANE_API const char* norvane_version(void);
/// An English sentence for the status of an operation. The text lives as long as the process.
NORVANE_API const char* norvane_status_sentence(int32_t status);
/// What was wrong with the last call of this thread; empty if nothing was. Valid until the next call of the thread.
NORVANE_API const char* norvane_last_error(void);

/// Sets the defaults in the first `struct_size` bytes, which is sizeof(norvane_picture) of the host: no samples, 16
/// used bits, NORVANE_NOISE_AUTO, resample_first. Null does nothing.
NORVANE_API void norvane_init_picture(norvane_picture* picture, size_t struct_size);
/// Sets the defaults in the first `struct_size` bytes, which is sizeof(norvane_params) of the host: side and view
/// undefined, smooth, with outer contour and check for cut tissue. If `image` is not null, its noise class and padding
/// values are taken over. Null `params` does nothing.
NORVANE_API void norvane_init_params(norvane_params* params, size_t struct_size, const norvane_image* image);

/// Makes the working image of a mammogram.
NORVANE_API norvane_result norvane_prepare(const norvane_picture* picture, norvane_image** image);
NORVANE_API void norvane_free_image(norvane_image* image);  ///< null does nothing
/// Columns, rows and pixel size (micrometres) of a working image. Each pointer may be null.
NORVANE_API norvane_result norvane_image_size(const norvane_image* image, uint32_t* width, uint32_t* height,
                                              double* pixel_size);
/// Copies the grey levels of a working image, width * height of them, row by row.
NORVANE_API norvane_result norvane_image_pixels(const norvane_image* image, uint16_t* pixels);

/// Finds the exposed field, without collimation frame or pixel padding. `status` must not be null, here and below.
NORVANE_API norvane_result norvane_frame_mask(const norvane_image* image, const norvane_params* params,
                                              norvane_mask** frame, int32_t* status);
/// Finds the breast. If `frame` is null or empty, the field is found first. With NORVANE_NOISE_GIVEN_LEVEL the mask
/// stays empty; take norvane_outline() there.
NORVANE_API norvane_result norvane_breast_mask(const norvane_image* image, const norvane_params* params,
                                               const norvane_mask* frame, norvane_mask** breast, int32_t* status);
/// Finds the outline of the breast: columns and rows x0, y0, x1, y1, ... of the working image. `points` takes
/// 2 * NORVANE_OUTLINE_POINTS numbers. `count` becomes the number of points: all of them, or 0 if there is no outline.
NORVANE_API norvane_result norvane_outline(const norvane_image* image, const norvane_params* params,
                                           const norvane_mask* frame, int32_t* points, uint32_t* count,
                                           int32_t* status);
/// Finds breast and upper pectoral muscle (`full`), the muscle, and the outer contour. `muscle` and `outer` may be null
/// if they are not wanted. The results do not depend on that.
NORVANE_API norvane_result norvane_full_mask(const norvane_image* image, const norvane_params* params,
                                             const norvane_mask* frame, norvane_mask** full, norvane_mask** muscle,
                                             norvane_mask** outer, int32_t* status);
/// Finds the pectoral muscle for a known breast. The mask is empty unless the status is NORVANE_MASK_OK.
NORVANE_API norvane_result norvane_muscle_mask(const norvane_image* image, const norvane_params* params,
                                               const norvane_mask* frame, const norvane_mask* breast,
                                               norvane_mask** muscle, int32_t* status);

/// Makes a mask of `count` runs on a grid of `pixel_size` micrometres. Runs that overlap or touch become one. Rows and
/// columns are below 2^28.
NORVANE_API norvane_result norvane_mask_from_runs(const norvane_run* runs, size_t count, double pixel_size,
                                                  norvane_mask** mask);
NORVANE_API void norvane_free_mask(norvane_mask* mask);  ///< null does nothing
/// Writes the runs in ascending order. `count` becomes their number, whatever `capacity` is. If `capacity` is smaller,
/// only that many are written; with 0, `runs` may be null.
NORVANE_API norvane_result norvane_mask_runs(const norvane_mask* mask, norvane_run* runs, size_t capacity,
                                             size_t* count);
/// Pixel size in micrometres, number of pixels, and area in square millimetres. Each pointer may be null.
NORVANE_API norvane_result norvane_mask_area(const norvane_mask* mask, double* pixel_size, uint64_t* pixels,
                                             double* square_millimetres);
/// Draws a mask into width * height bytes, row by row: 1 inside, 0 outside. If `pixel_size` is 0, it is that of the
/// mask. Along both axes, pixel v of the bitmap is pixel v * pixel_size / (pixel size of the mask) + 0.5, truncated.
NORVANE_API norvane_result norvane_mask_bitmap(const norvane_mask* mask, double pixel_size, uint32_t width,
                                               uint32_t height, uint8_t* bytes);
/// A new mask with the pixels of both, of either, or of the first alone. The pixel sizes must be equal.
NORVANE_API norvane_result norvane_mask_intersection(const norvane_mask* first, const norvane_mask* second,
                                                     norvane_mask** result);
NORVANE_API norvane_result norvane_mask_union(const norvane_mask* first, const norvane_mask* second,
                                              norvane_mask** result);
NORVANE_API norvane_result norvane_mask_difference(const norvane_mask* first, const norvane_mask* second,
                                                   norvane_mask** result);

#ifdef __cplusplus
}
#endif

// SPDX-License-Identifier: Apache-2.0
/// Detector of the pectoral muscle. One thread at a time per object.
#pragma once

#include <norvane/export.h>
#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include <vector>

namespace Norvane {

/// Finds the straight border of the pectoral muscle in a prepared image and writes the muscle into a mask.
///
/// The search looks at the upper part of the breast, closed off towards the chest wall: directional gradients
/// of a 9 x 9 kernel, the strongest of them binarised, a Hough transform [duda1972] over the angles that a muscle can
/// have, and a contrast test across the line. Pixel sizes are micrometres, angles radians unless degrees are named.
class NORVANE_API PectDetect {
public:
    enum PECT_STATUS {
        PECT_PASS = 0,            ///< a line was found and verified
        PECT_NO_SIDE = 1,         ///< the side is SIDE_UNDEFINED
        PECT_NOT_FOUND = 2,       ///< no edge, no line, or a line too deep in the image
        PECT_NOT_APPLICABLE = 3,  ///< the view is VIEW_NO_PECT
        PECT_FAIL = 4,            ///< the verification rejected the line
        PECT_WEAK = 5,            ///< weak contrast; a second test always decides, so no operation returns it
        PECT_NO_IMAGE = 6,        ///< the image is null or unusable
        PECT_BAD_MASK = 7,  ///< a mask is null, empty, one pixel wide or high, or without pixel size; or no region
        PECT_BAD_PIXEL_SIZE = 8,  ///< the image is more than 10 % off the working pixel size
    };

    static constexpr int C_XKERNELSIZE = 9;            ///< gradient kernel, columns
    static constexpr int C_YKERNELSIZE = 9;            ///< gradient kernel, rows
    static constexpr int C_CHECKWIDTH = 30;            ///< half-width of the compared strips, pixels
    static constexpr float C_RBINSIZE = 5.0F;          ///< Hough bin of the distance, pixels
    static constexpr float C_ABINSIZE = 1.0F;          ///< Hough bin of the angle, degrees
    static constexpr float C_ERROR = 1e-5F;            ///< smallest usable sum of the kernel
    static constexpr float C_ROIHEIGHTRATIO = 0.4F;    ///< part of the bound mask's height that is searched
    static constexpr float C_BKG_PERCENTAGE = 0.24F;   ///< fraction of the region taken as background
    static constexpr float C_EDGE_PRECENTAGE = 0.08F;  ///< fraction of the gradients kept as edges
    static constexpr double UA_PASS = 25.0;            ///< contrast statistic above which a line passes
    static constexpr double UA_WEAK = 8.5;             ///< contrast statistic above which a line is weak, not failed
    static constexpr double UA_PAIRWISEPASS = 15.0;    ///< paired statistic above which a weak or failed line passes

    PectDetect();

    /// Writes the pectoral muscle, clipped to the frame, into `pect` (added to what it holds).
    ///
    /// `image`: 16-bit unsigned, at the working pixel size. `breast`, `frame`: read, but their target pixel sizes
    /// change. After PECT_FAIL the muscle of the rejected line is in `pect`: decide by the status.
    PECT_STATUS PectSegGenerate(Image* image, Mask* breast, Mask* frame, IMAGE_SIDE side, IMAGE_VIEW view, Mask* pect);

    /// The complement: `breast` without the pectoral muscle, added to `tissue`.
    PECT_STATUS TissueSegGenerate(Image* image, Mask* breast, Mask* frame, IMAGE_SIDE side, IMAGE_VIEW view,
                                  Mask* tissue);

protected:
    // What follows is for derived classes: single steps of the search. A host needs none of it.
    void init();

    // The region that is searched. The caller owns the results.
    Mask* get_bound_mask(Mask* breast, Mask* frame, IMAGE_SIDE side);
    PECT_STATUS get_pect_region(Image* image, Mask* bound, Mask* pect);
    bool get_roi(Image* image, Mask* bound, IMAGE_SIDE side, Image*& roi);

    // Edges inside the region. `kernel` holds x and y weight of each cell, row by row. Angles in degrees.
    void get_kernel(int halfX, int halfY, float& sum, std::vector<float>& kernel);
    unsigned short get_masked_bkg_threshold(Image* roi, Mask* mask, float fraction);
    unsigned short get_upper_percent_grayvalue(Image* image, float fraction);
    bool get_pect_edge(Image* roi, Image*& edge, Mask* mask, int margin, float edgeFraction, int minAngle,
                       int maxAngle);
    bool get_edge(Image* roi, Mask* mask, IMAGE_SIDE side, Image*& edge);

    // The line x * cos(theta) + y * sin(theta) = rho in the region's coordinates. Angles from/to in degrees.
    bool get_line(Image* edge, IMAGE_SIDE side, float& rho, float& theta);
    bool hough_transform(Image* edge, float fromAngle, float toAngle, float& rho, float& theta, Image*& accumulator);
    bool generate_pect_mask(Image* image, Mask* bound, Mask* pect, float& rho, float& theta, unsigned dx, unsigned dy);

    // Whether the line parts a brighter muscle from darker tissue. (dx, dy): the region's offset inside the image.
    PECT_STATUS verify_pect(Image* image, float rho, float theta, int dx, int dy, IMAGE_SIDE side);
    PECT_STATUS verify_pect_pairwise(Image* image, float rho, float theta, int dx, int dy, IMAGE_SIDE side);

    IMAGE_SIDE imageSide = SIDE_UNDEFINED;
    float roiHeightRatio = C_ROIHEIGHTRATIO;  // of the bound mask's height, from its top down
};

}  // namespace Norvane

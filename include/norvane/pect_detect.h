// SPDX-License-Identifier: Apache-2.0
/// The detector of the pectoral muscle. Only one thread at a time may use an object.
#pragma once

#include <norvane/export.h>
#include <norvane/image.h>
#include <norvane/mask.h>
#include <norvane/masking.h>

#include <vector>

namespace Norvane {

/// Finds the straight border of the pectoral muscle in a prepared image and writes the muscle into a mask.
///
/// The search covers the upper part of the breast, closed off towards the chest wall. It computes directional gradients
/// with a 9 x 9 kernel and binarises the strongest ones. A Hough transform [duda1972] over the angles that a muscle can
/// have finds the line, and a test checks the contrast across it. Pixel sizes are in micrometres, and angles in radians
/// unless degrees are named.
class NORVANE_API PectDetect {
public:
    enum PECT_STATUS {
        PECT_PASS = 0,            ///< a line was found and verified
        PECT_NO_SIDE = 1,         ///< the side is SIDE_UNDEFINED
        PECT_NOT_FOUND = 2,       ///< no edge, no line, or a line too deep in the image
        PECT_NOT_APPLICABLE = 3,  ///< the view is VIEW_NO_PECT
        PECT_FAIL = 4,            ///< the verification rejected the line
        PECT_WEAK = 5,            ///< weak contrast; no operation returns it, because a second test always decides
        PECT_NO_IMAGE = 6,        ///< the image is null or unusable
        PECT_BAD_MASK = 7,        ///< a mask is null, empty, one pixel wide or high, or has no pixel size; or no region
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
    static constexpr double UA_PASS = 25.0;            ///< a line with a contrast statistic above this passes
    static constexpr double UA_WEAK = 8.5;  ///< a line with a contrast statistic above this is weak, but not failed
    static constexpr double UA_PAIRWISEPASS = 15.0;  ///< a weak or failed line passes above this paired statistic

    PectDetect();

    /// Adds the pectoral muscle, clipped to the frame, to the pixels of `pect`.
    ///
    /// `image` must be 16-bit unsigned and have the working pixel size. `breast` and `frame` are read, but their target
    /// pixel sizes change. After PECT_FAIL, `pect` holds the muscle of the rejected line. Look at the status before you
    /// use it.
    PECT_STATUS PectSegGenerate(Image* image, Mask* breast, Mask* frame, IMAGE_SIDE side, IMAGE_VIEW view, Mask* pect);

    /// The complement: adds `breast` without the pectoral muscle to `tissue`.
    PECT_STATUS TissueSegGenerate(Image* image, Mask* breast, Mask* frame, IMAGE_SIDE side, IMAGE_VIEW view,
                                  Mask* tissue);

protected:
    // The rest is for derived classes: single steps of the search. A host does not need it.
    void init();

    // The region that is searched. The caller owns the results.
    Mask* get_bound_mask(Mask* breast, Mask* frame, IMAGE_SIDE side);
    PECT_STATUS get_pect_region(Image* image, Mask* bound, Mask* pect);
    bool get_roi(Image* image, Mask* bound, IMAGE_SIDE side, Image*& roi);

    // Edges inside the region. `kernel` holds the x and y weights of each cell, row by row. Angles are in degrees.
    void get_kernel(int halfX, int halfY, float& sum, std::vector<float>& kernel);
    unsigned short get_masked_bkg_threshold(Image* roi, Mask* mask, float fraction);
    unsigned short get_upper_percent_grayvalue(Image* image, float fraction);
    bool get_pect_edge(Image* roi, Image*& edge, Mask* mask, int margin, float edgeFraction, int minAngle,
                       int maxAngle);
    bool get_edge(Image* roi, Mask* mask, IMAGE_SIDE side, Image*& edge);

    // The line x * cos(theta) + y * sin(theta) = rho in the coordinates of the region. fromAngle and toAngle are in
    // degrees.
    bool get_line(Image* edge, IMAGE_SIDE side, float& rho, float& theta);
    bool hough_transform(Image* edge, float fromAngle, float toAngle, float& rho, float& theta, Image*& accumulator);
    bool generate_pect_mask(Image* image, Mask* bound, Mask* pect, float& rho, float& theta, unsigned dx, unsigned dy);

    // Whether the line separates a brighter muscle from darker tissue. (dx, dy) is the offset of the region in the
    // image.
    PECT_STATUS verify_pect(Image* image, float rho, float theta, int dx, int dy, IMAGE_SIDE side);
    PECT_STATUS verify_pect_pairwise(Image* image, float rho, float theta, int dx, int dy, IMAGE_SIDE side);

    IMAGE_SIDE imageSide = SIDE_UNDEFINED;
    float roiHeightRatio = C_ROIHEIGHTRATIO;  // part of the bound mask's height that is searched, from its top
};

}  // namespace Norvane

// SPDX-License-Identifier: Apache-2.0
/// The parameters, the statuses and the class for making masks of a prepared mammogram.
#pragma once

#include <norvane/export.h>
#include <norvane/image.h>
#include <norvane/mask.h>

#include <string>
#include <vector>

namespace Norvane {

/// Where the chest wall is. Hosts may pass other values; norvane.h says what these do.
enum IMAGE_SIDE : int {
    SIDE_UNDEFINED = -1,
    SIDE_CHEST_RIGHT = 0,  ///< at the last column
    SIDE_CHEST_LEFT = 1,   ///< at column 0
};

/// The projection. Hosts may pass other values.
enum IMAGE_VIEW : int {
    VIEW_UNDEFINED = -1,  ///< not given; PectDetect searches anyway
    VIEW_PECT = 0,        ///< a view in which the pectoral muscle is searched for (oblique, lateral)
    VIEW_NO_PECT = 1,     ///< a view without muscle (cranio-caudal)
};

/// Noise class of the image's background, chosen by the host. It fixes the noise level, the blur, the threshold scale
/// and the gradient threshold of the search:
///
///     class             level   blur  scale  gradient
///     BG_AUTO_COARSE    auto    31    0.4    10000     digitised film
///     BG_MG             auto    11    0.1      400     digital, black background; padding frames
///     BG_MG_RAW         auto     3    0.1     4000     padding frames
///     BG_GIVEN_LEVEL    given   11    0.1    10000     the background is given as a range of padding values
///     BG_AUTO           auto    31    0.33   10000     the default
///     BG_FIXED_MID      11000   31    0.25   10000     levels below 10000 are raised in preparation
///     BG_FIXED_HIGH     20000   31    0.4    10000
///     BG_MG_RAW_2, _3   auto    11    0.1     4000     padding frames
///     BG_AUTO_MEDIUM    auto    31    0.33   10000
///
/// Any other value leaves these settings as they are.
enum BG_NOISE : int {
    BG_AUTO_COARSE = 0,
    BG_MG = 1,
    BG_MG_RAW = 2,
    BG_GIVEN_LEVEL = 3,
    BG_AUTO = 4,
    BG_FIXED_MID = 5,
    BG_FIXED_HIGH = 6,
    BG_MG_RAW_2 = 7,
    BG_MG_RAW_3 = 8,
    BG_AUTO_MEDIUM = 9,
};

/// Scratch record that the steps for centre, thresholds and contour of one run share.
struct ContourState {
    unsigned short tissueMean = 0;       ///< mean grey level above the noise level
    unsigned short backgroundLevel = 0;  ///< grey level of the background label
    unsigned short tissueThreshold = 0;  ///< grey level
    float thresholdScale = 0.0F;         ///< tissue threshold as a fraction of the tissue mean
    unsigned short edgeColumn = 0;       ///< column of the polar origin: the field's edge at the chest wall
    unsigned short centreRow = 0;        ///< row of the polar origin: half the image height
    unsigned short centreColumn = 0;     ///< the edge column moved into the breast; bounds the near-wall zone
};

/// Makes masks of prepared images (see PrepareImage()). Every operation takes its Params by value, stores them, and
/// derives its working settings from the noise class. This replaces what the setters stored for these settings.
///
/// Only one thread at a time may use an object, but several threads may each use their own. Masks and images belong to
/// the caller. Failures are statuses. Nothing is thrown except std::bad_alloc.
class NORVANE_API Masking {
public:
    static constexpr float c_lowres_pixelsize = 228.0F;   ///< working pixel size, micrometres
    static constexpr int c_loadCutLevel = 14000;          ///< noise level minus one, after a large chest-wall patch
    static constexpr int c_noiseLevel_auto = 65535;       ///< "compute the level from the image"
    static constexpr int c_noiseLevel = 15500;            ///< noise level of a new object
    static constexpr int c_noiseLevel_R716 = 11000;       ///< noise level of BG_FIXED_MID
    static constexpr int c_noiseLevel_MG = 1000;          ///< published only
    static constexpr int c_noiseLevel_MG_RAW = 9200;      ///< published only
    static constexpr int c_bg_padding = 400;              ///< published only
    static constexpr int c_bg_noise_upper_level = 20000;  ///< noise level of BG_FIXED_HIGH; no background is brighter
    static constexpr int c_grad_threshold = 10000;        ///< gradient of a contour edge, grey levels
    static constexpr int c_grad_threshold_MG = 400;       ///< the same for BG_MG
    static constexpr int c_grad_threshold_MG_RAW = 4000;  ///< the same for the raw classes
    static constexpr int c_num_angles = 720;              ///< angle bins of a polar contour
    static constexpr int NUM_IN_LUT = 3600;               ///< intervals of the arc-cosine table
    static constexpr int P_BACKGROUND = 10000;            ///< label grey level of background
    static constexpr int P_TISSUE = 30000;                ///< label grey level of tissue
    static constexpr int P_FRAME = 60000;                 ///< label grey level of the frame

    enum MASK_STATUS {
        MASK_OK = 0,                    ///< the masks can be used
        MASK_TOO_SMALL = 1,             ///< the breast is smaller than 1/60 of the image
        MASK_BAD_SHAPE = 2,             ///< the breast fills the image and its own bounding box: no outline was found
        MASK_CUT_TISSUE = 3,            ///< tissue lies outside the mask
        MASK_CHEST_WALL = 4,            ///< too much of the chest-wall region is as dark as background
        MASK_BG_NOISE = 5,              ///< the background beside the breast is as bright as the noise level
        MASK_BAD_PIXEL_SIZE = 6,        ///< the image is more than 10 % off the working pixel size
        MASK_NO_IMAGE = 7,              ///< there is no image, or it cannot be used
        MASK_NO_MASK = 8,               ///< a mask object is missing, or a mask that is needed came out empty
        MASK_NO_SIDE = 9,               ///< the side is not given
        MASK_PECT_FAILED = 11,          ///< the pectoral search could not run or found no line
        MASK_PECT_REJECTED = 12,        ///< a line was found but rejected because of its contrast
        MASK_PECT_NOT_APPLICABLE = 13,  ///< the view shows no muscle
        MASK_BOUNDARY_TRACING = 14,     ///< the boundary was traced; says nothing about what was found
    };

    /// The parameters of one call.
    struct Params {
        bool reserved = false;                           ///< no operation reads it
        IMAGE_SIDE side = SIDE_UNDEFINED;                ///< chest wall
        IMAGE_VIEW view = VIEW_UNDEFINED;                ///< projection
        BG_NOISE bgNoise = BG_AUTO;                      ///< noise class
        unsigned short noiseLevel = 0;                   ///< for BG_GIVEN_LEVEL: one end of the padding values
        unsigned short pixelPaddingValueRangeLimit = 0;  ///< the other end of the padding values
        bool fullContour = false;                        ///< also search the outer contour, for the second mask
        bool singleContour = false;                      ///< do not write the second outline
        bool smoothContour = true;                       ///< smooth the outer contour of the fast search
        int contourOffset = 0;                           ///< pixels that are added to the radii of the outer contour
        bool checkCutTissue = true;                      ///< the full mask runs the cut-tissue check
        bool contourOutput = false;                      ///< the call for the breast mask returns contour points
        bool maskingSpeed = false;                       ///< use the fast search and polygon writer; results differ
        std::vector<int>* contour = nullptr;             ///< the caller's, 1440 values: 720 points x, y; may be null
        bool pectContour = false;                        ///< the contour points outline breast and upper muscle
    };

    Masking();
    Masking(const Masking& other);  ///< copies the ContourState record
    Masking& operator=(const Masking& other);
    ~Masking();

    [[nodiscard]] float GetThreshScale() const { return threshScale; }
    void SetThreshScale(float value) { threshScale = value; }
    /// Stored, but no operation reads it.
    [[nodiscard]] bool GetSnapToChestWall() const { return snapToChestWall; }
    void SetSnapToChestWall(bool value) { snapToChestWall = value; }
    [[nodiscard]] bool GetChangeThreshold() const { return changeThreshold; }
    void SetChangeThreshold(bool value) { changeThreshold = value; }
    [[nodiscard]] float GetGradientThreshold() const { return gradientThreshold; }
    void SetGradientThreshold(float value) { gradientThreshold = value; }
    [[nodiscard]] float GetGradientScale() const { return gradientScale; }
    void SetGradientScale(float value) { gradientScale = value; }
    [[nodiscard]] int GetBlurSize() const { return blurSize; }
    [[nodiscard]] unsigned short GetBackgroundNoiseLevel() const { return backgroundNoiseLevel; }
    [[nodiscard]] BG_NOISE GetBackgroundNoise() const { return params.bgNoise; }
    /// Stores the class and derives the settings. `level` is only used for BG_GIVEN_LEVEL.
    void SetBackgroundNoise(BG_NOISE noiseClass, unsigned short level);
    [[nodiscard]] bool GetMaskingSpeed() const { return params.maskingSpeed; }
    void SetMaskingSpeed(bool value) { params.maskingSpeed = value; }
    [[nodiscard]] unsigned short GetPixelPaddingValueRangeLimit() const { return params.pixelPaddingValueRangeLimit; }
    void SetPixelPaddingValueRangeLimit(unsigned short value) { params.pixelPaddingValueRangeLimit = value; }
    /// Number of radii of a polar contour: 720. A contour of points has twice as many values.
    [[nodiscard]] static int GetSizeForContour() { return c_num_angles; }

    /// Writes the exposed field into `frame`. `autoLevel` allows the automatic noise level and the padding frames.
    MASK_STATUS GenerateFrameMask(Image* image, Params params, Mask*& frame, bool autoLevel);
    /// Writes the breast into `breast`. `frameBox` is null or takes four values. See NvGenerateBreastMask().
    MASK_STATUS GenerateBreastMask(Image* image, Params params, Mask*& breast, Mask* frame, int* frameBox);
    /// Writes breast and upper muscle into `full`. If no muscle was searched for, `pect` becomes null. See
    /// NvGenerateFullMask().
    MASK_STATUS GenerateFullMask(Image* image, Params params, Mask*& full, Mask*& pect, Mask*& second, Mask* frame);
    /// Writes the pectoral muscle into `pect`, for a known breast mask. See NvGeneratePectMask().
    MASK_STATUS GeneratePectMask(Image* image, Mask* breast, Params params, Mask* pect, Mask* frame);
    /// Writes the image to which the contour search applies its thresholds: dark tissue next to the chest wall is
    /// raised, and the image is blurred and cut to the frame. `patched` must refer to an image with a buffer of at
    /// least the size of `image`.
    void ChestWallPatch(Image* image, Params params, Image*& patched);

protected:
    // The rest is for derived classes: single steps of the operations above, and the settings that they read. A host
    // does not need it. If an argument is null or an image cannot be used, a step ends at once without a result.

    // Settings
    void init();
    void update_params(Params p);
    void background_noise_updated();

    // The field without pixel padding: first and last column, first and last row; -1 if not found
    void framemasking_for_pixel_padding_images(Image* image, int* bounds);
    void framemasking_for_binary_image(Image* image, int* bounds);

    // Noise level and thresholds from the histogram
    int auto_calc_noise_level(Image* image);
    unsigned short find_tissue_mean(Image* image, int* histogram, int bins);
    void extract_thresholds(Image* image);

    // The breast pipeline
    MASK_STATUS generate_internal(Image* image, Mask*& frame, Mask*& breast, Mask*& second);
    bool generate_full_mask(Mask* breast, Mask* pect, Mask*& out);

    // The polar contour: a radius in pixels for each angle bin around a point on the chest wall
    MASK_STATUS find_polar_center(Image* image, Mask* frame);
    std::vector<float> find_polar_contour(Image* grey, Image* search, Mask* frame);
    std::vector<float> find_contour_border(Image* grey, Image* search, Mask* frame, std::vector<float>& outer,
                                           bool fullContour);
    std::vector<float> find_contour_border_opt(Image* grey, Image* search, Mask* frame, std::vector<float>& outer);
    void fill_in_contour_gap(std::vector<float>& c);
    void smooth_contour(std::vector<float>& c, std::vector<float>& outer, int window);
    bool smooth_contour_mean(std::vector<float>& in, std::vector<float>& out, int window);
    void smooth_line(std::vector<float>& v, int half);
    double write_half_contour_to_mask(std::vector<float>& contour, Mask* out, Mask* frame, Image* image);
    double write_half_contour_to_mask_opt(std::vector<float>& contour, Mask* out, Mask* frame, Image* image);

    // Boundary tracing. `box` has the same form as the bounds above
    void boundary_tracing(Image* image, int* box, std::vector<int>& points);
    bool convert_mask_to_boundary(Image* image, Mask* mask, std::vector<int>& points);
    MASK_STATUS breast_masking_by_boundary_tracing(Image* image, Mask*& breast, int* box);

    void save_contour_to_file(std::string fileName, Image* image, Mask* mask);

    // Pectoral muscle and chest wall
    Mask* generate_pect(Image* image, Mask*& limitMask, Mask*& rowMask);  // the caller owns the result
    double patch_chestwall(Image* image, Mask* frame, Image*& patched);

    // Quality of a full mask
    MASK_STATUS check_bg_noise(Image* image, Mask*& breast, Mask*& frame);
    MASK_STATUS check_cut_tissue(Image* image, Mask*& breast, Mask*& frame);

    unsigned short backgroundNoiseLevel = c_noiseLevel;  // grey levels up to this one are background
    Params params;
    float threshScale = 0.33F;  // that of BG_AUTO, until a class is set
    bool snapToChestWall = false;
    bool changeThreshold = true;
    float gradientThreshold = c_grad_threshold;
    float gradientScale = 1.5F;            // contour edge: a fall below this multiple of the tissue threshold
    float radiusScale = 1.12F;             // tissue next to the wall must be brighter by this factor
    unsigned short contourMargin = 5;      // number of background samples that a direction may meet
    int blurSize = 31;                     // blur of the thresholded image, in pixels
    float borderFactor = 4.0F;             // frame: a rise by this multiple of the gradient threshold
    double chestWallRatioLimit = 0.2;      // fraction of the region at the chest wall that may be raised
    ContourState* contourState = nullptr;  // owned

    friend struct MaskingMembers;  // the library uses it to pass the members to its rules
};

}  // namespace Norvane

// SPDX-License-Identifier: Apache-2.0
/// The user's options about the images.
#pragma once

#include "findings/refined_muscle.h"
#include "io/image_memory.h"
#include "io/source_image.h"

#include <norvane/masking.h>

#include <cstdint>
#include <optional>

namespace Norvane::Host {

/// Pixels below a micrometre are millimetres that were given for micrometres.
inline constexpr double kLeastPixelSizeUm = 1.0;

/// What holds if neither the user nor the file nor the pixels say it.
struct DefaultSettings {
    std::optional<IMAGE_SIDE> side;
    std::optional<IMAGE_VIEW> view;
    std::optional<double> pixel_size_um;
};

/// The geometry that DICOM SEG objects state beside the source image.
enum class SegGeometry {
    kNone,    ///< none: a projection has no place in the patient
    kViewer,  ///< the plane of the image as a frame of reference of its own, with the pixel size
};

/// How DICOM SEG objects hold their segments.
enum class SegType {
    kBinary,    ///< a frame of single bits for each segment
    kLabelmap,  ///< one frame of labels, each the number of a segment
};

/// How the files of DICOM SEG objects are compressed.
enum class SegCompression {
    kNone,
    kDeflate,     ///< the whole object
    kRunLengths,  ///< the pixels; only those of a label map
};

/// The form of DICOM SEG objects.
struct SegForm {
    SegGeometry geometry = SegGeometry::kNone;
    SegType type = SegType::kBinary;
    SegCompression compression = SegCompression::kNone;
    bool is_written = false;  ///< whether the run writes the object of breast and muscle; then reports refer to it
};

/// If a value is not given, it comes from the file or is found in the image.
struct AnalysisOptions {
    std::optional<IMAGE_SIDE> side;
    std::optional<IMAGE_VIEW> view;
    std::optional<double> pixel_size_um;
    std::optional<BG_NOISE> noise;
    bool tries_noise = false;  ///< choose the class from the pixels, whatever the file says; not with `noise`
    std::optional<PaddingRange> padding;
    bool crops_film_area = true;
    bool is_inverted = false;
    bool is_fast = false;
    bool wants_contour = true;
    DefaultSettings defaults;
    MuscleBorderChoice muscle = MuscleBorderChoice::kExact;  ///< decides what labels, crops and areas take
    SegForm seg;
    std::uint64_t image_memory = kDefaultImageMemory;  ///< bytes; if an image would need more, it is refused
};

}  // namespace Norvane::Host

// SPDX-License-Identifier: Apache-2.0
/// The images for the benchmarks: acquired phantoms and prepared ones.
#pragma once

#include <norvane/norvane.h>

#include <opencv2/core.hpp>

#include <memory>

namespace Norvane::Bench {

struct Acquisition {
    unsigned width = 3328, height = 4096;
    float pixel_size = 70.0F;  // micrometres
    unsigned used_bits = 12;
    IMAGE_SIDE side = SIDE_CHEST_LEFT;
    IMAGE_VIEW view = VIEW_PECT;
};
inline constexpr Acquisition kLargeDetector{};
inline constexpr Acquisition kSmallDetector{2560, 3328, 85.0F, 12, SIDE_CHEST_LEFT, VIEW_PECT};

/// A phantom as 16-bit samples, drawn once per kind. The returned image is a separate copy.
[[nodiscard]] std::unique_ptr<Image> acquired(const Acquisition& kind);
/// The same, prepared for the noise class.
[[nodiscard]] std::unique_ptr<Image> prepared(const Acquisition& kind, BG_NOISE noise);
/// A prepared image that is cut or repeated to the wanted size.
[[nodiscard]] std::unique_ptr<Image> resized(const Image& image, unsigned width, unsigned height);

[[nodiscard]] Masking::Params params_for(const Acquisition& kind, BG_NOISE noise);

/// The pixels as a matrix over the same memory, padding columns left out.
[[nodiscard]] cv::Mat matrix_over(const Image& image);

}  // namespace Norvane::Bench

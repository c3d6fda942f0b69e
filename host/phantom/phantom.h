// SPDX-License-Identifier: Apache-2.0
/// Draws a synthetic mammogram with a known truth, for demonstrations, tests and benchmarks. The same settings give the
/// same pixels on every machine.
#pragma once

#include <norvane/masking.h>

#include <cstdint>
#include <vector>

namespace Norvane::Host {

enum class PhantomFrame {
    kNone,         ///< the field reaches the image borders
    kCollimation,  ///< a bright, unexposed frame on all four borders
};

enum class PhantomLook {
    kFilm,     ///< grey background with noise
    kDigital,  ///< black background without noise, like that of a processed digital image
};

struct PhantomSettings {
    unsigned width = 1800;
    unsigned height = 2400;
    double pixel_size_um = 100.0;
    IMAGE_SIDE side = SIDE_CHEST_LEFT;
    IMAGE_VIEW view = VIEW_PECT;  ///< VIEW_NO_PECT: no muscle
    PhantomFrame frame = PhantomFrame::kCollimation;
    PhantomLook look = PhantomLook::kFilm;
    unsigned seed = 1;
    unsigned used_bits = 12;
    double noise = 0.01;  ///< standard deviation in tissue of medium brightness, as a share of the full range
};

/// What a pixel shows. The values are grey levels that are easy to distinguish in a picture.
enum PhantomLabel : std::uint8_t {
    kLabelFrame = 0,
    kLabelBackground = 64,
    kLabelBreast = 128,
    kLabelPectoral = 255,
};

struct Phantom {
    PhantomSettings settings;
    std::vector<std::uint16_t> pixels;  ///< row by row, 0 .. 2^used_bits - 1
    std::vector<std::uint8_t> labels;   ///< one PhantomLabel per pixel
};

[[nodiscard]] Phantom draw_phantom(const PhantomSettings& settings);

}  // namespace Norvane::Host

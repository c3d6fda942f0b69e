// SPDX-License-Identifier: Apache-2.0
/// Chooses the class of background noise for an image whose owner did not say it, and the names of the classes.
#pragma once

#include <norvane/image.h>
#include <norvane/masking.h>

#include <array>
#include <string>
#include <utility>

namespace Norvane::Host {

struct NoiseChoice {
    BG_NOISE noise;
    std::string reason;
};

/// BG_MG where the dark border regions of a prepared image are flat and at (nearly) the darkest level of all, as the
/// background of a digital image is after its processing, and end at a step; BG_AUTO_COARSE for the grey, uneven
/// background of film.
[[nodiscard]] NoiseChoice choose_noise(const Image& prepared);

/// Names for the command line and for reports.
inline constexpr std::array<std::pair<const char*, BG_NOISE>, 10> kNoiseNames{{
    {"auto-coarse", BG_AUTO_COARSE},
    {"mg", BG_MG},
    {"mg-raw", BG_MG_RAW},
    {"given-level", BG_GIVEN_LEVEL},
    {"auto-fine", BG_AUTO},
    {"fixed-mid", BG_FIXED_MID},
    {"fixed-high", BG_FIXED_HIGH},
    {"mg-raw-2", BG_MG_RAW_2},
    {"mg-raw-3", BG_MG_RAW_3},
    {"auto-medium", BG_AUTO_MEDIUM},
}};
[[nodiscard]] const char* name_of(BG_NOISE noise);

}  // namespace Norvane::Host

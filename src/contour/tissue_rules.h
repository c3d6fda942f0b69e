// SPDX-License-Identifier: Apache-2.0
/// What makes a sample tissue, direction by direction around the polar origin. The ray search and both raster searches
/// share these rules; where their arithmetic differs, each form is a function of its own.
#pragma once

#include <norvane/masking.h>

#include "model/working_image.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace Norvane {

/// The settings of a Masking object that its contour searches use.
struct SearchSettings {
    bool change_threshold;
    float radius_scale;
    float gradient_threshold;  // grey levels
    float gradient_scale;
    float border_factor;
    std::uint16_t tolerance;  // background samples per direction
    std::uint16_t noise_level;
};

/// The polar origin and the side that it looks to. Distances from the wall are columns away from the edge column.
struct PolarOrigin {
    int edge_column;
    int row;
    int outward;  // +1: the breast lies to the right of the wall, -1: to the left; 0: no side, nothing to search
    int near_wall_width;  // pixels this close to the edge column lie in the near-wall zone
    int gate_distance;    // falling edges count only farther from the origin than this

    PolarOrigin(const ContourState& state, IMAGE_SIDE side)
        : edge_column(state.edgeColumn),
          row(state.centreRow),
          outward(side == SIDE_CHEST_LEFT ? 1 : (side == SIDE_CHEST_RIGHT ? -1 : 0)),
          near_wall_width(outward * (state.centreColumn - state.edgeColumn)),
          // From the image border on the left, from the edge column on the right.
          gate_distance(side == SIDE_CHEST_LEFT ? state.centreColumn : state.edgeColumn - state.centreColumn) {}
};

/// Which of the rules hold for the samples of one row or ray.
struct RowRules {
    bool raises_near_wall;  // tissue next to the wall must be brighter
    bool stops_at_edges;    // a strong gradient closes the direction
};

/// Above the centre row of a view with muscle the muscle's own border must not stop the search.
[[nodiscard]] inline bool may_show_muscle(IMAGE_VIEW view, bool above) { return view == VIEW_PECT && above; }

[[nodiscard]] inline RowRules ray_rules(const Masking::Params& params, const SearchSettings& settings, bool above) {
    const bool muscle = may_show_muscle(params.view, above);
    return {settings.change_threshold && !muscle, settings.gradient_threshold != 0.0F && !muscle};
}

[[nodiscard]] inline RowRules raster_rules(const Masking::Params& params, const SearchSettings& settings, bool above) {
    const bool muscle = may_show_muscle(params.view, above);
    const bool padding = is_padding_class(params.bgNoise);
    return {!padding && settings.change_threshold && !muscle,
            settings.gradient_threshold != 0.0F && (!muscle || padding)};
}

/// The grey level above which a sample is tissue: just above the noise, or a fraction of the mean tissue if that is
/// more. The fraction is not asked for where the noise level is coarse or the background black.
[[nodiscard]] inline float tissue_threshold(BG_NOISE noise_class, std::uint16_t noise_level,
                                            const ContourState& state) {
    const float above_noise = static_cast<float>(noise_level + 1);
    switch (noise_class) {
        case BG_AUTO_COARSE:
        case BG_MG:
        case BG_MG_RAW:
        case BG_GIVEN_LEVEL:
        case BG_AUTO_MEDIUM:
            return above_noise;
        default:
            break;
    }
    const float of_mean = state.thresholdScale * static_cast<float>(state.tissueMean);
    // Compared with the level itself, not with the level + 1.
    return of_mean > static_cast<float>(noise_level) ? of_mean : above_noise;
}

/// The last five grey values of a direction, newest first.
using GreyHistory = std::array<std::uint16_t, 5>;

constexpr std::uint16_t kNotFilled = 65535;

/// What a search knows about one direction.
struct Direction {
    std::uint16_t tolerance;  // background samples still tolerated; 0: closed
    GreyHistory history{kNotFilled, kNotFilled, kNotFilled, kNotFilled, kNotFilled};
    float radius = 0.0F;  // pixels, squared during the fast search

    explicit Direction(std::uint16_t tolerated) : tolerance(tolerated) {}

    /// A newest value of 0 marks a contour edge: from there on every sample of the direction is background.
    [[nodiscard]] bool has_stopped() const { return history[0] == 0; }
    void stop() { history[0] = 0; }

    void push(std::uint16_t grey) {
        std::copy_backward(history.begin(), history.end() - 1, history.end());
        history[0] = grey;
    }
};

[[nodiscard]] inline int newer_sum(const GreyHistory& h, std::uint16_t grey) { return grey + h[0] + h[1]; }
[[nodiscard]] inline int older_sum(const GreyHistory& h) { return h[2] + h[3] + h[4]; }

/// Fall of the grey level along a ray: mean of three older values less the mean of the three newest. Only the older
/// mean is rounded to float before the subtraction.
[[nodiscard]] inline float ray_gradient(const GreyHistory& h, std::uint16_t grey) {
    if (h[4] == kNotFilled) return 0.0F;
    const float older = static_cast<float>(older_sum(h) / 3.0);
    return static_cast<float>(static_cast<double>(older) - newer_sum(h, grey) / 3.0);
}

/// The same in the raster searches, where the exact difference of the sums is divided once.
[[nodiscard]] inline float raster_gradient(const GreyHistory& h, std::uint16_t grey) {
    if (h[4] == kNotFilled) return 0.0F;
    return static_cast<float>(older_sum(h) - newer_sum(h, grey)) / 3.0F;
}

/// The limits of one search.
class TissueRules {
public:
    TissueRules(const SearchSettings& settings, const Masking::Params& params, const ContourState& state)
        : plain_limit(tissue_threshold(params.bgNoise, settings.noise_level, state)),
          near_wall_limit(plain_limit * settings.radius_scale),
          falling(settings.gradient_threshold),
          gradient_scale(settings.gradient_scale),
          rising(static_cast<double>(settings.border_factor) * -1.0 *
                 static_cast<double>(settings.gradient_threshold)) {}

    [[nodiscard]] float limit(bool raised) const { return raised ? near_wall_limit : plain_limit; }

    [[nodiscard]] static bool is_tissue(const Direction& direction, std::uint16_t searched, float limit,
                                        RowRules rules) {
        return static_cast<float>(searched) > limit && !(rules.stops_at_edges && direction.has_stopped());
    }

    /// Notes the grey value of a tissue sample and stops the direction at a contour edge: a steep fall to a dark value
    /// beyond the gate (`beyond_gate`), or a steep rise to the brightness of a frame far from the wall (`far_off`).
    void note(Direction& direction, std::uint16_t grey, float gradient, float limit, bool beyond_gate,
              bool far_off) const {
        direction.push(grey);
        if (beyond_gate && gradient > falling && static_cast<float>(grey) < limit * gradient_scale) direction.stop();
        if (grey > Masking::P_FRAME && static_cast<double>(gradient) < rising && far_off) direction.stop();
    }

private:
    float plain_limit;
    float near_wall_limit;
    float falling;
    float gradient_scale;
    double rising;
};

/// Two thirds of the image width: a frame is looked for only farther from the origin than this.
[[nodiscard]] inline int two_thirds_of(unsigned width) { return truncate_to<int>(2.0 * width / 3.0); }

/// How far a search smooths its contour, in bins.
struct SmoothingWindows {
    int fixed_high;
    int padding;
    int other;

    [[nodiscard]] int of(BG_NOISE noise_class) const {
        if (noise_class == BG_FIXED_HIGH) return fixed_high;
        return is_padding_class(noise_class) ? padding : other;
    }
};

}  // namespace Norvane

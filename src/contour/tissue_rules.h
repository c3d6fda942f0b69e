// SPDX-License-Identifier: Apache-2.0
/// Decides whether a sample is tissue, direction by direction around the polar origin. The ray search and both raster
/// searches share these rules. If their arithmetic differs, each form has its own function.
#pragma once

#include <norvane/masking.h>

#include "contour/contour_smoothing.h"
#include "model/geometry.h"
#include "model/grey_statistics.h"
#include "rules/settings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace Norvane {

/// The polar origin and the side on which the breast lies. Distances from the wall are counted in columns from the edge
/// column.
struct PolarOrigin {
    int edge_column;
    int row;
    int outward;  // +1: the breast lies to the right of the wall, -1: to the left; 0: no side, nothing to search
    int near_wall_width;  // pixels this close to the edge column lie in the near-wall zone
    int gate_distance;    // falling edges count only farther from the origin than this

    PolarOrigin(const ContourState& state, IMAGE_SIDE side)
        : edge_column(state.edgeColumn),
          row(state.centreRow),
          outward(outward_from(side)),
          near_wall_width(outward * (state.centreColumn - state.edgeColumn)),
          // Counted from the image border if the wall is on the left, and from the edge column if it is on the right.
          gate_distance(side == SIDE_CHEST_LEFT ? state.centreColumn : state.edgeColumn - state.centreColumn) {}
};

/// Which rules apply to the samples of one row or ray.
struct RowRules {
    bool raises_near_wall;  // tissue next to the wall must be brighter
    bool stops_at_edges;    // a strong gradient closes the direction
};

/// In a view with muscle, the border of the muscle must not stop the search above the centre row.
[[nodiscard]] inline bool may_show_muscle(IMAGE_VIEW view, bool above) { return view == VIEW_PECT && above; }

[[nodiscard]] inline RowRules ray_rules(const Masking::Params& params, const Settings& settings, bool above) {
    const bool muscle = may_show_muscle(params.view, above);
    return {settings.raises_near_wall && !muscle, settings.gradient_threshold != 0.0F && !muscle};
}

[[nodiscard]] inline RowRules raster_rules(const Masking::Params& params, const Settings& settings, bool above) {
    const bool muscle = may_show_muscle(params.view, above);
    const bool padding = rules_of(params.bgNoise).has_padding;
    return {!padding && settings.raises_near_wall && !muscle,
            settings.gradient_threshold != 0.0F && (!muscle || padding)};
}

/// A sample is tissue above this grey level: just above the noise, or a fraction of the tissue mean if that is higher
/// and the class uses it.
[[nodiscard]] inline float tissue_threshold(const NoiseClass& rules, std::uint16_t noise_level,
                                            const ContourState& state) {
    const float above_noise = noise_level + 1.0F;
    if (!rules.uses_threshold_scale) return above_noise;
    const float of_mean = state.thresholdScale * state.tissueMean;
    // The comparison is with the level itself, not with the level + 1.
    return of_mean > noise_level ? of_mean : above_noise;
}

/// The last five grey values of a direction. They are packed, so that a new value is added in registers instead of in
/// memory that was just written.
class GreyHistory {
public:
    [[nodiscard]] int newest() const { return at(0); }
    [[nodiscard]] bool is_full() const { return oldest_ != kNotFilled; }
    /// Sums of three values each; `grey` is the next one.
    [[nodiscard]] int newer_sum(std::uint16_t grey) const { return grey + at(0) + at(1); }
    [[nodiscard]] int older_sum() const { return at(2) + at(3) + oldest_; }

    void push(std::uint16_t grey) {
        oldest_ = at(3);
        recent_ = recent_ << kValueBits | grey;
    }
    void replace_newest_by_0() { recent_ &= ~std::uint64_t{kNotFilled}; }

private:
    static constexpr int kValueBits = 16;
    static constexpr std::uint16_t kNotFilled = 65535;

    [[nodiscard]] std::uint16_t at(int age) const { return static_cast<std::uint16_t>(recent_ >> (kValueBits * age)); }

    std::uint64_t recent_ = ~std::uint64_t{0};  // four values, the newest in the lowest bits
    std::uint16_t oldest_ = kNotFilled;
};

/// The state of one direction during a search.
struct Direction {
    GreyHistory history;
    std::uint16_t tolerance;  // number of background samples still tolerated; 0: closed
    float radius = 0.0F;      // pixels; squared during the fast search

    explicit Direction(std::uint16_t tolerated) : tolerance(tolerated) {}

    /// If the newest value is 0, there was a contour edge, and every later sample of the direction is background.
    [[nodiscard]] bool has_stopped() const { return history.newest() == 0; }
    void stop() { history.replace_newest_by_0(); }
};

/// The fall of the grey level along a ray: the mean of three older values minus the mean of the three newest. Only the
/// older mean is rounded to float before the subtraction.
[[nodiscard]] inline float ray_gradient(const GreyHistory& h, std::uint16_t grey) {
    if (!h.is_full()) return 0.0F;
    const float older = static_cast<float>(h.older_sum() / 3.0);
    return static_cast<float>(double{older} - h.newer_sum(grey) / 3.0);
}

/// Three times the fall of the grey level along a direction of the raster searches. It is exact.
[[nodiscard]] inline int raster_fall(const GreyHistory& h, std::uint16_t grey) {
    return h.is_full() ? h.older_sum() - h.newer_sum(grey) : 0;
}

/// The gradient of the raster searches. Only this division rounds.
[[nodiscard]] inline float raster_gradient(int fall) { return static_cast<float>(fall) / 3.0F; }

/// Binary search for the first number of first .. end - 1 that satisfies a monotone `holds`; end if there is none.
template <class Holds>
[[nodiscard]] int first_where(int first, int end, Holds holds) {
    while (first < end) {
        const int middle = first + (end - first) / 2;
        if (holds(middle))
            end = middle;
        else
            first = middle + 1;
    }
    return first;
}

/// How a gradient compares with the two limits of a contour edge.
struct Steepness {
    bool falls;
    bool rises;
};

/// Where a sample lies.
struct SamplePlace {
    bool is_raised;       // next to the wall, where tissue must be brighter
    bool is_beyond_gate;  // far enough from the origin for a falling edge
    bool is_far_off;      // far enough for a frame
};

/// The limits of one search. They are defined in single precision. The comparisons are monotonic in the grey level, so
/// the integer at which each flips is computed once, and the searches compare with that.
class TissueRules {
public:
    TissueRules(const Settings& settings, const Masking::Params& params, const ContourState& state)
        : falling_(settings.gradient_threshold),
          rising_(double{settings.border_factor} * -1.0 * double{settings.gradient_threshold}) {
        const float plain = tissue_threshold(rules_of(params.bgNoise), settings.noise_level, state);
        const float raised = plain * settings.radius_scale;
        for (const bool is_raised : {false, true}) {
            const float limit = is_raised ? raised : plain;
            const float dark = limit * settings.gradient_scale;
            first_tissue_[is_raised] = first_where(0, kGreyLevels, [limit](int grey) { return grey > double{limit}; });
            first_not_dark_[is_raised] =
                first_where(0, kGreyLevels, [dark](int grey) { return !(grey < double{dark}); });
        }
        first_fall_ =
            first_where(-kLargestFall, kLargestFall + 1, [this](int f) { return of(raster_gradient(f)).falls; });
        first_flat_ =
            first_where(-kLargestFall, kLargestFall + 1, [this](int f) { return !of(raster_gradient(f)).rises; });
    }

    /// If `raised`, tissue must be brighter, because it is near the wall.
    [[nodiscard]] bool is_tissue(const Direction& direction, std::uint16_t searched, bool raised,
                                 RowRules rules) const {
        return searched >= first_tissue_[raised] && !(rules.stops_at_edges && direction.has_stopped());
    }

    [[nodiscard]] Steepness of(float gradient) const { return {gradient > falling_, double{gradient} < rising_}; }
    /// The same for a fall of the raster searches.
    [[nodiscard]] Steepness of_fall(int fall) const { return {fall >= first_fall_, fall < first_flat_}; }

    /// Records the grey value of a tissue sample. Stops the direction at a contour edge, which is a steep fall to a
    /// dark value beyond the gate, or a steep rise to the brightness of a frame far from the wall.
    void note(Direction& direction, std::uint16_t grey, Steepness steep, SamplePlace place) const {
        direction.history.push(grey);
        const bool meets_background = steep.falls && place.is_beyond_gate && grey < first_not_dark_[place.is_raised];
        const bool meets_frame = steep.rises && place.is_far_off && grey > Masking::P_FRAME;
        if (meets_background || meets_frame) direction.stop();
    }

private:
    static constexpr int kLargestFall = 3 * (kGreyLevels - 1);

    float falling_;
    double rising_;
    std::array<int, 2> first_tissue_{}, first_not_dark_{};  // by "raised"
    int first_fall_ = 0, first_flat_ = 0;
};

/// Two thirds of the image width. A frame counts only farther from the origin than this.
[[nodiscard]] inline int two_thirds_of(int width) { return truncate_to<int>(2.0 * width / 3.0); }

/// The windows for smoothing the contour of a search, in bins.
struct SmoothingWindows {
    int bright;
    int padding;
    int other;

    [[nodiscard]] int of(const NoiseClass& rules) const {
        if (rules.is_bright) return bright;
        return rules.has_padding ? padding : other;
    }
};

[[nodiscard]] inline Smoothing smoothing_of(const Masking::Params& params, const SmoothingWindows& windows) {
    const NoiseClass& rules = rules_of(params.bgNoise);
    return {.window = windows.of(rules), .has_padding = rules.has_padding, .outer_offset = params.contourOffset};
}

}  // namespace Norvane

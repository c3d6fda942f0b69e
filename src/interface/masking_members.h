// SPDX-License-Identifier: Apache-2.0
/// Converts the members of a Masking to a value for the rules, and back. Only this room knows both.
#pragma once

#include <norvane/masking.h>

#include "pipeline/masking_state.h"

namespace Norvane {

struct MaskingMembers {
    [[nodiscard]] static Settings settings_of(const Masking& m) {
        return {.noise_level = m.backgroundNoiseLevel,
                .threshold_scale = m.threshScale,
                .raises_near_wall = m.changeThreshold,
                .radius_scale = m.radiusScale,
                .gradient_threshold = m.gradientThreshold,
                .gradient_scale = m.gradientScale,
                .border_factor = m.borderFactor,
                .tolerance = m.contourMargin,
                .blur_size = m.blurSize,
                .largest_patch = m.chestWallRatioLimit};
    }
    /// Writes the settings that the rules may change.
    static void write(const Settings& settings, Masking& m) {
        m.backgroundNoiseLevel = settings.noise_level;
        m.threshScale = settings.threshold_scale;
        m.changeThreshold = settings.raises_near_wall;
        m.gradientThreshold = settings.gradient_threshold;
        m.blurSize = settings.blur_size;
    }

    [[nodiscard]] static MaskingState state_of(const Masking& m) {
        MaskingState state{m.params, settings_of(m), std::nullopt};
        if (m.contourState != nullptr) state.contour = *m.contourState;
        return state;
    }
    static void write(const MaskingState& state, Masking& m) {
        if (state.contour && m.contourState == nullptr) m.contourState = new ContourState;
        if (state.contour) *m.contourState = *state.contour;
        m.params = state.params;
        write(state.settings, m);
    }
    /// Writes the state of a step back and returns its status.
    static Masking::MASK_STATUS commit(const Outcome& outcome, Masking& m) {
        write(outcome.state, m);
        return outcome.status;
    }
};

}  // namespace Norvane

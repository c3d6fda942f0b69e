// SPDX-License-Identifier: Apache-2.0
#include "pipeline/field_mask.h"

#include "field/frame_detector.h"
#include "model/working_image.h"

#include <iostream>

namespace Norvane {

std::optional<GreyHistogram> settle_noise_level(Image* image, MaskingState& state) {
    if (state.settings.noise_level != Masking::c_noiseLevel_auto) return std::nullopt;
    AutomaticLevel found = automatic_level(image, rules_of(state.params.bgNoise));
    state.settings.noise_level = state.params.noiseLevel = static_cast<std::uint16_t>(found.noise_level);
    return std::move(found.histogram);
}

FieldOutcome find_field(Image* image, MaskingState state, Mask*& frame, bool auto_level) {
    std::optional<GreyHistogram> histogram;
    const auto answer = [&](Masking::MASK_STATUS status) {
        return FieldOutcome{{status, state}, std::move(histogram)};
    };
    if (image == nullptr) return answer(Masking::MASK_NO_IMAGE);
    if (auto_level) histogram = settle_noise_level(image, state);
    const Masking::Params& params = state.params;
    if (params.side == SIDE_UNDEFINED) return answer(Masking::MASK_NO_SIDE);
    if (is_off_working_pixel_size(image->GetPixelSize())) return answer(Masking::MASK_BAD_PIXEL_SIZE);
    if (!is_usable(image)) return answer(Masking::MASK_NO_IMAGE);

    int code = Masking::MASK_OK;
    try {
        code = FrameDetector(auto_level)
                   .Detect(image, frame, params.side, params.view, params.bgNoise, state.settings.noise_level);
    } catch (...) {
        if (frame != nullptr) frame->Clear();  // otherwise the next call would take half a frame for a known one
        throw;
    }
    if (code != Masking::MASK_OK) std::cout << "Frame masking fails: " << code << std::endl;
    return answer(Masking::MASK_OK);
}

}  // namespace Norvane

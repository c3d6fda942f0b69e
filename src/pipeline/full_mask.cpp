// SPDX-License-Identifier: Apache-2.0
#include "pipeline/full_mask.h"

#include "checks/quality_checks.h"
#include "imaging/mask_utils.h"
#include "model/mask_reader.h"
#include "model/numbers.h"
#include "pipeline/breast.h"
#include "pipeline/messages.h"

#include <algorithm>
#include <cstdint>

namespace Norvane {
namespace {

void add_row(MaskReader& from, std::int64_t y, Mask& out) {
    for (const Run& run : from.row(y)) add_run(out, y, run);
}

}  // namespace

bool join_masks(Mask* breast, Mask* muscle, Mask*& out) {
    if (breast == nullptr || muscle == nullptr) {
        if (breast == nullptr && muscle == nullptr) return false;
        out = breast != nullptr ? breast : muscle;
        return true;
    }
    if (out == nullptr) return true;
    breast->SetTargetPixelSize(breast->GetPixelSize());
    muscle->SetTargetPixelSize(breast->GetPixelSize());
    const unsigned first = std::min(breast->GetMinY(), muscle->GetMinY());
    const unsigned end = std::max(breast->GetMaxY(), muscle->GetMaxY());
    const unsigned split =
        first - static_cast<unsigned>(truncate_to<int>(static_cast<double>(end - first) * -2.0 / 3.0));
    out->SetPixelSize(breast->GetPixelSize());
    out->SetTargetPixelSize(breast->GetPixelSize());

    MaskReader breast_rows(*breast), muscle_rows(*muscle);
    const auto next_row = [&](std::int64_t from) {
        const std::int64_t row = muscle_rows.next_row(from);
        return std::min(breast_rows.next_row(from), row < split ? row : MaskReader::kNoRow);
    };
    for (auto y = next_row(first); y < end; y = next_row(y + 1)) {
        add_row(breast_rows, y, *out);
        if (y < split) add_row(muscle_rows, y, *out);
    }
    return true;
}

Masking::MASK_STATUS add_muscle(PectDetect::PECT_STATUS found, Mask& breast, Mask& muscle, const FullMasks& masks,
                                Masking::MASK_STATUS status) {
    if (!found_muscle(found)) {
        Utils::MaskCopy(&breast, masks.full);
        return found == PectDetect::PECT_FAIL ? status : Masking::MASK_PECT_FAILED;
    }
    join_masks(&breast, &muscle, masks.full);
    // If there is no second mask, the muscle's mask takes its place, provided that it is the host's and so outlives
    // this call.
    if (masks.second != nullptr || masks.muscle != nullptr) join_masks(masks.second, &muscle, masks.second);
    return status;
}

Masking::MASK_STATUS check_full_mask(const Image* image, const MaskingState& state, const FullMasks& masks,
                                     Masking::MASK_STATUS status) {
    const NoiseClass& rules = rules_of(state.params.bgNoise);
    const std::uint16_t level = state.settings.noise_level;
    if (!rules.has_padding && !rules.is_bright) {
        const auto noise = check_background(image, masks.full, masks.frame, state.params.side, level);
        if (noise != Masking::MASK_OK) status = noise;
    }
    const bool may_be_cut = status == Masking::MASK_OK || (rules.is_bright && status == Masking::MASK_CHEST_WALL);
    if (!state.params.checkCutTissue || !may_be_cut) return status;
    Mask* looked_at = masks.second != nullptr ? masks.second : masks.full;
    return check_for_cut_tissue(image, looked_at, masks.frame, state.params, level);
}

Outcome make_full_mask(Image* image, MaskingState state, const FullMasks& masks) {
    if (image == nullptr) {
        say_no_image("GenerateFullMask");
        return {Masking::MASK_NO_IMAGE, state};
    }
    Mask own_frame, own_breast;
    const FullMasks known{masks.full, masks.muscle, masks.second, masks.frame != nullptr ? masks.frame : &own_frame};
    if (masks.full == nullptr) return find_breast(image, state, {masks.frame, nullptr, nullptr});
    const bool seeks_muscle = state.params.view == VIEW_PECT;
    Mask* breast = seeks_muscle ? &own_breast : masks.full;
    Outcome outcome = find_breast(image, state, {known.frame, breast, masks.second});
    if (outcome.status == Masking::MASK_NO_IMAGE) return outcome;

    if (!seeks_muscle) {
        masks.muscle = nullptr;
    } else if (!has_masks(outcome.status)) {
        masks.muscle = nullptr;
        Utils::MaskCopy(breast, masks.full);
    } else {
        Mask scratch;
        Mask* muscle = masks.muscle != nullptr ? masks.muscle : &scratch;
        const auto found = seek_muscle(image, breast, known.frame, outcome.state.params, muscle);
        outcome.status = add_muscle(found, *breast, *muscle, known, outcome.status);
    }
    outcome.status = check_full_mask(image, outcome.state, known, outcome.status);
    return outcome;
}

}  // namespace Norvane

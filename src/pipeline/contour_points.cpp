// SPDX-License-Identifier: Apache-2.0
#include "pipeline/contour_points.h"

#include "checks/quality_checks.h"
#include "contour/boundary_tracing.h"
#include "field/padding_bounds.h"
#include "imaging/mask_utils.h"
#include "model/numbers.h"
#include "model/pixels.h"
#include "model/working_image.h"
#include "pipeline/breast.h"
#include "pipeline/full_mask.h"
#include "pipeline/messages.h"
#include "pipeline/muscle.h"

#include <algorithm>

namespace Norvane {
namespace {

/// Whether the host passed a vector for 720 points.
bool takes_points(const std::vector<int>* contour) {
    return contour != nullptr && contour->size() == 2 * std::size_t{Masking::c_num_angles};
}

/// Spreads 720 points evenly over a traced boundary of at least one point.
void spread_points(const std::vector<int>& traced, std::vector<int>& contour) {
    const std::size_t count = traced.size() / 2;
    const double step = static_cast<double>(count) / Masking::c_num_angles;
    const Row<int> to{contour};
    for (int k = 0; k < Masking::c_num_angles; ++k) {
        const std::size_t from = std::min<std::size_t>(truncate_to<unsigned>(k * step), count - 1);
        to[2 * k] = traced[2 * from];
        to[2 * k + 1] = traced[2 * from + 1];
    }
}

bool was_found(const Rectangle<int>& box) {
    return box.columns.first >= 0 && box.columns.last >= 0 && box.rows.first >= 0 && box.rows.last >= 0;
}

/// TOO_SMALL if the host's points bound a small part of the image.
Masking::MASK_STATUS judge_contour(const Masking::Params& params, const Image& image, Masking::MASK_STATUS status) {
    const bool has_points = params.contourOutput && takes_points(params.contour);
    return has_points && is_small(*params.contour, image) ? Masking::MASK_TOO_SMALL : status;
}

}  // namespace

void write_bounds(const Rectangle<int>& bounds, int* box) {
    if (box == nullptr) return;
    box[0] = bounds.columns.first;
    box[1] = bounds.columns.last;
    box[2] = bounds.rows.first;
    box[3] = bounds.rows.last;
}

bool append_boundary(const Image* image, const Mask* mask, IMAGE_SIDE side, std::vector<int>& points) {
    if (!is_usable(image) || mask == nullptr) return false;
    Image painted(image, true);
    paint(*mask, painted);
    const Rectangle<int> box = content_bounds(&painted);
    if (!was_found(box)) return false;
    if (has_wall(side)) {
        const std::vector<int> start = start_of_boundary(painted, box, side);
        points.insert(points.end(), start.begin(), start.end());
    }
    if (points.size() < 2) return false;
    if (has_wall(side)) trace_boundary({painted, box, {0, 0}, side}, points);  // only black is outside
    return true;
}

Rectangle<int> trace_breast(const Image& image, const Masking::Params& params) {
    const TracedRegion field{image, padding_bounds(&image, params.side, padding_levels(params)), padding_levels(params),
                             params.side};
    if (!was_found(field.box) || !has_wall(params.side)) return field.box;
    std::vector<int> points = top_edge(field);
    if (points.empty()) return field.box;
    trace_boundary(field, points);
    if (takes_points(params.contour)) {
        spread_points(points, *params.contour);
        std::copy_n(points.begin(), 2, params.contour->begin());
        std::copy_n(points.end() - 2, 2, params.contour->end() - 2);
    } else if (params.contour != nullptr) {
        params.contour->clear();
    }
    return field.box;
}

Masking::MASK_STATUS breast_status(const MaskingState& state, Masking::MASK_STATUS found) {
    const bool is_forgiven = rules_of(state.params.bgNoise).accepts_large_patch && found == Masking::MASK_CHEST_WALL;
    return is_forgiven ? Masking::MASK_OK : found;
}

Masking::MASK_STATUS give_joined_outline(Image* image, MaskingState& state, Mask* breast, Mask* muscle,
                                         Masking::MASK_STATUS found) {
    Mask joined, *out = &joined;
    if (muscle != nullptr)
        join_masks(breast, muscle, out);
    else
        Utils::MaskCopy(breast, out);
    const Masking::Params& params = state.params;
    if (params.contourOutput && params.contour != nullptr) {
        if (takes_points(params.contour)) {
            std::vector<int> points;
            if (is_usable(image)) state.params = without_padding(params);
            if (!append_boundary(image, out, params.side, points)) return Masking::MASK_BOUNDARY_TRACING;
            spread_points(points, *params.contour);
        } else {
            params.contour->clear();
        }
    }
    return judge_contour(params, *image, breast_status(state, found));
}

Outcome make_breast_mask(Image* image, MaskingState state, Mask* breast, Mask* frame, int* box) {
    if (image == nullptr) {
        say_no_image("GenerateBreastMask");
        return {Masking::MASK_NO_IMAGE, state};
    }
    const NoiseClass& rules = rules_of(state.params.bgNoise);
    if (rules.is_traced) {
        if (!is_usable(image)) return {Masking::MASK_NO_IMAGE, state};
        if (breast == nullptr) return {Masking::MASK_BOUNDARY_TRACING, state};
        breast->SetPixelSize(image->GetPixelSize());
        write_bounds(trace_breast(*image, state.params), box);
        return {judge_contour(state.params, *image, Masking::MASK_BOUNDARY_TRACING), state};
    }
    Mask own_frame;
    if (frame == nullptr) frame = &own_frame;
    Outcome found = find_breast(image, state, {frame, breast, nullptr});
    state = found.state;
    write_bounds({columns_of(*frame), rows_of(*frame)}, box);
    if (found.status == Masking::MASK_NO_IMAGE) return {found.status, state};

    if (state.params.view == VIEW_PECT && state.params.pectContour) {
        Mask muscle;
        const bool has_muscle =
            has_masks(found.status) && found_muscle(seek_muscle(image, breast, frame, state.params, &muscle));
        const auto status = give_joined_outline(image, state, breast, has_muscle ? &muscle : nullptr, found.status);
        return {status, state};
    }
    return {judge_contour(state.params, *image, breast_status(state, found.status)), state};
}

}  // namespace Norvane

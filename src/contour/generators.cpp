// SPDX-License-Identifier: Apache-2.0
/// The two public generators of breast masks: the breast, optionally as contour points, and the full mask.
#include <norvane/masking.h>
#include <norvane/pect_detect.h>

#include "contour/contour_points.h"
#include "imaging/mask_utils.h"
#include "model/scratch.h"
#include "model/working_image.h"

#include <algorithm>
#include <iostream>
#include <vector>

namespace Norvane {
namespace {

bool found_muscle(PectDetect::PECT_STATUS status) {
    return status == PectDetect::PECT_PASS || status == PectDetect::PECT_WEAK;
}

/// The masks were written; MASK_CHEST_WALL only warns.
bool has_masks(Masking::MASK_STATUS status) { return status == Masking::MASK_OK || status == Masking::MASK_CHEST_WALL; }

/// BG_AUTO_MEDIUM takes a large chest-wall patch as it is.
Masking::MASK_STATUS forgive_chest_wall(Masking::MASK_STATUS status, BG_NOISE noise_class) {
    return noise_class == BG_AUTO_MEDIUM && status == Masking::MASK_CHEST_WALL ? Masking::MASK_OK : status;
}

void write_frame_box(const Mask& frame, int* box) {
    if (box == nullptr) return;
    const unsigned bounds[] = {frame.GetMinX(), frame.GetMaxX(), frame.GetMinY(), frame.GetMaxY()};
    std::transform(std::begin(bounds), std::end(bounds), box, [](unsigned v) { return static_cast<int>(v); });
}

/// Whether the bounding box of the points covers less than 1/60 of the image. Products wrap as unsigned numbers do.
bool is_small(const std::vector<int>& points, const Image& image) {
    constexpr int kBeyondImages = 99999;
    constexpr unsigned kLargestRatio = 60;
    int first[2] = {kBeyondImages, kBeyondImages};
    int last[2] = {0, 0};
    for (std::size_t i = 0; i < points.size(); ++i) {
        first[i % 2] = std::min(first[i % 2], points[i]);
        last[i % 2] = std::max(last[i % 2], points[i]);
    }
    const auto extent = [&](int axis) {
        return static_cast<unsigned>(last[axis]) - static_cast<unsigned>(first[axis]);
    };
    return extent(0) * extent(1) < image.GetWidth() * image.GetHeight() / kLargestRatio;
}

void say_no_image(const char* operation) {
    std::cout << "(from " << operation << ") Load an image to generate mask!" << std::endl;
}

/// The classes whose background is not checked: it is padding, or brighter than the check allows.
bool has_unchecked_background(BG_NOISE noise_class) {
    return is_padding_class(noise_class) || noise_class == BG_FIXED_HIGH;
}

}  // namespace

Masking::MASK_STATUS Masking::GenerateBreastMask(Image* image, Params callParams, Mask*& breast, Mask* frame,
                                                 int* frameBox) {
    update_params(callParams);
    if (image == nullptr) {
        say_no_image("GenerateBreastMask");
        return MASK_NO_IMAGE;
    }
    const auto judge_contour = [&](MASK_STATUS status) {
        const bool has_points = params.contourOutput && takes_contour_points(params.contour);
        return has_points && is_small(*params.contour, *image) ? MASK_TOO_SMALL : status;
    };
    if (params.bgNoise == BG_GIVEN_LEVEL) {
        if (!is_usable(image)) return MASK_NO_IMAGE;
        if (breast == nullptr) return MASK_BOUNDARY_TRACING;
        return judge_contour(breast_masking_by_boundary_tracing(image, breast, frameBox));
    }
    Mask* no_second = nullptr;
    GarbageList scratch;
    if (frame == nullptr) frame = make_scratch<Mask>(scratch);
    const MASK_STATUS status = generate_internal(image, frame, breast, no_second);
    write_frame_box(*frame, frameBox);
    if (status == MASK_NO_IMAGE) return status;

    if (params.view == VIEW_PECT && params.pectContour) {
        // The outline joins breast and upper muscle; the breast mask stays the breast's.
        auto* pect = make_scratch<Mask>(scratch);
        auto* joined = make_scratch<Mask>(scratch);
        if (has_masks(status) &&
            found_muscle(PectDetect().PectSegGenerate(image, breast, frame, params.side, params.view, pect)))
            generate_full_mask(breast, pect, joined);
        else
            Utils::MaskCopy(breast, joined);
        if (params.contourOutput && takes_contour_points(params.contour)) {
            std::vector<int> points;
            if (!convert_mask_to_boundary(image, joined, points)) return MASK_BOUNDARY_TRACING;
            resample_boundary(points, *params.contour);
        } else if (params.contourOutput && params.contour != nullptr) {
            params.contour->clear();
        }
    }
    return judge_contour(forgive_chest_wall(status, params.bgNoise));
}

Masking::MASK_STATUS Masking::GenerateFullMask(Image* image, Params callParams, Mask*& full, Mask*& pect, Mask*& second,
                                               Mask* frame) {
    update_params(callParams);
    if (image == nullptr) {
        say_no_image("GenerateFullMask");
        return MASK_NO_IMAGE;
    }
    if (full == nullptr) return generate_internal(image, frame, full, second);  // says so, and does no more
    GarbageList scratch;
    if (frame == nullptr) frame = make_scratch<Mask>(scratch);
    const bool seeks_muscle = params.view == VIEW_PECT;
    Mask* breast = seeks_muscle ? make_scratch<Mask>(scratch) : full;
    MASK_STATUS status = generate_internal(image, frame, breast, second);
    if (status == MASK_NO_IMAGE) return status;

    if (!seeks_muscle) {
        pect = nullptr;
    } else if (!has_masks(status)) {
        pect = nullptr;
        Utils::MaskCopy(breast, full);
    } else {
        Mask* muscle = pect != nullptr ? pect : make_scratch<Mask>(scratch);
        const auto found = PectDetect().PectSegGenerate(image, breast, frame, params.side, params.view, muscle);
        if (found_muscle(found)) {
            generate_full_mask(breast, muscle, full);
            // Without a second mask the muscle's takes its place, if it is the host's and outlives this call.
            if (second != nullptr || pect != nullptr) generate_full_mask(second, muscle, second);
        } else {
            if (found != PectDetect::PECT_FAIL) status = MASK_PECT_FAILED;
            Utils::MaskCopy(breast, full);
        }
    }
    if (!has_unchecked_background(params.bgNoise))
        if (const MASK_STATUS noise = check_bg_noise(image, full, frame); noise != MASK_OK) status = noise;
    const bool may_be_cut = status == MASK_OK || (params.bgNoise == BG_FIXED_HIGH && status == MASK_CHEST_WALL);
    if (params.checkCutTissue && may_be_cut) status = check_cut_tissue(image, second != nullptr ? second : full, frame);
    return status;
}

}  // namespace Norvane

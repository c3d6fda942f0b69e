// SPDX-License-Identifier: Apache-2.0
/// From a prepared image and its field to the breast mask, and the join of breast and upper muscle.
#include <norvane/masking.h>

#include "imaging/mask_utils.h"
#include "model/mask_reader.h"
#include "model/numbers.h"
#include "model/scratch.h"
#include "model/working_image.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

namespace Norvane {
namespace {

/// Whether the breast's size and shape are believable. `area`: the pixels written before the cut with the field.
Masking::MASK_STATUS judge_breast(const Image& image, const Mask& breast, double area) {
    constexpr double kLargestRatio = 60.0;  // image to breast
    constexpr double kWholeImageRatio = 1.25;
    constexpr double kRectangleFill = static_cast<double>(0.88F);  // of the bounding box
    const double ratio = static_cast<double>(image.GetWidth() * image.GetHeight()) / area;
    if (ratio > kLargestRatio) return Masking::MASK_TOO_SMALL;
    const unsigned box = (breast.GetMaxX() - breast.GetMinX()) * (breast.GetMaxY() - breast.GetMinY());
    // A breast that fills the image and its own box is a search that found no outline.
    if (ratio < kWholeImageRatio && area > kRectangleFill * box) return Masking::MASK_BAD_SHAPE;
    return Masking::MASK_OK;
}

/// Adds the runs of one row to `out`.
void add_row(MaskReader& from, unsigned y, Mask& out) {
    for (const Run& run : from.row(y)) out.AddSegment(y, run.first, run.last - run.first);
}

/// Lets the steps of one call share a result on the same image.
class MemoScope {
public:
    explicit MemoScope(std::optional<std::vector<int>>& shared) : memo(shared) { memo.emplace(); }
    ~MemoScope() { memo.reset(); }
    MemoScope(const MemoScope&) = delete;
    MemoScope& operator=(const MemoScope&) = delete;

private:
    std::optional<std::vector<int>>& memo;
};

}  // namespace

Masking::MASK_STATUS Masking::generate_internal(Image* image, Mask*& frame, Mask*& breast, Mask*& second) {
    if (breast == nullptr || frame == nullptr) {
        std::cout << "(from generateMask) Initialize TSO.Mask object first!" << std::endl;
        return MASK_NO_MASK;
    }
    if (params.side == SIDE_UNDEFINED) return MASK_NO_SIDE;
    if (image != nullptr && is_off_working_pixel_size(image->GetPixelSize())) return MASK_BAD_PIXEL_SIZE;
    if (!is_usable(image)) return MASK_NO_IMAGE;

    const MemoScope keeps_histogram(greyParts);
    if (MaskReader::is_empty(*frame)) GenerateFrameMask(image, params, frame, true);
    if (backgroundNoiseLevel == c_noiseLevel_auto)
        backgroundNoiseLevel = params.noiseLevel = static_cast<unsigned short>(auto_calc_noise_level(image));
    auto state = std::make_unique<ContourState>();
    delete contourState;
    contourState = state.release();
    if (const MASK_STATUS status = find_polar_center(image, frame); status != MASK_OK) return status;
    extract_thresholds(image);

    GarbageList scratch;
    Image* search = image;
    double patched = 0.0;  // fraction of the region at the chest wall
    if (!is_padding_class(params.bgNoise)) {
        search = make_scratch<Image>(scratch, image, true);
        patched = patch_chestwall(image, frame, search);
    }
    const bool is_patched_much = patched > chestWallRatioLimit;
    if (params.bgNoise != BG_AUTO_MEDIUM && is_patched_much) backgroundNoiseLevel = c_loadCutLevel + 1;

    std::vector<float> outer;
    std::vector<float> contour = params.maskingSpeed
                                     ? find_contour_border_opt(image, search, frame, outer)
                                     : find_contour_border(image, search, frame, outer, params.fullContour);

    const bool joins_muscle = params.view == VIEW_PECT && params.pectContour;
    const auto write = [&](std::vector<float>& radii, Mask* out, bool fast) {
        return fast ? write_half_contour_to_mask_opt(radii, out, frame, image)
                    : write_half_contour_to_mask(radii, out, frame, image);
    };
    breast->Clear();
    breast->SetPixelSize(image->GetPixelSize());
    auto* written = make_scratch<Mask>(scratch);
    written->SetPixelSize(breast->GetPixelSize());
    const double area = write(contour, written, params.maskingSpeed && !joins_muscle);
    if (!params.contourOutput || joins_muscle) Utils::MaskIntersect(written, frame, breast);

    if (second != nullptr && !params.contourOutput) {
        second->Clear();
        if (!params.singleContour) {
            second->SetPixelSize(image->GetPixelSize());
            written->Clear();
            written->SetPixelSize(second->GetPixelSize());
            write(outer, written, params.maskingSpeed);
            Utils::MaskIntersect(written, frame, second);
        }
    }
    if (is_patched_much) return MASK_CHEST_WALL;
    return params.contourOutput ? MASK_OK : judge_breast(*image, *breast, area);
}

bool Masking::generate_full_mask(Mask* breast, Mask* pect, Mask*& out) {
    if (breast == nullptr || pect == nullptr) {
        if (breast == nullptr && pect == nullptr) return false;
        out = breast != nullptr ? breast : pect;
        return true;
    }
    if (out == nullptr) return true;
    breast->SetTargetPixelSize(breast->GetPixelSize());
    pect->SetTargetPixelSize(breast->GetPixelSize());
    const unsigned first = std::min(breast->GetMinY(), pect->GetMinY());
    const unsigned end = std::max(breast->GetMaxY(), pect->GetMaxY());
    // The muscle's lower third is left out: there its straight border no longer follows the muscle.
    const unsigned split =
        first - static_cast<unsigned>(truncate_to<int>(static_cast<double>(end - first) * -2.0 / 3.0));
    out->SetPixelSize(breast->GetPixelSize());
    out->SetTargetPixelSize(breast->GetPixelSize());

    MaskReader breast_rows(*breast);
    MaskReader pect_rows(*pect);
    const auto next_row = [&](std::uint64_t from) {
        const std::uint64_t muscle = pect_rows.next_row(from);
        return std::min(breast_rows.next_row(from), muscle < split ? muscle : MaskReader::kNoRow);
    };
    for (auto at = next_row(first); at < end; at = next_row(at + 1)) {
        const auto y = static_cast<unsigned>(at);
        add_row(breast_rows, y, *out);
        if (y < split) add_row(pect_rows, y, *out);
    }
    return true;
}

}  // namespace Norvane

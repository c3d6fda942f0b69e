// SPDX-License-Identifier: Apache-2.0
// The pectoral search from masks to status: the region that is searched, and the order of the steps.
#include <norvane/pect_detect.h>

#include "imaging/image_copy.h"
#include "imaging/mask_utils.h"
#include "model/mask_reader.h"
#include "model/numbers.h"
#include "model/scratch.h"
#include "model/working_image.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>

namespace Norvane {
namespace {

constexpr int kEdgeMargin = 5;  // pixels along the region's border that get no edge: more than half a kernel

/// Columns and rows, wide enough that differences may be negative.
struct Box {
    std::int64_t left, right, top, bottom;
};

Box bounds_of(const Mask& mask) { return {mask.GetMinX(), mask.GetMaxX(), mask.GetMinY(), mask.GetMaxY()}; }

bool cannot_be_searched(const Mask* mask) {
    return mask == nullptr || MaskReader::is_empty(*mask) || mask->GetMaxX() <= mask->GetMinX() ||
           mask->GetMaxY() <= mask->GetMinY() || !(mask->GetPixelSize() > 0.0F);
}

void add_columns(Mask& mask, unsigned row, std::int64_t first, std::int64_t last) {
    mask.AddSegment(row, static_cast<unsigned>(first), static_cast<unsigned>(last - first));
}

void fill_box(const Box& box, Mask& out) {
    for (std::int64_t y = box.top; y <= box.bottom; ++y)
        add_columns(out, static_cast<unsigned>(y), box.left, box.right);
}

/// From the breast's far edge to the frame's edge at the chest wall, from the frame's top on. The breast's last row
/// stays out.
void fill_up_to_frame(const Box& breast, const Mask& frame, IMAGE_SIDE side, Mask& out) {
    MaskReader rows(frame);
    const auto top = std::min(static_cast<unsigned>(breast.top), frame.GetMinY());
    for (auto y = rows.next_row(top); std::cmp_less(y, breast.bottom); y = rows.next_row(y + 1)) {
        const auto row = static_cast<unsigned>(y);
        const auto runs = rows.row(row);
        if (side == SIDE_CHEST_LEFT) {
            const std::int64_t wall = runs.front().first;
            if (breast.right >= wall) add_columns(out, row, wall, breast.right);
        } else {
            const std::int64_t wall = runs.back().last;
            if (breast.left < wall) add_columns(out, row, breast.left, wall);
        }
    }
}

/// The columns that the bound mask covers in the rows of `box`; `box` gives the rows and the bounds of the whole mask.
void fit_columns(const Mask& bound, IMAGE_SIDE side, Box& box) {
    MaskReader rows(bound);
    std::int64_t& far_end = side == SIDE_CHEST_LEFT ? box.right : box.left;
    far_end = side == SIDE_CHEST_LEFT ? box.left : box.right;
    const auto top = static_cast<std::uint64_t>(box.top);
    for (auto y = rows.next_row(top); std::cmp_less(y, box.bottom) && y < MaskReader::kNoRow;
         y = rows.next_other_row(y)) {
        const auto runs = rows.row(static_cast<unsigned>(y));
        if (side == SIDE_CHEST_LEFT) {
            far_end = std::max<std::int64_t>(far_end, runs.back().last);
        } else {
            far_end = std::min<std::int64_t>(far_end, runs.front().first);
        }
    }
}

void clip_to_image(const Image& image, Box& box) {
    const std::int64_t left = image.GetOffX(), top = image.GetOffY();
    box.left = std::max(box.left, left);
    box.right = std::min(box.right, left + image.GetWidth());
    box.top = std::max(box.top, top);
    box.bottom = std::min(box.bottom, top + image.GetHeight());
}

}  // namespace

PectDetect::PectDetect() { init(); }

void PectDetect::init() {
    imageSide = SIDE_UNDEFINED;
    roiHeightRatio = 0.4F;
}

PectDetect::PECT_STATUS PectDetect::PectSegGenerate(Image* image, Mask* breast, Mask* frame, IMAGE_SIDE side,
                                                    IMAGE_VIEW view, Mask* pect) {
    if (view == VIEW_NO_PECT) return PECT_NOT_APPLICABLE;
    if (side == SIDE_UNDEFINED) return PECT_NO_SIDE;
    if (image == nullptr) return PECT_NO_IMAGE;
    if (is_off_working_pixel_size(image->GetPixelSize())) return PECT_BAD_PIXEL_SIZE;
    if (cannot_be_searched(breast) || cannot_be_searched(frame)) return PECT_BAD_MASK;
    if (!is_usable(image)) return PECT_NO_IMAGE;

    GarbageList scratch;
    const std::unique_ptr<Mask> bound(get_bound_mask(breast, frame, side));
    imageSide = side;
    auto* region = make_scratch<Mask>(scratch);
    const PECT_STATUS status = get_pect_region(image, bound.get(), region);
    // Whatever the status: the caller decides by it whether to use a rejected muscle.
    Utils::MaskIntersect(region, frame, pect);
    return status;
}

PectDetect::PECT_STATUS PectDetect::TissueSegGenerate(Image* image, Mask* breast, Mask* frame, IMAGE_SIDE side,
                                                      IMAGE_VIEW view, Mask* tissue) {
    GarbageList scratch;
    auto* pect = make_scratch<Mask>(scratch);
    const PECT_STATUS status = PectSegGenerate(image, breast, frame, side, view, pect);
    Utils::MaskSubtract(breast, pect, tissue);
    return status;
}

Mask* PectDetect::get_bound_mask(Mask* breast, Mask* frame, IMAGE_SIDE side) {
    if (breast == nullptr || MaskReader::is_empty(*breast)) return nullptr;
    const float grid = breast->GetPixelSize();
    breast->SetTargetPixelSize(grid);
    auto bound = std::make_unique<Mask>();
    bound->SetPixelSize(grid);
    if (frame == nullptr || MaskReader::is_empty(*frame)) {
        fill_box(bounds_of(*breast), *bound);
    } else {
        frame->SetTargetPixelSize(grid);
        fill_up_to_frame(bounds_of(*breast), *frame, side, *bound);
    }
    return bound.release();
}

PectDetect::PECT_STATUS PectDetect::get_pect_region(Image* image, Mask* bound, Mask* pect) {
    if (image == nullptr || bound == nullptr || pect == nullptr) return PECT_BAD_MASK;
    bound->SetTargetPixelSize(image->GetPixelSize());
    Image* cut_out = nullptr;
    const bool has_region = get_roi(image, bound, imageSide, cut_out);
    const std::unique_ptr<Image> roi(cut_out);
    if (!has_region) return PECT_BAD_MASK;

    Image* edges = nullptr;
    const bool has_edges = get_edge(roi.get(), bound, imageSide, edges);
    const std::unique_ptr<Image> edge(edges);
    if (!has_edges) return PECT_NOT_FOUND;

    float rho = 0.0F, theta = 0.0F;
    if (!get_line(edge.get(), imageSide, rho, theta)) return PECT_NOT_FOUND;

    const int dx = static_cast<int>(roi->GetOffX() - image->GetOffX());
    const int dy = static_cast<int>(roi->GetOffY() - image->GetOffY());
    PECT_STATUS status = verify_pect(image, rho, theta, dx, dy, imageSide);
    if (status == PECT_FAIL || status == PECT_WEAK) {
        status = verify_pect_pairwise(image, rho, theta, dx, dy, imageSide);
    }
    generate_pect_mask(image, bound, pect, rho, theta, static_cast<unsigned>(dx), static_cast<unsigned>(dy));
    return status;
}

bool PectDetect::get_edge(Image* roi, Mask* mask, IMAGE_SIDE side, Image*& edge) {
    // The muscle is a bright wedge in the upper corner at the chest wall, so the gradient across its border points up
    // and to the wall; dy / dx of that direction is positive for a wall on the left. Degrees.
    const bool on_right = side == SIDE_CHEST_RIGHT;
    return get_pect_edge(roi, edge, mask, kEdgeMargin, C_EDGE_PRECENTAGE, on_right ? -60 : 0, on_right ? 0 : 60);
}

bool PectDetect::get_roi(Image* image, Mask* bound, IMAGE_SIDE side, Image*& roi) {
    roi = nullptr;
    if (image == nullptr || bound == nullptr) return false;
    bound->SetTargetPixelSize(image->GetPixelSize());
    if (MaskReader::is_empty(*bound)) return false;

    Box box = bounds_of(*bound);
    const float height = static_cast<float>(static_cast<unsigned>(box.bottom - box.top)) * roiHeightRatio;
    box.bottom = box.top + truncate_to<std::int64_t>(static_cast<double>(height));
    fit_columns(*bound, side, box);
    clip_to_image(*image, box);
    if (box.right <= box.left || box.bottom <= box.top) return false;

    const auto width = static_cast<unsigned>(box.right - box.left);
    const auto rows = static_cast<unsigned>(box.bottom - box.top);
    roi = new Image(image->GetFormat(), image->GetBits(), width, rows, true);
    roi->SetOffX(static_cast<unsigned>(box.left));
    roi->SetOffY(static_cast<unsigned>(box.top));
    roi->SetPixelSize(image->GetPixelSize());
    return Utils::ImageCopy(image, roi, roi->GetOffX() - image->GetOffX(), roi->GetOffY() - image->GetOffY(), 0, 0,
                            width, rows) == 0;
}

}  // namespace Norvane

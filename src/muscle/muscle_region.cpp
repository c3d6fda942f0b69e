// SPDX-License-Identifier: Apache-2.0
#include "muscle/muscle_region.h"

#include "imaging/image_copy.h"
#include "model/geometry.h"
#include "model/mask_reader.h"
#include "model/numbers.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Norvane {
namespace {

/// Signed and wide, because differences may be negative.
using Box = Rectangle<std::int64_t>;

Box bounds_of(const Mask& mask) { return {{mask.GetMinX(), mask.GetMaxX()}, {mask.GetMinY(), mask.GetMaxY()}}; }

void fill_box(const Box& box, Mask& out) {
    for (std::int64_t y = box.rows.first; y <= box.rows.last; ++y) add_run(out, y, box.columns);
}

/// Fills from the far edge of the breast to the edge of the frame at the chest wall, starting at the top of the frame.
/// The last row of the breast is left out.
void fill_up_to_frame(const Box& breast, const Mask& frame, IMAGE_SIDE side, Mask& out) {
    MaskReader rows(frame);
    const auto top = std::min<std::int64_t>(breast.rows.first, frame.GetMinY());
    for (auto y = rows.next_row(top); y < breast.rows.last; y = rows.next_row(y + 1)) {
        const auto runs = rows.row(y);
        if (side == SIDE_CHEST_LEFT) {
            const std::int64_t wall = runs.front().first;
            if (breast.columns.last >= wall) add_run(out, y, Interval<std::int64_t>{wall, breast.columns.last});
        } else {
            const std::int64_t wall = runs.back().last;
            if (breast.columns.first < wall) add_run(out, y, Interval<std::int64_t>{breast.columns.first, wall});
        }
    }
}

/// The columns that the bound mask covers in the rows of `box`; `box` gives the rows and the bounds of the whole mask.
void fit_columns(const Mask& bound, IMAGE_SIDE side, Box& box) {
    MaskReader rows(bound);
    auto& [left, right] = box.columns;
    std::int64_t& far_column = side == SIDE_CHEST_LEFT ? right : left;
    far_column = side == SIDE_CHEST_LEFT ? left : right;
    const std::int64_t end = std::min(box.rows.last, MaskReader::kNoRow);
    for (auto y = rows.next_row(box.rows.first); y < end; y = rows.next_other_row(y)) {
        const auto runs = rows.row(y);
        if (side == SIDE_CHEST_LEFT) {
            far_column = std::max<std::int64_t>(far_column, runs.back().last);
        } else {
            far_column = std::min<std::int64_t>(far_column, runs.front().first);
        }
    }
}

void clip_to_image(const Image& image, Box& box) {
    const std::int64_t left = image.GetOffX(), top = image.GetOffY();
    box.columns = box.columns.cut_to({left, left + image.GetWidth()});
    box.rows = box.rows.cut_to({top, top + image.GetHeight()});
}

}  // namespace

bool cannot_be_searched(const Mask* mask) {
    return mask == nullptr || MaskReader::is_empty(*mask) || mask->GetMaxX() <= mask->GetMinX() ||
           mask->GetMaxY() <= mask->GetMinY() || !(mask->GetPixelSize() > 0.0F);
}

std::unique_ptr<Mask> bound_mask(Mask* breast, Mask* frame, IMAGE_SIDE side) {
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
    return bound;
}

MuscleRegion muscle_region(const Image* image, Mask* bound, IMAGE_SIDE side, float height_ratio) {
    if (image == nullptr || bound == nullptr) return {};
    bound->SetTargetPixelSize(image->GetPixelSize());
    if (MaskReader::is_empty(*bound)) return {};

    Box box = bounds_of(*bound);
    const float height = static_cast<float>(static_cast<unsigned>(box.rows.last - box.rows.first)) * height_ratio;
    box.rows.last = box.rows.first + truncate_to<std::int64_t>(double{height});
    fit_columns(*bound, side, box);
    clip_to_image(*image, box);
    const std::int64_t width = box.columns.last - box.columns.first, rows = box.rows.last - box.rows.first;
    if (width <= 0 || rows <= 0) return {};

    MuscleRegion region;
    region.image = std::make_unique<Image>(image->GetFormat(), image->GetBits(), static_cast<unsigned>(width),
                                           static_cast<unsigned>(rows), true);
    Image& cut_out = *region.image;
    cut_out.SetOffX(static_cast<unsigned>(box.columns.first));
    cut_out.SetOffY(static_cast<unsigned>(box.rows.first));
    cut_out.SetPixelSize(image->GetPixelSize());
    region.is_filled =
        Utils::ImageCopy(image, &cut_out, cut_out.GetOffX() - image->GetOffX(), cut_out.GetOffY() - image->GetOffY(), 0,
                         0, cut_out.GetWidth(), cut_out.GetHeight()) == 0;
    return region;
}

}  // namespace Norvane

// SPDX-License-Identifier: Apache-2.0
#include "checks/quality_checks.h"

#include "imaging/ipl_bridge.h"
#include "imaging/mask_utils.h"
#include "model/geometry.h"
#include "model/grey_statistics.h"
#include "model/mask_reader.h"
#include "model/pixels.h"
#include "model/scratch.h"
#include "model/working_image.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

namespace Norvane {
namespace {

using Levels = Interval<std::uint32_t>;  // grey levels

constexpr unsigned kLargestRatio = 60;  // image to breast

// Background beside the breast
constexpr int kStripWidth = 101;  // columns measured
constexpr int kFarMargin = 60;    // columns kept from the frame's far edge
constexpr Levels kBackgroundLevels{0, Masking::c_bg_noise_upper_level - 1};
constexpr double kBackgroundLimit = 0.95;  // as a share of the noise level

// Cut tissue
constexpr int kRingWidth = 24;  // pixels inside and outside the breast's outline
constexpr int kFoot = 72;       // rows above the frame's last row that are not measured
constexpr Micrometres kTopMargin{3000.0};
constexpr Micrometres kWallMargin{3000.0};
constexpr Micrometres kWallMarginMuscle{15000.0};  // the same if the muscle lies along the wall
constexpr double kAlikeFrom = 0.85;                // outside is as bright as inside from this share of its mean ...
constexpr double kAlikeTo = 1.15;                  // ... to this one
constexpr double kAboveNoise = 1.05;               // as a multiple of the noise level
constexpr unsigned kBelowFrame = Masking::P_FRAME - 1;

using Span = Interval<std::int64_t>;  // columns or rows

/// Adds the pixels with these grey levels. Columns outside the image are left out.
void add_within(std::span<const std::uint16_t> row, const Span& columns, const Levels& levels, GreyStatistics& grey) {
    grey.add_within(part_of(row, columns.cut_to({0, std::ssize(row) - 1})), levels);
}

Span rows_in_image(const Image& image, const Span& rows) {
    return rows.cut_to({0, std::int64_t{image.GetHeight()} - 1});
}

/// The background strip of a row: next to the breast, on the side away from the wall.
Span background_strip(std::span<const Run> breast, std::int64_t limit, IMAGE_SIDE side) {
    if (side == SIDE_CHEST_RIGHT) {
        const std::int64_t start = static_cast<int>(breast.front().first);
        return {std::max(start - kStripWidth, limit), std::max(start - 1, limit)};
    }
    const std::int64_t end = static_cast<int>(breast.back().last);
    return {std::min(end + 1, limit), std::min(end + kStripWidth, limit)};
}

/// What the bands of the cut-tissue check have in common. Rows and columns of the image, signed.
struct Bands {
    std::array<std::int64_t, 5> rows;  // band j reaches from rows[j - 1] to rows[j], both included
    std::array<double, 4> weights;     // with more outside pixels per inside pixel than this, a band is suspect
    Interval<unsigned> examined;
};

std::int64_t foot_row(const Mask& frame) {
    const std::int64_t last = rows_of(frame).last;
    return last > kFoot ? last - kFoot : last;
}

/// In a view with muscle, the upper third is not examined, because the muscle continues outside the breast there.
Bands bands_of(const Image& image, IMAGE_VIEW view, const Mask& breast, const Mask& frame, const Mask& outside) {
    Bands bands{.rows = {}, .weights = {}, .examined = {1, 4}};
    std::int64_t top_margin = pixels_for(kTopMargin, image.GetPixelSize());
    if (view == VIEW_PECT) {
        bands.examined = {2, 3};
        bands.weights = {0.45, 0.25, 0.25, 0.0};
        top_margin *= 3;
    } else if (view == VIEW_NO_PECT) {
        bands.weights = {0.35, 0.25, 0.25, 0.35};
    }
    const unsigned count = bands.examined.last;
    const unsigned step = (breast.GetMaxY() - breast.GetMinY()) / count;
    bands.rows[0] = std::max<std::int64_t>(rows_of(outside).first, rows_of(frame).first + top_margin);
    for (unsigned i = 1; i < count; ++i) bands.rows.at(i) = static_cast<int>(breast.GetMinY() + i * step);
    bands.rows.at(count) = std::min<std::int64_t>(rows_of(outside).last, foot_row(frame));
    return bands;
}

/// The columns that are far enough from the chest wall.
Span columns_off_wall(const Image& image, IMAGE_SIDE side, IMAGE_VIEW view, const Mask& frame) {
    const std::int64_t margin = pixels_for(view == VIEW_PECT ? kWallMarginMuscle : kWallMargin, image.GetPixelSize());
    const std::int64_t left = columns_of(frame).first, right = columns_of(frame).last;
    Span columns{0, std::int64_t{image.GetWidth()} - 1};
    if (side == SIDE_CHEST_LEFT) columns.first = std::min(left + margin, right);
    if (side == SIDE_CHEST_RIGHT) columns.last = left + margin >= right ? left : right - margin;
    return columns;
}

/// The pixels of a ring with these grey levels, inside the given rows and columns of the image.
GreyStatistics measure(const Image& image, const Mask& ring, const Rectangle<std::int64_t>& part,
                       const Levels& levels) {
    GreyStatistics sum;
    MaskReader reader(ring);
    for (std::int64_t y = part.rows.first; y <= part.rows.last; ++y) {
        const auto row = grey_row(image, y);
        for (const Run& run : reader.row(y)) {
            const Span columns{static_cast<int>(run.first), static_cast<int>(run.last)};
            add_within(row, columns.cut_to(part.columns), levels, sum);
        }
    }
    return sum;
}

/// Whether many pixels outside are about as bright as those inside and clearly brighter than the background.
bool is_cut(const GreyStatistics& inside, const GreyStatistics& outside, double weight, double noise_level) {
    return inside.count() > 0 && outside.size() > inside.size() * weight &&
           outside.mean() > kAlikeFrom * inside.mean() && outside.mean() < kAlikeTo * inside.mean() &&
           outside.mean() > kAboveNoise * noise_level;
}

/// The rings just inside and just outside the breast's outline, cut to the frame.
struct Rings {
    Mask* inside;
    Mask* outside;
};

/// Morphology accepts all images of masks. If it refuses one as unsupported, memory has run out.
void expect_morphology(int code) {
    if (code == Utils::kUnsupportedImage) Utils::expect_memory(Utils::kOutOfMemory);
}

Rings rings_of(Mask* breast, Mask* frame, GarbageList& scratch) {
    const auto new_mask = [&] {
        auto* mask = make_scratch<Mask>(scratch);
        mask->SetPixelSize(breast->GetPixelSize());
        return mask;
    };
    Mask *dilated = new_mask(), *outer = new_mask(), *outside = new_mask();
    expect_morphology(Utils::MaskDilate(breast, dilated, kRingWidth));
    Utils::MaskSubtract(dilated, breast, outer);
    Utils::MaskIntersect(outer, frame, outside);
    Mask *eroded = new_mask(), *inner = new_mask(), *inside = new_mask();
    expect_morphology(Utils::MaskErode(breast, eroded, kRingWidth));
    Utils::MaskSubtract(breast, eroded, inner);
    Utils::MaskIntersect(inner, frame, inside);
    return {inside, outside};
}

}  // namespace

Masking::MASK_STATUS check_shape(const Image& image, const Mask& breast, double area) {
    constexpr double kWholeImageRatio = 1.25;
    constexpr double kRectangleFill = double{0.88F};  // of the bounding box
    const double ratio = image.GetWidth() * image.GetHeight() / area;
    if (ratio > kLargestRatio) return Masking::MASK_TOO_SMALL;
    const unsigned box = (breast.GetMaxX() - breast.GetMinX()) * (breast.GetMaxY() - breast.GetMinY());
    // If the breast fills the image and its own bounding box, the search found no outline.
    if (ratio < kWholeImageRatio && area > kRectangleFill * box) return Masking::MASK_BAD_SHAPE;
    return Masking::MASK_OK;
}

bool is_small(const std::vector<int>& points, const Image& image) {
    constexpr int kBeyondImages = 99999;
    std::array<Interval<int>, 2> box;
    box.fill({kBeyondImages, 0});
    for (std::size_t i = 0; i < points.size(); ++i)
        box.at(i % 2) = {std::min(box.at(i % 2).first, points[i]), std::max(box.at(i % 2).last, points[i])};
    const auto extent = [](const Interval<int>& v) {
        return static_cast<unsigned>(v.last) - static_cast<unsigned>(v.first);
    };
    return extent(box[0]) * extent(box[1]) < image.GetWidth() * image.GetHeight() / kLargestRatio;
}

Masking::MASK_STATUS check_background(const Image* image, const Mask* breast, const Mask* frame, IMAGE_SIDE side,
                                      std::uint16_t noise_level) {
    if (!has_wall(side) || !is_usable(image) || breast == nullptr || frame == nullptr) return Masking::MASK_OK;
    const Interval<std::int64_t> field{columns_of(*frame).first, columns_of(*frame).last};
    const std::int64_t limit = side == SIDE_CHEST_RIGHT ? field.first + kFarMargin : field.last - kFarMargin;
    GreyStatistics background;
    MaskReader reader(*breast);
    const Span rows = rows_in_image(*image, {rows_of(*breast).first, rows_of(*breast).last});
    for (std::int64_t y = rows.first; y <= rows.last; ++y) {
        const auto runs = reader.row(y);
        if (runs.empty()) continue;
        add_within(grey_row(*image, y), background_strip(runs, limit, side), kBackgroundLevels, background);
    }
    if (background.count() == 0) return Masking::MASK_OK;
    return background.mean() > kBackgroundLimit * noise_level ? Masking::MASK_BG_NOISE : Masking::MASK_OK;
}

Masking::MASK_STATUS check_for_cut_tissue(const Image* image, Mask* breast, Mask* frame, const Masking::Params& params,
                                          std::uint16_t noise_level) {
    if (breast == nullptr || MaskReader::is_empty(*breast) || breast->GetMinY() >= breast->GetMaxY())
        return Masking::MASK_NO_MASK;
    if (!is_usable(image) || frame == nullptr) return Masking::MASK_OK;
    GarbageList scratch;
    const Rings rings = rings_of(breast, frame, scratch);
    const Bands bands = bands_of(*image, params.view, *breast, *frame, *rings.outside);
    const Span columns = columns_off_wall(*image, params.side, params.view, *frame);
    const Levels inside_levels{noise_level + 1U, kGreyLevels - 1}, outside_levels{noise_level + 1U, kBelowFrame};
    bool cut = false;
    for (unsigned band = bands.examined.first; band <= bands.examined.last; ++band) {
        const Span rows = rows_in_image(*image, {bands.rows.at(band - 1), bands.rows.at(band)});
        const GreyStatistics inside = measure(*image, *rings.inside, {columns, rows}, inside_levels);
        const GreyStatistics outside = measure(*image, *rings.outside, {columns, rows}, outside_levels);
        cut = cut || is_cut(inside, outside, bands.weights.at(band - 1), noise_level);
    }
    return cut ? Masking::MASK_CUT_TISSUE : Masking::MASK_OK;
}

}  // namespace Norvane

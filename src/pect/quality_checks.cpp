// SPDX-License-Identifier: Apache-2.0
// Plausibility of a finished mask: is the background beside the breast really dark, and was tissue left outside?
#include <norvane/masking.h>

#include "imaging/ipl_bridge.h"
#include "imaging/mask_utils.h"
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

// Background beside the breast
constexpr int kStripWidth = 101;           // columns measured
constexpr int kFarMargin = 60;             // columns kept from the frame's far edge
constexpr double kBackgroundLimit = 0.95;  // of the noise level

// Cut tissue
constexpr int kRingWidth = 24;                 // pixels inside and outside the breast's outline
constexpr int kFoot = 72;                      // rows above the frame's last row that are not measured
constexpr double kTopMargin = 3000.0;          // micrometres
constexpr double kWallMargin = 3000.0;         // micrometres
constexpr double kWallMarginMuscle = 15000.0;  // the same where the muscle lies along the wall
constexpr double kAlikeFrom = 0.85;            // of the mean inside: from here ...
constexpr double kAlikeTo = 1.15;              // ... to here the outside is as bright
constexpr double kAboveNoise = 1.05;           // of the noise level

/// Columns first .. last, both in.
struct Span {
    std::int64_t first, last;
};

struct Sum {
    std::uint64_t count = 0;
    std::uint64_t total = 0;

    [[nodiscard]] double mean() const { return static_cast<double>(total) / static_cast<double>(count); }
};

/// Adds the pixels strictly between the two levels; columns outside the image are passed over.
void add_between(std::span<const std::uint16_t> row, const Span& span, int above, int below, Sum& sum) {
    const auto end = static_cast<std::size_t>(
        std::max<std::int64_t>(0, std::min(span.last + 1, static_cast<std::int64_t>(row.size()))));
    for (auto x = static_cast<std::size_t>(std::max<std::int64_t>(span.first, 0)); x < end; ++x) {
        if (row[x] <= above || row[x] >= below) continue;
        ++sum.count;
        sum.total += row[x];
    }
}

/// Rows first .. last without those outside the image.
Span rows_in_image(const Image& image, std::int64_t first, std::int64_t last) {
    return {std::max<std::int64_t>(first, 0), std::min<std::int64_t>(last, std::int64_t{image.GetHeight()} - 1)};
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
    std::array<std::int64_t, 5> rows;  // band j lies between rows j - 1 and j, both in
    std::array<double, 4> weights;     // outside pixels per inside pixel from which a band is suspect
    int first, last;                   // bands examined
};

int margin_of(double micrometres, const Image& image) { return pixels_for(micrometres, image.GetPixelSize()); }

std::int64_t foot_row(const Mask& frame) {
    const std::int64_t last = static_cast<int>(frame.GetMaxY());
    return last > kFoot ? last - kFoot : last;
}

/// The upper third of a view with muscle is not examined: there the muscle goes on outside the breast.
Bands bands_of(const Image& image, IMAGE_VIEW view, const Mask& breast, const Mask& frame, const Mask& outside) {
    Bands bands{{}, {}, 1, 4};
    std::int64_t top_margin = margin_of(kTopMargin, image);
    if (view == VIEW_PECT) {
        bands.first = 2;
        bands.last = 3;
        bands.weights = {0.45, 0.25, 0.25, 0.0};
        top_margin *= 3;
    } else if (view == VIEW_NO_PECT) {
        bands.weights = {0.35, 0.25, 0.25, 0.35};
    }
    const auto count = static_cast<unsigned>(bands.last);
    const unsigned step = (breast.GetMaxY() - breast.GetMinY()) / count;
    bands.rows[0] =
        std::max<std::int64_t>(static_cast<int>(outside.GetMinY()), static_cast<int>(frame.GetMinY()) + top_margin);
    for (unsigned i = 1; i < count; ++i) bands.rows.at(i) = static_cast<int>(breast.GetMinY() + i * step);
    bands.rows.at(count) = std::min<std::int64_t>(static_cast<int>(outside.GetMaxY()), foot_row(frame));
    return bands;
}

/// The columns that are far enough from the chest wall.
Span columns_off_wall(const Image& image, IMAGE_SIDE side, IMAGE_VIEW view, const Mask& frame) {
    const std::int64_t margin = margin_of(view == VIEW_PECT ? kWallMarginMuscle : kWallMargin, image);
    const std::int64_t left = static_cast<int>(frame.GetMinX()), right = static_cast<int>(frame.GetMaxX());
    Span columns{0, std::int64_t{image.GetWidth()} - 1};
    if (side == SIDE_CHEST_LEFT) columns.first = std::min(left + margin, right);
    if (side == SIDE_CHEST_RIGHT) columns.last = left + margin >= right ? left : right - margin;
    return columns;
}

/// A ring's pixels between the two levels, in rows and columns of the image.
Sum measure(const Image& image, const Mask& ring, const Span& rows, const Span& columns, int above, int below) {
    Sum sum;
    MaskReader reader(ring);
    for (std::int64_t y = rows.first; y <= rows.last; ++y) {
        const auto row = grey_row(image, static_cast<unsigned>(y));
        for (const Run& run : reader.row(static_cast<unsigned>(y))) {
            add_between(row,
                        {std::max<std::int64_t>(static_cast<int>(run.first), columns.first),
                         std::min<std::int64_t>(static_cast<int>(run.last), columns.last)},
                        above, below, sum);
        }
    }
    return sum;
}

/// Many pixels outside, about as bright as those inside and clearly brighter than the background.
bool is_cut(const Sum& inside, const Sum& outside, double weight, double noise_level) {
    return inside.count > 0 && static_cast<double>(outside.count) > static_cast<double>(inside.count) * weight &&
           outside.mean() > kAlikeFrom * inside.mean() && outside.mean() < kAlikeTo * inside.mean() &&
           outside.mean() > kAboveNoise * noise_level;
}

/// The rings just inside and just outside the breast's outline, cut to the frame.
struct Rings {
    Mask* inside;
    Mask* outside;
};

/// The images of masks are of a kind that morphology takes: when it says otherwise, memory was wanting.
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

Masking::MASK_STATUS Masking::check_bg_noise(Image* image, Mask*& breast, Mask*& frame) {
    if (!is_usable(image) || breast == nullptr || frame == nullptr || MaskReader::is_empty(*frame)) return MASK_OK;
    std::int64_t limit = 0;
    if (params.side == SIDE_CHEST_RIGHT) {
        limit = std::int64_t{static_cast<int>(frame->GetMinX())} + kFarMargin;
    } else if (params.side == SIDE_CHEST_LEFT) {
        limit = std::int64_t{static_cast<int>(frame->GetMaxX())} - kFarMargin;
    } else {
        return MASK_OK;
    }
    Sum background;
    MaskReader reader(*breast);
    const Span rows = rows_in_image(*image, static_cast<int>(breast->GetMinY()), static_cast<int>(breast->GetMaxY()));
    for (std::int64_t y = rows.first; y <= rows.last; ++y) {
        const auto runs = reader.row(static_cast<unsigned>(y));
        if (runs.empty()) continue;
        add_between(grey_row(*image, static_cast<unsigned>(y)), background_strip(runs, limit, params.side), -1,
                    c_bg_noise_upper_level, background);
    }
    if (background.count == 0) return MASK_OK;
    return background.mean() > kBackgroundLimit * backgroundNoiseLevel ? MASK_BG_NOISE : MASK_OK;
}

Masking::MASK_STATUS Masking::check_cut_tissue(Image* image, Mask*& breast, Mask*& frame) {
    if (breast == nullptr || MaskReader::is_empty(*breast) || breast->GetMinY() >= breast->GetMaxY())
        return MASK_NO_MASK;
    if (!is_usable(image) || frame == nullptr) return MASK_OK;
    GarbageList scratch;
    const Rings rings = rings_of(breast, frame, scratch);
    const Bands bands = bands_of(*image, params.view, *breast, *frame, *rings.outside);
    const Span columns = columns_off_wall(*image, params.side, params.view, *frame);
    const int noise_level = backgroundNoiseLevel;
    bool cut = false;
    for (int j = bands.first; j <= bands.last; ++j) {
        const auto band = static_cast<std::size_t>(j);
        const Span rows = rows_in_image(*image, bands.rows.at(band - 1), bands.rows.at(band));
        const Sum inside = measure(*image, *rings.inside, rows, columns, noise_level, 65536);
        const Sum outside = measure(*image, *rings.outside, rows, columns, noise_level, P_FRAME);
        cut = cut || is_cut(inside, outside, bands.weights.at(band - 1), noise_level);
    }
    return cut ? MASK_CUT_TISSUE : MASK_OK;
}

}  // namespace Norvane

// SPDX-License-Identifier: Apache-2.0
#include "findings/noise_choice.h"

#include "findings/grey_rows.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <vector>

namespace Norvane::Host {
namespace {

// Grey levels of the prepared image, 0 to 65535.
constexpr double kFlatDeviation = 64.0;
constexpr double kNearlyMinimum = 64.0;
constexpr double kBackgroundSpread = 1000.0;  // brighter than the darkest square by up to this: background
// Black film may be clipped to 0 in some places. The background of a digital image is flat nearly everywhere.
constexpr double kFlatShare = 0.5;
// Clipped film fades gradually into black. In a digital image, black ends at the skin line with a step.
constexpr std::uint16_t kDim = 2560;  // ten levels of an 8-bit image
constexpr double kDimShare = 0.039;   // largest share of not quite black ones among the background up to kDim
// A square's side as a share of the shorter side of the image.
constexpr unsigned kSquareFraction = 10;

struct Region {
    double mean;
    double deviation;
};

Region measure(const Image& image, unsigned x0, unsigned y0, unsigned size) {
    double sum = 0.0;
    double squares = 0.0;
    for (unsigned y = y0; y < y0 + size; ++y) {
        for (const std::uint16_t grey : grey_row(image, y).subspan(x0, size)) {
            sum += grey;
            squares += static_cast<double>(grey) * grey;
        }
    }
    const double n = static_cast<double>(size) * size;
    const double mean = sum / n;
    return {mean, std::sqrt(std::max(squares / n - mean * mean, 0.0))};
}

// Squares along the four borders in two rows, because the outer ones may lie on a frame.
std::vector<Region> border_regions(const Image& image) {
    const unsigned width = image.GetWidth();
    const unsigned height = image.GetHeight();
    const unsigned size = std::max(std::min(width, height) / kSquareFraction, 1U);
    std::vector<Region> regions;
    for (unsigned near = 0; near < 2 * size; near += size) {
        const unsigned far = near + size;
        for (unsigned x = 0; x + size <= width; x += size) {
            regions.push_back(measure(image, x, near, size));
            regions.push_back(measure(image, x, height - far, size));
        }
        for (unsigned y = 0; y + size <= height; y += size) {
            regions.push_back(measure(image, near, y, size));
            regions.push_back(measure(image, width - far, y, size));
        }
    }
    return regions;
}

double minimum_of(const Image& image) {
    std::uint16_t least = std::numeric_limits<std::uint16_t>::max();
    for (unsigned y = 0; y < image.GetHeight(); ++y) least = std::min(least, std::ranges::min(grey_row(image, y)));
    return least;
}

/// The dark pixels that are connected to a border other than the chest wall. Dark fat inside the breast is not among
/// them. A frame does not interrupt the connection.
class DarkBackground {
public:
    DarkBackground(const Image& prepared, IMAGE_SIDE side, double least)
        : image(prepared),
          width(prepared.GetWidth()),
          height(prepared.GetHeight()),
          blackest(static_cast<unsigned>(least + kNearlyMinimum)),
          darkest(static_cast<unsigned>(least) + kDim),
          is_seen(std::size_t{width} * height) {
        take_from_row(0, {0, width - 1});
        take_from_row(height - 1, {0, width - 1});
        const unsigned free_column = side == SIDE_CHEST_LEFT ? width - 1 : 0;
        for (unsigned y = 0; y < height; ++y) take_from_row(y, {free_column, free_column});
        while (!open.empty()) {
            const auto [y, columns] = open.back();
            open.pop_back();
            if (y > 0) take_from_row(y - 1, columns);
            if (y + 1 < height) take_from_row(y + 1, columns);
        }
    }

    /// The share of these pixels that is not quite black; 1 if there are none.
    [[nodiscard]] double dim_share() const {
        return dark > 0 ? 1.0 - static_cast<double>(black) / static_cast<double>(dark) : 1.0;
    }

private:
    struct Columns {
        unsigned first, last;
    };

    [[nodiscard]] bool is_passable(std::uint16_t grey) const { return grey <= darkest || grey >= Masking::P_FRAME; }

    // Takes all runs of row `y` that pass through one of the columns, as far as they reach to both sides.
    void take_from_row(unsigned y, const Columns& columns) {
        const std::span<const std::uint16_t> greys = grey_row(image, y);
        const std::span seen(&is_seen[std::size_t{y} * width], width);
        const auto is_free = [&](unsigned x) { return seen[x] == 0 && is_passable(greys[x]); };
        for (unsigned x = columns.first; x <= columns.last; ++x) {
            if (!is_free(x)) continue;
            unsigned first = x;
            while (first > 0 && is_free(first - 1)) --first;
            while (x + 1 < width && is_free(x + 1)) ++x;
            take({y, {first, x}}, greys.subspan(first, x - first + 1), seen.subspan(first, x - first + 1));
        }
    }
    struct Run {
        unsigned row;
        Columns columns;
    };
    void take(const Run& run, std::span<const std::uint16_t> greys, std::span<std::uint8_t> seen) {
        std::ranges::fill(seen, std::uint8_t{1});
        for (const std::uint16_t grey : greys) {
            dark += grey <= darkest ? 1 : 0;
            black += grey <= blackest ? 1 : 0;
        }
        open.push_back(run);
    }

    const Image& image;
    unsigned width, height;
    unsigned blackest, darkest;  // grey levels
    std::vector<std::uint8_t> is_seen;
    std::vector<Run> open;  // their neighbours in the rows above and below have not been taken yet
    std::size_t dark = 0, black = 0;
};

}  // namespace

Sourced<BG_NOISE> choose_noise(const Image& prepared, IMAGE_SIDE side) {
    const double least = minimum_of(prepared);
    const std::vector<Region> regions = border_regions(prepared);
    const Region darkest = *std::ranges::min_element(regions, {}, &Region::mean);
    const auto is_background = [&](const Region& r) { return r.mean <= darkest.mean + kBackgroundSpread; };
    const auto is_flat = [&](const Region& r) {
        return r.deviation <= kFlatDeviation && r.mean <= least + kNearlyMinimum;
    };
    const auto background = std::ranges::count_if(regions, is_background);
    const auto flat = std::ranges::count_if(regions, is_flat);
    const double dim_share = DarkBackground(prepared, side, least).dim_share();
    const std::string measured = fmt::format(
        "{} of {} dark regions at the border are flat; darkest region at grey level {}, darkest pixel at {}; {:.1f} % "
        "of the dark pixels around the breast are not black",
        flat, background, std::lround(darkest.mean), std::lround(least), 100.0 * dim_share);
    if (is_flat(darkest) && static_cast<double>(flat) >= kFlatShare * static_cast<double>(background) &&
        dim_share <= kDimShare) {
        return {BG_MG, "black, flat background (" + measured + ")"};
    }
    return {BG_AUTO_COARSE, "uneven background as on film (" + measured + ")"};
}

}  // namespace Norvane::Host

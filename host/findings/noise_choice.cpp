// SPDX-License-Identifier: Apache-2.0
#include "findings/noise_choice.h"

#include "findings/grey_rows.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
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
          blackest(least + kNearlyMinimum),
          darkest(least + kDim),
          is_seen(std::size_t{width} * height, false) {
        for (unsigned x = 0; x < width; ++x) {
            visit(x, 0);
            visit(x, height - 1);
        }
        for (unsigned y = 0; y < height; ++y) visit(side == SIDE_CHEST_LEFT ? width - 1 : 0, y);
        while (!open.empty()) {
            const auto [x, y] = open.back();
            open.pop_back();
            if (x > 0) visit(x - 1, y);
            if (x + 1 < width) visit(x + 1, y);
            if (y > 0) visit(x, y - 1);
            if (y + 1 < height) visit(x, y + 1);
        }
    }

    /// The share of these pixels that is not quite black; 1 if there are none.
    [[nodiscard]] double dim_share() const {
        return dark > 0 ? 1.0 - static_cast<double>(black) / static_cast<double>(dark) : 1.0;
    }

private:
    void visit(unsigned x, unsigned y) {
        const std::size_t at = std::size_t{y} * width + x;
        if (is_seen[at]) return;
        const std::uint16_t grey = grey_row(image, y)[x];
        const bool is_dark = grey <= darkest;
        if (!is_dark && grey < Masking::P_FRAME) return;
        is_seen[at] = true;
        open.emplace_back(x, y);
        if (is_dark) ++dark;
        if (grey <= blackest) ++black;
    }

    const Image& image;
    unsigned width, height;
    double blackest, darkest;
    std::vector<bool> is_seen;
    std::vector<std::pair<unsigned, unsigned>> open;
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

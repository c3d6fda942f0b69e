// SPDX-License-Identifier: Apache-2.0
/// Searches for the contour along rays.
#include "contour/contour_search.h"
#include "contour/contour_smoothing.h"
#include "contour/tissue_rules.h"
#include "model/mask_reader.h"
#include "model/numbers.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace Norvane {
namespace {

constexpr int kRays = 360;        // half a degree apart, from straight down to half a degree short of straight up
constexpr int kHorizontal = 180;  // the ray straight into the breast
constexpr float kRaysPerRadian = 114.59156F;
constexpr SmoothingWindows kRayWindows{64, 8, 32};

using Columns = Interval<std::int64_t>;  // the columns that the field allows in a row
constexpr Columns kNoColumns{0, -1};

/// The columns of each image row that rays may sample: from the first run of the row to its last. If a row of the field
/// has no runs, the bounding columns of the field.
std::vector<Columns> field_columns(const Mask& frame, int width, int height) {
    std::vector<Columns> columns(static_cast<std::size_t>(height), kNoColumns);
    if (MaskReader::is_empty(frame)) return columns;
    MaskReader reader(frame);
    const Row<Columns> by_row{columns};
    const Columns box{frame.GetMinX(), frame.GetMaxX()};
    const std::int64_t last_row = std::min<std::int64_t>(frame.GetMaxY(), height - 1);
    for (std::int64_t y = frame.GetMinY(); y <= last_row; ++y) {
        const auto runs = reader.row(y);
        Columns& span = by_row[y];
        span = runs.empty() ? box : Columns{runs.front().first, runs.back().last};
        span.last = std::min<std::int64_t>(span.last, width - 1);
    }
    return columns;
}

/// Distance from the origin to the farther of the field's two corners opposite the wall, rounded.
std::int64_t longest_ray(const Mask& frame, const PolarOrigin& origin) {
    const double far_column = origin.outward > 0 ? frame.GetMaxX() : frame.GetMinX();
    const double dx = far_column - origin.edge_column;
    std::int64_t longest = 0;
    for (const double corner_row : {frame.GetMinY(), frame.GetMaxY()}) {
        const double dy = corner_row - origin.row;
        const float distance = static_cast<float>(std::sqrt(dx * dx + dy * dy));
        longest = std::max(longest, truncate_to<std::int64_t>(double{distance} + 0.5));
    }
    return longest;
}

/// The steps of one ray: where it samples the image at distance r.
struct Ray {
    const PolarOrigin& origin;
    int upward;  // +1: the ray points above the centre row or along it; -1: below
    double sine;
    double cosine;

    Ray(const PolarOrigin& from, int i) : origin(from), upward(i < kHorizontal ? -1 : 1) {
        const float angle = static_cast<float>(std::abs(kHorizontal - i)) / kRaysPerRadian;
        sine = std::sin(double{angle});
        cosine = std::cos(double{angle});
    }
    [[nodiscard]] std::int64_t row(std::int64_t r) const {
        return origin.row - upward * truncate_to<std::int64_t>(static_cast<double>(r) * sine + 0.5);
    }
    [[nodiscard]] std::int64_t columns_from_wall(std::int64_t r) const {
        return truncate_to<std::int64_t>(static_cast<double>(r) * cosine + 0.5);
    }
    /// Rays never turn back, so after the far border of the image nothing follows.
    [[nodiscard]] bool has_left(std::int64_t x, std::int64_t y, int width, int height) const {
        return (origin.outward > 0 ? x >= width : x < 0) || (upward > 0 ? y < 0 : y >= height);
    }
};

/// The data that all rays of a search share.
struct RaySearch {
    const SearchImages& images;
    const PolarOrigin& origin;
    const TissueRules& tissue;
    const std::vector<Columns>& columns;
    std::int64_t longest;
    std::uint16_t tolerance;

    /// The distance of the last tissue sample along `ray`; 0 if there is none.
    [[nodiscard]] float radius(const Ray& ray, RowRules rules) const {
        const int far_distance = two_thirds_of(images.width());
        Direction direction(tolerance);
        for (std::int64_t r = 0; r < longest && direction.tolerance != 0; ++r) {
            const std::int64_t y = ray.row(r);
            const std::int64_t from_wall = ray.columns_from_wall(r);
            const std::int64_t x = origin.edge_column + origin.outward * from_wall;
            if (ray.has_left(x, y, images.width(), images.height())) break;
            if (y < 0 || y >= images.height() || x < 0 || !Row<const Columns>(columns)[y].has(x)) continue;

            const std::uint16_t grey = images.grey_at(y)[x];
            const std::uint16_t searched = images.searched_at(y)[x];
            const bool raised = rules.raises_near_wall && from_wall < origin.near_wall_width;
            if (!tissue.is_tissue(direction, searched, raised, rules)) {
                --direction.tolerance;
                continue;
            }
            direction.radius = static_cast<float>(r);
            if (!rules.stops_at_edges) continue;
            tissue.note(
                direction, grey, tissue.of(ray_gradient(direction.history, grey)),
                {.is_raised = raised, .is_beyond_gate = r > origin.gate_distance, .is_far_off = r > far_distance});
        }
        return direction.radius;
    }
};

/// Puts the rays into the order of the contour: counter-clockwise from the +x direction, half a degree per entry. The
/// half-plane beyond the wall stays 0.
void lay_out(const std::vector<float>& radii, IMAGE_SIDE side, std::vector<float>& contour) {
    constexpr std::size_t kHalf = kHorizontal;
    if (side == SIDE_CHEST_LEFT) {
        for (std::size_t k = 0; k < kHalf; ++k) {
            contour[k] = radii[kHalf + k];
            contour[3 * kHalf + k] = radii[k];
        }
    } else {
        for (std::size_t k = 0; k < kRays; ++k) contour[kHalf + k] = radii[kRays - 1 - k];
    }
}

}  // namespace

std::vector<float> contour_along_rays(const SearchImages& images, const Mask& frame, const SearchRules& rules) {
    const PolarOrigin origin(rules.state, rules.params.side);
    std::vector<float> contour(Masking::c_num_angles, 0.0F);
    if (origin.outward != 0) {
        const TissueRules tissue(rules.settings, rules.params, rules.state);
        const auto columns = field_columns(frame, images.width(), images.height());
        const RaySearch rays{images, origin, tissue, columns, longest_ray(frame, origin), rules.settings.tolerance};
        std::vector<float> radii;
        for (int i = 0; i < kRays; ++i) {
            const Ray ray(origin, i);
            radii.push_back(rays.radius(ray, ray_rules(rules.params, rules.settings, ray.upward > 0)));
        }
        lay_out(radii, rules.params.side, contour);
    }
    fill_contour_gaps(contour, rules.params.view);
    std::vector<float> no_outer;
    smooth_outline(contour, no_outer, smoothing_of(rules.params, kRayWindows));
    return contour;
}

}  // namespace Norvane

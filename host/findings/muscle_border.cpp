// SPDX-License-Identifier: Apache-2.0
#include "findings/muscle_border.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace Norvane::Host {
namespace {

using Scale = SampledProfiles::Scale;

constexpr double kProfileStep = 4.0;  // pixels from profile to profile along the line

// What a border gains by the contrast of one band on one scale, in units of the typical contrast. The gain is linear
// up to three times the typical contrast. Up to the typical contrast it is steeper or flatter.
struct BandWeight {
    Scale scale;
    std::size_t steps;  // of kOffsetStep pixels
    double gain, gain_up_to_typical;
};
constexpr std::array<BandWeight, 8> kBandWeights{{{Scale::kLinear, 2, -0.434, -0.340},
                                                  {Scale::kLinear, 5, -0.321, 0.455},
                                                  {Scale::kLinear, 10, 0.780, 0.671},
                                                  {Scale::kLinear, 20, 1.145, 0.781},
                                                  {Scale::kLogarithmic, 2, 0.272, 0.060},
                                                  {Scale::kLogarithmic, 5, 0.893, 0.795},
                                                  {Scale::kLogarithmic, 10, 0.584, -0.129},
                                                  {Scale::kLogarithmic, 20, -1.133, -0.167}}};

// What a border gains by its offset from the line, as a polynomial of its place along the line (0: top, 1: wall).
// Offsets are measured in depths. The depth is the distance of the corner from the line.
struct OffsetWeights {
    double constant, linear, square;
};
constexpr OffsetWeights kSigned{-0.332, -1.190, -1.200};  // lower ends lie inside the line
constexpr OffsetWeights kSquared{-1.964, -0.576, -0.395};
constexpr OffsetWeights kAbsolute{-4.384, -0.815, 0.0};
constexpr double kBeyondImage = 1.755;
constexpr double kBeyondSkin = 0.394;

constexpr float kChangeCost = 0.5F;
constexpr std::size_t kLargestChange = 3;
constexpr double kReachInside = 0.5, kReachOutside = 0.35;  // of the depth
constexpr double kBeforeTop = 0.25, kBeyondWall = 0.5;      // how far profiles go on beyond the line, in depths

double value_at(const OffsetWeights& weights, double place) {
    return weights.constant + (weights.linear + weights.square * place) * place;
}

// std::clamp() returns a reference, which keeps loops from being vectorised.
float within(float value, float low, float high) {
    const float raised = value < low ? low : value;
    return high < raised ? high : raised;
}

// The line, the profiles across it and their places along it.
struct LineProfiles {
    double depth = 0.0;
    OffsetRange range{};
    std::vector<Profile> profiles;
    std::vector<double> places;
    GridPoint along{};
};

LineProfiles profiles_across(const MuscleLine& line, double height) {
    LineProfiles result;
    const double length = std::hypot(line.top_x, line.wall_y);
    result.depth = line.top_x * line.wall_y / length;
    result.along = {-line.top_x / length, line.wall_y / length};
    const GridPoint outwards{line.wall_y / length, line.top_x / length};
    const int inside = static_cast<int>(kReachInside * result.depth / kOffsetStep);
    const int outside = static_cast<int>(kReachOutside * result.depth / kOffsetStep);
    result.range = {-inside, static_cast<std::size_t>(inside + outside + 1)};
    const double start = -kBeforeTop * result.depth;
    const double end = length + kBeyondWall * result.depth;
    for (double at = start; at <= end; at = start + kProfileStep * static_cast<double>(result.profiles.size())) {
        const GridPoint origin{line.top_x + at * result.along.x, at * result.along.y};
        if (origin.y > height + result.depth) break;
        result.profiles.push_back({origin, outwards});
        result.places.push_back(std::clamp(at / length, -0.2, 1.2));
    }
    return result;
}

ProfileMap costs_of_offsets(const LineProfiles& line, const SampledProfiles& samples) {
    ProfileMap costs(line.profiles.size(), line.range.count);
    for (std::size_t profile = 0; profile < line.profiles.size(); ++profile) {
        const double place = line.places[profile];
        const OffsetWeights at_place{value_at(kSigned, place), value_at(kSquared, place), value_at(kAbsolute, place)};
        const std::span<float> row = costs.row(profile);
        for (std::size_t i = 0; i < row.size(); ++i) {
            const double offset = offset_of(line.range, i) / line.depth;
            double gain =
                at_place.constant * offset + at_place.linear * offset * offset + at_place.square * std::abs(offset);
            const MusclePlace found = samples.place(profile, i);
            if (found == MusclePlace::kBeyondImage) gain += kBeyondImage;
            if (found == MusclePlace::kBeyondSkin) gain += kBeyondSkin;
            row[i] = static_cast<float>(-gain);
        }
    }
    return costs;
}

// 1 in tissue and 0 elsewhere.
ProfileMap tissue_of(const SampledProfiles& samples) {
    ProfileMap tissue(samples.profile_count(), samples.offset_count());
    for (std::size_t profile = 0; profile < samples.profile_count(); ++profile) {
        const std::span<float> row = tissue.row(profile);
        for (std::size_t i = 0; i < row.size(); ++i)
            row[i] = samples.place(profile, i) == MusclePlace::kTissue ? 1.0F : 0.0F;
    }
    return tissue;
}

void add_costs_of_band(const BandWeight& weight, const ProfileMap& tissue, const ProfileMap& contrast,
                       ProfileMap& costs) {
    const auto to_typical = static_cast<float>(1.0 / typical_contrast(contrast));
    const auto gain = static_cast<float>(weight.gain);
    const auto gain_up_to_typical = static_cast<float>(weight.gain_up_to_typical);
    for (std::size_t i = 0; i < costs.values.size(); ++i) {
        const float relative = contrast.values[i] * to_typical;
        const float gained = gain * within(relative, -3.0F, 3.0F) + gain_up_to_typical * within(relative, 0.0F, 1.0F);
        const bool counts = tissue.values[i] > 0.0F && relative == relative;  // not NaN
        costs.values[i] -= counts ? gained : 0.0F;
    }
}

// The contrast along a path where there is any.
std::vector<double> along_path(const ProfileMap& contrast, const SampledProfiles& samples,
                               const std::vector<std::size_t>& path) {
    std::vector<double> values;
    for (std::size_t profile = 0; profile < path.size(); ++profile) {
        const auto value = static_cast<double>(contrast.row(profile)[path[profile]]);
        if (samples.place(profile, path[profile]) == MusclePlace::kTissue && !std::isnan(value)) {
            values.push_back(value);
        }
    }
    return values;
}

double mean_of(const std::vector<double>& values) {
    double sum = 0.0;
    for (const double value : values) sum += value;
    return values.empty() ? 0.0 : sum / static_cast<double>(values.size());
}

double low_percentile(std::vector<double> values) {
    if (values.empty()) return 0.0;
    const auto low = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 5);
    std::ranges::nth_element(values, low);
    return *low;
}

constexpr std::size_t kRays = 160;
constexpr double kRayReachInside = 0.45, kRayReachOutside = 0.3;  // of the line's distance along the ray
constexpr std::size_t kRayBand = 5;
constexpr std::size_t kRayLargestChange = 8;
constexpr float kRayMostContrast = 0.7F;  // of the typical one: more does not make a better border
constexpr double kRayChangeCost = 0.3;    // of a change by 2 % of the distance
constexpr double kRayOffsetCost = 0.3;    // of an offset as large as the distance
constexpr float kOutOfReach = 1e6F;
constexpr std::size_t kUnfittedRays = 5;  // at both ends, where rays run along the borders of the image

struct Rays {
    std::vector<Profile> profiles;
    std::vector<double> distances;
    OffsetRange range{};
};

Rays rays_to(const MuscleLine& line) {
    Rays rays;
    for (std::size_t ray = 0; ray < kRays; ++ray) {
        const double angle = (static_cast<double>(ray) + 0.5) * std::numbers::pi / 2.0 / static_cast<double>(kRays);
        const GridPoint direction{std::cos(angle), std::sin(angle)};
        const double distance = 1.0 / (direction.x / line.top_x + direction.y / line.wall_y);
        rays.profiles.push_back({{distance * direction.x, distance * direction.y}, direction});
        rays.distances.push_back(distance);
    }
    const double longest = std::max(line.top_x, line.wall_y);
    const int inside = static_cast<int>(kRayReachInside * longest / kOffsetStep);
    const int outside = static_cast<int>(kRayReachOutside * longest / kOffsetStep);
    rays.range = {-inside, static_cast<std::size_t>(inside + outside + 1)};
    return rays;
}

ProfileMap costs_along(const Rays& rays, const ProfileMap& contrast) {
    ProfileMap costs(kRays, rays.range.count);
    const auto to_typical = static_cast<float>(1.0 / typical_contrast(contrast));
    for (std::size_t ray = 0; ray < kRays; ++ray) {
        const std::span<const float> values = contrast.row(ray);
        const std::span<float> row = costs.row(ray);
        for (std::size_t i = 0; i < row.size(); ++i) {
            const double offset = offset_of(rays.range, i) / rays.distances[ray];
            const float relative = values[i] == values[i] ? values[i] * to_typical : 0.0F;  // NaN
            const bool is_in_reach = -kRayReachInside <= offset && offset <= kRayReachOutside;
            row[i] = is_in_reach
                         ? static_cast<float>(kRayOffsetCost * offset * offset) - std::min(kRayMostContrast, relative)
                         : kOutOfReach;
        }
    }
    return costs;
}

}  // namespace

std::optional<MuscleLine> fitted_line(const std::vector<GridPoint>& points) {
    constexpr std::size_t kFewest = 8;
    constexpr double kFlattest = -0.01;  // columns per row
    if (points.size() < kFewest) return std::nullopt;
    double sum_x = 0.0, sum_y = 0.0, sum_yy = 0.0, sum_xy = 0.0;
    for (const GridPoint& point : points) {
        sum_x += point.x;
        sum_y += point.y;
        sum_yy += point.y * point.y;
        sum_xy += point.x * point.y;
    }
    const auto count = static_cast<double>(points.size());
    const double spread = count * sum_yy - sum_y * sum_y;
    if (!(spread > 0.0)) return std::nullopt;
    const double slope = std::min(kFlattest, (count * sum_xy - sum_x * sum_y) / spread);
    const double top_x = (sum_x - slope * sum_y) / count;
    constexpr double kLeast = 8.0;  // pixels along both borders
    if (!(top_x > kLeast) || !(-top_x / slope > kLeast)) return std::nullopt;
    return MuscleLine{top_x, -top_x / slope};
}

MuscleBorder border_near(const MuscleGrey& image, const MuscleLine& line, double height) {
    const LineProfiles across = profiles_across(line, height);
    const SampledProfiles samples(image, across.profiles, across.range);
    const ProfileMap tissue = tissue_of(samples);
    ProfileMap costs = costs_of_offsets(across, samples);
    ProfileMap linear(0, 0), logarithmic(0, 0);  // of the bands by which borders are compared
    for (const BandWeight& weight : kBandWeights) {
        ProfileMap contrast = samples.contrast(weight.scale, weight.steps);
        add_costs_of_band(weight, tissue, contrast, costs);
        if (weight.scale == Scale::kLinear && weight.steps == 10) {
            linear = std::move(contrast);
        } else if (weight.scale == Scale::kLogarithmic && weight.steps == 5) {
            logarithmic = std::move(contrast);
        }
    }
    const std::vector<float> change_costs(across.profiles.size(), kChangeCost);
    const std::vector<std::size_t> path = cheapest_path(costs, change_costs, kLargestChange);
    MuscleBorder border;
    border.contrast = mean_of(along_path(linear, samples, path));
    const std::vector<double> steps = along_path(logarithmic, samples, path);
    border.log_contrast = mean_of(steps);
    border.low_log_contrast = low_percentile(steps);
    for (std::size_t i = 0; i < path.size(); ++i) {
        border.points.push_back(point_at(across.profiles[i], offset_of(across.range, path[i])));
    }
    return border;
}

std::optional<MuscleLine> line_by_rays(const MuscleGrey& image, MuscleLine line, double height) {
    line.wall_y = std::min(line.wall_y, 1.5 * height);
    line.top_x = std::min(line.top_x, 3.0 * height);  // in an image much wider than high
    const Rays rays = rays_to(line);
    const SampledProfiles samples(image, rays.profiles, rays.range, false);
    std::vector<float> change_costs;
    for (const double distance : rays.distances) {
        const double step = kOffsetStep / (0.02 * distance);
        change_costs.push_back(static_cast<float>(kRayChangeCost * step * step));
    }
    const ProfileMap costs = costs_along(rays, samples.contrast(Scale::kLinear, kRayBand));
    const std::vector<std::size_t> path = cheapest_path(costs, change_costs, kRayLargestChange);
    std::vector<GridPoint> points;
    for (std::size_t ray = kUnfittedRays; ray + kUnfittedRays < kRays; ++ray) {
        points.push_back(point_at(rays.profiles[ray], offset_of(rays.range, path[ray])));
    }
    return fitted_line(points);
}

}  // namespace Norvane::Host

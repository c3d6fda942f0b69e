// SPDX-License-Identifier: Apache-2.0
#include "findings/border_profiles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Norvane::Host {
namespace {

constexpr double kDarkest = 1000.0 / 65535.0;  // added before the logarithm, so that noise in black does not count
constexpr float kNothing = std::numeric_limits<float>::quiet_NaN();
constexpr double kSmallContrast = 1e-4;

// exp(-k * k / 18) for k = 0 .. 7: a Gaussian over profiles with a standard deviation of 3.
constexpr std::size_t kReach = 7;
constexpr std::array<float, kReach + 1> kSmoothing{1.0F,      0.945959F, 0.800737F, 0.606531F,
                                                   0.411112F, 0.249352F, 0.135335F, 0.065729F};

}  // namespace

SampledProfiles::SampledProfiles(const MuscleGrey& image, std::span<const Profile> profiles, OffsetRange range)
    : count(profiles.size()),
      offsets(range.count),
      places(count * row_size()),
      tissue(count * (row_size() + 1)),
      linear(tissue.size()),
      logarithmic(tissue.size()) {
    const OffsetRange wide{range.first - static_cast<int>(kMargin), row_size()};
    std::size_t at = 0;
    for (std::size_t profile = 0; profile < count; ++profile) {
        std::size_t sum = profile * (row_size() + 1);
        for (std::size_t i = 0; i < wide.count; ++i, ++at, ++sum) {
            const MuscleSample sample = image.at(point_at(profiles[profile], offset_of(wide, i)));
            places[at] = sample.place;
            const bool counts = sample.place == MusclePlace::kTissue;
            const auto grey = static_cast<double>(sample.grey);
            // In single precision like the grey level, so that both scales count alike.
            const auto logarithm = static_cast<double>(counts ? static_cast<float>(std::log(grey + kDarkest)) : 0.0F);
            tissue[sum + 1] = tissue[sum] + (counts ? 1 : 0);
            linear[sum + 1] = linear[sum] + (counts ? grey : 0.0);
            logarithmic[sum + 1] = logarithmic[sum] + logarithm;
        }
    }
}

ProfileMap SampledProfiles::unsmoothed_contrast(Scale scale, std::size_t band) const {
    const std::vector<double>& levels = scale == Scale::kLinear ? linear : logarithmic;
    ProfileMap map(count, offsets);
    for (std::size_t profile = 0; profile < count; ++profile) {
        const std::size_t first = profile * (row_size() + 1) + kMargin;
        const std::span<float> row = map.row(profile);
        for (std::size_t i = 0; i < offsets; ++i) {
            const std::size_t middle = first + i;
            const int inside = tissue[middle] - tissue[middle - band];
            const int outside = tissue[middle + band] - tissue[middle];
            const bool is_enough = inside > 0 && outside > 0 && 4 * inside >= static_cast<int>(band) &&
                                   4 * outside >= static_cast<int>(band);
            row[i] = is_enough ? static_cast<float>((levels[middle] - levels[middle - band]) / inside -
                                                    (levels[middle + band] - levels[middle]) / outside)
                               : kNothing;
        }
    }
    return map;
}

ProfileMap SampledProfiles::contrast(Scale scale, std::size_t band) const {
    const ProfileMap raw = unsmoothed_contrast(scale, band);
    ProfileMap smooth(count, offsets);
    std::vector<float> weights(offsets);
    for (std::size_t profile = 0; profile < count; ++profile) {
        const std::span<float> row = smooth.row(profile);
        std::ranges::fill(weights, 0.0F);
        const std::size_t last = std::min(count - 1, profile + kReach);
        for (std::size_t other = profile - std::min(profile, kReach); other <= last; ++other) {
            const float weight = kSmoothing[other > profile ? other - profile : profile - other];
            const std::span<const float> values = raw.row(other);
            for (std::size_t i = 0; i < offsets; ++i) {
                const bool counts = values[i] == values[i];  // not NaN
                row[i] += counts ? weight * values[i] : 0.0F;
                weights[i] += counts ? weight : 0.0F;
            }
        }
        const std::span<const float> own = raw.row(profile);
        for (std::size_t i = 0; i < offsets; ++i) row[i] = own[i] == own[i] ? row[i] / weights[i] : kNothing;
    }
    return smooth;
}

double typical_contrast(const ProfileMap& contrast) {
    std::vector<float> best;
    for (std::size_t profile = 0; profile * contrast.offsets < contrast.values.size(); ++profile) {
        float most = -1.0F;
        for (const float value : contrast.row(profile)) {
            if (value > most) most = value;  // false for NaN
        }
        if (most > -1.0F) best.push_back(most);
    }
    if (best.empty()) return kSmallContrast;
    const auto middle = best.begin() + static_cast<std::ptrdiff_t>(best.size() / 2);
    std::ranges::nth_element(best, middle);
    return std::max(kSmallContrast, static_cast<double>(*middle));
}

std::vector<std::size_t> cheapest_path(const ProfileMap& cost, std::span<const float> change_cost,
                                       std::size_t largest_change) {
    constexpr float kNever = std::numeric_limits<float>::infinity();
    const std::size_t rows = change_cost.size();
    const std::size_t columns = cost.offsets;
    // With columns that no path takes at both ends, every column has as many neighbours.
    std::vector<float> sums(columns + 2 * largest_change, kNever);
    std::ranges::copy(cost.row(0), sums.begin() + static_cast<std::ptrdiff_t>(largest_change));
    std::vector<float> least(columns);
    std::vector<int> came_from(rows * columns);  // changes, from 0 for the largest one to the left
    for (std::size_t row = 1; row < rows; ++row) {
        const std::span<int> from = std::span(came_from).subspan(row * columns, columns);
        std::ranges::fill(least, kNever);
        for (std::size_t k = 0; k <= 2 * largest_change; ++k) {
            const float change = static_cast<float>(k) - static_cast<float>(largest_change);
            const float price = change_cost[row] * change * change;
            for (std::size_t column = 0; column < columns; ++column) {
                const float sum = sums[column + k] + price;
                const bool is_less = sum < least[column];
                least[column] = is_less ? sum : least[column];
                from[column] = is_less ? static_cast<int>(k) : from[column];
            }
        }
        const std::span<const float> local = cost.row(row);
        for (std::size_t column = 0; column < columns; ++column)
            sums[largest_change + column] = least[column] + local[column];
    }
    std::vector<std::size_t> path(rows);
    const std::span<const float> ends = std::span<const float>(sums).subspan(largest_change, columns);
    auto at = static_cast<std::size_t>(std::ranges::min_element(ends) - ends.begin());
    for (std::size_t row = rows; row-- > 0;) {
        path[row] = at;
        if (row > 0) at = at + static_cast<std::size_t>(came_from[row * columns + at]) - largest_change;
    }
    return path;
}

}  // namespace Norvane::Host

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
      linear(places.size()),
      logarithmic(places.size()) {
    const OffsetRange wide{range.first - static_cast<int>(kMargin), row_size()};
    std::size_t at = 0;
    for (const Profile& profile : profiles) {
        for (std::size_t i = 0; i < wide.count; ++i, ++at) {
            const MuscleSample sample = image.at(point_at(profile, offset_of(wide, i)));
            places[at] = sample.place;
            linear[at] = sample.grey;
            if (sample.place != MusclePlace::kTissue) continue;
            logarithmic[at] = static_cast<float>(std::log(static_cast<double>(sample.grey) + kDarkest));
        }
    }
}

ProfileMap SampledProfiles::unsmoothed_contrast(Scale scale, std::size_t band) const {
    const std::vector<float>& levels = scale == Scale::kLinear ? linear : logarithmic;
    ProfileMap map(count, offsets);
    std::vector<double> sums(row_size() + 1);
    std::vector<std::size_t> tissue(row_size() + 1);
    for (std::size_t profile = 0; profile < count; ++profile) {
        for (std::size_t i = 0; i < row_size(); ++i) {
            const std::size_t at = profile * row_size() + i;
            const bool counts = places[at] == MusclePlace::kTissue;
            sums[i + 1] = sums[i] + (counts ? static_cast<double>(levels[at]) : 0.0);
            tissue[i + 1] = tissue[i] + (counts ? 1 : 0);
        }
        const std::span<float> row = map.row(profile);
        for (std::size_t i = 0; i < offsets; ++i) {
            const std::size_t middle = i + kMargin;
            const std::size_t inside = tissue[middle] - tissue[middle - band];
            const std::size_t outside = tissue[middle + band] - tissue[middle];
            const bool is_enough = inside > 0 && outside > 0 && 4 * inside >= band && 4 * outside >= band;
            row[i] = is_enough ? static_cast<float>((sums[middle] - sums[middle - band]) / static_cast<double>(inside) -
                                                    (sums[middle + band] - sums[middle]) / static_cast<double>(outside))
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
    const std::size_t rows = change_cost.size();
    const std::size_t columns = cost.offsets;
    std::vector<float> sums(cost.row(0).begin(), cost.row(0).end());
    std::vector<float> next(columns);
    std::vector<std::size_t> came_from(rows * columns);
    for (std::size_t row = 1; row < rows; ++row) {
        const std::span<const float> local = cost.row(row);
        for (std::size_t column = 0; column < columns; ++column) {
            float least = std::numeric_limits<float>::infinity();
            const std::size_t last = std::min(columns - 1, column + largest_change);
            for (std::size_t other = column - std::min(column, largest_change); other <= last; ++other) {
                const float change = static_cast<float>(other) - static_cast<float>(column);
                const float sum = sums[other] + change_cost[row] * change * change;
                if (sum >= least) continue;
                least = sum;
                came_from[row * columns + column] = other;
            }
            next[column] = least + local[column];
        }
        std::swap(sums, next);
    }
    std::vector<std::size_t> path(rows);
    auto at = static_cast<std::size_t>(std::ranges::min_element(sums) - sums.begin());
    for (std::size_t row = rows; row-- > 0;) {
        path[row] = at;
        at = came_from[row * columns + at];
    }
    return path;
}

}  // namespace Norvane::Host

// SPDX-License-Identifier: Apache-2.0
#include "findings/border_profiles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
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

constexpr std::size_t kBlock = 32;  // columns that are worked on together

enum class Filling : std::uint8_t { kEmpty, kPartly, kFull };

/// Rows of whole blocks. The last block of a row may reach beyond the offsets.
struct BlockMap {
    BlockMap(std::size_t profiles, std::size_t offsets)
        : blocks((offsets + kBlock - 1) / kBlock), values(profiles * blocks * kBlock), filling(profiles * blocks) {}

    [[nodiscard]] float* block(std::size_t profile, std::size_t number) {
        return &values[(profile * blocks + number) * kBlock];
    }
    [[nodiscard]] const float* block(std::size_t profile, std::size_t number) const {
        return &values[(profile * blocks + number) * kBlock];
    }
    [[nodiscard]] Filling& filling_of(std::size_t profile, std::size_t number) {
        return filling[profile * blocks + number];
    }
    [[nodiscard]] Filling filling_of(std::size_t profile, std::size_t number) const {
        return filling[profile * blocks + number];
    }

    [[nodiscard]] bool is_full(std::size_t first_profile, std::size_t last_profile, std::size_t number) const {
        for (std::size_t profile = first_profile; profile <= last_profile; ++profile) {
            if (filling_of(profile, number) != Filling::kFull) return false;
        }
        return true;
    }

    std::size_t blocks;
    Unwritten<float> values;
    std::vector<Filling> filling;  // how many values of each block are not NaN
};

// The contrast of `count` steps from the first on. `tissue` and `levels` are the sums before the first one.
Filling take_contrast(const int* tissue, const double* levels, std::ptrdiff_t band, std::size_t count, float* values) {
    const auto steps = static_cast<std::ptrdiff_t>(count) - 1;
    std::fill(values + count, values + kBlock, kNothing);
    const std::ptrdiff_t found = tissue[steps + band] - tissue[-band];
    if (found == 0) return Filling::kEmpty;
    const double *inside = levels - band, *outside = levels + band;
    if (found == steps + 2 * band) {  // all of it is tissue
        const auto width = static_cast<double>(band);
        for (std::size_t i = 0; i < count; ++i) {
            values[i] = static_cast<float>((levels[i] - inside[i]) / width - (outside[i] - levels[i]) / width);
        }
        return Filling::kFull;
    }
    const std::ptrdiff_t enough = std::max<std::ptrdiff_t>(1, (band + 3) / 4);  // a quarter of the band
    for (std::ptrdiff_t i = 0; i <= steps; ++i) {
        const int count_inside = tissue[i] - tissue[i - band];
        const int count_outside = tissue[i + band] - tissue[i];
        values[i] =
            std::min(count_inside, count_outside) >= enough
                ? static_cast<float>((levels[i] - inside[i]) / count_inside - (outside[i] - levels[i]) / count_outside)
                : kNothing;
    }
    return Filling::kPartly;
}

struct Neighbours {
    std::size_t profile, first, last;

    [[nodiscard]] float weight_of(std::size_t other) const {
        return kSmoothing[other > profile ? other - profile : profile - other];
    }
};

using Block = std::array<float, kBlock>;

// Adds the weighted blocks of profiles from `first` on. With several at a time, the sums are loaded and stored less
// often.
template <std::size_t kProfiles>
void add_weighted(const BlockMap& raw, const Neighbours& near, std::size_t first, std::size_t block, Block& sums) {
    std::array<float, kProfiles> weights{};
    for (std::size_t k = 0; k < kProfiles; ++k) weights[k] = near.weight_of(first + k);
    const float* values = raw.block(first, block);
    const std::size_t stride = raw.blocks * kBlock;
    for (std::size_t i = 0; i < kBlock; ++i) {
        float sum = sums[i];
        for (std::size_t k = 0; k < kProfiles; ++k) sum += weights[k] * values[k * stride + i];
        sums[i] = sum;
    }
}

// The weighted mean over the same block of neighbouring profiles, all of which have values everywhere.
Block mean_of_full(const BlockMap& raw, const Neighbours& near, std::size_t block) {
    constexpr std::size_t kTogether = 5;
    Block sums{};
    std::size_t other = near.first;
    for (; other + kTogether <= near.last + 1; other += kTogether)
        add_weighted<kTogether>(raw, near, other, block, sums);
    for (; other <= near.last; ++other) add_weighted<1>(raw, near, other, block, sums);
    float weights = 0.0F;
    for (other = near.first; other <= near.last; ++other) weights += near.weight_of(other);
    for (float& sum : sums) sum /= weights;
    return sums;
}

// The same if some have no value.
Block mean_of_partly(const BlockMap& raw, const Neighbours& near, std::size_t block) {
    Block sums{}, weights{};
    for (std::size_t other = near.first; other <= near.last; ++other) {
        if (raw.filling_of(other, block) == Filling::kEmpty) continue;
        const float weight = near.weight_of(other);
        const float* values = raw.block(other, block);
        for (std::size_t i = 0; i < kBlock; ++i) {
            const bool counts = values[i] == values[i];  // not NaN
            sums[i] += counts ? weight * values[i] : 0.0F;
            weights[i] += counts ? weight : 0.0F;
        }
    }
    const float* own = raw.block(near.profile, block);
    for (std::size_t i = 0; i < kBlock; ++i) sums[i] = own[i] == own[i] ? sums[i] / weights[i] : kNothing;
    return sums;
}

}  // namespace

SampledProfiles::SampledProfiles(const MuscleGrey& image, std::span<const Profile> profiles, OffsetRange range,
                                 bool has_logarithm)
    : count(profiles.size()),
      offsets(range.count),
      places(count * row_size()),
      tissue(count * (row_size() + 1)),
      linear(tissue.size()),
      logarithmic(has_logarithm ? tissue.size() : 0) {
    const OffsetRange wide{range.first - static_cast<int>(kMargin), row_size()};
    std::size_t at = 0;
    for (std::size_t profile = 0; profile < count; ++profile) {
        std::size_t sum = profile * (row_size() + 1);
        tissue[sum] = 0;
        linear[sum] = 0.0;
        if (has_logarithm) logarithmic[sum] = 0.0;
        for (std::size_t i = 0; i < wide.count; ++i, ++at, ++sum) {
            const MuscleSample sample = image.at(point_at(profiles[profile], offset_of(wide, i)));
            places[at] = sample.place;
            const bool counts = sample.place == MusclePlace::kTissue;
            const auto grey = static_cast<double>(sample.grey);
            tissue[sum + 1] = tissue[sum] + (counts ? 1 : 0);
            linear[sum + 1] = linear[sum] + (counts ? grey : 0.0);
            if (!has_logarithm) continue;
            // In single precision like the grey level, so that both scales count alike.
            const auto logarithm = static_cast<double>(counts ? static_cast<float>(std::log(grey + kDarkest)) : 0.0F);
            logarithmic[sum + 1] = logarithmic[sum] + logarithm;
        }
    }
}

ProfileMap SampledProfiles::contrast(Scale scale, std::size_t band) const {
    const Unwritten<double>& levels = scale == Scale::kLinear ? linear : logarithmic;
    BlockMap raw(count, offsets);
    const auto steps_of = [this](std::size_t block) { return std::min(kBlock, offsets - block * kBlock); };
    for (std::size_t profile = 0; profile < count; ++profile) {
        for (std::size_t block = 0; block < raw.blocks; ++block) {
            const std::size_t first = profile * (row_size() + 1) + kMargin + block * kBlock;
            raw.filling_of(profile, block) =
                take_contrast(&tissue[first], &levels[first], static_cast<std::ptrdiff_t>(band), steps_of(block),
                              raw.block(profile, block));
        }
    }
    ProfileMap smooth(count, offsets);
    for (std::size_t profile = 0; profile < count; ++profile) {
        const Neighbours near{profile, profile - std::min(profile, kReach), std::min(count - 1, profile + kReach)};
        const std::span<float> row = smooth.row(profile);
        for (std::size_t block = 0; block < raw.blocks; ++block) {
            const std::span<float> values = row.subspan(block * kBlock, steps_of(block));
            if (raw.filling_of(profile, block) == Filling::kEmpty) {
                std::ranges::fill(values, kNothing);
            } else {
                const Block mean = raw.is_full(near.first, near.last, block) ? mean_of_full(raw, near, block)
                                                                             : mean_of_partly(raw, near, block);
                std::copy_n(mean.begin(), values.size(), values.begin());
            }
        }
    }
    return smooth;
}

double typical_contrast(const ProfileMap& contrast) {
    std::vector<float> best;
    for (std::size_t profile = 0; profile * contrast.offsets < contrast.values.size(); ++profile) {
        const std::span<const float> row = contrast.row(profile);
        Block most;
        most.fill(-1.0F);
        std::size_t start = 0;
        for (; start + kBlock <= row.size(); start += kBlock) {
            const float* values = &row[start];
            for (std::size_t i = 0; i < kBlock; ++i) most[i] = values[i] > most[i] ? values[i] : most[i];  // not NaN
        }
        for (; start < row.size(); ++start) most[0] = row[start] > most[0] ? row[start] : most[0];
        const float highest = *std::ranges::max_element(most);
        if (highest > -1.0F) best.push_back(highest);
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
    // The sums of the cheapest paths to each column. Columns that no path takes at both ends give every column as many
    // neighbours, and whole blocks.
    const std::size_t blocks = (columns + kBlock - 1) / kBlock;
    const std::size_t stride = blocks * kBlock + 2 * largest_change;
    std::vector<float> sums(rows * stride, kNever);
    std::ranges::copy(cost.row(0), sums.begin() + static_cast<std::ptrdiff_t>(largest_change));
    const auto price_of = [&](std::size_t row, std::size_t k) {  // of the change k - largest_change
        const float change = static_cast<float>(k) - static_cast<float>(largest_change);
        return change_cost[row] * change * change;
    };
    for (std::size_t row = 1; row < rows; ++row) {
        const std::span<const float> local = cost.row(row);
        for (std::size_t start = 0; start < columns; start += kBlock) {
            const float* before = &sums[(row - 1) * stride + start];
            Block least;
            least.fill(kNever);
            for (std::size_t k = 0; k <= 2 * largest_change; ++k) {
                const float price = price_of(row, k);
                for (std::size_t i = 0; i < kBlock; ++i) {
                    const float sum = before[k + i] + price;
                    least[i] = sum < least[i] ? sum : least[i];
                }
            }
            float* here = &sums[row * stride + largest_change + start];
            const std::size_t count = std::min(kBlock, columns - start);
            for (std::size_t i = 0; i < count; ++i) here[i] = least[i] + local[start + i];
        }
    }
    std::vector<std::size_t> path(rows);
    const std::span<const float> ends =
        std::span<const float>(sums).subspan((rows - 1) * stride + largest_change, columns);
    auto at = static_cast<std::size_t>(std::ranges::min_element(ends) - ends.begin());
    for (std::size_t row = rows; row-- > 0;) {
        path[row] = at;
        if (row == 0) break;
        // The first of the changes that led to the least sum.
        const float* before = &sums[(row - 1) * stride + at];
        std::size_t best = 0;
        for (std::size_t k = 1; k <= 2 * largest_change; ++k) {
            if (before[k] + price_of(row, k) < before[best] + price_of(row, best)) best = k;
        }
        at = at + best - largest_change;
    }
    return path;
}

}  // namespace Norvane::Host

// SPDX-License-Identifier: Apache-2.0
/// Profiles across the border that the search looks for, and the path through them.
#pragma once

#include "findings/muscle_grey.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace Norvane::Host {

/// The border of the muscle as a straight line: x / wall_x + y / wall_y = 1 in pixels of the working grid.
struct MuscleLine {
    double top_x;   ///< where it meets the first row
    double wall_y;  ///< where it meets the chest wall
};

/// One line across the border: the points origin + offset * direction, with the same offsets for all profiles.
struct Profile {
    GridPoint origin;
    GridPoint direction;
};

/// An array whose elements have no values until they are written.
template <class Value>
class Unwritten {
public:
    explicit Unwritten(std::size_t size) : count(size), values(std::make_unique_for_overwrite<Value[]>(size)) {}

    [[nodiscard]] std::size_t size() const { return count; }
    [[nodiscard]] Value& operator[](std::size_t i) { return values[i]; }
    [[nodiscard]] const Value& operator[](std::size_t i) const { return values[i]; }

private:
    std::size_t count;
    std::unique_ptr<Value[]> values;
};

/// Numbers for each profile (a row) and each offset (a column).
struct ProfileMap {
    ProfileMap(std::size_t profiles, std::size_t offsets_) : offsets(offsets_), values(profiles * offsets_) {}
    std::size_t offsets;
    Unwritten<float> values;

    [[nodiscard]] std::span<float> row(std::size_t profile) { return {&values[profile * offsets], offsets}; }
    [[nodiscard]] std::span<const float> row(std::size_t profile) const {
        return {&values[profile * offsets], offsets};
    }
};

/// The offsets from `first` on, in steps of kOffsetStep pixels.
struct OffsetRange {
    int first;
    std::size_t count;
};
inline constexpr double kOffsetStep = 2.0;  ///< pixels of the working grid

[[nodiscard]] inline double offset_of(const OffsetRange& range, std::size_t index) {
    return kOffsetStep * (range.first + static_cast<double>(index));
}
[[nodiscard]] inline GridPoint point_at(const Profile& profile, double offset) {
    return {profile.origin.x + offset * profile.direction.x, profile.origin.y + offset * profile.direction.y};
}

/// The image along profiles, some steps beyond both ends of the range.
class SampledProfiles {
public:
    static constexpr std::size_t kMargin = 20;  ///< steps, as wide as the widest band of contrast()

    enum class Scale { kLinear, kLogarithmic };

    /// Takes a good part of the time for the logarithm, so contrasts on that scale are only there if asked for.
    SampledProfiles(const MuscleGrey& image, std::span<const Profile> profiles, OffsetRange range,
                    bool has_logarithm = true);

    [[nodiscard]] std::size_t profile_count() const { return count; }
    [[nodiscard]] std::size_t offset_count() const { return offsets; }
    [[nodiscard]] MusclePlace place(std::size_t profile, std::size_t offset) const {
        return places[profile * row_size() + kMargin + offset];
    }

    /// Mean of the `band` steps inside minus mean of those outside, smoothed over neighbouring profiles; NaN if
    /// there is too little tissue on one of the sides.
    [[nodiscard]] ProfileMap contrast(Scale scale, std::size_t band) const;

private:
    [[nodiscard]] std::size_t row_size() const { return offsets + 2 * kMargin; }

    std::size_t count, offsets;
    Unwritten<MusclePlace> places;
    // Of each profile row_size() + 1 sums over the tissue before each step: of its steps, and of its levels. Without
    // logarithm, that vector is empty.
    Unwritten<int> tissue;
    Unwritten<double> linear, logarithmic;
};

/// The median of the profiles' best contrasts, which counts as a full border in this image. If there is no contrast, it
/// is a small number.
[[nodiscard]] double typical_contrast(const ProfileMap& contrast);

/// The column of each row such that the sum of `cost` and of `change_cost[row]` times the square of each change from
/// row to row is least. A change is at most `largest_change` columns. This is dynamic programming.
[[nodiscard]] std::vector<std::size_t> cheapest_path(const ProfileMap& cost, std::span<const float> change_cost,
                                                     std::size_t largest_change);

}  // namespace Norvane::Host

// SPDX-License-Identifier: Apache-2.0
#include "contour/contour_smoothing.h"

#include "model/numbers.h"
#include "model/pixels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace Norvane {
namespace {

float mid_value(float a, float b) { return (a + b) * 0.5F; }

/// Mean of the positive radii in the middle half of a contour, in whole pixels; 0 if there are none.
int mean_of_middle_half(const std::vector<float>& c) {
    const std::size_t quarter = c.size() / 4;
    std::int64_t sum = 0;
    std::int64_t count = 0;
    for (std::size_t i = quarter; i < 3 * quarter; ++i) {
        if (!(c[i] > 0.0F)) continue;
        sum += truncate_to<int>(double{c[i]});
        ++count;
    }
    return count == 0 ? 0 : static_cast<int>(sum / count);
}

/// Replaces every entry at or below the mean by the mean of its nearest neighbours above the low limit. Entries that
/// were replaced already are read with their new value, so one pass from the left is enough for the lower neighbour.
void bridge_gaps(std::vector<float>& c, float mean, float low_limit) {
    const std::size_t last = c.size() - 1;
    const auto first_above_from = [&](std::size_t i) {
        while (i < last && !(c[i] > low_limit)) ++i;
        return i;
    };
    std::size_t below = 0;  // nearest entry above the limit before i, or the first entry
    std::size_t above = 0;  // nearest entry above the limit after i, or the last entry
    for (std::size_t i = 1; i < last; ++i) {
        if (c[i] <= mean) {
            if (above <= i) above = first_above_from(i + 1);
            c[i] = mid_value(c[below], c[above]);
        }
        if (c[i] > low_limit) below = i;
    }
}

void repair_ends(std::vector<float>& c, float mean, float low_limit) {
    const std::size_t last = c.size() - 1;
    if (c[0] <= mean) {
        std::size_t j = 1;
        while (j < last && !(c[j] > low_limit)) ++j;
        c[0] = c[0] > low_limit ? mid_value(c[0], c[j]) : c[j];
    }
    if (c[last] <= mean) {
        std::size_t k = last - 1;
        while (k > 0 && !(c[k] > low_limit)) --k;
        c[last] = c[last] > low_limit ? mid_value(c[k], c[last]) : c[k];
    }
}

/// The latest three differences of neighbouring radii.
struct DifferenceHistory {
    std::array<float, 3> latest{};  // oldest first
    void push(float d) { latest = {latest[1], latest[2], d}; }
    [[nodiscard]] float sum() const { return latest[0] + latest[1] + latest[2]; }
};

/// One end of a contour, which is scanned for a jump from the inside towards the end.
struct ContourEnd {
    std::int64_t innermost;  // where the scan starts
    std::int64_t outermost;  // the last entry that is tested
    int outwards;            // step from entry to entry, and to the neighbour that an entry is compared with
    std::int64_t beyond;     // the cut must lie beyond this entry ...
    std::int64_t before;     // ... and before this one
};

/// Finds the first jump on the way to the end, and flattens the end from the last good radius before it. In views
/// without muscle, contours run into the chest wall there, and beyond a jump there is no breast.
void cut_at_jump(std::vector<float>& c, const ContourEnd& end, std::uint16_t limit, float low_limit,
                 DifferenceHistory& history) {
    const Row<float> at{c};
    const float jump = limit, half_jump = std::floor(jump / 2.0F);
    float trend = 0.0F;
    for (std::int64_t i = end.innermost; (end.outermost - i) * end.outwards >= 0; i += end.outwards) {
        const float d = at[i + end.outwards] - at[i];
        // A fall compares the trend with the whole limit, not with half of it.
        const bool jumps = (trend + d > half_jump && d > jump) || (-trend - d > jump && -d > jump);
        if (!jumps) {
            history.push(d);
            trend = history.sum();
            continue;
        }
        std::int64_t m = i;
        while ((m - end.innermost) * end.outwards >= 0 && !(at[m] >= low_limit)) m -= end.outwards;
        if (m > end.beyond && m < end.before && at[m] >= low_limit) {
            if (end.outwards < 0)
                std::fill(c.begin(), c.begin() + m, at[m]);
            else
                std::fill(c.begin() + m + 1, c.end(), at[m]);
        }
        return;
    }
}

/// Raises the radii next to the wall to a radius a little farther in, where the outline is reliable.
void raise_ends(std::vector<float>& c) {
    constexpr std::size_t kRaised = 27;  // entries: 27 at the head, 26 at the tail
    const std::size_t n = c.size();
    if (n <= kRaised) return;
    for (std::size_t k = 0; k < kRaised; ++k) c[k] = std::max(c[k], c[kRaised]);
    for (std::size_t k = n - kRaised + 1; k < n; ++k) c[k] = std::max(c[k], c[n - kRaised]);
}

/// A moving average over `half` entries before and half - 1 after each. Entries that fall steeply from their
/// predecessor are left out.
std::vector<float> average_between_jumps(const std::vector<float>& c, std::size_t half) {
    constexpr double kSteepFall = 50.0;  // pixels
    const std::size_t n = c.size();
    std::vector<char> counts(n, 0);
    for (std::size_t j = 1; j < n; ++j) counts[j] = double{c[j]} > double{c[j - 1]} - kSteepFall ? 1 : 0;

    std::vector<float> smoothed(n, 0.0F);
    for (std::size_t i = 0; i < n; ++i) {
        float sum = 0.0F, count = 0.0F;
        for (std::size_t j = i > half ? i - half : 1; j < std::min(n, i + half); ++j) {
            if (counts[j] == 0) continue;
            sum += c[j];
            ++count;
        }
        smoothed[i] = count > 0.0F ? sum / count + 0.5F : c[i];
    }
    return smoothed;
}

/// Makes the outer contour. It lies a little outside the larger of the raw and the smoothed radius; at the ends,
/// outside the smoothed one. `outer` may be the raw contour itself.
void widen(const std::vector<float>& raw, const std::vector<float>& smoothed, const Smoothing& smoothing,
           std::vector<float>& outer) {
    constexpr std::size_t kEnds = 26;  // entries: 26 at the head, 25 at the tail
    const float distance = smoothing.has_padding ? 0.0F : 4.0F;
    const auto outside = [&](float radius) { return (radius + distance) + static_cast<float>(smoothing.outer_offset); };
    const std::size_t n = raw.size();
    for (std::size_t k = 0; k < n; ++k) outer[k] = outside(std::max(raw[k], smoothed[k]));
    if (smoothing.has_padding || n <= kEnds) return;
    for (std::size_t k = 0; k < kEnds; ++k) outer[k] = outside(smoothed[k]);
    for (std::size_t k = n - kEnds + 1; k < n; ++k) outer[k] = outside(smoothed[k]);
}

}  // namespace

void fill_contour_gaps(std::vector<float>& c, IMAGE_VIEW view) {
    if (c.size() < 3) return;
    const int whole_mean = mean_of_middle_half(c);
    const auto low_limit = static_cast<std::uint16_t>(whole_mean / (view == VIEW_PECT ? 3 : 2));
    const auto mean = static_cast<float>(whole_mean);
    repair_ends(c, mean, low_limit);
    bridge_gaps(c, mean, low_limit);
    if (view != VIEW_NO_PECT) return;

    constexpr std::uint16_t kLargestJump = 25;  // pixels
    const std::uint16_t jump = std::min(low_limit, kLargestJump);
    const std::int64_t n = std::ssize(c), sixth = n / 6;
    DifferenceHistory history;  // the tail continues with the differences that the head leaves
    cut_at_jump(c, {sixth, 2, -1, 0, sixth}, jump, low_limit, history);
    cut_at_jump(c, {n - sixth - 1, n - 2, 1, n - sixth, n - 1}, jump, low_limit, history);
}

void smooth_outline(std::vector<float>& c, std::vector<float>& outer, const Smoothing& smoothing) {
    constexpr int kOuterWindow = 9;  // bins
    if (smoothing.window < 2 || std::ssize(c) < smoothing.window) return;
    if (!smoothing.has_padding) raise_ends(c);
    std::vector<float> smoothed = average_between_jumps(c, static_cast<std::size_t>(smoothing.window / 2));
    if (outer.size() == c.size()) widen(c, smoothed, smoothing, outer);
    if (!outer.empty()) running_mean(outer, outer, kOuterWindow);
    c = std::move(smoothed);
}

bool running_mean(const std::vector<float>& in, std::vector<float>& out, int window) {
    if (window <= 1 || std::ssize(in) <= window || in.size() != out.size()) return false;
    const std::size_t n = in.size();
    const auto half = static_cast<std::size_t>(window / 2);
    float sum = 0.0F, count = 0.0F;  // of the window
    for (std::size_t i = 0; i < half; ++i, ++count) sum += in[i];
    // Values are read when they are needed. If both arguments are the same vector, those that leave the window are
    // means.
    for (std::size_t i = 0; i <= half; ++i) {
        sum += in[i + half];
        out[i] = sum / ++count;
    }
    for (std::size_t i = half + 1; i < n - half; ++i) {
        sum = (sum + in[i + half]) - in[i - half - 1];
        out[i] = sum / count;
    }
    for (std::size_t i = n - half; i < n; ++i) {
        sum -= in[i - half - 1];
        out[i] = sum / --count;
    }
    return true;
}

}  // namespace Norvane

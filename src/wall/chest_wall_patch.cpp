// SPDX-License-Identifier: Apache-2.0
#include "wall/chest_wall_patch.h"

#include "imaging/filter.h"
#include "imaging/image_copy.h"
#include "imaging/ipl_bridge.h"
#include "imaging/mask_utils.h"
#include "model/geometry.h"
#include "model/mask_reader.h"
#include "model/numbers.h"
#include "model/pixels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>
#include <span>
#include <vector>

namespace Norvane {
namespace {

constexpr Micrometres kBand{20000.0};        // this band along the border of the field is not counted
constexpr Micrometres kWideBand{35000.0};    // the same for wide images
constexpr Micrometres kWideImage{198000.0};  // an image wider than this is wide
constexpr int kBrightest = 54000;            // this and brighter levels are not tissue
constexpr int kSparse = 160;                 // tissue ends at a column or row with fewer pixels
// Radians (5 degrees). With muscle above it, the densest row of the breast lies below the middle of the tissue at the
// wall.
constexpr double kTilt = 0.08726646259971647;
// The ellipse is smaller than the extent by this factor. In a view with muscle, its half heights shrink once more.
constexpr double kShrink = 0.85;
constexpr double kShrinkWithMuscle = 0.8;
constexpr double kShrinkBright = 0.9;  // for both, if the class has a bright background

/// Tissue pixels per column and per row.
struct Profiles {
    std::vector<int> columns;
    std::vector<int> rows;
};

/// Where the tissue touches the wall: `across` is its extent from the wall, in columns.
struct Extent {
    std::int64_t across;
    std::int64_t top, centre, bottom;
};

/// The data of a call that the steps need: image size, side and settings.
struct Setting {
    IMAGE_SIDE side;
    bool muscle_view;
    bool is_bright;
    int width, height;
    std::uint16_t noise_level;
};

using Columns = Interval<std::int64_t>;

/// The columns between which tissue is counted, and the rows left out at top and bottom.
struct CountingBounds {
    Columns columns;
    std::int64_t band;

    [[nodiscard]] std::int64_t width() const { return columns.count(); }
};

CountingBounds counting_bounds(const Image& image, const Mask& frame, IMAGE_SIDE side) {
    const float pixel_size = image.GetPixelSize();
    const float across = static_cast<float>(image.GetWidth()) * pixel_size;
    const bool is_wide = double{across} > kWideImage.value;
    const std::int64_t band = pixels_for(is_wide ? kWideBand : kBand, pixel_size);
    CountingBounds bounds{.columns = {columns_of(frame).first + band, columns_of(frame).last - band - 1}, .band = band};
    if (side == SIDE_CHEST_RIGHT) bounds.columns.first += band / 2;
    if (side == SIDE_CHEST_LEFT) bounds.columns.last -= band / 2;
    return bounds;
}

/// The columns of a half ellipse on the wall's side of the bounds. It covers all columns in the middle row and none at
/// the top and bottom of the image.
Columns counted_columns(const CountingBounds& bounds, IMAGE_SIDE side, std::int64_t y, double half_height) {
    const double up = (half_height - static_cast<double>(y)) / half_height;
    const double reach = std::sqrt(1.0 - up * up) * static_cast<double>(bounds.width());
    Columns columns = bounds.columns;
    if (side == SIDE_CHEST_RIGHT) {
        columns.first = truncate_to<std::int64_t>(static_cast<double>(bounds.columns.last + 1) - reach + 0.5);
    } else if (side == SIDE_CHEST_LEFT) {
        columns.last = truncate_to<std::int64_t>(static_cast<double>(bounds.columns.first) + reach + 0.5) - 1;
    }
    return columns;
}

Profiles count_tissue(const Image& work, const Mask& frame, const Setting& setting) {
    Profiles counts{std::vector<int>(work.GetWidth()), std::vector<int>(work.GetHeight())};
    if (!(work.GetPixelSize() > 0.0F)) return counts;
    const CountingBounds bounds = counting_bounds(work, frame, setting.side);
    if (bounds.width() <= 0) return counts;

    const double half_height = setting.height * 0.5;
    const Row<int> in_columns{counts.columns}, in_rows{counts.rows};
    for (std::int64_t y = bounds.band; y < setting.height - bounds.band; ++y) {
        const Columns columns = counted_columns(bounds, setting.side, y, half_height);
        const std::int64_t first = std::clamp<std::int64_t>(columns.first, 0, setting.width);
        const std::int64_t end = std::clamp<std::int64_t>(columns.last + 1, 0, setting.width);
        const auto row = grey_row(work, y);
        int in_row = 0;
        for (std::int64_t x = first; x < end; ++x) {
            const int is_tissue = row[x] > setting.noise_level && row[x] < kBrightest ? 1 : 0;
            in_columns[x] += is_tissue;
            in_row += is_tissue;
        }
        in_rows[y] = in_row;
    }
    return counts;
}

/// The first of the largest counters; the middle one if all are 0.
std::int64_t peak_of(std::span<const int> counters) {
    const auto largest = std::ranges::max_element(counters);
    return largest == counters.end() || *largest == 0 ? std::ssize(counters) / 2 : largest - counters.begin();
}

/// The first sparse counter from `from` to `last`, both included, upwards or downwards; `otherwise` if there is none.
std::int64_t first_sparse(Row<const int> counters, std::int64_t from, std::int64_t last, std::int64_t otherwise) {
    const std::int64_t step = last < from ? -1 : 1;
    for (std::int64_t i = from; (last - i) * step >= 0; i += step) {
        if (counters[i] < kSparse) return i;
    }
    return otherwise;
}

std::int64_t tissue_across(std::span<const int> columns, const Setting& setting) {
    const std::int64_t peak = peak_of(columns), middle = setting.width / 2;
    constexpr std::int64_t kNone = -1;
    std::int64_t edge = kNone;
    if (setting.side == SIDE_CHEST_LEFT) edge = first_sparse(columns, peak, setting.width - 1, kNone);
    if (setting.side == SIDE_CHEST_RIGHT) edge = first_sparse(columns, peak, 0, kNone);
    if (edge == kNone) return middle;
    return setting.side == SIDE_CHEST_LEFT ? edge : setting.width - edge;
}

/// With muscle above the breast, the centre lies above the densest row, and the region is symmetric about it.
void place_with_muscle(Extent& extent, std::int64_t peak, std::int64_t frame_top, std::int64_t height) {
    const auto raise = truncate_to<std::int64_t>(std::tan(kTilt) * static_cast<double>(extent.across) + 0.5);
    extent.centre = std::max(peak - raise, frame_top);
    extent.top = 2 * extent.centre - extent.bottom;
    if (extent.top < frame_top) {
        extent.top = frame_top;
        extent.centre = (frame_top + extent.bottom) / 2;
    } else {
        extent.top = std::min(extent.top, height / 2);
    }
}

/// The top comes from symmetry, or from the first sparse counter on the upper side.
Extent tissue_extent(const Profiles& counts, const Setting& setting, std::int64_t frame_top) {
    const std::int64_t peak = peak_of(counts.rows);
    Extent extent{tissue_across(counts.columns, setting), 0, peak, 0};
    extent.bottom = first_sparse(counts.rows, peak, setting.height - 1, setting.height - 1);
    if (setting.muscle_view && !setting.is_bright) {
        place_with_muscle(extent, peak, frame_top, setting.height);
        return extent;
    }
    if (peak > 0) extent.top = first_sparse(counts.rows, peak, 1, 0);
    if (setting.muscle_view) extent.centre = (extent.bottom + extent.top) / 2;
    return extent;
}

bool is_too_small(const Extent& extent, const Setting& setting) {
    return extent.bottom - extent.top < setting.height / 10 || extent.across < setting.width / 10;
}

/// Half ellipse on the chest wall, in pixels.
struct Ellipse {
    double across, up, down;

    [[nodiscard]] double area() const {
        return std::numbers::pi * across * up * 0.25 + std::numbers::pi * across * down * 0.25;
    }
};

Ellipse ellipse_of(const Extent& extent, const Setting& setting) {
    const double shrink = setting.is_bright ? kShrinkBright : kShrink;
    const double shrink_down = setting.is_bright ? kShrinkBright : kShrinkWithMuscle;
    Ellipse ellipse{shrink * static_cast<double>(extent.across),
                    shrink * static_cast<double>(extent.centre - extent.top),
                    shrink * static_cast<double>(extent.bottom - extent.centre)};
    if (setting.muscle_view) {
        ellipse.up *= shrink_down;
        ellipse.down *= shrink_down;
    }
    return ellipse;
}

/// Raises the dark pixels of one row. The nearer they are to the wall, the more they are raised.
class Raise {
public:
    Raise(const Setting& call, float near_wall_factor, std::int64_t centre)
        : setting_(call),
          noise_level_(call.noise_level),
          near_wall_(
              static_cast<std::uint16_t>(truncate_to<std::int64_t>(double{call.noise_level * near_wall_factor} + 0.5))),
          centre_column_(centre) {}

    /// `reach` is the extent of the ellipse from the wall in this row, in columns. Returns the number of raised pixels.
    std::int64_t raise_row(Row<std::uint16_t> row, double reach) const {
        std::int64_t raised = 0;
        for (const Zone& zone : zones_of(reach)) {
            const Columns columns = zone.columns.cut_to({0, setting_.width - 1});
            for (std::int64_t x = columns.first; x <= columns.last; ++x) {
                std::uint16_t& p = row[x];
                if (p == 0 || p >= noise_level_) continue;  // 0 lies outside the frame
                p = static_cast<std::uint16_t>((zone.keeps_value ? p : 0) + zone.level);
                ++raised;
            }
        }
        return raised;
    }

private:
    struct Zone {
        Columns columns;
        bool keeps_value;     // adds to the pixel instead of replacing it
        std::uint16_t level;  // sums wrap at 16 bits
    };

    /// The zone next to the wall, the nearer half of the row, and the rest. The zone next to the wall comes first.
    [[nodiscard]] std::array<Zone, 3> zones_of(double reach) const {
        const std::int64_t centre = centre_column_;
        if (setting_.side == SIDE_CHEST_LEFT) {
            const auto end = truncate_to<std::int64_t>(reach + 0.5);
            const std::int64_t near_end = std::min(centre, end), half_end = std::max(near_end, std::min(end / 2, end));
            return {Zone{{0, near_end - 1}, true, near_wall_}, Zone{{near_end, half_end - 1}, true, noise_level_},
                    Zone{{half_end, end - 1}, false, noise_level_}};
        }
        const auto outer = truncate_to<std::int64_t>(setting_.width - reach + 0.5);
        const std::int64_t first = outer + 1, middle = (outer + setting_.width) / 2;
        const std::int64_t near_first = std::max(centre + 1, first);
        const std::int64_t half_first = std::min(near_first, std::max(middle + 1, first));
        return {Zone{{near_first, setting_.width - 1}, true, near_wall_},
                Zone{{half_first, near_first - 1}, true, noise_level_},
                Zone{{first, half_first - 1}, false, noise_level_}};
    }

    const Setting& setting_;
    std::uint16_t noise_level_;
    std::uint16_t near_wall_;
    std::int64_t centre_column_;
};

/// Raises one half of the ellipse. `direction` is -1 for the half above the centre, which ends one row above it.
std::int64_t raise_half(Image& work, const Raise& raise, const Extent& extent, double across, double down,
                        std::int64_t direction) {
    const auto rows = truncate_to<std::int64_t>(down);
    // Only the rows inside the image: the centre depends on the top of the frame, which may lie anywhere.
    const std::int64_t first = std::max<std::int64_t>(direction < 0 ? extent.centre - rows : extent.centre, 0);
    const std::int64_t end =
        std::min<std::int64_t>(direction < 0 ? extent.centre : extent.centre + rows, std::int64_t{work.GetHeight()});
    std::int64_t raised = 0;
    for (std::int64_t y = first; y < end; ++y) {
        const auto distance = static_cast<double>(y - extent.centre);
        const double q = std::sqrt(1.0 - distance * distance / (down * down));
        raised += raise.raise_row(grey_row_to_write(work, y), across * q);
    }
    return raised;
}

/// Raises the ellipse. Returns the raised fraction of its area.
double raise_ellipse(Image& work, const Raise& raise, const Extent& extent, const Ellipse& ellipse) {
    const std::int64_t raised = raise_half(work, raise, extent, ellipse.across, ellipse.up, -1) +
                                raise_half(work, raise, extent, ellipse.across, ellipse.down, +1);
    const double area = ellipse.area();
    return area == 0.0 ? 0.0 : static_cast<double>(raised) / area;
}

}  // namespace

double raise_chest_wall(Image& work, const Mask* frame, const Masking::Params& params, const Settings& settings,
                        int centre_column) {
    const NoiseClass& rules = rules_of(params.bgNoise);
    if (frame == nullptr || MaskReader::is_empty(*frame) || rules.has_padding) return 0.0;
    const Setting setting{.side = params.side,
                          .muscle_view = params.view == VIEW_PECT,
                          .is_bright = rules.is_bright,
                          .width = width_of(work),
                          .height = height_of(work),
                          .noise_level = settings.noise_level};
    const Profiles counts = count_tissue(work, *frame, setting);
    const Extent extent = tissue_extent(counts, setting, rows_of(*frame).first);
    if (!has_wall(setting.side) || is_too_small(extent, setting)) return 0.0;
    const Raise raise(setting, settings.radius_scale, centre_column);
    return raise_ellipse(work, raise, extent, ellipse_of(extent, setting));
}

double write_thresholded(const Image& image, Mask* frame, const Masking::Params& params, const Settings& settings,
                         int centre_column, Image* thresholded) {
    Image work(&image, true);
    Utils::ImageCopy(&image, &work);
    Utils::ApplyMask(&work, frame);
    const double raised = raise_chest_wall(work, frame, params, settings, centre_column);
    const int size = settings.blur_size;
    Utils::expect_memory(Filter::Blur(&work, thresholded, size, size, size / 2, size / 2));
    Utils::ApplyMask(thresholded, frame);
    return raised;
}

}  // namespace Norvane

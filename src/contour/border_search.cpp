// SPDX-License-Identifier: Apache-2.0
/// Searches for the contour over all pixels of the field, row by row from the centre outwards. The default form uses
/// the angle table; the fast form follows the tissue from row to row.
#include "contour/bin_crossings.h"
#include "contour/contour_search.h"
#include "contour/contour_smoothing.h"
#include "contour/open_bins.h"
#include "contour/polar_bins.h"
#include "contour/search_images.h"
#include "contour/tissue_rules.h"
#include "model/mask_reader.h"
#include "model/numbers.h"
#include "model/wide_vectors.h"

#include <algorithm>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <utility>
#include <vector>

namespace Norvane {
namespace {

constexpr SmoothingWindows kDefaultWindows{96, 8, 64};
constexpr SmoothingWindows kFastWindows{96, 32, 64};

using Columns = Interval<std::int64_t>;  // wide enough for every column of a mask

/// One row of the search.
struct ScanRow {
    int y;
    int dy;         // rows below the origin
    int above;      // +1: on or above the centre row, -1: below
    Columns field;  // from the frame's first run of the row to its last; if it has none, the whole row

    /// The columns of the breast side: from the wall's edge column to the end of the field.
    [[nodiscard]] Columns breast_side(const PolarOrigin& origin, int width) const {
        if (origin.outward > 0) return {origin.edge_column, std::min<std::int64_t>(field.last, width - 1)};
        return {field.first, origin.edge_column};
    }
};

/// The part of the columns that lies inside the image.
Depths depths_in_image(Columns columns, const PolarOrigin& origin, int width) {
    if (columns.first >= width || columns.last < 0) return {0, -1};
    const auto seen = columns.cut_to({0, width - 1});
    const int low = static_cast<int>(seen.first), high = static_cast<int>(seen.last);
    if (origin.outward > 0) return {low - origin.edge_column, high - origin.edge_column};
    return {origin.edge_column - high, origin.edge_column - low};
}

/// The bins between two, in either order.
Bins bins_of(int a, int b) { return {std::min(a, b), std::max(a, b)}; }

/// A form of the search. For each row, start_row() returns the depths to examine. For each block of them,
/// bins_between() returns the bins. If one of these bins is open, visit_runs(block, visit) calls visit(bin, depths) for
/// neighbouring pixels of one bin, going away from the wall. distance() may only be called during that call and for its
/// depths; the other three functions take its result. The tests of this room hold the plain definition of both forms,
/// pixel by pixel.
template <class F>
concept SearchForm = requires(F form, const F& read, const ScanRow& row, Depths depths, Direction& direction,
                              typename F::Distance distance, void (*visit)(int, Depths)) {
    { form.start_row(row) } -> std::same_as<Depths>;
    { read.bins_between(depths) } -> std::same_as<Bins>;
    form.visit_runs(depths, visit);
    { read.distance(depths.first) } -> std::same_as<typename F::Distance>;
    { read.is_beyond_gate(distance) } -> std::same_as<bool>;
    { read.is_far_off(distance) } -> std::same_as<bool>;
    { form.record(direction, depths.first, distance) } -> std::same_as<bool>;
};

/// The default search: bins come from the angle table, and a pixel nearer than the bin's radius changes nothing.
class TableSearch {
public:
    using Distance = float;

    TableSearch(const PolarOrigin& from, int image_width)
        : origin_(from), width_(image_width), gate_(static_cast<float>(from.gate_distance)) {
        far_distance_ = static_cast<float>(two_thirds_of(width_));
        const AcosTable table(Masking::NUM_IN_LUT);
        for (const int sign : {1, -1})
            (sign > 0 ? bins_above_ : bins_below_) =
                tabulate<std::uint16_t>(table, origin_.outward, sign, [&](float angle) { return bin_of(angle, sign); });
    }

    [[nodiscard]] Depths start_row(const ScanRow& row) {
        dy_ = row.dy;
        above_ = row.above;
        bins_ = above_ > 0 ? bins_above_.data() : bins_below_.data();
        return depths_in_image(row.breast_side(origin_, width_), origin_, width_);
    }
    /// The table index grows with the depth. Rounding of the distance changes it by at most one.
    [[nodiscard]] Bins bins_between(Depths block) const {
        if (dy_ == 0 && block.first == 0) return {0, kLastBin};  // the bin of the origin is a separate one
        const int low = std::max(PolarRow::pixel(block.first, dy_, above_).index - 1, 0);
        const int high = std::min(PolarRow::pixel(block.last, dy_, above_).index + 1, Masking::NUM_IN_LUT);
        return bins_of(bins_[low], bins_[high]);
    }
    template <class Visit>
    void visit_runs(Depths block, Visit visit) {
        first_depth_ = block.first;
        run_wide([&] { polar_.set(block.first, block.last, dy_, above_); });
        const auto bin_at = [this, index = Row<const std::uint16_t>(polar_.index)](int depth) {
            return bins_[index[depth - first_depth_]];
        };
        for (int first = block.first; first <= block.last;) {
            const int bin = bin_at(first);
            int last = first;
            while (last < block.last && bin_at(last + 1) == bin) ++last;
            visit(bin, Depths{first, last});
            first = last + 1;
        }
    }
    [[nodiscard]] Distance distance(int depth) const { return Row<const float>(polar_.distance)[depth - first_depth_]; }
    [[nodiscard]] bool is_beyond_gate(Distance r) const { return r > gate_; }
    [[nodiscard]] bool is_far_off(Distance r) const { return r > far_distance_; }
    [[nodiscard]] bool record(Direction& direction, int, Distance r) {
        if (direction.radius > r) return false;
        direction.radius = r;
        return true;
    }

private:
    /// With the wall on the left, the bins run from straight down to straight up; with the wall on the right, the other
    /// way round.
    [[nodiscard]] std::uint16_t bin_of(float angle, int sign) const {
        constexpr int kFullCircle = 2 * Masking::c_num_angles;
        const int quarter_degrees = truncate_to<int>(double{angle} * kBinsPerRadian);
        const int bin = origin_.outward > 0 ? (sign * kFullCircle + quarter_degrees) % kFullCircle + kHorizontalBin
                                            : quarter_degrees - kHorizontalBin;
        return static_cast<std::uint16_t>(std::clamp(bin, 0, kLastBin));
    }

    const PolarOrigin& origin_;
    int width_;
    float gate_;
    float far_distance_;
    std::vector<std::uint16_t> bins_above_;  // by PolarRow index
    std::vector<std::uint16_t> bins_below_;
    const std::uint16_t* bins_ = nullptr;  // the bins of the current row
    PolarRow polar_;                       // the last block that was loaded
    int first_depth_ = 0;
    int dy_ = 0;
    int above_ = 1;
};

/// The fast search: distances are squared, bins come from the arctangent, and the latest pixel of a bin wins. Each row
/// is only searched near the columns in which the row before had tissue.
class WindowSearch {
public:
    using Distance = std::int64_t;

    WindowSearch(const PolarOrigin& from, int image_width)
        : origin_(from),
          width_(image_width),
          gate_(square(from.gate_distance)),
          far_distance_(square(two_thirds_of(image_width))),
          tissue_(from.outward > 0 ? Columns{from.edge_column, image_width} : Columns{0, from.edge_column}),
          bins_(from.outward) {}

    [[nodiscard]] Depths start_row(const ScanRow& row) {
        constexpr double kWidening = double{0.18F};  // share of the row's field
        const double span = static_cast<double>(row.field.last - row.field.first) * kWidening;
        const Columns limits = row.breast_side(origin_, width_);
        const Columns window{
            std::max(limits.first, truncate_to<std::int64_t>(static_cast<double>(tissue_.first) - span + 0.5)),
            std::min(limits.last, truncate_to<std::int64_t>(static_cast<double>(tissue_.last) + span + 0.5))};
        // If a row has no tissue, the next row gets its window with the ends exchanged.
        tissue_ = {window.last, window.first};
        dy_ = row.dy;
        return depths_in_image(window, origin_, width_);
    }
    [[nodiscard]] Distance distance(int depth) const { return square(depth) + square(dy_); }
    /// Bins are monotonic in the angle, and the angle in the depth.
    [[nodiscard]] Bins bins_between(Depths block) const {
        return bins_of(bins_.bin_at(block.first, dy_), bins_.bin_at(block.last, dy_));
    }
    template <class Visit>
    void visit_runs(Depths block, Visit visit) const {
        bins_.visit_runs(block, dy_, visit);
    }
    [[nodiscard]] bool is_beyond_gate(Distance squared) const { return squared > gate_; }
    [[nodiscard]] bool is_far_off(Distance squared) const { return squared > far_distance_; }
    [[nodiscard]] bool record(Direction& direction, int depth, Distance squared) {
        const std::int64_t x = origin_.edge_column + origin_.outward * depth;
        tissue_ = {std::min(tissue_.first, x), std::max(tissue_.last, x)};
        direction.radius = static_cast<float>(squared);
        return true;
    }

private:
    [[nodiscard]] static std::int64_t square(std::int64_t v) { return v * v; }

    const PolarOrigin& origin_;
    int width_;
    Distance gate_;
    Distance far_distance_;
    Columns tissue_;  // columns of the tissue found in the last row
    int dy_ = 0;
    ArctangentBins bins_;
};

/// The input of both forms of the search.
struct RasterSearch {
    const SearchImages& images;
    const PolarOrigin& origin;
    const TissueRules& tissue;
    const SearchRules& given;

    /// Scans one row in blocks. If all bins of a block are closed, as in most blocks beyond the skin, the block is
    /// skipped.
    template <SearchForm Form>
    void scan_row(const ScanRow& row, Form& form, std::vector<Direction>& directions, OpenBins& open) const {
        constexpr int kBlock = 64;  // pixels
        const RowRules rules = raster_rules(given.params, given.settings, row.above > 0);
        const Depths depths = form.start_row(row);
        for (int first = depths.first; first <= depths.last; first += kBlock) {
            const Depths block{first, std::min(first + kBlock - 1, depths.last)};
            if (!open.any(form.bins_between(block))) continue;
            scan_block(row.y, block, rules, form, directions, open);
        }
    }

    template <SearchForm Form>
    void scan_block(int y, Depths block, RowRules rules, Form& form, std::vector<Direction>& directions,
                    OpenBins& open) const {
        const auto grey_row = images.grey_at(y);
        const auto searched_row = images.searched_at(y);
        const Row<Direction> by_bin{directions};
        form.visit_runs(block, [&](int bin, Depths run) {
            Direction& direction = by_bin[bin];
            if (direction.tolerance == 0) return;
            Direction current = direction;  // a copy, kept in registers during the run
            for (int depth = run.first; depth <= run.last && current.tolerance != 0; ++depth) {
                const int column = origin.edge_column + origin.outward * depth;
                const bool raised = rules.raises_near_wall && depth < origin.near_wall_width;
                if (!tissue.is_tissue(current, searched_row[column], raised, rules)) {
                    --current.tolerance;
                    continue;
                }
                const typename Form::Distance distance = form.distance(depth);
                if (!form.record(current, depth, distance) || !rules.stops_at_edges) continue;
                const std::uint16_t grey = grey_row[column];
                tissue.note(current, grey, tissue.of_fall(raster_fall(current.history, grey)),
                            {.is_raised = raised,
                             .is_beyond_gate = form.is_beyond_gate(distance),
                             .is_far_off = form.is_far_off(distance)});
            }
            if (current.tolerance == 0) open.close(bin);
            direction = current;
        });
    }

    /// Scans the rows of the field: first from the centre row upwards, then from the row below it downwards.
    template <SearchForm Form>
    [[nodiscard]] std::vector<Direction> scan(const Mask& frame, Form form) const {
        std::vector<Direction> directions(Masking::c_num_angles, Direction(given.settings.tolerance));
        if (MaskReader::is_empty(frame) || given.settings.tolerance == 0) return directions;
        OpenBins open;
        MaskReader reader(frame);
        const std::int64_t first = frame.GetMinY();
        const std::int64_t last = std::min<std::int64_t>(frame.GetMaxY(), images.height() - 1);
        for (std::int64_t step = first; step <= last; ++step) {
            const int y = static_cast<int>(step <= origin.row ? origin.row - (step - first) : step);
            if (y >= images.height()) continue;
            const auto runs = reader.row(y);
            const Columns field =
                runs.empty() ? Columns{0, images.width() - 1} : Columns{runs.front().first, runs.back().last};
            scan_row({y, y - origin.row, y <= origin.row ? 1 : -1, field}, form, directions, open);
        }
        return directions;
    }
};

template <class RadiusOf>
std::vector<float> radii_of(const std::vector<Direction>& directions, RadiusOf radius_of) {
    std::vector<float> radii;
    radii.reserve(directions.size());
    for (const Direction& direction : directions) radii.push_back(radius_of(direction.radius));
    return radii;
}

/// The radius of every bin, not yet smoothed. If the chest wall is on neither side, all are 0.
template <SearchForm Form, class RadiusOf>
std::vector<float> search_radii(const SearchImages& images, const Mask& frame, const SearchRules& given,
                                RadiusOf radius_of) {
    const PolarOrigin origin(given.state, given.params.side);
    if (origin.outward == 0) return std::vector<float>(Masking::c_num_angles, 0.0F);
    const TissueRules tissue(given.settings, given.params, given.state);
    const RasterSearch raster{images, origin, tissue, given};
    return radii_of(raster.scan(frame, Form(origin, images.width())), radius_of);
}

/// Adds the host's offset to every radius of `from`.
void add_offset(const std::vector<float>& from, int offset, std::vector<float>& to) {
    for (std::size_t k = 0; k < from.size(); ++k) to[k] = from[k] + static_cast<float>(offset);
}

}  // namespace

Outlines contour_of_all_pixels(const SearchImages& images, const Mask& frame, const SearchRules& rules,
                               bool with_outer) {
    Outlines found{search_radii<TableSearch>(images, frame, rules, [](float r) { return r; }), {}};
    if (with_outer) found.outer.resize(Masking::c_num_angles);
    fill_contour_gaps(found.radii, rules.params.view);
    smooth_outline(found.radii, found.outer, smoothing_of(rules.params, kDefaultWindows));
    return found;
}

Outlines contour_near_tissue(const SearchImages& images, const Mask& frame, const SearchRules& rules,
                             std::vector<float> outer) {
    const Masking::Params& params = rules.params;
    std::vector<float> radii =
        search_radii<WindowSearch>(images, frame, rules, [](float squared) { return std::sqrt(squared); });
    fill_contour_gaps(radii, params.view);
    const Smoothing smoothing = smoothing_of(params, kFastWindows);
    std::vector<float> none;
    if (!params.fullContour) {
        smooth_outline(radii, none, smoothing);
        return {std::move(radii), {}};
    }
    outer.resize(Masking::c_num_angles);
    if (params.smoothContour) {
        smooth_outline(radii, params.singleContour ? none : outer, smoothing);
    } else {
        smooth_outline(radii, none, smoothing);
        add_offset(radii, params.contourOffset, params.singleContour ? radii : outer);
    }
    return {std::move(radii), std::move(outer)};
}

}  // namespace Norvane

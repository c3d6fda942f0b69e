// SPDX-License-Identifier: Apache-2.0
/// The contour search over all pixels of the field, row by row from the centre outwards: the default form with the
/// angle table, and the fast one that follows the tissue from row to row.
#include <norvane/masking.h>

#include "contour/bin_crossings.h"
#include "contour/open_bins.h"
#include "contour/polar_bins.h"
#include "contour/search_images.h"
#include "contour/tissue_rules.h"
#include "model/mask_reader.h"
#include "model/numbers.h"
#include "model/wide_vectors.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace Norvane {
namespace {

constexpr SmoothingWindows kDefaultWindows{96, 8, 64};
constexpr SmoothingWindows kFastWindows{96, 32, 64};

/// Columns, both ends in; none where low is beyond high. Wide enough for every column of a mask.
struct ColumnRange {
    std::int64_t low;
    std::int64_t high;
};

/// One row of the search.
struct ScanRow {
    int y;
    int dy;             // rows below the origin
    int above;          // +1: on or above the centre row, -1: below
    ColumnRange field;  // from the frame's first run of the row to its last; the whole row where it has none

    /// The columns of the breast side: from the wall's edge column to the end of the field.
    [[nodiscard]] ColumnRange breast_side(const PolarOrigin& origin, int width) const {
        if (origin.outward > 0) return {origin.edge_column, std::min<std::int64_t>(field.high, width - 1)};
        return {field.low, origin.edge_column};
    }
};

/// Of the columns those that the image has.
Depths depths_in_image(ColumnRange columns, const PolarOrigin& origin, int width) {
    if (columns.low >= width || columns.high < 0) return {0, -1};
    const int low = static_cast<int>(std::max<std::int64_t>(columns.low, 0));
    const int high = static_cast<int>(std::min<std::int64_t>(columns.high, width - 1));
    if (origin.outward > 0) return {low - origin.edge_column, high - origin.edge_column};
    return {origin.edge_column - high, origin.edge_column - low};
}

/// The default search: bins from the angle table, and a pixel nearer than the bin's radius changes nothing.
class TableSearch {
public:
    using Distance = float;

    TableSearch(const PolarOrigin& from, int image_width)
        : origin(from), width(image_width), gate(static_cast<float>(from.gate_distance)) {
        far_distance = static_cast<float>(two_thirds_of(static_cast<unsigned>(width)));
        const AcosTable table(Masking::NUM_IN_LUT);
        for (const int sign : {1, -1})
            (sign > 0 ? bins_above : bins_below) =
                tabulate<std::uint16_t>(table, origin.outward, sign, [&](float angle) { return bin_of(angle, sign); });
    }

    [[nodiscard]] Depths start_row(const ScanRow& row) {
        dy = row.dy;
        above = row.above;
        bins = above > 0 ? bins_above.data() : bins_below.data();
        return depths_in_image(row.breast_side(origin, width), origin, width);
    }
    /// The table index grows with the depth; the rounding of the distance moves it by one at most.
    [[nodiscard]] BinRange bins_between(Depths block) {
        if (dy == 0 && block.first == 0) return {0, kLastBin};  // the origin's bin lies apart
        const auto index_at = [this](int depth) {
            polar.set(depth, depth, dy, above);
            return int{polar.index[0]};
        };
        const int low = std::max(index_at(block.first) - 1, 0);
        const int high = std::min(index_at(block.last) + 1, Masking::NUM_IN_LUT);
        return std::minmax({int{bins[low]}, int{bins[high]}});
    }
    /// Calls visit(bin, depths) for neighbouring pixels of one bin, going away from the wall.
    template <class Visit>
    void visit_runs(Depths block, Visit visit) {
        first_depth = block.first;
        run_wide([&] { polar.set(block.first, block.last, dy, above); });
        const auto bin_at = [this](int depth) {
            return bins[polar.index[static_cast<std::size_t>(depth - first_depth)]];
        };
        for (int first = block.first; first <= block.last;) {
            const int bin = bin_at(first);
            int last = first;
            while (last < block.last && bin_at(last + 1) == bin) ++last;
            visit(bin, Depths{first, last});
            first = last + 1;
        }
    }
    [[nodiscard]] Distance distance(int depth) const {
        return polar.distance[static_cast<std::size_t>(depth - first_depth)];
    }
    [[nodiscard]] bool is_beyond_gate(Distance r) const { return r > gate; }
    [[nodiscard]] bool is_far_off(Distance r) const { return r > far_distance; }
    [[nodiscard]] bool record(Direction& direction, int, Distance r) {
        if (direction.radius > r) return false;
        direction.radius = r;
        return true;
    }

private:
    /// The bins run from straight down to straight up on the left, from straight up to straight down on the right.
    [[nodiscard]] std::uint16_t bin_of(float angle, int sign) const {
        constexpr int kFullCircle = 2 * Masking::c_num_angles;
        const int quarter_degrees = truncate_to<int>(static_cast<double>(angle) * kBinsPerRadian);
        const int bin = origin.outward > 0 ? (sign * kFullCircle + quarter_degrees) % kFullCircle + kHorizontalBin
                                           : quarter_degrees - kHorizontalBin;
        return static_cast<std::uint16_t>(std::clamp(bin, 0, kLastBin));
    }

    const PolarOrigin& origin;
    int width;
    float gate;
    float far_distance;
    std::vector<std::uint16_t> bins_above;  // by PolarRow index
    std::vector<std::uint16_t> bins_below;
    const std::uint16_t* bins = nullptr;  // those of the current row
    PolarRow polar;                       // of the block last loaded
    int first_depth = 0;
    int dy = 0;
    int above = 1;
};

/// The fast search: squared distances, bins from the arctangent, the latest pixel of a bin wins, and each row looks
/// only near the columns where the row before had tissue.
class WindowSearch {
public:
    using Distance = std::int64_t;

    WindowSearch(const PolarOrigin& from, int image_width)
        : origin(from),
          width(image_width),
          gate(square(from.gate_distance)),
          far_distance(square(two_thirds_of(static_cast<unsigned>(image_width)))),
          tissue(from.outward > 0 ? ColumnRange{from.edge_column, image_width} : ColumnRange{0, from.edge_column}),
          bins(from.outward) {}

    [[nodiscard]] Depths start_row(const ScanRow& row) {
        constexpr double kWidening = static_cast<double>(0.18F);  // of the row's field
        const double span = static_cast<double>(row.field.high - row.field.low) * kWidening;
        const ColumnRange limits = row.breast_side(origin, width);
        const ColumnRange window{
            std::max(limits.low, truncate_to<std::int64_t>(static_cast<double>(tissue.low) - span + 0.5)),
            std::min(limits.high, truncate_to<std::int64_t>(static_cast<double>(tissue.high) + span + 0.5))};
        // A row without tissue hands its window on with the ends exchanged.
        tissue = {window.high, window.low};
        dy = row.dy;
        return depths_in_image(window, origin, width);
    }
    [[nodiscard]] Distance distance(int depth) const { return square(depth) + square(dy); }
    /// Bins run with the angle, and the angle with the depth.
    [[nodiscard]] BinRange bins_between(Depths block) const {
        return std::minmax({bins.bin_at(block.first, dy), bins.bin_at(block.last, dy)});
    }
    template <class Visit>
    void visit_runs(Depths block, Visit visit) const {
        bins.visit_runs(block, dy, visit);
    }
    [[nodiscard]] bool is_beyond_gate(Distance squared) const { return squared > gate; }
    [[nodiscard]] bool is_far_off(Distance squared) const { return squared > far_distance; }
    [[nodiscard]] bool record(Direction& direction, int depth, Distance squared) {
        const std::int64_t x = origin.edge_column + origin.outward * depth;
        tissue = {std::min(tissue.low, x), std::max(tissue.high, x)};
        direction.radius = static_cast<float>(squared);
        return true;
    }

private:
    [[nodiscard]] static std::int64_t square(std::int64_t v) { return v * v; }

    const PolarOrigin& origin;
    int width;
    Distance gate;
    Distance far_distance;
    ColumnRange tissue;  // columns of the tissue found in the last row
    int dy = 0;
    ArctangentBins bins;
};

/// What both forms of the search are given.
struct RasterSearch {
    const SearchImages& images;
    const PolarOrigin& origin;
    const TissueRules& tissue;
    const SearchSettings& settings;
    const Masking::Params& params;

    /// One row, block by block: a block whose bins are all closed, as most are beyond the skin, is passed over whole.
    template <class Form>
    void scan_row(const ScanRow& row, Form& form, std::vector<Direction>& directions, OpenBins& open) const {
        constexpr int kBlock = 64;  // pixels
        const RowRules rules = raster_rules(params, settings, row.above > 0);
        const Depths depths = form.start_row(row);
        for (int first = depths.first; first <= depths.last; first += kBlock) {
            const Depths block{first, std::min(first + kBlock - 1, depths.last)};
            if (!open.any(form.bins_between(block))) continue;
            scan_block(row.y, block, rules, form, directions, open);
        }
    }

    template <class Form>
    void scan_block(int y, Depths block, RowRules rules, Form& form, std::vector<Direction>& directions,
                    OpenBins& open) const {
        const auto grey_row = images.grey_at(y);
        const auto searched_row = images.searched_at(y);
        form.visit_runs(block, [&](int bin, Depths run) {
            Direction& direction = directions[static_cast<std::size_t>(bin)];
            if (direction.tolerance == 0) return;
            Direction current = direction;  // in registers, for the length of the run
            for (int depth = run.first; depth <= run.last && current.tolerance != 0; ++depth) {
                const int column = origin.edge_column + origin.outward * depth;
                const auto x = static_cast<std::size_t>(column);
                const bool raised = rules.raises_near_wall && depth < origin.near_wall_width;
                if (!tissue.is_tissue(current, searched_row[x], raised, rules)) {
                    --current.tolerance;
                    continue;
                }
                const typename Form::Distance distance = form.distance(depth);
                if (!form.record(current, depth, distance) || !rules.stops_at_edges) continue;
                const std::uint16_t grey = grey_row[x];
                tissue.note(current, grey, tissue.of_fall(raster_fall(current.history, grey)), raised,
                            form.is_beyond_gate(distance), form.is_far_off(distance));
            }
            if (current.tolerance == 0) open.close(bin);
            direction = current;
        });
    }

    /// The rows of the field, first from the centre row upwards, then from the row below it downwards.
    template <class Form>
    [[nodiscard]] std::vector<Direction> scan(const Mask& frame, Form form) const {
        std::vector<Direction> directions(Masking::c_num_angles, Direction(settings.tolerance));
        if (MaskReader::is_empty(frame) || settings.tolerance == 0) return directions;
        OpenBins open;
        MaskReader reader(frame);
        const std::int64_t first = frame.GetMinY();
        const std::int64_t last = std::min<std::int64_t>(frame.GetMaxY(), images.height() - 1);
        for (std::int64_t step = first; step <= last; ++step) {
            const int y = static_cast<int>(step <= origin.row ? origin.row - (step - first) : step);
            if (y >= images.height()) continue;
            const auto runs = reader.row(static_cast<unsigned>(y));
            const ColumnRange field =
                runs.empty() ? ColumnRange{0, images.width() - 1} : ColumnRange{runs.front().first, runs.back().last};
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

/// The radius of every bin, not yet smoothed; all 0 for a chest wall on neither side.
template <class Form, class RadiusOf>
std::vector<float> search_radii(const SearchImages& images, const Mask& frame, const SearchSettings& settings,
                                const Masking::Params& params, const ContourState& state, RadiusOf radius_of) {
    const PolarOrigin origin(state, params.side);
    if (origin.outward == 0) return std::vector<float>(Masking::c_num_angles, 0.0F);
    const TissueRules tissue(settings, params, state);
    const RasterSearch raster{images, origin, tissue, settings, params};
    return radii_of(raster.scan(frame, Form(origin, images.width())), radius_of);
}

float square_root(float squared) { return static_cast<float>(std::sqrt(static_cast<double>(squared))); }

/// Adds the host's offset to every radius of `from`.
void add_offset(const std::vector<float>& from, int offset, std::vector<float>& to) {
    for (std::size_t k = 0; k < from.size(); ++k) to[k] = from[k] + static_cast<float>(offset);
}

}  // namespace

std::vector<float> Masking::find_contour_border(Image* grey, Image* search, Mask* frame, std::vector<float>& outer,
                                                bool fullContour) {
    if (!SearchImages::fit(grey, search) || frame == nullptr || contourState == nullptr) return {};
    if (fullContour)
        outer.resize(c_num_angles);
    else
        outer.clear();
    frame->SetTargetPixelSize(grey->GetPixelSize());

    const SearchSettings settings{changeThreshold, radiusScale,   gradientThreshold,   gradientScale,
                                  borderFactor,    contourMargin, backgroundNoiseLevel};
    std::vector<float> radii =
        search_radii<TableSearch>({*grey, *search}, *frame, settings, params, *contourState, [](float r) { return r; });
    fill_in_contour_gap(radii);
    smooth_contour(radii, outer, kDefaultWindows.of(params.bgNoise));
    return radii;
}

std::vector<float> Masking::find_contour_border_opt(Image* grey, Image* search, Mask* frame,
                                                    std::vector<float>& outer) {
    if (!SearchImages::fit(grey, search) || frame == nullptr || contourState == nullptr) return {};
    frame->SetTargetPixelSize(grey->GetPixelSize());

    const SearchSettings settings{changeThreshold, radiusScale,   gradientThreshold,   gradientScale,
                                  borderFactor,    contourMargin, backgroundNoiseLevel};
    std::vector<float> radii =
        search_radii<WindowSearch>({*grey, *search}, *frame, settings, params, *contourState, square_root);
    fill_in_contour_gap(radii);

    const int window = kFastWindows.of(params.bgNoise);
    if (!params.fullContour) {
        smooth_contour(radii, outer, window);
        outer.clear();
        return radii;
    }
    outer.resize(c_num_angles);
    std::vector<float>& wide = params.singleContour ? radii : outer;  // the contour that is meant to lie outside
    if (params.smoothContour) {
        smooth_contour(radii, wide, window);
    } else {
        std::vector<float> no_outer;
        smooth_contour(radii, no_outer, window);
        add_offset(radii, params.contourOffset, wide);
    }
    return radii;
}

}  // namespace Norvane

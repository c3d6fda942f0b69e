// SPDX-License-Identifier: Apache-2.0
/// Builders of images and masks, plain views of them to compare, and random ones.
#pragma once

#include <norvane/norvane.h>

#include <compare>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <ostream>
#include <random>
#include <tuple>
#include <vector>

namespace Norvane::Tests {

/// Columns first .. last of a row, both ends in.
struct RowRun {
    unsigned row, first, last;
    auto operator<=>(const RowRun&) const = default;
};
inline std::ostream& operator<<(std::ostream& out, const RowRun& r) {
    return out << "row " << r.row << ": " << r.first << ".." << r.last;
}
using Runs = std::vector<RowRun>;

/// A mask whose both pixel sizes are `pixel_size`.
[[nodiscard]] Mask mask_of(const Runs& runs, float pixel_size = 228.0F);
/// Columns x0 .. x1 of rows y0 .. y1, all ends in.
[[nodiscard]] Mask rectangle(unsigned x0, unsigned x1, unsigned y0, unsigned y1, float pixel_size = 228.0F);
/// The runs in the mask's own grid, through the public interface. The target pixel size is left as it was.
[[nodiscard]] Runs runs_of(const Mask& mask);
/// The runs of the rows first .. last of the target grid, through the public interface.
[[nodiscard]] Runs target_runs(const Mask& mask, unsigned first, unsigned last);

/// All that a mask holds, to compare: the bits of both pixel sizes (a NaN equals itself), the runs, the bounds.
using MaskParts = std::tuple<std::uint32_t, std::uint32_t, Runs, unsigned, unsigned, unsigned, unsigned>;
[[nodiscard]] MaskParts parts_of(const Mask& mask);

using GreyAt = std::function<unsigned(unsigned x, unsigned y)>;

/// A 16-bit unsigned image that owns its buffer; padding columns are 0. Without `grey_at` it is all 0.
[[nodiscard]] std::unique_ptr<Image> grey_image(unsigned width, unsigned height, const GreyAt& grey_at = nullptr,
                                                float pixel_size = 228.0F);
[[nodiscard]] unsigned grey(const Image& image, unsigned x, unsigned y);
void set_grey(Image& image, unsigned x, unsigned y, unsigned value);
/// Width x height samples, row by row, padding left out.
[[nodiscard]] std::vector<std::uint16_t> pixels_of(const Image& image);

/// Parameters of a call, else the defaults. Side and view may be numbers that have no name.
[[nodiscard]] inline Masking::Params params_for(int side, int view = VIEW_NO_PECT, BG_NOISE noise = BG_AUTO) {
    Masking::Params p;
    p.side = static_cast<IMAGE_SIDE>(side);
    p.view = static_cast<IMAGE_VIEW>(view);
    p.bgNoise = noise;
    return p;
}

/// A plain bitmap: the slow twin of masks.
struct Bitmap {
    unsigned width, height;
    std::vector<bool> set;

    Bitmap(unsigned w, unsigned h) : width(w), height(h), set(std::size_t{w} * h) {}
    [[nodiscard]] bool at(unsigned x, unsigned y) const {
        return x < width && y < height && set[std::size_t{y} * width + x];
    }
    void put(unsigned x, unsigned y) { set[std::size_t{y} * width + x] = true; }
    bool operator==(const Bitmap&) const = default;
};
[[nodiscard]] Bitmap bitmap_of(const Runs& runs, unsigned width, unsigned height);
[[nodiscard]] inline Bitmap bitmap_of(const Mask& mask, unsigned width, unsigned height) {
    return bitmap_of(runs_of(mask), width, height);
}
[[nodiscard]] Mask mask_of(const Bitmap& bitmap, float pixel_size = 228.0F);
/// A filled polygon by scan conversion edge by edge: the columns of each edge on each row, by the error term's
/// recurrence. `sum` receives the sum of the extents.
[[nodiscard]] Bitmap polygon_by_edges(const std::vector<int>& points, unsigned width, unsigned height, int& sum);

/// Random numbers that are the same on every machine.
class Random {
public:
    explicit Random(unsigned seed) : engine(seed) {}
    /// 0 .. below - 1.
    [[nodiscard]] unsigned below(unsigned limit) { return static_cast<unsigned>(engine() % limit); }
    [[nodiscard]] int between(int low, int high) {
        return low + static_cast<int>(below(static_cast<unsigned>(high - low + 1)));
    }
    [[nodiscard]] bool chance(unsigned one_in) { return below(one_in) == 0; }

private:
    std::mt19937 engine;
};
/// Something like a mammogram: a bright half disc at the wall, a wedge of muscle, a frame, noise.
struct BreastSketch {
    bool on_left = true;
    int radius = 60, middle = 60, muscle = 0, frame = 0;  // pixels
    unsigned noise = 1, dark = 0, bright = 0, more = 0;   // grey levels; `noise` is above 0

    [[nodiscard]] unsigned grey(unsigned x, unsigned y, unsigned width, unsigned height, Random& random) const;
};

/// Runs of random rows and columns inside width x height; may be empty.
[[nodiscard]] Mask random_mask(Random& random, unsigned width, unsigned height, float pixel_size = 228.0F);

/// The protected members of the library's classes, for tests.
struct OpenMask : Mask {
    using Mask::init;
    using Mask::mask_to_target;
    using Mask::target_to_mask;
};
struct OpenMasking : Masking {
    using Masking::backgroundNoiseLevel;
    using Masking::blurSize;
    using Masking::boundary_tracing;
    using Masking::breast_masking_by_boundary_tracing;
    using Masking::changeThreshold;
    using Masking::check_bg_noise;
    using Masking::check_cut_tissue;
    using Masking::contourState;
    using Masking::convert_mask_to_boundary;
    using Masking::extract_thresholds;
    using Masking::fill_in_contour_gap;
    using Masking::find_contour_border;
    using Masking::find_contour_border_opt;
    using Masking::find_polar_center;
    using Masking::find_polar_contour;
    using Masking::find_tissue_mean;
    using Masking::framemasking_for_pixel_padding_images;
    using Masking::generate_full_mask;
    using Masking::generate_pect;
    using Masking::gradientThreshold;
    using Masking::init;
    using Masking::params;
    using Masking::patch_chestwall;
    using Masking::save_contour_to_file;
    using Masking::smooth_contour;
    using Masking::threshScale;
    using Masking::update_params;
    using Masking::write_half_contour_to_mask;
    using Masking::write_half_contour_to_mask_opt;
};
struct OpenPectDetect : PectDetect {
    using PectDetect::generate_pect_mask;
    using PectDetect::get_bound_mask;
    using PectDetect::get_edge;
    using PectDetect::get_line;
    using PectDetect::get_pect_edge;
    using PectDetect::get_roi;
    using PectDetect::hough_transform;
    using PectDetect::imageSide;
    using PectDetect::init;
    using PectDetect::verify_pect;
    using PectDetect::verify_pect_pairwise;
};

}  // namespace Norvane::Tests

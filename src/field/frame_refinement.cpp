// SPDX-License-Identifier: Apache-2.0
/// Follows the frame pixel by pixel along the chest side, the top and the bottom, and removes it from the rectangle.
/// Each border is examined in a strip that is turned so that the border lies at its column 0.
#include "field/frame_detector.h"

#include "imaging/image_copy.h"
#include "imaging/mask_utils.h"
#include "model/geometry.h"
#include "model/mask_reader.h"
#include "model/pixels.h"
#include "model/scratch.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace Norvane {
namespace {

constexpr int kKeep = -1;
constexpr std::array<int, 4> kTurnToLeft{kKeep, 3, 1, 0};  // mode of Rotate() by border

/// The rectangle in image coordinates, signed.
Rectangle<int> field_of(const Mask& rect, const Image& image) {
    const auto inside = [](unsigned v, unsigned offset) { return static_cast<int>(v - offset); };
    return {{inside(rect.GetMinX(), image.GetOffX()), inside(rect.GetMaxX(), image.GetOffX())},
            {inside(rect.GetMinY(), image.GetOffY()), inside(rect.GetMaxY(), image.GetOffY())}};
}

/// Adds runs in image coordinates to a mask that counts from the image's origin. Parts outside the image are cut off.
class FrameParts {
public:
    FrameParts(Mask& out, const Image& source) : mask_(out), image_(source) {}

    void add(std::int64_t row, std::int64_t first, std::int64_t last) {
        first = std::max<std::int64_t>(first, 0);
        last = std::min<std::int64_t>(last, std::int64_t{image_.GetWidth()} - 1);
        if (row < 0 || row >= image_.GetHeight() || first > last) return;
        add_run(mask_, row + image_.GetOffY(),
                Interval<std::int64_t>{first + image_.GetOffX(), last + image_.GetOffX()});
    }
    [[nodiscard]] std::int64_t width() const { return image_.GetWidth(); }
    [[nodiscard]] std::int64_t height() const { return image_.GetHeight(); }

private:
    Mask& mask_;
    const Image& image_;
};

/// Each depth entry is a row: the frame covers so many columns from the left or right border.
void add_side_part(FrameParts& parts, Row<const int> depth, bool from_left) {
    for (std::int64_t row = 0; row < std::ssize(depth); ++row) {
        if (depth[row] <= 0) continue;
        if (from_left)
            parts.add(row, 0, depth[row] - 1);
        else
            parts.add(row, parts.width() - depth[row], parts.width() - 1);
    }
}

/// How the depth entries of a top or bottom strip lie in the image. "Inner" entries lie nearer the middle of the image.
struct BandLayout {
    bool at_top;
    bool from_left;          // the window and the part of the frame beside it begin at the left border
    bool inner_entry_first;  // entry 0 is the innermost
    std::int64_t innermost_column;

    /// The column of the i-th entry counted from the innermost.
    [[nodiscard]] std::int64_t column(std::int64_t i) const {
        return from_left ? innermost_column - i : innermost_column + i;
    }
};

BandLayout band_layout(FrameBorder border, bool chest_left, std::int64_t entries, std::int64_t width,
                       unsigned window_x) {
    if (border == FRAME_TOP) return {true, chest_left, chest_left, chest_left ? entries - 1 : width - entries};
    return {false, chest_left, !chest_left, chest_left ? entries - 1 : std::int64_t{window_x}};
}

/// Each depth entry is a column. The innermost depth is a band over the whole width. If the frame becomes deeper
/// towards the side, the rows between neighbouring depths reach from there to the border. A band at the top includes
/// the row at its depth, so row 0 always belongs to it. At the bottom, this holds only for the innermost band. A bottom
/// band begins at the shallower neighbour if it runs to the right, and at the deeper one if it runs to the left.
void add_band_part(FrameParts& parts, Row<const int> depth, const BandLayout& layout) {
    const std::int64_t entries = std::ssize(depth);
    if (entries == 0) return;
    const auto depth_at = [&](std::int64_t i) {
        return std::int64_t{depth[layout.inner_entry_first ? i : entries - 1 - i]};
    };
    const auto add_rows = [&](std::int64_t first_depth, std::int64_t end_depth, std::int64_t first, std::int64_t last) {
        const std::int64_t end = std::min(end_depth, parts.height());
        for (std::int64_t d = std::max<std::int64_t>(first_depth, 0); d < end; ++d)
            parts.add(layout.at_top ? d : parts.height() - 1 - d, first, last);
    };
    add_rows(0, depth_at(0) + 1, 0, parts.width() - 1);
    for (std::int64_t i = 0; i + 1 < entries; ++i) {
        const std::int64_t inner = depth_at(i), outer = depth_at(i + 1);
        const std::int64_t column = layout.column(layout.at_top || layout.from_left ? i + 1 : i);
        add_rows(inner, layout.at_top ? outer + 1 : outer, layout.from_left ? 0 : column,
                 layout.from_left ? column : parts.width() - 1);
    }
}

/// Turns by a quarter: rows become columns.
template <class Sample>
void turn_samples(const Image& src, Image& dst, bool clockwise) {
    const unsigned w = src.GetWidth(), h = src.GetHeight();
    for (unsigned y = 0; y < h; ++y) {
        const auto row = row_of<Sample>(src, y);
        for (unsigned x = 0; x < w; ++x)
            row_of<Sample>(dst, clockwise ? x : w - 1 - x)[clockwise ? h - 1 - y : y] = row[x];
    }
}

/// Mirrors left to right; for a half turn also top to bottom.
template <class Sample>
void mirror_samples(const Image& src, Image& dst, bool half_turn) {
    for (unsigned y = 0; y < src.GetHeight(); ++y)
        std::ranges::reverse_copy(row_of<Sample>(src, y),
                                  row_of<Sample>(dst, half_turn ? src.GetHeight() - 1 - y : y).begin());
}

template <class Sample>
void rotate_samples(const Image& src, Image& dst, int mode) {
    if (mode == 0 || mode == 1)
        turn_samples<Sample>(src, dst, mode == 0);
    else
        mirror_samples<Sample>(src, dst, mode == 2);
}

/// The depth of the frame at one border, for each entry of its turned strip. The scratch images are freed after each
/// border. This keeps the peak of memory small, so that it is reused instead of being returned to the system.
std::vector<int> depths_at_border(FrameDetector& detector, Image& image, FrameBorder border, int coarse_depth,
                                  const Interval<int>& rows) {
    const unsigned width = detector.windowWidth[border], height = detector.windowHeight[border];
    GarbageList garbage;
    Image* strip = make_scratch<Image>(garbage, FORMAT_UNSIGNED, 16U, width, height, true);
    Utils::ImageCopy(&image, strip, detector.windowX[border], detector.windowY[border], 0, 0, width, height);
    if (kTurnToLeft[border] != kKeep) {
        Image* turned = nullptr;
        detector.Rotate(strip, turned, kTurnToLeft[border]);
        strip = adopt_scratch(garbage, turned);
    }
    Image* edge = make_scratch<Image>(garbage, strip, true);
    detector.EdgeImage(strip, edge, FRAME_LEFT);
    Image* thin_edge = make_scratch<Image>(garbage, strip, true);
    detector.SuppressNonMaxima(edge, strip, thin_edge);

    std::vector<int> depth(strip->GetHeight());
    const bool is_side = border == FRAME_LEFT || border == FRAME_RIGHT;
    const Interval<int> looked_at = is_side ? rows : rows_of(*strip);
    detector.DepthProfile(thin_edge, strip, coarse_depth, looked_at.first, looked_at.last, depth);
    return depth;
}

}  // namespace

bool FrameDetector::RefineFrame(Image* image, Mask* rect, IMAGE_SIDE side, Mask*& frame) {
    GarbageList garbage;
    Mask* found = make_scratch<Mask>(garbage);
    FrameParts parts(*found, *image);
    const Rectangle<int> field = field_of(*rect, *image);
    SetupWindows(image->GetWidth(), image->GetHeight(), side);

    const bool chest_left = side != SIDE_CHEST_RIGHT;
    const int chest_depth = chest_left ? field.columns.first : width_of(*image) - field.columns.last - 1;
    add_side_part(parts,
                  depths_at_border(*this, *image, chest_left ? FRAME_LEFT : FRAME_RIGHT, chest_depth, field.rows),
                  chest_left);
    for (const FrameBorder border : {FRAME_TOP, FRAME_BOTTOM}) {
        const int coarse_depth = border == FRAME_TOP ? field.rows.first : height_of(*image) - field.rows.last - 1;
        const std::vector<int> depth = depths_at_border(*this, *image, border, coarse_depth, field.rows);
        add_band_part(
            parts, depth,
            band_layout(border, side == SIDE_CHEST_LEFT, std::ssize(depth), image->GetWidth(), windowX[border]));
    }
    found->SetPixelSize(image->GetPixelSize());
    Utils::MaskSubtract(rect, found, frame);
    return true;
}

void FrameDetector::Rotate(Image* src, Image*& dst, int mode) {
    dst = nullptr;
    if (src == nullptr) return;
    const bool is_quarter = mode == 0 || mode == 1;
    dst = new Image(src->GetFormat(), src->GetBits(), is_quarter ? src->GetHeight() : src->GetWidth(),
                    is_quarter ? src->GetWidth() : src->GetHeight(), true);
    if (src->GetBuffer() == nullptr || src->GetStride() < src->GetWidth() || mode < 0 || mode > 3) return;
    switch (src->GetBits()) {
        case 8:
            return rotate_samples<std::uint8_t>(*src, *dst, mode);
        case 16:
            return rotate_samples<std::uint16_t>(*src, *dst, mode);
        case 32:
            return rotate_samples<std::uint32_t>(*src, *dst, mode);
        default:
            return;
    }
}

}  // namespace Norvane

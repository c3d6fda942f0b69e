// SPDX-License-Identifier: Apache-2.0
/// The frame search as a whole: the four straight edges, the step search, the margin rule, and the padding frame.
#include "field/frame_detector.h"

#include "field/frame_levels.h"
#include "model/geometry.h"
#include "model/numbers.h"
#include "model/pixels.h"
#include "model/working_image.h"
#include "rules/noise_class.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <span>
#include <vector>

namespace Norvane {
namespace {

constexpr int kStepDepth = 22;               // pixels
constexpr int kStepDepthOfPadding = 20;      // the same for the padding classes
constexpr Micrometres kSideMargin{20000.0};  // taken from a side without frame

using Field = Rectangle<unsigned>;

Field whole(const Image& image) { return {{0, image.GetWidth() - 1}, {0, image.GetHeight() - 1}}; }

/// Adds the field to a mask in the grid of the image's origin; nothing if its bounds cross. Coordinates wrap as
/// unsigned numbers do.
void add_field(Mask& mask, const Field& field, const Image& image) {
    if (field.is_empty()) return;
    const auto [first, last] = field.columns;
    for (std::uint64_t row = field.rows.first; row <= field.rows.last; ++row)
        mask.AddSegment(static_cast<unsigned>(row) + image.GetOffY(), first + image.GetOffX(), last - first);
}

/// The index of the steepest rise of a profile of sums over `lines` lines, 0 if none is steep enough.
unsigned steepest_rise(std::span<const std::int64_t> profile, unsigned lines) {
    float best = 0.0F;
    unsigned best_index = 0;
    for (unsigned k = 1; k + 1 < profile.size(); ++k) {
        const auto rise = static_cast<float>(static_cast<double>(profile[k + 1] - profile[k - 1]) /
                                             static_cast<double>(2 * std::uint64_t{lines}));
        if (rise > static_cast<float>(kFrameEdgeStrength) && rise > best) {
            best = rise;
            best_index = k;
        }
    }
    return best_index;
}

/// The index of the first pixel above `level`, or the size of the row.
std::size_t first_above(std::span<const std::uint16_t> row, unsigned level) {
    return static_cast<std::size_t>(std::ranges::find_if(row, [level](unsigned v) { return v > level; }) - row.begin());
}

/// 2 cm are taken from the side away from the chest wall when the frame found there is thinner than 1 cm: what lies
/// there is the rim of the detector.
void apply_side_margin(Field& field, const Image& image, IMAGE_SIDE side) {
    const auto margin = static_cast<unsigned>(pixels_for(kSideMargin, image.GetPixelSize()));
    const unsigned width = image.GetWidth();
    auto& [first, last] = field.columns;
    if (2 * margin >= width) return;
    if (side == SIDE_CHEST_RIGHT && first < margin / 2) first = margin;
    if (side == SIDE_CHEST_LEFT && last > width - margin / 2) last = width - margin - 1;
}

}  // namespace

int FrameDetector::Detect(Image* image, Mask*& frame, IMAGE_SIDE side, IMAGE_VIEW view, BG_NOISE bgNoise,
                          unsigned short level) {
    if (image == nullptr) return Masking::MASK_NO_IMAGE;
    if (frame == nullptr) return Masking::MASK_NO_MASK;
    const bool has_padding = rules_of(bgNoise).has_padding;
    borderDepth = has_padding ? kStepDepthOfPadding : kStepDepth;
    applyMargin = !has_padding;
    if (has_padding) refineOutline = false;
    if (!has_padding || !paddingAllowed) return RemoveFrame(image, frame, side);
    if (!is_usable(image)) return Masking::MASK_NO_IMAGE;
    PaddingFrame(image, frame, side, view, level);
    return Masking::MASK_OK;
}

int FrameDetector::RemoveFrame(Image* image, Mask*& frame, IMAGE_SIDE side) {
    if (image == nullptr) {
        std::cout << "Bad Image, returning out of RemoveFrame" << std::endl;
        return Masking::MASK_NO_IMAGE;
    }
    if (is_off_working_pixel_size(image->GetPixelSize())) return Masking::MASK_BAD_PIXEL_SIZE;
    if (side == SIDE_UNDEFINED) return Masking::MASK_NO_SIDE;
    if (!is_usable(image)) return Masking::MASK_NO_IMAGE;

    const FrameWindows windows = frame_windows(image->GetWidth(), image->GetHeight(), side);
    const auto border = [&](FrameBorder b) { return DetectBorder(image, windows.at(b), side, b); };
    Field field{{border(FRAME_LEFT), border(FRAME_RIGHT)}, {border(FRAME_TOP), border(FRAME_BOTTOM)}};
    NarrowByStep(*image, side, field);

    frame->Clear();
    frame->SetPixelSize(image->GetPixelSize());
    if (applyMargin) apply_side_margin(field, *image, side);
    if (!refineOutline) {
        add_field(*frame, field, *image);
        return Masking::MASK_OK;
    }
    Mask rectangle;
    rectangle.SetPixelSize(image->GetPixelSize());
    add_field(rectangle, field, *image);
    if (!field.is_empty()) RefineFrame(image, &rectangle, side, frame);
    return Masking::MASK_OK;
}

FrameWindows frame_windows(unsigned image_width, unsigned image_height, IMAGE_SIDE side) {
    constexpr double kWide = static_cast<double>(0.4F);  // of the width
    const auto width = static_cast<int>(image_width), height = static_cast<int>(image_height);
    const int wide = truncate_to<int>(kWide * width), rest = truncate_to<int>((1.0 - kWide) * width);
    const Interval<int> columns =
        side == SIDE_CHEST_LEFT ? Interval<int>{0, 2 * width / 5 - 1} : Interval<int>{3 * width / 5, width - 1};
    const Interval<int> rows{0, height - 1};
    const bool chest_left = side == SIDE_CHEST_LEFT;
    return {{{{0, (chest_left ? width / 5 : wide) - 1}, rows},
             {{chest_left ? rest : 4 * width / 5, width - 1}, rows},
             {columns, {0, height / 5 - 1}},
             {columns, {4 * height / 5, height - 1}}}};
}

void FrameDetector::NarrowByStep(const Image& image, IMAGE_SIDE side, Field& field) const {
    const unsigned width = image.GetWidth(), height = image.GetHeight();
    const unsigned lines = static_cast<unsigned>(borderDepth) + 1;
    if (borderDepth < 0 || !is_usable(&image) || width < lines || height < lines) return;

    const bool from_left = side == SIDE_CHEST_LEFT;
    const unsigned first_row = height / 10, end_row = height - height / 10;
    const unsigned first_column = width / 10, end_column = width - width / 10;
    std::vector<std::int64_t> columns(lines), rows(lines);  // sums, by distance from the border
    for (unsigned y = first_row; y < end_row; ++y) {
        const auto row = grey_row(image, y);
        for (unsigned k = 0; k < lines; ++k) columns[k] += row[from_left ? k : width - 1 - k];
    }
    for (unsigned k = 0; k < lines; ++k)
        for (const std::uint16_t v : grey_row(image, k).subspan(first_column, end_column - first_column)) rows[k] += v;

    const unsigned step = steepest_rise(columns, end_row - first_row);
    field.columns = field.columns.cut_to({from_left ? step : 0, width - 1 - (from_left ? 0 : step)});
    field.rows.first = std::max(field.rows.first, steepest_rise(rows, end_column - first_column));
}

void FrameDetector::PaddingFrame(Image* image, Mask* frame, IMAGE_SIDE side, IMAGE_VIEW view, unsigned short level) {
    frame->Clear();
    frame->SetPixelSize(image->GetPixelSize());
    if (!is_usable(image)) return;
    const unsigned width = image->GetWidth(), height = image->GetHeight();
    Field field = whole(*image);
    if (view == VIEW_PECT) {
        unsigned y = 0;
        while (y < height && first_above(grey_row(*image, y), level) == width) ++y;
        if (y < height) field.rows.first = y;
    }
    const auto middle = grey_row(*image, height / 2);
    if (side == SIDE_CHEST_LEFT) {
        if (const std::size_t x = first_above(middle, level); x < width) field.columns.first = static_cast<unsigned>(x);
    } else if (side == SIDE_CHEST_RIGHT) {
        unsigned x = width;
        while (x > 0 && middle[x - 1] <= level) --x;
        if (x > 0) field.columns.last = x - 1;
    }
    NarrowByStep(*image, side, field);
    add_field(*frame, field, *image);
}

}  // namespace Norvane

// SPDX-License-Identifier: Apache-2.0
/// The frame search as a whole: the four straight edges, the step search, the margin rule, and the padding frame.
#include "field/frame_detector.h"

#include "field/frame_levels.h"
#include "model/geometry.h"
#include "model/mask_reader.h"
#include "model/numbers.h"
#include "model/pixels.h"
#include "model/scratch.h"
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

/// Adds the columns first .. last of the rows top .. bottom. If they cross, adds nothing. Coordinates wrap like
/// unsigned numbers.
void add_rectangle(Mask& mask, const std::array<unsigned, 4>& bounds, unsigned x, unsigned y) {
    const auto [first, last, top, bottom] = bounds;
    if (first > last || top > bottom) return;
    for (std::uint64_t row = top; row <= bottom; ++row) add_run(mask, row + y, Interval<unsigned>{first + x, last + x});
}

/// The index of the steepest rise in a profile of sums over `lines` lines; 0 if no rise is steep enough.
unsigned steepest_rise(std::span<const std::int64_t> profile, unsigned lines) {
    float best = 0.0F;
    unsigned best_index = 0;
    for (unsigned k = 1; k + 1 < profile.size(); ++k) {
        const auto rise = static_cast<float>(static_cast<double>(profile[k + 1] - profile[k - 1]) / (2.0 * lines));
        if (rise > kFrameEdgeStrength && rise > best) {
            best = rise;
            best_index = k;
        }
    }
    return best_index;
}

/// The index of the first pixel above `level`, or the size of the row.
std::int64_t first_above(std::span<const std::uint16_t> row, unsigned level) {
    return std::ranges::find_if(row, [level](unsigned v) { return v > level; }) - row.begin();
}

/// If the frame that was found on the side away from the chest wall is thinner than 1 cm, cuts off 2 cm there, because
/// that is the rim of the detector.
void apply_side_margin(std::array<unsigned, 4>& bounds, const Image& image, IMAGE_SIDE side) {
    const auto margin = static_cast<unsigned>(pixels_for(kSideMargin, image.GetPixelSize()));
    const unsigned width = image.GetWidth();
    if (2 * margin >= width) return;
    if (side == SIDE_CHEST_RIGHT && bounds[0] < margin / 2) bounds[0] = margin;
    if (side == SIDE_CHEST_LEFT && bounds[1] > width - margin / 2) bounds[1] = width - margin - 1;
}

}  // namespace

FrameDetector::FrameDetector(bool padding_allowed) : paddingAllowed(padding_allowed) { init(); }

void FrameDetector::init() {
    wideWindowFraction = 0.4F;
    applyMargin = refineOutline = true;
    borderDepth = kStepDepth;
    candidates.fill(std::vector<FrameCandidate>(kCandidates));
}

int FrameDetector::Detect(Image* image, Mask*& frame, IMAGE_SIDE side, IMAGE_VIEW view, BG_NOISE bgNoise,
                          unsigned short level) {
    if (image == nullptr) return Masking::MASK_NO_IMAGE;
    if (frame == nullptr) return Masking::MASK_NO_MASK;
    const bool has_padding = rules_of(bgNoise).has_padding;
    borderDepth = has_padding ? kStepDepthOfPadding : kStepDepth;
    applyMargin = !has_padding;
    if (has_padding) refineOutline = false;
    if (!has_padding || !paddingAllowed) return RemoveFrame(image, frame, side, view);
    if (!is_usable(image)) return Masking::MASK_NO_IMAGE;
    PaddingFrame(image, frame, side, view, level);
    return Masking::MASK_OK;
}

int FrameDetector::RemoveFrame(Image* image, Mask*& frame, IMAGE_SIDE side, IMAGE_VIEW /*view*/) {
    if (image == nullptr) {
        std::cout << "Bad Image, returning out of RemoveFrame" << std::endl;
        return Masking::MASK_NO_IMAGE;
    }
    if (is_off_working_pixel_size(image->GetPixelSize())) return Masking::MASK_BAD_PIXEL_SIZE;
    if (side == SIDE_UNDEFINED) return Masking::MASK_NO_SIDE;
    if (!is_usable(image)) return Masking::MASK_NO_IMAGE;

    const unsigned width = image->GetWidth(), height = image->GetHeight();
    SetupWindows(width, height, side);
    bounds = {0, width - 1, 0, height - 1};
    for (const FrameBorder b : {FRAME_LEFT, FRAME_RIGHT, FRAME_TOP, FRAME_BOTTOM})
        DetectBorder(image, windowX[b], windowY[b], windowWidth[b], windowHeight[b], side, b, bounds[b]);
    unsigned left = 0, top = 0, right = 0;
    if (BorderStep(image, left, top, right, side)) {
        bounds[0] = std::max(bounds[0], left);
        bounds[1] = std::min(bounds[1], right);
        bounds[2] = std::max(bounds[2], top);
    }

    frame->Clear();
    frame->SetPixelSize(image->GetPixelSize());
    if (applyMargin) apply_side_margin(bounds, *image, side);
    if (!refineOutline) {
        add_rectangle(*frame, bounds, image->GetOffX(), image->GetOffY());
        return Masking::MASK_OK;
    }
    GarbageList garbage;
    Mask* rectangle = make_scratch<Mask>(garbage);
    rectangle->SetPixelSize(image->GetPixelSize());
    add_rectangle(*rectangle, bounds, image->GetOffX(), image->GetOffY());
    if (bounds[0] <= bounds[1] && bounds[2] <= bounds[3]) RefineFrame(image, rectangle, side, frame);
    return Masking::MASK_OK;
}

void FrameDetector::SetupWindows(unsigned width, unsigned height, IMAGE_SIDE side) {
    const auto fraction = double{wideWindowFraction};
    const auto wide = truncate_to<unsigned>(fraction * width);
    const auto rest = truncate_to<unsigned>((1.0 - fraction) * width);
    const bool chest_left = side == SIDE_CHEST_LEFT;
    // The window on the side away from the chest wall is wide, because a frame reaches deeper there.
    windowX = {0, chest_left ? rest : 4 * width / 5, chest_left ? 0 : 3 * width / 5, chest_left ? 0 : 3 * width / 5};
    windowWidth = {chest_left ? width / 5 : wide, width - windowX[FRAME_RIGHT],
                   chest_left ? 2 * width / 5 : width - windowX[FRAME_TOP],
                   chest_left ? 2 * width / 5 : width - windowX[FRAME_BOTTOM]};
    windowY = {0, 0, 0, 4 * height / 5};
    windowHeight = {height, height, height / 5, height - windowY[FRAME_BOTTOM]};
}

bool FrameDetector::BorderStep(Image* image, unsigned& left, unsigned& top, unsigned& right, IMAGE_SIDE side) {
    const unsigned width = image->GetWidth(), height = image->GetHeight();
    left = top = 0;
    right = width - 1;
    const unsigned lines = static_cast<unsigned>(borderDepth) + 1;
    if (borderDepth < 0 || !is_usable(image) || width < lines || height < lines) return false;

    const bool from_left = side == SIDE_CHEST_LEFT;
    const unsigned first_row = height / 10, end_row = height - height / 10;
    const unsigned first_column = width / 10, end_column = width - width / 10;
    std::vector<std::int64_t> columns(lines), rows(lines);  // sums, by distance from the border
    for (unsigned y = first_row; y < end_row; ++y) {
        const auto row = grey_row(*image, y);
        for (unsigned k = 0; k < lines; ++k) columns[k] += row[from_left ? k : width - 1 - k];
    }
    for (unsigned k = 0; k < lines; ++k)
        for (const std::uint16_t v : grey_row(*image, k).subspan(first_column, end_column - first_column)) rows[k] += v;

    if (const unsigned k = steepest_rise(columns, end_row - first_row); k != 0) {
        if (from_left)
            left = k;
        else
            right = width - k - 1;
    }
    top = steepest_rise(rows, end_column - first_column);
    return true;
}

void FrameDetector::PaddingFrame(Image* image, Mask* frame, IMAGE_SIDE side, IMAGE_VIEW view, unsigned short level) {
    frame->Clear();
    frame->SetPixelSize(image->GetPixelSize());
    if (!is_usable(image)) return;
    const unsigned width = image->GetWidth(), height = image->GetHeight();
    std::array<unsigned, 4> field{0, width - 1, 0, height - 1};
    auto& [first, last, top, bottom] = field;

    if (view == VIEW_PECT) {
        unsigned y = 0;
        while (y < height && first_above(grey_row(*image, y), level) == width) ++y;
        if (y < height) top = y;
    }
    const auto middle = grey_row(*image, height / 2);
    if (side == SIDE_CHEST_LEFT) {
        if (const std::int64_t x = first_above(middle, level); x < width) first = static_cast<unsigned>(x);
    } else if (side == SIDE_CHEST_RIGHT) {
        unsigned x = width;
        while (x > 0 && middle[x - 1] <= level) --x;
        if (x > 0) last = x - 1;
    }
    unsigned step_left = 0, step_top = 0, step_right = 0;
    if (BorderStep(image, step_left, step_top, step_right, side)) {
        first = std::max(first, step_left);
        last = std::min(last, step_right);
        top = std::max(top, step_top);
    }
    add_rectangle(*frame, field, image->GetOffX(), image->GetOffY());
}

}  // namespace Norvane

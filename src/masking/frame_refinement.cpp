// SPDX-License-Identifier: Apache-2.0
/// Follows the frame pixel by pixel along the chest side, the top and the bottom, and takes what it finds from the
/// rectangle. Each border is looked at in a strip that is turned so that the border lies at its column 0.
#include "masking/frame_detector.h"

#include "imaging/image_copy.h"
#include "imaging/mask_utils.h"
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
struct Field {
    int first, last, top, bottom;
};

Field field_of(const Mask& rect, const Image& image) {
    const auto inside = [](unsigned v, unsigned offset) { return static_cast<int>(v - offset); };
    return {inside(rect.GetMinX(), image.GetOffX()), inside(rect.GetMaxX(), image.GetOffX()),
            inside(rect.GetMinY(), image.GetOffY()), inside(rect.GetMaxY(), image.GetOffY())};
}

/// Adds runs in image coordinates to a mask that counts from the image's origin; what lies outside the image is cut
/// off.
class FrameParts {
public:
    FrameParts(Mask& out, const Image& source) : mask(out), image(source) {}

    void add(std::int64_t row, std::int64_t first, std::int64_t last) {
        first = std::max<std::int64_t>(first, 0);
        last = std::min<std::int64_t>(last, std::int64_t{image.GetWidth()} - 1);
        if (row < 0 || row >= image.GetHeight() || first > last) return;
        mask.AddSegment(static_cast<unsigned>(row) + image.GetOffY(), static_cast<unsigned>(first) + image.GetOffX(),
                        static_cast<unsigned>(last - first));
    }
    [[nodiscard]] std::int64_t width() const { return image.GetWidth(); }
    [[nodiscard]] std::int64_t height() const { return image.GetHeight(); }

private:
    Mask& mask;
    const Image& image;
};

/// Depth entries are rows: the frame takes that many columns from the left or right border.
void add_side_part(FrameParts& parts, std::span<const int> depth, bool from_left) {
    for (std::size_t r = 0; r < depth.size(); ++r) {
        if (depth[r] <= 0) continue;
        const auto row = static_cast<std::int64_t>(r);
        if (from_left)
            parts.add(row, 0, depth[r] - 1);
        else
            parts.add(row, parts.width() - depth[r], parts.width() - 1);
    }
}

/// How the depth entries of a top or bottom strip lie in the image. "Inner" entries lie nearer the middle of the image.
struct BandLayout {
    bool at_top;
    bool from_left;          // the window, and so the part of the frame beside it, begins at the left border
    bool inner_entry_first;  // entry 0 is the innermost
    std::int64_t innermost_column;

    /// The column of the i-th entry counted from the innermost.
    [[nodiscard]] std::int64_t column(std::int64_t i) const {
        return from_left ? innermost_column - i : innermost_column + i;
    }
};

BandLayout band_layout(int border, bool chest_left, std::int64_t entries, std::int64_t width, unsigned window_x) {
    if (border == FRAME_TOP) return {true, chest_left, chest_left, chest_left ? entries - 1 : width - entries};
    return {false, chest_left, !chest_left, chest_left ? entries - 1 : std::int64_t{window_x}};
}

/// Depth entries are columns: the innermost depth is a band over the whole width; where the frame grows deeper towards
/// the side, the rows between neighbouring depths reach from there to the border. A band at the top includes the row at
/// its depth, so row 0 always belongs to it; at the bottom the same holds for the innermost band only. A bottom band
/// begins at the shallower neighbour when it runs to the right, at the deeper one when it runs to the left.
void add_band_part(FrameParts& parts, std::span<const int> depth, const BandLayout& layout) {
    const auto entries = static_cast<std::int64_t>(depth.size());
    if (entries == 0) return;
    const auto depth_at = [&](std::int64_t i) {
        return std::int64_t{depth[static_cast<std::size_t>(layout.inner_entry_first ? i : entries - 1 - i)]};
    };
    const auto row_at = [&](std::int64_t d) { return layout.at_top ? d : parts.height() - 1 - d; };
    for (std::int64_t d = 0; d <= depth_at(0); ++d) parts.add(row_at(d), 0, parts.width() - 1);
    for (std::int64_t i = 0; i + 1 < entries; ++i) {
        const std::int64_t inner = depth_at(i), outer = depth_at(i + 1);
        const std::int64_t end = layout.at_top ? outer + 1 : outer;
        const std::int64_t column = layout.column(layout.at_top || layout.from_left ? i + 1 : i);
        for (std::int64_t d = inner; d < end; ++d) {
            if (layout.from_left)
                parts.add(row_at(d), 0, column);
            else
                parts.add(row_at(d), column, parts.width() - 1);
        }
    }
}

template <class Sample>
void rotate_samples(const Image& src, const Image& dst, int mode) {
    const unsigned w = src.GetWidth(), h = src.GetHeight();
    for (unsigned y = 0; y < h; ++y) {
        const auto row = row_of<const Sample>(src, y);
        for (unsigned x = 0; x < w; ++x) {
            const unsigned to_x = mode == 0 ? h - 1 - y : mode == 1 ? y : w - 1 - x;
            const unsigned to_y = mode == 0 ? x : mode == 1 ? w - 1 - x : mode == 2 ? h - 1 - y : y;
            row_of<Sample>(dst, to_y)[to_x] = row[x];
        }
    }
}

}  // namespace

bool FrameDetector::RefineFrame(Image* image, Mask* rect, IMAGE_SIDE side, Mask*& frame) {
    GarbageList garbage;
    Mask* found = make_scratch<Mask>(garbage);
    FrameParts parts(*found, *image);
    const Field field = field_of(*rect, *image);
    const auto width = static_cast<int>(image->GetWidth()), height = static_cast<int>(image->GetHeight());
    const std::array<int, 4> coarse_depth{field.first, width - field.last - 1, field.top, height - field.bottom - 1};
    SetupWindows(image->GetWidth(), image->GetHeight(), side);

    const int chest_border = side == SIDE_CHEST_RIGHT ? FRAME_RIGHT : FRAME_LEFT;
    for (const int border : {chest_border, static_cast<int>(FRAME_TOP), static_cast<int>(FRAME_BOTTOM)}) {
        const auto b = static_cast<std::size_t>(border);
        const unsigned strip_width = windowWidth[b], strip_height = windowHeight[b];
        Image* strip = make_scratch<Image>(garbage, FORMAT_UNSIGNED, 16U, strip_width, strip_height, true);
        Utils::ImageCopy(image, strip, windowX[b], windowY[b], 0, 0, strip_width, strip_height);
        if (kTurnToLeft[b] != kKeep) {
            Image* turned = nullptr;
            Rotate(strip, turned, kTurnToLeft[b]);
            strip = adopt_scratch(garbage, turned);
        }
        Image* edge = make_scratch<Image>(garbage, strip, true);
        EdgeImage(strip, edge, FRAME_LEFT);
        Image* thin_edge = make_scratch<Image>(garbage, strip, true);
        SuppressNonMaxima(edge, strip, thin_edge);

        std::vector<int> depth(strip->GetHeight());
        if (border == chest_border) {
            DepthProfile(thin_edge, strip, coarse_depth[b], field.top, field.bottom, depth);
            add_side_part(parts, depth, border == FRAME_LEFT);
        } else {
            DepthProfile(thin_edge, strip, coarse_depth[b], 0, static_cast<int>(depth.size()) - 1, depth);
            add_band_part(parts, depth,
                          band_layout(border, side == SIDE_CHEST_LEFT, static_cast<int>(depth.size()),
                                      image->GetWidth(), windowX[b]));
        }
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

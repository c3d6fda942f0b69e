// SPDX-License-Identifier: Apache-2.0
#include "findings/outline_contrast.h"

#include "findings/grey_rows.h"

#include <cmath>

namespace Norvane::Host {
namespace {

constexpr int kDistance = 4;        // the grey levels are taken so many pixels (0.9 mm) from the outline
constexpr double kDarkest = 256.0;  // added to grey levels, since black has no logarithm; one level of 8 bits
constexpr int kDirections[4][2] = {{-1, 0}, {1, 0}, {0, -1}, {0, 1}};  // outwards: x, y

class OutlineSteps {
public:
    OutlineSteps(const Image& prepared, const Region& breast, const Region& frame)
        : image(prepared),
          inside(breast.bitmap(prepared.GetWidth(), prepared.GetHeight())),
          field(frame.bitmap(prepared.GetWidth(), prepared.GetHeight())) {}

    [[nodiscard]] double mean() const {
        double sum = 0.0;
        double count = 0.0;
        const auto width = static_cast<int>(image.GetWidth());
        const auto height = static_cast<int>(image.GetHeight());
        for (int y = kDistance; y < height - kDistance; ++y) {
            for (int x = kDistance; x < width - kDistance; ++x) {
                if (!at(inside, x, y)) continue;
                for (const auto& [dx, dy] : kDirections) {
                    if (!is_skin(x, y, dx, dy)) continue;
                    sum += log_grey(x - kDistance * dx, y - kDistance * dy) -
                           log_grey(x + kDistance * dx, y + kDistance * dy);
                    count += 1.0;
                }
            }
        }
        return count > 0.0 ? sum / count : 0.0;
    }

private:
    // The mask ends between (x, y) and its neighbour, the outer point lies outside the mask and inside the field, and
    // the inner point lies inside the mask.
    [[nodiscard]] bool is_skin(int x, int y, int dx, int dy) const {
        if (at(inside, x + dx, y + dy)) return false;
        const int outer_x = x + kDistance * dx;
        const int outer_y = y + kDistance * dy;
        return at(field, outer_x, outer_y) && !at(inside, outer_x, outer_y) &&
               at(inside, x - kDistance * dx, y - kDistance * dy);
    }

    static bool at(const MaskBitmap& bitmap, int x, int y) {
        return bitmap.at(static_cast<unsigned>(x), static_cast<unsigned>(y));
    }

    [[nodiscard]] double log_grey(int x, int y) const {
        return std::log(grey_row(image, static_cast<unsigned>(y))[static_cast<std::size_t>(x)] + kDarkest);
    }

    const Image& image;
    MaskBitmap inside, field;
};

}  // namespace

double outline_contrast(const Image& prepared, const Region& breast, const Region& frame) {
    return OutlineSteps(prepared, breast, frame).mean();
}

}  // namespace Norvane::Host

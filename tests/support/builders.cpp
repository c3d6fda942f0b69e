// SPDX-License-Identifier: Apache-2.0
#include "support/builders.h"

#include "model/pixels.h"

#include <algorithm>
#include <bit>

namespace Norvane::Tests {

Mask mask_of(const Runs& runs, float pixel_size) {
    Mask mask;
    mask.SetPixelSize(pixel_size);
    mask.SetTargetPixelSize(pixel_size);
    for (const RowRun& r : runs) mask.AddSegment(r.row, r.first, r.last - r.first);
    return mask;
}

Mask rectangle(unsigned x0, unsigned x1, unsigned y0, unsigned y1, float pixel_size) {
    Runs runs;
    for (unsigned y = y0; y <= y1; ++y) runs.push_back({y, x0, x1});
    return mask_of(runs, pixel_size);
}

Runs target_runs(const Mask& mask, unsigned first, unsigned last) {
    Runs runs;
    for (std::uint64_t y = first; y <= last; ++y) {
        unsigned count = 0, *pairs = nullptr;
        mask.GetSegments(static_cast<unsigned>(y), count, pairs);
        for (unsigned i = 0; i < count; ++i) runs.push_back({static_cast<unsigned>(y), pairs[2 * i], pairs[2 * i + 1]});
        mask.ClearSegments(pairs);
    }
    return runs;
}

Runs runs_of(const Mask& mask) {
    Mask copy = mask;
    copy.SetTargetPixelSize(0.0F);  // no conversion
    return target_runs(copy, copy.GetMinY(), copy.GetMaxY());
}

MaskParts parts_of(const Mask& m) {
    const auto bits = [](float v) { return std::bit_cast<std::uint32_t>(v); };
    return {bits(m.GetPixelSize()),
            bits(m.GetTargetPixelSize()),
            runs_of(m),
            m.GetMinX(),
            m.GetMaxX(),
            m.GetMinY(),
            m.GetMaxY()};
}

std::unique_ptr<Image> grey_image(unsigned width, unsigned height, const GreyAt& grey_at, float pixel_size) {
    auto image = std::make_unique<Image>(FORMAT_UNSIGNED, 16U, width, height, true);
    image->SetPixelSize(pixel_size);
    if (grey_at == nullptr) return image;
    for (unsigned y = 0; y < height; ++y)
        for (unsigned x = 0; x < width; ++x) set_grey(*image, x, y, grey_at(x, y));
    return image;
}

unsigned grey(const Image& image, unsigned x, unsigned y) { return grey_row(image, y)[x]; }

void set_grey(Image& image, unsigned x, unsigned y, unsigned value) {
    grey_row_to_write(image, y)[x] = static_cast<std::uint16_t>(value);
}

std::vector<std::uint16_t> pixels_of(const Image& image) {
    std::vector<std::uint16_t> pixels;
    for (unsigned y = 0; y < image.GetHeight(); ++y) {
        const auto row = grey_row(image, y);
        pixels.insert(pixels.end(), row.begin(), row.end());
    }
    return pixels;
}

Bitmap bitmap_of(const Runs& runs, unsigned width, unsigned height) {
    Bitmap bitmap(width, height);
    for (const RowRun& r : runs)
        for (unsigned x = r.first; x <= r.last && x < width && r.row < height; ++x) bitmap.put(x, r.row);
    return bitmap;
}

Mask mask_of(const Bitmap& bitmap, float pixel_size) {
    Runs runs;
    for (unsigned y = 0; y < bitmap.height; ++y)
        for (unsigned x = 0; x < bitmap.width; ++x)
            if (bitmap.at(x, y)) runs.push_back({y, x, x});
    return mask_of(runs, pixel_size);
}

Bitmap polygon_by_edges(const std::vector<int>& points, unsigned width, unsigned height, int& sum) {
    Bitmap bitmap(width, height);
    std::vector<std::vector<int>> crossings(height);
    const std::size_t n = points.size() / 2;
    sum = 0;
    const auto fill = [&](int y, int x0, int x1) {
        for (int x = x0; x <= x1; ++x) bitmap.put(static_cast<unsigned>(x), static_cast<unsigned>(y));
        sum += x1 - x0;
    };
    for (std::size_t i = 0; i < n; ++i) {
        int xa = points[2 * i], ya = points[2 * i + 1];
        int xb = points[2 * ((i + 1) % n)], yb = points[2 * ((i + 1) % n) + 1];
        if (ya == yb) {
            fill(ya, std::min(xa, xb), std::max(xa, xb));
            continue;
        }
        if (yb < ya) std::swap(xa, xb), std::swap(ya, yb);
        const int dx = xb - xa, dy = yb - ya;
        for (int y = ya, x = xa, error = 0; y < yb; ++y) {
            crossings[static_cast<unsigned>(y)].push_back(x);
            x += dx / dy;
            error += 2 * (dx % dy);
            if (error > dy) ++x, error -= 2 * dy;
            if (error < -dy) --x, error += 2 * dy;
        }
    }
    for (unsigned y = 0; y < height; ++y) {
        std::sort(crossings[y].begin(), crossings[y].end());
        for (std::size_t i = 0; i + 1 < crossings[y].size(); i += 2)
            fill(static_cast<int>(y), crossings[y][i], crossings[y][i + 1]);
    }
    return bitmap;
}

unsigned BreastSketch::grey(unsigned x, unsigned y, unsigned width, unsigned height, Random& random) const {
    const int column = static_cast<int>(on_left ? x : width - 1 - x), row = static_cast<int>(y);
    const int to_right = static_cast<int>(width) - 1 - column, to_bottom = static_cast<int>(height) - 1 - row;
    if (std::min({to_right, row, to_bottom}) < frame) return 65535;
    const int down = row - middle, inside = radius * radius - column * column - down * down;
    unsigned level = dark + random.below(noise);
    if (inside > 0) level += bright + static_cast<unsigned>(inside % 256);
    if (inside > 0 && column + row < muscle) level += more;
    return std::min(level, 65535U);
}

Mask random_mask(Random& random, unsigned width, unsigned height, float pixel_size) {
    Runs runs;
    const unsigned count = random.below(3 * height + 1);
    for (unsigned i = 0; i < count; ++i) {
        const unsigned first = random.below(width);
        const unsigned last = std::min(width - 1, first + random.below(1 + width / 3));
        runs.push_back({random.below(height), first, last});
    }
    return mask_of(runs, pixel_size);
}

}  // namespace Norvane::Tests

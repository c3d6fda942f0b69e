// SPDX-License-Identifier: Apache-2.0
#include "support/builders.h"

#include "model/pixels.h"

#include <algorithm>

namespace Norvane::Tests {

Mask mask_of(const std::vector<RowRun>& runs, float pixel_size) {
    Mask mask;
    mask.SetPixelSize(pixel_size);
    mask.SetTargetPixelSize(pixel_size);
    for (const RowRun& r : runs) mask.AddSegment(r.row, r.first, r.last - r.first);
    return mask;
}

Mask rectangle(unsigned x0, unsigned x1, unsigned y0, unsigned y1, float pixel_size) {
    std::vector<RowRun> runs;
    for (unsigned y = y0; y <= y1; ++y) runs.push_back({y, x0, x1});
    return mask_of(runs, pixel_size);
}

std::vector<RowRun> runs_of(const Mask& mask) {
    Mask copy = mask;
    copy.SetTargetPixelSize(0.0F);  // no conversion
    std::vector<RowRun> runs;
    for (std::uint64_t y = copy.GetMinY(); y <= copy.GetMaxY(); ++y) {
        unsigned count = 0, *pairs = nullptr;
        copy.GetSegments(static_cast<unsigned>(y), count, pairs);
        for (unsigned i = 0; i < count; ++i) runs.push_back({static_cast<unsigned>(y), pairs[2 * i], pairs[2 * i + 1]});
        copy.ClearSegments(pairs);
    }
    return runs;
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

Bitmap bitmap_of(const Mask& mask, unsigned width, unsigned height) {
    Bitmap bitmap(width, height);
    for (const RowRun& r : runs_of(mask))
        for (unsigned x = r.first; x <= r.last && x < width && r.row < height; ++x) bitmap.put(x, r.row);
    return bitmap;
}

Mask mask_of(const Bitmap& bitmap, float pixel_size) {
    std::vector<RowRun> runs;
    for (unsigned y = 0; y < bitmap.height; ++y)
        for (unsigned x = 0; x < bitmap.width; ++x)
            if (bitmap.at(x, y)) runs.push_back({y, x, x});
    return mask_of(runs, pixel_size);
}

Mask random_mask(Random& random, unsigned width, unsigned height, float pixel_size) {
    std::vector<RowRun> runs;
    const unsigned count = random.below(3 * height + 1);
    for (unsigned i = 0; i < count; ++i) {
        const unsigned first = random.below(width);
        const unsigned last = std::min(width - 1, first + random.below(1 + width / 3));
        runs.push_back({random.below(height), first, last});
    }
    return mask_of(runs, pixel_size);
}

}  // namespace Norvane::Tests

// SPDX-License-Identifier: Apache-2.0
/// Fuzzes a sequence of mask operations on four masks of one grid. After every step, each mask is compared with a
/// bitmap.
#include "input.h"

#include "imaging/mask_utils.h"
#include "support/builders.h"

namespace Norvane::Fuzz {
namespace {

constexpr unsigned kWidth = 64, kHeight = 24;
using Tests::Bitmap;

Bitmap combined(const Bitmap& a, const Bitmap& b, bool is_difference) {
    Bitmap out(kWidth, kHeight);
    for (std::size_t i = 0; i < out.set.size(); ++i) out.set[i] = a.set[i] && b.set[i] != is_difference;
    return out;
}

void unite(Bitmap& into, const Bitmap& other) {
    for (std::size_t i = 0; i < into.set.size(); ++i) into.set[i] = into.set[i] || other.set[i];
}

bool is_touching(const Tests::RowRun& a, const Tests::RowRun& b) { return a.row == b.row && b.first <= a.last + 1; }

void check(const Mask& mask, const Bitmap& bitmap) {
    require(Tests::bitmap_of(mask, kWidth, kHeight) == bitmap, "a mask equals its bitmap");
    const auto runs = Tests::runs_of(mask);
    for (std::size_t i = 1; i < runs.size(); ++i) require(!is_touching(runs[i - 1], runs[i]), "runs are apart");
    for (unsigned y = 0; y < kHeight; y += 5)
        for (unsigned x = 0; x < kWidth; x += 7) require(mask.HitTest(x, y) == bitmap.at(x, y), "a hit is a pixel");
    unsigned x = 0, y = 0;
    const bool is_empty = runs.empty();
    require(mask.ComputeCentroid(x, y) != is_empty, "what holds pixels has a centroid");
}

/// Converts to a 1-bit image and back. Runs come back one column longer, within the box of the mask.
Bitmap through_image(Mask& mask, const Bitmap& bitmap) {
    Image image;
    require(Utils::MaskToImage(&mask, &image) == 0 && Utils::ImageToMask(&image, &mask) == 0, "a mask is an image");
    Bitmap longer(kWidth, kHeight);
    for (unsigned y = 0; y < kHeight; ++y)
        for (unsigned x = 0; x < kWidth; ++x)
            if (bitmap.at(x, y) || (x > 0 && bitmap.at(x - 1, y))) longer.put(x, y);
    return longer;
}

struct Pair {
    Mask mask = Tests::mask_of(std::vector<Tests::RowRun>{});
    Bitmap bitmap{kWidth, kHeight};
};

void step(Input& input, std::array<Pair, 4>& pairs) {
    Pair &a = pairs[input.below(4)], &b = pairs[input.below(4)], &out = pairs[input.below(4)];
    const bool is_apart = &out != &a && &out != &b;  // operations that write what they read are tested elsewhere
    switch (input.below(6)) {
        case 0: {
            const unsigned row = input.below(kHeight), first = input.below(kWidth);
            const unsigned extent = input.below(kWidth - first);
            a.mask.AddSegment(row, first, extent);
            for (unsigned x = first; x <= first + extent; ++x) a.bitmap.put(x, row);
            break;
        }
        case 1:
        case 2: {
            if (!is_apart) break;
            const bool is_difference = input.flag();
            const auto operation = is_difference ? Utils::MaskSubtract : Utils::MaskIntersect;
            require(operation(&a.mask, &b.mask, &out.mask) == 0, "masks can be combined");
            unite(out.bitmap, combined(a.bitmap, b.bitmap, is_difference));
            break;
        }
        case 3:
            if (&out == &a) break;  // the copy is emptied first
            require(Utils::MaskCopy(&a.mask, &out.mask) == 0, "a mask can be copied");
            out.bitmap = a.bitmap;
            break;
        case 4: {
            Mask copy = a.mask, other;
            const int iterations = 1 + static_cast<int>(input.below(3));
            require(Utils::MaskErode(&copy, &other, iterations) == 0, "a mask can be eroded");
            require(Utils::MaskDilate(&copy, &other, iterations) == 0, "a mask can be dilated");
            break;
        }
        default: {
            if (Tests::runs_of(a.mask).empty()) break;
            Mask copy = a.mask;
            const Bitmap longer = through_image(copy, a.bitmap);
            const Bitmap found = Tests::bitmap_of(copy, kWidth, kHeight);
            for (std::size_t i = 0; i < longer.set.size(); ++i) {
                require(longer.set[i] || !found.set[i], "nothing but the columns behind runs is added");
                require(!a.bitmap.set[i] || found.set[i], "no pixel is lost");
            }
        }
    }
    check(out.mask, out.bitmap);
    check(a.mask, a.bitmap);
}

}  // namespace
}  // namespace Norvane::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Norvane;
    Fuzz::Input input(data, size);
    std::array<Fuzz::Pair, 4> pairs;
    for (int steps = 0; steps < 200 && !input.rest().empty(); ++steps) Fuzz::step(input, pairs);
    return 0;
}

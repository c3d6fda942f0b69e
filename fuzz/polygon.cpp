// SPDX-License-Identifier: Apache-2.0
/// Fuzzes polygons and compares them with scan conversion edge by edge. Polygons with large coordinates only have to
/// finish.
#include "input.h"

#include "support/builders.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Norvane;
    constexpr unsigned kWidth = 256, kHeight = 128;
    Fuzz::Input input(data, size);
    const bool is_wide = input.below(8) == 1;
    std::vector<int> points;
    while (!input.rest().empty() && points.size() < 200) {
        const auto x = is_wide ? static_cast<int>(input.number() & 0x7FFFFFFFU) : input.below(kWidth);
        points.push_back(static_cast<int>(x));
        points.push_back(static_cast<int>(input.below(kHeight)));
    }
    const bool is_odd = points.size() % 4 == 2;  // a last value without a partner does not count
    std::vector<int> given = points;
    if (is_odd) given.push_back(5);
    Mask mask;
    const int sum = mask.GenerateFromClosedPolygon(given, nullptr, nullptr);
    if (is_wide) return 0;
    int expected_sum = 0;
    const Tests::Bitmap expected = Tests::polygon_by_edges(points, kWidth, kHeight, expected_sum);
    Fuzz::require(Tests::bitmap_of(mask, kWidth, kHeight) == expected, "the polygon is filled as its edges are");
    Fuzz::require(sum == expected_sum, "the sum of the extents");
    return 0;
}

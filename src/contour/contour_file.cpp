// SPDX-License-Identifier: Apache-2.0
#include "contour/contour_file.h"

#include "model/mask_reader.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace Norvane {
namespace {

/// The pixels of the outline, in the order of the rows. All lie inside the image.
using OutlinePixels = std::vector<std::pair<unsigned, unsigned>>;  // row, column

/// The two ends of every run.
OutlinePixels outline_of(const Mask& mask, const Image& image) {
    OutlinePixels pixels;
    if (MaskReader::is_empty(mask)) return pixels;
    MaskReader reader(mask);
    const std::int64_t last = std::min<std::int64_t>(mask.GetMaxY(), std::int64_t{image.GetHeight()} - 1);
    for (std::int64_t y = mask.GetMinY(); y <= last; ++y)
        for (const Run& run : reader.row(y))
            for (const unsigned x : {run.first, run.last})
                if (x < image.GetWidth()) pixels.emplace_back(static_cast<unsigned>(y), x);
    return pixels;
}

OutlinePixels outline_of(const std::vector<int>& points, const Image& image) {
    OutlinePixels pixels;
    for (std::size_t i = 0; i + 1 < points.size(); i += 2) {
        const int x = points[i];
        const int y = points[i + 1];
        if (x < 0 || y < 0) continue;
        if (static_cast<unsigned>(x) >= image.GetWidth() || static_cast<unsigned>(y) >= image.GetHeight()) continue;
        pixels.emplace_back(static_cast<unsigned>(y), static_cast<unsigned>(x));
    }
    std::sort(pixels.begin(), pixels.end());
    return pixels;
}

void write_picture(std::ofstream& file, const Image& image, const OutlinePixels& outline) {
    constexpr const char* kWhite = "65535";
    const unsigned width = image.GetWidth();
    file << "P2\n" << width << '\n' << image.GetHeight() << '\n' << kWhite << '\n';
    std::vector<bool> is_black(width);
    auto next = outline.begin();
    for (unsigned y = 0; y < image.GetHeight() && file; ++y) {
        is_black.assign(width, false);
        for (; next != outline.end() && next->first == y; ++next) is_black[next->second] = true;
        for (unsigned x = 0; x < width; ++x) file << (is_black[x] ? "0" : kWhite) << '\t';
        file << '\n';
    }
}

}  // namespace

void save_outline(const std::string& file_name, const Image& image, const Mask* mask, const std::vector<int>* points) {
    std::ofstream file(file_name, std::ios::binary);  // so that Windows writes the same bytes
    if (!file) return;
    OutlinePixels outline;
    if (mask != nullptr)
        outline = outline_of(*mask, image);
    else if (points != nullptr)
        outline = outline_of(*points, image);
    write_picture(file, image, outline);
}

}  // namespace Norvane

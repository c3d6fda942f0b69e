// SPDX-License-Identifier: Apache-2.0
#include "export/page_files.h"

#include "export/grey_range.h"
#include "export/mask_drawing.h"
#include "export/mask_outline.h"
#include "export/settings_text.h"
#include "export/write_jpeg.h"
#include "findings/image_rows.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace Norvane::Host {
namespace {

constexpr double kThumbnailWidth = 300.0;  // pixels; twice what the page gives it, for dense screens
constexpr double kThumbnailHeight = 400.0;
constexpr double kThumbnailLineZoom = 0.7;
constexpr int kThumbnailQuality = 80;  // of JPEG
constexpr int kPictureQuality = 92;

std::string thumbnail(ImageAnalysis& analysis) {
    const Image& image = *analysis.prepared.image;
    const double zoom = std::min(kThumbnailWidth / image.GetWidth(), kThumbnailHeight / image.GetHeight());
    const int width = std::max(1, static_cast<int>(std::lround(image.GetWidth() * zoom)));
    const int height = std::max(1, static_cast<int>(std::lround(image.GetHeight() * zoom)));
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    const Context context(cairo_create(surface.get()));
    draw_masks(context.get(), analysis, zoom, kThumbnailLineZoom);
    cairo_surface_flush(surface.get());
    require_drawn(cairo_status(context.get()));
    return encode_jpeg(cairo_image_surface_get_data(surface.get()), JpegPixels::kColour, static_cast<unsigned>(width),
                       static_cast<unsigned>(height),
                       static_cast<std::size_t>(cairo_image_surface_get_stride(surface.get())), kThumbnailQuality);
}

std::string picture(const ImageAnalysis& analysis) {
    const Image& image = *analysis.prepared.image;
    const GreyRange range = grey_range_of(analysis.source);
    std::vector<std::uint8_t> pixels;
    pixels.reserve(std::size_t{image.GetWidth()} * image.GetHeight());
    for (unsigned y = 0; y < image.GetHeight(); ++y) {
        for (const std::uint16_t grey : grey_row(image, y)) pixels.push_back(range.shown(grey));
    }
    return encode_jpeg(pixels.data(), JpegPixels::kGrey, image.GetWidth(), image.GetHeight(), image.GetWidth(),
                       kPictureQuality);
}

double distance_to_segment(const OutlinePoint& p, const OutlinePoint& a, const OutlinePoint& b) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double length_squared = dx * dx + dy * dy;
    const double along = length_squared > 0.0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / length_squared : 0.0;
    const double t = std::clamp(along, 0.0, 1.0);
    return std::hypot(p.x - a.x - t * dx, p.y - a.y - t * dy);
}

/// The corners of a closed line that keep it within `tolerance` of all its points (Douglas and Peucker).
Outline simplified(const Outline& line, double tolerance) {
    Outline closed = line;
    closed.push_back(line.front());
    std::vector<bool> is_kept(closed.size());
    std::vector<std::pair<std::size_t, std::size_t>> spans{{0, line.size()}};
    while (!spans.empty()) {
        const auto [first, last] = spans.back();
        spans.pop_back();
        is_kept[first] = true;
        std::size_t farthest = first;
        double distance = tolerance;
        for (std::size_t i = first + 1; i < last; ++i) {
            const double d = distance_to_segment(closed[i], closed[first], closed[last]);
            if (d <= distance) continue;
            distance = d;
            farthest = i;
        }
        if (farthest == first) continue;
        spans.emplace_back(first, farthest);
        spans.emplace_back(farthest, last);
    }
    Outline corners;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (is_kept[i]) corners.push_back(line[i]);
    }
    return corners;
}

/// The outline of a mask as the data of an SVG path, in tenths of a pixel: whole numbers keep it short.
std::string path_data(Mask& mask, const Image& image) {
    constexpr double kTolerance = 0.3;  // pixels
    constexpr double kUnit = 10.0;      // to a pixel
    std::string data;
    for (const Outline& line : outlines_of(bitmap_of(mask, image.GetWidth(), image.GetHeight()))) {
        char command = 'M';
        for (const OutlinePoint& point : simplified(line, kTolerance)) {
            data += command + std::to_string(std::lround(point.x * kUnit)) + ' ' +
                    std::to_string(std::lround(point.y * kUnit));
            command = 'L';
        }
        data += 'Z';
    }
    return data;
}

std::string layers_script(ImageAnalysis& analysis) {
    const Image& image = *analysis.prepared.image;
    nlohmann::ordered_json outlines;
    for (const MaskLayer& layer : kMaskLayers) outlines[layer.key] = path_data(layer.mask_of(analysis.masks), image);
    const nlohmann::ordered_json json = {{"width", image.GetWidth()},
                                         {"height", image.GetHeight()},
                                         {"pixel_size_um", image.GetPixelSize()},
                                         {"settings", settings_text(analysis)},
                                         {"outlines", outlines}};
    // In plain ASCII it is a script of the same meaning in every encoding.
    return "norvaneLayers(" + json.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace) + ");\n";
}

}  // namespace

void add_page_files(OutputSet& outputs, const std::filesystem::path& stem, ImageAnalysis& analysis) {
    outputs.add(stem.string() + ".thumb.jpg", thumbnail(analysis));
    outputs.add(stem.string() + ".picture.jpg", picture(analysis));
    outputs.add(stem.string() + ".layers.js", layers_script(analysis));
}

}  // namespace Norvane::Host

// SPDX-License-Identifier: Apache-2.0
#include "export/page_files.h"

#include "export/grey_picture.h"
#include "export/mask_drawing.h"
#include "export/mask_outline.h"
#include "export/settings_text.h"
#include "export/write_jpeg.h"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace Norvane::Host {
namespace {

constexpr double kThumbnailWidth = 300.0;  // pixels; twice its size on the page, for screens with high resolution
constexpr double kThumbnailHeight = 400.0;
constexpr double kThumbnailLineZoom = 0.7;
constexpr int kThumbnailQuality = 80;  // JPEG quality
constexpr int kPictureQuality = 92;

/// The outline of a mask as the data of an SVG path. The unit is a tenth of a pixel, because whole numbers are short.
std::string path_data(const Region& region, const Image& image) {
    constexpr double kTolerance = 0.3;  // pixels
    constexpr double kUnit = 10.0;      // per pixel
    std::string data;
    for (const Outline& line : outlines_of(region, image.GetWidth(), image.GetHeight())) {
        char command = 'M';
        for (const OutlinePoint& point : simplified(line, kTolerance)) {
            data += fmt::format("{}{} {}", command, std::lround(point.x * kUnit), std::lround(point.y * kUnit));
            command = 'L';
        }
        data += 'Z';
    }
    return data;
}

}  // namespace

std::string page_thumbnail(const Findings& findings) {
    const Image& image = findings.working_image();
    const double zoom = std::min(kThumbnailWidth / image.GetWidth(), kThumbnailHeight / image.GetHeight());
    const int width = std::max(1, static_cast<int>(std::lround(image.GetWidth() * zoom)));
    const int height = std::max(1, static_cast<int>(std::lround(image.GetHeight() * zoom)));
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    const Context context(cairo_create(surface.get()));
    draw_masks(context.get(), findings, zoom, kThumbnailLineZoom);
    cairo_surface_flush(surface.get());
    require_drawn(cairo_status(context.get()));
    return encode_jpeg(cairo_image_surface_get_data(surface.get()), JpegPixels::kColour, static_cast<unsigned>(width),
                       static_cast<unsigned>(height),
                       static_cast<std::size_t>(cairo_image_surface_get_stride(surface.get())), kThumbnailQuality);
}

std::string page_picture(const Findings& findings) {
    const GreyPicture picture = grey_picture(findings.working_image(), grey_range_of(findings.source));
    return encode_jpeg(picture.pixels.data(), JpegPixels::kGrey, picture.width, picture.height, picture.width,
                       kPictureQuality);
}

std::string page_layers(const Findings& findings) {
    const Image& image = findings.working_image();
    nlohmann::ordered_json outlines;
    for (const MaskLayer& layer : kAllMaskLayers)
        outlines[layer.key] = path_data(layer.region_of(findings.masks), image);
    const nlohmann::ordered_json json = {{"width", image.GetWidth()},
                                         {"height", image.GetHeight()},
                                         {"pixel_size_um", image.GetPixelSize()},
                                         {"settings", settings_text(findings)},
                                         {"outlines", outlines}};
    // The script is plain ASCII, so it has the same meaning in every encoding.
    return "norvaneLayers(" + json.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace) + ");\n";
}

}  // namespace Norvane::Host

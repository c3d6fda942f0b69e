// SPDX-License-Identifier: Apache-2.0
#include "export/mask_drawing.h"

#include "export/grey_picture.h"
#include "export/mask_outline.h"
#include "export/write_png.h"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace Norvane::Host {
namespace {

Surface grey_surface(const GreyPicture& picture) {
    Surface surface = make_surface(static_cast<int>(picture.width), static_cast<int>(picture.height));
    cairo_surface_flush(surface.get());
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface.get()));
    unsigned char* bytes = cairo_image_surface_get_data(surface.get());
    for (unsigned y = 0; y < picture.height; ++y) {
        const std::span row(reinterpret_cast<std::uint32_t*>(bytes + y * stride), picture.width);
        std::ranges::transform(picture.row(y), row.begin(), [](std::uint8_t grey) { return grey * 0x010101U; });
    }
    cairo_surface_mark_dirty(surface.get());
    return surface;
}

// To enlarge, cairo's interpolation is enough. To reduce, every pixel has to count.
void paint_grey(cairo_t* c, const GreyPicture& picture, double zoom) {
    const bool is_reduced = zoom < 1.0;
    const Surface grey = grey_surface(is_reduced ? reduced(picture, zoom) : picture);
    cairo_save(c);
    if (!is_reduced) cairo_scale(c, zoom, zoom);
    cairo_set_source_surface(c, grey.get(), 0, 0);
    cairo_pattern_set_filter(cairo_get_source(c), CAIRO_FILTER_BILINEAR);
    cairo_paint(c);
    cairo_restore(c);
}

void draw_outlines(cairo_t* c, const Region& region, const Image& image, double zoom, const Colour& colour,
                   double line_width) {
    for (const Outline& line : outlines_of(region, image.GetWidth(), image.GetHeight())) {
        for (const OutlinePoint& point : line) cairo_line_to(c, point.x * zoom, point.y * zoom);
        cairo_close_path(c);
    }
    set_colour(c, colour);
    cairo_set_line_width(c, line_width);
    cairo_set_line_join(c, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke(c);
}

}  // namespace

void require_drawn(cairo_status_t status) {
    if (status == CAIRO_STATUS_NO_MEMORY) throw std::bad_alloc();
    if (status != CAIRO_STATUS_SUCCESS) throw std::runtime_error(cairo_status_to_string(status));
}

Surface make_surface(int width, int height) {
    Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    require_drawn(cairo_surface_status(surface.get()));
    return surface;
}

std::string png_of(const Surface& surface) {
    cairo_surface_flush(surface.get());
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface.get()));
    const unsigned char* bytes = cairo_image_surface_get_data(surface.get());
    const auto width = static_cast<unsigned>(cairo_image_surface_get_width(surface.get()));
    const auto height = static_cast<unsigned>(cairo_image_surface_get_height(surface.get()));
    return encode_png(width, height, [bytes, stride](unsigned y, std::span<RgbPixel> row) {
        const std::span drawn(reinterpret_cast<const std::uint32_t*>(bytes + y * stride), row.size());
        std::ranges::transform(drawn, row.begin(), [](std::uint32_t pixel) {
            const auto channel = [pixel](unsigned shift) { return static_cast<std::uint8_t>(pixel >> shift & 0xFF); };
            return RgbPixel{channel(16), channel(8), channel(0)};
        });
    });
}

void draw_masks(cairo_t* c, const Findings& findings, double zoom, double line_zoom) {
    std::vector<DrawnRegion> regions;
    regions.reserve(kMaskLayers.size());
    for (const MaskLayer& layer : kMaskLayers) regions.push_back({&layer, &layer.region_of(findings.masks)});
    draw_masks(c, findings.working_image(), grey_range_of(findings.source), regions, zoom, line_zoom);
}

void draw_masks(cairo_t* c, const Image& image, const GreyRange& range, const std::vector<DrawnRegion>& regions,
                double zoom, double line_zoom) {
    cairo_save(c);
    cairo_rectangle(c, 0, 0, image.GetWidth() * zoom, image.GetHeight() * zoom);
    cairo_clip(c);
    paint_grey(c, grey_picture(image, range), zoom);
    for (const auto& [layer, region] : regions) {
        draw_outlines(c, *region, image, zoom, layer->colour, layer->line_width * line_zoom);
    }
    cairo_restore(c);
}

}  // namespace Norvane::Host

// SPDX-License-Identifier: Apache-2.0
#include "results/overlay.h"

#include "analysis/image_rows.h"
#include "analysis/status_text.h"
#include "results/mask_outline.h"

#include <cairo.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace Norvane::Host {
namespace {

struct DestroyCairo {
    void operator()(cairo_t* c) const { cairo_destroy(c); }
    void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
};
using Surface = std::unique_ptr<cairo_surface_t, DestroyCairo>;
using Context = std::unique_ptr<cairo_t, DestroyCairo>;

struct Colour {
    double red, green, blue;
};
constexpr Colour kPanel{0.09, 0.10, 0.12};
constexpr Colour kText{0.90, 0.91, 0.93};
constexpr Colour kFaintText{0.62, 0.65, 0.70};

constexpr double kPictureWidth = 1500.0;  // pixels of the picture; the working image is scaled to fit
constexpr double kPictureHeight = 1100.0;
constexpr double kPanelHeight = 900.0;
constexpr double kPanelWidth = 380.0;
constexpr double kMargin = 22.0;

/// An outline in the picture. Wider lines lie below narrower ones, so that outlines that run together all stay visible.
struct Layer {
    const char* name;
    Colour colour;
    double line_width;
};
constexpr Layer kFrameLayer{"Frame (exposed field)", {0.35, 0.65, 1.0}, 3.0};
constexpr Layer kFullLayer{"Full mask (breast and upper muscle)", {1.0, 0.83, 0.20}, 7.0};
constexpr Layer kOuterLayer{"Outer contour", {0.90, 0.45, 1.0}, 2.0};
constexpr Layer kBreastLayer{"Breast", {0.20, 0.90, 0.55}, 2.2};
constexpr Layer kPectoralLayer{"Pectoral muscle", {1.0, 0.33, 0.30}, 3.0};

void set_colour(cairo_t* c, const Colour& colour) { cairo_set_source_rgb(c, colour.red, colour.green, colour.blue); }

Surface grey_surface(const Image& image) {
    const int width = static_cast<int>(image.GetWidth());
    const int height = static_cast<int>(image.GetHeight());
    Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc();
    cairo_surface_flush(surface.get());
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface.get()));
    unsigned char* bytes = cairo_image_surface_get_data(surface.get());
    for (unsigned y = 0; y < image.GetHeight(); ++y) {
        const std::span row(reinterpret_cast<std::uint32_t*>(bytes + y * stride), image.GetWidth());
        std::ranges::transform(grey_row(image, y), row.begin(),
                               [](std::uint16_t grey) { return (grey >> 8U) * 0x010101U; });
    }
    cairo_surface_mark_dirty(surface.get());
    return surface;
}

void draw_outlines(cairo_t* c, Mask& mask, const Image& image, double zoom, const Layer& layer) {
    for (const Outline& line : outlines_of(bitmap_of(mask, image.GetWidth(), image.GetHeight()))) {
        for (const OutlinePoint& point : line) cairo_line_to(c, point.x * zoom, point.y * zoom);
        cairo_close_path(c);
    }
    set_colour(c, layer.colour);
    cairo_set_line_width(c, layer.line_width);
    cairo_set_line_join(c, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke(c);
}

void draw_picture(cairo_t* c, const Image& image, MasksResult& masks, double zoom) {
    const Surface grey = grey_surface(image);
    cairo_save(c);
    cairo_scale(c, zoom, zoom);
    cairo_set_source_surface(c, grey.get(), 0, 0);
    cairo_pattern_set_filter(cairo_get_source(c), CAIRO_FILTER_BILINEAR);
    cairo_paint(c);
    cairo_restore(c);
    cairo_save(c);
    cairo_rectangle(c, 0, 0, image.GetWidth() * zoom, image.GetHeight() * zoom);
    cairo_clip(c);
    draw_outlines(c, masks.frame.mask, image, zoom, kFrameLayer);
    draw_outlines(c, masks.full.mask, image, zoom, kFullLayer);
    draw_outlines(c, masks.outer, image, zoom, kOuterLayer);
    draw_outlines(c, masks.breast.mask, image, zoom, kBreastLayer);
    draw_outlines(c, masks.pectoral.mask, image, zoom, kPectoralLayer);
    cairo_restore(c);
}

/// Writes lines of text down the panel.
class Panel {
public:
    Panel(cairo_t* context, double x) : c(context), left(x + kMargin), y(kMargin) {}

    void heading(const std::string& text) { paragraph(text, 19.0, CAIRO_FONT_WEIGHT_BOLD, kText, left); }
    void fact(const std::string& text) { paragraph(text, 13.0, CAIRO_FONT_WEIGHT_NORMAL, kFaintText, left); }
    void space(double height) { y += height; }
    void legend(const Layer& layer, const StatusText* status) {
        set_colour(c, layer.colour);
        cairo_rectangle(c, left, y + 5, 18, 9);
        cairo_fill(c);
        const double indent = left + 28;
        paragraph(layer.name, 15.0, CAIRO_FONT_WEIGHT_BOLD, kText, indent);
        if (status != nullptr) {
            paragraph(std::to_string(status->status) + " " + status->name, 13.0, CAIRO_FONT_WEIGHT_NORMAL, kText,
                      indent);
            paragraph(status->sentence, 13.0, CAIRO_FONT_WEIGHT_NORMAL, kFaintText, indent);
        }
        space(8);
    }

private:
    void paragraph(const std::string& text, double size, cairo_font_weight_t weight, const Colour& colour, double x) {
        cairo_select_font_face(c, "sans-serif", CAIRO_FONT_SLANT_NORMAL, weight);
        cairo_set_font_size(c, size);
        set_colour(c, colour);
        std::istringstream words(text);
        std::string line;
        for (std::string word; words >> word;) {
            std::string longer = line;
            if (!line.empty()) longer += " ";
            longer += word;
            if (!line.empty() && width_of(longer) > right() - x) {
                show(line, size, x);
                line = word;
            } else {
                line = std::move(longer);
            }
        }
        if (!line.empty()) show(line, size, x);
    }
    void show(const std::string& line, double size, double x) {
        cairo_move_to(c, x, y + size);
        cairo_show_text(c, line.c_str());
        y += size * 1.4;
    }
    double width_of(const std::string& text) {
        cairo_text_extents_t extents;
        cairo_text_extents(c, text.c_str(), &extents);
        return extents.x_advance;
    }
    [[nodiscard]] double right() const { return left + kPanelWidth - 2 * kMargin; }

    cairo_t* c;
    double left;
    double y;
};

void draw_panel(cairo_t* c, double x, const MasksResult& masks, const std::string& title,
                const std::vector<std::string>& facts) {
    Panel panel(c, x);
    panel.heading(title);
    panel.space(6);
    for (const std::string& fact : facts) panel.fact(fact);
    panel.space(18);
    panel.legend(kFullLayer, &text_of(masks.full.status));
    panel.legend(kBreastLayer, &text_of(masks.breast.status));
    panel.legend(kPectoralLayer, &text_of(masks.pectoral.status));
    panel.legend(kOuterLayer, nullptr);
    panel.legend(kFrameLayer, &text_of(masks.frame.status));
}

bool append(std::string& bytes, const unsigned char* data, unsigned count) noexcept {
    try {
        bytes.append(reinterpret_cast<const char*>(data), count);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

cairo_status_t on_bytes(void* closure, const unsigned char* data, unsigned count) {
    return append(*static_cast<std::string*>(closure), data, count) ? CAIRO_STATUS_SUCCESS : CAIRO_STATUS_WRITE_ERROR;
}

}  // namespace

std::string draw_overlay(const Image& prepared, MasksResult& masks, const std::string& title,
                         const std::vector<std::string>& facts) {
    const double zoom = std::min(kPictureHeight / prepared.GetHeight(), kPictureWidth / prepared.GetWidth());
    const double picture_width = prepared.GetWidth() * zoom;
    const double picture_height = std::max(prepared.GetHeight() * zoom, kPanelHeight);
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(picture_width + kPanelWidth),
                                                     static_cast<int>(picture_height)));
    const Context context(cairo_create(surface.get()));
    set_colour(context.get(), kPanel);
    cairo_paint(context.get());
    draw_picture(context.get(), prepared, masks, zoom);
    draw_panel(context.get(), picture_width, masks, title, facts);

    std::string bytes;
    const cairo_status_t status = cairo_surface_write_to_png_stream(surface.get(), on_bytes, &bytes);
    if (status != CAIRO_STATUS_SUCCESS) throw std::runtime_error(cairo_status_to_string(status));
    return bytes;
}

}  // namespace Norvane::Host

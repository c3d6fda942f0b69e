// SPDX-License-Identifier: Apache-2.0
#include "export/overlay.h"

#include "export/settings_text.h"
#include "findings/status_text.h"

#include <cairo.h>
#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <utility>

namespace Norvane::Host {
namespace {

constexpr Colour kPanel{0.09, 0.10, 0.12};
constexpr Colour kText{0.90, 0.91, 0.93};
constexpr Colour kFaintText{0.62, 0.65, 0.70};

constexpr double kPictureWidth = 1400.0;  // pixels of the picture; the working image is scaled to it
constexpr double kPictureHeight = 900.0;  // so that it fits on a screen; the panel needs it too
constexpr double kPanelWidth = 380.0;
constexpr double kMargin = 22.0;

/// Writes lines of text down the panel.
class Panel {
public:
    Panel(cairo_t* context, double x) : c(context), left(x + kMargin), y(kMargin) {}

    void heading(const std::string& text) { paragraph(text, 19.0, CAIRO_FONT_WEIGHT_BOLD, kText, left); }
    void fact(const std::string& text) { paragraph(text, 13.0, CAIRO_FONT_WEIGHT_NORMAL, kFaintText, left); }
    void space(double height) { y += height; }
    void legend(const MaskLayer& layer, const StatusText* status) {
        set_colour(c, layer.colour);
        cairo_rectangle(c, left, y + 5, 18, 9);
        cairo_fill(c);
        const double indent = left + 28;
        paragraph(layer.label, 15.0, CAIRO_FONT_WEIGHT_BOLD, kText, indent);
        if (status != nullptr) {
            paragraph(fmt::format("{} {}", static_cast<int>(status->status), status->name), 13.0,
                      CAIRO_FONT_WEIGHT_NORMAL, kText, indent);
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

// File names may hold any bytes. Those that are not UTF-8 are shown as question marks.
std::string shown_text(const std::string& text) {
    using Json = nlohmann::json;
    const auto whole = Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace)).get<std::string>();
    constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // few fonts have this character
    std::string shown;
    for (std::size_t at = 0; at < whole.size();) {
        const bool is_replaced = whole.compare(at, kReplacement.size(), kReplacement) == 0;
        shown += is_replaced ? '?' : whole[at];
        at += is_replaced ? kReplacement.size() : 1;
    }
    return shown;
}

void draw_panel(cairo_t* c, double x, const FoundMasks& masks, const std::string& title,
                const std::vector<std::string>& facts) {
    Panel panel(c, x);
    panel.heading(shown_text(title));
    panel.space(6);
    for (const std::string& fact : facts) panel.fact(shown_text(fact));
    panel.space(18);
    panel.legend(kFullLayer, &text_of(masks.full.status));
    panel.legend(kBreastLayer, &text_of(masks.breast.status));
    panel.legend(kPectoralLayer, &text_of(masks.pectoral.status));
    panel.legend(kOuterLayer, nullptr);
    panel.legend(kFrameLayer, &text_of(masks.frame.status));
}

}  // namespace

Surface overlay_surface(const Findings& findings) {
    const Image& prepared = findings.working_image();
    const double zoom = std::min(kPictureHeight / prepared.GetHeight(), kPictureWidth / prepared.GetWidth());
    const double picture_width = prepared.GetWidth() * zoom;
    const double picture_height = std::max(prepared.GetHeight() * zoom, kPictureHeight);
    Surface surface = make_surface(static_cast<int>(picture_width + kPanelWidth), static_cast<int>(picture_height));
    const Context context(cairo_create(surface.get()));
    set_colour(context.get(), kPanel);
    cairo_paint(context.get());
    draw_masks(context.get(), findings, zoom, 1.0);
    draw_panel(context.get(), picture_width, findings.masks, std::filesystem::path(findings.file).filename().string(),
               settings_text(findings));
    require_drawn(cairo_status(context.get()));
    return surface;
}

std::string overlay_png(const Findings& findings) { return png_of(overlay_surface(findings)); }

}  // namespace Norvane::Host

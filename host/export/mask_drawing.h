// SPDX-License-Identifier: Apache-2.0
/// Draws prepared images and the outlines of their masks with cairo.
#pragma once

#include "export/grey_range.h"
#include "export/mask_layers.h"
#include "findings/findings.h"

#include <cairo.h>

#include <memory>
#include <string>
#include <vector>

namespace Norvane::Host {

struct DestroyCairo {
    void operator()(cairo_t* c) const { cairo_destroy(c); }
    void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
};
using Surface = std::unique_ptr<cairo_surface_t, DestroyCairo>;
using Context = std::unique_ptr<cairo_t, DestroyCairo>;

inline void set_colour(cairo_t* c, const Colour& colour) {
    cairo_set_source_rgb(c, colour.red, colour.green, colour.blue);
}

/// Throws if drawing or writing failed: std::bad_alloc if memory ran out.
void require_drawn(cairo_status_t status);

/// A new picture to draw on.
[[nodiscard]] Surface make_surface(int width, int height);
/// The bytes of the picture as a PNG file.
[[nodiscard]] std::string png_of(const Surface& surface);

/// A region and how its outline is drawn.
struct DrawnRegion {
    const MaskLayer* layer;
    const Region* region;
};

/// Draws an image of the working grid in grey and the outlines of its masks on it, in their order. The corner of the
/// image is at (0, 0), and `zoom` pixels of the picture show one pixel of the image. `line_zoom` scales the width of
/// the outlines.
void draw_masks(cairo_t* c, const Image& image, const GreyRange& range, const std::vector<DrawnRegion>& regions,
                double zoom, double line_zoom);
void draw_masks(cairo_t* c, const Findings& findings, double zoom, double line_zoom);

}  // namespace Norvane::Host

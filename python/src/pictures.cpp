// SPDX-License-Identifier: Apache-2.0
#include "pictures.h"

#include "arguments.h"
#include "grid_mask.h"
#include "phantom/phantom.h"
#include "working_image.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace Norvane::Python {
namespace {

constexpr double kMostPixelsOnSide = 32767.0;  // the limit of cairo

std::vector<Host::DrawnRegion> regions_by_name(const py::dict& given) {
    for (const auto& [name, mask] : given) {
        if (layer_named(text_of(name)) == nullptr) refuse_value("masks: there is no mask called " + repr_of(name));
        (void)mask_of(mask, "masks");
    }
    std::vector<Host::DrawnRegion> regions;
    for (const Host::MaskLayer& layer : Host::kAllMaskLayers) {
        if (!given.contains(layer.key)) continue;
        regions.push_back({&layer, &mask_of(py::object(given[layer.key]), "masks").region});
    }
    return regions;
}

Host::Surface draw(const WorkingImage& working, const py::dict& given, const py::object& zoom_given) {
    const auto zoom = argument<double>(zoom_given, "zoom", "a number");
    const std::vector<Host::DrawnRegion> regions = regions_by_name(given);
    const Image& image = *working.prepared.image;
    const double longest = std::max(image.GetWidth(), image.GetHeight());
    const double shortest = std::min(image.GetWidth(), image.GetHeight());
    if (!(zoom > 0.0) || zoom * longest > kMostPixelsOnSide || zoom * shortest < 1.0) {
        refuse_value("zoom: expected a number above 0 that gives a picture of 1 to 32767 pixels, got " +
                     text_of(py::float_(zoom)));
    }
    const py::gil_scoped_release others_go_on;
    Host::Surface surface = Host::make_surface(static_cast<int>(std::lround(image.GetWidth() * zoom)),
                                               static_cast<int>(std::lround(image.GetHeight() * zoom)));
    const Host::Context context(cairo_create(surface.get()));
    Host::draw_masks(context.get(), image, Host::GreyRange(), regions, zoom, 1.0);
    Host::require_drawn(cairo_status(context.get()));
    return surface;
}

// The synthetic mammogram: its pixels, and what each pixel shows.
py::tuple phantom(unsigned width, unsigned height, double pixel_size, int side, int view, const py::object& collimation,
                  const py::object& digital, unsigned seed, unsigned used_bits) {
    Host::PhantomSettings settings;
    settings.width = width;
    settings.height = height;
    settings.pixel_size_um = pixel_size;
    settings.side = static_cast<IMAGE_SIDE>(side);
    settings.view = static_cast<IMAGE_VIEW>(view);
    settings.frame = flag(collimation, "collimation") ? Host::PhantomFrame::kCollimation : Host::PhantomFrame::kNone;
    settings.look = flag(digital, "digital") ? Host::PhantomLook::kDigital : Host::PhantomLook::kFilm;
    settings.seed = seed;
    settings.used_bits = used_bits;
    const Host::Phantom drawn = [&settings] {
        const py::gil_scoped_release others_go_on;
        return Host::draw_phantom(settings);
    }();
    const std::array<std::size_t, 2> shape{height, width};
    return py::make_tuple(py::array_t<std::uint16_t>(shape, drawn.pixels.data()),
                          py::array_t<std::uint8_t>(shape, drawn.labels.data()));
}

}  // namespace

const Host::MaskLayer* layer_named(std::string_view name) {
    for (const Host::MaskLayer& layer : Host::kAllMaskLayers) {
        if (name == layer.key) return &layer;
    }
    return nullptr;
}

py::array rgb_of(const Host::Surface& surface) {
    cairo_surface_flush(surface.get());
    const auto height = static_cast<std::size_t>(cairo_image_surface_get_height(surface.get()));
    const auto width = static_cast<std::size_t>(cairo_image_surface_get_width(surface.get()));
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface.get()));
    const unsigned char* bytes = cairo_image_surface_get_data(surface.get());
    py::array_t<std::uint8_t> array({height, width, std::size_t{3}});
    std::uint8_t* to = array.mutable_data();
    for (std::size_t y = 0; y < height; ++y) {
        const auto* words = reinterpret_cast<const std::uint32_t*>(bytes + y * stride);  // 0x00RRGGBB
        for (std::size_t x = 0; x < width; ++x) {
            for (const unsigned shift : {16U, 8U, 0U}) *to++ = static_cast<std::uint8_t>(words[x] >> shift);
        }
    }
    return array;
}

void bind_pictures(py::module_& module) {
    module.def("phantom", &phantom);
    module.def("draw_masks", [](const WorkingImage& image, const py::dict& masks, const py::object& zoom) {
        return rgb_of(draw(image, masks, zoom));
    });
    module.def("draw_masks_png", [](const WorkingImage& image, const py::dict& masks, const py::object& zoom) {
        return py::bytes(Host::png_of(draw(image, masks, zoom)));
    });
}

}  // namespace Norvane::Python

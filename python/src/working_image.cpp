// SPDX-License-Identifier: Apache-2.0
#include "working_image.h"

#include "arguments.h"
#include "pickled.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <optional>

namespace Norvane::Python {
namespace {

constexpr py::ssize_t kSampleBytes = 2;

std::shared_ptr<WorkingImage> prepare(const py::object& pixels, const py::object& pixel_size,
                                      const py::object& used_bits, const py::object& inverted, int noise,
                                      const py::object& resample_first, const py::object& padding) {
    const PixelArray array = pixels_of(pixels, used_bits);
    const double micrometres = pixel_size_of(pixel_size, static_cast<double>(Masking::c_lowres_pixelsize));
    const auto range = padding_of(padding);
    const bool resamples_first = flag(resample_first, "resample_first");
    const Host::GreySamples samples{array.words(), array.width,     array.width,
                                    array.height,  array.used_bits, flag(inverted, "inverted"),
                                    micrometres};
    auto image = std::make_shared<WorkingImage>();
    image->noise = static_cast<BG_NOISE>(noise);
    {
        const py::gil_scoped_release others_go_on;
        image->prepared = Host::prepare_samples(samples, range, image->noise, resamples_first);
    }
    if (image->prepared.image == nullptr) refuse_value("pixel_size: expected micrometres that do not round to 0");
    return image;
}

// The samples, not copied; the array keeps the image alive.
py::array pixels(const py::object& self) {
    const Image& image = *self.cast<const WorkingImage&>().prepared.image;
    const auto height = static_cast<py::ssize_t>(image.GetHeight());
    const auto width = static_cast<py::ssize_t>(image.GetWidth());
    const auto stride = static_cast<py::ssize_t>(image.GetStride());
    py::array array(py::dtype::of<std::uint16_t>(), {height, width}, {stride * kSampleBytes, kSampleBytes},
                    image.GetBuffer(), self);
    array.attr("flags").attr("writeable") = false;
    return array;
}

}  // namespace

void bind_working_image(py::module_& module) {
    py::class_<WorkingImage, std::shared_ptr<WorkingImage>>(module, "WorkingImage")
        .def_property_readonly("pixels", &pixels)
        .def_property_readonly(
            "pixel_size", [](const WorkingImage& i) { return static_cast<double>(i.prepared.image->GetPixelSize()); })
        .def_property_readonly("scale", [](const WorkingImage& i) { return static_cast<double>(i.prepared.scale); })
        .def_property_readonly(
            "padding",
            [](const WorkingImage& i) { return py::make_tuple(i.prepared.padding_low, i.prepared.padding_high); })
        .def_property_readonly("_noise", [](const WorkingImage& i) { return static_cast<int>(i.noise); })
        .def(py::pickle(&state_of<WorkingImage>, &from_state<WorkingImage>));
    module.def("prepare", &prepare, py::arg("pixels"), py::arg("pixel_size"), py::arg("used_bits"), py::arg("inverted"),
               py::arg("noise"), py::arg("resample_first"), py::arg("padding"));
}

}  // namespace Norvane::Python

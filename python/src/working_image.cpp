// SPDX-License-Identifier: Apache-2.0
#include "working_image.h"

#include "arguments.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <optional>

namespace Norvane::Python {
namespace {

constexpr py::ssize_t kSampleBytes = 2;

std::shared_ptr<WorkingImage> prepare(const py::object& pixels, double pixel_size, const std::optional<long>& used_bits,
                                      bool inverted, int noise, bool resample_first, const py::object& padding) {
    const PixelArray array = pixels_of(pixels, used_bits);
    const double micrometres = pixel_size_of(pixel_size, static_cast<double>(Masking::c_lowres_pixelsize));
    const auto range = padding_of(padding);
    const Host::GreySamples samples{array.words(),   array.width, array.width, array.height,
                                    array.used_bits, inverted,    micrometres};
    auto image = std::make_shared<WorkingImage>();
    image->noise = static_cast<BG_NOISE>(noise);
    {
        const py::gil_scoped_release others_go_on;
        image->prepared = Host::prepare_samples(samples, range, image->noise, resample_first);
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

py::tuple state_of(const WorkingImage& image) {
    const Image& raster = *image.prepared.image;
    return py::make_tuple(raster.GetWidth(), raster.GetHeight(), raster.GetUsedBits(), raster.GetPixelSize(),
                          py::bytes(reinterpret_cast<const char*>(raster.GetBuffer()), raster.BufferSize()),
                          image.prepared.scale, image.prepared.padding_low, image.prepared.padding_high,
                          static_cast<int>(image.noise));
}

std::shared_ptr<WorkingImage> from_state(const py::tuple& state) {
    auto image = std::make_shared<WorkingImage>();
    const auto bytes = state[4].cast<std::string>();
    auto raster =
        std::make_unique<Image>(FORMAT_UNSIGNED, 16U, state[0].cast<unsigned>(), state[1].cast<unsigned>(), true);
    if (bytes.size() != raster->BufferSize()) refuse_value("the state of a prepared image has a wrong size");
    raster->SetUsedBits(state[2].cast<unsigned>());
    raster->SetPixelSize(state[3].cast<float>());
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char*>(raster->GetBuffer()));
    image->prepared = {std::move(raster), state[5].cast<float>(), state[7].cast<std::uint16_t>(),
                       state[6].cast<std::uint16_t>()};
    image->noise = static_cast<BG_NOISE>(state[8].cast<int>());
    return image;
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
        .def(py::pickle(&state_of, &from_state));
    module.def("prepare", &prepare, py::arg("pixels"), py::arg("pixel_size"), py::arg("used_bits"), py::arg("inverted"),
               py::arg("noise"), py::arg("resample_first"), py::arg("padding"));
}

}  // namespace Norvane::Python

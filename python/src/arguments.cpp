// SPDX-License-Identifier: Apache-2.0
#include "arguments.h"

#include "io/number_text.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

namespace Norvane::Python {
namespace {

// The library counts the bits of a buffer with 32 bits.
constexpr py::ssize_t kMostPixels = (py::ssize_t{1} << 28) - 1;

std::string shape_text(const py::array& array) { return text_of(array.attr("shape")); }

void check_kind(const py::array& array) {
    const py::dtype type = array.dtype();
    if (type.kind() != 'u' || type.itemsize() > 2) {
        const bool is_integer = type.kind() == 'i' || type.kind() == 'u';
        refuse_type("pixels: expected an array of uint16 or uint8, got " + text_of(type) +
                    (is_integer ? "; if all samples lie in 0 .. 65535, pass pixels.astype('uint16')" : ""));
    }
    refuse_masked(array, "pixels");
}

void check_shape(const py::array& array) {
    if (array.ndim() != 2) {
        refuse_value("pixels: expected rows x columns, got the shape " + shape_text(array));
    }
    const py::ssize_t height = array.shape(0);
    const py::ssize_t width = array.shape(1);
    if (width == 0 || height == 0)
        refuse_value("pixels: expected at least one pixel, got the shape " + shape_text(array));
    if (height > kMostPixels / (width + width % 2)) {
        refuse_value("pixels: expected at most 2^28 - 1 of them, got the shape " + shape_text(array));
    }
}

unsigned used_bits_of(const py::object& given, unsigned held_bits) {
    const auto used_bits = argument<std::optional<long>>(given, "used_bits", "a whole number");
    if (!used_bits) return held_bits;
    if (*used_bits < 1 || *used_bits > 16) {
        refuse_value("used_bits: expected 1 to 16, got " + std::to_string(*used_bits));
    }
    return static_cast<unsigned>(*used_bits);
}

}  // namespace

std::string text_of(const py::handle& object) { return py::str(object); }
std::string repr_of(const py::handle& object) { return py::repr(object); }

py::str text_of_file(const std::string& name) {
    PyObject* text = PyUnicode_DecodeFSDefaultAndSize(name.data(), static_cast<py::ssize_t>(name.size()));
    if (text == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(text);
}
std::string name_of_file(const py::handle& text) {
    PyObject* bytes = PyUnicode_EncodeFSDefault(text.ptr());
    if (bytes == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::bytes>(bytes);
}
void refuse_nul(const std::string& name) {
    if (name.find('\0') != std::string::npos) refuse_value("embedded null byte");  // the same words as Python's open()
}

void refuse_type(const std::string& text) { throw py::type_error(text); }
void refuse_value(const std::string& text) {
    PyErr_SetObject(PyExc_ValueError, text_of_file(text).ptr());  // value_error would require UTF-8
    throw py::error_already_set();
}

void refuse_masked(const py::handle& array, const char* name) {
    if (!py::isinstance(array, py::module_::import("numpy.ma").attr("MaskedArray"))) return;
    std::string text = name;
    text += ": expected an array without missing values, got a masked one; fill it first";
    refuse_type(text);
}

PixelArray pixels_of(const py::object& pixels, const py::object& used_bits) {
    if (!py::isinstance<py::array>(pixels)) {
        refuse_type("pixels: expected a NumPy array, got " + text_of(py::type::of(pixels).attr("__name__")));
    }
    const auto given = py::reinterpret_borrow<py::array>(pixels);
    check_kind(given);
    check_shape(given);
    PixelArray result;
    result.used_bits = used_bits_of(used_bits, static_cast<unsigned>(given.dtype().itemsize()) * 8);
    using Words = py::array_t<std::uint16_t, py::array::c_style | py::array::forcecast>;
    result.array = Words(given);  // throws if there is no memory for a copy
    const auto address = reinterpret_cast<std::uintptr_t>(result.array.data());
    if (address % alignof(std::uint16_t) != 0) result.array = result.array.attr("copy")();
    result.height = static_cast<unsigned>(given.shape(0));
    result.width = static_cast<unsigned>(given.shape(1));
    return result;
}

double pixel_size_of(const py::handle& given, double largest, const char* name) {
    const auto micrometres = argument<double>(given, name, "micrometres");
    const double limit = std::min(largest, static_cast<double>(std::numeric_limits<float>::max()));
    if (!(micrometres > 0.0) || micrometres > limit || static_cast<float>(micrometres) == 0.0F) {
        refuse_value(fmt::format("{}: expected micrometres above 0{}, got {}", name,
                                 std::isfinite(largest) ? " and at most " + Host::number_text(largest) : "",
                                 text_of(py::float_(micrometres))));
    }
    return micrometres;
}

std::optional<Host::PaddingRange> padding_of(const py::object& pair) {
    if (pair.is_none()) return std::nullopt;
    constexpr const char* kExpected = "two grey values (low, high) from 0 to 65535";
    const auto [low, high] = argument<std::pair<long, long>>(pair, "padding", kExpected);
    if (low < 0 || high > 65535 || low > high) {
        refuse_value(fmt::format("padding: expected {}, got {}", kExpected, repr_of(pair)));
    }
    return Host::PaddingRange{static_cast<std::uint16_t>(low), static_cast<std::uint16_t>(high)};
}

}  // namespace Norvane::Python

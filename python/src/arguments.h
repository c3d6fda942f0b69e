// SPDX-License-Identifier: Apache-2.0
/// Checks the arguments from Python. Messages say what was expected and what came.
#pragma once

#include "findings/host_image.h"
#include "io/source_image.h"

#include <norvane/masking.h>

#include <fmt/core.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <optional>
#include <string>

namespace Norvane::Python {

namespace py = pybind11;

/// str() and repr() of any object.
[[nodiscard]] std::string text_of(const py::handle& object);
[[nodiscard]] std::string repr_of(const py::handle& object);

/// File names, and sentences that hold some, as Python strings. They need not be UTF-8.
[[nodiscard]] py::str text_of_file(const std::string& name);
[[nodiscard]] std::string name_of_file(const py::handle& text);
/// Refuses a name that holds NUL. No file has such a name, and the system would open the one whose name ends there.
void refuse_nul(const std::string& name);

[[noreturn]] void refuse_type(const std::string& text);
[[noreturn]] void refuse_value(const std::string& text);

/// An argument as a value of C++. If it has another type, raises TypeError with its name and what was expected.
template <class Value>
[[nodiscard]] Value argument(const py::handle& given, const char* name, const char* expected) {
    try {
        return given.cast<Value>();
    } catch (const py::cast_error&) {
        refuse_type(fmt::format("{}: expected {}, got {}", name, expected, repr_of(given)));
    }
}
[[nodiscard]] inline bool flag(const py::handle& given, const char* name) {
    return argument<bool>(given, name, "a truth value");
}

/// The samples of a 2-D array as words. The array holds unsigned numbers of 8 or 16 bits in any byte order. If it is an
/// aligned array of 16-bit words in C order, it is used directly; any other is copied once. `array` keeps the samples
/// alive.
struct PixelArray {
    py::array array;
    unsigned width = 0;
    unsigned height = 0;
    unsigned used_bits = 0;

    [[nodiscard]] const std::uint16_t* words() const { return static_cast<const std::uint16_t*>(array.data()); }
};
[[nodiscard]] PixelArray pixels_of(const py::object& pixels, const py::object& used_bits);

/// Refuses a masked array, because the values that it marks as missing would count as pixels.
void refuse_masked(const py::handle& array, const char* name);

/// Micrometres above 0 and at most `largest`, also as a float, because the library computes with floats.
[[nodiscard]] double pixel_size_of(const py::handle& given, double largest, const char* name = "pixel_size");

[[nodiscard]] std::optional<Host::PaddingRange> padding_of(const py::object& pair);

}  // namespace Norvane::Python

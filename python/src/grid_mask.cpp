// SPDX-License-Identifier: Apache-2.0
#include "grid_mask.h"

#include "arguments.h"
#include "export/mask_encoding.h"
#include "export/source_masks.h"
#include "export/write_png.h"
#include "mask_sets.h"

#include <fmt/core.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <utility>

namespace Norvane::Python {
namespace {

using Host::ColumnRun;
using Host::RowRuns;

constexpr long kMostOnSide = (1L << 28) - 1;  // the library counts the bits of an image with 32 bits
constexpr double kAnySize = std::numeric_limits<double>::infinity();

double own_pixel_size(const GridMask& mask) { return static_cast<double>(mask.region.pixel_size_um()); }

// Both sides are checked; a size of 0 gives an empty array.
Shape shape_of(const py::object& pair) {
    const auto [height, width] = argument<std::pair<long, long>>(pair, "shape", "(rows, columns)");
    const bool is_good = height >= 0 && width >= 0 && height <= kMostOnSide && width <= kMostOnSide &&
                         (width == 0 || height <= kMostOnSide / width);
    if (!is_good) refuse_value("shape: expected (rows, columns), got " + repr_of(pair));
    return {static_cast<unsigned>(height), static_cast<unsigned>(width)};
}

// A length of the grid in pixels of another size, limited to what an array can hold.
unsigned scaled(unsigned length, double from, double to) {
    return static_cast<unsigned>(std::min(length * from / to + 0.5, static_cast<double>(kMostOnSide)));
}

Shape target_shape(const GridMask& mask, const py::object& shape, double target_um) {
    if (!shape.is_none()) return shape_of(shape);
    const double own_um = own_pixel_size(mask);
    if (target_um == own_um) return {mask.height, mask.width};
    const Shape found{scaled(mask.height, own_um, target_um), scaled(mask.width, own_um, target_um)};
    return shape_of(py::make_tuple(found.height, found.width));
}

double target_pixel_size(const GridMask& mask, const py::object& given) {
    return given.is_none() ? own_pixel_size(mask) : pixel_size_of(given, kAnySize);
}

py::array to_array(const GridMask& mask, const py::object& shape, const py::object& pixel_size) {
    const double target_um = target_pixel_size(mask, pixel_size);
    const Shape target = target_shape(mask, shape, target_um);
    return array_of(mask.region, {{0, 0, target.width, target.height}, target_um}, target);
}

// What numpy.asarray() calls. Since NumPy 2, copy=False asks for an array that shares its memory.
py::object as_numpy(const GridMask& mask, const py::object& dtype, const py::object& copy) {
    if (!copy.is_none() && !flag(copy, "copy"))
        refuse_value("copy: a Mask holds runs, so its array is always a new one");
    const py::object bits = to_array(mask, py::none(), py::none()).attr("view")("bool");
    return dtype.is_none() ? bits : bits.attr("astype")(dtype);
}

Host::MaskBitmap bitmap(const GridMask& mask) { return mask.region.bitmap(mask.width, mask.height); }

py::dict to_coco(const GridMask& mask) {
    py::dict coco;
    coco["size"] = py::cast(std::vector<unsigned>{mask.height, mask.width});
    coco["counts"] = py::cast(Host::coco_counts(bitmap(mask)));
    return coco;
}

std::string sha256(const GridMask& mask) { return Host::sha256_of(bitmap(mask)); }

py::object bounds(const GridMask& mask) {
    const auto box = mask.region.bounds();
    if (!box) return py::none();
    return py::make_tuple(box->left, box->top, box->right, box->bottom);
}

py::object bbox(const GridMask& mask) {
    const auto box = mask.region.bounds();
    if (!box) return py::none();
    return py::make_tuple(box->top, box->left, box->bottom + 1, box->right + 1);
}

py::object centroid(const GridMask& mask) {
    unsigned x = 0, y = 0;
    if (!mask.region.mask().ComputeCentroid(x, y)) return py::none();
    return py::make_tuple(x, y);
}

bool contains(const GridMask& mask, const py::object& column_given, const py::object& row_given,
              const py::object& pixel_size) {
    const double target_um = target_pixel_size(mask, pixel_size);
    const long x = argument<long>(column_given, "x", "a column");
    const long y = argument<long>(row_given, "y", "a row");
    if (x < 0 || y < 0 || x > kMostOnSide || y > kMostOnSide) return false;
    const auto on_grid = [&](long v) {
        return Host::grid_coordinate(static_cast<unsigned>(v), static_cast<float>(target_um),
                                     mask.region.pixel_size_um());
    };
    const unsigned column = on_grid(x);
    return std::ranges::any_of(mask.region.row(on_grid(y)),
                               [column](const ColumnRun& run) { return run.first <= column && column <= run.last; });
}

double area_mm2(const GridMask& mask) { return Host::square_millimetres(mask.region.area(), own_pixel_size(mask)); }

SharedMask combined(SetOperation operation, const GridMask& first, const GridMask& second) {
    if (first.region.pixel_size_um() != second.region.pixel_size_um()) {
        refuse_value("masks of one pixel size were expected, got " + std::to_string(own_pixel_size(first)) + " and " +
                     std::to_string(own_pixel_size(second)) + " micrometres");
    }
    return make_grid_mask(combine(operation, first.region, second.region), std::max(first.width, second.width),
                          std::max(first.height, second.height));
}

bool is_equal(const GridMask& first, const GridMask& second) {
    const auto grid_of = [](const GridMask& mask) { return std::pair(mask.width, mask.height); };
    return first.region == second.region && grid_of(first) == grid_of(second);
}

Mask empty_mask(const py::object& pixel_size) {
    const auto micrometres = static_cast<float>(pixel_size_of(pixel_size, kAnySize));
    Mask mask;
    mask.SetPixelSize(micrometres);
    mask.SetTargetPixelSize(micrometres);
    return mask;
}

SharedMask on_grid(Host::Region region, const py::object& shape, unsigned least_height, unsigned least_width) {
    Shape grid{least_height, least_width};
    if (!shape.is_none()) {
        grid = shape_of(shape);
        if (grid.height < least_height || grid.width < least_width) {
            refuse_value(fmt::format("shape: expected at least ({}, {}) for these pixels, got {}", least_height,
                                     least_width, repr_of(shape)));
        }
    }
    return make_grid_mask(std::move(region), grid.width, grid.height);
}

SharedMask from_runs(const py::object& given, const py::object& pixel_size, const py::object& shape) {
    refuse_masked(given, "runs");
    const py::array array = py::module_::import("numpy").attr("asarray")(given);
    const bool is_empty = array.size() == 0;  // NumPy makes floats of an empty list
    const char kind = array.dtype().kind();
    if (!is_empty && kind != 'i' && kind != 'u') {
        refuse_type("runs: expected integers, got " + text_of(array.dtype()));
    }
    // Numbers beyond 63 bits become negative, so they are refused too.
    const py::array_t<std::int64_t, py::array::c_style | py::array::forcecast> runs = array;
    if (!is_empty && (runs.ndim() != 2 || runs.shape(1) != 3)) {
        refuse_value("runs: expected rows of (row, first column, last column), got the shape " +
                     text_of(runs.attr("shape")));
    }
    Mask mask = empty_mask(pixel_size);
    unsigned height = 0, width = 0;
    for (py::ssize_t i = 0; !is_empty && i < runs.shape(0); ++i) {
        const std::int64_t row = runs.at(i, 0), first = runs.at(i, 1), last = runs.at(i, 2);
        if (row < 0 || row >= kMostOnSide || first < 0 || last < first || last >= kMostOnSide) {
            refuse_value("runs: expected 0 <= first column <= last column and a row of at least 0, got " +
                         text_of(array[py::int_(i)].attr("tolist")()));
        }
        mask.AddSegment(static_cast<unsigned>(row), static_cast<unsigned>(first), static_cast<unsigned>(last - first));
        height = std::max(height, static_cast<unsigned>(row) + 1);
        width = std::max(width, static_cast<unsigned>(last) + 1);
    }
    return on_grid(Host::Region(mask), shape, height, width);
}

SharedMask from_array(const py::object& given, const py::object& pixel_size) {
    if (!py::isinstance<py::array>(given))
        refuse_type("array: expected a NumPy array, got " + text_of(py::type::of(given).attr("__name__")));
    refuse_masked(given, "array");
    const auto array = py::reinterpret_borrow<py::array>(given);
    const char kind = array.dtype().kind();
    if (kind != 'b' && kind != 'u' && kind != 'i') {
        refuse_type("array: expected booleans or integers, got " + text_of(array.dtype()));
    }
    if (array.ndim() != 2) {
        refuse_value("array: expected rows x columns, got the shape " + text_of(array.attr("shape")));
    }
    const Shape grid = shape_of(array.attr("shape"));
    const py::array_t<bool, py::array::c_style> inside = py::module_::import("numpy").attr("not_equal")(array, 0);
    Mask mask = empty_mask(pixel_size);
    for (unsigned y = 0; y < grid.height; ++y) {
        const std::span row(inside.data() + std::size_t{y} * grid.width, grid.width);
        for (auto at = std::ranges::find(row, true); at != row.end(); at = std::find(at, row.end(), true)) {
            const auto end = std::find(at, row.end(), false);
            mask.AddSegment(y, static_cast<unsigned>(at - row.begin()), static_cast<unsigned>(end - at) - 1);
            at = end;
        }
    }
    return make_grid_mask(Host::Region(mask), grid.width, grid.height);
}

std::string describe(const GridMask& mask) {
    return fmt::format("<norvane.Mask of {} pixels on {} x {} of {} um>", mask.region.area(), mask.height, mask.width,
                       text_of(py::float_(own_pixel_size(mask))));
}

py::object png(const GridMask& mask) {
    const Host::MaskBitmap picture = bitmap(mask);
    if (picture.pixels.empty()) return py::none();
    return py::bytes(Host::encode_png(picture.pixels, picture.width, picture.height, Host::DeflatedContent::kRegions));
}

// How a pickle restores the mask: by from_runs() of the class. A pickle cannot name a static method, so methodcaller is
// used.
py::tuple made_by(const GridMask& mask) {
    const py::object call = py::module_::import("operator")
                                .attr("methodcaller")("from_runs", runs_of(mask), own_pixel_size(mask),
                                                      py::make_tuple(mask.height, mask.width));
    return py::make_tuple(call, py::make_tuple(py::type::of<GridMask>()));
}

// Without this, __new__() would give an object without a mask.
PyObject* refuse_new(PyTypeObject* /*type*/, PyObject* /*arguments*/, PyObject* /*by_name*/) {
    PyErr_SetString(PyExc_TypeError, "a Mask is made by from_runs() or from_array()");
    return nullptr;
}

// A text that begins with NAME(ARGUMENTS), two dashes and an empty line tells help() the signature.
constexpr const char* kClassText =
    "A set of pixels on the working grid, kept as runs of columns per row. It never changes, it can be pickled, and\n"
    "any number of threads may use it.";
constexpr const char* kFromRunsText =
    "from_runs(runs, pixel_size, shape=None)\n--\n\n"
    "A mask from runs in the form that runs() gives.\n\n"
    "runs: integers, n x 3: row, first column, last column (both included); runs that overlap or touch are joined.\n"
    "pixel_size: micrometres.\n"
    "shape: (rows, columns) of the grid. Default: as large as the runs need.\n\n"
    "Raises TypeError or ValueError if an argument is wrong.";
constexpr const char* kFromArrayText =
    "from_array(array, pixel_size)\n--\n\n"
    "A mask of the values that are not 0 in a 2-D array of booleans or integers; pixel_size in micrometres.";
constexpr const char* kBoundsText =
    "First column, first row, last column, last row (all included), or None if the mask is empty.";
constexpr const char* kBboxText =
    "First row, first column, row after the last, column after the last, as in scikit-image; None if the mask is "
    "empty.";
constexpr const char* kAsNumpyText =
    "__array__(self, dtype=None, copy=None)\n--\n\n"
    "The whole grid as booleans, rows x columns, for numpy.asarray(); or as dtype. The array is always a new one.";
constexpr const char* kSha256Text = "SHA-256 of the bytes of to_array(), as in the program's JSON.";
constexpr const char* kToArrayText =
    "to_array(self, shape=None, pixel_size=None)\n--\n\n"
    "The mask as uint8, rows x columns: 1 inside, 0 outside.\n\n"
    "shape: (rows, columns); pixels outside the grid are 0. Default: the whole grid in pixels of pixel_size.\n"
    "pixel_size: pixel size of the array in micrometres. Default: that of the grid. Along both axes, pixel v of the\n"
    "    array is pixel v * pixel_size / own pixel size + 0.5, truncated, of the grid.";
constexpr const char* kCocoText =
    "to_coco(self)\n--\n\n"
    "Run lengths in COCO's uncompressed form: {'size': [rows, columns], 'counts': [...]}. They go down one column of "
    "the\n"
    "grid after another and count pixels outside and inside alternately, beginning with those outside.";
constexpr const char* kContainsText =
    "contains(self, x, y, pixel_size=None)\n--\n\n"
    "Whether pixel (x, y) belongs to the mask. It is a pixel of the grid, or of a grid of pixel_size micrometres.";

}  // namespace

const GridMask& mask_of(const py::handle& given, const char* name) {
    const auto* mask = argument<const GridMask*>(given, name, "norvane.Mask");
    if (mask == nullptr) refuse_type(fmt::format("{}: expected norvane.Mask, got None", name));
    return *mask;
}

SharedMask make_grid_mask(Host::Region region, unsigned width, unsigned height) {
    return std::make_shared<GridMask>(GridMask{std::move(region), width, height});
}

py::array runs_of(const GridMask& mask) {
    std::vector<std::int32_t> numbers;
    for (const RowRuns& row : mask.region.rows()) {
        for (const ColumnRun& run : row.runs) {
            for (const unsigned number : {row.row, run.first, run.last}) {
                numbers.push_back(static_cast<std::int32_t>(number));
            }
        }
    }
    const std::size_t count = numbers.size() / 3;
    py::array_t<std::int32_t> array({count, std::size_t{3}});
    std::ranges::copy(numbers, array.mutable_data());
    return array;
}

py::array array_of(const Host::Region& region, const Host::GridPlacement& grid, const Shape& shape) {
    py::array_t<std::uint8_t> array({std::size_t{shape.height}, std::size_t{shape.width}});
    std::uint8_t* first = array.mutable_data();
    const py::gil_scoped_release others_go_on;
    std::fill_n(first, std::size_t{shape.height} * shape.width, std::uint8_t{0});
    const Host::SourceMask on_target(region, grid);
    for (unsigned y = 0; y < shape.height; ++y) {
        const std::span row(first + std::size_t{y} * shape.width, shape.width);
        for (const ColumnRun& run : on_target.row(y)) {
            std::ranges::fill(row.subspan(run.first, run.last - run.first + 1), std::uint8_t{1});
        }
    }
    return array;
}

void bind_mask(py::module_& module) {
    const auto set = [](SetOperation operation) {
        return [operation](const GridMask& a, const GridMask& b) { return combined(operation, a, b); };
    };
    py::class_<GridMask, std::shared_ptr<GridMask>> mask_class(module, "Mask", kClassText);
    mask_class
        .def_static("from_runs", &from_runs, py::arg("runs"), py::arg("pixel_size"), py::arg("shape") = py::none(),
                    kFromRunsText)
        .def_static("from_array", &from_array, py::arg("array"), py::arg("pixel_size"), kFromArrayText)
        .def_property_readonly("pixel_size", &own_pixel_size, "Micrometres.")
        .def_property_readonly(
            "shape", [](const GridMask& m) { return py::make_tuple(m.height, m.width); }, "Rows, columns of the grid.")
        .def_property_readonly("bounds", &bounds, kBoundsText)
        .def_property_readonly("bbox", &bbox, kBboxText)
        .def_property_readonly(
            "area", [](const GridMask& m) { return m.region.area(); }, "Number of pixels of its own grid.")
        .def_property_readonly("area_mm2", &area_mm2, "Square millimetres.")
        .def_property_readonly("sha256", &sha256, kSha256Text)
        .def("to_array", &to_array, py::arg("shape") = py::none(), py::arg("pixel_size") = py::none(), kToArrayText)
        .def("__array__", &as_numpy, py::arg("dtype") = py::none(), py::arg("copy") = py::none(), kAsNumpyText)
        .def("runs", &runs_of,
             "runs(self)\n--\n\nThe runs of columns: int32, n x 3, each row, first column, last column (both "
             "included).")
        .def("to_coco", &to_coco, kCocoText)
        .def("centroid", &centroid, "centroid(self)\n--\n\nMedian column and row, or None for an empty mask.")
        .def("contains", &contains, py::arg("x"), py::arg("y"), py::arg("pixel_size") = py::none(), kContainsText)
        .def("__and__", set(SetOperation::kBoth), py::is_operator(),
             "__and__(self, other, /)\n--\n\nThe pixels of both. ValueError if the pixel sizes differ.")
        .def("__or__", set(SetOperation::kEither), py::is_operator(),
             "__or__(self, other, /)\n--\n\nThe pixels of either. ValueError if the pixel sizes differ.")
        .def("__sub__", set(SetOperation::kFirstOnly), py::is_operator(),
             "__sub__(self, other, /)\n--\n\nThe pixels of the first only. ValueError if the pixel sizes differ.")
        .def("__eq__", &is_equal, py::is_operator())
        .def("__repr__", &describe)
        .def("_repr_png_", &png)
        .def("__reduce__", &made_by);
    mask_class.attr("__module__") = "norvane";  // the package, which is where users find it
    reinterpret_cast<PyTypeObject*>(mask_class.ptr())->tp_new = &refuse_new;
}

}  // namespace Norvane::Python

// SPDX-License-Identifier: Apache-2.0
#include "arguments.h"
#include "findings/grey_rows.h"
#include "grid_mask.h"
#include "working_image.h"

#include <norvane/norvane.h>

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace Norvane::Python {
namespace {

Masking::Params params_of(const py::object& given) {
    const auto take = [&given](const char* name, auto& field) {
        using Field = std::remove_reference_t<decltype(field)>;
        if constexpr (std::is_enum_v<Field>) {
            field = static_cast<Field>(given.attr(name).cast<int>());
        } else {
            field = given.attr(name).cast<Field>();
        }
    };
    Masking::Params params;
    take("side", params.side);
    take("view", params.view);
    take("bgNoise", params.bgNoise);
    take("noiseLevel", params.noiseLevel);
    take("pixelPaddingValueRangeLimit", params.pixelPaddingValueRangeLimit);
    take("fullContour", params.fullContour);
    take("singleContour", params.singleContour);
    take("smoothContour", params.smoothContour);
    take("contourOffset", params.contourOffset);
    take("checkCutTissue", params.checkCutTissue);
    take("contourOutput", params.contourOutput);
    take("maskingSpeed", params.maskingSpeed);
    take("pectContour", params.pectContour);
    return params;
}

std::string micrometres(float size) { return text_of(py::float_(static_cast<double>(size))) + " micrometres"; }

/// One call of the library. It has its own objects, so that other threads may use the same image and masks meanwhile.
class Call {
public:
    Call(const WorkingImage& working, const py::object& params_given, const py::object& frame_given = py::none())
        : params(params_of(params_given)), image(working.for_a_call()), frame(new_mask()) {
        if (!frame_given.is_none()) frame = given_mask("frame", frame_given);
    }

    /// A copy of the caller's mask on the grid of the image. Otherwise the library would continue on the grid of the
    /// mask, and the results would have another size than their image.
    [[nodiscard]] Mask given_mask(const char* name, const py::object& object) const {
        const GridMask& given = mask_of(object, name);
        const float expected = image.GetPixelSize();
        const float got = given.region.pixel_size_um();
        const auto longest = std::max({image.GetWidth(), image.GetHeight(), given.width, given.height});
        // The working pixel size is rounded. Two sizes count as equal if no pixel of either grid moves.
        if (std::abs(got - expected) * static_cast<float>(longest) >= 0.5F * std::min(got, expected)) {
            std::string text = name;
            text += ": expected a mask of the image's pixel size, " + micrometres(expected) + ", got one of ";
            text += micrometres(got);
            refuse_value(text);
        }
        return given.region.with_pixel_size(expected).mask();
    }

    /// An empty mask on the grid of the image, for the library to fill.
    [[nodiscard]] Mask new_mask() const { return Host::Region({}, image.GetPixelSize()).mask(); }

    template <class Work>
    void run(const Work& work) {
        const py::gil_scoped_release others_go_on;
        status = work();
    }

    [[nodiscard]] py::dict result(std::initializer_list<std::pair<const char*, const Mask&>> masks) const {
        py::dict by_name;
        for (const auto& [name, mask] : masks) {
            by_name[name] = make_grid_mask(Host::Region(mask).with_pixel_size(image.GetPixelSize()), image.GetWidth(),
                                           image.GetHeight());
        }
        py::dict result;
        result["status"] = static_cast<int>(status);
        result["masks"] = by_name;
        return result;
    }

    Masking::Params params;
    Image image;
    Mask frame;
    Masking::MASK_STATUS status = Masking::MASK_NO_MASK;
};

py::dict frame_mask(const WorkingImage& working, const py::object& params) {
    Call call(working, params);
    Mask* frame = &call.frame;
    call.run([&] { return NvGenerateFrameMask(&call.image, call.params, frame); });
    return call.result({{"frame", call.frame}});
}

// Points that were not written have coordinates below 0. If the first point was written, all were.
py::object points_of(const std::vector<int>& contour) {
    if (contour.empty() || contour.front() < 0) return py::none();
    py::array_t<std::int32_t> points({contour.size() / 2, std::size_t{2}});
    std::copy(contour.begin(), contour.end(), points.mutable_data());
    return points;
}

py::dict breast_mask(const WorkingImage& working, const py::object& params, const py::object& frame) {
    Call call(working, params, frame);
    std::vector<int> contour;
    if (call.params.contourOutput) {
        contour.assign(2 * static_cast<std::size_t>(Masking::GetSizeForContour()), -1);
        call.params.contour = &contour;
    }
    Mask breast = call.new_mask();
    std::array<int, 4> box{};
    call.run([&] { return NvGenerateBreastMask(&call.image, call.params, &call.frame, &breast, box.data()); });
    py::dict result = call.result({{"frame", call.frame}, {"breast", breast}});
    result["contour"] = points_of(contour);
    return result;
}

// Without an outer contour, the second mask would stay empty, and the cut-tissue check would use it.
py::dict full_mask(const WorkingImage& working, const py::object& params, const py::object& frame) {
    Call call(working, params, frame);
    Mask full = call.new_mask(), muscle = call.new_mask(), outer = call.new_mask();
    Mask* second = call.params.fullContour ? &outer : nullptr;
    call.run([&] { return NvGenerateFullMask(&call.image, call.params, &call.frame, &full, &muscle, second); });
    return call.result({{"frame", call.frame}, {"full", full}, {"pectoral", muscle}, {"outer", outer}});
}

py::dict pect_mask(const WorkingImage& working, const py::object& breast, const py::object& params,
                   const py::object& frame) {
    Call call(working, params, frame);
    Mask known = call.given_mask("breast", breast);
    Mask muscle = call.new_mask();
    call.run([&] { return NvGeneratePectMask(&call.image, call.params, &call.frame, &known, &muscle); });
    if (call.status != Masking::MASK_OK) muscle.Clear();  // a rejected line leaves its muscle in the mask
    return call.result({{"frame", call.frame}, {"pectoral", muscle}});
}

py::array chest_wall_patch(const WorkingImage& working, const py::object& params) {
    Call call(working, params);
    const std::size_t height = call.image.GetHeight();
    const std::size_t width = call.image.GetWidth();
    py::array_t<std::uint16_t> patched_pixels({height, width});
    std::uint16_t* first = patched_pixels.mutable_data();
    const py::gil_scoped_release others_go_on;
    Image patched(&call.image, true);
    Image* out = &patched;
    Masking().ChestWallPatch(&call.image, call.params, out);
    for (unsigned y = 0; y < height; ++y) {
        const auto row = Host::grey_row(patched, y);
        std::copy(row.begin(), row.end(), first + y * width);
    }
    return patched_pixels;
}

}  // namespace

void bind_mask_operations(py::module_& module) {
    module.def("frame_mask", &frame_mask);
    module.def("breast_mask", &breast_mask);
    module.def("full_mask", &full_mask);
    module.def("pect_mask", &pect_mask);
    module.def("chest_wall_patch", &chest_wall_patch);
}

}  // namespace Norvane::Python

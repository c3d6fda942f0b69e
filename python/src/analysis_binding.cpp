// SPDX-License-Identifier: Apache-2.0
#include "analysis_binding.h"

#include "arguments.h"
#include "export/overlay.h"
#include "export/report_json.h"
#include "export/source_masks.h"
#include "findings/chest_wall_side.h"
#include "findings/image_analysis.h"
#include "grid_mask.h"
#include "io/read_image.h"
#include "io/refusal.h"
#include "pictures.h"
#include "run/reading_options.h"
#include "working_image.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdatset.h>
#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <limits>
#include <mutex>
#include <new>
#include <string>
#include <utility>

namespace Norvane::Python {
namespace {

/// An image as its file holds it. Looking into the header of a DICOM object moves a mark inside it.
struct Source {
    Host::SourceImage image;
    std::mutex header_mutex;

    explicit Source(Host::SourceImage source) : image(std::move(source)) {}

    /// With a header of its own, so that what is made of it may be used by another thread.
    [[nodiscard]] Host::SourceImage copy() {
        const std::scoped_lock lock(header_mutex);
        Host::SourceImage other = image;
        if (image.dicom_header) other.dicom_header = std::make_shared<DcmDataset>(*image.dicom_header);
        return other;
    }
};
using SharedSource = std::shared_ptr<Source>;

/// An image that was analysed. The writers of results set target pixel sizes of its masks, so each takes the lock.
struct Analysis {
    std::string file;
    Host::ImageAnalysis made;
    std::mutex mutex;

    Analysis(std::string name, Host::ImageAnalysis analysis) : file(std::move(name)), made(std::move(analysis)) {}

    /// Work on the analysis while other threads of Python go on.
    template <class Work>
    auto apart(const Work& work) {
        const py::gil_scoped_release others_go_on;
        const std::scoped_lock lock(mutex);
        return work(made);
    }
};

// What is in memory already was the caller's decision.
constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();

std::uint64_t bytes_of_mebibytes(std::uint64_t mebibytes) {
    constexpr std::uint64_t kMost = std::uint64_t{1} << 20;
    if (mebibytes == 0 || mebibytes > kMost) {
        refuse_value("image_memory: expected 1 to " + std::to_string(kMost) + " MiB, got " + std::to_string(mebibytes));
    }
    return mebibytes << 20U;
}

// What goes wrong with an image is a sentence about it, as in the program; what goes wrong with the memory is not.
template <class Work>
auto about(const std::string& file, const Work& work) {
    const py::gil_scoped_release others_go_on;
    try {
        return work();
    } catch (const Host::Refusal& refusal) {
        throw Host::Refusal(file + " " + refusal.what());
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& e) {
        throw Host::Refusal(file + " failed: " + e.what());
    }
}

SharedSource read(const std::string& file, const std::optional<unsigned>& frame, bool is_pixel_size_given,
                  const std::string& decode, const std::optional<std::uint64_t>& image_memory) {
    refuse_nul(file);
    const auto* const place =
        std::ranges::find_if(Host::kDecodingPlaces, [&decode](const auto& named) { return decode == named.first; });
    if (place == Host::kDecodingPlaces.end()) refuse_value("decode: expected isolated or in-process, got " + decode);
    const std::uint64_t limit = image_memory ? bytes_of_mebibytes(*image_memory) : Host::kDefaultImageMemory;
    const Host::ReadOptions options{frame, is_pixel_size_given, place->second, limit};
    return about(file, [&] { return std::make_shared<Source>(Host::read_image(file, options)); });
}

// An array in the place of a file.
SharedSource source_of(const py::object& pixels, const std::optional<long>& used_bits) {
    const PixelArray array = pixels_of(pixels, used_bits);
    Host::SourceImage source;
    source.format = "array";
    source.used_bits = array.used_bits;
    Host::set_size(source, array.width, array.height, {.image_memory = kNoLimit});
    std::copy_n(array.words(), source.samples.size(), source.samples.begin());
    const std::uint16_t largest = std::ranges::max(source.samples);
    if (static_cast<unsigned>(std::bit_width(largest)) > array.used_bits) {
        refuse_value("pixels: expected samples of " + std::to_string(array.used_bits) + " bits, got " +
                     std::to_string(largest));
    }
    return std::make_shared<Source>(std::move(source));
}

py::array samples(const py::object& self) {
    const auto& source = self.cast<const Source&>().image;
    py::array_t<std::uint16_t> array({std::size_t{source.height}, std::size_t{source.width}}, source.samples.data(),
                                     self);
    array.attr("flags").attr("writeable") = false;
    return array;
}

template <class Value>
py::object number_of(const std::optional<Value>& value) {
    if (!value) return py::none();
    return py::int_(static_cast<int>(*value));
}

py::dict facts_of(const Source& given) {
    const Host::SourceImage& source = given.image;
    py::dict facts;
    facts["format"] = source.format;
    facts["encoding"] = source.encoding;
    facts["frame"] = source.frame;
    facts["frame_count"] = source.frame_count;
    facts["used_bits"] = source.used_bits;
    facts["inverted"] = source.needs_inversion;
    facts["pixel_size"] = py::cast(source.pixel_size_um);
    facts["side"] = number_of(source.chest_wall);
    facts["view"] = number_of(source.view);
    facts["noise"] = number_of(source.noise);
    facts["laterality"] = source.laterality ? py::object(py::str(Host::name_of(*source.laterality))) : py::none();
    facts["padding"] =
        source.padding ? py::object(py::make_tuple(source.padding->low, source.padding->high)) : py::none();
    facts["window"] =
        source.window ? py::object(py::make_tuple(source.window->centre, source.window->width)) : py::none();
    facts["flags"] = py::tuple(py::cast(source.flags));
    facts["warnings"] = py::tuple(py::cast(source.warnings));
    py::dict fields;
    fields["pixel_size"] = source.pixel_size_from;
    fields["side"] = source.chest_wall_from;
    fields["view"] = source.view_from;
    fields["noise"] = source.noise_from;
    fields["laterality"] = source.laterality_from;
    facts["said_by"] = fields;
    return facts;
}

template <class Enumeration>
std::optional<Enumeration> choice_of(const py::dict& options, const char* name) {
    const py::object value = options[name];
    if (value.is_none()) return std::nullopt;
    return static_cast<Enumeration>(value.cast<int>());
}

Host::AnalysisOptions options_of(const py::dict& given) {
    Host::AnalysisOptions options;
    options.side = choice_of<IMAGE_SIDE>(given, "side");
    options.view = choice_of<IMAGE_VIEW>(given, "view");
    options.noise = choice_of<BG_NOISE>(given, "noise");
    options.tries_noise = given["tries_noise"].cast<bool>();
    options.pixel_size_um = given["pixel_size"].cast<std::optional<double>>();
    if (options.pixel_size_um) (void)pixel_size_of(*options.pixel_size_um, std::numeric_limits<double>::infinity());
    options.padding = padding_of(given["padding"]);
    options.crops_film_area = given["crop"].cast<bool>();
    options.is_inverted = given["inverted"].cast<bool>();
    options.is_fast = given["fast"].cast<bool>();
    options.wants_contour = given["contour"].cast<bool>();
    const auto image_memory = given["image_memory"].cast<std::optional<std::uint64_t>>();
    options.image_memory = image_memory ? bytes_of_mebibytes(*image_memory) : kNoLimit;
    return options;
}

std::shared_ptr<Analysis> analyse(const SharedSource& source, const std::string& file, const py::dict& given) {
    const Host::AnalysisOptions options = options_of(given);
    return about(file, [&] { return std::make_shared<Analysis>(file, Host::analyse(source->copy(), options)); });
}

Mask copy_of(Analysis& analysis, const Host::MaskLayer& layer) {
    return analysis.apart([&](Host::ImageAnalysis& made) { return Mask(layer.mask_of(made.masks)); });
}

py::dict masks_of(Analysis& analysis) {
    const Image& image = *analysis.made.prepared.image;
    py::dict masks;
    for (const Host::MaskLayer& layer : Host::kMaskLayers) {
        Mask mask = copy_of(analysis, layer);
        mask.SetPixelSize(image.GetPixelSize());  // an empty mask need not have one
        masks[layer.key] = make_grid_mask(mask, image.GetWidth(), image.GetHeight());
    }
    return masks;
}

py::dict statuses_of(const Analysis& analysis) {
    const Host::MasksResult& masks = analysis.made.masks;
    py::dict statuses;
    statuses["frame"] = static_cast<int>(masks.frame.status);
    statuses["breast"] = static_cast<int>(masks.breast.status);
    statuses["pectoral"] = static_cast<int>(masks.pectoral.status);
    statuses["full"] = static_cast<int>(masks.full.status);
    return statuses;
}

std::shared_ptr<WorkingImage> image_of(const Analysis& analysis) {
    auto image = std::make_shared<WorkingImage>();
    image->prepared = Host::prepared_for(analysis.made.prepared, BG_AUTO);  // a copy as it is
    image->noise = analysis.made.settings.noise;
    return image;
}

py::array source_mask(Analysis& analysis, const std::string& name) {
    const Host::MaskLayer* layer = layer_named(name);
    if (layer == nullptr) throw py::key_error(name);
    const Host::ImageAnalysis& made = analysis.made;
    return array_of(copy_of(analysis, *layer), made.crop, {made.source.height, made.source.width},
                    made.settings.pixel_size_um);
}

py::array labels(Analysis& analysis) {
    const Host::SourceImage& source = analysis.made.source;
    py::array_t<std::uint8_t> array({std::size_t{source.height}, std::size_t{source.width}});
    std::uint8_t* first = array.mutable_data();
    analysis.apart([&](Host::ImageAnalysis& made) {
        const Host::LabelImage label_image(made);
        for (unsigned y = 0; y < label_image.height(); ++y) {
            label_image.fill_row(y, {first + std::size_t{y} * label_image.width(), label_image.width()});
        }
    });
    return array;
}

std::string to_json(Analysis& analysis) {
    return analysis.apart([&](Host::ImageAnalysis& made) { return Host::report_json(analysis.file, made); });
}

std::string title_of(const Analysis& analysis) { return std::filesystem::path(analysis.file).filename().string(); }

py::bytes overlay_png(Analysis& analysis) {
    return analysis.apart([&](Host::ImageAnalysis& made) { return Host::draw_overlay(made, title_of(analysis)); });
}

py::array overlay(Analysis& analysis) {
    const Host::Surface surface =
        analysis.apart([&](Host::ImageAnalysis& made) { return Host::overlay_surface(made, title_of(analysis)); });
    return rgb_of(surface);
}

}  // namespace

void bind_analysis(py::module_& module) {
    // Lives as long as the process, as the translator does.
    static const auto* const kind = new py::exception<Host::Refusal>(module, "Refusal", PyExc_ValueError);
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown) std::rethrow_exception(thrown);
        } catch (const Host::Refusal& refusal) {
            PyErr_SetObject(kind->ptr(), text_of_file(refusal.what()).ptr());
        }
    });
    py::class_<Source, SharedSource>(module, "Source")
        .def_property_readonly("pixels", &samples)
        .def_property_readonly("facts", &facts_of);
    py::class_<Analysis, std::shared_ptr<Analysis>>(module, "Analysis")
        .def_property_readonly("file", [](const Analysis& a) { return py::bytes(a.file); })
        .def_property_readonly("statuses", &statuses_of)
        .def_property_readonly("masks", &masks_of)
        .def_property_readonly("image", &image_of)
        .def("to_json", &to_json)
        .def("source_mask", &source_mask)
        .def("labels", &labels)
        .def("overlay", &overlay)
        .def("overlay_png", &overlay_png);
    module.def("read", &read);
    module.def("source_of", &source_of);
    module.def("analyse", &analyse, py::arg("source").none(false), py::arg("file"), py::arg("options"));
    module.def("check_options", [](const py::dict& options) { (void)options_of(options); });
}

}  // namespace Norvane::Python

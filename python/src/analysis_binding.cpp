// SPDX-License-Identifier: Apache-2.0
#include "analysis_binding.h"

#include "arguments.h"
#include "export/overlay.h"
#include "export/report_json.h"
#include "export/source_masks.h"
#include "findings/areas.h"
#include "findings/findings.h"
#include "findings/named_masks.h"
#include "grid_mask.h"
#include "io/read_image.h"
#include "io/refusal.h"
#include "pickled.h"
#include "pictures.h"
#include "python_words.h"
#include "run/reading_options.h"
#include "working_image.h"

#include <fmt/core.h>
#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <exception>
#include <limits>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

namespace Norvane::Python {
namespace {

/// Both are values that never change, so other Python threads continue while they are read.
using SharedSource = std::shared_ptr<Host::SourceImage>;
using SharedFindings = std::shared_ptr<Host::Findings>;

// The caller decided to have this in memory already.
constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();

// In bytes.
std::uint64_t image_memory_of(const py::handle& given, std::uint64_t otherwise) {
    constexpr std::uint64_t kMost = std::uint64_t{1} << 20;
    using Mebibytes = std::optional<std::uint64_t>;
    const auto mebibytes = argument<Mebibytes>(given, "image_memory", "MiB as a whole number above 0");
    if (!mebibytes) return otherwise;
    if (*mebibytes == 0 || *mebibytes > kMost) {
        refuse_value(fmt::format("image_memory: expected 1 to {} MiB, got {}", kMost, *mebibytes));
    }
    return *mebibytes << 20U;
}

// Errors become a sentence about the image, like in the program. Lack of memory does not.
template <class Work>
auto about(const std::string& file, const Work& work) {
    const py::gil_scoped_release others_go_on;
    try {
        return work();
    } catch (const Host::Refusal& refusal) {
        throw Host::Refusal(file + " " + in_python_words(refusal.what()));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& e) {
        throw Host::Refusal(file + " failed: " + e.what());
    }
}

SharedSource read(const std::string& file, const std::optional<unsigned>& frame, bool is_pixel_size_given,
                  const py::object& any_modality, const py::object& decode, const py::object& image_memory,
                  const py::object& patient_id, const py::object& no_identifiers) {
    refuse_nul(file);
    const auto place_named = argument<std::string>(decode, "decode", "isolated or in-process");
    const auto* const place = std::ranges::find_if(
        Host::kDecodingPlaces, [&place_named](const auto& named) { return place_named == named.first; });
    if (place == Host::kDecodingPlaces.end()) {
        refuse_value("decode: expected isolated or in-process, got " + place_named);
    }
    const bool has_patient_id = flag(patient_id, "patient_id");
    const bool has_no_identifiers = flag(no_identifiers, "no_identifiers");
    if (has_patient_id && has_no_identifiers) refuse_value("patient_id: contradicts no_identifiers");
    const auto identifiers = has_no_identifiers ? Host::Identifiers::kNone
                             : has_patient_id   ? Host::Identifiers::kUidsAndPatient
                                                : Host::Identifiers::kUids;
    const Host::ReadOptions options{frame,
                                    is_pixel_size_given,
                                    flag(any_modality, "any_modality"),
                                    place->second,
                                    image_memory_of(image_memory, Host::kDefaultImageMemory),
                                    identifiers};
    return about(file, [&] { return std::make_shared<Host::SourceImage>(Host::read_image(file, options)); });
}

// A source made from an array instead of a file.
SharedSource source_of(const py::object& pixels, const py::object& used_bits) {
    const PixelArray array = pixels_of(pixels, used_bits);
    Host::SourceImage source;
    source.format = "array";
    source.used_bits = array.used_bits;
    Host::set_size(source, array.width, array.height, {.image_memory = kNoLimit});
    std::copy_n(array.words(), source.samples.size(), source.samples.begin());
    const std::uint16_t largest = std::ranges::max(source.samples);
    if (static_cast<unsigned>(std::bit_width(largest)) > array.used_bits) {
        refuse_value(fmt::format("pixels: expected samples of {} bits, got {}", array.used_bits, largest));
    }
    return std::make_shared<Host::SourceImage>(std::move(source));
}

py::array samples(const py::object& self) {
    const auto& source = self.cast<const Host::SourceImage&>();
    py::array_t<std::uint16_t> array({std::size_t{source.height}, std::size_t{source.width}}, source.samples.data(),
                                     self);
    array.attr("flags").attr("writeable") = false;
    return array;
}

// Facts as Python objects. Enumerations become their numbers.
template <class Value>
py::object object_of(const Value& value) {
    if constexpr (std::is_enum_v<Value> && !std::is_same_v<Value, Host::Laterality>) {
        return py::int_(static_cast<int>(value));
    } else {
        return py::cast(value);
    }
}
py::object object_of(Host::Laterality value) { return py::str(Host::name_of(value)); }
py::object object_of(const Host::PaddingRange& value) { return py::make_tuple(value.low, value.high); }
py::object object_of(const Host::DisplayWindow& value) { return py::make_tuple(value.centre, value.width); }
py::object object_of(const std::vector<std::string>& values) {
    py::tuple texts(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) texts[i] = in_python_words(values[i]);
    return texts;
}

/// A fact and the field that says it. If the file does not say it, None and an empty text.
template <class Value>
std::pair<py::object, std::string> said(const Value& value) {
    return {object_of(value), {}};
}
template <class Value>
std::pair<py::object, std::string> said(const Host::Said<Value>& fact) {
    if (!fact) return {py::none(), {}};
    return {object_of(fact->value), fact->from};
}

// For each attribute by its name: the value, and the field of the header that says it.
py::dict facts_of(const Host::SourceImage& source) {
    py::dict facts;
    Host::visit_facts(source, [&facts](const Host::FactDeclaration& fact, const auto& value) {
        if (fact.attribute == nullptr) return;
        const auto [object, from] = said(value);
        facts[fact.attribute] = py::make_tuple(object, from);
    });
    return facts;
}

// For each attribute by its name: what it means.
py::dict meanings_of_facts() {
    py::dict meanings;
    Host::visit_facts(Host::Header(), [&meanings](const Host::FactDeclaration& fact, const auto&) {
        if (fact.attribute != nullptr) meanings[fact.attribute] = fact.meaning;
    });
    return meanings;
}

template <class Enumeration>
std::optional<Enumeration> choice_of(const py::dict& options, const char* name) {
    const py::object value = options[name];
    if (value.is_none()) return std::nullopt;
    return static_cast<Enumeration>(value.cast<int>());
}

std::optional<double> micrometres_of(const py::dict& options, const char* name) {
    const py::object given = options[name];
    if (given.is_none()) return std::nullopt;
    const double size = pixel_size_of(given, std::numeric_limits<double>::infinity(), name);
    if (size < Host::kLeastPixelSizeUm) {
        refuse_value(fmt::format("{}: expected micrometres, got {}; were millimetres meant?", name, size));
    }
    return size;
}

bool flag_of(const py::dict& options, const char* name) { return flag(py::object(options[name]), name); }

Host::AnalysisOptions options_of(const py::dict& given) {
    Host::AnalysisOptions options;
    options.side = choice_of<IMAGE_SIDE>(given, "side");
    options.view = choice_of<IMAGE_VIEW>(given, "view");
    options.noise = choice_of<BG_NOISE>(given, "noise");
    options.tries_noise = flag_of(given, "tries_noise");
    options.pixel_size_um = micrometres_of(given, "pixel_size");
    options.defaults.side = choice_of<IMAGE_SIDE>(given, "default_side");
    options.defaults.view = choice_of<IMAGE_VIEW>(given, "default_view");
    options.defaults.pixel_size_um = micrometres_of(given, "default_pixel_size");
    options.padding = padding_of(given["padding"]);
    options.crops_film_area = flag_of(given, "crop");
    options.is_inverted = flag_of(given, "inverted");
    options.muscle =
        flag_of(given, "refined_muscle") ? Host::MuscleBorderChoice::kRefined : Host::MuscleBorderChoice::kExact;
    options.is_fast = flag_of(given, "fast");
    options.wants_contour = flag_of(given, "contour");
    options.image_memory = image_memory_of(py::object(given["image_memory"]), kNoLimit);
    return options;
}

SharedFindings analyse(const SharedSource& source, const std::string& file, const py::dict& given) {
    const Host::AnalysisOptions options = options_of(given);
    return about(file, [&] {
        return std::make_shared<Host::Findings>(Host::analyse(Host::SourceImage(*source), options, file));
    });
}

py::dict masks_of(const Host::Findings& findings) {
    const Image& image = findings.working_image();
    py::dict masks;
    for (const Host::NamedMask& mask : Host::kNamedMasks) {
        masks[mask.name] = make_grid_mask(mask.region_of(findings.masks).with_pixel_size(image.GetPixelSize()),
                                          image.GetWidth(), image.GetHeight());
    }
    return masks;
}

py::dict statuses_of(const Host::Findings& findings) {
    py::dict statuses;
    for (const Host::NamedMask& mask : Host::kNamedMasks) {
        if (mask.status_of != nullptr) statuses[mask.name] = static_cast<int>(*mask.status_of(findings.masks));
    }
    return statuses;
}

py::dict areas_of(const Host::Findings& findings) {
    const Host::BreastAreas areas = Host::areas_of(findings);
    py::dict named;
    for (const Host::AreaDeclaration& area : Host::kAreas) named[area.name] = areas.*area.value;
    return named;
}

py::dict doubt_of(const Host::Findings& findings) {
    py::dict doubt;
    doubt["breast"] = findings.doubt.breast;
    doubt["muscle"] = findings.doubt.muscle;
    return doubt;
}

std::shared_ptr<WorkingImage> image_of(const Host::Findings& findings) {
    auto image = std::make_shared<WorkingImage>();
    image->prepared = Host::prepared_for(findings.prepared, BG_AUTO);  // an unchanged copy
    image->noise = findings.settings.noise.value;
    return image;
}

py::array source_mask(const Host::Findings& findings, const py::object& given) {
    const auto name = argument<std::string>(given, "name", "the name of a mask");
    const auto* const mask = std::ranges::find(Host::kNamedMasks, name, &Host::NamedMask::name);
    if (mask == Host::kNamedMasks.end()) throw py::key_error(name);
    return array_of(mask->region_of(findings.masks), Host::placement_of(findings),
                    {findings.source.height, findings.source.width});
}

py::array labels(const Host::Findings& findings) {
    const Host::SourceImage& source = findings.source;
    py::array_t<std::uint8_t> array({std::size_t{source.height}, std::size_t{source.width}});
    std::uint8_t* first = array.mutable_data();
    const py::gil_scoped_release others_go_on;
    const Host::LabelImage label_image(findings);
    for (unsigned y = 0; y < label_image.height(); ++y) {
        label_image.fill_row(y, {first + std::size_t{y} * label_image.width(), label_image.width()});
    }
    return array;
}

// Works on the findings while other Python threads continue.
template <auto encode>
auto apart(const Host::Findings& findings) {
    const py::gil_scoped_release others_go_on;
    return encode(findings);
}

}  // namespace

void bind_analysis(py::module_& module) {
    // Lives as long as the process, like the translator.
    static const auto* const kind = new py::exception<Host::Refusal>(module, "Refusal", PyExc_ValueError);
    kind->attr("__module__") = "norvane";
    kind->attr("__doc__") = "A file or an image that cannot be used. The text says why.";
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown) std::rethrow_exception(thrown);
        } catch (const Host::Refusal& refusal) {
            PyErr_SetObject(kind->ptr(), text_of_file(refusal.what()).ptr());
        }
    });
    py::class_<Host::SourceImage, std::shared_ptr<Host::SourceImage>>(module, "Source")
        .def_property_readonly("pixels", &samples)
        .def_property_readonly("facts", &facts_of)
        .def(py::pickle(&state_of<Host::SourceImage>, &from_state<Host::SourceImage>));
    py::class_<Host::Findings, std::shared_ptr<Host::Findings>>(module, "Analysis")
        .def_property_readonly("file", [](const Host::Findings& findings) { return py::bytes(findings.file); })
        .def_property_readonly("statuses", &statuses_of)
        .def_property_readonly("areas", &areas_of)
        .def_property_readonly("doubt", &doubt_of)
        .def_property_readonly("masks", &masks_of)
        .def_property_readonly("image", &image_of)
        .def("to_json", &apart<Host::report_json>)
        .def("source_mask", &source_mask)
        .def("labels", &labels)
        .def("overlay", [](const Host::Findings& findings) { return rgb_of(apart<Host::overlay_surface>(findings)); })
        .def("overlay_png",
             [](const Host::Findings& findings) { return py::bytes(apart<Host::overlay_png>(findings)); })
        .def(py::pickle(&state_of<Host::Findings>, &from_state<Host::Findings>));
    module.attr("meanings_of_facts") = meanings_of_facts();
    module.def("read", &read);
    module.def("source_of", &source_of);
    module.def("analyse", &analyse, py::arg("source").none(false), py::arg("file"), py::arg("options"));
    module.def("check_options", [](const py::dict& options) { (void)options_of(options); });
}

}  // namespace Norvane::Python

// SPDX-License-Identifier: Apache-2.0
/// What a file says about its image, apart from the pixels. All formats use the same record, and each fact is declared
/// here.
#pragma once

#include "io/words.h"

#include <norvane/masking.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Norvane::Host {

/// A value and where it comes from: a field of the header, an option, or the pixels.
template <class Value>
struct Sourced {
    Value value;
    std::string from = {};
};
template <class Value>
Sourced(Value, std::string) -> Sourced<Value>;
template <class Value>
Sourced(Value) -> Sourced<Value>;

/// A fact that a file may leave out.
template <class Value>
using Said = std::optional<Sourced<Value>>;

/// Grey values of the file that mean "no image here". Both ends belong to the range.
struct PaddingRange {
    std::uint16_t low;
    std::uint16_t high;
};

/// The range of grey values that should be displayed from black to white.
struct DisplayWindow {
    double centre;
    double width;
};

/// Which identifiers of a header are read. Each value includes those before it.
enum class Identifiers {
    kNone,            ///< nothing that leads to the image, its study or its patient
    kUids,            ///< the UIDs of instance, series and study
    kUidsAndPatient,  ///< these and the identifier of the patient
};

/// A fact that is a text and that no rule depends on. One row is enough: the readers look for it, and `norvane info`,
/// the results, the tables, the page and the Python module show it.
struct TextFact {
    const char* name;                            ///< its name in all output, and the attribute in Python
    std::uint32_t field;                         ///< the DICOM field: group and element
    const char* keyword;                         ///< DICOM's keyword for that field
    const char* meaning;                         ///< a sentence
    Identifiers read_with = Identifiers::kNone;  ///< it is read if at least these are asked for
};
inline constexpr std::array kTextFacts{
    TextFact{"sop_instance_uid", 0x0008'0018, "SOPInstanceUID", "Identifier of the image", Identifiers::kUids},
    TextFact{"series_instance_uid", 0x0020'000E, "SeriesInstanceUID", "Identifier of the series", Identifiers::kUids},
    TextFact{"study_instance_uid", 0x0020'000D, "StudyInstanceUID", "Identifier of the study", Identifiers::kUids},
    TextFact{"patient_id", 0x0010'0020, "PatientID", "Identifier of the patient, read only if it is asked for",
             Identifiers::kUidsAndPatient},
};

/// Texts of a DICOM header. The key is the number of the field: group and element.
using DicomTexts = std::map<std::uint32_t, std::string>;

/// visit_facts() says what each member means.
struct Header {
    std::string format;
    std::string encoding;
    unsigned frame = 1;
    unsigned frame_count = 1;
    unsigned width = 0;
    unsigned height = 0;
    unsigned used_bits = 16;
    bool needs_inversion = false;
    Said<double> pixel_size_um;
    Said<IMAGE_VIEW> view;
    Said<Laterality> laterality;
    Said<IMAGE_SIDE> chest_wall;
    Said<BG_NOISE> noise;
    Said<PaddingRange> padding;
    Said<DisplayWindow> window;
    std::array<Said<std::string>, kTextFacts.size()> texts;  ///< in the order of kTextFacts
    std::vector<std::string> flags;
    std::vector<std::string> warnings;

    std::string horizontal_flip;            ///< FieldOfViewHorizontalFlip of a DICOM object
    std::optional<DicomTexts> dicom_texts;  ///< what a DICOM object made from this one repeats; none for other formats
    Identifiers identifiers = Identifiers::kUids;  ///< the identifiers that were asked for
};

/// How a fact is shown everywhere.
struct FactDeclaration {
    const char* name;       ///< in the JSON and the text of `norvane info`
    const char* attribute;  ///< the attribute of a Source in Python; null if there is none
    const char* otherwise;  ///< what applies if the file does not say it; null if every file says it
    const char* meaning;    ///< with the unit
};

/// Calls visit(declaration, value) for every fact, in the order in which they are shown. Optional facts are Said<>.
template <class Visitor>
void visit_facts(const Header& h, const Visitor& visit) {
    using Fact = FactDeclaration;
    visit(Fact{"format", "format", nullptr, "Format of the file, such as PNG"}, h.format);
    visit(Fact{"encoding", "encoding", nullptr,
               "How a DICOM object holds its pixels, or that a colour image is read as grey; otherwise empty"},
          h.encoding);
    visit(Fact{"frame", "frame", nullptr, "Which frame or page of the file this is, from 1"}, h.frame);
    visit(Fact{"frames", "frame_count", nullptr, "Frames or pages that the file holds"}, h.frame_count);
    visit(Fact{"width", nullptr, nullptr, "Columns"}, h.width);
    visit(Fact{"height", nullptr, nullptr, "Rows"}, h.height);
    visit(Fact{"used_bits", "used_bits", nullptr, "Samples lie in 0 .. 2^used_bits - 1"}, h.used_bits);
    visit(Fact{"tissue_is_dark", "inverted", nullptr, "Tissue is dark on a bright background"}, h.needs_inversion);
    visit(Fact{"pixel_size_um", "pixel_size", "give --default-pixel-size", "Micrometres from pixel to pixel"},
          h.pixel_size_um);
    visit(Fact{"view", "view", "give --default-view", "View: mlo shows the pectoral muscle, cc does not"}, h.view);
    visit(Fact{"breast", "laterality", "found in the pixels", "Which breast it is, not where its chest wall lies"},
          h.laterality);
    visit(Fact{"chest_wall_border", "side", "found in the pixels", "Image border at which the chest wall lies"},
          h.chest_wall);
    visit(Fact{"noise_class", "noise", "found in the pixels", "Noise class for this kind of acquisition"}, h.noise);
    visit(Fact{"padding", "padding", "none", "Lowest and highest grey value that mean \"no image here\""}, h.padding);
    visit(Fact{"window", "window", "none", "Centre and width of the range of grey values to display"}, h.window);
    for (std::size_t i = 0; i < kTextFacts.size(); ++i) {
        const char* otherwise = kTextFacts[i].read_with > h.identifiers ? "not read" : "not said";
        visit(Fact{kTextFacts[i].name, kTextFacts[i].name, otherwise, kTextFacts[i].meaning}, h.texts[i]);
    }
    visit(Fact{"flags", "flags", nullptr, "What is special about the view, one word each, such as spot or implant"},
          h.flags);
    visit(Fact{"warnings", "warnings", nullptr, "Contradictions in the header, one sentence each"}, h.warnings);
}

}  // namespace Norvane::Host

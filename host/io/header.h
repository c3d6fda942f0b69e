// SPDX-License-Identifier: Apache-2.0
/// What a file says about its image, apart from the pixels: one value for all formats, and the declaration of each
/// fact.
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

/// A value and what it was taken from: a field of the header, an option, or a look at the pixels.
template <class Value>
struct Sourced {
    Value value;
    std::string from = {};
};
template <class Value>
Sourced(Value, std::string) -> Sourced<Value>;
template <class Value>
Sourced(Value) -> Sourced<Value>;

/// Nothing if the file does not say it.
template <class Value>
using Said = std::optional<Sourced<Value>>;

/// Grey values of the file that mean "no image here", both ends in.
struct PaddingRange {
    std::uint16_t low;
    std::uint16_t high;
};

/// The grey values that the file wants to be shown from black to white.
struct DisplayWindow {
    double centre;
    double width;
};

/// Which of the identifiers in a header are read: each one includes those before it.
enum class Identifiers {
    kNone,            ///< nothing that leads to the image, its study or its patient
    kUids,            ///< those of instance, series and study
    kUidsAndPatient,  ///< and the patient's
};

/// A fact that is a text and that nothing here depends on. A row is all that it needs: the readers look for it, and
/// `norvane info`, the results, the tables, the page and the Python module show it.
struct TextFact {
    const char* name;                            ///< in all that is written, and of the attribute in Python
    std::uint32_t field;                         ///< of DICOM: group and element
    const char* keyword;                         ///< of that field
    const char* meaning;                         ///< a sentence
    Identifiers read_with = Identifiers::kNone;  ///< the least that has to be asked for
};
inline constexpr std::array kTextFacts{
    TextFact{"sop_instance_uid", 0x0008'0018, "SOPInstanceUID", "Identifier of the image", Identifiers::kUids},
    TextFact{"series_instance_uid", 0x0020'000E, "SeriesInstanceUID", "Identifier of the series", Identifiers::kUids},
    TextFact{"study_instance_uid", 0x0020'000D, "StudyInstanceUID", "Identifier of the study", Identifiers::kUids},
    TextFact{"patient_id", 0x0010'0020, "PatientID", "Identifier of the patient, read only if it is asked for",
             Identifiers::kUidsAndPatient},
};

/// Texts of a DICOM header by the number of their field, group and element.
using DicomTexts = std::map<std::uint32_t, std::string>;

/// See visit_facts() for what each of them means.
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
    std::array<Said<std::string>, kTextFacts.size()> texts;  ///< those of kTextFacts, in their order
    std::vector<std::string> flags;
    std::vector<std::string> warnings;

    std::string horizontal_flip;  ///< FieldOfViewHorizontalFlip of a DICOM object
    std::optional<DicomTexts>
        dicom_texts;  ///< what an object made of this DICOM object repeats; none for other formats
    Identifiers identifiers = Identifiers::kUids;  ///< that were to be read
};

/// How a fact is shown wherever it stands.
struct FactDeclaration {
    const char* name;       ///< in the JSON and the text of `norvane info`
    const char* attribute;  ///< of a Source in Python; null: it has none
    const char* otherwise;  ///< what happens if the file does not say it; null: it always does
    const char* meaning;    ///< with the unit
};

/// Calls visit(declaration, value) for every fact, in the order in which people read them. Optional ones are Said<>.
template <class Visitor>
void visit_facts(const Header& h, const Visitor& visit) {
    using Fact = FactDeclaration;
    visit(Fact{"format", "format", nullptr, "Format of the file, such as PNG"}, h.format);
    visit(Fact{"encoding", "encoding", nullptr, "How a DICOM object holds its pixels; empty for other formats"},
          h.encoding);
    visit(Fact{"frame", "frame", nullptr, "Which frame or page of the file this is, from 1"}, h.frame);
    visit(Fact{"frames", "frame_count", nullptr, "Frames or pages that the file holds"}, h.frame_count);
    visit(Fact{"width", nullptr, nullptr, "Columns"}, h.width);
    visit(Fact{"height", nullptr, nullptr, "Rows"}, h.height);
    visit(Fact{"used_bits", "used_bits", nullptr, "Samples lie in 0 .. 2^used_bits - 1"}, h.used_bits);
    visit(Fact{"tissue_is_dark", "inverted", nullptr, "Tissue is dark on a bright background"}, h.needs_inversion);
    visit(Fact{"pixel_size_um", "pixel_size", "give --pixel-size", "Micrometres from pixel to pixel"}, h.pixel_size_um);
    visit(Fact{"view", "view", "give --view", "View: mlo with pectoral muscle, cc without"}, h.view);
    visit(Fact{"breast", "laterality", "found in the pixels", "Which breast it is, not where its chest wall lies"},
          h.laterality);
    visit(Fact{"chest_wall_border", "side", "found in the pixels", "Image border at which the chest wall lies"},
          h.chest_wall);
    visit(Fact{"noise_class", "noise", "found in the pixels", "Noise class that the kind of acquisition has"}, h.noise);
    visit(Fact{"padding", "padding", "none", "Lowest and highest grey value that mean that there is no image"},
          h.padding);
    visit(Fact{"window", "window", "none", "Centre and width of the grey values that are to be shown"}, h.window);
    for (std::size_t i = 0; i < kTextFacts.size(); ++i) {
        const char* otherwise = kTextFacts[i].read_with > h.identifiers ? "not read" : "not said";
        visit(Fact{kTextFacts[i].name, kTextFacts[i].name, otherwise, kTextFacts[i].meaning}, h.texts[i]);
    }
    visit(Fact{"flags", "flags", nullptr, "What is special about the view, a word each, such as spot or implant"},
          h.flags);
    visit(Fact{"warnings", "warnings", nullptr, "Contradictions in the header, a sentence each"}, h.warnings);
}

}  // namespace Norvane::Host

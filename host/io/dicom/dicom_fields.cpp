// SPDX-License-Identifier: Apache-2.0
#include "io/dicom/dicom_fields.h"

#include "io/colour_channels.h"
#include "io/dicom/copied_fields.h"
#include "io/dicom/dicom_header.h"
#include "io/number_text.h"
#include "io/refusal.h"

#include <dcmtk/dcmdata/dctk.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace Norvane::Host {
namespace {

// In every table of rules, the first row that gives an answer counts.

// ------------------------------------------------------------------------------------------------ pixel size

constexpr double kMicrometresPerMillimetre = 1000.0;
constexpr double kSquareTolerance = 1e-3;  // pixel sizes are written with a few decimals

struct SpacingRule {
    DcmTagKey tag;
    const char* name;
    bool is_pair;      // two numbers, between rows and between columns; otherwise one number for both
    bool is_detector;  // measured at the detector; the breast lies nearer to the source and appears enlarged there
};
const SpacingRule kSpacingRules[] = {{DCM_ImagerPixelSpacing, "ImagerPixelSpacing", true, true},
                                     {DCM_PixelSpacing, "PixelSpacing", true, false},
                                     {DCM_NominalScannedPixelSpacing, "NominalScannedPixelSpacing", true, false},
                                     {DCM_SpatialResolution, "SpatialResolution", false, false}};

std::optional<double> length_of(const std::string& text) {
    const auto value = decimal_of(text);
    return value && *value > 0.0 ? value : std::nullopt;
}

// The pixel size in millimetres. If the field holds no length, adds a complaint and returns nothing.
std::optional<double> spacing_by(const SpacingRule& rule, const DicomHeader& header,
                                 std::vector<std::string>& complaints) {
    const std::string rows = header.text(rule.tag, 0);
    const std::string columns = rule.is_pair ? header.text(rule.tag, 1) : rows;
    if (rows.empty() && columns.empty()) return std::nullopt;
    const auto dy = length_of(rows);
    const auto dx = length_of(columns);
    if (!dy || !dx) {
        complaints.push_back(fmt::format("{} '{}', which is not a length", rule.name, dy ? columns : rows));
        return std::nullopt;
    }
    if (std::abs(*dy - *dx) > kSquareTolerance * *dx) {
        throw Refusal(fmt::format("has pixels that are not square ({} {} x {} mm)", rule.name, rows, columns));
    }
    return dx;
}

void read_pixel_size(const DicomHeader& header, const ReadOptions& options, SourceImage& image) {
    std::vector<std::string> complaints;
    for (const SpacingRule& rule : kSpacingRules) {
        const auto spacing = spacing_by(rule, header, complaints);
        if (!spacing) continue;
        Sourced<double> size{*spacing * kMicrometresPerMillimetre, rule.name};
        const double factor = header.decimal(DCM_EstimatedRadiographicMagnificationFactor).value_or(0.0);
        if (rule.is_detector && factor > 0.0) {
            size.value /= factor;
            size.from += " / EstimatedRadiographicMagnificationFactor " + number_text(factor);
        }
        image.pixel_size_um = std::move(size);
        break;
    }
    if (complaints.empty()) return;
    if (!image.pixel_size_um && !options.is_pixel_size_given) throw Refusal("has the " + complaints.front());
    for (const std::string& complaint : complaints) image.warnings.push_back("the header has the " + complaint);
}

// ------------------------------------------------------------------------------------------------ breast and border

std::optional<Laterality> laterality_of(const std::string& text) {
    if (text == "L") return Laterality::kLeft;
    if (text == "R") return Laterality::kRight;
    return std::nullopt;
}

bool holds(const std::string& text, char direction) { return text.find(direction) != std::string::npos; }

// The columns run away from the axilla, which lies lateral, so in an image of a left breast they run towards the
// patient's right side. If they also run headwards, the image is upside down and the opposite holds.
std::optional<Laterality> laterality_by_orientation(const DicomHeader& header) {
    const std::string columns = header.text(DCM_PatientOrientation, 1);
    if (holds(columns, 'L') == holds(columns, 'R')) return std::nullopt;
    return holds(columns, 'R') != holds(columns, 'H') ? Laterality::kLeft : Laterality::kRight;
}

struct LateralityRule {
    const char* name;
    std::optional<Laterality> (*find)(const DicomHeader&);
};
constexpr LateralityRule kLateralityRules[] = {
    {"ImageLaterality", [](const DicomHeader& header) { return laterality_of(header.text(DCM_ImageLaterality)); }},
    {"Laterality", [](const DicomHeader& header) { return laterality_of(header.text(DCM_Laterality)); }},
    {"FrameLaterality", [](const DicomHeader& header) { return laterality_of(header.text(DCM_FrameLaterality)); }},
    {"PatientOrientation", laterality_by_orientation},
};

void read_laterality(const DicomHeader& header, SourceImage& image) {
    for (const LateralityRule& rule : kLateralityRules) {
        const auto found = rule.find(header);
        if (!found) continue;
        if (!image.laterality) {
            image.laterality = Sourced{*found, rule.name};
        } else if (*found != image.laterality->value) {
            image.warnings.push_back(fmt::format("{} says {}, {} says {}", image.laterality->from,
                                                 name_of(image.laterality->value), rule.name, name_of(*found)));
        }
    }
}

// PatientOrientation describes the image as it is stored, so it already includes a flip that was applied before. Some
// machines flip the image and do not update PatientOrientation. The flip is named in `from`, so that a contradiction
// with the pixels can be explained.
void read_chest_wall(const DicomHeader& header, SourceImage& image) {
    const std::string rows = header.text(DCM_PatientOrientation, 0);
    if (rows.starts_with('A') || rows.starts_with('P')) {
        std::string from = "PatientOrientation";
        if (header.text(DCM_FieldOfViewHorizontalFlip) == "YES") {
            from += " after a horizontal flip (FieldOfViewHorizontalFlip)";
        }
        image.chest_wall = Sourced{rows.starts_with('A') ? SIDE_CHEST_LEFT : SIDE_CHEST_RIGHT, std::move(from)};
        return;
    }
    const std::string columns = header.text(DCM_PatientOrientation, 1);
    if (columns.starts_with('A') || columns.starts_with('P')) {
        image.warnings.emplace_back("PatientOrientation puts the chest wall at the upper or lower border");
    }
}

// ------------------------------------------------------------------------------------------------ view

// Codes of the projection and of its special features: the current ones, and those of archives from before 2016.
struct ViewRule {
    const char* position;
    const char* code;
    const char* old_code;
    IMAGE_VIEW view;
};
constexpr ViewRule kViewRules[] = {
    {"CC", "399162004", "R-10242", VIEW_NO_PECT},  {"MLO", "399368009", "R-10226", VIEW_PECT},
    {"ML", "399260004", "R-10224", VIEW_PECT},     {"LM", "399352003", "R-10228", VIEW_PECT},
    {"LMO", "399099002", "R-10230", VIEW_PECT},    {"SIO", "399188001", "R-102D0", VIEW_PECT},
    {"ISO", "441555000", "R-40AAA", VIEW_PECT},    {"FB", "399196006", "R-10244", VIEW_NO_PECT},
    {"XCC", "399265009", "R-102CF", VIEW_NO_PECT}, {"XCCL", "399192008", "R-1024A", VIEW_NO_PECT},
    {"XCCL", "", "Y-X1770", VIEW_NO_PECT},         {"XCCM", "399101009", "R-1024B", VIEW_NO_PECT},
    {"XCCM", "", "Y-X1771", VIEW_NO_PECT},         {"AT", "399011000", "R-102D1", VIEW_PECT},
    {"CV", "399161006", "R-102D2", VIEW_NO_PECT},
};

struct FlagCode {
    const char* flag;
    const char* code;
    const char* old_code;
};
constexpr FlagCode kFlagCodes[] = {
    {"spot", "399055006", "R-102D7"},
    {"magnification", "399163009", "R-102D6"},
    {"implant-displaced", "399209000", "R-102D5"},
    {"cleavage", "399161006", "R-102D2"},
    {"tangential", "399110001", "R-102C2"},
    {"specimen", "127457009", "G-8310"},
};

struct FlagField {
    const char* flag;
    DcmTagKey tag;
};
const FlagField kFlagFields[] = {{"implant", DCM_BreastImplantPresent}, {"partial", DCM_PartialView}};

// If there is no stand between breast and detector, the factor is smaller than this.
constexpr double kMagnificationView = 1.3;

template <class Row>
bool is_code_of(const Row& row, const std::string& code) {
    return !code.empty() && (code == row.code || code == row.old_code);
}

// The code of the first item of a sequence; empty if there is none.
std::string first_code_of(const DicomHeader& header, const DcmTagKey& sequence) {
    const std::vector<DcmItem*> codes = header.items(sequence);
    return codes.empty() ? std::string() : text_of(*codes.front(), DCM_CodeValue);
}

struct NamedViews {
    std::string code, position;
    const ViewRule* by_code;      // null if no rule knows the code
    const ViewRule* by_position;  // the same
};
NamedViews named_views(const DicomHeader& header) {
    NamedViews named{first_code_of(header, DCM_ViewCodeSequence), header.text(DCM_ViewPosition), nullptr, nullptr};
    for (const ViewRule& row : kViewRules) {
        if (named.by_code == nullptr && is_code_of(row, named.code)) named.by_code = &row;
        if (named.by_position == nullptr && named.position == row.position) named.by_position = &row;
    }
    return named;
}

void read_view(const DicomHeader& header, SourceImage& image) {
    const NamedViews named = named_views(header);
    if (named.by_code != nullptr) {
        image.view = Sourced{named.by_code->view, "ViewCodeSequence " + named.code};
    } else if (named.by_position != nullptr) {
        image.view = Sourced{named.by_position->view, "ViewPosition " + named.position};
    }
    if (named.by_code != nullptr && named.by_position != nullptr && named.by_code->view != named.by_position->view) {
        image.warnings.push_back(
            fmt::format("ViewCodeSequence says {}, ViewPosition says {}", named.by_code->position, named.position));
    }
}

void read_flags(const DicomHeader& header, SourceImage& image) {
    std::vector<DcmItem*> codes = header.items(DCM_ViewCodeSequence);
    if (!codes.empty()) {
        // The modifiers belong inside the item of the view, but some machines write them next to it.
        const std::vector<DcmItem*> inside = DicomHeader(*codes.front()).items(DCM_ViewModifierCodeSequence);
        codes.insert(codes.end(), inside.begin(), inside.end());
    }
    const std::vector<DcmItem*> beside = header.items(DCM_ViewModifierCodeSequence);
    codes.insert(codes.end(), beside.begin(), beside.end());
    const auto add = [&image](const char* flag) {
        if (std::ranges::find(image.flags, flag) == image.flags.end()) image.flags.emplace_back(flag);
    };
    for (const FlagCode& row : kFlagCodes) {
        for (DcmItem* item : codes) {
            if (is_code_of(row, text_of(*item, DCM_CodeValue))) add(row.flag);
        }
    }
    if (header.decimal(DCM_EstimatedRadiographicMagnificationFactor).value_or(0.0) >= kMagnificationView) {
        add("magnification");
    }
    for (const FlagField& row : kFlagFields) {
        if (header.text(row.tag) == "YES") add(row.flag);
    }
}

// ------------------------------------------------------------------------------------------------ modality

// The modalities of mammograms. An object that names none is taken for a mammogram.
struct ModalityRule {
    const char* modality;
    bool is_general;  // other parts of the body as well: the header has to show that this is a breast
};
constexpr ModalityRule kModalityRules[] = {
    {"MG", false},
    {"CR", true},  // storage phosphor plates
    {"DX", true},  // detectors for any projection
    {"RG", true},  // scanned film
};

constexpr const char* kBreastCodes[] = {"76752008", "T-04000"};  // of AnatomicRegionSequence

bool is_breast(const DicomHeader& header) {
    const NamedViews named = named_views(header);
    if (named.by_code != nullptr || named.by_position != nullptr) return true;
    const std::string region = first_code_of(header, DCM_AnatomicRegionSequence);
    return header.text(DCM_BodyPartExamined) == "BREAST" ||
           std::ranges::any_of(kBreastCodes, [&region](const char* code) { return region == code; });
}

void refuse_other_modality(const DicomHeader& header) {
    const std::string modality = header.text(DCM_Modality);
    if (modality.empty()) return;
    for (const ModalityRule& rule : kModalityRules) {
        if (modality != rule.modality) continue;
        if (!rule.is_general || is_breast(header)) return;
        throw Refusal(
            fmt::format("has the Modality {}, and neither its view nor its body part is that of a mammogram; "
                        "--any-modality takes it",
                        modality));
    }
    throw Refusal(
        fmt::format("has the Modality {}, which is not that of a mammogram; --any-modality takes it", modality));
}

// ------------------------------------------------------------------------------------------------ grey values

// Whether the stored samples are shown the other way round: by a negative slope, or by a table that falls.
std::string decreasing_modality_lut(const DicomHeader& header) {
    const double slope = header.decimal(DCM_RescaleSlope).value_or(1.0);
    if (slope < 0.0) return "RescaleSlope " + number_text(slope);
    for (DcmItem* table : header.items(DCM_ModalityLUTSequence)) {
        const Uint16* values = nullptr;
        unsigned long count = 0;
        if (table->findAndGetUint16Array(DCM_LUTData, values, &count).bad() || values == nullptr || count < 2) continue;
        if (values[count - 1] < values[0]) return "ModalityLUTSequence";
    }
    return {};
}

void warn_of_decreasing_lut(const DicomHeader& header, SourceImage& image) {
    const std::string field = decreasing_modality_lut(header);
    if (field.empty()) return;
    image.warnings.push_back(fmt::format("the Modality LUT decreases ({}) and is not applied: tissue may be {}", field,
                                         image.needs_inversion ? "bright already" : "dark (--invert makes it bright)"));
}

void read_photometry(const DicomHeader& header, const SampleLayout& layout, SourceImage& image) {
    const std::string photometry = header.text(DCM_PhotometricInterpretation);
    if (layout.channels == kColourChannels && photometry == "RGB") return;  // the channels must be equal
    if (layout.channels != 1) refuse_colour();
    if (photometry != "MONOCHROME1" && photometry != "MONOCHROME2") {
        throw Refusal(
            fmt::format("has the PhotometricInterpretation '{}'; MONOCHROME1 and MONOCHROME2 are read", photometry));
    }
    image.needs_inversion = photometry == "MONOCHROME1";
    const bool is_raw = header.text(DCM_PresentationIntentType) == "FOR PROCESSING";
    if (is_raw && !image.needs_inversion && header.text(DCM_PixelIntensityRelationshipSign) == "1") {
        image.warnings.emplace_back(
            "PixelIntensityRelationshipSign 1 with MONOCHROME2: tissue may be dark (--invert makes it bright)");
    }
}

// The value on the scale of the samples. Nothing if no sample can have it.
std::optional<long> sample_of(long value, const SampleLayout& layout) {
    const long range = 1L << layout.stored;
    if (layout.is_signed) {
        // A header may give a negative value with its sign, as a 16-bit word, or cut to the stored bits.
        if (value >= 1L << 15) value -= 1L << 16;
        if (value >= range / 2 && value < range) value -= range;
        value += range / 2;
    }
    return value >= 0 && value < range ? std::optional(value) : std::nullopt;
}

// A padding value that no sample can have is ignored. Archives hold such values, and nothing in the image is padding
// then.
void read_padding(const DicomHeader& header, const SampleLayout& layout, SourceImage& image) {
    const auto value = header.decimal(DCM_PixelPaddingValue);
    if (!value) return;
    const auto limit = header.decimal(DCM_PixelPaddingRangeLimit).value_or(*value);
    const auto one = sample_of(std::lround(*value), layout);
    const auto other = sample_of(std::lround(limit), layout);
    if (!one || !other) return;
    const auto [low, high] = std::minmax(*one, *other);
    image.padding =
        Sourced{PaddingRange{static_cast<std::uint16_t>(low), static_cast<std::uint16_t>(high)}, "PixelPaddingValue"};
}

// The header gives the window on the scale after the rescaling; the samples are on the scale before it.
void read_window(const DicomHeader& header, const SampleLayout& layout, SourceImage& image) {
    const auto centre = header.decimal(DCM_WindowCenter);
    const auto width = header.decimal(DCM_WindowWidth);
    const double slope = header.decimal(DCM_RescaleSlope).value_or(1.0);
    if (!centre || !width || *width < 1.0 || slope <= 0.0) return;
    const double intercept = header.decimal(DCM_RescaleIntercept).value_or(0.0);
    const double lowest = layout.is_signed ? -std::ldexp(1.0, static_cast<int>(layout.stored) - 1) : 0.0;
    image.window =
        Sourced{DisplayWindow{(*centre - intercept) / slope - lowest, *width / slope}, "WindowCenter, WindowWidth"};
}

// ------------------------------------------------------------------------------------------------ noise class

struct NoiseRule {
    const char* intent;
    BG_NOISE noise;
};
constexpr NoiseRule kNoiseRules[] = {{"FOR PRESENTATION", BG_MG}, {"FOR PROCESSING", BG_MG_RAW}};

// Scanned film may be labelled as a mammogram for presentation, but its background is that of film.
bool is_scanned_film(const DicomHeader& header) {
    return header.text(DCM_ConversionType) == "DF" || header.text(DCM_DetectorType) == "FILM" ||
           header.text(DCM_SOPClassUID) == UID_SecondaryCaptureImageStorage;
}

void read_noise(const DicomHeader& header, SourceImage& image) {
    if (header.text(DCM_Modality) != "MG" || is_scanned_film(header)) return;
    const std::string intent = header.text(DCM_PresentationIntentType);
    for (const NoiseRule& rule : kNoiseRules) {
        if (intent != rule.intent) continue;
        image.noise = Sourced{rule.noise, "Modality MG, PresentationIntentType " + intent};
    }
}

// ------------------------------------------------------------------------------------------------ texts

void read_texts(const DicomHeader& header, SourceImage& image) {
    for (std::size_t i = 0; i < kTextFacts.size(); ++i) {
        if (kTextFacts[i].read_with > image.identifiers) continue;
        std::string text = header.text(tag_of(kTextFacts[i].field));
        if (!text.empty()) image.texts[i] = Sourced{std::move(text), kTextFacts[i].keyword};
    }
}

}  // namespace

void read_dicom_fields(DcmItem& object, const SampleLayout& layout, const ReadOptions& options, SourceImage& image) {
    const DicomHeader header(object);
    if (!options.takes_any_modality) refuse_other_modality(header);
    read_photometry(header, layout, image);
    warn_of_decreasing_lut(header, image);
    read_pixel_size(header, options, image);
    read_laterality(header, image);
    read_chest_wall(header, image);
    read_view(header, image);
    read_flags(header, image);
    read_padding(header, layout, image);
    read_window(header, layout, image);
    read_noise(header, image);
    image.identifiers = options.identifiers;
    read_texts(header, image);
    image.horizontal_flip = text_of(object, DCM_FieldOfViewHorizontalFlip);
    image.dicom_texts = copied_texts(object, options.identifiers);
}

}  // namespace Norvane::Host

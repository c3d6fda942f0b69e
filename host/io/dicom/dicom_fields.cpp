// SPDX-License-Identifier: Apache-2.0
#include "io/dicom/dicom_fields.h"

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

void read_view(const DicomHeader& header, SourceImage& image) {
    const std::vector<DcmItem*> codes = header.items(DCM_ViewCodeSequence);
    const std::string code = codes.empty() ? std::string() : text_of(*codes.front(), DCM_CodeValue);
    const std::string position = header.text(DCM_ViewPosition);
    const auto* by_code = std::ranges::find_if(kViewRules, [&](const ViewRule& row) { return is_code_of(row, code); });
    const auto* by_position =
        std::ranges::find_if(kViewRules, [&](const ViewRule& row) { return position == row.position; });
    const bool has_code = by_code != std::end(kViewRules);
    const bool has_position = by_position != std::end(kViewRules);
    if (has_code) {
        image.view = Sourced{by_code->view, "ViewCodeSequence " + code};
    } else if (has_position) {
        image.view = Sourced{by_position->view, "ViewPosition " + position};
    }
    if (has_code && has_position && by_code->view != by_position->view) {
        image.warnings.push_back(
            fmt::format("ViewCodeSequence says {}, ViewPosition says {}", by_code->position, position));
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

// ------------------------------------------------------------------------------------------------ grey values

void read_photometry(const DicomHeader& header, SourceImage& image) {
    if (number_of(header.object(), DCM_SamplesPerPixel).value_or(1) != 1) {
        throw Refusal("is a colour image; grey images are read");
    }
    const std::string photometry = header.text(DCM_PhotometricInterpretation);
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
    read_photometry(header, image);
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

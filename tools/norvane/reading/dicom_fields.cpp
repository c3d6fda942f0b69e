// SPDX-License-Identifier: Apache-2.0
#include "reading/dicom_fields.h"

#include "reading/refusal.h"

#include <dcmtk/dcmdata/dctk.h>

#include <charconv>
#include <cmath>

namespace Norvane::Host {
namespace {

constexpr double kMicrometresPerMillimetre = 1000.0;
constexpr double kSquareTolerance = 1e-3;  // pixel sizes are written with a few decimals

// Codes of the view, the current ones and those of archives from before 2016.
struct ViewName {
    const char* text;
    IMAGE_VIEW view;
};
constexpr ViewName kViewCodes[] = {
    {"399368009", VIEW_PECT}, {"R-10226", VIEW_PECT}, {"399162004", VIEW_NO_PECT}, {"R-10242", VIEW_NO_PECT}};
constexpr ViewName kViewPositions[] = {{"MLO", VIEW_PECT}, {"CC", VIEW_NO_PECT}};

template <std::size_t N>
std::optional<IMAGE_VIEW> find_view(const ViewName (&names)[N], const std::string& text) {
    for (const ViewName& name : names) {
        if (text == name.text) return name.view;
    }
    return std::nullopt;
}

// The code is unambiguous; the position is free text on many machines.
std::optional<IMAGE_VIEW> view_of(DcmItem& header) {
    DcmItem* code = nullptr;
    if (header.findAndGetSequenceItem(DCM_ViewCodeSequence, code, 0).good() && code != nullptr) {
        if (const auto view = find_view(kViewCodes, text_of(*code, DCM_CodeValue))) return view;
    }
    return find_view(kViewPositions, text_of(header, DCM_ViewPosition));
}

std::optional<Laterality> laterality_of(DcmItem& header) {
    for (const DcmTagKey& tag : {DCM_ImageLaterality, DCM_Laterality}) {
        const std::string text = text_of(header, tag);
        if (text == "L") return Laterality::kLeft;
        if (text == "R") return Laterality::kRight;
    }
    return std::nullopt;
}

// Two values each: between rows, between columns. The first field that is there counts.
struct SpacingField {
    DcmTagKey tag;
    const char* name;
};
const SpacingField kSpacingFields[] = {{DCM_ImagerPixelSpacing, "ImagerPixelSpacing"},
                                       {DCM_PixelSpacing, "PixelSpacing"},
                                       {DCM_NominalScannedPixelSpacing, "NominalScannedPixelSpacing"}};

double millimetres(const std::string& text, const char* field) {
    double value = 0.0;
    const char* first = text.data() + (text.starts_with('+') ? 1 : 0);
    const auto parsed = std::from_chars(first, text.data() + text.size(), value);
    const bool is_number = parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
    if (!is_number || !(value > 0.0) || std::isinf(value)) {
        throw Refusal(std::string("has the ") + field + " '" + text + "', which is not a length");
    }
    return value;
}

void read_pixel_size(DcmItem& header, SourceImage& image) {
    for (const SpacingField& field : kSpacingFields) {
        const std::string between_rows = text_of(header, field.tag, 0);
        const std::string between_columns = text_of(header, field.tag, 1);
        if (between_rows.empty() && between_columns.empty()) continue;
        const double dy = millimetres(between_rows, field.name);
        const double dx = millimetres(between_columns, field.name);
        if (std::abs(dy - dx) > kSquareTolerance * dx) {
            std::string message = std::string("has pixels that are not square (") + field.name + " ";
            message += between_rows + " x ";
            message += between_columns + " mm)";
            throw Refusal(message);
        }
        image.pixel_size_um = dx * kMicrometresPerMillimetre;
        image.pixel_size_from = field.name;
        return;
    }
}

void read_photometry(DcmItem& header, SourceImage& image) {
    const std::string photometry = text_of(header, DCM_PhotometricInterpretation);
    if (number_of(header, DCM_SamplesPerPixel).value_or(1) != 1)
        throw Refusal("is a colour image; grey images are read");
    if (photometry != "MONOCHROME1" && photometry != "MONOCHROME2") {
        throw Refusal("has the PhotometricInterpretation '" + photometry + "'; MONOCHROME1 and MONOCHROME2 are read");
    }
    image.needs_inversion = photometry == "MONOCHROME1";
}

}  // namespace

std::string text_of(DcmItem& item, const DcmTagKey& tag, unsigned long index) {
    OFString value;
    if (item.findAndGetOFString(tag, value, index).bad()) return {};
    const std::string text(value.c_str(), value.size());
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::optional<unsigned> number_of(DcmItem& item, const DcmTagKey& tag) {
    Uint16 value = 0;  // set to 0 by a failure as well
    if (item.findAndGetUint16(tag, value).bad()) return std::nullopt;
    return value;
}

void read_dicom_fields(DcmItem& header, SourceImage& image) {
    read_photometry(header, image);
    read_pixel_size(header, image);
    image.view = view_of(header);
    image.laterality = laterality_of(header);
}

}  // namespace Norvane::Host

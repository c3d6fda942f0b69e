// SPDX-License-Identifier: Apache-2.0
#include "export/derived_object.h"

#include "export/bit_frames.h"
#include "export/dicom_items.h"
#include "export/program_version.h"
#include "io/dicom/copied_fields.h"
#include "io/refusal.h"

#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcostrmb.h>
#include <dcmtk/dcmdata/dcrleerg.h>
#include <fmt/core.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace Norvane::Host {
namespace {

constexpr const char* kNeed = "which results in DICOM need";

std::string required_uid(const DicomTexts& header, const DcmTagKey& tag, const char* name) {
    std::string uid = copied_text(header, tag);
    if (uid.empty()) throw Refusal(fmt::format("has no valid {}, {}", name, kNeed));
    return uid;
}

// The object takes its date from the source, so that a second run gives the same bytes. Both fields must have a value.
void put_date(const DicomTexts& header, DcmItem& object) {
    struct DateAndTime {
        DcmTagKey date, time;
    };
    static const DateAndTime kDates[] = {{DCM_ContentDate, DCM_ContentTime},
                                         {DCM_AcquisitionDate, DCM_AcquisitionTime},
                                         {DCM_SeriesDate, DCM_SeriesTime},
                                         {DCM_StudyDate, DCM_StudyTime}};
    std::string date = "19000101";  // if the source has none
    std::string time = "000000";
    for (const DateAndTime& known : kDates) {
        const std::string known_date = copied_text(header, known.date);
        if (known_date.empty()) continue;
        date = known_date;
        const std::string known_time = copied_text(header, known.time);
        if (!known_time.empty()) time = known_time;
        break;
    }
    put_text(object, DCM_ContentDate, date);
    put_text(object, DCM_ContentTime, time);
}

// If the source was compressed with loss, its masks count as such too, with the known method and ratio.
void put_compression(const DicomTexts& header, DcmItem& object) {
    const std::string ratio = copied_text(header, DCM_LossyImageCompressionRatio);
    const std::string method = copied_text(header, DCM_LossyImageCompressionMethod);
    const bool is_lossy = copied_text(header, DCM_LossyImageCompression) == "01";
    put_text(object, DCM_LossyImageCompression, is_lossy ? "01" : "00");
    if (!is_lossy) return;
    if (!ratio.empty()) put_text(object, DCM_LossyImageCompressionRatio, ratio);
    if (!method.empty()) put_text(object, DCM_LossyImageCompressionMethod, method);
}

void copy_source_fields(const DicomTexts& header, DcmItem& object, bool is_image) {
    for (const CopiedField& field : copied_fields()) {
        const std::string text = copied_text(header, field.tag);
        const bool is_copied = field.copy == Copy::kAlways || (field.copy == Copy::kIfValid && !text.empty());
        if (is_copied && (is_image || !field.is_about_pixels)) put_text(object, field.tag, text);
    }
    const std::string number = copied_text(header, DCM_InstanceNumber);
    put_text(object, DCM_InstanceNumber, number.empty() ? "1" : number);
    put_date(header, object);
    if (is_image) put_compression(header, object);
}

void put_identity_removed(DcmItem& object) {
    put_text(object, DCM_PatientIdentityRemoved, "YES");
    put_text(object, DCM_DeidentificationMethod, "norvane masks --no-identifiers");
    put_text(object, DCM_LongitudinalTemporalInformationModified, "REMOVED");
}

// `parent` is what the series belongs to: the series of the source, or a study of its own.
void put_series(DcmItem& object, const ObjectKind& kind, const SourceImage& source, std::string parent) {
    if (kind.says_breast) {
        const bool is_known = source.laterality.has_value();
        const std::string breast = !is_known ? "" : source.laterality->value == Laterality::kLeft ? "L" : "R";
        put_text(object, DCM_Laterality, breast);
        parent += "\n" + breast;
    }
    put_text(object, DCM_Modality, kind.modality);
    put_text(object, DCM_SeriesInstanceUID,
             uid_of(std::string("series\n") + program_version() + "\n" + kind.series_number + "\n" + parent));
    put_text(object, DCM_SeriesNumber, kind.series_number);
    put_text(object, DCM_SeriesDescription, kind.series_description);
    put_text(object, DCM_Manufacturer, kAlgorithmName);
    put_text(object, DCM_ManufacturerModelName, "norvane masks");
    put_text(object, DCM_DeviceSerialNumber, "0");
    put_text(object, DCM_SoftwareVersions, program_version());
}

// For objects without identifiers. It is made from the masks, which the objects show anyway, so that nothing leads from
// it to the source. All objects of an image get the same one.
std::string own_study_uid(const Findings& findings) {
    const BitFrames frames = label_frames(findings, shows_muscle(findings));
    std::string seed =
        fmt::format("study\n{} {} {}\n", findings.source.width, findings.source.height, frames.bytes().size());
    for (const std::uint8_t byte : frames.bytes()) seed += static_cast<char>(byte);
    return uid_of(seed);
}

/// The bytes of a file, or those of a data set without a file header.
template <class Object>
std::string bytes_of(Object& object, E_TransferSyntax syntax) {
    constexpr std::size_t kRoom = 4096;  // for the header of the file, and for deflated data that did not shrink
    const std::size_t length = object.calcElementLength(syntax, EET_ExplicitLength);
    std::string bytes(length + length / 1000 + kRoom, '\0');
    DcmOutputBufferStream stream(bytes.data(), static_cast<offile_off_t>(bytes.size()));
    object.transferInit();
    const OFCondition written = object.write(stream, syntax, EET_ExplicitLength, nullptr);
    object.transferEnd();
    if (written.bad()) throw std::runtime_error(std::string("DICOM object: ") + written.text());
    stream.flush();
    void* start = nullptr;
    offile_off_t count = 0;
    stream.flushBuffer(start, count);
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

void encode_run_lengths(DcmDataset& object) {
    static const bool is_registered = (DcmRLEEncoderRegistration::registerCodecs(), true);  // once for all threads
    (void)is_registered;
    const OFCondition encoded = object.chooseRepresentation(EXS_RLELossless, nullptr);
    if (encoded.bad()) throw std::runtime_error(std::string("DICOM object: ") + encoded.text());
}

}  // namespace

std::optional<SourceReference> source_reference(const SourceImage& image) {
    if (!image.dicom_texts) throw Refusal(std::string("is not a DICOM object, ") + kNeed);
    if (image.identifiers == Identifiers::kNone) return std::nullopt;
    const DicomTexts& header = *image.dicom_texts;
    (void)required_uid(header, DCM_StudyInstanceUID, "StudyInstanceUID");
    return SourceReference{required_uid(header, DCM_SOPClassUID, "SOPClassUID"),
                           required_uid(header, DCM_SOPInstanceUID, "SOPInstanceUID"),
                           required_uid(header, DCM_SeriesInstanceUID, "SeriesInstanceUID"),
                           image.frame_count > 1 ? image.frame : 0};
}

void put_common_fields(DcmItem& object, const ObjectKind& kind, const Findings& findings,
                       const std::optional<SourceReference>& source) {
    put_text(object, DCM_SOPClassUID, kind.class_uid);
    copy_source_fields(*findings.source.dicom_texts, object, kind.is_image);
    if (source) {
        put_series(object, kind, findings.source, source->series_uid);
        return;
    }
    put_identity_removed(object);
    const std::string study = own_study_uid(findings);
    put_text(object, DCM_StudyInstanceUID, study);
    put_series(object, kind, findings.source, study);
}

std::string filing_warning(const Findings& findings) {
    static const std::pair<DcmTagKey, const char*> kFields[] = {{DCM_PatientID, "PatientID"},
                                                                {DCM_StudyDate, "StudyDate"},
                                                                {DCM_StudyTime, "StudyTime"},
                                                                {DCM_StudyID, "StudyID"}};
    const SourceImage& source = findings.source;
    if (!source.dicom_texts || source.identifiers == Identifiers::kNone) return {};
    std::string names;
    for (const auto& [tag, name] : kFields) {
        if (copied_text(*source.dicom_texts, tag).empty()) names += (names.empty() ? "" : ", ") + std::string(name);
    }
    return names.empty() ? names : "the header has no valid " + names + ", so the results in DICOM have none either";
}

void put_reference(DcmItem& item, const SourceReference& source) {
    put_text(item, DCM_ReferencedSOPClassUID, source.class_uid);
    put_text(item, DCM_ReferencedSOPInstanceUID, source.instance_uid);
}

void put_source_references(DcmItem& object, const SourceReference& source) {
    DcmItem& series = add_item(object, DCM_ReferencedSeriesSequence);
    put_text(series, DCM_SeriesInstanceUID, source.series_uid);
    put_reference(add_item(series, DCM_ReferencedInstanceSequence), source);
}

std::string identity_seed(const Findings& findings, const std::optional<SourceReference>& source) {
    return source ? fmt::format("{} {}", source->instance_uid, source->frame) : own_study_uid(findings);
}

// Two objects have the same identifier if and only if their contents are the same. How they are compressed is no part
// of these.
std::string instance_uid_of(DcmDataset& object) {
    return uid_of("object\n" + bytes_of(object, EXS_LittleEndianExplicit));
}

std::string finished_file(DcmFileFormat& file, E_TransferSyntax syntax) {
    DcmDataset& object = *file.getDataset();
    put_text(object, DCM_SOPInstanceUID, instance_uid_of(object));
    if (syntax == EXS_RLELossless) encode_run_lengths(object);
    std::string bytes = bytes_of(file, syntax);
    if (bytes.size() % 2 != 0) bytes += '\0';  // deflated data end on an even byte
    return bytes;
}

std::string decimal_text(double value) {
    char text[32];
    (void)std::snprintf(text, sizeof text, "%.10g", value);  // 10 digits, point, sign and exponent: at most 16
    return text;
}

}  // namespace Norvane::Host

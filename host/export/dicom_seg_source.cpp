// SPDX-License-Identifier: Apache-2.0
#include "export/dicom_seg_source.h"

#include "export/dicom_items.h"
#include "io/dicom/copied_fields.h"
#include "io/refusal.h"

#include <dcmtk/dcmdata/dcdeftag.h>

#include <cstdio>
#include <utility>

namespace Norvane::Host {
namespace {

std::string required_uid(const DicomTexts& header, const DcmTagKey& tag, const char* name) {
    std::string uid = copied_text(header, tag);
    if (uid.empty()) throw Refusal(std::string("has no valid ") + name + ", which the results seg and seg-joined need");
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

}  // namespace

std::optional<SegSource> seg_source(const SourceImage& image) {
    if (!image.dicom_texts) throw Refusal("is not a DICOM object, which the results seg and seg-joined need");
    if (image.identifiers == Identifiers::kNone) return std::nullopt;
    const DicomTexts& header = *image.dicom_texts;
    (void)required_uid(header, DCM_StudyInstanceUID, "StudyInstanceUID");
    return SegSource{required_uid(header, DCM_SOPClassUID, "SOPClassUID"),
                     required_uid(header, DCM_SOPInstanceUID, "SOPInstanceUID"),
                     required_uid(header, DCM_SeriesInstanceUID, "SeriesInstanceUID"),
                     image.frame_count > 1 ? image.frame : 0};
}

void put_identity_removed(DcmItem& object) {
    put_text(object, DCM_PatientIdentityRemoved, "YES");
    put_text(object, DCM_DeidentificationMethod, "norvane masks --no-identifiers");
    put_text(object, DCM_LongitudinalTemporalInformationModified, "REMOVED");
}

void copy_source_fields(const DicomTexts& header, DcmItem& object) {
    for (const CopiedField& field : copied_fields()) {
        const std::string text = copied_text(header, field.tag);
        const bool is_copied = field.copy == Copy::kAlways || (field.copy == Copy::kIfValid && !text.empty());
        if (is_copied) put_text(object, field.tag, text);
    }
    const std::string number = copied_text(header, DCM_InstanceNumber);
    put_text(object, DCM_InstanceNumber, number.empty() ? "1" : number);
    put_date(header, object);
    put_compression(header, object);
}

std::string filing_warning(const DicomTexts& header) {
    static const std::pair<DcmTagKey, const char*> kFields[] = {{DCM_PatientID, "PatientID"},
                                                                {DCM_StudyDate, "StudyDate"},
                                                                {DCM_StudyTime, "StudyTime"},
                                                                {DCM_StudyID, "StudyID"}};
    std::string names;
    for (const auto& [tag, name] : kFields) {
        if (copied_text(header, tag).empty()) names += (names.empty() ? "" : ", ") + std::string(name);
    }
    return names.empty() ? names : "the header has no valid " + names + ", so the DICOM SEG has none either";
}

void put_reference(DcmItem& item, const SegSource& source) {
    put_text(item, DCM_ReferencedSOPClassUID, source.class_uid);
    put_text(item, DCM_ReferencedSOPInstanceUID, source.instance_uid);
}

void put_source_references(DcmItem& object, const SegSource& source) {
    DcmItem& series = add_item(object, DCM_ReferencedSeriesSequence);
    put_text(series, DCM_SeriesInstanceUID, source.series_uid);
    put_reference(add_item(series, DCM_ReferencedInstanceSequence), source);
}

std::string decimal_text(double value) {
    char text[32];
    (void)std::snprintf(text, sizeof text, "%.10g", value);  // 10 digits, point, sign and exponent: at most 16
    return text;
}

}  // namespace Norvane::Host

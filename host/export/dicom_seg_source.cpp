// SPDX-License-Identifier: Apache-2.0
#include "export/dicom_seg_source.h"

#include "export/dicom_items.h"
#include "io/refusal.h"

#include <dcmtk/dcmdata/dcdeftag.h>

#include <cstdio>
#include <utility>

namespace Norvane::Host {
namespace {

std::string required_uid(DcmItem& header, const DcmTagKey& tag, const char* name) {
    std::string uid = valid_text(header, tag);
    if (uid.empty()) throw Refusal(std::string("has no valid ") + name + ", which the results seg and seg-joined need");
    return uid;
}

/// A field that is copied. One that every object has to have stays empty where the source has no valid value.
struct CopiedField {
    DcmTagKey tag;
    bool is_required;
    const char* multiplicity = "1";
    const char* letters = nullptr;  // of which values are made, where the type allows more than the field
};
const CopiedField kCopiedFields[] = {
    {DCM_SpecificCharacterSet, false, "1-n", "ISO_R 0123456789GBK\\"},
    {DCM_TimezoneOffsetFromUTC, false},
    // patient
    {DCM_PatientName, true},
    {DCM_PatientID, true},
    {DCM_IssuerOfPatientID, false},
    {DCM_PatientBirthDate, true},
    {DCM_PatientSex, true, "1", "FMO"},
    {DCM_PatientAge, false},
    // study
    {DCM_StudyInstanceUID, true},
    {DCM_StudyDate, true},
    {DCM_StudyTime, true},
    {DCM_StudyID, true},
    {DCM_AccessionNumber, true},
    {DCM_ReferringPhysicianName, true},
    {DCM_StudyDescription, false},
    // image
    {DCM_PatientOrientation, true, "2", "LRAPHF\\"},
};

// The object's own date is the source's, as a second run has to give the same bytes. Both fields must have a value.
void put_date(DcmItem& header, DcmItem& object) {
    struct DateAndTime {
        DcmTagKey date, time;
    };
    static const DateAndTime kDates[] = {{DCM_ContentDate, DCM_ContentTime},
                                         {DCM_AcquisitionDate, DCM_AcquisitionTime},
                                         {DCM_SeriesDate, DCM_SeriesTime},
                                         {DCM_StudyDate, DCM_StudyTime}};
    std::string date = "19000101";  // where the source has none
    std::string time = "000000";
    for (const DateAndTime& known : kDates) {
        const std::string known_date = valid_text(header, known.date);
        if (known_date.empty()) continue;
        date = known_date;
        const std::string known_time = valid_text(header, known.time);
        if (!known_time.empty()) time = known_time;
        break;
    }
    put_text(object, DCM_ContentDate, date);
    put_text(object, DCM_ContentTime, time);
}

// A mask of a picture that was compressed with loss counts as compressed with loss, with what is known of it.
void put_compression(DcmItem& header, DcmItem& object) {
    const std::string ratio = valid_text(header, DCM_LossyImageCompressionRatio, "1-n");
    const std::string method = valid_text(header, DCM_LossyImageCompressionMethod, "1-n");
    const bool is_lossy = valid_text(header, DCM_LossyImageCompression) == "01";
    put_text(object, DCM_LossyImageCompression, is_lossy ? "01" : "00");
    if (!is_lossy) return;
    if (!ratio.empty()) put_text(object, DCM_LossyImageCompressionRatio, ratio);
    if (!method.empty()) put_text(object, DCM_LossyImageCompressionMethod, method);
}

}  // namespace

SegSource seg_source(DcmItem& header) {
    (void)required_uid(header, DCM_StudyInstanceUID, "StudyInstanceUID");
    return {required_uid(header, DCM_SOPClassUID, "SOPClassUID"),
            required_uid(header, DCM_SOPInstanceUID, "SOPInstanceUID"),
            required_uid(header, DCM_SeriesInstanceUID, "SeriesInstanceUID"), 0};
}

void copy_source_fields(DcmItem& header, DcmItem& object) {
    for (const CopiedField& field : kCopiedFields) {
        std::string text = valid_text(header, field.tag, field.multiplicity);
        if (field.letters != nullptr && text.find_first_not_of(field.letters) != std::string::npos) text.clear();
        if (field.is_required || !text.empty()) put_text(object, field.tag, text);
    }
    const std::string number = valid_text(header, DCM_InstanceNumber);
    put_text(object, DCM_InstanceNumber, number.empty() ? "1" : number);
    put_date(header, object);
    put_compression(header, object);
}

std::string filing_warning(DcmItem& header) {
    static const std::pair<DcmTagKey, const char*> kFields[] = {{DCM_PatientID, "PatientID"},
                                                                {DCM_StudyDate, "StudyDate"},
                                                                {DCM_StudyTime, "StudyTime"},
                                                                {DCM_StudyID, "StudyID"}};
    std::string names;
    for (const auto& [tag, name] : kFields) {
        if (valid_text(header, tag).empty()) names += (names.empty() ? "" : ", ") + std::string(name);
    }
    return names.empty() ? names : "the header has no valid " + names + ": empty in the DICOM SEG as well";
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
    (void)std::snprintf(text, sizeof text, "%.10g", value);  // 10 digits, point, sign and exponent: 16 at most
    return text;
}

}  // namespace Norvane::Host

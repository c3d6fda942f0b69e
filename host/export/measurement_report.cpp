// SPDX-License-Identifier: Apache-2.0
#include "export/measurement_report.h"

#include "export/derived_object.h"
#include "export/dicom_items.h"
#include "export/dicom_seg.h"
#include "export/program_version.h"
#include "findings/areas.h"
#include "findings/status_text.h"
#include "io/words.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcuid.h>
#include <dcmtk/dcmsr/cmr/tid1500.h>
#include <dcmtk/dcmsr/codes/dcm.h>
#include <dcmtk/dcmsr/dsrdoc.h>

#include <optional>
#include <stdexcept>
#include <vector>

namespace Norvane::Host {
namespace {

using Group = CMR_TID1501_in_TID1500;
using Value = Group::MeasurementValue;

constexpr const char* kOwnScheme = "99NORVANE";
constexpr ObjectKind kReport{UID_ComprehensiveSRStorage, "SR", "902", "Areas of breast and muscle, Norvane", false};

void require(const OFCondition& condition) {
    if (condition.bad()) throw std::runtime_error(std::string("DICOM SR: ") + condition.text());
}

OFString toolkit_text(const std::string& text) { return {text.data(), text.size()}; }

// Concepts for which there is no code in the standard. Validators may warn of the scheme, which they do not know.
DSRCodedEntryValue own_code(const char* value, const char* meaning) { return {value, kOwnScheme, meaning}; }

std::string status_text(Masking::MASK_STATUS status) {
    const StatusText& text = text_of(status);
    return std::string(text.name) + ": " + text.sentence;
}

/// One area with what is known about its mask.
struct MeasuredArea {
    const AreaDeclaration& area;
    const char* label;
    DSRCodedEntryValue site;
    Masking::MASK_STATUS status;
    std::optional<double> doubt;
    std::vector<Uint16> segments;  // of the DICOM SEG
};

std::vector<MeasuredArea> measured_areas(const Findings& findings) {
    const DSRCodedEntryValue breast("76752008", "SCT", "Breast");
    const DSRCodedEntryValue muscle("60005003", "SCT", "Pectoralis major muscle");
    const FoundMasks& masks = findings.masks;
    const bool has_muscle = shows_muscle(findings);
    const char* name = has_muscle ? "Breast without pectoral muscle" : "Breast";
    std::vector<MeasuredArea> areas{{kAreas[0], name, breast, masks.breast.status, findings.doubt.breast, {1}}};
    if (!has_muscle) return areas;
    areas.push_back({kAreas[1], "Pectoral muscle", muscle, masks.pectoral.status, findings.doubt.muscle, {2}});
    if (masks.muscle().area() == 0) return areas;
    areas.push_back({kAreas[2], "Breast with pectoral muscle", breast, masks.full.status, std::nullopt, {}});
    return areas;
}

/// What the report refers to.
struct References {
    std::optional<SourceReference> source;
    std::optional<SegIdentity> seg;
};

References references_of(const Findings& findings) {
    References references{source_reference(findings.source), std::nullopt};
    if (references.source && findings.settings.seg.is_written) {
        references.seg = breast_and_muscle_seg_identity(findings);
    }
    return references;
}

DSRImageReferenceValue image_of(const SourceReference& source) {
    DSRImageReferenceValue image(toolkit_text(source.class_uid), toolkit_text(source.instance_uid));
    if (source.frame > 0) image.getFrameList().addItem(static_cast<Sint32>(source.frame));
    return image;
}

void add_number(Group& group, const DSRCodedEntryValue& concept_name, double value, const char* unit,
                const char* unit_meaning) {
    const CID7181_AbstractMultiDimensionalImageModelComponentUnits units(
        DSRCodedEntryValue(unit, "UCUM", unit_meaning));
    require(group.addMeasurement(concept_name, Value(toolkit_text(decimal_text(value)), units)));
}

// A mask without pixels measures nothing: the part of the body is there, but it was not found.
void add_area(Group& group, double square_millimetres) {
    const DSRCodedEntryValue area("42798000", "SCT", "Area");
    if (square_millimetres > 0.0) {
        add_number(group, area, square_millimetres, "mm2", "square millimeter");
    } else {
        const CID42_NumericValueQualifier failure(CID42_NumericValueQualifier::MeasurementFailure);
        require(group.addMeasurement(area, Value(failure)));
    }
}

void add_references(Group& group, const MeasuredArea& measured, const References& references) {
    if (!references.source) return;
    require(group.getMeasurement().addImage(CODE_DCM_SourceOfMeasurement, image_of(*references.source)));
    if (!references.seg || measured.segments.empty()) return;
    DSRImageReferenceValue seg(toolkit_text(references.seg->class_uid), toolkit_text(references.seg->instance_uid));
    for (const Uint16 segment : measured.segments) seg.getSegmentList().addItem(segment);
    require(group.getMeasurement().addImage(CODE_DCM_ReferencedSegment, seg));
}

CID244e_Laterality laterality_of(const SourceImage& source) {
    if (!source.laterality) return {};
    return source.laterality->value == Laterality::kLeft ? CID244e_Laterality::Left : CID244e_Laterality::Right;
}

void add_group(CMR_TID1500& report, const MeasuredArea& measured, const Findings& findings,
               const References& references) {
    require(report.addIndividualMeasurements());
    Group& group = report.getIndividualMeasurements();
    const std::string seed = "tracking\n" + identity_seed(findings, references.source) + "\n" + measured.area.name;
    require(group.setTrackingIdentifier(measured.label));
    require(group.setTrackingUniqueIdentifier(toolkit_text(uid_of(seed))));
    require(group.addFindingSite(measured.site, laterality_of(findings.source)));
    add_area(group, areas_of(findings).*measured.area.value);
    add_references(group, measured, references);
    if (measured.doubt) add_number(group, own_code("doubt", "Doubt, from 0 to 1"), *measured.doubt, "1", "no units");
    require(group.addQualitativeEvaluation(own_code("status", "Status of the mask"),
                                           toolkit_text(status_text(measured.status))));
}

void add_evaluations(CMR_TID1500& report, const Findings& findings) {
    const auto add = [&report](const char* code, const char* meaning, const std::string& text) {
        require(report.addQualitativeEvaluation(own_code(code, meaning), toolkit_text(text)));
    };
    const ImageSettings& settings = findings.settings;
    add("image-status", "Status of the image", status_text(findings.masks.full.status));
    add("side", "Border of the image at which the chest wall lies",
        std::string(name_of(settings.side.value)) + ": " + settings.side.from);
    add("view", "View", std::string(name_of(settings.view.value)) + ": " + settings.view.from);
    for (const std::string& warning : findings.warnings) add("warning", "Warning", warning);
}

void fill_report(CMR_TID1500& report, const Findings& findings, const References& references) {
    require(report.setLanguage(CID5000_Languages::English));
    const std::string device = uid_of(std::string("device\n") + kAlgorithmName + " " + program_version());
    require(report.getObservationContext().addDeviceObserver(toolkit_text(device), kAlgorithmName, kAlgorithmName,
                                                             "norvane masks"));
    require(report.addProcedureReported(DSRCodedEntryValue("71651007", "SCT", "Mammography")));
    require(report.getImageLibrary().createNewImageLibrary());
    if (references.source) {
        DcmDataset image;
        put_text(image, DCM_SOPClassUID, references.source->class_uid);
        put_text(image, DCM_SOPInstanceUID, references.source->instance_uid);
        require(report.getImageLibrary().addImageGroup());
        require(report.getImageLibrary().addImageEntry(image, TID1600_ImageLibrary::withoutDescriptors));
    }
    for (const MeasuredArea& measured : measured_areas(findings)) add_group(report, measured, findings, references);
    add_evaluations(report, findings);
}

// Name and version of the algorithm (TID 4019) in each group.
void add_algorithm(DSRDocumentTree& tree) {
    const auto add = [&tree](const DSRCodedEntryValue& concept_name, const char* text, DSRTypes::E_AddMode mode) {
        if (tree.addContentItem(DSRTypes::RT_hasConceptMod, DSRTypes::VT_Text, mode) == 0) {
            throw std::runtime_error("DICOM SR: the algorithm has no place");
        }
        require(tree.getCurrentContentItem().setConceptName(concept_name));
        require(tree.getCurrentContentItem().setStringValue(text));
    };
    for (std::size_t found = tree.gotoNamedNode(CODE_DCM_MeasurementGroup); found != 0;
         found = tree.gotoNextNamedNode(CODE_DCM_MeasurementGroup)) {
        add(CODE_DCM_AlgorithmName, kAlgorithmName, DSRTypes::AM_belowCurrent);
        add(CODE_DCM_AlgorithmVersion, program_version(), DSRTypes::AM_afterCurrent);
    }
}

void refer_to_evidence(DSRDocument& document, const std::string& study, const References& references) {
    DSRSOPInstanceReferenceList& evidence = document.getCurrentRequestedProcedureEvidence();
    const auto add = [&](const std::string& series, const std::string& class_uid, const std::string& instance) {
        require(evidence.addItem(toolkit_text(study), toolkit_text(series), toolkit_text(class_uid),
                                 toolkit_text(instance)));
    };
    if (const auto& source = references.source) add(source->series_uid, source->class_uid, source->instance_uid);
    if (const auto& seg = references.seg) add(seg->series_uid, seg->class_uid, seg->instance_uid);
}

}  // namespace

std::string measurement_report(const Findings& findings) {
    const References references = references_of(findings);
    CMR_TID1500 report(CID7021_MeasurementReportDocumentTitles::ImagingMeasurementReport);
    fill_report(report, findings, references);

    DcmDataset common;
    put_common_fields(common, kReport, findings, references.source);
    DSRDocument document;
    require(document.createNewDocument(DSRTypes::DT_ComprehensiveSR));
    require(document.setTreeFromRootTemplate(report));
    add_algorithm(document.getTree());
    require(document.getCodingSchemeIdentification().addItem(kOwnScheme, "", kAlgorithmName));
    refer_to_evidence(document, text_in(common, DCM_StudyInstanceUID), references);
    require(document.completeDocument());

    // The toolkit writes the present time and identifiers of its own. All of them are replaced or left out.
    DcmFileFormat file;
    DcmDataset& object = *file.getDataset();
    require(document.write(object));
    for (const DcmTagKey& tag : {DCM_InstanceCreationDate, DCM_InstanceCreationTime, DCM_InstanceCreatorUID,
                                 DCM_SOPInstanceUID, DCM_SeriesDate, DCM_SeriesTime}) {
        (void)object.findAndDeleteElement(tag);
    }
    for (unsigned long i = 0; i < common.card(); ++i) {
        auto* field = dynamic_cast<DcmElement*>(common.getElement(i)->clone());
        require(object.insert(field, OFTrue));
    }
    return finished_file(file);
}

}  // namespace Norvane::Host

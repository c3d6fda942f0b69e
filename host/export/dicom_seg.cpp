// SPDX-License-Identifier: Apache-2.0
#include "export/dicom_seg.h"

#include "export/derived_object.h"
#include "export/dicom_items.h"
#include "export/program_version.h"
#include "export/seg_pixels.h"
#include "findings/status_text.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcuid.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace Norvane::Host {
namespace {

constexpr DicomCode kAnatomicalStructure{"123037004", "SCT", "Anatomical Structure"};
constexpr DicomCode kBreast{"76752008", "SCT", "Breast"};
constexpr DicomCode kPectoralMuscle{"60005003", "SCT", "Pectoralis major muscle"};
constexpr DicomCode kBackground{"125040", "DCM", "Background"};
constexpr DicomCode kLeft{"7771000", "SCT", "Left"};
constexpr DicomCode kRight{"24028007", "SCT", "Right"};
constexpr DicomCode kEdgeDetection{"123103", "DCM", "Edge Detection"};
constexpr DicomCode kSegmentation{"113076", "DCM", "Segmentation"};
constexpr DicomCode kSourceImage{"121322", "DCM", "Source image for image processing operation"};

constexpr const char* kLabelMapSegmentationStorage = "1.2.840.10008.5.1.4.1.1.66.7";

struct Segment {
    unsigned number;
    const char* label;
    DicomCode category;
    DicomCode type;
    CielabColour cielab;
    std::optional<Masking::MASK_STATUS> status;  // the background has none
};

/// What differs between the types of objects.
struct SegTypeFacts {
    SegType type;
    const char* class_uid;
    const char* word;
    unsigned bits;
};
constexpr SegTypeFacts kTypes[] = {{SegType::kBinary, UID_SegmentationStorage, "BINARY", 1},
                                   {SegType::kLabelmap, kLabelMapSegmentationStorage, "LABELMAP", 8}};

const SegTypeFacts& facts_of(SegType type) { return *std::ranges::find(kTypes, type, &SegTypeFacts::type); }

/// What differs between the two kinds of objects.
struct SegPlan {
    const char* series_number;
    const char* description;
    const char* content_label;
    std::vector<Segment> segments;
};

SegPlan plan_of(const Findings& findings, SegContent content) {
    const FoundMasks& masks = findings.masks;
    const auto breast = [](const char* label, const CielabColour& cielab, Masking::MASK_STATUS status) {
        return Segment{1, label, kAnatomicalStructure, kBreast, cielab, status};
    };
    if (content == SegContent::kJoined) {
        return {"901",
                "Breast and upper pectoral muscle, Norvane",
                "BREAST_FULL",
                {breast("Breast and upper pectoral muscle (full)", kFullCielab, masks.full.status)}};
    }
    if (!shows_muscle(findings)) {
        return {"900", "Breast, Norvane", "BREAST", {breast("Breast", kBreastCielab, masks.breast.status)}};
    }
    return {"900",
            "Breast and pectoral muscle, Norvane",
            "BREAST_MUSCLE",
            {breast("Breast without pectoral muscle", kBreastCielab, masks.breast.status),
             {2, "Pectoral muscle", kAnatomicalStructure, kPectoralMuscle, kMuscleCielab, masks.pectoral.status}}};
}

// Each value in a label map must be that of a segment.
void add_background(SegPlan& plan) {
    constexpr CielabColour kBlack{0, 32896, 32896};
    plan.segments.insert(plan.segments.begin(), {0, "Background", kBackground, kBackground, kBlack, std::nullopt});
}

void put_image(DcmItem& object, const SegPlan& plan, const SegTypeFacts& type, unsigned frames,
               const SourceImage& source) {
    put_text(object, DCM_ImageType, "DERIVED\\PRIMARY");
    put_text(object, DCM_ContentLabel, plan.content_label);
    put_text(object, DCM_ContentDescription, plan.description);
    put_text(object, DCM_ContentCreatorName, "");
    put_text(object, DCM_SegmentationType, type.word);
    put_text(object, DCM_SegmentsOverlap, "NO");
    put_number(object, DCM_Rows, source.height);
    put_number(object, DCM_Columns, source.width);
    put_text(object, DCM_NumberOfFrames, std::to_string(frames));
    put_number(object, DCM_SamplesPerPixel, 1);
    put_text(object, DCM_PhotometricInterpretation, "MONOCHROME2");
    put_number(object, DCM_BitsAllocated, type.bits);
    put_number(object, DCM_BitsStored, type.bits);
    put_number(object, DCM_HighBit, type.bits - 1);
    put_number(object, DCM_PixelRepresentation, 0);
    if (type.type == SegType::kLabelmap) put_number(object, DCM_PixelPaddingValue, 0);  // the background
}

void put_segment(DcmItem& object, const Segment& segment, const Said<Laterality>& laterality) {
    DcmItem& item = add_item(object, DCM_SegmentSequence);
    put_number(item, DCM_SegmentNumber, segment.number);
    put_text(item, DCM_SegmentLabel, segment.label);
    if (segment.status) {
        const StatusText& status = text_of(*segment.status);
        put_text(item, DCM_SegmentDescription, std::string(status.name) + ": " + status.sentence);
    }
    put_text(item, DCM_SegmentAlgorithmType, "AUTOMATIC");
    put_text(item, DCM_SegmentAlgorithmName, kAlgorithmName);
    add_code(item, DCM_SegmentedPropertyCategoryCodeSequence, segment.category);
    DcmItem& type = add_code(item, DCM_SegmentedPropertyTypeCodeSequence, segment.type);
    if (laterality && segment.status) {
        add_code(type, DCM_SegmentedPropertyTypeModifierCodeSequence,
                 laterality->value == Laterality::kLeft ? kLeft : kRight);
    }
    DcmItem& algorithm = add_item(item, DCM_SegmentationAlgorithmIdentificationSequence);
    add_code(algorithm, DCM_AlgorithmFamilyCodeSequence, kEdgeDetection);
    put_text(algorithm, DCM_AlgorithmName, kAlgorithmName);
    put_text(algorithm, DCM_AlgorithmVersion, program_version());
    item.putAndInsertUint16Array(DCM_RecommendedDisplayCIELabValue, segment.cielab.data(), segment.cielab.size());
}

/// What tells the frames of an object apart: their segment, or in a label map, which has one frame, its name.
struct Dimension {
    const char* seed;
    const char* label;
    DcmTagKey index, group;
};

void put_dimension(DcmItem& object, const Dimension& dimension) {
    const std::string uid = uid_of(std::string("dimensions\n") + dimension.seed);
    put_text(add_item(object, DCM_DimensionOrganizationSequence), DCM_DimensionOrganizationUID, uid);
    DcmItem& index = add_item(object, DCM_DimensionIndexSequence);
    put_text(index, DCM_DimensionOrganizationUID, uid);
    index.putAndInsertTagKey(DCM_DimensionIndexPointer, dimension.index);
    index.putAndInsertTagKey(DCM_FunctionalGroupPointer, dimension.group);
    put_text(index, DCM_DimensionDescriptionLabel, dimension.label);
}

void put_dimensions(DcmItem& object, SegType type) {
    static const Dimension kSegments{"segment", "Segment", DCM_ReferencedSegmentNumber,
                                     DCM_SegmentIdentificationSequence};
    static const Dimension kFrames{"frame label", "Frame", DCM_FrameLabel, DCM_FrameContentSequence};
    put_dimension(object, type == SegType::kBinary ? kSegments : kFrames);
}

void put_source_image(DcmItem& derivation, const SourceReference& source) {
    add_code(derivation, DCM_DerivationCodeSequence, kSegmentation);
    DcmItem& image = add_item(derivation, DCM_SourceImageSequence);
    put_reference(image, source);
    if (source.frame > 0) put_text(image, DCM_ReferencedFrameNumber, std::to_string(source.frame));
    put_text(image, DCM_SpatialLocationsPreserved, "YES");
    add_code(image, DCM_PurposeOfReferenceCodeSequence, kSourceImage);
}

/// The plane of the image as a frame of reference. Its origin is the first pixel, its axes are those of the image.
struct Plane {
    std::string uid;
    std::string pixel_size_mm;
};

void put_frame_of_reference(DcmItem& object, const Plane& plane) {
    put_text(object, DCM_FrameOfReferenceUID, plane.uid);
    put_text(object, DCM_PositionReferenceIndicator, "");
}

// Readers ask for a thickness beside the pixel spacing and build volumes with it. A plane has none, so it gets that of
// a cubic voxel. This is why the sequence stands only beside the plane.
void put_plane(DcmItem& shared, const Plane& plane) {
    DcmItem& measures = add_item(shared, DCM_PixelMeasuresSequence);
    put_text(measures, DCM_SliceThickness, plane.pixel_size_mm);
    put_text(measures, DCM_SpacingBetweenSlices, plane.pixel_size_mm);
    put_text(measures, DCM_PixelSpacing, plane.pixel_size_mm + "\\" + plane.pixel_size_mm);
    put_text(add_item(shared, DCM_PlaneOrientationSequence), DCM_ImageOrientationPatient, "1\\0\\0\\0\\1\\0");
}

void put_frame(DcmItem& object, SegType type, unsigned number, const std::optional<SourceReference>& source,
               bool has_plane) {
    DcmItem& frame = add_item(object, DCM_PerFrameFunctionalGroupsSequence);
    DcmItem& content = add_item(frame, DCM_FrameContentSequence);
    put_number(content, DCM_DimensionIndexValues, number);
    if (type == SegType::kBinary) {
        put_number(add_item(frame, DCM_SegmentIdentificationSequence), DCM_ReferencedSegmentNumber, number);
    } else {
        put_text(content, DCM_FrameLabel, "Label map");
    }
    if (source) {
        put_source_image(add_item(frame, DCM_DerivationImageSequence), *source);
    } else {
        frame.insertEmptyElement(DCM_DerivationImageSequence);  // is mandatory
    }
    if (has_plane) put_text(add_item(frame, DCM_PlanePositionSequence), DCM_ImagePositionPatient, "0\\0\\0");
}

std::optional<Plane> plane_of(const Findings& findings, const std::optional<SourceReference>& source) {
    if (findings.settings.seg.geometry == SegGeometry::kNone) return std::nullopt;
    return Plane{uid_of("frame of reference\n" + identity_seed(findings, source)),
                 decimal_text(findings.settings.pixel_size_um.value / 1000.0)};
}

E_TransferSyntax syntax_of(SegCompression compression) {
    switch (compression) {
        case SegCompression::kDeflate:
            return EXS_DeflatedLittleEndianExplicit;
        case SegCompression::kRunLengths:
            return EXS_RLELossless;
        case SegCompression::kNone:
            break;
    }
    return EXS_LittleEndianExplicit;
}

// The object, without its identifier.
void fill_seg(DcmDataset& object, const Findings& findings, SegContent content) {
    const std::optional<SourceReference> source = source_reference(findings.source);
    const std::optional<Plane> plane = plane_of(findings, source);
    const SegTypeFacts& type = facts_of(findings.settings.seg.type);
    const bool is_label_map = type.type == SegType::kLabelmap;
    SegPlan plan = plan_of(findings, content);
    const auto frames = static_cast<unsigned>(is_label_map ? 1 : plan.segments.size());
    if (is_label_map) add_background(plan);

    const ObjectKind kind{type.class_uid, "SEG", plan.series_number, plan.description, true};
    put_common_fields(object, kind, findings, source);
    if (source) put_source_references(object, *source);
    put_image(object, plan, type, frames, findings.source);
    for (const Segment& segment : plan.segments) put_segment(object, segment, findings.source.laterality);
    put_dimensions(object, type.type);
    if (plane) put_frame_of_reference(object, *plane);
    DcmItem& shared = add_item(object, DCM_SharedFunctionalGroupsSequence);
    if (plane) put_plane(shared, *plane);
    for (unsigned i = 1; i <= frames; ++i) put_frame(object, type.type, i, source, plane.has_value());
    const std::vector<std::uint8_t> pixels =
        is_label_map ? seg_labels(findings, content) : seg_frames(findings, content).bytes();
    object.putAndInsertUint8Array(DCM_PixelData, pixels.data(), pixels.size());
}

std::string dicom_seg(const Findings& findings, SegContent content) {
    DcmFileFormat file;
    fill_seg(*file.getDataset(), findings, content);
    return finished_file(file, syntax_of(findings.settings.seg.compression));
}

}  // namespace

std::string breast_and_muscle_seg(const Findings& findings) {
    return dicom_seg(findings, SegContent::kBreastAndMuscle);
}

std::string joined_seg(const Findings& findings) { return dicom_seg(findings, SegContent::kJoined); }

SegIdentity breast_and_muscle_seg_identity(const Findings& findings) {
    DcmDataset object;
    fill_seg(object, findings, SegContent::kBreastAndMuscle);
    return {facts_of(findings.settings.seg.type).class_uid, text_in(object, DCM_SeriesInstanceUID),
            instance_uid_of(object)};
}

}  // namespace Norvane::Host

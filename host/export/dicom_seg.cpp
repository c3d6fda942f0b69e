// SPDX-License-Identifier: Apache-2.0
#include "export/dicom_seg.h"

#include "export/bit_frames.h"
#include "export/dicom_items.h"
#include "export/dicom_seg_source.h"
#include "export/program_version.h"
#include "export/source_masks.h"
#include "findings/status_text.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcostrmb.h>
#include <dcmtk/dcmdata/dcuid.h>
#include <fmt/core.h>

#include <array>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <vector>

namespace Norvane::Host {
namespace {

constexpr DicomCode kAnatomicalStructure{"123037004", "SCT", "Anatomical Structure"};
constexpr DicomCode kBreast{"76752008", "SCT", "Breast"};
constexpr DicomCode kPectoralMuscle{"60005003", "SCT", "Pectoralis major muscle"};
constexpr DicomCode kLeft{"7771000", "SCT", "Left"};
constexpr DicomCode kRight{"24028007", "SCT", "Right"};
constexpr DicomCode kEdgeDetection{"123103", "DCM", "Edge Detection"};
constexpr DicomCode kSegmentation{"113076", "DCM", "Segmentation"};
constexpr DicomCode kSourceImage{"121322", "DCM", "Source image for image processing operation"};

constexpr const char* kAlgorithmName = "Norvane";

/// The segments of an object. Each has one frame. If the view shows a muscle and none was found, its frame has no
/// pixels.
enum class SegContent {
    kBreastAndMuscle,  // breast without muscle; and muscle, if the view shows one
    kJoined,           // the full mask as one segment; in an object of its own, since it overlaps the others
};

struct Segment {
    const char* label;
    DicomCode type;
    std::array<Uint16, 3> cielab;  // the colour for viewers: L*, a* and b*, each 0 .. 65535
    Masking::MASK_STATUS status;
};

/// What differs between the two kinds of objects.
struct SegPlan {
    const char* series_number;
    const char* series_description;
    const char* content_label;
    std::vector<Segment> segments;
};

bool shows_muscle(const Findings& findings) { return findings.settings.view.value == VIEW_PECT; }

SegPlan plan_of(const Findings& findings, SegContent content) {
    constexpr std::array<Uint16, 3> kGreen{53083, 16962, 41891};
    constexpr std::array<Uint16, 3> kRed{39321, 48830, 42662};
    constexpr std::array<Uint16, 3> kYellow{56360, 33667, 51657};
    const FoundMasks& masks = findings.masks;
    if (content == SegContent::kJoined) {
        return {"901",
                "Breast and upper pectoral muscle, Norvane",
                "BREAST_FULL",
                {{"Breast and upper pectoral muscle (full)", kBreast, kYellow, masks.full.status}}};
    }
    if (!shows_muscle(findings)) {
        return {"900", "Breast, Norvane", "BREAST", {{"Breast", kBreast, kGreen, masks.breast.status}}};
    }
    return {"900",
            "Breast and pectoral muscle, Norvane",
            "BREAST_MUSCLE",
            {{"Breast without pectoral muscle", kBreast, kGreen, masks.breast.status},
             {"Pectoral muscle", kPectoralMuscle, kRed, masks.pectoral.status}}};
}

BitFrames frames_of(const Findings& findings, SegContent content) {
    const SourceImage& source = findings.source;
    if (content == SegContent::kJoined) {
        BitFrames frames(source.width, source.height, 1);
        frames.paint(0, SourceMask(findings.masks.joined(), placement_of(findings)), true);
        return frames;
    }
    const LabelImage labels(findings);
    const bool has_muscle = shows_muscle(findings);
    BitFrames frames(source.width, source.height, has_muscle ? 2 : 1);
    frames.paint(0, labels.breast(), true);
    if (!has_muscle) return frames;
    frames.paint(0, labels.muscle(), false);
    frames.paint(1, labels.muscle(), true);
    return frames;
}

// `parent` is what the series belongs to: the series of the source, or a study of its own.
void put_series(DcmItem& object, const SegPlan& plan, const std::string& parent) {
    put_text(object, DCM_Modality, "SEG");
    put_text(object, DCM_SeriesInstanceUID,
             uid_of(std::string("series\n") + program_version() + "\n" + plan.series_number + "\n" + parent));
    put_text(object, DCM_SeriesNumber, plan.series_number);
    put_text(object, DCM_SeriesDescription, plan.series_description);
    put_text(object, DCM_Manufacturer, kAlgorithmName);
    put_text(object, DCM_ManufacturerModelName, "norvane masks");
    put_text(object, DCM_DeviceSerialNumber, "0");
    put_text(object, DCM_SoftwareVersions, program_version());
}

void put_image(DcmItem& object, const SegPlan& plan, const SourceImage& source) {
    put_text(object, DCM_ImageType, "DERIVED\\PRIMARY");
    put_text(object, DCM_ContentLabel, plan.content_label);
    put_text(object, DCM_ContentDescription, plan.series_description);
    put_text(object, DCM_ContentCreatorName, "");
    put_text(object, DCM_SegmentationType, "BINARY");
    put_text(object, DCM_SegmentsOverlap, "NO");
    put_number(object, DCM_Rows, source.height);
    put_number(object, DCM_Columns, source.width);
    put_text(object, DCM_NumberOfFrames, std::to_string(plan.segments.size()));
    put_number(object, DCM_SamplesPerPixel, 1);
    put_text(object, DCM_PhotometricInterpretation, "MONOCHROME2");
    put_number(object, DCM_BitsAllocated, 1);
    put_number(object, DCM_BitsStored, 1);
    put_number(object, DCM_HighBit, 0);
    put_number(object, DCM_PixelRepresentation, 0);
}

void put_segment(DcmItem& object, const Segment& segment, unsigned number, const Said<Laterality>& laterality) {
    DcmItem& item = add_item(object, DCM_SegmentSequence);
    put_number(item, DCM_SegmentNumber, number);
    put_text(item, DCM_SegmentLabel, segment.label);
    const StatusText& status = text_of(segment.status);
    put_text(item, DCM_SegmentDescription, std::string(status.name) + ": " + status.sentence);
    put_text(item, DCM_SegmentAlgorithmType, "AUTOMATIC");
    put_text(item, DCM_SegmentAlgorithmName, kAlgorithmName);
    add_code(item, DCM_SegmentedPropertyCategoryCodeSequence, kAnatomicalStructure);
    DcmItem& type = add_code(item, DCM_SegmentedPropertyTypeCodeSequence, segment.type);
    if (laterality) {
        add_code(type, DCM_SegmentedPropertyTypeModifierCodeSequence,
                 laterality->value == Laterality::kLeft ? kLeft : kRight);
    }
    DcmItem& algorithm = add_item(item, DCM_SegmentationAlgorithmIdentificationSequence);
    add_code(algorithm, DCM_AlgorithmFamilyCodeSequence, kEdgeDetection);
    put_text(algorithm, DCM_AlgorithmName, kAlgorithmName);
    put_text(algorithm, DCM_AlgorithmVersion, program_version());
    item.putAndInsertUint16Array(DCM_RecommendedDisplayCIELabValue, segment.cielab.data(), segment.cielab.size());
}

// Frames differ only in their segment.
void put_dimensions(DcmItem& object) {
    const std::string uid = uid_of("dimensions\nsegment");
    put_text(add_item(object, DCM_DimensionOrganizationSequence), DCM_DimensionOrganizationUID, uid);
    DcmItem& index = add_item(object, DCM_DimensionIndexSequence);
    put_text(index, DCM_DimensionOrganizationUID, uid);
    index.putAndInsertTagKey(DCM_DimensionIndexPointer, DCM_ReferencedSegmentNumber);
    index.putAndInsertTagKey(DCM_FunctionalGroupPointer, DCM_SegmentIdentificationSequence);
    put_text(index, DCM_DimensionDescriptionLabel, "Segment");
}

void put_source_image(DcmItem& derivation, const SegSource& source) {
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

void put_frame(DcmItem& object, unsigned number, const std::optional<SegSource>& source, bool has_plane) {
    DcmItem& frame = add_item(object, DCM_PerFrameFunctionalGroupsSequence);
    put_number(add_item(frame, DCM_FrameContentSequence), DCM_DimensionIndexValues, number);
    put_number(add_item(frame, DCM_SegmentIdentificationSequence), DCM_ReferencedSegmentNumber, number);
    if (source) {
        put_source_image(add_item(frame, DCM_DerivationImageSequence), *source);
    } else {
        frame.insertEmptyElement(DCM_DerivationImageSequence);  // is mandatory
    }
    if (has_plane) put_text(add_item(frame, DCM_PlanePositionSequence), DCM_ImagePositionPatient, "0\\0\\0");
}

void put_frames(DcmItem& object, const SegPlan& plan, const std::optional<SegSource>& source,
                const std::optional<Plane>& plane) {
    DcmItem& shared = add_item(object, DCM_SharedFunctionalGroupsSequence);
    if (plane) put_plane(shared, *plane);
    for (unsigned i = 0; i < plan.segments.size(); ++i) put_frame(object, i + 1, source, plane.has_value());
}

/// The bytes of a file, or those of a data set without a file header.
template <class Object>
std::string bytes_of(Object& object) {
    constexpr std::size_t kRoomForFileHeader = 4096;
    std::string bytes(object.calcElementLength(EXS_LittleEndianExplicit, EET_ExplicitLength) + kRoomForFileHeader,
                      '\0');
    DcmOutputBufferStream stream(bytes.data(), static_cast<offile_off_t>(bytes.size()));
    object.transferInit();
    const OFCondition written = object.write(stream, EXS_LittleEndianExplicit, EET_ExplicitLength, nullptr);
    object.transferEnd();
    if (written.bad()) throw std::runtime_error(std::string("DICOM SEG: ") + written.text());
    void* start = nullptr;
    offile_off_t length = 0;
    stream.flushBuffer(start, length);
    bytes.resize(static_cast<std::size_t>(length));
    return bytes;
}

// For an object without identifiers. It is made from the masks, which the object shows anyway, so that nothing leads
// from it to the source. Both kinds of objects of an image get the same one.
std::string own_study_uid(const Findings& findings) {
    const BitFrames frames = frames_of(findings, SegContent::kBreastAndMuscle);
    std::string seed =
        fmt::format("study\n{} {} {}\n", findings.source.width, findings.source.height, frames.bytes().size());
    for (const std::uint8_t byte : frames.bytes()) seed += static_cast<char>(byte);
    return uid_of(seed);
}

std::optional<Plane> plane_of(const Findings& findings, const std::optional<SegSource>& source) {
    if (findings.settings.seg_geometry == SegGeometry::kNone) return std::nullopt;
    const std::string seed =
        source ? fmt::format("{} {}", source->instance_uid, source->frame) : own_study_uid(findings);
    return Plane{uid_of("frame of reference\n" + seed), decimal_text(findings.settings.pixel_size_um.value / 1000.0)};
}

std::string dicom_seg(const Findings& findings, SegContent content) {
    const std::optional<SegSource> source = seg_source(findings.source);
    const SegPlan plan = plan_of(findings, content);

    DcmFileFormat file;
    DcmDataset& object = *file.getDataset();
    put_text(object, DCM_SOPClassUID, UID_SegmentationStorage);
    copy_source_fields(*findings.source.dicom_texts, object);
    if (source) {
        put_source_references(object, *source);
        put_series(object, plan, source->series_uid);
    } else {
        put_identity_removed(object);
        const std::string study = own_study_uid(findings);
        put_text(object, DCM_StudyInstanceUID, study);
        put_series(object, plan, study);
    }
    put_image(object, plan, findings.source);
    for (unsigned i = 0; i < plan.segments.size(); ++i) {
        put_segment(object, plan.segments[i], i + 1, findings.source.laterality);
    }
    put_dimensions(object);
    const std::optional<Plane> plane = plane_of(findings, source);
    if (plane) put_frame_of_reference(object, *plane);
    put_frames(object, plan, source, plane);
    const BitFrames frames = frames_of(findings, content);
    object.putAndInsertUint8Array(DCM_PixelData, frames.bytes().data(), frames.bytes().size());
    // Two objects have the same identifier if and only if their contents are the same.
    put_text(object, DCM_SOPInstanceUID, uid_of("object\n" + bytes_of(object)));
    return bytes_of(file);
}

}  // namespace

std::string breast_and_muscle_seg(const Findings& findings) {
    return dicom_seg(findings, SegContent::kBreastAndMuscle);
}

std::string joined_seg(const Findings& findings) { return dicom_seg(findings, SegContent::kJoined); }

std::string filing_warning(const Findings& findings) {
    const SourceImage& source = findings.source;
    if (!source.dicom_texts || source.identifiers == Identifiers::kNone) return {};
    return filing_warning(*source.dicom_texts);
}

}  // namespace Norvane::Host

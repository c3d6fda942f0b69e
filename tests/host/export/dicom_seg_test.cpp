// SPDX-License-Identifier: Apache-2.0
#include "export/dicom_seg.h"
#include "export/derived_object.h"
#include "export/dicom_items.h"
#include "export/kinds.h"
#include "host/io/dicom_builder.h"
#include "io/dicom/copied_fields.h"
#include "phantom_analysis.h"

#include <cstdio>
#include <cstdlib>

namespace Norvane::Tests {
namespace {

const char* const kPoor =
    "SOPClassUID=" UID_DigitalMammographyXRayImageStorageForPresentation
    "; SOPInstanceUID=1.2.3.4; StudyInstanceUID=1.2.3; SeriesInstanceUID=1.2.3.1; PatientID=17; StudyDate=20200229; "
    "StudyTime=0815; StudyID=4";
const char* const kRich =
    "SpecificCharacterSet=ISO_IR 192; PatientName=Müller^Änne; PatientBirthDate=19610517; PatientSex=F; "
    "PatientAge=058Y; AccessionNumber=A1; ReferringPhysicianName=Doe^J; StudyDescription=Screening; "
    "ContentDate=20200301; InstanceNumber=3; PatientOrientation=P\\L; LossyImageCompression=01; "
    "LossyImageCompressionRatio=9.5; LossyImageCompressionMethod=ISO_10918_1";
const char* const kFrame = "SOPClassUID=" UID_BreastTomosynthesisImageStorage;
// What archives hold and no object may hold. The values stay out.
const std::string kTooLong(65, 'x');
const std::string kWrong =
    "PatientName=x^" + kTooLong +
    "; PatientBirthDate=1961.05.17; ReferringPhysicianName=M\xFCller; PatientSex=X; PatientAge=58; "
    "AccessionNumber=longer than sixteen; SpecificCharacterSet=latin; InstanceNumber=three; "
    "PatientOrientation=LEFT\\FOOT; StudyDescription=" +
    kTooLong;

DcmDataset header_of(const std::string& changes) {
    DcmDataset header;
    for (const std::string& text : {std::string(kPoor), changes}) change(header, text);
    return header;
}

Host::Findings with_header(Host::Findings findings, const std::string& changes = "",
                           Host::Identifiers identifiers = Host::Identifiers::kUids) {
    DcmDataset header = header_of(changes);
    findings.source.dicom_texts = Host::copied_texts(header, identifiers);
    findings.source.identifiers = identifiers;
    return findings;
}

using Encode = std::string (*)(const Host::Findings&);
constexpr Encode kBoth[] = {Host::breast_and_muscle_seg, Host::joined_seg};

/// An object read back by the toolkit.
struct SegObject {
    explicit SegObject(const std::string& file) { EXPECT_TRUE(format.loadFile(file.c_str()).good()); }
    [[nodiscard]] std::string text(const DcmTagKey& tag) const {
        OFString value;
        DcmDataset& object = *format.getDataset();  // its own fields before those of its sequences
        if (object.findAndGetOFStringArray(tag, value).bad()) (void)object.findAndGetOFStringArray(tag, value, OFTrue);
        return {value.data(), value.size()};
    }
    [[nodiscard]] std::string code(const DcmTagKey& sequence, unsigned segment) const {
        DcmItem* item = nullptr;
        (void)format.getDataset()->findAndGetSequenceItem(DCM_SegmentSequence, item, segment);
        DcmItem* code_item = nullptr;
        OFString value;
        if (item == nullptr || item->findAndGetSequenceItem(sequence, code_item).bad()) return "none";
        (void)code_item->findAndGetOFString(DCM_CodeValue, value);
        return {value.data(), value.size()};
    }
    mutable DcmFileFormat format;
};

/// What the validator says, without the line that names the kind of object. An object without identifiers cannot be
/// filed by them.
std::string complaints(const std::string& file, bool has_identifiers) {
    const std::string command = "dciodvfy '" + file + "' 2>&1";
    FILE* pipe = ::popen(command.c_str(), "r");
    std::string text;
    std::array<char, 4096> line{};
    while (std::fgets(line.data(), line.size(), pipe) != nullptr) {
        const std::string said = line.data();
        const bool is_about_filing = said.find("needed to build DICOMDIR") != std::string::npos;
        if (said != "Segmentation\n" && (has_identifiers || !is_about_filing)) text += said;
    }
    (void)::pclose(pipe);
    return text;
}

TEST(DicomSeg, FramesAreTheLabelsBitByBit) {
    const TemporaryFolder folder;
    const std::tuple<IMAGE_VIEW, Encode, unsigned> table[] = {
        {VIEW_PECT, Host::breast_and_muscle_seg, 2},
        {VIEW_PECT, Host::joined_seg, 1},
        {VIEW_NO_PECT, Host::breast_and_muscle_seg, 1},  // without an empty frame for the muscle
    };
    for (const auto& [view, encode, frames] : table) {
        Host::Findings findings = with_header(analysed_phantom(view));
        findings.settings.crop.value = {5, 2, 950, 1290};
        const LabelTester labels(findings);
        const HitTester joined(findings.masks.full.region, Host::placement_of(findings));
        const SegObject seg(folder.write("seg.dcm", encode(findings)));
        EXPECT_EQ(std::to_string(frames), seg.text(DCM_NumberOfFrames));
        const Uint8* bytes = nullptr;
        unsigned long count = 0;
        ASSERT_TRUE(seg.format.getDataset()->findAndGetUint8Array(DCM_PixelData, bytes, &count).good());
        ASSERT_EQ((std::size_t{1001} * 1303 * frames + 15) / 16 * 2, count);
        std::size_t bit = 0;
        for (unsigned frame = 0; frame < frames; ++frame) {
            for (unsigned y = 0; y < 1303; ++y) {
                for (unsigned x = 0; x < 1001; ++x, ++bit) {
                    const bool is_set = (bytes[bit / 8] >> (bit % 8) & 1) != 0;
                    const bool is_joined = encode == Host::joined_seg;
                    const bool is_meant = is_joined ? joined.at(x, y) : labels.at(x, y) == frame + 1;
                    ASSERT_EQ(is_meant, is_set) << frame << ": " << x << ", " << y;
                }
            }
        }
    }
}

TEST(DicomSeg, TheValidatorFindsNothing) {
    const TemporaryFolder folder;
    ASSERT_EQ(0, std::system("command -v dciodvfy >/dev/null")) << "of the package dicom3tools";
    const struct {
        const char* name;
        std::string header;
        IMAGE_VIEW view;
        Host::Identifiers identifiers = Host::Identifiers::kUids;
    } table[] = {{"poor", "", VIEW_PECT},
                 {"rich", kRich, VIEW_PECT},
                 {"wrong", kWrong, VIEW_PECT},
                 {"a frame of two", kFrame, VIEW_PECT},
                 {"no identifiers", kRich, VIEW_PECT, Host::Identifiers::kNone},
                 {"no muscle", "", VIEW_NO_PECT}};
    for (const auto& source : table) {
        Host::Findings findings = with_header(analysed_phantom(source.view), source.header, source.identifiers);
        if (source.header == kRich) findings.source.laterality = Host::Sourced{Host::Laterality::kRight};
        if (source.header == kFrame) findings.source.frame_count = 2;
        for (const Host::SegGeometry geometry : {Host::SegGeometry::kNone, Host::SegGeometry::kViewer}) {
            findings.settings.seg.geometry = geometry;
            for (const Encode encode : kBoth) {
                const std::string file = folder.write("seg.dcm", encode(findings));
                EXPECT_EQ("", complaints(file, source.identifiers != Host::Identifiers::kNone)) << source.name;
            }
        }
    }
}

TEST(DicomSeg, BelongsToItsSource) {
    const TemporaryFolder folder;
    const std::string changes = kRich + std::string("; FrameOfReferenceUID=1.2.9");
    Host::Findings findings = with_header(analysed_phantom(), changes);
    findings.source.laterality = Host::Sourced{Host::Laterality::kRight};
    const std::string bytes = Host::breast_and_muscle_seg(findings);
    EXPECT_EQ(bytes, Host::breast_and_muscle_seg(findings));  // a second run gives the same file
    const SegObject seg(folder.write("seg.dcm", bytes));
    DcmDataset header = header_of(changes);
    for (unsigned long i = 0; i < header.card(); ++i) {
        const DcmTagKey tag = header.getElement(i)->getTag();
        OFString value;
        EXPECT_TRUE(header.findAndGetOFStringArray(tag, value).good());
        const bool is_own = tag == DCM_SOPClassUID || tag == DCM_SOPInstanceUID || tag == DCM_SeriesInstanceUID ||
                            tag == DCM_FrameOfReferenceUID;
        EXPECT_EQ(is_own, value.c_str() != seg.text(tag)) << tag.toString() << " " << seg.text(tag);
    }
    const std::pair<DcmTagKey, const char*> expected[] = {{DCM_SOPClassUID, UID_SegmentationStorage},
                                                          {DCM_ReferencedSOPInstanceUID, "1.2.3.4"},
                                                          {DCM_ContentTime, "000000"},
                                                          {DCM_SegmentsOverlap, "NO"},
                                                          {DCM_SegmentationType, "BINARY"},
                                                          {DCM_SpatialLocationsPreserved, "YES"},
                                                          {DCM_PixelSpacing, ""},  // not without a thickness
                                                          {DCM_FrameOfReferenceUID, ""},
                                                          {DCM_ReferencedFrameNumber, ""}};
    for (const auto& [tag, value] : expected) EXPECT_EQ(value, seg.text(tag)) << tag.toString();
    EXPECT_EQ("76752008", seg.code(DCM_SegmentedPropertyTypeCodeSequence, 0));
    EXPECT_EQ("60005003", seg.code(DCM_SegmentedPropertyTypeCodeSequence, 1));
    EXPECT_EQ("123037004", seg.code(DCM_SegmentedPropertyCategoryCodeSequence, 1));
    EXPECT_EQ("none", seg.code(DCM_SegmentedPropertyTypeCodeSequence, 2));

    // Another mask is another object of the same series; the joined mask is one of another series.
    Mask longer = findings.masks.pectoral.region.mask();
    longer.AddSegment(0, 600, 3);
    findings.masks.pectoral.region = Host::Region(longer);
    const SegObject other(folder.write("other.dcm", Host::breast_and_muscle_seg(findings)));
    EXPECT_NE(seg.text(DCM_SOPInstanceUID), other.text(DCM_SOPInstanceUID));
    EXPECT_EQ(seg.text(DCM_SeriesInstanceUID), other.text(DCM_SeriesInstanceUID));
    const SegObject joined(folder.write("joined.dcm", Host::joined_seg(findings)));
    EXPECT_NE(seg.text(DCM_SeriesInstanceUID), joined.text(DCM_SeriesInstanceUID));
}

// highdicom wants a thickness beside each pixel spacing, @cornerstonejs/adapters a shared orientation, and ITK a frame
// of reference and a position of each frame.
TEST(DicomSeg, TheGeometryForViewersIsTheImagesOwn) {
    const TemporaryFolder folder;
    Host::Findings findings = with_header(analysed_phantom());
    findings.settings.seg.geometry = Host::SegGeometry::kViewer;
    const auto seg_of = [&](Encode encode) { return SegObject(folder.write("seg.dcm", encode(findings))); };
    const SegObject seg = seg_of(Host::breast_and_muscle_seg);
    const std::tuple<DcmTagKey, DcmTagKey, DcmTagKey, const char*> expected[] = {
        {DCM_SharedFunctionalGroupsSequence, DCM_PixelMeasuresSequence, DCM_PixelSpacing, "0.163\\0.163"},
        {DCM_SharedFunctionalGroupsSequence, DCM_PixelMeasuresSequence, DCM_SliceThickness, "0.163"},
        {DCM_SharedFunctionalGroupsSequence, DCM_PlaneOrientationSequence, DCM_ImageOrientationPatient,
         "1\\0\\0\\0\\1\\0"},
        {DCM_PerFrameFunctionalGroupsSequence, DCM_PlanePositionSequence, DCM_ImagePositionPatient, "0\\0\\0"}};
    for (const auto& [groups, sequence, tag, value] : expected) {
        DcmItem* group = nullptr;
        DcmItem* item = nullptr;
        OFString text;
        for (const long frame : {0L, groups == DCM_PerFrameFunctionalGroupsSequence ? 1L : 0L}) {
            ASSERT_TRUE(seg.format.getDataset()->findAndGetSequenceItem(groups, group, frame).good());
            ASSERT_TRUE(group->findAndGetSequenceItem(sequence, item).good()) << tag.toString();
            (void)item->findAndGetOFStringArray(tag, text);
            EXPECT_EQ(value, std::string(text.c_str()));
        }
    }
    // Both objects of an image lie in the same plane; another image has another one.
    const std::string frame_of_reference = seg.text(DCM_FrameOfReferenceUID);
    EXPECT_EQ(frame_of_reference, seg_of(Host::joined_seg).text(DCM_FrameOfReferenceUID));
    findings = with_header(std::move(findings), "SOPInstanceUID=1.2.3.5");
    EXPECT_NE(frame_of_reference, seg_of(Host::joined_seg).text(DCM_FrameOfReferenceUID));
}

TEST(DicomSeg, WithoutIdentifiersNothingLeadsToTheSource) {
    const TemporaryFolder folder;
    Host::Findings findings = analysed_phantom();
    const auto seg_of = [&findings](const std::string& changes, Encode encode,
                                    Host::Identifiers asked = Host::Identifiers::kNone) {
        findings = with_header(std::move(findings), changes, asked);
        return encode(findings);
    };
    const std::string bytes = seg_of(kRich, Host::breast_and_muscle_seg);
    for (const char* text : {"Änne", "1961", "058Y", "A1", "Doe", "Screening", "20200301", "20200229", "1.2.3"}) {
        EXPECT_EQ(std::string::npos, bytes.find(text)) << text;
    }
    // Whatever the identifiers of the source are, they leave no trace: not in a UID either.
    const std::string others = "; SOPInstanceUID=1.2.9; StudyInstanceUID=1.9; SeriesInstanceUID=1.8; PatientID=18";
    EXPECT_EQ(bytes, seg_of(kRich + others, Host::breast_and_muscle_seg));
    const SegObject seg(folder.write("seg.dcm", bytes));
    const SegObject joined(folder.write("joined.dcm", seg_of(kRich, Host::joined_seg)));
    const SegObject named(
        folder.write("named.dcm", seg_of(kRich, Host::breast_and_muscle_seg, Host::Identifiers::kUids)));
    EXPECT_EQ("YES", seg.text(DCM_PatientIdentityRemoved));
    EXPECT_EQ("", seg.text(DCM_ReferencedSOPInstanceUID));
    EXPECT_EQ("F", named.text(DCM_PatientSex));
    EXPECT_EQ("", seg.text(DCM_PatientSex));
    EXPECT_EQ(seg.text(DCM_StudyInstanceUID), joined.text(DCM_StudyInstanceUID));
    EXPECT_NE(seg.text(DCM_SeriesInstanceUID), joined.text(DCM_SeriesInstanceUID));
    EXPECT_NE(seg.text(DCM_SOPInstanceUID), joined.text(DCM_SOPInstanceUID));
    EXPECT_EQ("", Host::filing_warning(with_header({}, "-PatientID", Host::Identifiers::kNone)));
}

TEST(DicomSeg, FieldsByWhichArchivesFileAreMissedOnce) {
    const Host::Findings poor = with_header({}, "-PatientID; StudyDate=soon");
    const auto kinds = Host::kinds_named({"seg", "seg-joined", "json"});
    EXPECT_THAT(Host::warnings_of(kinds, poor), ::testing::ElementsAre("the header has no valid PatientID, StudyDate, "
                                                                       "so the results in DICOM have none either"));
    EXPECT_THAT(Host::warnings_of(kinds, with_header({})), ::testing::IsEmpty());
}

TEST(DicomSeg, ASourceThatCannotBeReferredToIsRefused) {
    const std::pair<const char*, const char*> table[] = {
        {"", "is not a DICOM object, which results in DICOM need"},
        {"-SOPInstanceUID", "has no valid SOPInstanceUID, which results in DICOM need"},
        {"SeriesInstanceUID=1.02.3", "has no valid SeriesInstanceUID, which results in DICOM need"}};
    Host::Findings findings = analysed_phantom();
    for (const auto& [edit, message] : table) {
        if (*edit != '\0') findings = with_header(std::move(findings), edit);
        EXPECT_THAT([&] { (void)Host::joined_seg(findings); }, ::testing::ThrowsMessage<Host::Refusal>(message));
    }
}

}  // namespace
}  // namespace Norvane::Tests

// SPDX-License-Identifier: Apache-2.0
#include "results/dicom_seg.h"
#include "phantom_analysis.h"
#include "results/dicom_items.h"
#include "results/dicom_seg_source.h"
#include "results/result_files.h"
#include "tools/host_support.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace Norvane::Tests {
namespace {

using Host::SegContent;
using Fields = std::vector<std::pair<DcmTagKey, std::string>>;

const Fields kPoor{{DCM_SOPClassUID, UID_DigitalMammographyXRayImageStorageForPresentation},
                   {DCM_SOPInstanceUID, "1.2.3.4"},
                   {DCM_StudyInstanceUID, "1.2.3"},
                   {DCM_SeriesInstanceUID, "1.2.3.1"},
                   {DCM_PatientID, "17"},
                   {DCM_StudyDate, "20200229"},
                   {DCM_StudyTime, "0815"},
                   {DCM_StudyID, "4"}};
const Fields kRich{{DCM_SpecificCharacterSet, "ISO_IR 192"},
                   {DCM_PatientName, "Müller^Änne"},
                   {DCM_PatientBirthDate, "19610517"},
                   {DCM_PatientSex, "F"},
                   {DCM_PatientAge, "058Y"},
                   {DCM_AccessionNumber, "A1"},
                   {DCM_ReferringPhysicianName, "Doe^J"},
                   {DCM_StudyDescription, "Screening"},
                   {DCM_ContentDate, "20200301"},
                   {DCM_InstanceNumber, "3"},
                   {DCM_PatientOrientation, "P\\L"},
                   {DCM_LossyImageCompression, "01"},
                   {DCM_LossyImageCompressionRatio, "9.5"},
                   {DCM_LossyImageCompressionMethod, "ISO_10918_1"}};
const Fields kFrame{{DCM_SOPClassUID, UID_BreastTomosynthesisImageStorage}};
// What archives hold and no object may hold. The values stay out.
const Fields kWrong{{DCM_PatientName, "x^" + std::string(63, 'x')},
                    {DCM_PatientBirthDate, "1961.05.17"},
                    {DCM_PatientSex, "X"},
                    {DCM_PatientAge, "58"},
                    {DCM_AccessionNumber, "longer than sixteen"},
                    {DCM_SpecificCharacterSet, "latin"},
                    {DCM_InstanceNumber, "three"},
                    {DCM_PatientOrientation, "LEFT\\FOOT"},
                    {DCM_StudyDescription, std::string(65, 'x')}};

Host::ImageAnalysis with_header(Host::ImageAnalysis analysis, const Fields& more = {}) {
    auto header = std::make_shared<DcmDataset>();
    for (const Fields& fields : {kPoor, more}) {
        for (const auto& [tag, value] : fields) header->putAndInsertString(tag, value.c_str());
    }
    analysis.source.dicom_header = header;
    return analysis;
}

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

/// What the validator says, without the line that names the kind of object.
std::string complaints(const std::string& file) {
    const std::string command = "dciodvfy '" + file + "' 2>&1";
    FILE* pipe = ::popen(command.c_str(), "r");
    std::string text;
    std::array<char, 4096> line{};
    while (std::fgets(line.data(), line.size(), pipe) != nullptr) {
        if (std::string(line.data()) != "Segmentation\n") text += line.data();
    }
    (void)::pclose(pipe);
    return text;
}

TEST(DicomSeg, FramesAreTheLabelsBitByBit) {
    const TemporaryFolder folder;
    Host::ImageAnalysis analysis = with_header(analysed_phantom());
    analysis.crop = {5, 2, 950, 1290};
    const LabelTester labels(analysis);
    const HitTester joined(analysis.masks.full.mask, analysis.crop, analysis.settings.pixel_size_um);
    for (const SegContent content : {SegContent::kBreastAndMuscle, SegContent::kJoined}) {
        const unsigned frames = content == SegContent::kJoined ? 1 : 2;
        const SegObject seg(folder.write("seg.dcm", Host::dicom_seg(analysis, content)));
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
                    const bool is_meant = frames == 1 ? joined.at(x, y) : labels.at(x, y) == frame + 1;
                    ASSERT_EQ(is_meant, is_set) << frame << ": " << x << ", " << y;
                }
            }
        }
    }
}

TEST(DicomSeg, TheValidatorFindsNothing) {
    const TemporaryFolder folder;
    if (std::system("command -v dciodvfy >/dev/null") != 0) GTEST_SKIP() << "dciodvfy is not installed";
    const struct {
        const char* name;
        Fields header;
        IMAGE_VIEW view;  // without muscle its frame is empty
    } table[] = {{"poor", {}, VIEW_PECT},
                 {"rich", kRich, VIEW_PECT},
                 {"wrong", kWrong, VIEW_PECT},
                 {"a frame of two", kFrame, VIEW_PECT},
                 {"empty", {}, VIEW_NO_PECT}};
    for (const auto& source : table) {
        Host::ImageAnalysis analysis = with_header(analysed_phantom(source.view), source.header);
        if (source.header == kRich) analysis.source.laterality = Host::Laterality::kRight;
        if (source.header == kFrame) analysis.source.frame_count = 2;
        for (const SegContent content : {SegContent::kBreastAndMuscle, SegContent::kJoined}) {
            const std::string file = folder.write("seg.dcm", Host::dicom_seg(analysis, content));
            EXPECT_EQ("", complaints(file)) << source.name;
        }
    }
}

TEST(DicomSeg, BelongsToItsSource) {
    const TemporaryFolder folder;
    Fields header = kRich;
    header.insert(header.end(), {{DCM_FrameOfReferenceUID, "1.2.9"}, {DCM_KVP, "28"}});
    Host::ImageAnalysis analysis = with_header(analysed_phantom(), header);
    analysis.source.laterality = Host::Laterality::kRight;
    const std::string bytes = Host::dicom_seg(analysis, SegContent::kBreastAndMuscle);
    EXPECT_EQ(bytes, Host::dicom_seg(analysis, SegContent::kBreastAndMuscle));  // a second run gives the same file
    const SegObject seg(folder.write("seg.dcm", bytes));
    for (const Fields& fields : {kPoor, kRich}) {
        for (const auto& [tag, value] : fields) {
            const bool is_own = tag == DCM_SOPClassUID || tag == DCM_SOPInstanceUID || tag == DCM_SeriesInstanceUID;
            EXPECT_EQ(is_own, value != seg.text(tag)) << tag.toString() << " " << seg.text(tag);
        }
    }
    const Fields expected{{DCM_SOPClassUID, UID_SegmentationStorage},
                          {DCM_ReferencedSOPInstanceUID, "1.2.3.4"},
                          {DCM_ContentTime, "000000"},
                          {DCM_SegmentsOverlap, "NO"},
                          {DCM_SegmentationType, "BINARY"},
                          {DCM_SpatialLocationsPreserved, "YES"},
                          {DCM_PixelSpacing, "0.163\\0.163"},
                          {DCM_FrameOfReferenceUID, ""},
                          {DCM_ReferencedFrameNumber, ""}};
    for (const auto& [tag, value] : expected) EXPECT_EQ(value, seg.text(tag)) << tag.toString();
    EXPECT_EQ("76752008", seg.code(DCM_SegmentedPropertyTypeCodeSequence, 0));
    EXPECT_EQ("60005003", seg.code(DCM_SegmentedPropertyTypeCodeSequence, 1));
    EXPECT_EQ("123037004", seg.code(DCM_SegmentedPropertyCategoryCodeSequence, 1));
    EXPECT_EQ("none", seg.code(DCM_SegmentedPropertyTypeCodeSequence, 2));

    // Another mask is another object of the same series; the joined mask is one of another series.
    analysis.masks.pectoral.mask.AddSegment(0, 600, 3);
    const SegObject other(folder.write("other.dcm", Host::dicom_seg(analysis, SegContent::kBreastAndMuscle)));
    EXPECT_NE(seg.text(DCM_SOPInstanceUID), other.text(DCM_SOPInstanceUID));
    EXPECT_EQ(seg.text(DCM_SeriesInstanceUID), other.text(DCM_SeriesInstanceUID));
    const SegObject joined(folder.write("joined.dcm", Host::dicom_seg(analysis, SegContent::kJoined)));
    EXPECT_NE(seg.text(DCM_SeriesInstanceUID), joined.text(DCM_SeriesInstanceUID));
}

TEST(DicomSeg, FieldsByWhichArchivesFileAreMissedOnce) {
    const TemporaryFolder folder;
    Host::ImageAnalysis analysis = with_header(analysed_phantom(), {{DCM_PatientID, ""}, {DCM_StudyDate, "soon"}});
    Host::OutputSet outputs;
    Host::add_result_files(outputs, folder.path("exam"), "exam.dcm", {"seg", "seg-joined"}, analysis);
    EXPECT_THAT(analysis.warnings, ::testing::ElementsAre("the header has no valid PatientID, StudyDate: empty in the "
                                                          "DICOM SEG as well"));
    EXPECT_EQ("", Host::filing_warning(*with_header(std::move(analysis)).source.dicom_header));
}

TEST(DicomSeg, ASourceThatCannotBeReferredToIsRefused) {
    const struct {
        const char* message;
        Fields edit;
    } table[] = {{"is no DICOM object, which the results seg and seg-joined need", {}},
                 {"has no valid SOPInstanceUID, which the results seg and seg-joined need", {{DCM_SOPInstanceUID, ""}}},
                 {"has no valid SeriesInstanceUID, which the results seg and seg-joined need",
                  {{DCM_SeriesInstanceUID, "1.02.3"}}}};
    Host::ImageAnalysis analysis = analysed_phantom();
    for (const auto& bad : table) {
        if (!bad.edit.empty()) analysis = with_header(std::move(analysis), bad.edit);
        try {
            (void)Host::dicom_seg(analysis, SegContent::kJoined);
            ADD_FAILURE() << bad.message;
        } catch (const Host::Refusal& refusal) {
            EXPECT_STREQ(bad.message, refusal.what());
        }
    }
}

}  // namespace
}  // namespace Norvane::Tests

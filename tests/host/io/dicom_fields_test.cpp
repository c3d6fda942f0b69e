// SPDX-License-Identifier: Apache-2.0
#include "host/io/dicom_builder.h"
#include "io/number_text.h"

namespace Norvane::Tests {
namespace {

// What was found in the header.
std::string facts_of(const Host::SourceImage& image) {
    std::string facts;
    const auto add = [&facts](const std::string& what, const std::string& by = "") {
        facts += (facts.empty() ? "" : "; ") + what + (by.empty() ? "" : " by " + by);
    };
    const auto text = [](double number) { return Host::number_text(number); };
    if (image.pixel_size_um) add("size " + text(image.pixel_size_um->value), image.pixel_size_um->from);
    if (image.laterality) {
        add(std::string(Host::name_of(image.laterality->value)) + " breast", image.laterality->from);
    }
    if (image.chest_wall) {
        add(std::string("wall ") + Host::name_of(image.chest_wall->value), image.chest_wall->from);
    }
    if (image.view) add(Host::name_of(image.view->value), image.view->from);
    if (image.noise) add("noise " + std::to_string(image.noise->value), image.noise->from);
    if (image.padding) add("padding " + text(image.padding->value.low) + ".." + text(image.padding->value.high));
    if (image.window) add("window " + text(image.window->value.centre) + ", " + text(image.window->value.width));
    for (const auto& fact : image.texts) {
        if (fact && fact->from != "SOPInstanceUID") add(fact->value, fact->from);  // every object has that one
    }
    if (image.needs_inversion) add("inverted");
    for (const std::string& flag : image.flags) add("flag " + flag);
    for (const std::string& warning : image.warnings) add("warning: " + warning);
    return facts;
}

const std::string kShared = "SharedFunctionalGroupsSequence[0].";
const struct {
    std::string changes, facts;
} kRules[] = {
    // Pixel size.
    {"ImagerPixelSpacing=0.07\\0.07; PixelSpacing=0.2\\0.2", "size 70 by ImagerPixelSpacing"},
    {"ImagerPixelSpacing=0.07\\0.07; EstimatedRadiographicMagnificationFactor=0", "size 70 by ImagerPixelSpacing"},
    {"EstimatedRadiographicMagnificationFactor=1.12; ImagerPixelSpacing=0.0784\\0.0784",
     "size 70 by ImagerPixelSpacing / EstimatedRadiographicMagnificationFactor 1.12"},
    {"PixelSpacing=0.1\\0.1; EstimatedRadiographicMagnificationFactor=1.1; NominalScannedPixelSpacing=0.2\\0.2",
     "size 100 by PixelSpacing"},
    {"NominalScannedPixelSpacing=0.05\\+0.05; SpatialResolution=0.2", "size 50 by NominalScannedPixelSpacing"},
    {"SpatialResolution=0.0435", "size 43.5 by SpatialResolution"},
    {kShared + "PixelMeasuresSequence[0].PixelSpacing=0.09\\0.09", "size 90 by PixelSpacing"},
    {"ImagerPixelSpacing=0\\0; PixelSpacing=0.1\\0.1",
     "size 100 by PixelSpacing; warning: the header has the ImagerPixelSpacing '0', which is not a length"},
    // Texts.
    {"StudyInstanceUID=1.2.3 ; SeriesInstanceUID=1.2; PatientID=17",
     "1.2 by SeriesInstanceUID; 1.2.3 by StudyInstanceUID"},
    // The breast, and the border at which the chest wall lies.
    {"Laterality=L; ImageLaterality=R",
     "right breast by ImageLaterality; warning: ImageLaterality says right, Laterality says left"},
    {"ImageLaterality=B; Laterality=L", "left breast by Laterality"},
    {kShared + "FrameAnatomySequence[0].FrameLaterality=R", "right breast by FrameLaterality"},
    {"PatientOrientation=P\\L; FieldOfViewHorizontalFlip=NO",
     "right breast by PatientOrientation; wall right by PatientOrientation"},
    {"PatientOrientation=A\\FR; FieldOfViewHorizontalFlip=YES",
     "left breast by PatientOrientation; wall left by PatientOrientation after a horizontal flip "
     "(FieldOfViewHorizontalFlip)"},
    {"PatientOrientation=P\\HR", "right breast by PatientOrientation; wall right by PatientOrientation"},
    {"PatientOrientation=A\\F", "wall left by PatientOrientation"},
    {"PatientOrientation=L\\A", "warning: PatientOrientation puts the chest wall at the upper or lower border"},
    {"PatientOrientation=A\\L; Laterality=L",
     "left breast by Laterality; wall left by PatientOrientation; warning: Laterality says left, PatientOrientation "
     "says right"},
    // View and what is special about it.
    {"ViewPosition=XCCL", "cc by ViewPosition XCCL"},
    {"ViewCodeSequence[0].CodeValue=399162004; ViewPosition=MLO",
     "cc by ViewCodeSequence 399162004; warning: ViewCodeSequence says CC, ViewPosition says MLO"},
    {"ViewCodeSequence[0].CodeValue=R-10230; ViewPosition=ML", "mlo by ViewCodeSequence R-10230"},
    {"ViewCodeSequence[0].CodeValue=1234; ViewPosition=SIO", "mlo by ViewPosition SIO"},
    {"ViewCodeSequence[0].CodeValue=399196006; ViewCodeSequence[0].ViewModifierCodeSequence[0].CodeValue=399163009; "
     "ViewCodeSequence[0].ViewModifierCodeSequence[1].CodeValue=R-102D7; BreastImplantPresent=YES; PartialView=NO; "
     "EstimatedRadiographicMagnificationFactor=1.8",
     "cc by ViewCodeSequence 399196006; flag spot; flag magnification; flag implant"},
    {"ViewCodeSequence[0].CodeValue=G-8310; EstimatedRadiographicMagnificationFactor=1.5; "
     "ViewModifierCodeSequence[0].CodeValue=399209000; PartialView=YES",
     "flag implant-displaced; flag specimen; flag magnification; flag partial"},
    // Grey values.
    {"PhotometricInterpretation=MONOCHROME1; PixelPaddingValue=4095; PixelPaddingRangeLimit=4000",
     "padding 4000..4095; inverted"},
    {"PixelPaddingValue=65535", ""},
    {"RescaleSlope=-1",
     "warning: the Modality LUT decreases (RescaleSlope -1) and is not applied: tissue may be dark (--invert makes it "
     "bright)"},
    {"PhotometricInterpretation=MONOCHROME1; ModalityLUTSequence[0].LUTData=9\\5\\2",
     "inverted; warning: the Modality LUT decreases (ModalityLUTSequence) and is not applied: tissue may be bright "
     "already"},
    {"ModalityLUTSequence[0].LUTData=2\\5\\9", ""},
    {"PixelRepresentation=1; PixelPaddingValue=63488", "padding 0..0"},
    {"PixelRepresentation=1; PixelPaddingValue=2048; PixelPaddingRangeLimit=5", "padding 0..2053"},
    {"WindowCenter=2000\\1; WindowWidth=1000\\1", "window 2000, 1000"},
    {"PixelRepresentation=1; WindowCenter=-100; WindowWidth=200; RescaleSlope=2; RescaleIntercept=100",
     "window 1948, 100"},
    // The class of the background.
    {"Modality=MG; PresentationIntentType=FOR PRESENTATION",
     "noise 1 by Modality MG, PresentationIntentType FOR PRESENTATION"},
    {"Modality=MG; PresentationIntentType=FOR PROCESSING; PixelIntensityRelationshipSign=1",
     "noise 2 by Modality MG, PresentationIntentType FOR PROCESSING; warning: PixelIntensityRelationshipSign 1 with "
     "MONOCHROME2: tissue may be dark (--invert makes it bright)"},
    {"Modality=MG; PresentationIntentType=FOR PRESENTATION; ConversionType=DF", ""},
    {"Modality=RG; PresentationIntentType=FOR PRESENTATION; BodyPartExamined=BREAST", ""},
    {"Modality=CR; PresentationIntentType=FOR PRESENTATION; AnatomicRegionSequence[0].CodeValue=T-04000", ""},
    {"Modality=DX; ViewPosition=CC", "cc by ViewPosition CC"},
};

TEST(DicomFields, RulesInTheirOrder) {
    const TemporaryFolder folder;
    for (const auto& row : kRules) {
        const std::string file = write_object(folder, "-ImagerPixelSpacing; " + row.changes);
        ASSERT_EQ("", refusal_of(file)) << row.changes;
        EXPECT_EQ(row.facts, facts_of(Host::read_image(file))) << row.changes;
    }
}

// What the object says once counts for every frame; what the groups say, for their own.
TEST(DicomFields, EachFrameHasItsFunctionalGroup) {
    const TemporaryFolder folder;
    const std::string group = "PerFrameFunctionalGroupsSequence",
                      laterality = "FrameAnatomySequence[0].FrameLaterality";
    const std::string file = write_object(folder, "-ImagerPixelSpacing; NumberOfFrames=2; Rows=1; ViewPosition=CC; " +
                                                      group + "[0]." + laterality + "=L; " + group + "[1]." +
                                                      laterality + "=R; " + kShared + laterality + "=L");
    EXPECT_EQ("left breast by FrameLaterality; cc by ViewPosition CC", facts_of(Host::read_image(file, {.frame = 1})));
    EXPECT_EQ(2U, Host::count_frames(file));
    const Host::SourceImage second = Host::read_image(file, {.frame = 2});
    EXPECT_EQ("right breast by FrameLaterality; cc by ViewPosition CC", facts_of(second));
    EXPECT_EQ(Samples(kWords.begin() + 4, kWords.begin() + 8), second.samples);
}

TEST(DicomFields, IdentifiersAreReadAsFarAsTheyAreAskedFor) {
    const TemporaryFolder folder;
    const std::string file =
        write_object(folder,
                     "PatientID=17; PatientName=Doe; PatientSex=F; StudyInstanceUID=1.2.3; SeriesInstanceUID=1.2; "
                     "StudyDate=20200229; AccessionNumber=A1; LossyImageCompression=01");
    const struct {
        Host::Identifiers asked;
        std::vector<std::string> read;
    } table[] = {{Host::Identifiers::kNone, {"", "", "", ""}},
                 {Host::Identifiers::kUids, {"1.2.3.4", "1.2", "1.2.3", ""}},
                 {Host::Identifiers::kUidsAndPatient, {"1.2.3.4", "1.2", "1.2.3", "17"}}};
    for (const auto& row : table) {
        const Host::SourceImage image = Host::read_image(file, {.identifiers = row.asked});
        std::vector<std::string> read;
        for (const auto& fact : image.texts) read.push_back(fact ? fact->value : "");
        EXPECT_EQ(row.read, read);
        std::vector<std::string> repeated;
        for (const auto& [field, text] : *image.dicom_texts) repeated.push_back(text);
        const std::size_t count = row.asked == Host::Identifiers::kNone ? 1 : 10;  // the compression; all
        EXPECT_EQ(count, repeated.size());
    }
}

TEST(DicomFields, SamplesAreCutOutOfTheirWords) {
    const TemporaryFolder folder;
    const struct {
        const char* why;
        const char* changes;
        Samples words, expected;
    } table[] = {
        {"16 bits",
         "BitsStored=16; HighBit=15; PixelRepresentation=1",
         {0x8000, 0xFFFF, 0, 0x7FFF},
         {0, 0x7FFF, 0x8000, 0xFFFF}},
        {"signed, not extended", "PixelRepresentation=1", {0x0800, 0x0FFF, 0, 0x07FF}, {0, 2047, 2048, 4095}},
        {"signed, extended", "PixelRepresentation=1", {0xF800, 0xFFFF, 0, 0x07FF}, {0, 2047, 2048, 4095}},
        {"overlay bits above", "(601E,0102)=12", {0xF001, 0x1FFF, 0x8000, 5}, {1, 4095, 0, 5}},
        {"in the upper bits", "HighBit=15", {0xFFFF, 0x0010, 0x000F, 0x8000}, {4095, 1, 0, 2048}},
        {"equal channels",
         "PhotometricInterpretation=RGB; SamplesPerPixel=3",
         {1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4},
         {1, 2, 3, 4}},
        {"equal planes",
         "PhotometricInterpretation=RGB; SamplesPerPixel=3; PlanarConfiguration=1",
         {1, 2, 3, 4, 1, 2, 3, 4, 1, 2, 3, 4},
         {1, 2, 3, 4}},
        {"defaults", "-HighBit; -PixelRepresentation; -SamplesPerPixel", {4095, 1, 0, 5}, {4095, 1, 0, 5}},
    };
    for (const auto& row : table) {
        const std::string file = write_object(folder, std::string("Rows=1; ") + row.changes, row.words);
        ASSERT_EQ("", refusal_of(file)) << row.why;
        EXPECT_EQ(row.expected, Host::read_image(file).samples) << row.why;
    }
    Samples dirty(2000, 7);
    dirty[5] = 0x1001;
    const Host::SourceImage image = Host::read_image(write_object(folder, "Rows=50; Columns=40", dirty));
    EXPECT_EQ(4095, image.samples[5]);
    EXPECT_THAT(image.warnings,
                ::testing::ElementsAre("1 of 2000 samples need more bits than its BitsStored of 12; they "
                                       "count as the largest value"));
}

}  // namespace
}  // namespace Norvane::Tests

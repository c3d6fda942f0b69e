// SPDX-License-Identifier: Apache-2.0
// A good file, one edit, and the sentence with which it is refused.
#include "export/write_png.h"
#include "host/io/dicom_builder.h"

#include <sys/stat.h>

namespace Norvane::Tests {
namespace {

TEST(BadDicom, IsRefusedInOneSentence) {
    const TemporaryFolder folder;
    const struct {
        const char* changes;
        const char* message;
    } table[] = {
        {"", ""},
        {"Rows=1; PhotometricInterpretation=RGB; SamplesPerPixel=3", "is a colour image; grey images are read"},
        {"PhotometricInterpretation=PALETTE COLOR",
         "has the PhotometricInterpretation 'PALETTE COLOR'; MONOCHROME1 and MONOCHROME2 are read"},
        {"PhotometricInterpretation=MONO\nCHROME2",
         "has the PhotometricInterpretation 'MONO?CHROME2'; MONOCHROME1 and MONOCHROME2 are read"},
        {"NumberOfFrames=60", "holds 60 frames; choose one of them with --frame N, or all with --frame all"},
        {"NumberOfFrames=many", "has the NumberOfFrames 'many', which is not a count"},
        {"ImagerPixelSpacing=0.07\\0.08", "has pixels that are not square (ImagerPixelSpacing 0.07 x 0.08 mm)"},
        {"ImagerPixelSpacing=0\\0", "has the ImagerPixelSpacing '0', which is not a length"},
        {"ImagerPixelSpacing=0.07\\nan", "has the ImagerPixelSpacing 'nan', which is not a length"},
        {"-BitsStored", "has no BitsStored"},
        {"BitsStored=13", "has inconsistent bit depths (16 bits allocated, 13 stored, high bit 11)"},
        {"BitsStored=0", "has inconsistent bit depths (16 bits allocated, 0 stored, high bit 11)"},
        {"BitsStored=10; HighBit=9", "has a wrong header: 8 of 12 samples need more bits than its BitsStored of 10"},
        {"BitsAllocated=32", "has 32 bits allocated; 8 and 16 are read"},
        {"-Rows", "has no Rows"},
        {"Columns=0", "has no pixels (0 x 3 pixels)"},
        {"Rows=65535; Columns=65535", "is too large (65535 x 65535 pixels)"},
        {"Rows=4", "is truncated (12 of 16 samples)"},
        {"-PixelData", "holds no image (no PixelData)"},
        {"Modality=CT; BodyPartExamined=BREAST",
         "has the Modality CT, which is not that of a mammogram; --any-modality takes it"},
        {"Modality=DX; BodyPartExamined=CHEST; ViewPosition=PA",
         "has the Modality DX, and neither its view nor its body part is that of a mammogram; --any-modality takes it"},
        {"Rows=1; PhotometricInterpretation=YBR_FULL; SamplesPerPixel=3", "is a colour image; grey images are read"},
        {"PhotometricInterpretation=RGB; SamplesPerPixel=3", "is truncated (12 of 36 samples)"},
    };
    for (const auto& row : table) EXPECT_EQ(row.message, refusal_of(write_object(folder, row.changes))) << row.changes;

    // A pixel size that the user gives stands in for a useless one, but pixels that are not square stay so.
    EXPECT_FALSE(Host::read_image(write_object(folder, table[7].changes), {{}, true}).pixel_size_um);
    EXPECT_THROW((void)Host::read_image(write_object(folder, table[6].changes), {{}, true}), Host::Refusal);
    EXPECT_NO_THROW((void)Host::read_image(write_object(folder, "Modality=CT"), {.takes_any_modality = true}));
}

TEST(BadDicom, PaddingWithZerosIsReadAndEndlessNestingRefused) {
    using namespace std::string_literals;
    const TemporaryFolder folder;
    const std::string whole = read_bytes(write_object(folder, ""));
    std::string padded = whole;
    padded[padded.find("MONOCHROME2 ") + 11] = '\0';
    EXPECT_EQ("", refusal_of(folder.write("padded.dcm", padded)));
    const std::string opening = "\x54\0\x20\x02SQ\0\0\xFF\xFF\xFF\xFF\xFE\xFF\0\xE0\xFF\xFF\xFF\xFF"s;
    std::string nested = whole.substr(0, whole.find("\xE0\x7F\x10\0OW"s));
    for (int i = 0; i < 50000; ++i) nested += opening;
    EXPECT_EQ("holds sequences that are nested too deeply", refusal_of(folder.write("nested.dcm", nested)));
}

TEST(BadDicom, UnreadableEncodingsAreNamed) {
    const TemporaryFolder folder;
    const std::string whole = read_bytes(write_object(folder, ""));
    const auto as = [&](const std::string& uid) {
        return refusal_of(folder.write("other.dcm", with_syntax(whole, UID_LittleEndianExplicitTransferSyntax, uid)));
    };
    EXPECT_EQ("", as(UID_LittleEndianExplicitTransferSyntax));
    EXPECT_EQ("is compressed as MPEG2 Main Profile @ Main Level (1.2.840.10008.1.2.4.100), which is not read",
              as("1.2.840.10008.1.2.4.100"));
    EXPECT_EQ("has the unknown transfer syntax 1.2.3.4", as("1.2.3.4"));
    EXPECT_EQ("has no compressed pixel data, although its transfer syntax promises it", as("1.2.840.10008.1.2.4.90"));
}

TEST(BadDicom, EveryTruncationIsRefused) {
    const TemporaryFolder folder;
    const std::string whole = read_bytes(write_object(folder, "ViewPosition=MLO"));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::string message = refusal_of(folder.write("cut.dcm", whole.substr(0, length)));
        EXPECT_NE("", message) << length;
        EXPECT_EQ(std::string::npos, message.find('\n')) << length;
    }
}

TEST(BadFile, IsRefusedByItsHeaderIfItNeedsMoreMemoryThanAllowed) {
    const TemporaryFolder folder;
    const std::string files[] = {folder.write("png", Host::encode_png(std::span(kWords).first(6), 3, 2)),
                                 folder.write("pgm", "P2 3 2 9 0 0 0 0 0 0"),
                                 write_object(folder, "Rows=2; Columns=3")};
    Host::ReadOptions options;
    for (const std::string& file : files) {
        options.image_memory = Host::memory_of_source(6);
        EXPECT_EQ(6U, Host::read_image(file, options).samples.size()) << file;
        --options.image_memory;
        EXPECT_THROW((void)Host::read_image(file, options), Host::Refusal) << file;
    }
}

TEST(BadFile, IsRefusedInOneSentence) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.path("folder.dcm"));
    EXPECT_EQ("is a directory", refusal_of(folder.path("folder.dcm")));
    ASSERT_EQ(0, mkfifo(folder.path("pipe.dcm").c_str(), 0600));
    EXPECT_EQ("is not a file", refusal_of(folder.path("pipe.dcm")));
    EXPECT_EQ("does not exist", refusal_of(folder.path("vanished.dcm")));
    const ProgramRun info = run({"info", "--format", "json", folder.path("vanished.dcm"), write_object(folder, "")});
    EXPECT_EQ(1, info.code);
    EXPECT_EQ("norvane: " + folder.path("vanished.dcm") + " does not exist\n", info.err);

    std::filesystem::create_directories(folder.path("tree/deep"));
    std::filesystem::rename(write_object(folder, ""), folder.path("tree/deep/object"));
    folder.write("tree/notes.txt", "no image");
    folder.write("tree/zero.dcm", "");
    const ProgramRun walk = run({"info", folder.path("tree")});
    EXPECT_THAT(walk.out, ::testing::StartsWith(folder.path("tree/deep/object") + "\n"));
    EXPECT_EQ("norvane: " + folder.path("tree/zero.dcm") + " is empty\n", walk.err);
}

}  // namespace
}  // namespace Norvane::Tests

// SPDX-License-Identifier: Apache-2.0
#include "reading/read_dicom.h"

#include "tools/host_support.h"

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcrleerg.h>
#include <dcmtk/dcmdata/dcrlerp.h>
#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/dcmjpeg/djencode.h>
#include <dcmtk/dcmjpeg/djrplol.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace Norvane::Tests {
namespace {

using Samples = std::vector<std::uint16_t>;
using Edit = std::function<void(DcmDataset&)>;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const Samples kWords{0, 1, 17, 300, 2047, 2048, 2049, 3000, 4000, 4093, 4094, 4095};

void put_string(DcmDataset& header, const DcmTagKey& tag, const char* value) { header.putAndInsertString(tag, value); }
void put_number(DcmDataset& header, const DcmTagKey& tag, Uint16 value) { header.putAndInsertUint16(tag, value); }

// A mammogram of 4 x 3 pixels that is read without complaint, then edited.
void make_object(DcmDataset& header, const Edit& edit) {
    put_string(header, DCM_SOPClassUID, UID_DigitalMammographyXRayImageStorageForPresentation);
    put_string(header, DCM_SOPInstanceUID, "1.2.3.4");
    put_string(header, DCM_PhotometricInterpretation, "MONOCHROME2");
    put_number(header, DCM_SamplesPerPixel, 1);
    put_number(header, DCM_Columns, 4);
    put_number(header, DCM_Rows, 3);
    put_number(header, DCM_BitsAllocated, 16);
    put_number(header, DCM_BitsStored, 12);
    put_number(header, DCM_HighBit, 11);
    put_number(header, DCM_PixelRepresentation, 0);
    put_string(header, DCM_ImagerPixelSpacing, "0.07\\0.07");
    header.putAndInsertUint16Array(DCM_PixelData, kWords.data(), kWords.size());
    if (edit) edit(header);
}

std::string write_object(const TemporaryFolder& folder, const Edit& edit,
                         E_TransferSyntax syntax = EXS_LittleEndianExplicit,
                         const DcmRepresentationParameter* representation = nullptr) {
    DcmFileFormat object;
    make_object(*object.getDataset(), edit);
    if (representation != nullptr) {
        EXPECT_TRUE(object.getDataset()->chooseRepresentation(syntax, representation).good());
    }
    const std::string file = folder.path("image.dcm");
    EXPECT_TRUE(object.saveFile(file.c_str(), syntax).good());
    return file;
}

// For the life of the test program, as the decoders are.
void register_encoders() {
    static const bool once = [] {
        DJEncoderRegistration::registerCodecs();
        DcmRLEEncoderRegistration::registerCodecs();
        return true;
    }();
    (void)once;
}

TEST(ReadDicom, EveryReadableSyntaxGivesTheSameSamples) {
    register_encoders();
    const TemporaryFolder folder;
    const DJ_RPLossless first_order(1, 0);
    const DJ_RPLossless other_predictor(6, 0);
    const DcmRLERepresentationParameter rle;
    const struct {
        const char* why;
        E_TransferSyntax syntax;
        const DcmRepresentationParameter* representation;
    } table[] = {{"implicit", EXS_LittleEndianImplicit, nullptr},
                 {"explicit", EXS_LittleEndianExplicit, nullptr},
                 {"big endian", EXS_BigEndianExplicit, nullptr},
                 {"deflated", EXS_DeflatedLittleEndianExplicit, nullptr},
                 {"RLE", EXS_RLELossless, &rle},
                 {"JPEG lossless .70", EXS_JPEGProcess14SV1, &first_order},
                 {"JPEG lossless .57", EXS_JPEGProcess14, &other_predictor}};
    for (const auto& row : table) {
        const Host::SourceImage image = Host::read_dicom(write_object(folder, {}, row.syntax, row.representation));
        EXPECT_EQ(kWords, image.samples) << row.why;
        EXPECT_EQ(12U, image.used_bits) << row.why;
        EXPECT_EQ(4U, image.width) << row.why;
        EXPECT_NEAR(70.0, image.pixel_size_um.value_or(0.0), 1e-9) << row.why;
    }
}

TEST(ReadDicom, SamplesAreCutOutOfTheirWords) {
    const TemporaryFolder folder;
    const struct {
        const char* why;
        Uint16 stored, high_bit, representation;
        Samples words, expected;
    } table[] = {
        {"signed, all bits", 16, 15, 1, {0x8000, 0xFFFF, 0, 0x7FFF}, {0, 0x7FFF, 0x8000, 0xFFFF}},
        {"signed, 12 bits, not extended", 12, 11, 1, {0x0800, 0x0FFF, 0x0000, 0x07FF}, {0, 2047, 2048, 4095}},
        {"signed, 12 bits, extended", 12, 11, 1, {0xF800, 0xFFFF, 0x0000, 0x07FF}, {0, 2047, 2048, 4095}},
        {"overlay bits above", 12, 11, 0, {0xF001, 0x1FFF, 0x8000, 5}, {1, 4095, 0, 5}},
        {"in the upper bits", 12, 15, 0, {0xFFFF, 0x0010, 0x000F, 0x8000}, {4095, 1, 0, 2048}},
    };
    for (const auto& row : table) {
        const Host::SourceImage image = Host::read_dicom(write_object(folder, [&row](DcmDataset& header) {
            put_number(header, DCM_Rows, 1);
            put_number(header, DCM_BitsStored, row.stored);
            put_number(header, DCM_HighBit, row.high_bit);
            put_number(header, DCM_PixelRepresentation, row.representation);
            header.putAndInsertUint16Array(DCM_PixelData, row.words.data(), row.words.size());
        }));
        EXPECT_EQ(row.expected, image.samples) << row.why;
        EXPECT_EQ(row.stored, image.used_bits) << row.why;
    }
    const Host::SourceImage bytes = Host::read_dicom(write_object(folder, [](DcmDataset& header) {
        put_number(header, DCM_Rows, 1);
        put_number(header, DCM_Columns, 3);  // an odd number of bytes is padded in the file
        put_number(header, DCM_BitsAllocated, 8);
        put_number(header, DCM_BitsStored, 8);
        put_number(header, DCM_HighBit, 7);
        const Uint8 samples[] = {7, 0, 255, 0};
        header.putAndInsertUint8Array(DCM_PixelData, samples, 4);
    }));
    EXPECT_EQ((Samples{7, 0, 255}), bytes.samples);
    EXPECT_EQ(8U, bytes.used_bits);
}

void put_view_code(DcmDataset& header, const char* code) {
    DcmItem* item = nullptr;
    header.findOrCreateSequenceItem(DCM_ViewCodeSequence, item, 0);
    item->putAndInsertString(DCM_CodeValue, code);
}

TEST(ReadDicom, HeaderFieldsInTheirOrder) {
    const TemporaryFolder folder;
    const Host::SourceImage image = Host::read_dicom(write_object(folder, [](DcmDataset& header) {
        put_view_code(header, "399162004");
        put_string(header, DCM_ViewPosition, "MLO");  // the code counts
        put_string(header, DCM_Laterality, "L");
        put_string(header, DCM_ImageLaterality, "R");
        put_string(header, DCM_PixelSpacing, "0.2\\0.2");
        put_string(header, DCM_PhotometricInterpretation, "MONOCHROME1");
        put_number(header, DCM_PixelPaddingValue, 4095);
        put_number(header, DCM_PixelPaddingRangeLimit, 4000);
    }));
    EXPECT_EQ(VIEW_NO_PECT, image.view);
    EXPECT_EQ(Host::Laterality::kRight, image.laterality);
    EXPECT_EQ("ImagerPixelSpacing", image.pixel_size_from);
    EXPECT_TRUE(image.needs_inversion);
    ASSERT_TRUE(image.padding);
    EXPECT_EQ(4000, image.padding->low);
    EXPECT_EQ(4095, image.padding->high);

    const Host::SourceImage other = Host::read_dicom(write_object(folder, [](DcmDataset& header) {
        put_view_code(header, "399012002");  // another view: the position is asked
        put_string(header, DCM_ViewPosition, "MLO ");
        put_string(header, DCM_Laterality, "L");
        header.findAndDeleteElement(DCM_ImagerPixelSpacing);
        put_string(header, DCM_NominalScannedPixelSpacing, "0.05\\0.05");
        put_number(header, DCM_PixelRepresentation, 1);
        header.putAndInsertSint16(DCM_PixelPaddingValue, -2048);
    }));
    EXPECT_EQ(VIEW_PECT, other.view);
    EXPECT_EQ(Host::Laterality::kLeft, other.laterality);
    EXPECT_EQ("NominalScannedPixelSpacing", other.pixel_size_from);
    ASSERT_TRUE(other.padding);
    EXPECT_EQ(0, other.padding->low);
    EXPECT_EQ(0, other.padding->high);

    const Host::SourceImage impossible = Host::read_dicom(
        write_object(folder, [](DcmDataset& header) { put_number(header, DCM_PixelPaddingValue, 65535); }));
    EXPECT_FALSE(impossible.padding);  // no sample of 12 bits can be padding

    const Host::SourceImage sparse = Host::read_dicom(write_object(folder, [](DcmDataset& header) {
        for (const DcmTagKey& tag :
             {DCM_HighBit, DCM_PixelRepresentation, DCM_SamplesPerPixel, DCM_ImagerPixelSpacing}) {
            header.findAndDeleteElement(tag);
        }
    }));
    EXPECT_EQ(kWords, sparse.samples);
    EXPECT_FALSE(sparse.pixel_size_um || sparse.view || sparse.laterality);
}

TEST(ReadDicom, RefusesInOneSentence) {
    const TemporaryFolder folder;
    const auto string_edit = [](const DcmTagKey& tag, const char* value) {
        return [=](DcmDataset& header) { put_string(header, tag, value); };
    };
    const auto number_edit = [](const DcmTagKey& tag, Uint16 value) {
        return [=](DcmDataset& header) { put_number(header, tag, value); };
    };
    const auto removal = [](const DcmTagKey& tag) {
        return [=](DcmDataset& header) { header.findAndDeleteElement(tag); };
    };
    const struct {
        Edit edit;
        const char* message;
    } table[] = {
        {string_edit(DCM_PhotometricInterpretation, "PALETTE COLOR"),
         "has the PhotometricInterpretation 'PALETTE COLOR'"},
        {number_edit(DCM_SamplesPerPixel, 3), "is a colour image; grey images are read"},
        {string_edit(DCM_NumberOfFrames, "60"), "holds 60 frames; single images are read"},
        {string_edit(DCM_ImagerPixelSpacing, "0.07\\0.08"),
         "has pixels that are not square (ImagerPixelSpacing 0.07 x 0.08 mm)"},
        {string_edit(DCM_ImagerPixelSpacing, "0\\0"), "has the ImagerPixelSpacing '0', which is not a length"},
        {string_edit(DCM_ImagerPixelSpacing, "0.07"), "has the ImagerPixelSpacing '', which is not a length"},
        {number_edit(DCM_BitsStored, 13),
         "has sizes of samples that do not fit (16 bits allocated, 13 stored, high bit 11)"},
        {number_edit(DCM_BitsStored, 0), "has sizes of samples that do not fit"},
        {number_edit(DCM_BitsAllocated, 32), "has 32 bits allocated; 8 and 16 are read"},
        {removal(DCM_BitsStored), "has no BitsStored"},
        {removal(DCM_Rows), "has no Rows"},
        {number_edit(DCM_Columns, 0), "has no pixels (0 x 3 pixels)"},
        {removal(DCM_PixelData), "holds no image (no PixelData)"},
        {number_edit(DCM_Rows, 4), "is truncated (12 of 16 samples)"},
    };
    for (const auto& bad : table) {
        EXPECT_THAT(refusal_of(write_object(folder, bad.edit)), StartsWith(bad.message)) << bad.message;
    }
}

TEST(ReadDicom, DamagedAndUnreadableEncodingsAreRefusedByName) {
    register_encoders();
    const TemporaryFolder folder;
    const std::string whole = Host::read_bytes(write_object(folder, {}));
    EXPECT_THAT(refusal_of(folder.write("cut.dcm", whole.substr(0, whole.size() - 5))), HasSubstr("truncated"));

    const DJ_RPLossless lossless(1, 0);
    const std::string jpeg = Host::read_bytes(write_object(folder, {}, EXS_JPEGProcess14SV1, &lossless));
    EXPECT_NE("", refusal_of(folder.write("cut-jpeg.dcm", jpeg.substr(0, jpeg.size() - 30))));

    // The syntax in the file header, and the header's length with it.
    const auto with_syntax = [&whole](const std::string& uid) {
        using namespace std::string_literals;
        std::string bytes = whole;
        const std::string old = "\x02\0\x10\0UI\x14\0"s + "1.2.840.10008.1.2.1\0"s;
        const std::string padded = uid + std::string(uid.size() % 2, '\0');
        bytes.replace(bytes.find(old), old.size(),
                      "\x02\0\x10\0UI"s + static_cast<char>(padded.size()) + '\0' + padded);
        bytes[140] = static_cast<char>(bytes[140] + static_cast<char>(padded.size() - 20));
        return bytes;
    };
    EXPECT_EQ("is compressed as JPEG 2000 (Lossless only) (1.2.840.10008.1.2.4.90), which is not read yet",
              refusal_of(folder.write("j2k.dcm", with_syntax("1.2.840.10008.1.2.4.90"))));
    EXPECT_EQ("is compressed as HTJ2K lossless (1.2.840.10008.1.2.4.201), which is not read yet",
              refusal_of(folder.write("ht.dcm", with_syntax("1.2.840.10008.1.2.4.201"))));
    EXPECT_EQ("is compressed as the unknown transfer syntax 1.2.3.4, which is not read yet",
              refusal_of(folder.write("unknown.dcm", with_syntax("1.2.3.4"))));
}

}  // namespace
}  // namespace Norvane::Tests

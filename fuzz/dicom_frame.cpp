// SPDX-License-Identifier: Apache-2.0
/// Fuzzes the pixel data of a DICOM object in each transfer syntax. The input is a frame in one or two fragments, under
/// a header that is well formed but may say anything.
#include "input.h"

#include "host/io/encodings.h"
#include "io/dicom/read_dicom.h"
#include "io/refusal.h"

namespace Norvane::Fuzz {
namespace {

/// Compressed frames; each is a list of fragments.
using Frames = std::vector<std::vector<Tests::Bytes>>;

/// Replaces the pixels of an object by fragments that are cut where the input says.
void put_fragments(DcmDataset& header, E_TransferSyntax syntax, const Frames& frames, bool has_offset_table) {
    auto* sequence = new DcmPixelSequence(DcmTag(DCM_PixelData, EVR_OB));
    auto* table = new DcmPixelItem(DcmTag(DCM_Item, EVR_OB));
    sequence->insert(table);
    std::vector<Uint32> offsets;
    Uint32 position = 0;
    for (const std::vector<Tests::Bytes>& frame : frames) {
        offsets.push_back(position);
        for (Tests::Bytes bytes : frame) {
            bytes.resize(bytes.size() + bytes.size() % 2);
            auto* fragment = new DcmPixelItem(DcmTag(DCM_Item, EVR_OB));
            fragment->putUint8Array(bytes.data(), bytes.size());
            sequence->insert(fragment);
            position += static_cast<Uint32>(bytes.size()) + 8;
        }
    }
    if (has_offset_table) {  // least significant byte first, like this machine
        table->putUint8Array(reinterpret_cast<const Uint8*>(offsets.data()), offsets.size() * sizeof offsets[0]);
    }
    auto* pixels = new DcmPixelData(DcmTag(DCM_PixelData, EVR_OB));
    pixels->putOriginalRepresentation(syntax, nullptr, sequence);
    header.insert(pixels, OFTrue);
}

using namespace Tests;

void write_object(Input& input, const Encoding& encoding, DcmFileFormat& object) {
    DcmDataset& header = *object.getDataset();
    make_object(header);
    const unsigned columns = input.below(4000), rows = input.below(4000), layout = input.byte(),
                   frames = 1 + input.below(3);
    const unsigned stored = 1 + (layout & 15U), high_bit = stored - 1 + (layout >> 6U);
    header.putAndInsertUint16(DCM_Columns, static_cast<Uint16>(columns));
    header.putAndInsertUint16(DCM_Rows, static_cast<Uint16>(rows));
    header.putAndInsertUint16(DCM_BitsAllocated, (layout & 16U) != 0 ? 8 : 16);
    header.putAndInsertUint16(DCM_BitsStored, static_cast<Uint16>(stored));
    header.putAndInsertUint16(DCM_HighBit, static_cast<Uint16>(high_bit));
    header.putAndInsertUint16(DCM_PixelRepresentation, (layout & 32U) != 0 ? 1 : 0);
    if (frames > 1) header.putAndInsertString(DCM_NumberOfFrames, std::to_string(frames).c_str());
    const bool has_table = input.flag();
    const std::size_t cut = input.below(4) * 100;
    Bytes bytes(input.rest().begin(), input.rest().end());
    if (!encoding.is_compressed) {
        if (bytes.size() % 2 != 0) bytes.push_back(0);
        header.putAndInsertUint8Array(DCM_PixelData, bytes.data(), bytes.size());
        return;
    }
    const auto middle = bytes.begin() + static_cast<long>(std::min(cut, bytes.size()));
    Frames all(frames, {{bytes.begin(), bytes.end()}});
    if (cut > 0) all.front() = {{bytes.begin(), middle}, {middle, bytes.end()}};
    put_fragments(header, encoding.data_set, all, has_table);
}

}  // namespace
}  // namespace Norvane::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Norvane;
    Fuzz::Input input(data, size);
    const Tests::Encoding& encoding = Tests::kEncodings[input.below(std::size(Tests::kEncodings))];
    DcmFileFormat object;
    Fuzz::write_object(input, encoding, object);
    const std::string file = Fuzz::file_of(std::string());
    if (object.saveFile(file.c_str(), encoding.data_set).bad()) return 0;
    const std::string written = DcmXfer(encoding.data_set).getXferID();
    try {
        std::string name = file;
        if (written != encoding.uid) {
            const std::string bytes = Tests::with_syntax(Tests::read_bytes(file), written, encoding.uid);
            name = Fuzz::file_of(bytes);
        }
        const Host::SourceImage image = Host::read_dicom(name, {.frame = 1U, .is_pixel_size_given = true});
        Fuzz::require(image.samples.size() == std::size_t{image.width} * image.height, "a sample per pixel");
    } catch (const Host::Refusal&) {
    }
    return 0;
}
